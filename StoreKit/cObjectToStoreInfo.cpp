#include "StoreKit/cObjectToStoreInfo.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/cKynException.h"
#include "StoreKit/cConfigurationGroup.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <utility>

namespace
{
char const* const g_wholeExpected = "a whole number is expected.";
char const* const g_numberExpected = "a number is expected.";

// The group that holds the list, when it is one: the list itself has no virtual operation of its
// own, so that the first virtual operation of cConfigurationGroup stays its clear().
cConfigurationGroup const* owningGroup(cObjectToStoreInfo const* info)
{
    return dynamic_cast<cConfigurationGroup const*>(info);
}

// A whole decimal number with an optional sign and outer blanks. tooLarge tells a well-formed
// number that does not fit from a text that is no number at all.
bool parseWhole(std::string text, long long& out, bool& tooLarge)
{
    trimSpaceLR(text);
    char const* begin = text.data();
    char const* end = begin + text.size();
    if (begin != end && *begin == '+')
    {
        ++begin;
        if (begin == end || *begin == '-')
        {
            return false;
        }
    }
    long long value = 0;
    auto [stop, error] = std::from_chars(begin, end, value);
    if (begin == end || stop != end)
    {
        return false;
    }
    if (error == std::errc::result_out_of_range)
    {
        tooLarge = true;
        return false;
    }
    if (error != std::errc())
    {
        return false;
    }
    out = value;
    return true;
}

// Each conversion gives the text of what was expected when the value does not read.
char const* convert(std::string const& text, std::string& out, bool)
{
    out = text;
    return nullptr;
}

char const* convert(std::string const& text, bool& out, bool)
{
    std::string word = text;
    trimSpaceLR(word);
    toLower(word);
    if (word == "1" || word == "true" || word == "yes")
    {
        out = true;
        return nullptr;
    }
    if (word == "0" || word == "false" || word == "no")
    {
        out = false;
        return nullptr;
    }
    return "1, 0, true, false, yes or no is expected.";
}

char const* convert(std::string const& text, long& out, bool hexadecimal)
{
    if (hexadecimal)
    {
        std::string digits = text;
        trimSpaceLR(digits);
        try
        {
            // Read as a bit pattern: 16 digits with the top bit set give a negative long.
            out = static_cast<long>(readHexadecimalNumber(digits, 0, true, mpf_class(0), mpf_class(0)));
            return nullptr;
        }
        catch (cGenericException const&)
        {
            return "a hexadecimal number is expected.";
        }
    }
    long long value = 0;
    bool tooLarge = false;
    if (!parseWhole(text, value, tooLarge))
    {
        return tooLarge ? "a whole number from -9223372036854775808 to 9223372036854775807 is expected."
                        : g_wholeExpected;
    }
    if (value < std::numeric_limits<long>::min() || value > std::numeric_limits<long>::max())
    {
        return "a whole number from -9223372036854775808 to 9223372036854775807 is expected.";
    }
    out = static_cast<long>(value);
    return nullptr;
}

char const* convert(std::string const& text, int& out, bool)
{
    long long value = 0;
    bool tooLarge = false;
    bool const read = parseWhole(text, value, tooLarge);
    if (!read && !tooLarge)
    {
        return g_wholeExpected;
    }
    if (!read || value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max())
    {
        return "a whole number from -2147483648 to 2147483647 is expected.";
    }
    out = static_cast<int>(value);
    return nullptr;
}

char const* convert(std::string const& text, unsigned int& out, bool)
{
    long long value = 0;
    bool tooLarge = false;
    bool const read = parseWhole(text, value, tooLarge);
    if (!read && !tooLarge)
    {
        return g_wholeExpected;
    }
    if (!read || value < 0 || value > static_cast<long long>(std::numeric_limits<unsigned int>::max()))
    {
        return "a whole number from 0 to 4294967295 is expected.";
    }
    out = static_cast<unsigned int>(value);
    return nullptr;
}

char const* convert(std::string const& text, mpf_class& out, bool)
{
    try
    {
        mpf_class value;
        stringToMpf(text, value, 10, mpf_class(0));
        out = value;
        return nullptr;
    }
    catch (cGenericException const&)
    {
        return g_numberExpected;
    }
}

char const* convert(std::string const& text, double& out, bool)
{
    std::string number = text;
    trimSpaceLR(number);
    return strtodStrict(number, out) ? nullptr : g_numberExpected;
}

char const* convert(std::string const& text, float& out, bool)
{
    double value = 0.0;
    if (char const* expected = convert(text, value, false))
    {
        return expected;
    }
    if (std::fabs(value) > static_cast<double>(std::numeric_limits<float>::max()))
    {
        return "a number within the range of a float is expected.";
    }
    out = static_cast<float>(value);
    return nullptr;
}

std::string quoted(std::string const& text)
{
    return "\"" + text + "\"";
}
} // namespace

cObjectToStoreInfo::~cObjectToStoreInfo() = default;

void cObjectToStoreInfo::addInformation(std::string const& key, std::string const& value)
{
    m_items.push_back(sInformationItem{key, value, 0, nullptr});
}

void cObjectToStoreInfo::addInformation(std::string const& key, char const* value)
{
    addInformation(key, std::string(value ? value : ""));
}

void cObjectToStoreInfo::addInformation(std::string const& key, bool value)
{
    addInformation(key, std::string(value ? "1" : "0"));
}

void cObjectToStoreInfo::addInformation(std::string const& key, long value, bool hexadecimal)
{
    if (!hexadecimal)
    {
        addInformation(key, std::to_string(value));
        return;
    }
    std::string digits;
    mpfToHex(digits, mpf_class(value), 0, true);
    addInformation(key, "0x" + digits);
}

void cObjectToStoreInfo::addInformation(std::string const& key, mpf_class const& value, int decimals)
{
    std::string text;
    doubleToString(text, value, decimals);
    addInformation(key, text);
}

void cObjectToStoreInfo::addInformation(std::string const& key, int value)
{
    addInformation(key, std::to_string(value));
}

void cObjectToStoreInfo::addInformation(std::string const& key, unsigned int value)
{
    addInformation(key, std::to_string(value));
}

void cObjectToStoreInfo::addInformation(std::string const& key, double value)
{
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.17g", value);
    addInformation(key, std::string(buffer));
}

void cObjectToStoreInfo::addInformationItem(sInformationItem item)
{
    m_items.push_back(std::move(item));
}

sInformationItem const* cObjectToStoreInfo::findInformation(std::string const& key) const
{
    for (sInformationItem const& item : m_items)
    {
        if (item.key == key)
        {
            return &item;
        }
    }
    return nullptr;
}

std::string cObjectToStoreInfo::describeLocation() const
{
    cConfigurationGroup const* group = owningGroup(this);
    if (!group)
    {
        return "";
    }
    std::string text;
    if (!group->getName().empty())
    {
        text = "In group " + quoted(group->getName());
        if (group->getLineNumber() > 0)
        {
            text += " (line " + std::to_string(group->getLineNumber()) + ")";
        }
    }
    if (!group->getSourceFile().empty())
    {
        text += text.empty() ? "In file " : " of file ";
        text += quoted(group->getSourceFile());
    }
    return text.empty() ? text : text + ".";
}

template <typename T>
int cObjectToStoreInfo::lookUpValue(std::string const& key, T& value, bool mandatory, bool hexadecimal,
                                    char const* source, char const* function, int line) const
{
    sInformationItem const* item = findInformation(key);
    if (!item)
    {
        if (mandatory)
        {
            throw cMissingItem(source, function, line, key, "key", describeLocation());
        }
        return 0;
    }
    T read{};
    if (char const* expected = convert(item->value, read, hexadecimal))
    {
        std::string text = "Invalid value " + quoted(item->value) + " of key " + quoted(item->key);
        cConfigurationGroup const* group = owningGroup(this);
        if (group && !group->getName().empty())
        {
            text += " in group " + quoted(group->getName());
        }
        if (item->lineNumber > 0)
        {
            text += " at line " + std::to_string(item->lineNumber);
        }
        if (item->sourceFile && !item->sourceFile->empty())
        {
            text += " of file " + quoted(*item->sourceFile);
        }
        throw cGenericException(source, function, line, text + ": " + expected);
    }
    value = std::move(read);
    return 1;
}

// The types that the owners read; cConfigurationGroup::findItem uses the same instances.
template int cObjectToStoreInfo::lookUpValue(std::string const&, std::string&, bool, bool, char const*,
                                             char const*, int) const;
template int cObjectToStoreInfo::lookUpValue(std::string const&, bool&, bool, bool, char const*, char const*,
                                             int) const;
template int cObjectToStoreInfo::lookUpValue(std::string const&, long&, bool, bool, char const*, char const*,
                                             int) const;
template int cObjectToStoreInfo::lookUpValue(std::string const&, mpf_class&, bool, bool, char const*,
                                             char const*, int) const;
template int cObjectToStoreInfo::lookUpValue(std::string const&, int&, bool, bool, char const*, char const*,
                                             int) const;
template int cObjectToStoreInfo::lookUpValue(std::string const&, unsigned int&, bool, bool, char const*,
                                             char const*, int) const;
template int cObjectToStoreInfo::lookUpValue(std::string const&, double&, bool, bool, char const*,
                                             char const*, int) const;
template int cObjectToStoreInfo::lookUpValue(std::string const&, float&, bool, bool, char const*, char const*,
                                             int) const;

#define KYN_FIND_ITEM_VALUE(Type)                                                                            \
    int cObjectToStoreInfo::findItemValue(std::string const& key, Type& value, bool mandatory) const         \
    {                                                                                                        \
        return lookUpValue(key, value, mandatory, false, "StoreKit/cObjectToStoreInfo",                      \
                           "cObjectToStoreInfo::findItemValue", __LINE__);                                   \
    }

KYN_FIND_ITEM_VALUE(std::string)
KYN_FIND_ITEM_VALUE(bool)
KYN_FIND_ITEM_VALUE(mpf_class)
KYN_FIND_ITEM_VALUE(int)
KYN_FIND_ITEM_VALUE(unsigned int)
KYN_FIND_ITEM_VALUE(double)
KYN_FIND_ITEM_VALUE(float)

#undef KYN_FIND_ITEM_VALUE

int cObjectToStoreInfo::findItemValue(std::string const& key, long& value, bool mandatory,
                                      bool hexadecimal) const
{
    return lookUpValue(key, value, mandatory, hexadecimal, "StoreKit/cObjectToStoreInfo",
                       "cObjectToStoreInfo::findItemValue", __LINE__);
}

int cObjectToStoreInfo::findItemLineNumber(std::string const& key, int& line, bool mandatory) const
{
    sInformationItem const* item = findInformation(key);
    if (!item)
    {
        if (mandatory)
        {
            throw cMissingItem("StoreKit/cObjectToStoreInfo", "cObjectToStoreInfo::findItemLineNumber",
                               __LINE__, key, "key", describeLocation());
        }
        return 0;
    }
    line = item->lineNumber;
    return 1;
}

sInformationItem const* cObjectToStoreInfo::firstInformation(unsigned int& cursor) const
{
    cursor = 0;
    return endOfInformationList(cursor) ? nullptr : &m_items[cursor];
}

sInformationItem const* cObjectToStoreInfo::nextInformation(unsigned int& cursor) const
{
    if (!endOfInformationList(cursor))
    {
        ++cursor;
    }
    return endOfInformationList(cursor) ? nullptr : &m_items[cursor];
}

bool cObjectToStoreInfo::endOfInformationList(unsigned int cursor) const
{
    return cursor >= m_items.size();
}

bool cObjectToStoreInfo::setInformationValue(std::string const& key, std::string const& value)
{
    for (sInformationItem& item : m_items)
        if (item.key == key)
        {
            item.value = value;
            return true;
        }
    return false;
}
