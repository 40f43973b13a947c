#include "SimCore/cConfigurationParameter.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/IHostWindow.h"
#include "BaseKit/cKynException.h"
#include "BaseKit/mpfClass.h"
#include "SimCore/cCalibration.h"
#include "StoreKit/cConfigurationGroup.h"

namespace
{
char const* const kSource = "SimCore/cConfigurationParameter";

// Window messages to the host: a stage's configuration changed, or a batch configuration parameter
// did. Their meaning is the host's; the library only sends them.
constexpr uint32_t kConfigurationChangedMessage = 0x7FF;
constexpr uint32_t kBatchConfigurationChangedMessage = 0x7EA;

// No Deployment and neutral values are written with this many decimals, whatever the precision.
constexpr int kLockValueDecimals = 12;

std::string lineText(cConfigurationGroup const* group, char const* key)
{
    int line = 0;
    group->findItemLineNumber(key, line, false);
    return "Error at line number: " + std::to_string(line) + "\n";
}

// Whether the active calibration's own parameter list (its manager part, not its user parameters)
// holds a parameter of this name; for such a parameter warnMainApp stops after 0x9E3, since the
// calibration tells the host of its changes itself.
bool activeCalibrationHoldsParameter(std::string const& name)
{
    if (myActiveCalibration == nullptr)
        return false;
    for (cDriftParameter const* p :
         static_cast<cDriftParameterMgr const*>(myActiveCalibration)->GetParameters())
        if (p->is(name))
            return true;
    return false;
}
} // namespace

// ---- cConfigurationParameter -------------------------------------------------------------------

cConfigurationParameter::cConfigurationParameter(cConfigurationGroup* group, std::string const& ownerName)
    : cDriftParameter(group, ownerName)
{
    configureOrAbandon([&] { setConfiguration(group); });
}

void cConfigurationParameter::setConfiguration(cConfigurationGroup* group)
{
    m_path.clear();
    group->findItem("", "Path", m_path, false);
    m_visibleInList = true;
    group->findItem("", "Visible In List", m_visibleInList, false);
}

void cConfigurationParameter::buildFile(cConfigurationGroup* group, int mask)
{
    cDriftParameter::buildFile(group, mask);
    if (group == nullptr)
        return;
    // "Path" goes in a second time: the drift parameter wrote it already, and readers take the first.
    if ((mask & kFileKeyPath) != 0)
        group->addInformation("Path", m_path);
    if ((mask & kFileKeyVisibleInList) != 0)
        group->addInformation("Visible In List", m_visibleInList);
}

void cConfigurationParameter::warnMainApp()
{
    cParameter::warnMainApp();
    if (activeCalibrationHoldsParameter(getNameRef()))
        return;
    SendMessageA(
        getMainWndH(),
        getIsBatchConfigParameter() ? kBatchConfigurationChangedMessage : kConfigurationChangedMessage, 0, 0);
}

// ---- cCalibrationParameter ---------------------------------------------------------------------

cCalibrationParameter::cCalibrationParameter(cConfigurationGroup* group, std::string const& ownerName)
    : cConfigurationParameter(group, ownerName)
{
}

// ---- cLockableParameter ------------------------------------------------------------------------

cLockableParameter::cLockableParameter(cConfigurationGroup* group, std::string const& ownerName)
    : cCalibrationParameter(group, ownerName)
{
    configureOrAbandon([&] { setConfiguration(group); });
}

void cLockableParameter::setConfiguration(cConfigurationGroup* group)
{
    if (group->findItem("", "No Deployment Value", m_noDeploymentValue, false) == 0)
        throw cMissingNoDeploymentValueException(kSource, "cLockableParameter::setConfiguration", __LINE__,
                                                 m_name, m_path, lineText(group, "No Deployment Value"));
    if (group->findItem("", "Neutral Value", m_neutralValue, false) != 0)
        m_neutralValueDefined = true;
}

bool cLockableParameter::setRawValue(mpf_class value, bool update, bool applyLimits)
{
    // A locked parameter holds its No Deployment value even where it lies outside the limits.
    if (m_lockedOnNoDeploymentValue)
    {
        value = m_noDeploymentValue;
        applyLimits = false;
    }
    return cParameter::setRawValue(value, update, applyLimits);
}

mpf_class cLockableParameter::checkFormat(mpf_class value)
{
    if (!m_lockedOnNoDeploymentValue && value == m_noDeploymentValue &&
        isDefinitelyAbove(value, m_minimumValue) && isDefinitelyAbove(m_maximumValue, value))
        return cParameter::checkFormat(value);
    return value;
}

void cLockableParameter::lockOnNoDeploymentValue(bool lock, bool update)
{
    m_lockedOnNoDeploymentValue = lock;
    if (lock)
        setRawValue(m_noDeploymentValue, update, /*applyLimits=*/false);
}

void cLockableParameter::setToNetralValue(bool update)
{
    setRawNeutralValue(m_neutralValue, update, /*applyLimits=*/true);
}

void cLockableParameter::setRawNeutralValue(mpf_class, bool update, bool applyLimits)
{
    cParameter::setRawValue(m_neutralValue, update, applyLimits);
}

void cLockableParameter::getNoDeploymentValue(std::string& value, bool isHex, bool noDecimals) const
{
    limitToString(m_noDeploymentValue, value, isHex, noDecimals);
}

void cLockableParameter::getNeutralValue(std::string& value, bool isHex, bool noDecimals) const
{
    limitToString(m_neutralValue, value, isHex, noDecimals);
}

void cLockableParameter::getConvertedNoDeploymentValue(mpf_class& value) const
{
    value = m_noDeploymentValue * getConversionFactor();
}

void cLockableParameter::getConvertedNoDeploymentValue(std::string& value) const
{
    mpf_class converted;
    getConvertedNoDeploymentValue(converted);
    doubleToString(value, converted, m_precision);
}

void cLockableParameter::getConvertedNeutralValue(mpf_class& value) const
{
    value = m_neutralValue * getConversionFactor();
}

void cLockableParameter::getConvertedNeutralValue(std::string& value) const
{
    mpf_class converted;
    getConvertedNeutralValue(converted);
    doubleToString(value, converted, m_precision);
}

void cLockableParameter::buildFile(cConfigurationGroup* group, int mask)
{
    cConfigurationParameter::buildFile(group, mask);
    if (group == nullptr)
        return;
    if ((mask & kFileKeyNoDeploymentValue) != 0)
        group->addInformation("No Deployment Value", m_noDeploymentValue, kLockValueDecimals);
    if ((mask & kFileKeyNeutralValue) != 0)
        group->addInformation("Neutral Value", m_neutralValue, kLockValueDecimals);
    if ((mask & kFileKeyNoDeploymentLocked) != 0)
        group->addInformation("No Deployment Locked", m_lockedOnNoDeploymentValue);
}

// ---- cUnitEepromParameter ----------------------------------------------------------------------

cUnitEepromParameter::cUnitEepromParameter(cConfigurationGroup* group, std::string const& ownerName)
    : cLockableParameter(group, ownerName)
{
    configureOrAbandon([&] { setConfiguration(group); });
}

void cUnitEepromParameter::setConfiguration(cConfigurationGroup* group)
{
    m_eepromName.clear();
    m_eepromSize = 0;
    if (group->findItem("", "Eeprom Name", m_eepromName, false) == 0 || m_eepromName.empty())
        return;
    int32_t size = 0;
    if (group->findItem("", "Eeprom Size", size, false) == 0 || size < 1)
    {
        removeEepromLink();
        throw cMissingEepromData(kSource, "cUnitEepromParameter::setConfiguration", __LINE__, m_name,
                                 "Eeprom Size", lineText(group, "Eeprom Size"));
    }
    m_eepromSize = static_cast<uint32_t>(size);
}

void cUnitEepromParameter::removeEepromLink()
{
    m_eepromName.clear();
    m_eepromSize = 0;
}

void cUnitEepromParameter::buildFile(cConfigurationGroup* group, int mask)
{
    cLockableParameter::buildFile(group, mask);
    if (group == nullptr)
        return;
    if ((mask & kFileKeyEepromName) != 0)
        group->addInformation("Eeprom Name", m_eepromName);
    if ((mask & kFileKeyEepromSize) != 0)
        group->addInformation("Eeprom Size", m_eepromSize);
}

void cUnitEepromParameter::warnMainApp()
{
    cParameter::warnMainApp();
    if (getEepromSize() != 0)
        SendMessageA(getMainWndH(), kConfigurationChangedMessage, 0, 0);
}

// ---- The other leaves --------------------------------------------------------------------------

cLockableUnitConfigurationParameter::cLockableUnitConfigurationParameter(cConfigurationGroup* group,
                                                                         std::string const& ownerName)
    : cLockableParameter(group, ownerName)
{
}

cNotLockableUnitConfigurationParameter::cNotLockableUnitConfigurationParameter(cConfigurationGroup* group,
                                                                               std::string const& ownerName)
    : cCalibrationParameter(group, ownerName)
{
    configureOrAbandon([&] { setConfiguration(group); });
}

void cNotLockableUnitConfigurationParameter::setConfiguration(cConfigurationGroup* group)
{
    // Only the check: the parameter read its default already, as an equation.
    mpf_class defaultValue;
    if (group->findItem("", "Default", defaultValue, false) == 0)
        throw cMissingDefaultValueException(kSource,
                                            "cNotLockableUnitConfigurationParameter::setConfiguration",
                                            __LINE__, m_name, m_path, lineText(group, "Default"));
}

cUserEepromParameter::cUserEepromParameter(cConfigurationGroup* group, std::string const& ownerName)
    : cCalibrationParameter(group, ownerName)
{
}

// ---- HUnitEepromParam --------------------------------------------------------------------------

cLockableParameter& HUnitEepromParam::lockable(char const* function, int line) const
{
    if (m_parameter == nullptr)
        throw cNULLPointer(kSource, function, line, "The EEPROM parameter handle holds no parameter.");
    auto* const parameter = dynamic_cast<cLockableParameter*>(m_parameter);
    if (parameter == nullptr)
        throw cBadReference(kSource, function, line, m_parameter->getName() + " is not a lockable parameter");
    return *parameter;
}

mpf_class HUnitEepromParam::getNoDeploymentValue() const
{
    return lockable("HUnitEepromParam::getNoDeploymentValue", __LINE__).getNoDeploymentValue();
}

void HUnitEepromParam::setNoDeploymentValue(mpf_class const& value)
{
    lockable("HUnitEepromParam::setNoDeploymentValue", __LINE__).setNoDeploymentValue(value);
}

void HUnitEepromParam::setNeutralValue(mpf_class const& value)
{
    lockable("HUnitEepromParam::setNeutralValue", __LINE__).setNeutralValue(value);
}

mpf_class HUnitEepromParam::getNeutralValue() const
{
    return lockable("HUnitEepromParam::getNeutralValue", __LINE__).getNeutralValue();
}

void HUnitEepromParam::getNoDeploymentValue(std::string& value, bool isHex, bool noDecimals) const
{
    lockable("HUnitEepromParam::getNoDeploymentValue", __LINE__)
        .getNoDeploymentValue(value, isHex, noDecimals);
}

void HUnitEepromParam::getConvertedNoDeploymentValue(std::string& value) const
{
    lockable("HUnitEepromParam::getConvertedNoDeploymentValue", __LINE__)
        .getConvertedNoDeploymentValue(value);
}

void HUnitEepromParam::getConvertedNoDeploymentValue(mpf_class& value) const
{
    lockable("HUnitEepromParam::getConvertedNoDeploymentValue", __LINE__)
        .getConvertedNoDeploymentValue(value);
}

void HUnitEepromParam::lockOnNoDeploymentValue(bool lock, bool update)
{
    lockable("HUnitEepromParam::lockOnNoDeploymentValue", __LINE__).lockOnNoDeploymentValue(lock, update);
}
