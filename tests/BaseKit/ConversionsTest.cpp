#include "BaseKit/Conversions.h"

#include "BaseKit/cKynException.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
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

long long fromHex(std::string const& digits, unsigned char width, bool isUnsigned)
{
    return readHexadecimalNumber(digits, width, isUnsigned, mpf_class(0), mpf_class(0));
}

mpf_class power2(unsigned long bits)
{
    mpz_class z;
    mpz_ui_pow_ui(z.get_mpz_t(), 2, bits);
    return mpf_class(z);
}

// Runs call, which must throw cGenericException from `function`, and gives its text.
template <class Call> std::string failureText(Call call, char const* function)
{
    try
    {
        call();
    }
    catch (cGenericException const& e)
    {
        EXPECT_EQ(e.getSourceFile(), "BaseKit/Conversions");
        EXPECT_EQ(e.getFunction(), function);
        return e.what();
    }
    ADD_FAILURE() << "no cGenericException";
    return std::string();
}
} // namespace

TEST(Conversions, DoubleToStringRoundsTheBinaryValueHalfAwayFromZero)
{
    struct sCase
    {
        double value;
        int decimals;
        char const* text;
    };
    // 1.005 and 2.675 are doubles just below their halves: a decimal shortcut would round them up.
    for (sCase const& c :
         {sCase{0.125, 2, "0.13"}, sCase{-0.125, 2, "-0.13"}, sCase{2.5, 0, "3"}, sCase{-2.5, 0, "-3"},
          sCase{0.0625, 3, "0.063"}, sCase{7, 3, "7.000"}, sCase{2.5, -4, "3"}, sCase{1.005, 2, "1.00"},
          sCase{2.675, 2, "2.67"}, sCase{0.1, 25, "0.1000000000000000055511151"}, sCase{-0.001, 2, "0.00"},
          sCase{-0.4, 0, "0"}, sCase{-1e-300, 12, "0.000000000000"}})
        EXPECT_EQ(toText(c.value, c.decimals), c.text) << c.value << " with " << c.decimals;

    // Text read at GMP precision is not exactly 0.1 either: the far digits are the binary value's.
    mpf_class const tenth = convertStringToDouble("0.1");
    std::string const text = toText(tenth, 70);
    ASSERT_EQ(text.size(), 72u);
    EXPECT_NE(text, "0.1" + std::string(69, '0'));
    mpz_class const place("1" + std::string(70, '0'), 10);
    mpq_class const shown(mpz_class(text.substr(0, 1) + text.substr(2), 10), place);
    EXPECT_LE(abs(shown - mpq_class(tenth)), mpq_class(1, place * 2));
}

TEST(Conversions, DoubleToStringNeverUsesExponents)
{
    std::string const big =
        "1000000000000000052504760255204420248704468581108159154915854115511802457988908195786371375080"
        "4478640437044438328838781769425232353604305756447921847867069828483872009265758037378302337"
        "9478809005936895323497079994508111903896764088007465274278014249457925878882005684283811566"
        "9472196386865459400540160";
    EXPECT_EQ(toText(1e300, 0), big);
    EXPECT_EQ(toText(-1e300, 2), "-" + big + ".00");
    EXPECT_EQ(toText(1e-300, 320), "0." + std::string(299, '0') + "100000000000000002506");
    EXPECT_EQ(toText(convertStringToDouble("1e-999999999"), 12), "0.000000000000");
}

TEST(Conversions, StringToMpfReadsOneNumberAndNeverClamps)
{
    for (char const* text : {"1e3", "1e+3", "1E3", "+1000", " \t1000\r\n", "1000.", "0.1e4"})
        EXPECT_EQ(convertStringToDouble(text), 1000) << text;
    EXPECT_EQ(convertStringToDouble("1e-3"), mpf_class("0.001"));
    EXPECT_EQ(convertStringToDouble("-2.5"), -2.5);
    EXPECT_EQ(convertStringToDouble(".5"), 0.5);
    EXPECT_EQ(convertStringToDouble("123456789012345678901234567890"),
              mpf_class("123456789012345678901234567890"));

    mpf_class v;
    // Callers pass the raw maximum while the text may be a converted value.
    stringToMpf("500", v, 10, mpf_class(100));
    EXPECT_EQ(v, 500);
    stringToMpf("-FF", v, 16, 0);
    EXPECT_EQ(v, -255);
    stringToMpf("101", v, 2, 0);
    EXPECT_EQ(v, 5);
    // 'e' is a digit in base 16, not an exponent.
    stringToMpf("1e3", v, 16, 0);
    EXPECT_EQ(v, 0x1e3);
}

TEST(Conversions, StringToMpfRefusesTextThatIsNotOneNumber)
{
    for (std::string const bad : {"", " ", "abc", "1e", "1e+", "--1", "+-1", "1.2.3", "1 2", "0x10", "nan",
                                  "inf", "1,5", ".", "-", "e5", "1e5.5", "12abc", "1e1000000000"})
    {
        mpf_class out(7);
        EXPECT_EQ(failureText([&] { stringToMpf(bad, out, 10, 0); }, "stringToMpf"),
                  "Invalid number: \"" + bad + "\"");
        EXPECT_EQ(out, 7);
    }
    mpf_class v;
    EXPECT_EQ(failureText([&] { stringToMpf("102", v, 2, 0); }, "stringToMpf"), "Invalid number: \"102\"");
    EXPECT_EQ(failureText([&] { stringToMpf("1", v, 37, 0); }, "stringToMpf"), "Invalid number base: 37");
}

TEST(Conversions, MpfToHexWritesWidthsBoundariesAndWidening)
{
    struct sCase
    {
        mpf_class value;
        unsigned char width;
        char const* text;
    };
    sCase const cases[] = {{127, 1, "7F"},
                           {255, 1, "FF"},
                           {-1, 1, "FF"},
                           {-128, 1, "80"},
                           {2.9, 1, "02"},
                           {-2.9, 1, "FE"},
                           {32767, 2, "7FFF"},
                           {65535, 2, "FFFF"},
                           {-32768, 2, "8000"},
                           {1, 2, "0001"},
                           {4294967295.0, 4, "FFFFFFFF"},
                           {-2147483648.0, 4, "80000000"},
                           {power2(64) - 1, 8, "FFFFFFFFFFFFFFFF"},
                           {-power2(63), 8, "8000000000000000"},
                           // Width 0: the smallest of 1, 2, 4, 8 bytes, unsigned range unless negative.
                           {0, 0, "00"},
                           {255, 0, "FF"},
                           {256, 0, "0100"},
                           {-128, 0, "80"},
                           {-129, 0, "FF7F"},
                           {65536, 0, "00010000"},
                           {power2(32), 0, "0000000100000000"},
                           {power2(64), 0, "00000000000000010000000000000000"},
                           // Too large for the width: wider, never truncated; a widened positive number keeps
                           // the top bit clear so that a signed reader agrees.
                           {256, 1, "0100"},
                           {-129, 1, "FF7F"},
                           {-32769, 2, "FFFF7FFF"},
                           {40000, 1, "00009C40"},
                           {-25536, 1, "9C40"},
                           {-power2(63) - 1, 8, "FFFFFFFFFFFFFFFF7FFFFFFFFFFFFFFF"}};
    for (sCase const& c : cases)
        EXPECT_EQ(toHex(c.value, c.width), c.text) << c.value.get_d() << " width " << int(c.width);
    EXPECT_EQ(toHex(0xABCD, 2, false), "abcd");
}

TEST(Conversions, ReadHexadecimalNumberTakesTheSignFromTheWidth)
{
    EXPECT_EQ(fromHex("7F", 1, false), 127);
    EXPECT_EQ(fromHex("80", 1, false), -128);
    EXPECT_EQ(fromHex("FF", 1, true), 255);
    EXPECT_EQ(fromHex("ff", 2, false), 255);
    EXPECT_EQ(fromHex("FFFFFFFF", 4, false), -1);
    EXPECT_EQ(fromHex("FFFFFFFF", 4, true), 4294967295LL);
    EXPECT_EQ(static_cast<unsigned long long>(fromHex("FFFFFFFFFFFFFFFF", 8, true)), ULLONG_MAX);
    EXPECT_EQ(fromHex("FF7F", 0, false), 0xFF7F); // width 0 never sign-extends
    EXPECT_EQ(fromHex("FF7F", 1, false), -129);   // a longer text widens the width
    EXPECT_EQ(fromHex("0x7f", 1, false), 127);
    EXPECT_EQ(fromHex("0XAbCd", 2, true), 0xABCD);
    EXPECT_EQ(fromHex("00000000000000000001", 8, true), 1);
    // Limits are the callers' business: no clamping.
    EXPECT_EQ(readHexadecimalNumber("FF", 1, true, mpf_class(0), mpf_class(10)), 255);

    for (std::string const bad : {"", "0x", "G1", "12 ", "-1", "x12", "0x0x1", "1.5", "10000000000000000"})
        EXPECT_EQ(failureText([&] { fromHex(bad, 8, true); }, "readHexadecimalNumber"),
                  "Invalid hexadecimal number: \"" + bad + "\"");
}

TEST(Conversions, HexRoundTripsAtEveryWidth)
{
    for (unsigned char width : {1, 2, 4, 8})
    {
        unsigned const bits = 8u * width;
        mpf_class const low = -power2(bits - 1), high = power2(bits - 1) - 1, top = power2(bits) - 1;
        std::vector<mpf_class> signedValues = {low, low + 1, -1, 0, 1, high};
        std::vector<mpf_class> unsignedValues = {0, 1, high + 1, top};
        if (width < 8)
        {
            // Beyond the width: widened on writing, widened again on reading.
            signedValues.insert(signedValues.end(), {low - 1, top + 1});
            unsignedValues.push_back(top + 1);
        }
        for (mpf_class const& v : signedValues)
            EXPECT_EQ(fromHex(toHex(v, width), width, false), mpfToLongLong(v)) << toHex(v, width);
        for (mpf_class const& v : unsignedValues)
            EXPECT_EQ(static_cast<unsigned long long>(fromHex(toHex(v, width, false), width, true)),
                      mpfToUnsignedLongLong(v))
                << toHex(v, width);
    }
}

TEST(Conversions, WholeNumbersTruncateAndSaturate)
{
    EXPECT_EQ(mpfToLongLong(2.9), 2);
    EXPECT_EQ(mpfToLongLong(-2.9), -2);
    EXPECT_EQ(mpfToLongLong(power2(63) - 2), LLONG_MAX - 1);
    EXPECT_EQ(mpfToLongLong(power2(63)), LLONG_MAX);
    EXPECT_EQ(mpfToLongLong(-power2(63) - mpf_class(0.5)), LLONG_MIN);
    EXPECT_EQ(mpfToLongLong(-power2(63) + 1), LLONG_MIN + 1);
    EXPECT_EQ(mpfToLongLong(-1e300), LLONG_MIN);

    EXPECT_EQ(mpfToUnsignedLongLong(0.99), 0u);
    EXPECT_EQ(mpfToUnsignedLongLong(-5), 0u);
    EXPECT_EQ(mpfToUnsignedLongLong(power2(63) + mpf_class(0.5)), 1ULL << 63);
    EXPECT_EQ(mpfToUnsignedLongLong(power2(64) - 1), ULLONG_MAX);
    EXPECT_EQ(mpfToUnsignedLongLong(power2(64)), ULLONG_MAX);

    EXPECT_EQ(convertIntToString(INT_MIN), "-2147483648");
    EXPECT_EQ(addressToString(nullptr), "0x0000000000000000");
    EXPECT_EQ(addressToString(reinterpret_cast<void const*>(std::uintptr_t(0xABCDEF))), "0x0000000000ABCDEF");
}

TEST(Conversions, StrtodStrictAcceptsOnlyOneWholeFiniteNumber)
{
    struct sCase
    {
        char const* text;
        double value;
    };
    // Too small to hold reads as zero; too large is refused.
    for (sCase const& c :
         {sCase{"-0", -0.0}, sCase{"+1.5", 1.5}, sCase{"1E-5", 1e-5}, sCase{".5", 0.5}, sCase{"5.", 5},
          sCase{"-2.5e+2", -250}, sCase{"1.7976931348623157e308", 1.7976931348623157e308},
          sCase{"4e-320", 4e-320}, sCase{"1e-400", 0}})
    {
        double out = 42;
        EXPECT_TRUE(strtodStrict(c.text, out)) << c.text;
        EXPECT_EQ(out, c.value) << c.text;
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
    std::string s = "- ab -";
    TrimLeftAndRight(s, "-", false);
    EXPECT_EQ(s, " ab ");
    s = "- ab\t-\r\n";
    TrimLeftAndRight(s, "-", true);
    EXPECT_EQ(s, "ab");
    s = " \t\r\n";
    trimSpaceLR(s);
    EXPECT_EQ(s, "");
    s = "AbC-Z\xC4";
    toLower(s);
    EXPECT_EQ(s, "abc-z\xC4");

    EXPECT_EQ(GetExtension("dir/archive.tar.gz"), "gz");
    EXPECT_EQ(GetExtension("a.b/c"), "");
    EXPECT_EQ(GetExtension("a.b\\c"), "");
    EXPECT_EQ(GetExtension("file."), "");
    EXPECT_EQ(GetExtension(nullptr), "");
    EXPECT_EQ(getShortName("C:\\dir\\file.cal"), "file.cal");
    EXPECT_EQ(getShortName("a/b\\c"), "c");
    EXPECT_EQ(getShortName("dir/sub/"), "");
}

TEST(Conversions, UserRightsBothWays)
{
    EXPECT_EQ(getUserRightsFromInt(3), "Administrator");
    EXPECT_EQ(getUserRightsFromString("  gUEST \t"), 0);
    EXPECT_EQ(getUserRightsFromString(" 12 "), 12);
    for (int rights = -3; rights <= 10; ++rights)
        EXPECT_EQ(getUserRightsFromString(getUserRightsFromInt(rights)), rights);
    for (char const* name : {"Guest", "User", "Expert", "Administrator"})
        EXPECT_EQ(getUserRightsFromInt(getUserRightsFromString(name)), name);

    for (std::string const bad : {"Root", "", "1.5", "2x", "99999999999", "Guest User", "+-1"})
        EXPECT_EQ(failureText([&] { getUserRightsFromString(bad); }, "getUserRightsFromString"),
                  "Unknown user rights: \"" + bad + "\"");
}
