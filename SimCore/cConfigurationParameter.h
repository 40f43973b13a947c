// The parameters of the ECU calibration and of the stage configurations: the values that end up in
// the target. Each is a drift parameter, so it can be swept. The family adds whether a parameter is
// listed, a No Deployment value that a lockable parameter can be locked on (the value that keeps the
// algorithm from firing), a neutral value, and the link to an EEPROM cell of the unit. The
// calibration builds them from its description file and applies its load rules to the lock;
// HUnitEepromParam is the host's handle on one lockable parameter.
#pragma once

#include "SimCore/cDriftParameter.h"

#include <cstdint>
#include <gmpxx.h>
#include <string>

class cConfigurationGroup;

class cConfigurationParameter : public cDriftParameter
{
public:
    cConfigurationParameter(cConfigurationParameter const& other) = default;
    cConfigurationParameter& operator=(cConfigurationParameter const& other) = default;

    bool isVisibleInList() const { return m_visibleInList; }

    // Virtual operations added to those of cDriftParameter, in the order of their slots.
    // Whether the value is held on the No Deployment value; never for a parameter that has none.
    virtual bool isLockedOnNoDeploymentValue() const = 0;
    // Holds the value on the No Deployment value, or lets it go (the value then stays where it is).
    virtual void lockOnNoDeploymentValue(bool lock, bool update) = 0;
    // Moves the value to the neutral value. The name is spelt as hosts call it.
    virtual void setToNetralValue(bool update) = 0;

protected:
    // The drift parameter's keys, then "Path" again and "Visible In List" (true when absent).
    cConfigurationParameter(cConfigurationGroup* group, std::string const& ownerName);
    ~cConfigurationParameter() override = default;

    // cDriftParameter's keys, then "Path" a second time with its bit, and "Visible In List".
    void buildFile(cConfigurationGroup* group, int mask) override;
    // 0x9E3 as every parameter sends it; then, unless the active calibration's own list holds a
    // parameter of this name, 0x7FF to the host's main window (0x7EA for a batch configuration
    // parameter), sent even while a computation runs. What the host does with them is its own.
    void warnMainApp() override;

private:
    void setConfiguration(cConfigurationGroup* group);

    bool m_visibleInList = true;
};

// A parameter of the calibration of the ECU algorithm; adds nothing to its base.
class cCalibrationParameter : public cConfigurationParameter
{
public:
    cCalibrationParameter(cCalibrationParameter const& other) = default;
    cCalibrationParameter& operator=(cCalibrationParameter const& other) = default;

protected:
    cCalibrationParameter(cConfigurationGroup* group, std::string const& ownerName);
    ~cCalibrationParameter() override = default;
};

// A calibration parameter with a No Deployment value, which it can be locked on: while locked, any
// value set is replaced by the No Deployment value, stored without the limits. The calibration locks
// it on creation and switches the lock by its load rules; the host through HUnitEepromParam.
class cLockableParameter : public cCalibrationParameter
{
public:
    // Reads "No Deployment Value" (mandatory) and "Neutral Value" (optional) after the base keys; the
    // lock is not read here but by the calibration. Leaves the parameter unlocked.
    cLockableParameter(cConfigurationGroup* group, std::string const& ownerName);
    cLockableParameter(cLockableParameter const& other) = default;
    cLockableParameter& operator=(cLockableParameter const& other) = default;

    // Every overload of cParameter reaches the one below through the virtual mpf_class form.
    using cParameter::setRawValue;
    // While locked: the No Deployment value, without the limits, whatever value is given. The answer
    // tells whether the stored value changed.
    bool setRawValue(mpf_class value, bool update, bool applyLimits) override;
    // Returns value as it is, unless the parameter is unlocked and value is exactly the No Deployment
    // value standing clear inside the limits, where the base clamp applies (and changes nothing). So
    // a value outside the limits can stand in a calibration file until the calibration's rules deal
    // with it.
    mpf_class checkFormat(mpf_class value) override;

    bool isLockedOnNoDeploymentValue() const override { return m_lockedOnNoDeploymentValue; }
    // Locking also sets the No Deployment value, with the update asked for.
    void lockOnNoDeploymentValue(bool lock, bool update) override;
    // setRawNeutralValue with the stored neutral value (0 when none was given) and the limits.
    void setToNetralValue(bool update) override;

    // Virtual operations added, in the order of their slots.
    virtual bool isNeutralValueDefined() const { return m_neutralValueDefined; }
    // As getDefaultValue(string&, ...) renders the default: raw decimals or none, or hexadecimal
    // rounded half away from zero in the width of the range rule alone.
    virtual void getNoDeploymentValue(std::string& value, bool isHex, bool noDecimals) const;
    virtual void getNeutralValue(std::string& value, bool isHex, bool noDecimals) const;
    virtual void setNoDeploymentValue(mpf_class const& value) { m_noDeploymentValue = value; }
    // The argument is not used: the stored neutral value is set, past the lock. Hosts pass anything
    // and rely on the parameter going to its neutral value even while locked.
    virtual void setRawNeutralValue(mpf_class value, bool update, bool applyLimits);

    mpf_class getNoDeploymentValue() const { return m_noDeploymentValue; }
    mpf_class getNeutralValue() const { return m_neutralValue; }
    // Stores the neutral value only: it does not mark it defined and updates nothing.
    void setNeutralValue(mpf_class const& value) { m_neutralValue = value; }
    // The field times the conversion factor evaluated now; the texts with the precision as decimals.
    void getConvertedNoDeploymentValue(mpf_class& value) const;
    void getConvertedNoDeploymentValue(std::string& value) const;
    void getConvertedNeutralValue(mpf_class& value) const;
    void getConvertedNeutralValue(std::string& value) const;

protected:
    ~cLockableParameter() override = default;

    // The configuration parameter's keys, then "No Deployment Value", "Neutral Value" (defined or
    // not) and "No Deployment Locked", the numbers with 12 decimals whatever the precision.
    void buildFile(cConfigurationGroup* group, int mask) override;

private:
    void setConfiguration(cConfigurationGroup* group);

    mpf_class m_noDeploymentValue;
    bool m_neutralValueDefined = false;
    mpf_class m_neutralValue;
    bool m_lockedOnNoDeploymentValue = false;
};

// A lockable parameter that may stand for a cell of the unit's EEPROM: an "Eeprom Name" and its
// "Eeprom Size" in bytes. Without a name it has no cell, which is valid. The .aef files of the
// calibration hold the values of these cells by name.
class cUnitEepromParameter : public cLockableParameter
{
public:
    // An "Eeprom Name" needs an "Eeprom Size" of 1 or more: otherwise the link is cleared and
    // cMissingEepromData names the line of "Eeprom Size".
    cUnitEepromParameter(cConfigurationGroup* group, std::string const& ownerName);
    cUnitEepromParameter(cUnitEepromParameter const& other) = default;
    cUnitEepromParameter& operator=(cUnitEepromParameter const& other) = default;

    std::string getEepromName() override { return m_eepromName; }
    // The last slot of the family: the size of the cell in bytes, 0 without one.
    virtual uint32_t getEepromSize() const { return m_eepromSize; }
    // The parameter no longer stands for a cell: empty name, size 0.
    void removeEepromLink();

protected:
    ~cUnitEepromParameter() override = default;

    // The lockable parameter's keys, then "Eeprom Name" and "Eeprom Size".
    void buildFile(cConfigurationGroup* group, int mask) override;
    // 0x9E3 as every parameter sends it; then 0x7FF to the host when the parameter has a cell, since
    // the unit's EEPROM image changed. Calibration membership and the batch flag play no part here.
    void warnMainApp() override;

private:
    void setConfiguration(cConfigurationGroup* group);

    std::string m_eepromName;
    uint32_t m_eepromSize = 0;
};

// A lockable parameter of a unit's configuration that has no EEPROM cell.
class cLockableUnitConfigurationParameter : public cLockableParameter
{
public:
    cLockableUnitConfigurationParameter(cConfigurationGroup* group, std::string const& ownerName);
    cLockableUnitConfigurationParameter(cLockableUnitConfigurationParameter const& other) = default;
    cLockableUnitConfigurationParameter&
    operator=(cLockableUnitConfigurationParameter const& other) = default;

protected:
    ~cLockableUnitConfigurationParameter() override = default;
};

// A calibration parameter without a No Deployment value, so never locked; its "Default" is mandatory
// and must be a plain number.
class cNotLockableUnitConfigurationParameter : public cCalibrationParameter
{
public:
    cNotLockableUnitConfigurationParameter(cConfigurationGroup* group, std::string const& ownerName);
    cNotLockableUnitConfigurationParameter(cNotLockableUnitConfigurationParameter const& other) = default;
    cNotLockableUnitConfigurationParameter&
    operator=(cNotLockableUnitConfigurationParameter const& other) = default;

    bool isLockedOnNoDeploymentValue() const override { return false; }
    void lockOnNoDeploymentValue(bool, bool) override {}
    void setToNetralValue(bool) override {}

protected:
    ~cNotLockableUnitConfigurationParameter() override = default;

private:
    void setConfiguration(cConfigurationGroup* group);
};

// A parameter of the user part of the calibration ("User Parameters List"): tuned like the others,
// never locked.
class cUserEepromParameter : public cCalibrationParameter
{
public:
    cUserEepromParameter(cConfigurationGroup* group, std::string const& ownerName);
    cUserEepromParameter(cUserEepromParameter const& other) = default;
    cUserEepromParameter& operator=(cUserEepromParameter const& other) = default;

    bool isLockedOnNoDeploymentValue() const override { return false; }
    void lockOnNoDeploymentValue(bool, bool) override {}
    void setToNetralValue(bool) override {}

protected:
    ~cUserEepromParameter() override = default;
};

// The host's handle on a lockable parameter: it forwards to the parameter it points at. A handle
// on no parameter, or on one that is not lockable, refuses every call with a family exception.
class HUnitEepromParam
{
public:
    explicit HUnitEepromParam(cDriftParameter* parameter) : m_parameter(parameter) {}
    HUnitEepromParam(HUnitEepromParam const& other) = default;
    HUnitEepromParam(HUnitEepromParam&& other) = default;
    HUnitEepromParam& operator=(HUnitEepromParam const& other) = default;
    HUnitEepromParam& operator=(HUnitEepromParam&& other) = default;
    virtual ~HUnitEepromParam() = default;

    mpf_class getNoDeploymentValue() const;
    void setNoDeploymentValue(mpf_class const& value);
    void setNeutralValue(mpf_class const& value);
    mpf_class getNeutralValue() const;
    void getNoDeploymentValue(std::string& value, bool isHex, bool noDecimals) const;
    void getConvertedNoDeploymentValue(std::string& value) const;
    void getConvertedNoDeploymentValue(mpf_class& value) const;
    void lockOnNoDeploymentValue(bool lock, bool update);

private:
    cLockableParameter& lockable(char const* function, int line) const;

    cDriftParameter* m_parameter;
};
