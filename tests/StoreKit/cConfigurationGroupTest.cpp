#include "StoreKit/cConfigurationGroup.h"

#include "BaseKit/cKynException.h"
#include "StoreKit/cConfigurationReader.h"

#include <gtest/gtest.h>

namespace
{
cConfigurationGroup readTree()
{
    cConfigurationGroup top;
    cConfigurationReader::read("Name = Top\n"
                               "Parameter {\n"
                               "    Name = First\n"
                               "    Precision = 8\n"
                               "    Float = yes\n"
                               "    Factor = 0.25\n"
                               "    Color = 0xFF00\n"
                               "    Count = 4000000000\n"
                               "}\n"
                               "Parameter {\n"
                               "\n"
                               "    Precision = abc\n"
                               "}\n",
                               "/p/a.cfg", top);
    return top;
}

// The value of key in the subgroup read as T; the key must be there.
template <typename T>
T find(cConfigurationGroup const& group, std::string const& groupName, std::string const& key)
{
    T value{};
    EXPECT_EQ(group.findItem(groupName, key, value, true), 1) << key;
    return value;
}

template <typename F> std::string failureOf(F call)
{
    try
    {
        call();
    }
    catch (cKynException const& e)
    {
        return std::string(e.getClassName()) + "|" + e.getFunction() + "|" + e.what();
    }
    return "no exception";
}

std::string namesOf(cConfigurationGroup const& group)
{
    std::string names;
    for (cConfigurationGroup const* child : group.GetConfigurationGroups())
    {
        names += child->getName() + ";";
    }
    return names;
}
} // namespace

TEST(cConfigurationGroup, FindItemReadsTheFirstSubgroupOfThatNameOrThisGroup)
{
    cConfigurationGroup const top = readTree();
    EXPECT_EQ(find<std::string>(top, "", "Name"), "Top");
    EXPECT_EQ(find<int>(top, "Parameter", "Precision"), 8);
    EXPECT_TRUE(find<bool>(top, "Parameter", "Float"));
    EXPECT_EQ(find<float>(top, "Parameter", "Factor"), 0.25f);
    EXPECT_EQ(find<double>(top, "Parameter", "Factor"), 0.25);
    EXPECT_EQ(find<mpf_class>(top, "Parameter", "Factor"), 0.25);
    long color = 0;
    EXPECT_EQ(top.findItem("Parameter", "Color", color, true, true), 1);
    EXPECT_EQ(color, 0xFF00);
    EXPECT_EQ(find<unsigned int>(top, "Parameter", "Count"), 4000000000u);
    // Absent key, absent subgroup, a key of a subgroup asked of the top: 0, the default stays.
    int precision = -5;
    EXPECT_EQ(top.findItem("Parameter", "Missing", precision, false) +
                  top.findItem("None", "Precision", precision, false) +
                  top.findItem("", "Precision", precision, false),
              0);
    EXPECT_EQ(precision, -5);
    EXPECT_EQ(top.findConfigurationGroup("None", false), nullptr);
}

TEST(cConfigurationGroup, FailuresNameTheGroupTheLineAndTheFile)
{
    cConfigurationGroup const top = readTree();
    cConfigurationGroup const* second = top.GetConfigurationGroups().at(1);
    int number = 0;
    std::string text;
    EXPECT_EQ(
        failureOf([&] { second->findItem("", "Precision", number, false); }),
        "cGenericException|cConfigurationGroup::findItem|Invalid value \"abc\" of key \"Precision\" in group "
        "\"Parameter\" at line 12 of file \"/p/a.cfg\": a whole number is expected.");
    // The top group of a file has no name to give.
    EXPECT_EQ(
        failureOf([&] { top.findItem("", "Name", number, false); }),
        "cGenericException|cConfigurationGroup::findItem|Invalid value \"Top\" of key \"Name\" at line 1 of "
        "file \"/p/a.cfg\": a whole number is expected.");
    EXPECT_EQ(failureOf([&] { top.findItem("Parameter", "Unit", text, true); }),
              "cMissingItem|cConfigurationGroup::findItem|Missing key \"Unit\".\nIn group \"Parameter\" "
              "(line 2) of "
              "file \"/p/a.cfg\".");
    EXPECT_EQ(
        failureOf([&] { top.findItem("Channels List", "Unit", text, true); }),
        "cMissingItem|cConfigurationGroup::findItem|Missing group \"Channels List\".\nIn file \"/p/a.cfg\".");
    EXPECT_EQ(
        failureOf([&] { top.findConfigurationGroup("Channels List", true); }),
        "cMissingItem|cConfigurationGroup::findConfigurationGroup|Missing group \"Channels List\".\nIn file "
        "\"/p/a.cfg\".");
    cConfigurationGroup const made("Parameter");
    EXPECT_EQ(failureOf([&] { made.findItem("", "Name", text, true); }),
              "cMissingItem|cConfigurationGroup::findItem|Missing key \"Name\".\nIn group \"Parameter\".");
}

TEST(cConfigurationGroup, DeepCopiesAreIndependentAndKeepTheOrigin)
{
    cConfigurationGroup original = readTree();
    cConfigurationGroup copy(original);
    copy.GetConfigurationGroups()[0]->replaceString("First", "Changed");
    copy.GetConfigurationGroups()[1]->addInformation("Extra", 1);
    std::string name;
    original.findItem("Parameter", "Name", name, true);
    EXPECT_EQ(name, "First");
    EXPECT_EQ(original.GetConfigurationGroups()[1]->nbOfInformation(), 1u);
    EXPECT_EQ(copy.GetConfigurationGroups()[1]->getSourceFile() + ":" +
                  std::to_string(copy.GetConfigurationGroups()[1]->getLineNumber()),
              "/p/a.cfg:10");

    cConfigurationGroup assigned("Other");
    assigned.addConfigurationGroup(new cConfigurationGroup("Old"));
    assigned = copy;
    EXPECT_EQ(namesOf(assigned), "Parameter;Parameter;");
    EXPECT_NE(assigned.GetConfigurationGroups()[0], copy.GetConfigurationGroups()[0]);
    cConfigurationGroup& self = assigned;
    assigned = self;
    EXPECT_EQ(assigned.GetChildCount(), 2u);
    // From its own subgroup: the copy is complete before the subgroup goes.
    assigned = *assigned.GetConfigurationGroups()[1];
    EXPECT_EQ(assigned.getName() + std::to_string(assigned.GetChildCount() + 10 * assigned.nbOfInformation()),
              "Parameter20");
}

TEST(cConfigurationGroup, ClearSubGroupsWithoutDeallocatingHandsTheChildrenOver)
{
    cConfigurationGroup held = readTree();
    {
        // The lending pattern of the savers: another group holds held's children for a while.
        cConfigurationGroup borrower("Borrower");
        for (cConfigurationGroup* child : held.GetConfigurationGroups())
        {
            borrower.addConfigurationGroup(child);
        }
        borrower.clearSubGroupsWithoutDeallocating();
        EXPECT_EQ(borrower.GetChildCount(), 0u);
    }
    std::vector<cConfigurationGroup*> taken = held.GetConfigurationGroups();
    held.clearSubGroupsWithoutDeallocating();
    unsigned int cursor = 0;
    EXPECT_EQ(held.firstConfigurationGroup(cursor), nullptr);
    EXPECT_EQ(taken.size(), 2u);
    for (cConfigurationGroup* child : taken)
    {
        delete child; // under ASan: neither freed twice nor leaked
    }
    held.clear();
    EXPECT_TRUE(held.informationListEmpty());
}

TEST(cConfigurationGroup, ReplaceStringChangesOnlyTheFirstExactValueOfItsOwnItems)
{
    cConfigurationGroup group("View");
    group.addInformationItem({"Drawing Enable", "no-disable", 5, nullptr});
    group.addInformation("Other", "no-disable");
    group.addInformation("Partial", "no-disabled");
    auto* child = new cConfigurationGroup("Graph");
    child->addInformation("Drawing Enable", "hide");
    group.addConfigurationGroup(child);
    EXPECT_EQ(group.replaceString("no-disable", "yes-enable"), 1);
    EXPECT_EQ(group.replaceString("hide", "show") + group.replaceString("no-disab", "x"), 0);
    std::string items;
    for (sInformationItem const& item : group.getInformationRange())
    {
        items += item.key + "=" + item.value + "@" + std::to_string(item.lineNumber) + ";";
    }
    EXPECT_EQ(items, "Drawing Enable=yes-enable@5;Other=no-disable@0;Partial=no-disabled@0;");
    EXPECT_EQ(child->getInformationRange()[0].value, "hide");
}

TEST(cConfigurationGroup, WalkKeepsFileOrderAndAddingRefusesNullAndItself)
{
    cConfigurationGroup top("Top");
    for (char const* name : {"File", "Channel", "File"})
    {
        top.addConfigurationGroup(new cConfigurationGroup(name));
    }
    std::string walked;
    unsigned int cursor = 0;
    for (cConfigurationGroup* group = top.firstConfigurationGroup(cursor); group;
         group = top.nextConfigurationGroup(cursor))
    {
        walked += group->getName() + std::to_string(cursor) + ";";
    }
    EXPECT_EQ(walked, "File0;Channel1;File2;");
    EXPECT_EQ(top.nextConfigurationGroup(cursor), nullptr);
    EXPECT_EQ(namesOf(top), "File;Channel;File;");
    EXPECT_EQ(top.findConfigurationGroup("File", true), top.GetConfigurationGroups()[0]);
    EXPECT_EQ(
        failureOf([&] { top.addConfigurationGroup(nullptr); }),
        "cGenericException|cConfigurationGroup::addConfigurationGroup|A null group cannot be added to group "
        "\"Top\".");
    EXPECT_THROW(top.addConfigurationGroup(&top), cGenericException);
    EXPECT_EQ(top.GetChildCount(), 3u);
}
