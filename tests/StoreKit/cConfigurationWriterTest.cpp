#include "StoreKit/cConfigurationWriter.h"

#include "StoreKit/cConfigurationGroup.h"

#include <gtest/gtest.h>

namespace
{
// Everything the text carries, in order: names, keys, values and nesting (not lines or files).
std::string dump(cConfigurationGroup const& group)
{
    std::string out = "[" + group.getName() + "]";
    for (sInformationItem const& item : group.getInformationRange())
        out += "<" + item.key + "|" + item.value + ">";
    for (cConfigurationGroup const* child : group.GetConfigurationGroups())
        out += "{" + dump(*child) + "}";
    return out;
}

cConfigurationGroup* addGroup(cConfigurationGroup& parent, std::string const& name)
{
    auto* group = new cConfigurationGroup(name);
    parent.addConfigurationGroup(group);
    return group;
}

std::string const bom = "\xEF\xBB\xBF";
} // namespace

TEST(cConfigurationWriter, QuotesOnlyWhatWouldNotReadBack)
{
    // Under-quoting shows in the round trip below; over-quoting and the escapes show here.
    EXPECT_EQ(cConfigurationWriter::formatValue("a = {x} # \"y\" \\ größer"), "a = {x} # \"y\" \\ größer");
    EXPECT_EQ(cConfigurationWriter::formatName("Used Maximum Value #2 @3"), "Used Maximum Value #2 @3");
    EXPECT_EQ(cConfigurationWriter::formatValue("\"a\tb\nc\rd\x01\x7f\\"),
              "\"\\\"a\\tb\\nc\\rd\\x01\\x7F\\\\\"");
    // Read back wrongly only as the first line of a file without a header.
    EXPECT_EQ(cConfigurationWriter::formatName(bom + "x"), "\"" + bom + "x\"");
    // A file written without a header has none; with one, "@Project" is always there.
    sConfigurationHeader const bare;
    EXPECT_EQ(cConfigurationWriter::write(cConfigurationGroup(), &bare), "@Project = \"\"\n");
    EXPECT_EQ(cConfigurationWriter::write(cConfigurationGroup(), nullptr), "");
}

TEST(cConfigurationWriter, AwkwardTextsReadBackToTheSameTree)
{
    std::string const awkward[] = {"a = b",      "{",     "}",      "# no comment",  "@at",
                                   "\"quoted\"", " lead", "trail ", "two\nlines",    "tab\t",
                                   "",           "\\",    "x\r",    "back\\slash\\", "größer",
                                   bom + "bom",  "\"",    "=",      "a\"b"};
    std::size_t const count = std::size(awkward);
    cConfigurationGroup top;
    cConfigurationGroup* group = addGroup(top, "Group");
    for (std::size_t i = 0; i < count; ++i)
    {
        top.addInformation(awkward[i], awkward[count - 1 - i]);
        addGroup(*group, awkward[i])->addInformation("Index", static_cast<int>(i));
    }
    // Duplicate keys and duplicate group names keep their order.
    top.addInformation("Dup", "first");
    top.addInformation("Dup", "second");
    addGroup(top, "Group")->addInformation("Dup", "third");
    std::string everyByte(1, '\0');
    for (int byte = 1; byte < 256; ++byte)
        everyByte += static_cast<char>(byte);
    top.addInformation(everyByte, everyByte);

    sConfigurationHeader const header{"Type \"x\"", " project ", "#comment\n\t"};
    std::string const text = cConfigurationWriter::write(top, &header);
    cConfigurationGroup back;
    sConfigurationHeader const readHeader = cConfigurationReader::read(text, "", back);
    EXPECT_EQ(dump(back), dump(top));
    EXPECT_EQ(readHeader.fileType + readHeader.project + readHeader.comment,
              header.fileType + header.project + header.comment);
    // Writing what was read gives the same text again; no line has trailing blanks.
    EXPECT_EQ(cConfigurationWriter::write(back, &readHeader), text);
    EXPECT_TRUE(text.back() == '\n' && text.find(" \n") == std::string::npos);
}
