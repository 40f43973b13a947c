#include "Host/cReferenceCalibration.h"

#include "BaseKit/cKynException.h"
#include "Host/cFrontalAlgorithm.h"
#include "SimCore/cConfigurationParameter.h"
#include "StoreKit/cCfgInputFile.h"

namespace
{
char const* const kSource = "Host/cReferenceCalibration";

std::string descriptionPath(cCalibration const& calibration)
{
    return calibration.getConfigurationFile() != nullptr ? calibration.getConfigurationFile()->getFileName()
                                                         : std::string();
}
} // namespace

cReferenceCalibration::cReferenceCalibration(std::string const& descriptionPath)
    : cCalibration(descriptionPath), m_generation(getName())
{
    if (getConfigurationFile() != nullptr)
        getConfigurationFile()->getTopGroup()->findItem("", "Algorithm Generation", m_generation, false);
    std::string missing;
    for (char const* name : sFrontalSettings::kNames)
    {
        bool found = false;
        for (cDriftParameter* parameter : GetParameters())
            found = found || parameter->getName() == name;
        if (!found)
            missing.append(missing.empty() ? "" : ", ").append(name);
    }
    if (!missing.empty())
        throw cGenericException(kSource, "cReferenceCalibration::cReferenceCalibration", __LINE__,
                                "The calibration description lacks parameters of the frontal algorithm: " +
                                    missing + "\nFile: " + descriptionPath);
}

std::string cReferenceCalibration::getAlgorithmGeneration() const
{
    return m_generation;
}

void cReferenceCalibration::generateInformation(std::vector<std::string>& lines)
{
    lines.push_back("Calibration: " + getName() + " (generation " + m_generation + ")");
    lines.push_back("Description: " + descriptionPath(*this));
    lines.push_back("Values: " +
                    (getCalibrationFile() != nullptr
                         ? getCalibrationFile()->getFileName()
                         : std::string("none, lockable parameters on their No Deployment values")));
    for (cDriftParameter* parameter : GetParameters())
    {
        std::string converted;
        std::string raw;
        parameter->getConvertedValue(converted);
        parameter->getRawValue(raw, /*isHex=*/false, /*noDecimals=*/!parameter->getIsFloat());
        std::string line = parameter->getName() + " = " + converted;
        if (!parameter->getUnit().empty())
            line.append(" ").append(parameter->getUnit());
        line.append(" (raw ").append(raw);
        std::string const cell = parameter->getEepromName();
        if (!cell.empty())
            line.append(", EEPROM ").append(cell);
        if (auto const* lockable = dynamic_cast<cLockableParameter const*>(parameter))
        {
            std::string noDeployment;
            lockable->getNoDeploymentValue(noDeployment, /*isHex=*/false, /*noDecimals=*/true);
            line.append(", No Deployment ").append(noDeployment);
            if (lockable->isLockedOnNoDeploymentValue())
                line.append(", locked");
        }
        lines.push_back(line + ")");
    }
}
