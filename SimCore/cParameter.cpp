#include "SimCore/cParameter.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/IHostWindow.h"
#include "BaseKit/UserMessages.h"
#include "BaseKit/cKynException.h"
#include "BaseKit/cTraceProvider.h"
#include "SimCore/cComputationManager.h"
#include "SimCore/cEquation.h"
#include "SimCore/cSymbolManager.h"
#include "StoreKit/cConfigurationGroup.h"

#include <climits>
#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>

namespace
{
char const* const kSource = "SimCore/cParameter";
// The function that reading a parameter's group reports, whichever of its steps fails.
char const* const kSetConfigurationFunction = "cParameter::setConfiguration";

// Window message that tells the host a parameter value changed.
constexpr uint32_t kParameterChangedMessage = 0x9E3;

constexpr double kLargestValue = std::numeric_limits<double>::max();

// Values of whole-number parameters round to nearest, halves away from zero.
mpf_class roundHalfAwayFromZero(mpf_class const& value)
{
    mpf_class shifted(value > 0 ? mpf_class(value + 0.5) : mpf_class(value - 0.5));
    mpf_class result;
    mpf_trunc(result.get_mpf_t(), shifted.get_mpf_t());
    return result;
}

// The reads of 32 bits and below go through a double, as the ECU tools always did.
double roundThroughDouble(mpf_class const& value)
{
    double d = value.get_d();
    return d > 0 ? std::trunc(d + 0.5) : std::trunc(d - 0.5);
}

// Narrows a rounded double as an integer conversion of its 64-bit value would: a value outside the
// target wraps, a value outside 64 bits saturates first, so no input is undefined behaviour.
template <typename T> T narrowRounded(double rounded)
{
    if (std::isnan(rounded))
    {
        return 0;
    }
    if (rounded < 0)
    {
        long long whole = rounded <= -9223372036854775808.0 ? LLONG_MIN : static_cast<long long>(rounded);
        return static_cast<T>(whole);
    }
    unsigned long long whole =
        rounded >= 18446744073709551616.0 ? ULLONG_MAX : static_cast<unsigned long long>(rounded);
    return static_cast<T>(whole);
}

static_assert(sizeof(long) == sizeof(long long), "64-bit values are handed to GMP as long");

mpf_class mpfFromLongLong(long long value)
{
    return mpf_class(static_cast<long>(value));
}

mpf_class mpfFromUnsignedLongLong(unsigned long long value)
{
    return mpf_class(static_cast<unsigned long>(value));
}

// The trace form of a value: "%f" of the double.
std::string formatForTrace(mpf_class const& value)
{
    double d = value.get_d();
    int size = std::snprintf(nullptr, 0, "%f", d);
    std::string text(static_cast<size_t>(size), '\0');
    std::snprintf(text.data(), text.size() + 1, "%f", d);
    return text;
}

cSymbolManager& activeSymbolManager(char const* function, int line, std::string const& name)
{
    if (myActiveSymbolManager == nullptr)
    {
        throw cNULLPointer(kSource, function, line,
                           "No active symbol manager for parameter \"" + name + "\"");
    }
    return *myActiveSymbolManager;
}

// Clears the guard of the closest-limit question however the question ends.
struct sLimitQuestionReset
{
    std::string& name;
    mpf_class& value;
    ~sLimitQuestionReset()
    {
        value = 0;
        name.clear();
    }
};
} // namespace

std::string cParameter::sLatestEditedParameterName;
mpf_class cParameter::dLatestEditedParameterValue;

cParameter::cParameter()
    : m_rawValue(0), m_defaultValue(0), m_maximumValue(kLargestValue), m_minimumValue(-kLargestValue)
{
}

cParameter::cParameter(cConfigurationGroup* group, std::string const& ownerName)
    : m_rawValue(0), m_defaultValue(0), m_maximumValue(kLargestValue), m_minimumValue(-kLargestValue),
      m_ownerName(ownerName)
{
    try
    {
        setConfiguration(group);
    }
    catch (...)
    {
        // The destructor does not run for a constructor that throws.
        delete m_conversionFactor;
        m_conversionFactor = nullptr;
        throw;
    }
}

cParameter::cParameter(cParameter* source)
    : m_rawValue(0), m_defaultValue(0), m_maximumValue(kLargestValue), m_minimumValue(-kLargestValue)
{
    if (source == nullptr)
    {
        throw cNULLPointer(kSource, "cParameter::cParameter", __LINE__, "No parameter to copy");
    }
    m_name = source->m_name;
    m_description = source->m_description;
    m_unit = source->m_unit;
    m_maximumValue = source->m_maximumValue;
    m_minimumValue = source->m_minimumValue;
    m_defaultValue = source->m_defaultValue;
    m_rawValue = source->m_rawValue;
    m_precision = source->m_precision;
    m_condition = source->m_condition;
    m_isFloat = source->m_isFloat;
    m_conversionFactor = cEquation::cloneEquation(source->m_conversionFactor);
}

cParameter::~cParameter()
{
    delete m_conversionFactor;
}

void cParameter::deleteInstance(cParameter* parameter)
{
    if (parameter == nullptr)
    {
        return;
    }
    if (parameter->m_links < 2)
    {
        delete parameter;
    }
    else
    {
        parameter->decrementLinks();
    }
}

// ---- Raw reads ---------------------------------------------------------------------------------

void cParameter::getRawValue(bool& value) const
{
    value = m_rawValue != 0;
}

void cParameter::getRawValue(unsigned short& value) const
{
    value = narrowRounded<unsigned short>(roundThroughDouble(m_rawValue));
}

void cParameter::getRawValue(short& value) const
{
    value = narrowRounded<short>(roundThroughDouble(m_rawValue));
}

void cParameter::getRawValue(unsigned char& value) const
{
    value = narrowRounded<unsigned char>(roundThroughDouble(m_rawValue));
}

void cParameter::getRawValue(char& value) const
{
    value = narrowRounded<char>(roundThroughDouble(m_rawValue));
}

void cParameter::getRawValue(unsigned long& value) const
{
    value = narrowRounded<unsigned long>(roundThroughDouble(m_rawValue));
}

void cParameter::getRawValue(unsigned long long& value) const
{
    value = mpfToUnsignedLongLong(roundHalfAwayFromZero(m_rawValue));
}

void cParameter::getRawValue(long long& value) const
{
    value = mpfToLongLong(roundHalfAwayFromZero(m_rawValue));
}

void cParameter::getRawValue(long& value) const
{
    value = narrowRounded<long>(roundThroughDouble(m_rawValue));
}

void cParameter::getRawValue(int& value) const
{
    value = narrowRounded<int>(roundThroughDouble(m_rawValue));
}

void cParameter::getRawValue(mpf_class& value) const
{
    value = m_rawValue;
}

void cParameter::getRawValue(std::string& value, bool isHex, bool noDecimals) const
{
    if (!isHex)
    {
        doubleToString(value, m_rawValue, noDecimals ? 0 : getRawDecimals());
        return;
    }
    mpf_class raw;
    getRawValue(raw);
    mpfToHex(value, roundHalfAwayFromZero(raw), getRawHexWidth(), true);
}

// ---- Raw writes --------------------------------------------------------------------------------

bool cParameter::setRawValue(int value, bool update, bool applyLimits)
{
    return setRawValue(static_cast<long>(value), update, applyLimits);
}

bool cParameter::setRawValue(unsigned long long value, bool update, bool applyLimits)
{
    return setRawValue(mpfFromUnsignedLongLong(value), update, applyLimits);
}

bool cParameter::setRawValue(unsigned long value, bool update, bool applyLimits)
{
    return setRawValue(mpf_class(value), update, applyLimits);
}

bool cParameter::setRawValue(long long value, bool update, bool applyLimits)
{
    return setRawValue(mpfFromLongLong(value), update, applyLimits);
}

bool cParameter::setRawValue(long value, bool update, bool applyLimits)
{
    return setRawValue(mpf_class(value), update, applyLimits);
}

bool cParameter::setRawValue(mpf_class value, bool update, bool applyLimits)
{
    mpf_class oldValue(m_rawValue);
    if (!m_isFloat)
    {
        value = roundHalfAwayFromZero(value);
    }
    // Re-setting the stored value outside the limits is the engineer's way to ask for the closest
    // limit; a new value is clamped silently. The maximum goes first, so the minimum wins.
    if (applyLimits && (oldValue != value || shouldApplyLimitation()))
    {
        if (value > m_maximumValue)
        {
            value = m_maximumValue;
        }
        if (value < m_minimumValue)
        {
            value = m_minimumValue;
        }
    }
    m_rawValue = value;
    if (!m_isFloat)
    {
        // A limit may be fractional.
        m_rawValue = roundHalfAwayFromZero(m_rawValue);
    }
    updateDependencies(oldValue, update);
    KYN_TRACE_GLOBAL(4, "Value of parameter " + m_name + " changed from " + formatForTrace(oldValue) +
                            " to " + formatForTrace(m_rawValue));
    return oldValue != m_rawValue;
}

bool cParameter::setRawValue(std::string const& value, bool isHex, bool update, bool applyLimits)
{
    if (!isHex)
    {
        mpf_class number;
        stringToMpf(value, number, 10, m_maximumValue);
        return setRawValue(number, update, applyLimits);
    }
    std::string present;
    mpfToHex(present, m_rawValue, 0, true);
    if (value == present && !shouldApplyLimitation())
    {
        return false;
    }
    unsigned char width = getRawHexWidth();
    std::string digits = value;
    if (digits.size() >= 2 && digits[0] == '0' && (digits[1] == 'X' || digits[1] == 'x'))
    {
        digits.erase(0, 2);
    }
    bool isUnsigned = m_minimumValue >= 0;
    long long number = readHexadecimalNumber(digits, width, isUnsigned, m_minimumValue, m_maximumValue);
    if (isUnsigned)
    {
        return setRawValue(static_cast<unsigned long long>(number), update, applyLimits);
    }
    return setRawValue(number, update, applyLimits);
}

bool cParameter::shouldApplyLimitation()
{
    if (m_minimumValue <= m_rawValue && m_rawValue <= m_maximumValue)
    {
        return true;
    }
    sLimitQuestionReset reset{sLatestEditedParameterName, dLatestEditedParameterValue};
    // The same name and value mean that this edit's question is open already (a re-entrant set
    // from inside the dialog): answer no without a second box.
    if (m_rawValue == dLatestEditedParameterValue && m_name == sLatestEditedParameterName)
    {
        return false;
    }
    dLatestEditedParameterValue = m_rawValue;
    sLatestEditedParameterName = m_name;
    std::string question =
        "Value of " + m_name + " is outside (min, max) range.\n\nDo you want to set it to the closest limit?";
    return doYesNoQuestion(question, kIdNo) == kIdYes;
}

mpf_class cParameter::checkFormat(mpf_class value)
{
    if (value < m_minimumValue)
    {
        value = m_minimumValue;
    }
    if (value > m_maximumValue)
    {
        value = m_maximumValue;
    }
    return value;
}

void cParameter::updateDependencies(mpf_class oldValue, bool update)
{
    if (update && m_registeredInSymbolManager && m_condition != 0)
    {
        activeSymbolManager("cParameter::updateDependencies", __LINE__, m_name)
            .updateSymbolsLinkedWith(m_registrationName, m_condition);
        KYN_TRACE_GLOBAL(4, "Updating dependencies of parameter " + m_name +
                                " (Old Value = " + formatForTrace(oldValue) + ")");
    }
    if (oldValue != m_rawValue)
    {
        warnMainApp();
    }
}

void cParameter::warnMainApp()
{
    if (myActiveComputationManager != nullptr &&
        myActiveComputationManager->getComputationsState() != computationsRunning && getMainWndH() != nullptr)
    {
        SendMessageA(getMainWndH(), kParameterChangedMessage, 0, 0);
    }
}

// ---- Conversions -------------------------------------------------------------------------------

mpf_class cParameter::getConversionFactor() const
{
    if (m_conversionFactor == nullptr)
    {
        return mpf_class(1);
    }
    return m_conversionFactor->evaluate();
}

void cParameter::setConversionFactor(std::string text)
{
    cEquation* equation = cEquation::createEquation(text);
    if (equation == nullptr)
    {
        throw cMissingItem(kSource, "cParameter::setConversionFactor", __LINE__, "Conversion Factor", "key",
                           "The conversion factor of parameter \"" + m_name + "\" is empty.\n");
    }
    delete m_conversionFactor;
    m_conversionFactor = equation;
}

void cParameter::getConvertedValue(std::string& value) const
{
    doubleToString(value, mpf_class(m_rawValue * getConversionFactor()), m_precision);
}

void cParameter::getConvertedValue(unsigned long long& value) const
{
    value = mpfToUnsignedLongLong(mpf_class(m_rawValue * getConversionFactor()));
}

void cParameter::getConvertedValue(long long& value) const
{
    value = mpfToLongLong(mpf_class(m_rawValue * getConversionFactor()));
}

void cParameter::getConvertedValue(mpf_class& value) const
{
    value = mpf_class(m_rawValue * getConversionFactor());
}

void cParameter::setConvertedValue(std::string const& value, bool update, bool applyLimits)
{
    mpf_class number;
    stringToMpf(value, number, 10, m_maximumValue);
    setConvertedValue(number, update, applyLimits);
}

void cParameter::setConvertedValue(mpf_class value, bool update, bool applyLimits)
{
    setRawValue(rawFromConverted(value, "cParameter::setConvertedValue", __LINE__), update, applyLimits);
}

mpf_class cParameter::rawFromConverted(mpf_class const& converted, char const* function, int line) const
{
    mpf_class factor = getConversionFactor();
    if (factor == 0)
    {
        // GMP stops the process on a division by zero; a factor that came to 0 through the
        // parameters it names is reported instead.
        throw cInvalidConversionFactorException(
            kSource, function, line, factor, "Parameter \"" + m_name + "\" cannot take a converted value.\n");
    }
    return mpf_class(converted / factor);
}

mpf_class cParameter::getConvertedMinimumValue() const
{
    return mpf_class(m_minimumValue * getConversionFactor());
}

mpf_class cParameter::getConvertedMaximumValue() const
{
    return mpf_class(m_maximumValue * getConversionFactor());
}

mpf_class cParameter::getConvertedDefaultValue() const
{
    return mpf_class(m_defaultValue * getConversionFactor());
}

void cParameter::getConvertedMinimumValue(std::string& value) const
{
    doubleToString(value, getConvertedMinimumValue(), m_precision);
}

void cParameter::getConvertedMaximumValue(std::string& value) const
{
    doubleToString(value, getConvertedMaximumValue(), m_precision);
}

// ---- Text forms of the limits ------------------------------------------------------------------

void cParameter::getMinimumValue(std::string& value, bool isHex, bool noDecimals) const
{
    limitToString(m_minimumValue, value, isHex, noDecimals);
}

void cParameter::getMaximumValue(std::string& value, bool isHex, bool noDecimals) const
{
    limitToString(m_maximumValue, value, isHex, noDecimals);
}

void cParameter::getDefaultValue(std::string& value, bool isHex, bool noDecimals) const
{
    limitToString(m_defaultValue, value, isHex, noDecimals);
}

void cParameter::limitToString(mpf_class const& limit, std::string& out, bool isHex, bool noDecimals) const
{
    if (!isHex)
    {
        doubleToString(out, limit, noDecimals ? 0 : getRawDecimals());
        return;
    }
    // The range rule alone, unlike the raw value: hosts show the limits in this width.
    mpfToHex(out, roundHalfAwayFromZero(limit), getLimitHexWidth(), true);
}

int cParameter::getRawDecimals() const
{
    double factor = getConversionFactor().get_d();
    double shift = 0.0;
    // The sign of a factor does not move the decimal point; 0 or a non-finite factor shifts nothing.
    if (factor != 0.0 && std::isfinite(factor))
    {
        shift = std::ceil(std::fabs(std::log(std::fabs(factor)) / std::log(10.0)));
    }
    return static_cast<int>(shift) + m_precision;
}

unsigned char cParameter::getMinimumDataSizeNeeded(mpf_class const& value) const
{
    if (value <= 255UL)
    {
        return 1;
    }
    if (value <= 65535UL)
    {
        return 2;
    }
    if (value <= 4294967295UL)
    {
        return 4;
    }
    if (value <= 18446744073709551615UL)
    {
        return 8;
    }
    return 0;
}

unsigned char cParameter::getLimitHexWidth() const
{
    return getMinimumDataSizeNeeded(mpf_class(m_maximumValue - m_minimumValue));
}

unsigned char cParameter::getRawHexWidth() const
{
    unsigned char signWidth = 1;
    if (m_minimumValue < -2147483648.0)
    {
        signWidth = 8;
    }
    else if (m_minimumValue < -32768)
    {
        signWidth = 4;
    }
    else if (m_minimumValue < -128)
    {
        signWidth = 2;
    }
    unsigned char rangeWidth = getLimitHexWidth();
    return rangeWidth > signWidth ? rangeWidth : signWidth;
}

// ---- Names -------------------------------------------------------------------------------------

std::string cParameter::getLongName() const
{
    return m_ownerName.empty() ? m_name : m_ownerName + " - " + m_name;
}

std::string cParameter::getFullPath() const
{
    return m_path.empty() ? m_name : m_path + "\\" + m_name;
}

std::string cParameter::getAlgoFromPath() const
{
    return m_path.substr(0, m_path.find('/'));
}

// ---- Configuration -----------------------------------------------------------------------------

void cParameter::setConfiguration(cConfigurationGroup* group)
{
    if (group == nullptr)
    {
        throw cNULLPointer(kSource, kSetConfigurationFunction, __LINE__,
                           "No configuration group for a parameter");
    }
    group->findItem("", "Name", m_name, true);
    group->findItem("", "Float", m_isFloat, false);
    m_description = "No Description";
    group->findItem("", "Description", m_description, false);
    group->findItem("", "Unit", m_unit, false);

    readConversionFactor(group);
    readLimits(group);
    readDefaultValue(group);

    group->findItem("", "Precision", m_precision, false);
    std::string rights;
    if (group->findItem("", "User Rights", rights, false) != 0)
    {
        m_necessaryUserRights = getUserRightsFromString(rights);
    }

    readInitialValue(group);
    // Registration comes last, once nothing else can fail, so that a parameter
    // whose construction fails is never left behind in the symbol manager.
    registerFromConfiguration(group);
}

void cParameter::readConversionFactor(cConfigurationGroup* group)
{
    // The conversion factor, under its name or the older spelling.
    std::string factorText = "1.0";
    if (group->findItem("", "Conversion Factor", factorText, false) == 0)
    {
        group->findItem("", "Convertion Factor", factorText, false);
    }
    try
    {
        m_conversionFactor = cEquation::createEquation(factorText);
        if (m_conversionFactor == nullptr)
        {
            throw cMissingItem(kSource, kSetConfigurationFunction, __LINE__, "Conversion Factor", "key",
                               "The conversion factor of parameter \"" + m_name + "\" is empty.\n");
        }
    }
    catch (cKynException& failure)
    {
        int line = 0;
        group->findItemLineNumber("Conversion Factor", line, false);
        if (line == 0)
        {
            group->findItemLineNumber("Convertion Factor", line, false);
        }
        failure.addLineNumber(line);
        delete m_conversionFactor;
        m_conversionFactor = nullptr;
        throw cInvalidSymbolDefinition(kSource, kSetConfigurationFunction, __LINE__, "Conversion Factor",
                                       factorText,
                                       std::string("Conversion factor is not correct.\n") + failure.what());
    }

    // A factor of 0 would make every converted value 0 and every division fail. The line
    // is not looked up here: hosts show the 0 they have always shown.
    mpf_class factor = getConversionFactor();
    if (factor == 0)
    {
        int line = 0;
        throw cInvalidConversionFactorException(kSource, kSetConfigurationFunction, __LINE__, factor,
                                                "Line: " + std::to_string(line) + "\n");
    }
}

void cParameter::readLimits(cConfigurationGroup* group)
{
    // Limits may be numbers, named constants or constant expressions.
    m_maximumValue = m_isFloat ? kLargestValue : 2147483647.0;
    m_minimumValue = m_isFloat ? -kLargestValue : -2147483648.0;
    std::string limitText;
    if (group->findItem("", "Maximum Value", limitText, false) != 0)
    {
        activeSymbolManager(kSetConfigurationFunction, __LINE__, m_name)
            .getConstantValue(limitText, m_maximumValue, true);
    }
    if (group->findItem("", "Minimum Value", limitText, false) != 0)
    {
        activeSymbolManager(kSetConfigurationFunction, __LINE__, m_name)
            .getConstantValue(limitText, m_minimumValue, true);
    }
    if (m_maximumValue < m_minimumValue)
    {
        int line = 0;
        group->findItemLineNumber("Minimum Value", line, false);
        throw cMinMaxException(kSource, kSetConfigurationFunction, __LINE__, m_name, m_minimumValue,
                               m_maximumValue, "Error at line number: " + std::to_string(line) + "\n");
    }
}

void cParameter::readDefaultValue(cConfigurationGroup* group)
{
    // The default is an equation evaluated once, in raw units.
    m_defaultValue = m_minimumValue;
    std::string defaultText;
    if (group->findItem("", "Default", defaultText, false) != 0)
    {
        std::unique_ptr<cEquation> defaultEquation(cEquation::createEquation(defaultText));
        if (defaultEquation)
        {
            m_defaultValue = defaultEquation->evaluate();
        }
    }
}

void cParameter::readInitialValue(cConfigurationGroup* group)
{
    // The value, converted or raw, then rounded, clamped and announced.
    mpf_class value;
    if (group->findItem("", "Converted Value", value, false) != 0 ||
        group->findItem("", "Value", value, false) != 0)
    {
        value = rawFromConverted(value, kSetConfigurationFunction, __LINE__);
    }
    else if (group->findItem("", "Raw Value", value, false) == 0)
    {
        value = m_defaultValue;
    }
    setRawValue(value, /*update=*/true, /*applyLimits=*/true);
}

void cParameter::registerFromConfiguration(cConfigurationGroup* group)
{
    bool registered = false;
    std::string registrationName;
    extractRegistrationConfiguration(group, registered, registrationName);
    int condition = 0;
    if (registered)
    {
        condition = -1;
        std::string conditionText;
        if (group->findItem("", "Condition", conditionText, false) != 0)
        {
            mpf_class conditionValue;
            if (activeSymbolManager(kSetConfigurationFunction, __LINE__, m_name)
                    .getConstantValue(conditionText, conditionValue, true))
            {
                condition = static_cast<int>(conditionValue.get_si());
            }
        }
    }
    m_registeredInSymbolManager = registered;
    m_registrationName = registrationName;
    m_condition = condition;
    if (registered)
    {
        activeSymbolManager(kSetConfigurationFunction, __LINE__, m_name)
            .registerVariableSymbol(m_registrationName, this);
    }
}

void cParameter::extractRegistrationConfiguration(cConfigurationGroup* group, bool& registered,
                                                  std::string& registrationName)
{
    registered = false;
    registrationName.clear();
    if (group == nullptr)
    {
        return;
    }
    if (group->findItem("", "Symbol Registered", registered, false) == 0 || !registered)
    {
        return;
    }
    if (group->findItem("", "Registration Name", registrationName, false) == 0)
    {
        group->findItem("", "Name", registrationName, true);
    }
}

void cParameter::buildFile(cConfigurationGroup* group, int mask)
{
    if (group == nullptr)
    {
        return;
    }
    auto has = [mask](EParameterFileKey key) { return (mask & key) != 0; };
    group->addInformation("Name", m_name);
    if (has(kFileKeyFloat))
    {
        group->addInformation("Float", m_isFloat);
    }
    if (has(kFileKeyConvertedValue))
    {
        group->addInformation("Converted Value", mpf_class(m_rawValue * getConversionFactor()), m_precision);
    }
    int rawDecimals = getRawDecimals();
    if (has(kFileKeyRawValue))
    {
        group->addInformation("Raw Value", m_rawValue, rawDecimals);
    }
    if (has(kFileKeyDescription))
    {
        group->addInformation("Description", m_description);
    }
    if (has(kFileKeyUnit))
    {
        group->addInformation("Unit", m_unit);
    }
    if (has(kFileKeyDefault))
    {
        group->addInformation("Default", m_defaultValue, rawDecimals);
    }
    if (has(kFileKeyConversionFactor))
    {
        group->addInformation("Conversion Factor", m_conversionFactor
                                                       ? m_conversionFactor->buildEquationString()
                                                       : std::string("1.0"));
    }
    if (has(kFileKeyMinimumValue))
    {
        group->addInformation("Minimum Value", m_minimumValue, rawDecimals);
    }
    if (has(kFileKeyMaximumValue))
    {
        group->addInformation("Maximum Value", m_maximumValue, rawDecimals);
    }
    if (has(kFileKeyPrecision))
    {
        group->addInformation("Precision", static_cast<int>(m_precision));
    }
    if (has(kFileKeyUserRights))
    {
        group->addInformation("User Rights", getUserRightsFromInt(m_necessaryUserRights));
    }
    if (m_registeredInSymbolManager)
    {
        if (has(kFileKeySymbolRegistered))
        {
            group->addInformation("Symbol Registered", true);
        }
        if (has(kFileKeyRegistrationName))
        {
            group->addInformation("Registration Name", m_registrationName);
        }
        if (has(kFileKeyCondition))
        {
            group->addInformation("Condition", static_cast<int>(m_condition));
        }
    }
}

void cParameter::abandonRegistration()
{
    if (!m_registeredInSymbolManager || myActiveSymbolManager == nullptr)
    {
        return;
    }
    if (myActiveSymbolManager->getVariablePtr(m_registrationName) == this)
    {
        myActiveSymbolManager->unregisterCorruptedVariableSymbol(m_registrationName);
        cEquation::repointVariableEquations(m_registrationName, nullptr);
    }
    m_registeredInSymbolManager = false;
}
