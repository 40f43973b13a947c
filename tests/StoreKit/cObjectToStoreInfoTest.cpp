#include "StoreKit/cObjectToStoreInfo.h"

#include "BaseKit/cKynException.h"

#include <gtest/gtest.h>

namespace
{
// The message of what reading key as T throws, or "no exception".
template <typename T>
std::string failureOf(cObjectToStoreInfo const& info, std::string const& key, bool hex = false)
{
    T value{};
    try
    {
        if constexpr (std::is_same_v<T, long>)
        {
            info.findItemValue(key, value, true, hex);
        }
        else
        {
            info.findItemValue(key, value, true);
        }
    }
    catch (cKynException const& e)
    {
        return std::string(e.getClassName()) + "|" + e.getFunction() + "|" + e.what();
    }
    return "no exception";
}

// The value of key read as T; the key must be there.
template <typename T> T read(cObjectToStoreInfo const& info, std::string const& key, bool hex = false)
{
    T value{};
    int found = 0;
    if constexpr (std::is_same_v<T, long>)
    {
        found = info.findItemValue(key, value, true, hex);
    }
    else
    {
        found = info.findItemValue(key, value, true);
    }
    EXPECT_EQ(found, 1) << key;
    return value;
}
} // namespace

TEST(cObjectToStoreInfo, AddInformationWritesEachTypeInItsTextForm)
{
    cObjectToStoreInfo info;
    info.addInformation("a", true);
    info.addInformation("b", false);
    info.addInformation("c", -42L);
    info.addInformation("d", 255L, true);
    info.addInformation("e", 0x12345L, true);
    info.addInformation("f", -2L, true); // two's complement in as few bytes as hold it
    info.addInformation("g", mpf_class(2.5), 0);
    info.addInformation("h", mpf_class(-1.25), 1);
    info.addInformation("i", 4000000000u);
    info.addInformation("j", 0.1);
    info.addInformation("k", static_cast<char const*>(nullptr));
    std::string values;
    for (sInformationItem const& item : info.getInformationRange())
    {
        values += item.value + (item.lineNumber == 0 && !item.sourceFile ? ";" : "<origin>;");
    }
    EXPECT_EQ(values, "1;0;-42;0xFF;0x00012345;0xFE;3;-1.3;4000000000;0.10000000000000001;;");
}

TEST(cObjectToStoreInfo, FindItemValueReadsEachTypeAndLeavesDefaultsWhenAbsent)
{
    cObjectToStoreInfo info;
    info.addInformation("Double", -123.456e-300);
    info.addInformation("Long", -9223372036854775807L - 1);
    for (char const* text :
         {" TRUE ", "No", " +12 ", "4294967295", "0.1", " -2.5e3 ", "0XfF", "0xFFFFFFFFFFFFFFFF"})
    {
        info.addInformation(text, text);
    }
    EXPECT_EQ(read<double>(info, "Double"), -123.456e-300); // %.17g reads back to the same double
    EXPECT_EQ(read<long>(info, "Long"), -9223372036854775807L - 1);
    EXPECT_TRUE(read<bool>(info, " TRUE ") && !read<bool>(info, "No"));
    EXPECT_EQ(read<int>(info, " +12 "), 12);
    EXPECT_EQ(read<unsigned int>(info, "4294967295"), 4294967295u);
    EXPECT_EQ(read<float>(info, "0.1"), 0.1f);
    EXPECT_EQ(read<mpf_class>(info, " -2.5e3 "), -2500);
    EXPECT_EQ(read<long>(info, "0XfF", true), 255);
    EXPECT_EQ(read<long>(info, "0xFFFFFFFFFFFFFFFF", true), -1); // 16 digits are a full 64-bit pattern

    std::string text = "default";
    int line = -1;
    EXPECT_EQ(info.findItemValue("double", text, false) + info.findItemLineNumber("Other", line, false), 0);
    EXPECT_EQ(text + std::to_string(line), "default-1");
    // A plain list knows no group or file to name.
    EXPECT_EQ(failureOf<std::string>(info, "Other"),
              "cMissingItem|cObjectToStoreInfo::findItemValue|Missing key \"Other\".\n");
    EXPECT_THROW(info.findItemLineNumber("Other", line, true), cMissingItem);
}

TEST(cObjectToStoreInfo, BadTextsNameWhatWasExpected)
{
    cObjectToStoreInfo info;
    info.addInformationItem({"Precision", "12.5", 4, std::make_shared<std::string const>("/p/a.cfg")});
    for (char const* text : {"2147483648", "-1", "1e39", "0xG1", "maybe", "1.5x", "99999999999999999999"})
    {
        info.addInformation(text, text);
    }
    std::string const head = "cGenericException|cObjectToStoreInfo::findItemValue|Invalid value ";
    EXPECT_EQ(
        failureOf<int>(info, "Precision"),
        head + "\"12.5\" of key \"Precision\" at line 4 of file \"/p/a.cfg\": a whole number is expected.");
    EXPECT_EQ(failureOf<int>(info, "2147483648"),
              head + "\"2147483648\" of key \"2147483648\": a whole number from -2147483648 to 2147483647 is "
                     "expected.");
    EXPECT_EQ(failureOf<unsigned int>(info, "-1"),
              head + "\"-1\" of key \"-1\": a whole number from 0 to 4294967295 is expected.");
    EXPECT_EQ(failureOf<long>(info, "99999999999999999999"),
              head + "\"99999999999999999999\" of key \"99999999999999999999\": a whole number from "
                     "-9223372036854775808 to 9223372036854775807 is expected.");
    EXPECT_EQ(failureOf<float>(info, "1e39"),
              head + "\"1e39\" of key \"1e39\": a number within the range of a float is expected.");
    EXPECT_EQ(failureOf<double>(info, "1.5x"), head + "\"1.5x\" of key \"1.5x\": a number is expected.");
    EXPECT_EQ(failureOf<mpf_class>(info, "1.5x"), head + "\"1.5x\" of key \"1.5x\": a number is expected.");
    EXPECT_EQ(failureOf<long>(info, "0xG1", true),
              head + "\"0xG1\" of key \"0xG1\": a hexadecimal number is expected.");
    EXPECT_EQ(failureOf<bool>(info, "maybe"),
              head + "\"maybe\" of key \"maybe\": 1, 0, true, false, yes or no is expected.");
    int untouched = 5;
    EXPECT_ANY_THROW(info.findItemValue("1.5x", untouched, false));
    EXPECT_EQ(untouched, 5);
}

TEST(cObjectToStoreInfo, DuplicateKeysKeepTheirOrderAndTheFirstIsRead)
{
    cObjectToStoreInfo info;
    unsigned int cursor = 99;
    EXPECT_TRUE(info.firstInformation(cursor) == nullptr && info.informationListEmpty());
    info.addInformationItem({"Path", "first", 3, nullptr});
    info.addInformation("Other", 1);
    info.addInformationItem({"Path", "second", 9, nullptr});
    std::string value;
    int line = 0;
    info.findItemValue("Path", value, true);
    info.findItemLineNumber("Path", line, true);
    EXPECT_EQ(value + std::to_string(line), "first3");
    std::string walked;
    for (sInformationItem const* item = info.firstInformation(cursor); item;
         item = info.nextInformation(cursor))
    {
        walked += item->key + "=" + item->value + ";";
    }
    EXPECT_EQ(walked, "Path=first;Other=1;Path=second;");
    EXPECT_TRUE(info.endOfInformationList(cursor) && info.nbOfInformation() == 3u);
    EXPECT_EQ(info.nextInformation(cursor), nullptr); // stays behind the last
}
