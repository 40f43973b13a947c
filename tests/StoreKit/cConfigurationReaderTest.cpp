#include "StoreKit/cConfigurationReader.h"

#include "BaseKit/cKynException.h"
#include "StoreKit/cConfigurationGroup.h"
#include "StoreKit/cConfigurationWriter.h"

#include "tests/support/cConfigurationTexts.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

// Each NAME-input.cfg of the folder reads either to a tree that the writer gives as NAME-expected.cfg
// (which reads and writes to itself again), or to the syntax error of NAME-expected.txt.
TEST(cConfigurationReader, GoldenPairsReadToTheirWrittenTextOrTheirSyntaxError)
{
    std::string const folder = SIMCORE_TEST_DATA_DIR "StoreKit/format/";
    std::set<std::string> inputs;
    for (auto const& entry : std::filesystem::directory_iterator(folder))
    {
        std::string const name = entry.path().filename().string();
        if (name.ends_with("-input.cfg"))
            inputs.insert(name.substr(0, name.size() - 10));
    }
    ASSERT_EQ(inputs.size(), 30u);
    for (std::string const& name : inputs)
    {
        SCOPED_TRACE(name);
        cConfigurationGroup top;
        std::string const expected = readText(folder + name + "-expected.cfg");
        std::string error = readText(folder + name + "-expected.txt");
        if (!error.empty() && error.back() == '\n')
            error.pop_back();
        ASSERT_NE(expected.empty(), error.empty());
        std::string const read = failureOf(
            [&]
            {
                sConfigurationHeader const header = cConfigurationReader::read(
                    readText(folder + name + "-input.cfg"), name + "-input.cfg", top);
                EXPECT_EQ(cConfigurationWriter::write(top, &header), expected);
                sConfigurationHeader const again = cConfigurationReader::read(expected, "", top);
                EXPECT_EQ(cConfigurationWriter::write(top, &again), expected);
            });
        EXPECT_EQ(read,
                  error.empty() ? "no exception" : "cGenericException|cConfigurationReader::read|" + error);
    }
}

TEST(cConfigurationReader, ItemsAndGroupsKeepTheirLinesAndShareTheFilePath)
{
    cConfigurationGroup top("Old name");
    top.addInformation("Stale", 1);
    top.addConfigurationGroup(new cConfigurationGroup("Stale group"));
    cConfigurationReader::read("@Project = P\n\nA = 1\nG {\r\n  # comment\n  B = 2\n}\nC = 3", "/p/unit.cfg",
                               top);
    // The earlier content is gone; the top group is of the file, at line 0.
    EXPECT_EQ(itemsOf(top) + " " + top.getSourceFile() + ":" + std::to_string(top.getLineNumber()) + " " +
                  std::to_string(top.GetChildCount()),
              "A=1@3;C=3@8; /p/unit.cfg:0 1");
    cConfigurationGroup const* group = top.GetConfigurationGroups()[0];
    EXPECT_EQ(group->getName() + "@" + std::to_string(group->getLineNumber()) + " " + itemsOf(*group),
              "G@4 B=2@6;");
    EXPECT_EQ(group->getInformationRange()[0].sourceFile, top.getSharedSourceFile());
    EXPECT_EQ(group->getSharedSourceFile(), top.getSharedSourceFile());
    EXPECT_EQ(
        failureWithSourceOf([&] { cConfigurationReader::read("A = \"x", "/p/a.cfg", top); }),
        "StoreKit/cConfigurationReader|cGenericException|cConfigurationReader::read|Syntax error in file "
        "\"/p/a.cfg\" at line 1: unterminated quoted text.");
}

TEST(cConfigurationReader, NestingIsLimitedSoThatNoFileExhaustsTheStack)
{
    std::string opening;
    std::string closing;
    for (int level = 0; level < cConfigurationReader::maximumDepth; ++level)
    {
        opening += "G {\n";
        closing += "}\n";
    }
    cConfigurationGroup top;
    EXPECT_NO_THROW(cConfigurationReader::read(opening + closing, "", top));
    // Without a path the message names no file.
    EXPECT_EQ(
        failureOf([&] { cConfigurationReader::read(opening + "G {\n" + closing + "}\n", "", top); }),
        "cGenericException|cConfigurationReader::read|Syntax error at line 1001: groups are nested deeper "
        "than 1000 levels.");
}
