#include "BaseKit/Conversions.h"

#include "BaseKit/cKynException.h"
#include "BaseKit/mpfClass.h"

#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <tuple>
#include <vector>

namespace
{
std::string toText(mpf_class const& v, int decimals)
{
    std::string out = "unchanged";
    doubleToString(out, v, decimals);
    return out;
}

std::string toHex(mpf_class const& v, unsigned char width, bool upperCase = true)
{
    std::string out;
    mpfToHex(out, v, width, upperCase);
    return out;
}

// The limits 0 and 10 are never applied: every value outside them shows that nothing is clamped.
auto const fromHex = [](std::string const& digits, unsigned char width, bool isUnsigned)
{ return readHexadecimalNumber(digits, width, isUnsigned, mpf_class(0), mpf_class(10)); };
auto const power2 = [](unsigned long bits) { return mpf_class(mpz_class(1) << bits); };
} // namespace

TEST(Conversions, DoubleToStringWritesTheBinaryValueRoundedHalfAwayFromZero)
{
    using sCase = std::tuple<double, int, std::string>;
    // 1.005 and 2.675 are doubles just below their halves: a decimal shortcut would round them up.
    for (auto const& [value, decimals, text] :
         {sCase{0.125, 2, "0.13"}, sCase{-0.125, 2, "-0.13"}, sCase{2.5, 0, "3"}, sCase{-2.5, 0, "-3"},
          sCase{0.0625, 3, "0.063"}, sCase{7, 3, "7.000"}, sCase{2.5, -4, "3"}, sCase{1.005, 2, "1.00"},
          sCase{2.675, 2, "2.67"}, sCase{0.1, 25, "0.1000000000000000055511151"}, sCase{-0.001, 2, "0.00"},
          sCase{-0.4, 0, "0"}, sCase{-1e-300, 12, "0.000000000000"},
          sCase{1e-300, 320, "0." + std::string(299, '0') + "100000000000000002506"}})
        EXPECT_EQ(toText(value, decimals), text) << value << " with " << decimals;

    // Never an exponent: all digits of the integer GMP makes of the same binary value.
    std::string const big = mpz_class(mpf_class(1e300)).get_str();
    EXPECT_EQ(toText(1e300, 0), big);
    EXPECT_EQ(toText(-1e300, 2), "-" + big + ".00");
    EXPECT_EQ(toText(convertStringToDouble("1e-999999999"), 12), "0.000000000000");

    // "0.1" read at GMP precision is not exactly 0.1 either: 70 places of its own binary value, within half
    // a unit of the last one.
    mpf_class const tenth = convertStringToDouble("0.1");
    std::string const text = toText(tenth, 70);
    mpz_class const place("1" + std::string(70, '0'));
    EXPECT_EQ(text.substr(0, 2), "0.");
    EXPECT_LE(abs(mpq_class(mpz_class(text.substr(2), 10), place) - mpq_class(tenth)),
              mpq_class(1, place * 2));
}

TEST(Conversions, StringToMpfReadsOneWholeNumberOrThrows)
{
    using sCase = std::tuple<char const*, int, char const*>;
    // The limit of 100 is never applied: callers pass the raw maximum while the text may be a converted
    // value. In base 16, 'e' is a digit and not an exponent.
    for (auto const& [text, base, value] :
         {sCase{"1e3", 10, "1000"}, sCase{"1e+3", 10, "1000"}, sCase{"1E3", 10, "1000"},
          sCase{"+1000", 10, "1000"}, sCase{" \t1000\r\n", 10, "1000"}, sCase{"1000.", 10, "1000"},
          sCase{"0.1e4", 10, "1000"}, sCase{"1e-3", 10, "0.001"}, sCase{"-2.5", 10, "-2.5"},
          sCase{".5", 10, "0.5"},
          sCase{"123456789012345678901234567890", 10, "123456789012345678901234567890"},
          sCase{"-FF", 16, "-255"}, sCase{"101", 2, "5"}, sCase{"1e3", 16, "483"}})
    {
        mpf_class v;
        stringToMpf(text, v, base, mpf_class(100));
        EXPECT_EQ(v, mpf_class(value)) << text;
    }

    // A failed read leaves the target as it was.
    for (std::string const bad : {"", " ", "abc", "1e", "1e+", "--1", "+-1", "1.2.3", "1 2", "0x10", "nan",
                                  "inf", "1,5", ".", "-", "e5", "1e5.5", "12abc", "1e1000000000"})
    {
        mpf_class out(7);
        EXPECT_EQ(failureWithSourceOf([&] { stringToMpf(bad, out, 10, 0); }),
                  "BaseKit/Conversions|cGenericException|stringToMpf|Invalid number: \"" + bad + "\"");
        EXPECT_EQ(out, 7);
    }
    mpf_class v;
    // Only base 10 has an exponent.
    EXPECT_EQ(failureWithSourceOf([&] { stringToMpf("1e1", v, 2, 0); }),
              "BaseKit/Conversions|cGenericException|stringToMpf|Invalid number: \"1e1\"");
    for (int base : {1, 37})
        EXPECT_EQ(failureWithSourceOf([&] { stringToMpf("1", v, base, 0); }),
                  "BaseKit/Conversions|cGenericException|stringToMpf|Invalid number base: " +
                      std::to_string(base));
}

TEST(Conversions, MpfToHexWritesWidthsBoundariesAndWidening)
{
    using sCase = std::tuple<mpf_class, unsigned char, char const*>;
    auto const check = [](std::initializer_list<sCase> cases)
    {
        for (auto const& [value, width, text] : cases)
            EXPECT_EQ(toHex(value, width), text) << value.get_d() << " width " << int(width);
    };
    check({sCase{127, 1, "7F"}, sCase{255, 1, "FF"}, sCase{-1, 1, "FF"}, sCase{-128, 1, "80"},
           sCase{2.9, 1, "02"}, sCase{-2.9, 1, "FE"}, sCase{32767, 2, "7FFF"}, sCase{65535, 2, "FFFF"},
           sCase{-32768, 2, "8000"}, sCase{1, 2, "0001"}, sCase{4294967295.0, 4, "FFFFFFFF"},
           sCase{-2147483648.0, 4, "80000000"}, sCase{power2(64) - 1, 8, "FFFFFFFFFFFFFFFF"},
           sCase{-power2(63), 8, "8000000000000000"}});
    // Width 0: the smallest of 1, 2, 4, 8 bytes, unsigned range unless negative.
    check({sCase{0, 0, "00"}, sCase{255, 0, "FF"}, sCase{256, 0, "0100"}, sCase{-128, 0, "80"},
           sCase{-129, 0, "FF7F"}, sCase{65536, 0, "00010000"}, sCase{power2(32), 0, "0000000100000000"},
           sCase{power2(64), 0, "00000000000000010000000000000000"}});
    // Too large for the width: wider, never truncated; a widened positive number keeps the top bit clear so
    // that a signed reader agrees.
    check({sCase{256, 1, "0100"}, sCase{-129, 1, "FF7F"}, sCase{-32769, 2, "FFFF7FFF"},
           sCase{40000, 1, "00009C40"}, sCase{-25536, 1, "9C40"},
           sCase{-power2(63) - 1, 8, "FFFFFFFFFFFFFFFF7FFFFFFFFFFFFFFF"}});
    EXPECT_EQ(toHex(0xABCD, 2, false), "abcd");
}

TEST(Conversions, ReadHexadecimalNumberTakesTheSignFromTheWidthWidenedAsMpfToHexWidens)
{
    using sCase = std::tuple<char const*, unsigned char, bool, long long>;
    // Width 0 never sign-extends; a text longer than the width (leading zeros count) widens it the way
    // mpfToHex widens; unsigned 64-bit patterns come back in the bits of a long long.
    for (auto const& [digits, width, isUnsigned, value] :
         {sCase{"7F", 1, false, 127}, sCase{"80", 1, false, -128}, sCase{"FF", 1, true, 255},
          sCase{"ff", 2, false, 255}, sCase{"FFFFFFFF", 4, false, -1},
          sCase{"FFFFFFFF", 4, true, 4294967295LL}, sCase{"FFFFFFFFFFFFFFFF", 8, true, -1},
          sCase{"FF7F", 0, false, 0xFF7F}, sCase{"FF7F", 1, false, -129}, sCase{"0x7f", 1, false, 127},
          sCase{"0XAbCd", 2, true, 0xABCD}, sCase{"00000000000000000001", 8, true, 1},
          sCase{"8000", 2, false, -32768}, sCase{"FFFF7FFF", 1, false, -32769},
          sCase{"00009C40", 1, false, 40000}, sCase{"8000000000000000", 1, false, LLONG_MIN}})
        EXPECT_EQ(fromHex(digits, width, isUnsigned), value) << digits;

    for (std::string const bad : {"", "0x", "G1", "12 ", "-1", "x12", "0x0x1", "1.5", "10000000000000000"})
        EXPECT_EQ(
            failureWithSourceOf([&] { fromHex(bad, 8, true); }),
            "BaseKit/Conversions|cGenericException|readHexadecimalNumber|Invalid hexadecimal number: \"" +
                bad + "\"");
}

TEST(Conversions, WholeNumbersTruncateAndSaturate)
{
    using sCase = std::tuple<mpf_class, long long, unsigned long long>;
    unsigned long long const p63 = 1ULL << 63;
    for (auto const& [value, whole, unsignedWhole] :
         {sCase{2.9, 2, 2}, sCase{-2.9, -2, 0}, sCase{0.99, 0, 0}, sCase{-5, -5, 0},
          sCase{power2(63) - 2, LLONG_MAX - 1, p63 - 2}, sCase{power2(63), LLONG_MAX, p63},
          sCase{power2(63) + mpf_class(0.5), LLONG_MAX, p63}, sCase{-power2(63) + 1, LLONG_MIN + 1, 0},
          sCase{-power2(63) - mpf_class(0.5), LLONG_MIN, 0}, sCase{-power2(63) - 1, LLONG_MIN, 0},
          sCase{-1e300, LLONG_MIN, 0}, sCase{power2(64) - 1, LLONG_MAX, ULLONG_MAX},
          sCase{power2(64), LLONG_MAX, ULLONG_MAX}})
    {
        EXPECT_EQ(mpfToLongLong(value), whole) << value.get_d();
        EXPECT_EQ(mpfToUnsignedLongLong(value), unsignedWhole) << value.get_d();
    }
    EXPECT_EQ(convertIntToString(INT_MIN), "-2147483648");
    EXPECT_EQ(addressToString(nullptr), "0x0000000000000000");
    EXPECT_EQ(addressToString(reinterpret_cast<void const*>(std::uintptr_t(0xABCDEF))), "0x0000000000ABCDEF");
}

TEST(Conversions, StrtodStrictAcceptsOnlyOneWholeFiniteNumber)
{
    using sCase = std::tuple<char const*, double>;
    // Too small to hold reads as zero; too large is refused.
    for (auto const& [text, value] :
         {sCase{"-0", -0.0}, sCase{"+1.5", 1.5}, sCase{"1E-5", 1e-5}, sCase{".5", 0.5}, sCase{"5.", 5},
          sCase{"-2.5e+2", -250}, sCase{"1.7976931348623157e308", 1.7976931348623157e308},
          sCase{"4e-320", 4e-320}, sCase{"1e-400", 0}})
    {
        double out = 42;
        EXPECT_TRUE(strtodStrict(text, out)) << text;
        EXPECT_EQ(out, value) << text;
        EXPECT_EQ(std::signbit(out), std::signbit(value)) << text;
    }
    for (char const* text : {"", " 1", "1 ", "nan", "-inf", "0x10", "1e", "1e400", "1.7976931348623159e308",
                             "0.1e310", ".", "1..2", "+", "1,5", "+-1"})
    {
        double out = 42;
        EXPECT_FALSE(strtodStrict(text, out)) << text;
        EXPECT_EQ(out, 42) << text;
    }
}

TEST(Conversions, TextCleanUpAndPaths)
{
    using sTrim = std::tuple<std::string, char const*, bool, char const*>;
    for (auto [text, chars, blanks, trimmed] :
         {sTrim{"- ab -", "-", false, " ab "}, sTrim{"- ab\t-\r\n", "-", true, "ab"},
          sTrim{" \t\r\n", "", true, ""}})
    {
        TrimLeftAndRight(text, chars, blanks);
        EXPECT_EQ(text, trimmed);
    }
    std::string s = "\r\n AbC-Z\xC4\t";
    trimSpaceLR(s);
    toLower(s);
    EXPECT_EQ(s, "abc-z\xC4");

    // Both separators count, and a dot in a directory name is no extension.
    using sCase = std::tuple<char const*, char const*, char const*>;
    for (auto const& [path, extension, shortName] :
         {sCase{"dir/archive.tar.gz", "gz", "archive.tar.gz"}, sCase{"a.b/c", "", "c"},
          sCase{"a.b\\c", "", "c"}, sCase{"file.", "", "file."},
          sCase{"C:\\dir\\file.cal", "cal", "file.cal"}, sCase{"dir/sub/", "", ""}})
    {
        EXPECT_EQ(GetExtension(path), extension) << path;
        EXPECT_EQ(getShortName(path), shortName) << path;
    }
    EXPECT_EQ(GetExtension(nullptr), "");
    // A path is rooted by a separator or a drive letter; anything else joins a directory.
    for (auto const& [path, relative] : std::vector<std::pair<char const*, bool>>{{"/data/a.prt", false},
                                                                                  {"\\\\server\\a", false},
                                                                                  {"c:a.prt", false},
                                                                                  {"Z:\\a", false},
                                                                                  {"a.prt", true},
                                                                                  {"./a", true},
                                                                                  {"1:a", true},
                                                                                  {"", true},
                                                                                  {nullptr, true}})
        EXPECT_EQ(PathIsRelativeA(path), relative) << (path != nullptr ? path : "null");
}

TEST(Conversions, UserRightsBothWays)
{
    EXPECT_EQ(getUserRightsFromString("  gUEST \t"), 0);
    EXPECT_EQ(getUserRightsFromString(" 12 "), 12);
    for (int rights = -3; rights <= 10; ++rights)
        EXPECT_EQ(getUserRightsFromString(getUserRightsFromInt(rights)), rights);
    for (char const* name : {"Guest", "User", "Expert", "Administrator"})
        EXPECT_EQ(getUserRightsFromInt(getUserRightsFromString(name)), name);

    for (std::string const bad : {"Root", "", "1.5", "2x", "99999999999", "Guest User", "+-1"})
        EXPECT_EQ(failureWithSourceOf([&] { getUserRightsFromString(bad); }),
                  "BaseKit/Conversions|cGenericException|getUserRightsFromString|Unknown user rights: \"" +
                      bad + "\"");
}

// The relative comparison of the calibration's lock rules, beside the conversions it serves.
TEST(mpfClass, IsDefinitelyAboveIsRelativeSignedAndNeverBetweenTwoSubnormals)
{
    using sCase = std::tuple<mpf_class, mpf_class, bool>;
    mpf_class const epsilon(2.220446049250313e-16);
    for (auto const& [a, b, above] :
         {sCase{1, 0, true}, sCase{0, 1, false}, sCase{0, 0, false}, sCase{-1, -2, true}, sCase{0, -1, true},
          sCase{mpf_class(1) + 2 * epsilon, 1, true}, sCase{mpf_class(1) + epsilon / 2, 1, false},
          sCase{mpf_class(1) + epsilon, 1, false}, sCase{mpf_class(1e20) + 1e4, 1e20, false},
          sCase{mpf_class(1e20) + 1e5, 1e20, true}, sCase{1e-310, 0, false}, sCase{1e-310, -1e-310, false},
          sCase{2.2250738585072014e-308, 0, true}, sCase{1e-310, -2.2250738585072014e-308, true}})
        EXPECT_EQ(isDefinitelyAbove(a, b), above) << a.get_d() << " " << b.get_d();
}
