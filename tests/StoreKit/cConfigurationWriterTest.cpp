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
} // namespace

// The golden pairs of the reader show the usual texts; this walks texts that only a program makes.
TEST(cConfigurationWriter, EveryByteAndAwkwardTextReadsBackToTheSameTree)
{
    // A byte order mark leads "bom".
    std::string const bom = "\xEF\xBB\xBF";
    std::string const awkward[] = {"a = b",      "{",     "}",      "# no comment",  "@at",
                                   "\"quoted\"", " lead", "trail ", "two\nlines",    "tab\t",
                                   "",           "\\",    "x\r",    "back\\slash\\", "größer",
                                   bom + "bom",  "\"",    "=",      "a\"b"};
    std::size_t const count = std::size(awkward);
    cConfigurationGroup top;
    auto* group = new cConfigurationGroup("Group");
    top.addConfigurationGroup(group);
    for (std::size_t i = 0; i < count; ++i)
    {
        top.addInformation(awkward[i], awkward[count - 1 - i]);
        group->addConfigurationGroup(new cConfigurationGroup(awkward[i]));
    }
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
    EXPECT_TRUE(text.back() == '\n' && text.find(" \n") == std::string::npos);
    // Without a header no header line is written (the golden pairs show "@Project" always written with one).
    EXPECT_EQ(cConfigurationWriter::write(back, nullptr), text.substr(text.find("\"a = b\"")));
}
