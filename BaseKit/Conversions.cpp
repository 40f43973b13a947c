#include "BaseKit/Conversions.h"

#include "BaseKit/cKynException.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <climits>
#include <clocale>
#include <cstdint>
#include <cstdio>

namespace
{
char const* const kSource = "BaseKit/Conversions";
char const* const kBlanks = " \t\r\n";

// Value of a digit in bases up to 36, or -1.
int digitValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'z')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'Z')
        return c - 'A' + 10;
    return -1;
}

bool isDecimalDigit(char c)
{
    return c >= '0' && c <= '9';
}

// The exact value of an mpf as mantissa x 2^exponent. GMP keeps an mpf as limbs and an exponent
// counted in limbs (its documented float layout), so nothing is rounded here; this lets
// doubleToString round the binary value itself without building a huge rational for tiny numbers.
void splitMpf(mpf_class const& v, mpz_class& mantissa, long& exponent2)
{
    mpf_srcptr f = v.get_mpf_t();
    long const limbs = f->_mp_size < 0 ? -static_cast<long>(f->_mp_size) : f->_mp_size;
    if (limbs == 0)
    {
        mantissa = 0;
        exponent2 = 0;
        return;
    }
    mpz_import(mantissa.get_mpz_t(), static_cast<size_t>(limbs), -1, sizeof(mp_limb_t), 0,
               sizeof(mp_limb_t) * 8 - GMP_NUMB_BITS, f->_mp_d);
    if (f->_mp_size < 0)
        mantissa = -mantissa;
    exponent2 = static_cast<long>(GMP_NUMB_BITS) * (static_cast<long>(f->_mp_exp) - limbs);
}

// The whole part of v, truncated toward zero.
mpz_class truncateToInteger(mpf_class const& v)
{
    return mpz_class(v);
}

// z must lie in [0, 2^64).
unsigned long long mpzToUnsigned(mpz_class const& z)
{
    mpz_class const high = z >> 32;
    mpz_class const low = z - (high << 32);
    return (static_cast<unsigned long long>(mpz_get_ui(high.get_mpz_t())) << 32) |
           static_cast<unsigned long long>(mpz_get_ui(low.get_mpz_t()));
}

mpz_class powerOfTwo(unsigned long bits)
{
    mpz_class result;
    mpz_ui_pow_ui(result.get_mpz_t(), 2, bits);
    return result;
}

// Next width of the series 1, 2, 4, 8, 16 ... above `width` bytes.
unsigned long nextWidth(unsigned long width)
{
    unsigned long next = 1;
    while (next <= width)
        next *= 2;
    return next;
}

// Whether z can be written in `width` bytes. Non-negative numbers may use the full unsigned range
// of the width asked for; once widened, they must keep the top bit clear so that a signed reader
// does not take them for negative numbers.
bool fitsWidth(mpz_class const& z, unsigned long width, bool unsignedRange)
{
    // Bits of the magnitude, counted without building powers of two: -z - 1 for a negative z, as
    // -2^(n-1) is the lowest number of n signed bits.
    mpz_class const magnitude = z < 0 ? mpz_class(-z - 1) : z;
    size_t const bits = magnitude == 0 ? 0 : mpz_sizeinbase(magnitude.get_mpz_t(), 2);
    size_t const available = 8 * width - ((z < 0 || !unsignedRange) ? 1 : 0);
    return bits <= available;
}

// Checks the grammar of a number text in `base` (no surrounding blanks) and gives it in the form
// that mpf_set_str reads: "-" only, mantissa, and for base 10 "e" with an optional "-".
bool normaliseNumberText(std::string const& text, int base, std::string& normalised)
{
    size_t i = 0;
    size_t const n = text.size();
    normalised.clear();
    if (i < n && (text[i] == '+' || text[i] == '-'))
    {
        if (text[i] == '-')
            normalised += '-';
        ++i;
    }
    bool anyDigit = false;
    bool point = false;
    for (; i < n; ++i)
    {
        char const c = text[i];
        if (c == '.' && !point)
        {
            point = true;
            normalised += c;
            continue;
        }
        int const d = digitValue(c);
        if (d < 0 || d >= base)
            break;
        anyDigit = true;
        normalised += c;
    }
    if (!anyDigit)
        return false;
    if (i < n && base == 10 && (text[i] == 'e' || text[i] == 'E'))
    {
        ++i;
        bool negative = false;
        if (i < n && (text[i] == '+' || text[i] == '-'))
        {
            negative = text[i] == '-';
            ++i;
        }
        size_t const start = i;
        while (i < n && isDecimalDigit(text[i]))
            ++i;
        if (i == start)
            return false;
        std::string exponent = text.substr(start, i - start);
        exponent.erase(0, std::min(exponent.find_first_not_of('0'), exponent.size() - 1));
        // GMP aborts the process on exponents it cannot represent; beyond nine digits no value
        // of the system makes sense anyway.
        if (exponent.size() > 9)
            return false;
        normalised += 'e';
        if (negative)
            normalised += '-';
        normalised += exponent;
    }
    return i == n;
}

[[noreturn]] void throwInvalidNumber(char const* function, int line, std::string const& s)
{
    throw cGenericException(kSource, function, line, "Invalid number: \"" + s + "\"");
}
} // namespace

void doubleToString(std::string& out, mpf_class const& v, int decimals)
{
    unsigned long const places = decimals < 0 ? 0UL : static_cast<unsigned long>(decimals);
    mpz_class mantissa;
    long exponent2 = 0;
    splitMpf(v, mantissa, exponent2);
    bool const negative = mantissa < 0;
    mantissa = abs(mantissa);

    // |v| x 10^places = mantissa x 10^places x 2^exponent2, rounded half away from zero.
    mpz_class scaled;
    mpz_ui_pow_ui(scaled.get_mpz_t(), 10, places);
    scaled *= mantissa;
    if (exponent2 >= 0)
    {
        scaled <<= static_cast<mp_bitcnt_t>(exponent2);
    }
    else
    {
        unsigned long const shift = static_cast<unsigned long>(-exponent2);
        if (mpz_sizeinbase(scaled.get_mpz_t(), 2) < shift)
        {
            // Below one half of the last place: rounds to zero.
            scaled = 0;
        }
        else
        {
            bool const roundUp = mpz_tstbit(scaled.get_mpz_t(), shift - 1) != 0;
            mpz_tdiv_q_2exp(scaled.get_mpz_t(), scaled.get_mpz_t(), shift);
            if (roundUp)
                scaled += 1;
        }
    }

    std::string digits = scaled.get_str(10);
    if (places > 0)
    {
        if (digits.size() <= places)
            digits.insert(0, places + 1 - digits.size(), '0');
        digits.insert(digits.size() - places, 1, '.');
    }
    out.clear();
    if (negative && scaled != 0)
        out += '-';
    out += digits;
}

void stringToMpf(std::string const& s, mpf_class& out, int base, [[maybe_unused]] mpf_class const& limit)
{
    if (base < 2 || base > 36)
        throw cGenericException(kSource, "stringToMpf", __LINE__,
                                "Invalid number base: " + std::to_string(base));
    std::string text = s;
    trimSpaceLR(text);
    std::string normalised;
    if (!normaliseNumberText(text, base, normalised))
        throwInvalidNumber("stringToMpf", __LINE__, s);
    // mpf_set_str takes the radix point of the C locale; the texts of the system always use '.'.
    std::string const localePoint = std::localeconv()->decimal_point;
    size_t const point = normalised.find('.');
    if (point != std::string::npos && localePoint != ".")
        normalised.replace(point, 1, localePoint);
    mpf_class value;
    if (mpf_set_str(value.get_mpf_t(), normalised.c_str(), base) != 0)
        throwInvalidNumber("stringToMpf", __LINE__, s);
    out = value;
}

mpf_class convertStringToDouble(std::string const& s)
{
    mpf_class value;
    stringToMpf(s, value, 10, mpf_class(0));
    return value;
}

void mpfToHex(std::string& out, mpf_class const& v, unsigned char width, bool upperCase)
{
    mpz_class const z = truncateToInteger(v);
    unsigned long bytes = width == 0 ? 1 : width;
    // With width 0 the caller lets the number choose among 1, 2, 4 and 8 bytes.
    bool widened = false;
    while (!fitsWidth(z, bytes, !widened))
    {
        bytes = nextWidth(bytes);
        if (width != 0 || bytes > 8)
            widened = true;
    }
    mpz_class pattern = z;
    if (pattern < 0)
        pattern += powerOfTwo(8 * bytes);
    std::string digits = pattern.get_str(16);
    if (upperCase)
        std::transform(digits.begin(), digits.end(), digits.begin(),
                       [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    if (digits.size() < 2 * bytes)
        digits.insert(0, 2 * bytes - digits.size(), '0');
    out = digits;
}

long long readHexadecimalNumber(std::string const& digits, unsigned char width, bool isUnsigned,
                                [[maybe_unused]] mpf_class const& minimum,
                                [[maybe_unused]] mpf_class const& maximum)
{
    auto invalid = [&digits](int line)
    {
        return cGenericException(kSource, "readHexadecimalNumber", line,
                                 "Invalid hexadecimal number: \"" + digits + "\"");
    };
    size_t start = 0;
    if (digits.size() >= 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X'))
        start = 2;
    size_t const count = digits.size() - start;
    if (count == 0)
        throw invalid(__LINE__);

    unsigned long long value = 0;
    size_t significant = 0;
    for (size_t i = start; i < digits.size(); ++i)
    {
        int const d = digitValue(digits[i]);
        if (d < 0 || d >= 16)
            throw invalid(__LINE__);
        if (significant == 0 && d == 0)
            continue;
        if (++significant > 16)
            throw invalid(__LINE__);
        value = (value << 4) | static_cast<unsigned long long>(d);
    }

    if (!isUnsigned && width != 0)
    {
        // The same widening as mpfToHex: a text longer than the width came from a wider number.
        unsigned long bytes = width;
        while (2 * bytes < count)
            bytes = nextWidth(bytes);
        if (bytes < 8)
        {
            unsigned long long const signBit = 1ULL << (8 * bytes - 1);
            if (value & signBit)
                value |= ~((signBit << 1) - 1);
        }
    }
    // Unsigned and 64-bit patterns are handed back as they are, in the bits of a long long.
    return static_cast<long long>(value);
}

long long mpfToLongLong(mpf_class const& v)
{
    // Compared before converting, so that an enormous value never becomes an enormous integer.
    static mpf_class const upper(mpz_class(powerOfTwo(63)));
    static mpf_class const lower(mpz_class(-powerOfTwo(63) - 1));
    if (v >= upper)
        return LLONG_MAX;
    if (v <= lower)
        return LLONG_MIN;
    mpz_class const z = truncateToInteger(v);
    if (z >= 0)
        return static_cast<long long>(mpzToUnsigned(z));
    return -static_cast<long long>(mpzToUnsigned(-z - 1)) - 1;
}

unsigned long long mpfToUnsignedLongLong(mpf_class const& v)
{
    static mpf_class const upper(mpz_class(powerOfTwo(64)));
    if (v >= upper)
        return ULLONG_MAX;
    // Everything below 1 truncates to 0 or saturates there.
    if (v < 1)
        return 0;
    return mpzToUnsigned(truncateToInteger(v));
}

std::string numberToText(mpf_class const& v)
{
    char buffer[128];
    gmp_snprintf(buffer, sizeof buffer, "%.17Fg", v.get_mpf_t());
    return buffer;
}

std::string convertIntToString(int value)
{
    return std::to_string(value);
}

std::string addressToString(void const* address)
{
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "0x%016llX",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(address)));
    return buffer;
}

bool strtodStrict(std::string const& s, double& out)
{
    // Grammar first: from_chars alone would take "inf", "nan" and stop early without complaint.
    size_t i = 0;
    size_t const n = s.size();
    bool const negative = n > 0 && s[0] == '-';
    if (n > 0 && (s[0] == '+' || s[0] == '-'))
        ++i;
    size_t const mantissaStart = i;
    while (i < n && isDecimalDigit(s[i]))
        ++i;
    size_t const integerEnd = i;
    size_t fractionStart = i;
    if (i < n && s[i] == '.')
    {
        fractionStart = ++i;
        while (i < n && isDecimalDigit(s[i]))
            ++i;
    }
    if (integerEnd == mantissaStart && i == fractionStart)
        return false;
    size_t const mantissaEnd = i;
    long long exponent = 0;
    if (i < n && (s[i] == 'e' || s[i] == 'E'))
    {
        ++i;
        bool const negativeExponent = i < n && s[i] == '-';
        if (i < n && (s[i] == '+' || s[i] == '-'))
            ++i;
        size_t const start = i;
        for (; i < n && isDecimalDigit(s[i]); ++i)
            exponent = std::min(exponent * 10 + (s[i] - '0'), 1000000000LL);
        if (i == start)
            return false;
        if (negativeExponent)
            exponent = -exponent;
    }
    if (i != n)
        return false;

    double value = 0;
    auto const result = std::from_chars(s.data() + mantissaStart, s.data() + n, value);
    if (result.ec == std::errc::result_out_of_range)
    {
        // Out of range either way: decide by the decimal place of the first non-zero digit.
        size_t const firstNonZero = s.find_first_of("123456789", mantissaStart);
        long long place = 0;
        if (firstNonZero < integerEnd)
            place = static_cast<long long>(integerEnd - firstNonZero) - 1;
        else if (firstNonZero < mantissaEnd)
            place = -static_cast<long long>(firstNonZero - fractionStart) - 1;
        // Too small to hold reads as zero; too large is refused.
        if (place + exponent >= 0)
            return false;
        value = 0.0;
    }
    else if (result.ec != std::errc() || result.ptr != s.data() + n)
    {
        return false;
    }
    out = negative ? -value : value;
    return true;
}

void TrimLeftAndRight(std::string& s, std::string const& chars, bool trimBlanks)
{
    std::string set = chars;
    if (trimBlanks)
        set += kBlanks;
    size_t const first = s.find_first_not_of(set);
    if (first == std::string::npos)
    {
        s.clear();
        return;
    }
    size_t const last = s.find_last_not_of(set);
    s = s.substr(first, last - first + 1);
}

void trimSpaceLR(std::string& s)
{
    TrimLeftAndRight(s, std::string(), true);
}

void toLower(std::string& s)
{
    for (char& c : s)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
}

std::string GetExtension(char const* path)
{
    if (path == nullptr)
        return std::string();
    std::string const name = getShortName(path);
    size_t const dot = name.rfind('.');
    return dot == std::string::npos ? std::string() : name.substr(dot + 1);
}

std::string getShortName(std::string const& path)
{
    size_t const separator = path.find_last_of("/\\");
    return separator == std::string::npos ? path : path.substr(separator + 1);
}

namespace
{
char const* const kUserRights[] = {"Guest", "User", "Expert", "Administrator"};
int const kUserRightsCount = static_cast<int>(sizeof kUserRights / sizeof kUserRights[0]);
} // namespace

std::string getUserRightsFromInt(int rights)
{
    if (rights >= 0 && rights < kUserRightsCount)
        return kUserRights[rights];
    return std::to_string(rights);
}

int getUserRightsFromString(std::string const& text)
{
    std::string key = text;
    trimSpaceLR(key);
    toLower(key);
    for (int rights = 0; rights < kUserRightsCount; ++rights)
    {
        std::string name = kUserRights[rights];
        toLower(name);
        if (key == name)
            return rights;
    }
    // A number, as written for rights outside the table.
    int value = 0;
    char const* const last = key.data() + key.size();
    auto const result = std::from_chars(key.data(), last, value);
    if (!key.empty() && result.ec == std::errc() && result.ptr == last)
        return value;
    throw cGenericException(kSource, "getUserRightsFromString", __LINE__,
                            "Unknown user rights: \"" + text + "\"");
}

bool PathIsRelativeA(char const* path)
{
    if (path == nullptr || path[0] == '\0')
        return true;
    if (path[0] == '/' || path[0] == '\\')
        return false;
    bool const letter = (path[0] >= 'A' && path[0] <= 'Z') || (path[0] >= 'a' && path[0] <= 'z');
    return !(letter && path[1] == ':');
}
