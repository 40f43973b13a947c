#include "StoreKit/cAefInputFile.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/cKynException.h"

#include <cctype>
#include <utility>

namespace
{
char const* const g_source = "StoreKit/cAefInputFile";

// The cells that an mpf_class at the default precision holds exactly, and that the calibration
// turns into 64-bit integers.
constexpr unsigned char g_largestSize = 8;

std::string quoted(std::string const& text)
{
    return "\"" + text + "\"";
}

std::string bytesText(unsigned char size)
{
    return std::to_string(size) + (size == 1 ? " byte" : " bytes");
}

bool isValidSize(unsigned char size)
{
    return size >= 1 && size <= g_largestSize;
}

std::string sizeExpected(unsigned char size)
{
    return "an EEPROM size of 1 to " + std::to_string(g_largestSize) + " bytes is expected, not " +
           std::to_string(size) + ".";
}

mpz_class powerOfTwo(unsigned long bits)
{
    mpz_class result;
    mpz_ui_pow_ui(result.get_mpz_t(), 2, bits);
    return result;
}

// The digits of text without blanks and "0x" into pattern; false when they are no hexadecimal number.
bool readHexDigits(std::string text, mpz_class& pattern)
{
    trimSpaceLR(text);
    if (text.size() >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X'))
    {
        text.erase(0, 2);
    }
    if (text.empty())
    {
        return false;
    }
    for (char const c : text)
    {
        if (!std::isxdigit(static_cast<unsigned char>(c)))
        {
            return false;
        }
    }
    return pattern.set_str(text, 16) == 0;
}

// A failure of getItemValue, thrown or turned into its code.
struct sItemFailure
{
    EAefItemError code;
    std::string text;
};
} // namespace

cAefInputFile* cAefInputFile::createFile(char const* path, int mode)
{
    if (!path)
    {
        throw cGenericException(g_source, "cAefInputFile::createFile", __LINE__,
                                "An EEPROM file cannot be created without a path.");
    }
    if (mode != readMode && mode != writeMode)
    {
        throw cGenericException(g_source, "cAefInputFile::createFile", __LINE__,
                                "Unknown mode " + std::to_string(mode) + " for file \"" + path +
                                    "\": 1 (read) or 2 (write) is expected.");
    }
    return new cAefInputFile(path, mode);
}

cAefInputFile::cAefInputFile(std::string const& path, int mode)
    : cCfgInputFile(path, mode, mode == writeMode ? fileTypeName : "", false)
{
    if (mode == writeMode)
    {
        paramGroup();
    }
}

cConfigurationGroup& cAefInputFile::paramGroup()
{
    cConfigurationGroup* const top = getTopGroup();
    if (cConfigurationGroup* const group = top->findConfigurationGroup(paramGroupName, false))
    {
        return *group;
    }
    top->addConfigurationGroup(new cConfigurationGroup(paramGroupName));
    return *top->findConfigurationGroup(paramGroupName, true);
}

void cAefInputFile::checkTree(cConfigurationGroup const& tree) const
{
    std::string const file = quoted(getFileName());
    cConfigurationGroup const* params = nullptr;
    for (cConfigurationGroup const* group : tree.GetConfigurationGroups())
    {
        if (group->getName() != paramGroupName)
        {
            continue;
        }
        if (params)
        {
            throw cGenericException(g_source, "cAefInputFile::checkTree", __LINE__,
                                    "Group \"PARAM\" at line " + std::to_string(group->getLineNumber()) +
                                        " of file " + file + " repeats the one at line " +
                                        std::to_string(params->getLineNumber()) +
                                        ": an EEPROM file holds one.");
        }
        params = group;
    }
    if (!params)
    {
        throw cMissingItem(g_source, "cAefInputFile::checkTree", __LINE__, paramGroupName, "group",
                           "In file " + file + ".");
    }
    if (params->GetChildCount() != 0)
    {
        cConfigurationGroup const* const inside = params->GetConfigurationGroups().front();
        throw cGenericException(g_source, "cAefInputFile::checkTree", __LINE__,
                                "Group " + quoted(inside->getName()) + " at line " +
                                    std::to_string(inside->getLineNumber()) + " of file " + file +
                                    " stands in group \"PARAM\", which holds only \"EEPROM name = "
                                    "value\" items.");
    }
}

void cAefInputFile::addCalibrationName(std::string const& name)
{
    // Items cannot be changed in place, so the root is rebuilt with its groups moved over.
    cConfigurationGroup* const top = getTopGroup();
    cConfigurationGroup rebuilt(top->getName());
    rebuilt.setOrigin(top->getLineNumber(), top->getSharedSourceFile());
    bool replaced = false;
    for (sInformationItem item : top->getInformationRange())
    {
        if (item.key == calibrationNameKey)
        {
            if (replaced)
            {
                continue;
            }
            item = sInformationItem{calibrationNameKey, name, 0, nullptr};
            replaced = true;
        }
        rebuilt.addInformationItem(std::move(item));
    }
    if (!replaced)
    {
        rebuilt.addInformation(calibrationNameKey, name);
    }
    for (cConfigurationGroup* group : top->GetConfigurationGroups())
    {
        rebuilt.addConfigurationGroup(group);
    }
    top->clearSubGroupsWithoutDeallocating();
    *top = std::move(rebuilt);
}

std::string cAefInputFile::getCalibrationName() const
{
    std::string name;
    getTopGroup()->findItemValue(calibrationNameKey, name, false);
    return name;
}

void cAefInputFile::addItem(std::string const& name, mpf_class const& value, unsigned char size)
{
    std::string const refused =
        "Cannot add EEPROM name " + quoted(name) + " to file " + quoted(getFileName()) + ": ";
    if (!isValidSize(size))
    {
        throw cGenericException(g_source, "cAefInputFile::addItem", __LINE__, refused + sizeExpected(size));
    }
    cConfigurationGroup& params = paramGroup();
    std::string ignored;
    if (params.findItemValue(name, ignored, false))
    {
        throw cGenericException(g_source, "cAefInputFile::addItem", __LINE__,
                                refused + "the name is already in group \"PARAM\" (a cell holds one value).");
    }
    mpz_class const whole(value);
    unsigned long const bits = 8UL * size;
    if (whole < -powerOfTwo(bits - 1) || whole >= powerOfTwo(bits))
    {
        throw cGenericException(g_source, "cAefInputFile::addItem", __LINE__,
                                refused + "the value " + whole.get_str() + " does not fit in " +
                                    bytesText(size) + ".");
    }
    std::string digits;
    mpfToHex(digits, mpf_class(whole), size, true);
    params.addInformation(name, "0x" + digits);
}

mpf_class cAefInputFile::getItemValue(std::string const& name, unsigned char size, bool isUnsigned,
                                      mpf_class minimum, mpf_class maximum, unsigned int* error) const
{
    cConfigurationGroup const* const params = getTopGroup()->findConfigurationGroup(paramGroupName, false);
    sInformationItem const* item = nullptr;
    if (params)
    {
        for (sInformationItem const& candidate : params->getInformationRange())
        {
            if (candidate.key == name)
            {
                item = &candidate;
                break;
            }
        }
    }
    std::string const& file = item && item->sourceFile ? *item->sourceFile : getFileName();

    auto fail = [&](sItemFailure const& failure, int line) -> mpf_class
    {
        if (error)
        {
            *error = failure.code;
            return mpf_class(0);
        }
        if (failure.code == aefItemMissing)
        {
            throw cMissingItem(g_source, "cAefInputFile::getItemValue", line, name, "EEPROM name",
                               failure.text);
        }
        throw cGenericException(g_source, "cAefInputFile::getItemValue", line, failure.text);
    };

    if (!item)
    {
        std::string where = "In file " + quoted(file) + ".";
        if (params)
        {
            where = "In group \"PARAM\"" +
                    (params->getLineNumber() > 0 ? " (line " + std::to_string(params->getLineNumber()) + ")"
                                                 : std::string()) +
                    " of file " + quoted(file) + ".";
        }
        return fail({aefItemMissing, where}, __LINE__);
    }

    std::string const invalid =
        "Invalid value " + quoted(item->value) + " of EEPROM name " + quoted(name) + " in group \"PARAM\"" +
        (item->lineNumber > 0 ? " at line " + std::to_string(item->lineNumber) : std::string()) +
        " of file " + quoted(file) + ": ";
    if (!isValidSize(size))
    {
        return fail({aefItemUnusable, invalid + sizeExpected(size)}, __LINE__);
    }
    mpz_class pattern;
    if (!readHexDigits(item->value, pattern))
    {
        return fail({aefItemUnusable, invalid + "a hexadecimal number is expected."}, __LINE__);
    }
    unsigned long const bits = 8UL * size;
    if (pattern >= powerOfTwo(bits))
    {
        return fail({aefItemUnusable,
                     invalid + "a hexadecimal number of at most " + bytesText(size) + " is expected."},
                    __LINE__);
    }
    mpz_class whole = pattern;
    if (!isUnsigned && mpz_tstbit(pattern.get_mpz_t(), bits - 1))
    {
        whole -= powerOfTwo(bits);
    }
    mpf_class const value(whole);
    if (value < minimum || value > maximum)
    {
        return fail({aefItemUnusable, invalid + whole.get_str() + " is outside the bounds " +
                                          numberToText(minimum) + " and " + numberToText(maximum) + "."},
                    __LINE__);
    }
    if (error)
    {
        *error = aefItemRead;
    }
    return value;
}
