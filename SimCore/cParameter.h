// The one value holder of the parameter model: a raw value in LSB as the ECU holds it, its limits
// and default in the same units, and a conversion-factor equation that gives the physical value.
// Everything an engineer tunes and every named number an algorithm reports is a cParameter or
// derives from it. A parameter may be published in the active symbol manager, where equations read
// and write it by name; it is shared by link count and released only through deleteInstance.
#pragma once

#include <cstdint>
#include <gmpxx.h>
#include <string>

class cConfigurationGroup;
class cEquation;
template <class T> struct sParameterMgrTraits;

// The mask of buildFile: one bit per key of a parameter's group, each named after the key it
// writes ("Name" is always written). Every class of the family writes the keys of its own bits
// after those of its base; the owner of each bit is noted. The bit numbers never change: the
// masks that stages and the calibration pass are numbers made of them.
enum EParameterFileKey : int
{
    kFileKeyDescription = 1 << 0,          // cParameter
    kFileKeyUnit = 1 << 1,                 // cParameter
    kFileKeyDefault = 1 << 2,              // cParameter
    kFileKeyConversionFactor = 1 << 3,     // cParameter
    kFileKeyMaximumValue = 1 << 4,         // cParameter
    kFileKeyMinimumValue = 1 << 5,         // cParameter
    kFileKeyPrecision = 1 << 6,            // cParameter
    kFileKeyPath = 1 << 7,                 // cDriftParameter, and cConfigurationParameter again
    kFileKeyConvertedValue = 1 << 8,       // cParameter
    kFileKeyRawValue = 1 << 9,             // cParameter
    kFileKeyVisibleInList = 1 << 10,       // cConfigurationParameter
    kFileKeyNeutralValue = 1 << 11,        // cLockableParameter
    kFileKeyNoDeploymentValue = 1 << 12,   // cLockableParameter
    kFileKeyEepromName = 1 << 13,          // cUnitEepromParameter
    kFileKeyEepromSize = 1 << 14,          // cUnitEepromParameter
    kFileKeySymbolRegistered = 1 << 15,    // cParameter, registered parameters only
    kFileKeyRegistrationName = 1 << 16,    // cParameter, registered parameters only
    kFileKeyCrashColor = 1 << 17,          // cCriterion (graph parameters)
    kFileKeyFloat = 1 << 18,               // cParameter
    kFileKeyCondition = 1 << 19,           // cParameter, registered parameters only
    kFileKeyUserRights = 1 << 20,          // cParameter
    kFileKeyDefaultMaximumValue = 1 << 21, // cDriftParameter
    kFileKeyDefaultMinimumValue = 1 << 22, // cDriftParameter
    kFileKeyStep = 1 << 23,                // cDriftParameter
    kFileKeyUsedMaximumValue = 1 << 24,    // cDriftParameter
    kFileKeyUsedMinimumValue = 1 << 25,    // cDriftParameter
    kFileKeyUsedStep = 1 << 26,            // cDriftParameter
    kFileKeyNoDeploymentLocked = 1 << 27,  // cLockableParameter
    kFileKeyDefaultSamplingRate = 1 << 28, // cCriterion (graph parameters)
    kFileKeyBatchConfiguration = 1 << 29,  // cDriftParameter
    kFileKeyTimeAbscissa = 1 << 30,        // cCriterion
    kFileKeyBatchCombine = 1 << 31,        // cDriftParameter
};

class cParameter
{
    // The managers build and write their elements through it.
    template <class T> friend struct sParameterMgrTraits;

public:
    // Initial values only, nothing read.
    cParameter();
    // Initial values, the owner name, then everything read from the group. On failure nothing
    // stays registered in the symbol manager and the conversion factor is released.
    cParameter(cConfigurationGroup* group, std::string const& ownerName);
    // Member by member: the copy shares the conversion-factor equation with its source, which is
    // what the derived classes' copies by value rely on; only one of the two may own it at the end.
    cParameter(cParameter const& other) = default;
    cParameter& operator=(cParameter const& other) = default;
    // A detached working copy with its own copy of the conversion factor; path, registration,
    // owner name, user rights and links are not taken over.
    explicit cParameter(cParameter* source);

    // The flags of the value getters and setters below, the same in every overload and override:
    //  update       After the value is stored, also run the equation groups linked with the
    //               parameter (updateSymbolsLinkedWith of the active symbol manager, with the
    //               parameter's condition); only a parameter registered with a non-zero condition
    //               has any, and with none active this throws cNULLPointer. False leaves the linked
    //               parameters as they are. Either way, a value that changed is announced to the
    //               host's main window (warnMainApp).
    //  applyLimits  Clamp the value into [minimum, maximum]: the maximum is applied first, so with
    //               the minimum above the maximum the minimum is stored. Setting the stored value
    //               again while it lies outside the limits asks the engineer once whether it goes to
    //               the closest limit (answer no keeps it). False stores the value as given, still
    //               rounded for a whole-number parameter.
    //  isHex        Text in hexadecimal, upper case: the value rounded half away from zero, written
    //               in a width of 1, 2, 4 or 8 bytes (the raw value by its range and the sign of its
    //               minimum, limits and default by the range alone), two's complement below zero.
    //               A setter reads such a text, with or without "0x", unsigned when the minimum is
    //               not negative; the stored value's own text (shortest width, no prefix) while it
    //               lies outside the limits first asks for the closest limit, and a no returns false
    //               at once. False: decimal text.
    //  noDecimals   Decimal text without decimals, rounded; otherwise with the decimals the
    //               conversion factor shifts plus the precision. Ignored in hexadecimal.
    // A setter returns true when the stored raw value changed.

    // Virtual operations, in the order of their slots.
    virtual void getRawValue(bool& value) const;
    virtual void getRawValue(unsigned short& value) const;
    virtual void getRawValue(short& value) const;
    virtual void getRawValue(unsigned char& value) const;
    virtual void getRawValue(char& value) const;
    virtual void getRawValue(unsigned long& value) const;
    virtual void getRawValue(unsigned long long& value) const;
    virtual void getRawValue(long long& value) const;
    virtual void getRawValue(long& value) const;
    virtual void getRawValue(int& value) const;
    virtual void getRawValue(mpf_class& value) const;
    virtual void getRawValue(std::string& value, bool isHex, bool noDecimals) const;
    virtual bool setRawValue(int value, bool update, bool applyLimits);
    virtual bool setRawValue(unsigned long long value, bool update, bool applyLimits);
    virtual bool setRawValue(unsigned long value, bool update, bool applyLimits);
    virtual bool setRawValue(long long value, bool update, bool applyLimits);
    virtual bool setRawValue(long value, bool update, bool applyLimits);
    virtual bool setRawValue(mpf_class value, bool update, bool applyLimits);
    virtual bool setRawValue(std::string const& value, bool isHex, bool update, bool applyLimits);
    virtual void getConvertedValue(std::string& value) const;
    virtual void getConvertedValue(unsigned long long& value) const;
    virtual void getConvertedValue(long long& value) const;
    virtual void getConvertedValue(mpf_class& value) const;
    virtual void setConvertedValue(std::string const& value, bool update, bool applyLimits);
    virtual void setConvertedValue(mpf_class value, bool update, bool applyLimits);
    virtual void getMinimumValue(std::string& value, bool isHex, bool noDecimals) const;
    virtual void getMaximumValue(std::string& value, bool isHex, bool noDecimals) const;
    virtual void getConvertedMinimumValue(std::string& value) const;
    virtual void getConvertedMaximumValue(std::string& value) const;
    virtual void getDefaultValue(std::string& value, bool isHex, bool noDecimals) const;
    // Clamps v to [minimum, maximum], minimum first, and returns it.
    virtual mpf_class checkFormat(mpf_class value);

protected:
    // Only deleteInstance ends a parameter: holders share it by link count.
    virtual ~cParameter();
    // Writes "Name" and the keys of the EParameterFileKey bits of mask that this class owns.
    virtual void buildFile(cConfigurationGroup* group, int mask);
    // Tells the host's main window (message 0x9E3) that a value changed, unless a computation runs.
    virtual void warnMainApp();

public:
    std::string getName() const { return m_name; }
    std::string const& getNameRef() const { return m_name; }
    void setName(std::string const& name) { m_name = name; }
    std::string getDescription() const { return m_description; }
    void setDescription(std::string const& description) { m_description = description; }
    std::string getUnit() const { return m_unit; }
    void setUnit(std::string const& unit) { m_unit = unit; }
    std::string getPath() const { return m_path; }
    std::string const& getPathRef() const { return m_path; }
    void setPath(std::string const& path) { m_path = path; }
    bool is(std::string const& name) const { return m_name == name; }
    bool getIsFloat() const { return m_isFloat; }

    mpf_class getDefaultValue() const { return m_defaultValue; }
    mpf_class getMinimumValue() const { return m_minimumValue; }
    mpf_class getMaximumValue() const { return m_maximumValue; }
    // Not checked against each other: with minimum above maximum, setRawValue stores the minimum.
    void setMinimumValue(mpf_class value) { m_minimumValue = value; }
    void setMaximumValue(mpf_class value) { m_maximumValue = value; }
    mpf_class getConvertedMinimumValue() const;
    mpf_class getConvertedMaximumValue() const;
    mpf_class getConvertedDefaultValue() const;

    // The conversion factor evaluated now; 1 while the parameter has no equation.
    mpf_class getConversionFactor() const;
    // The older spelling, kept for the callers that still use it.
    mpf_class getConvertionFactor() const { return getConversionFactor(); }
    cEquation* getConversionFactorParameter() const { return m_conversionFactor; }
    // Replaces the equation; an empty text keeps the old one and throws cMissingItem.
    void setConversionFactor(std::string text);

    int getPrecisionValue() const { return m_precision; }
    int getNecessaryUserRights() const { return m_necessaryUserRights; }
    bool isRegisteredInSymbolManager() const { return m_registeredInSymbolManager; }
    std::string getRegistrationName() const { return m_registrationName; }

    // Owner name + " - " + name, or the name alone.
    std::string getLongName() const;
    // Path + "\\" + name, or the name alone.
    std::string getFullPath() const;
    // The part of the path before the first "/".
    std::string getAlgoFromPath() const;

    void createLink() { ++m_links; }
    // True when someone besides the caller still holds the parameter.
    bool stillHasLinks() const { return m_links > 1; }
    void decrementLinks() { --m_links; }
    int getLinksNumber() const { return m_links; }

    // Whether the group asks for registration ("Symbol Registered"), and under which name
    // ("Registration Name", else the mandatory "Name"). False and empty for a null group.
    static void extractRegistrationConfiguration(cConfigurationGroup* group, bool& registered,
                                                 std::string& registrationName);
    // Deletes the parameter when the caller holds the last link, otherwise gives up one link.
    static void deleteInstance(cParameter* parameter);

protected:
    // For a derived constructor that fails after this base registered the parameter: the entry of
    // the symbol manager goes, and the equations that named it read 0 rather than a freed object.
    void abandonRegistration();
    // Runs a derived constructor's own configuration; when it throws, the registration made by this
    // base is abandoned before the exception goes on, since no destructor runs for the object.
    template <class tConfigure> void configureOrAbandon(tConfigure const& configure)
    {
        try
        {
            configure();
        }
        catch (...)
        {
            abandonRegistration();
            throw;
        }
    }

    // Runs the equation groups linked with the parameter (when asked and registered with a
    // condition), and tells the host when the value changed.
    void updateDependencies(mpf_class oldValue, bool update);

    // The raw value of a converted one; a factor of 0 throws cInvalidConversionFactorException.
    mpf_class rawFromConverted(mpf_class const& converted, char const* function, int line) const;

    // Decimals of a raw number: those the conversion factor shifts, plus the precision.
    int getRawDecimals() const;
    // Hexadecimal width in bytes of the raw value: the larger of the range rule and the sign rule.
    unsigned char getRawHexWidth() const;
    // Hexadecimal width in bytes of a limit or the default: the range rule alone.
    unsigned char getLimitHexWidth() const;
    // The text form of a limit or the default, for the getters that share it (the lockable
    // parameters render their No Deployment and neutral values with it too): raw decimals or none,
    // or hexadecimal in the width of the range rule alone.
    void limitToString(mpf_class const& limit, std::string& out, bool isHex, bool noDecimals) const;

    // Guard of the closest-limit question: the parameter and value whose question is open.
    static std::string sLatestEditedParameterName;
    static mpf_class dLatestEditedParameterValue;

    std::string m_name;
    std::string m_description;
    std::string m_unit;
    std::string m_path;
    mpf_class m_rawValue;
    mpf_class m_defaultValue;
    mpf_class m_maximumValue;
    mpf_class m_minimumValue;
    cEquation* m_conversionFactor = nullptr;
    int32_t m_precision = 12;
    int32_t m_necessaryUserRights = 1;
    int32_t m_links = 0;
    bool m_isFloat = false;
    bool m_registeredInSymbolManager = false;
    std::string m_registrationName;
    // Mask handed to the linked equation groups: -1 selects every step, 0 none.
    int32_t m_condition = 0;
    std::string m_ownerName;

private:
    // "Name", "Float", "Description", "Unit", then the steps below in their order ("Precision" and
    // "User Rights" after the default); registration comes last, so a failure leaves none behind.
    void setConfiguration(cConfigurationGroup* group);
    // "Conversion Factor" (or "Convertion Factor", else 1.0) as an equation; a factor of 0 is refused.
    void readConversionFactor(cConfigurationGroup* group);
    // "Maximum Value" and "Minimum Value" through the symbol manager's constants; the type's range
    // when absent, and cMinMaxException when the minimum lies above the maximum.
    void readLimits(cConfigurationGroup* group);
    // "Default", an equation evaluated once; the minimum when absent or empty.
    void readDefaultValue(cConfigurationGroup* group);
    // "Converted Value", "Value" or "Raw Value", else the default, set with updates and limits.
    void readInitialValue(cConfigurationGroup* group);
    // "Symbol Registered", "Registration Name" and "Condition"; registers the parameter when asked.
    void registerFromConfiguration(cConfigurationGroup* group);
    // 1, 2, 4 or 8 bytes for an unsigned value up to that size, 0 beyond; the sign is not looked at.
    unsigned char getMinimumDataSizeNeeded(mpf_class const& value) const;
    // Asks at most once per edit whether a stored value outside the limits goes to the closest one.
    bool shouldApplyLimitation();
};
