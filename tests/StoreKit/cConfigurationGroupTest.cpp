#include "StoreKit/cConfigurationGroup.h"

#include "BaseKit/cKynException.h"
#include "StoreKit/cConfigurationReader.h"

#include "tests/support/cConfigurationTexts.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

namespace
{
// The second "Parameter" holds a bad "Precision": reading from it instead of the first throws.
cConfigurationGroup readTree()
{
    cConfigurationGroup top;
    cConfigurationReader::read(readText(SIMCORE_TEST_DATA_DIR "StoreKit/parameters.cfg"), "/p/a.cfg", top);
    return top;
}

// The names of the subgroups, walked with the cursor, which is expected to start from anything.
std::string walk(cConfigurationGroup const& group)
{
    std::string names;
    unsigned int cursor = 99;
    for (cConfigurationGroup* child = group.firstConfigurationGroup(cursor); child;
         child = group.nextConfigurationGroup(cursor))
        names += child->getName() + std::to_string(cursor) + ";";
    return group.nextConfigurationGroup(cursor) ? "past the end" : names;
}
} // namespace

TEST(cConfigurationGroup, FindItemReadsTheFirstSubgroupOfThatNameOrThisGroupAndNamesWhereItFails)
{
    cConfigurationGroup const top = readTree();
    std::string text;
    int number = -5;
    long color = 0;
    EXPECT_EQ(top.findItem("", "Name", text, /*mandatory=*/false) +
                  top.findItem("Parameter", "Precision", number, /*mandatory=*/false) +
                  top.findItem("Parameter", "Color", color, /*mandatory=*/false, /*hexadecimal=*/true),
              3);
    EXPECT_EQ(text + std::to_string(number) + " " + std::to_string(color), "Top8 65280");
    // Absent key, absent subgroup, a key of a subgroup asked of the top: 0, the default stays.
    number = -5;
    EXPECT_EQ(top.findItem("Parameter", "Missing", number, /*mandatory=*/false) +
                  top.findItem("None", "Precision", number, /*mandatory=*/false) +
                  top.findItem("", "Precision", number, /*mandatory=*/false),
              0);
    EXPECT_EQ(number, -5);
    EXPECT_EQ(top.findConfigurationGroup("None", /*mandatory=*/false), nullptr);

    std::string const invalid = "cGenericException|cConfigurationGroup::findItem|Invalid value ";
    std::string const missing = "cMissingItem|cConfigurationGroup::findItem|Missing ";
    EXPECT_EQ(
        failureOf(
            [&]
            { top.GetConfigurationGroups().at(1)->findItem("", "Precision", number, /*mandatory=*/false); }),
        invalid + "\"abc\" of key \"Precision\" in group \"Parameter\" at line 9 of file \"/p/a.cfg\": a "
                  "whole number is expected.");
    // The top group of a file has no name to give.
    EXPECT_EQ(failureOf([&] { top.findItem("", "Name", number, /*mandatory=*/false); }),
              invalid +
                  "\"Top\" of key \"Name\" at line 1 of file \"/p/a.cfg\": a whole number is expected.");
    EXPECT_EQ(failureOf([&] { top.findItem("Parameter", "Unit", text, /*mandatory=*/true); }),
              missing + "key \"Unit\".\nIn group \"Parameter\" (line 2) of file \"/p/a.cfg\".");
    EXPECT_EQ(failureOf([&] { top.findItem("Channels List", "Unit", text, /*mandatory=*/true); }),
              missing + "group \"Channels List\".\nIn file \"/p/a.cfg\".");
    EXPECT_EQ(failureOf([&] { top.findConfigurationGroup("Channels List", /*mandatory=*/true); }),
              "cMissingItem|cConfigurationGroup::findConfigurationGroup|Missing group \"Channels List\".\nIn "
              "file \"/p/a.cfg\".");
    EXPECT_EQ(
        failureOf([&] { cConfigurationGroup("Parameter").findItem("", "Name", text, /*mandatory=*/true); }),
        missing + "key \"Name\".\nIn group \"Parameter\".");
}

TEST(cConfigurationGroup, CopiesAreDeepAndKeepTheOrigin)
{
    cConfigurationGroup const original = readTree();
    cConfigurationGroup copy(original);
    copy.GetConfigurationGroups()[0]->replaceString("First", "Changed");
    copy.GetConfigurationGroups()[1]->addInformation("Extra", 1);
    std::string text;
    original.findItem("Parameter", "Name", text, /*mandatory=*/true);
    EXPECT_EQ(text + std::to_string(original.GetConfigurationGroups()[1]->nbOfInformation()), "First1");
    cConfigurationGroup const* second = copy.GetConfigurationGroups()[1];
    EXPECT_EQ(second->getSourceFile() + ":" + std::to_string(second->getLineNumber()), "/p/a.cfg:7");

    cConfigurationGroup assigned("Other");
    assigned.addConfigurationGroup(new cConfigurationGroup("Old"));
    assigned = copy;
    cConfigurationGroup& self = assigned;
    assigned = self;
    EXPECT_EQ(walk(assigned), "Parameter0;Parameter1;");
    // From its own subgroup: the copy is complete before the subgroup goes.
    assigned = *assigned.GetConfigurationGroups()[1];
    EXPECT_EQ(assigned.getName() + " " + std::to_string(assigned.nbOfInformation()) + " " + walk(assigned),
              "Parameter 2 ");
}

TEST(cConfigurationGroup, SubgroupsAreOwnedWalkedInOrderLentAndHandedOver)
{
    cConfigurationGroup top("Top");
    for (char const* name : {"File", "Channel", "File"})
        top.addConfigurationGroup(new cConfigurationGroup(name));
    EXPECT_EQ(walk(top), "File0;Channel1;File2;");
    EXPECT_EQ(failureOf([&] { top.addConfigurationGroup(nullptr); }),
              "cGenericException|cConfigurationGroup::addConfigurationGroup|A null group cannot be added to "
              "group \"Top\".");
    EXPECT_THROW(top.addConfigurationGroup(&top), cGenericException);
    {
        // The lending pattern of the savers: another group holds top's children for a while.
        cConfigurationGroup borrower("Borrower");
        for (cConfigurationGroup* child : top.GetConfigurationGroups())
            borrower.addConfigurationGroup(child);
        borrower.clearSubGroupsWithoutDeallocating();
        EXPECT_EQ(walk(borrower), "");
    }
    EXPECT_EQ(walk(top), "File0;Channel1;File2;");
    std::vector<cConfigurationGroup*> const taken = top.GetConfigurationGroups();
    top.clearSubGroupsWithoutDeallocating();
    EXPECT_EQ(walk(top), "");
    // Under ASan: neither freed twice nor leaked.
    for (cConfigurationGroup* child : taken)
        delete child;
    top.addConfigurationGroup(new cConfigurationGroup("New"));
    top.addInformation("Key", 1);
    top.clear(); // under ASan: the subgroup is deleted, not leaked
    EXPECT_EQ(top.getName() + std::to_string(top.GetChildCount() + top.nbOfInformation()), "Top0");
}

TEST(cConfigurationGroup, ReplaceStringChangesOnlyTheFirstExactValueOfItsOwnItems)
{
    cConfigurationGroup group("View");
    group.addInformationItem({"Drawing Enable", "no-disable", 5, nullptr});
    group.addInformation("Other", "no-disable");
    group.addInformation("Partial", "no-disabled");
    group.addConfigurationGroup(new cConfigurationGroup("Graph"));
    group.GetConfigurationGroups()[0]->addInformation("Drawing Enable", "hide");
    EXPECT_EQ(group.replaceString("no-disable", "yes-enable"), 1);
    EXPECT_EQ(group.replaceString("hide", "show") + group.replaceString("no-disab", "x"), 0);
    EXPECT_EQ(itemsOf(group), "Drawing Enable=yes-enable@5;Other=no-disable@0;Partial=no-disabled@0;");
}
