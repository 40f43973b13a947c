#include "SimCore/cParameterMgr.h"

#include "StoreKit/cConfigurationWriter.h"
#include "tests/support/cParameterHelpers.h"
#include "tests/support/cSimCoreFixture.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

namespace
{
std::vector<std::string> g_events;
cGraph const* const kGraph = reinterpret_cast<cGraph const*>(0x1000); // never dereferenced

// An element that records the events of a graph parameter it receives.
class cItem : public cParameter
{
public:
    using cParameter::cParameter;
    // Marked registered without the symbol manager, which refuses two live parameters of one name.
    explicit cItem(std::string const& name, std::string const& registrationName = "")
    {
        m_name = name;
        m_registeredInSymbolManager = !registrationName.empty();
        m_registrationName = registrationName;
    }
    void log(std::string const& event) { g_events.push_back(m_name + " " + event); }
    void changeFile() { log("changeFile"); }
    void endOfIteration() { log("endOfIteration"); }
    void reset() { log("reset"); }
    void prepareForTest() { log("prepareForTest"); }
    void removeGraph(cGraph const* g) { log(g == kGraph ? "removeGraph" : "?"); }
    void crashColorChanged(cGraph const* g) { log(g == kGraph ? "crashColorChanged" : "?"); }
    void removeValuesFromCrashFile(unsigned long long file) { log("removeValues " + std::to_string(file)); }
};

// The graph layer, which holds every layer below it.
struct cItemMgr : cGraphParameterMgr<cItem>
{
    using cGraphParameterMgr::cGraphParameterMgr, cGraphParameterMgr::loadParameter,
        cGraphParameterMgr::checkComplianceForReloading, cGraphParameterMgr::changeFile,
        cGraphParameterMgr::endOfIteration, cGraphParameterMgr::reset, cGraphParameterMgr::prepareForTest,
        cGraphParameterMgr::removeGraph, cGraphParameterMgr::crashColorChanged,
        cGraphParameterMgr::removeValuesFromCrashFile;
};

std::string names(cItemMgr const& list)
{
    std::string text;
    for (cItem* p : list.GetParameters())
        text += (text.empty() ? "" : " ") + p->getName();
    return text;
}
std::string registered(std::string const& name, std::string const& registrationName)
{
    return "Parameter {\nName = " + name +
           "\nSymbol Registered = 1\nRegistration Name = " + registrationName + "\n}\n";
}
using cParameterMgrTest = cSimCoreFixture;
} // namespace

TEST_F(cParameterMgrTest, ListKeepsOrderCountsLinksReportsMisuseAndPassesEveryEventInOrder)
{
    cItemMgr list("Parameter", "Parameters List"), other("Parameter", "Parameters List");
    unsigned int i = 77;
    EXPECT_EQ(nullptr, list.firstParameter(i));
    EXPECT_EQ(77u, i) << "an empty list leaves the index as it was";
    EXPECT_EQ(nullptr, list.last());
    cItem *a = new cItem("a"), *b = new cItem("b"), *c = new cItem("c"), *d = new cItem("d");
    list.addParameter(a);
    list.addParameter(b);
    list.insertParameter(c, 2); // at the count: appended
    list.insertParameter(d, 1);
    list.insertParameter(new cItem("e"), 0);
    list.insertParameter(new cItem("d"), 99);
    EXPECT_EQ("e a d b c d", names(list));
    std::string const inUse = "cParameterStillExistException|cBasicParameterMgr::";
    EXPECT_EQ(inUse + "addParameter|The parameter is still in use.",
              failureOf([&] { list.addParameter(b); }));
    EXPECT_EQ(inUse + "insertParameter|The parameter is still in use.",
              failureOf([&] { list.insertParameter(b, 0); }));
    other.addParameter(b);
    list.removeParameter(b); // the other list keeps it alive
    EXPECT_EQ(1, b->getLinksNumber()) << "neither refusal took a link";
    EXPECT_EQ(1, d->getLinksNumber()) << "an inserted element holds its link";
    EXPECT_EQ(5u, list.find(b));
    EXPECT_EQ("cMissingParameterException|cBasicParameterMgr::removeParameter|Missing parameter",
              failureOf([&] { list.removeParameter(b); }));
    list.removeParameter(a); // its only link: deleted
    EXPECT_EQ("e d c d", names(list));
    EXPECT_EQ(c, list.getParameter(2u));
    EXPECT_EQ(d, list.getParameter("d")) << "the first of two elements of one name";
    EXPECT_EQ("cBadListIndex|cBasicParameterMgr::getParameter|List index out of range.",
              failureOf([&] { list.getParameter(4u); }));
    EXPECT_EQ("cBadReference|cBasicParameterMgr::getParameter|Bad reference: D",
              failureOf([&] { list.getParameter("D"); }));

    // Every event of the graph layer reaches each element, in list order.
    g_events.clear();
    list.reset();
    list.prepareForTest();
    list.changeFile();
    list.endOfIteration();
    list.removeGraph(kGraph);
    list.crashColorChanged(kGraph);
    list.removeValuesFromCrashFile(0x123456789ULL); // beyond 32 bits
    std::vector<std::string> expected;
    for (std::string const event : {"reset", "prepareForTest", "changeFile", "endOfIteration", "removeGraph",
                                    "crashColorChanged", "removeValues 4886718345"})
        for (std::string const name : {"e", "d", "c", "d"})
            expected.push_back(name + " " + event);
    EXPECT_EQ(expected, g_events);
}

TEST_F(cParameterMgrTest, BuildFileAndLoadParameterRoundTripThroughText)
{
    int const mask = (1 << 15) | (1 << 16); // the registration keys
    std::string const listText = readText(SIMCORE_TEST_DATA_DIR "SimCore/parameters/list-written.cfg");
    cConfigurationGroup saved;
    {
        cItemMgr list("Parameter", "Parameters List"), criteria("Criterion", "Criteria List");
        cConfigurationGroup source =
            readGroup(readText(SIMCORE_TEST_DATA_DIR "SimCore/parameters/list.cfg"), "Parameters List");
        list.loadParameter(&source, "Front unit");
        list.loadParameter(nullptr, "Front unit");
        EXPECT_EQ("Speed Gain", names(list));
        EXPECT_EQ("Front unit - Gain", list.last()->getLongName());
        EXPECT_EQ(2, list.getParameter("Speed")->getLinksNumber()) << "the list and the symbol manager";
        list.buildFile(&saved, mask);
        criteria.buildFile(&saved, mask);
        EXPECT_EQ(listText + "Criteria List {\n}\n", cConfigurationWriter::write(saved, nullptr));
    }
    // Loaded again once the first list has let go of its elements, the name is bound anew.
    cItemMgr reloaded("Parameter", "Parameters List");
    cConfigurationGroup back = readGroup(cConfigurationWriter::write(saved, nullptr), "Parameters List");
    reloaded.loadParameter(back.findConfigurationGroup("Parameters List", true), "");
    cConfigurationGroup again;
    reloaded.buildFile(&again, mask);
    EXPECT_EQ(listText, cConfigurationWriter::write(again, nullptr));
}

TEST_F(cParameterMgrTest, ReloadingMustOfferTheSameRegisteredSymbols)
{
    cItemMgr list("Parameter", "Parameters List");
    auto check = [](cItemMgr& mgr, std::string const& text)
    {
        cConfigurationGroup group = readGroup(text, "Parameters List");
        return failureOf([&] { mgr.checkComplianceForReloading(&group); });
    };
    EXPECT_EQ(
        "cNULLPointer|cParameterMgr::checkComplianceForReloading|KYN Error (NULL Pointer). Out of memory ?\n",
        failureOf([&] { list.checkComplianceForReloading(nullptr); }));
    EXPECT_EQ("no exception", check(list, registered("X", "x"))) << "an empty list passes anything";
    list.addParameter(new cItem("Speed", "speed"));
    list.addParameter(new cItem("Plain"));
    list.addParameter(new cItem("Gain", "gain"));
    std::string const others = "Parameter {\nName = speed\n}\nGroup {\n" + registered("Z", "z") + "}\n";
    std::string const refused = "cIncompatibleNewParameterSet|cParameterMgr::checkComplianceForReloading|"
                                "The new parameter set does not match the registered symbols: ";
    EXPECT_EQ("no exception", check(list, registered("G", "gain") + others + registered("S", "speed")));
    EXPECT_EQ(refused + "extra",
              check(list, registered("S", "speed") + registered("Extra", "extra") + registered("G", "gain")));
    EXPECT_EQ(refused + "Gain", check(list, registered("S", "speed") + others));
    std::string const gainTwice =
        registered("S", "speed") + registered("G", "gain") + registered("G2", "gain");
    EXPECT_EQ(refused + "gain", check(list, gainTwice));
    list.addParameter(new cItem("Gain 2", "gain"));
    EXPECT_EQ("no exception", check(list, gainTwice));
    EXPECT_EQ(refused + "Gain 2", check(list, registered("S", "speed") + registered("G", "gain")));

    // Items are looked for under "Parameter" whatever the item name: registered criteria always fail.
    cItemMgr criteria("Criterion", "Criteria List");
    criteria.addParameter(new cItem("Hit", "hit"));
    EXPECT_EQ(
        refused + "Hit",
        check(criteria, "Criterion {\nName = Hit\nSymbol Registered = 1\nRegistration Name = hit\n}\n"));
}
