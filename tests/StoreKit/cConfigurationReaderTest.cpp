#include "StoreKit/cConfigurationReader.h"

#include "BaseKit/cKynException.h"
#include "StoreKit/cConfigurationGroup.h"

#include <gtest/gtest.h>

namespace
{
std::string syntaxError(std::string const& text, std::string const& path = "/p/a.cfg")
{
    cConfigurationGroup top;
    try
    {
        cConfigurationReader::read(text, path, top);
    }
    catch (cGenericException const& e)
    {
        return e.getSourceFile() + "|" + e.what();
    }
    return "no exception";
}

std::string itemsOf(cConfigurationGroup const& group)
{
    std::string items;
    for (sInformationItem const& item : group.getInformationRange())
        items += "<" + item.key + "|" + item.value + "|" + std::to_string(item.lineNumber) + ">";
    return items;
}
} // namespace

TEST(cConfigurationReader, ItemsGroupsAndHeaderKeepTheirTextsLinesAndFile)
{
    cConfigurationGroup top("Old name");
    top.addInformation("Stale", 1);
    top.addConfigurationGroup(new cConfigurationGroup("Stale group"));
    sConfigurationHeader const header =
        cConfigurationReader::read("\xEF\xBB\xBF"
                                   "@File Type = Unit\n"
                                   "\t@Project = Demo project\r\n"
                                   "@Comment = \"first\\nsecond\"\n"
                                   "   # indented comment\n"
                                   "Hash = a # not a comment\n"
                                   "Equal = a = b\r\n"
                                   "Braces = { x }\n"
                                   "Empty =\n"
                                   "Inner = say \"hi\"\n"
                                   "Quoted = \"  \\\\ \\\" \\t \\r \\x41\\x7f \"  \r\n"
                                   "\"Q = K\" = \"\"\n"
                                   "= no key\n"
                                   "\"#G {\" {\r\n"
                                   "\tChannel {\n"
                                   "        Über = größer\n"
                                   "    }\n"
                                   "}",
                                   "/p/unit.cfg", top);
    EXPECT_EQ(header.fileType + "|" + header.project + "|" + header.comment,
              "Unit|Demo project|first\nsecond");
    EXPECT_EQ(itemsOf(top), "<Hash|a # not a comment|5><Equal|a = b|6><Braces|{ x }|7><Empty||8><Inner|say "
                            "\"hi\"|9><Quoted|  \\ \" \t \r A\x7f |10><Q = K||11><|no key|12>");
    // The earlier content is gone; the top group is of the file, at line 0.
    EXPECT_EQ(top.getSourceFile() + ":" + std::to_string(top.getLineNumber()) + " " +
                  std::to_string(top.GetChildCount()),
              "/p/unit.cfg:0 1");
    cConfigurationGroup* odd = top.findConfigurationGroup("#G {", true);
    cConfigurationGroup* channel = odd->findConfigurationGroup("Channel", true);
    EXPECT_EQ(std::to_string(odd->getLineNumber()) + " " + std::to_string(channel->getLineNumber()) + " " +
                  itemsOf(*channel),
              "13 14 <Über|größer|15>");
    // All items and groups of one read share one path.
    EXPECT_EQ(channel->getInformationRange()[0].sourceFile, top.getSharedSourceFile());
    EXPECT_EQ(channel->getSharedSourceFile(), top.getSharedSourceFile());
}

TEST(cConfigurationReader, EverySyntaxErrorNamesTheFileAndTheLine)
{
    std::string const neither =
        "the line is neither an item \"key = value\", a group \"name {\", a comment \"# ...\" nor '}'.";
    std::vector<std::pair<std::string, std::string>> const cases = {
        {"A = 1\n}\n", "2: '}' without an open group."},
        {"Outer {\n  Inner {\n  }\n\n",
         "4: group \"Outer\" opened at line 1 is not closed at the end of the file."},
        {"A {\nB {\nC {\n}", "4: group \"B\" opened at line 2 is not closed at the end of the file."},
        {"A = 1\njust words\n", "2: " + neither},
        {"A { x\n", "1: " + neither},
        {"} # end\n", "1: " + neither},
        {"\n\"Key\"\n", "2: " + neither},
        {"A = 1\n\xEF\xBB\xBF" // a byte-order mark is skipped at the start only
         "B\n",
         "2: " + neither},
        {"A = \"open\n", "1: unterminated quoted text."},
        {"A = \"open\\\"\n", "1: unterminated quoted text."},
        {"A = \"open\\", "1: unterminated quoted text."},
        {"\"Key = 1\n", "1: unterminated quoted text."},
        {"A = \"a\\qb\"\n", "1: bad escape sequence \"\\q\" in a quoted text."},
        {"A = \"\\x4g\"\n", "1: bad escape sequence \"\\x4g\" in a quoted text."},
        {"A = \"\\x4", "1: bad escape sequence \"\\x4\" in a quoted text."},
        {"A = \"a\" b\n", "1: unexpected text after a closing quote."},
        {"\"A\" x = 1\n", "1: unexpected text after a closing quote."},
        {"\"A\" { x\n", "1: unexpected text after a closing quote."},
        {"A = 1\n@Project = P\n", "2: header field \"@Project\" after the first item or group."},
        {"G {\n}\n@File Type = U\n", "3: header field \"@File Type\" after the first item or group."},
        {"@Version = 2\n", "1: unknown header field \"@Version\"."},
        {"@Comment\n", "1: header field \"@Comment\" without '='."},
        {"@Project = A\n@Project = B\n", "2: header field \"@Project\" given twice."},
    };
    for (auto const& [text, message] : cases)
    {
        EXPECT_EQ(syntaxError(text),
                  "StoreKit/cConfigurationReader|Syntax error in file \"/p/a.cfg\" at line " + message);
    }
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
    EXPECT_EQ(syntaxError(opening + "G {\n" + closing + "}\n", ""),
              "StoreKit/cConfigurationReader|Syntax error at line 1001: groups are nested deeper than 1000 "
              "levels.");
}
