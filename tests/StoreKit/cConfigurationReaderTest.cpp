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
    {
        items += "<" + item.key + "|" + item.value + "|" + std::to_string(item.lineNumber) + ">";
    }
    return items;
}
} // namespace

TEST(cConfigurationReader, ItemsAndGroupsKeepTheirLinesAndTheFile)
{
    cConfigurationGroup top("Old name");
    top.addInformation("Stale", 1);
    sConfigurationHeader const header = cConfigurationReader::read("@File Type = Unit\n"
                                                                   "\t@Project = Demo project\n"
                                                                   "@Comment = \"first\\nsecond\"\n"
                                                                   "\n"
                                                                   "   # indented comment\n"
                                                                   "Name = Front\n"
                                                                   "Channels List {\n"
                                                                   "\tChannel {\n"
                                                                   "        Name = X\n"
                                                                   "    }\n"
                                                                   "}\n",
                                                                   "/p/unit.cfg", top);
    EXPECT_EQ(header.fileType + "|" + header.project + "|" + header.comment,
              "Unit|Demo project|first\nsecond");
    EXPECT_EQ(itemsOf(top), "<Name|Front|6>"); // the earlier content is gone
    EXPECT_EQ(top.getSourceFile() + std::to_string(top.getLineNumber()), "/p/unit.cfg0");
    cConfigurationGroup* list = top.findConfigurationGroup("Channels List", true);
    cConfigurationGroup* channel = list->findConfigurationGroup("Channel", true);
    EXPECT_EQ(list->getLineNumber() * 10 + channel->getLineNumber(), 78);
    EXPECT_EQ(itemsOf(*channel), "<Name|X|9>");
    // All items and groups of one read share one path.
    EXPECT_EQ(channel->getInformationRange()[0].sourceFile, top.getSharedSourceFile());
    EXPECT_EQ(channel->getSharedSourceFile(), top.getSharedSourceFile());
}

TEST(cConfigurationReader, ValuesKeepEverythingBetweenTheOuterBlanks)
{
    cConfigurationGroup top;
    cConfigurationReader::read("Hash = a # not a comment\n"
                               "Equal = a = b\n"
                               "Braces = { x }\n"
                               "Empty =\n"
                               "Inner = say \"hi\"\n"
                               "Quoted = \"  \\\\ \\\" \\t \\r \\x41\\x7f \"\n"
                               "\"Q = K\" = \"\"\n"
                               "\"#G {\" {\n"
                               "}\n"
                               "= no key\n"
                               "Über = größer\n",
                               "", top);
    EXPECT_EQ(itemsOf(top), "<Hash|a # not a comment|1><Equal|a = b|2><Braces|{ x }|3><Empty||4><Inner|say "
                            "\"hi\"|5><Quoted|  \\ \" \t \r A\x7f |6><Q = K||7><|no key|10><Über|größer|11>");
    EXPECT_NE(top.findConfigurationGroup("#G {", false), nullptr);
}

TEST(cConfigurationReader, CrLfAndByteOrderMarkReadLikeAPlainFile)
{
    cConfigurationGroup windows;
    cConfigurationReader::read("\xEF\xBB\xBF"
                               "A = 1\r\nG {\r\n  B = \"x\"  \r\n}",
                               "", windows);
    EXPECT_EQ(itemsOf(windows), "<A|1|1>");
    EXPECT_EQ(itemsOf(*windows.findConfigurationGroup("G", true)), "<B|x|3>");
    // A byte-order mark is skipped at the start only.
    EXPECT_EQ(
        syntaxError("A = 1\n\xEF\xBB\xBF"
                    "B\n"),
        "StoreKit/cConfigurationReader|Syntax error in file \"/p/a.cfg\" at line 2: the line is neither an "
        "item \"key = value\", a group \"name {\", a comment \"# ...\" nor '}'.");
}

TEST(cConfigurationReader, EverySyntaxErrorNamesTheFileAndTheLine)
{
    std::string const neither =
        "the line is neither an item \"key = value\", a group \"name {\", a comment \"# ...\" nor '}'.";
    std::vector<std::pair<std::string, std::string>> const cases = {
        {"A = 1\n}\n", "2: '}' without an open group."},
        {"Outer {\n  Inner {\n  }\n\n",
         "4: group \"Outer\" opened at line 1 is not closed at the end of the file."},
        {"A {\nB {\n}", "3: group \"A\" opened at line 1 is not closed at the end of the file."},
        {"A = 1\njust words\n", "2: " + neither},
        {"} # end\n", "1: " + neither},
        {"\n\"Key\"\n", "2: " + neither},
        {"A = \"open\n", "1: unterminated quoted text."},
        {"A = \"open\\\"\n", "1: unterminated quoted text."},
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
    EXPECT_EQ(syntaxError("}", ""),
              "StoreKit/cConfigurationReader|Syntax error at line 1: '}' without an open group.");
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
    EXPECT_EQ(syntaxError(opening + "G {\n" + closing + "}\n", ""),
              "StoreKit/cConfigurationReader|Syntax error at line 1001: groups are nested deeper than 1000 "
              "levels.");
}
