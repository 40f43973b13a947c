#include "StoreKit/cObjectToStoreInfo.h"

#include "BaseKit/cKynException.h"

#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

#include <tuple>

namespace
{
// The value of key read as T (with hexadecimal digits for a long); the key must be there.
template <typename T, bool hexadecimal = false> T read(cObjectToStoreInfo const& info, std::string const& key)
{
    T value{};
    int found = 0;
    if constexpr (hexadecimal)
        found = info.findItemValue(key, value, /*mandatory=*/false, /*hexadecimal=*/true);
    else
        found = info.findItemValue(key, value, /*mandatory=*/false);
    EXPECT_EQ(found, 1) << key;
    return value;
}

// What reading key as T throws: a text that does not read throws even when the key is optional.
template <typename T, bool hexadecimal = false>
std::string failureAs(cObjectToStoreInfo const& info, std::string const& key)
{
    return failureOf([&] { read<T, hexadecimal>(info, key); });
}
} // namespace

TEST(cObjectToStoreInfo, AddInformationWritesEachTypeInItsTextFormInOrder)
{
    cObjectToStoreInfo info;
    unsigned int cursor = 99; // the walk starts from 0 whatever the cursor held
    EXPECT_EQ(info.firstInformation(cursor), nullptr);
    info.addInformation("a", true);
    info.addInformation("b", false);
    info.addInformation("c", -42L);
    info.addInformation("d", 255L, /*hexadecimal=*/true);
    info.addInformation("e", 0x12345L, /*hexadecimal=*/true);
    info.addInformation("f", -2L, /*hexadecimal=*/true); // two's complement in as few bytes as hold it
    info.addInformation("g", mpf_class(2.5), 0);
    info.addInformation("h", mpf_class(-1.25), 1);
    info.addInformation("i", 4000000000u);
    info.addInformation("j", 0.1);
    info.addInformation("k", static_cast<char const*>(nullptr));
    std::string values;
    for (sInformationItem const* item = info.firstInformation(cursor); item;
         item = info.nextInformation(cursor))
        values += item->value + (item->lineNumber == 0 && !item->sourceFile ? ";" : "<origin>;");
    EXPECT_EQ(values, "1;0;-42;0xFF;0x00012345;0xFE;3;-1.3;4000000000;0.10000000000000001;;");
    EXPECT_TRUE(info.endOfInformationList(cursor) && info.nextInformation(cursor) == nullptr);
}

TEST(cObjectToStoreInfo, FindItemValueReadsEachTypeTheFirstOfAKeyAndLeavesDefaultsWhenAbsent)
{
    cObjectToStoreInfo info;
    info.addInformationItem({"Path", "first", 3, nullptr});
    info.addInformation("Double", -123.456e-300);
    info.addInformation("Long", -9223372036854775807L - 1);
    for (char const* text :
         {" TRUE ", "No", " +12 ", "4294967295", "0.1", " -2.5e3 ", "0XfF", "0xFFFFFFFFFFFFFFFF"})
        info.addInformation(text, text);
    info.addInformationItem({"Path", "second", 9, nullptr});
    EXPECT_EQ(read<double>(info, "Double"), -123.456e-300); // %.17g reads back to the same double
    EXPECT_EQ(read<long>(info, "Long"), -9223372036854775807L - 1);
    EXPECT_TRUE(read<bool>(info, " TRUE ") && !read<bool>(info, "No"));
    EXPECT_EQ(read<int>(info, " +12 "), 12);
    EXPECT_EQ(read<unsigned int>(info, "4294967295"), 4294967295u);
    EXPECT_EQ(read<float>(info, "0.1"), 0.1f);
    EXPECT_EQ(read<mpf_class>(info, " -2.5e3 "), -2500);
    EXPECT_EQ((read<long, true>(info, "0XfF")), 255);
    EXPECT_EQ((read<long, true>(info, "0xFFFFFFFFFFFFFFFF")), -1); // 16 digits are a full 64-bit pattern
    int line = 0;
    info.findItemLineNumber("Path", line, /*mandatory=*/true);
    EXPECT_EQ(read<std::string>(info, "Path") + std::to_string(line), "first3");

    std::string text = "default";
    line = -1;
    EXPECT_EQ(info.findItemValue("double", text, /*mandatory=*/false) +
                  info.findItemLineNumber("Other", line, /*mandatory=*/false),
              0);
    EXPECT_EQ(text + std::to_string(line), "default-1");
    // A plain list knows no group or file to name.
    EXPECT_EQ(failureOf([&] { info.findItemValue("Other", text, /*mandatory=*/true); }),
              "cMissingItem|cObjectToStoreInfo::findItemValue|Missing key \"Other\".\n");
    EXPECT_THROW(info.findItemLineNumber("Other", line, /*mandatory=*/true), cMissingItem);
}

TEST(cObjectToStoreInfo, BadTextsNameWhatWasExpectedAndLeaveTheValue)
{
    using tFailure = std::string (*)(cObjectToStoreInfo const&, std::string const&);
    std::tuple<char const*, tFailure, char const*> const cases[] = {
        {"2147483648", failureAs<int>, "a whole number from -2147483648 to 2147483647 is expected."},
        {"99999999999999999999", failureAs<int>,
         "a whole number from -2147483648 to 2147483647 is expected."},
        {"-1", failureAs<unsigned int>, "a whole number from 0 to 4294967295 is expected."},
        {"99999999999999999999", failureAs<long>,
         "a whole number from -9223372036854775808 to 9223372036854775807 is expected."},
        {"1e39", failureAs<float>, "a number within the range of a float is expected."},
        {"1.5x", failureAs<double>, "a number is expected."},
        {"1.5x", failureAs<mpf_class>, "a number is expected."},
        {"0xG1", failureAs<long, true>, "a hexadecimal number is expected."},
        {"maybe", failureAs<bool>, "1, 0, true, false, yes or no is expected."},
    };
    std::string const head = "cGenericException|cObjectToStoreInfo::findItemValue|Invalid value ";
    cObjectToStoreInfo info;
    for (auto const& [text, failure, expected] : cases)
    {
        info.addInformation(text, text);
        EXPECT_EQ(failure(info, text), head + "\"" + text + "\" of key \"" + text + "\": " + expected);
    }
    int untouched = 5;
    EXPECT_ANY_THROW(info.findItemValue("1.5x", untouched, /*mandatory=*/false));
    EXPECT_EQ(untouched, 5);
}

// Setting by key changes the first item of the key only, keeping its line; an absent key changes nothing.
TEST(cObjectToStoreInfo, SetInformationValueChangesTheFirstItemOfTheKeyOnly)
{
    cObjectToStoreInfo info;
    info.addInformationItem(sInformationItem{"Item Selected", "Front", 7, nullptr});
    info.addInformation("Item Selected", "Side");
    EXPECT_TRUE(info.setInformationValue("Item Selected", "Default"));
    EXPECT_FALSE(info.setInformationValue("Algo Tab Selected", "x"));
    ASSERT_EQ(2u, info.nbOfInformation());
    EXPECT_EQ("Default|7|Side", info.getInformationRange()[0].value + "|" +
                                    std::to_string(info.getInformationRange()[0].lineNumber) + "|" +
                                    info.getInformationRange()[1].value);
}
