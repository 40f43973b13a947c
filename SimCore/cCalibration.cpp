#include "SimCore/cCalibration.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/GestureFlag.h"
#include "BaseKit/IHostWindow.h"
#include "BaseKit/UserMessages.h"
#include "BaseKit/cKynException.h"
#include "BaseKit/cTraceProvider.h"
#include "BaseKit/mpfClass.h"
#include "SimCore/cConfigurationParameter.h"
#include "SimCore/cProject.h"
#include "StoreKit/cAefInputFile.h"
#include "StoreKit/cBatchCalibrationConfig.h"
#include "StoreKit/cCfgInputFile.h"
#include "StoreKit/cConfigurationGroup.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <unordered_map>
#include <utility>

cCalibration* myActiveCalibration = nullptr;

namespace
{
char const* const kSource = "SimCore/cCalibration";

// Window messages to the host: the value file was replaced; the values were reloaded; the
// calibration changed as a whole.
constexpr uint32_t kCalibrationFileChangedMessage = 2194;
constexpr uint32_t kCalibrationReloadedMessage = 2532;
constexpr uint32_t kCalibrationChangedMessage = 2034;
// A merge result was injected into the calibration.
constexpr uint32_t kMergeInjectedMessage = 2190;

// The header name of value files and working copies.
char const* const kValueFileType = "Calibration";

// The keys a .cal writes for each parameter: name, converted and raw value, lock state.
constexpr int kValueFileMask = kFileKeyConvertedValue | kFileKeyRawValue | kFileKeyNoDeploymentLocked;
static_assert(kValueFileMask == 0x8000300);

// Report numbers are printed with this many decimals.
constexpr int kReportDecimals = 20;

char const* const kLoadWarningTitle = "Calibration file (.Cal) loading warning";
// The stranger report has always carried a small c; hosts and users see both spellings.
char const* const kStrangerWarningTitle = "Calibration file (.cal) loading warning";
char const* const kAefLoadWarningTitle = "EEPROM calibration file (.aef) loading warning";
char const* const kRule = "=========================================================================";

char const* const kBrothersParagraph =
    "Some other parameters in groups have been locked because their brothers were locked too,\n"
    "or were at No Deployment value (when this value is out of min-max bounds).\n"
    "They are listed below at the end :\n\n";

// The name tables of one description pass: the loaders recurse through virtual calls that cannot
// carry them, and two threads may read descriptions at once.
thread_local std::unordered_map<std::string, cDriftParameter*>* tParameterNames = nullptr;
thread_local std::unordered_map<std::string, cDriftParameter*>* tEepromNames = nullptr;

// Installs fresh name tables for the pass unless a pass of this thread already has them, and
// removes them when the pass that installed them ends, however it ends.
class cNameTablesScope
{
public:
    cNameTablesScope() : m_owner(tParameterNames == nullptr)
    {
        if (!m_owner)
            return;
        tParameterNames = &m_parameterNames;
        tEepromNames = &m_eepromNames;
    }
    cNameTablesScope(cNameTablesScope const&) = delete;
    cNameTablesScope& operator=(cNameTablesScope const&) = delete;
    ~cNameTablesScope()
    {
        if (!m_owner)
            return;
        tParameterNames = nullptr;
        tEepromNames = nullptr;
    }

private:
    bool m_owner;
    std::unordered_map<std::string, cDriftParameter*> m_parameterNames;
    std::unordered_map<std::string, cDriftParameter*> m_eepromNames;
};

// The process-wide filter of saveAefFile, made on first use.
std::unordered_set<std::string>& algosToSave()
{
    static std::unordered_set<std::string> algorithms;
    return algorithms;
}

// The project name written into saved files; empty without a project.
std::string activeProjectName()
{
    return myActiveProject != nullptr ? myActiveProject->getName() : std::string();
}

std::string reportNumber(mpf_class const& value)
{
    std::string text;
    doubleToString(text, value, kReportDecimals);
    return text;
}

std::string nameAndPath(cDriftParameter const* p)
{
    return p->getNameRef() + " (path: " + p->getPathRef() + ")";
}

mpf_class rawValueOf(cDriftParameter const* p)
{
    mpf_class value;
    p->getRawValue(value);
    return value;
}

// The line where a key stood in a group read from a file, appended to a failure about that key;
// withFile adds the file too (the description pass adds its path once for every failure).
void addOrigin(cKynException& failure, cConfigurationGroup const* group, std::string const& key,
               bool withFile)
{
    int line = 0;
    group->findItemLineNumber(key, line, false);
    failure.appendText("\n");
    failure.addLineNumber(line != 0 ? line : group->getLineNumber());
    if (withFile && !group->getSourceFile().empty())
        failure.addFileName(group->getSourceFile());
}

void sendToHost(uint32_t message)
{
    SendMessageA(getMainWndH(), message, 0, 0);
}

std::string pathKey(cDriftParameter* p)
{
    return p->getPath();
}

std::string eepromKey(cDriftParameter* p)
{
    return p->getEepromName();
}

// "<missing>...<brothers section>": the body shared by the .cal and .aef missing reports.
std::string missingReportBody(std::string const& missing, std::string const& brothers,
                              unsigned int brotherCount)
{
    std::string text;
    if (brotherCount != 0)
        text += kBrothersParagraph;
    text += missing;
    if (brotherCount != 0)
        text +=
            std::string("\n\n\n") + kRule + "\nThe following existing parameters were locked :\n" + brothers;
    return text;
}

// The name of history step `step` in directory.
std::string historyStepPath(std::string const& directory, unsigned char step)
{
    return directory + "CalibrationTemporaryUndoRedoFile" + std::to_string(static_cast<unsigned int>(step)) +
           ".cal";
}

// Removes a file if it is there; a file that cannot be removed is left, as nothing depends on its going.
void removeQuietly(std::string const& path)
{
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
}

// A raw (LSB) value as the merging window shows it: a whole number, as the parameters give theirs.
std::string rawText(mpf_class const& value)
{
    std::string text;
    doubleToString(text, value, 0);
    return text;
}

// raw times the parameter's conversion factor, at its precision.
std::string convertedText(cDriftParameter const* p, mpf_class const& raw)
{
    std::string text;
    doubleToString(text, mpf_class(raw * p->getConversionFactor()), p->getPrecisionValue());
    return text;
}
} // namespace

// ---- Construction ------------------------------------------------------------------------------

cCalibration::cCalibration(std::string const& descriptionPath)
    : cDriftParameterMgr("Parameter", "Parameters List"),
      m_userCalibrationMgr("Parameter", "User Parameters List")
{
    try
    {
        setConfiguration(descriptionPath);
    }
    catch (...)
    {
        for (cDriftParameter* p : m_unlistedUserParameters)
            cParameter::deleteInstance(p);
        throw;
    }
}

cCalibration::~cCalibration()
{
    delete m_batchConfiguration;
    delete m_calibrationFile;
    for (cDriftParameter* p : m_unlistedUserParameters)
        cParameter::deleteInstance(p);
}

void cCalibration::setConfiguration(std::string const& path)
{
    cFileConfigured::setConfiguration(path);
    cCfgInputFile* const file = getConfigurationFile();
    if (file == nullptr)
        return;
    cNameTablesScope const tables;
    try
    {
        cConfigurationGroup* const root = file->getTopGroup();
        root->findItem("", "Name", m_name, true);
        loadCalibrationDescription(root->findConfigurationGroup("Parameters List", true));
        loadUserCalibrationDescription(root->findConfigurationGroup("User Parameters List", false));
    }
    catch (cKynException& failure)
    {
        failure.addFileName(path);
        throw;
    }
}

void cCalibration::loadCalibrationDescription(cConfigurationGroup* group)
{
    char const* const function = "cCalibration::loadCalibrationDescription";
    if (group == nullptr)
        return;
    cNameTablesScope const tables;
    for (cConfigurationGroup* subGroup : group->GetConfigurationGroups())
    {
        if (subGroup->getName() != "Parameter")
        {
            loadCalibrationDescription(subGroup);
            continue;
        }
        std::string eepromName, noDeploymentValue;
        bool const hasEepromName = subGroup->findItem("", "Eeprom Name", eepromName, false) != 0;
        bool const hasNoDeploymentValue =
            subGroup->findItem("", "No Deployment Value", noDeploymentValue, false) != 0;
        cLockableParameter* lockable = nullptr;
        cConfigurationParameter* p = nullptr;
        if (hasEepromName)
            p = lockable = new cUnitEepromParameter(subGroup, m_name);
        else if (hasNoDeploymentValue)
            p = lockable = new cLockableUnitConfigurationParameter(subGroup, m_name);
        else
            p = new cNotLockableUnitConfigurationParameter(subGroup, m_name);
        try
        {
            if (lockable != nullptr)
                lockable->lockOnNoDeploymentValue(true, /*update=*/true);
            if (!tParameterNames->emplace(p->getNameRef(), p).second)
            {
                cGenericException failure(kSource, function, __LINE__,
                                          "Duplicate parameter name in calibration .cfg: " + p->getNameRef());
                addOrigin(failure, subGroup, "Name", false);
                throw failure;
            }
            // An empty name is no cell: parameters without one never collide.
            if (!eepromName.empty() && tEepromNames->count(eepromName) != 0)
            {
                cGenericException failure(kSource, function, __LINE__,
                                          "Duplicate EEPROM parameter name in calibration .cfg: " +
                                              eepromName);
                addOrigin(failure, subGroup, "Eeprom Name", false);
                throw failure;
            }
            addParameter(p);
        }
        catch (...)
        {
            cParameter::deleteInstance(p);
            throw;
        }
        if (auto* cell = dynamic_cast<cUnitEepromParameter*>(p);
            cell != nullptr && !cell->getEepromName().empty())
            tEepromNames->emplace(cell->getEepromName(), p);
        if (p->isVisibleInList() && p->getNecessaryUserRights() < m_calibrationMinimumUserRights)
            m_calibrationMinimumUserRights = p->getNecessaryUserRights();
        KYN_TRACE_GLOBAL(4, "Parameter " + p->getNameRef() + " added to calibration with value of " +
                                reportNumber(rawValueOf(p)));
    }
}

void cCalibration::loadUserCalibrationDescription(cConfigurationGroup* group)
{
    if (group == nullptr)
        return;
    // Once a duplicate is met, no later parameter of the group is added: older descriptions rely
    // on it to override the values of a list without extending it.
    bool found = false;
    for (cConfigurationGroup* subGroup : group->GetConfigurationGroups())
    {
        if (subGroup->getName() != "Parameter")
        {
            loadUserCalibrationDescription(subGroup);
            continue;
        }
        cUserEepromParameter* const fresh = new cUserEepromParameter(subGroup, m_name);
        try
        {
            for (cDriftParameter* held : m_userCalibrationMgr.GetParameters())
            {
                if (held->getNameRef() != fresh->getNameRef())
                    continue;
                found = true;
                std::string text;
                if (subGroup->findItem("", "Raw Value", text, false) != 0)
                    held->setRawValue(text, /*isHex=*/false, /*update=*/true, /*applyLimits=*/true);
                if (subGroup->findItem("", "Converted Value", text, false) != 0)
                    held->setConvertedValue(text, /*update=*/true, /*applyLimits=*/true);
            }
            if (!found)
                m_userCalibrationMgr.addParameter(fresh);
            else
                m_unlistedUserParameters.push_back(fresh);
        }
        catch (...)
        {
            cParameter::deleteInstance(fresh);
            throw;
        }
        if (fresh->isVisibleInList() && fresh->getNecessaryUserRights() < m_userCalibrationMinimumUserRights)
            m_userCalibrationMinimumUserRights = fresh->getNecessaryUserRights();
    }
}

// ---- Loading a .cal ----------------------------------------------------------------------------

void cCalibration::open(std::string const& path, bool showWarnings)
{
    cCfgInputFile* file = nullptr;
    try
    {
        file = cCfgInputFile::createFile(path.c_str(), cCfgInputFile::readMode, nullptr, false);
    }
    catch (cFstreamOpenException const&)
    {
        throw cGenericException(kSource, "cCalibration::open", __LINE__,
                                "Failed to open calibration file: " + path);
    }
    try
    {
        file->open();
        setFile(file, showWarnings);
    }
    catch (cFstreamOpenException const&)
    {
        delete file;
        throw cGenericException(kSource, "cCalibration::open", __LINE__,
                                "Failed to open calibration file: " + path);
    }
    catch (...)
    {
        delete file;
        throw;
    }
}

void cCalibration::setFile(cCfgInputFile* const file, bool showWarnings)
{
    if (file == nullptr)
        throw cNULLPointer(kSource, "cCalibration::setFile", __LINE__,
                           "KYN Error (NULL Pointer). Out of memory ?\n");
    loadCalibrationValues(file->getTopGroup()->findConfigurationGroup("Parameters List", true), showWarnings,
                          false);
    setCalibrationFile(file);
    m_aefFileLoad.clear();
}

void cCalibration::setCalibrationFile(cCfgInputFile* file)
{
    if (file != m_calibrationFile)
        delete m_calibrationFile;
    m_calibrationFile = file;
    sendToHost(kCalibrationFileChangedMessage);
}

void cCalibration::loadCalibrationValues(cConfigurationGroup* group, bool showWarnings, bool partial)
{
    char const* const function = "cCalibration::loadCalibrationValues";
    if (group == nullptr)
        throw cNULLPointer(kSource, function, __LINE__, "KYN Error (NULL Pointer). Out of memory ?\n");
    std::unordered_map<std::string, cConfigurationGroup*> fileParameters;
    fileParameters.reserve(group->GetChildCount());
    for (cConfigurationGroup* subGroup : group->GetConfigurationGroups())
    {
        std::string name;
        subGroup->findItem("", "Name", name, true);
        if (!fileParameters.emplace(name, subGroup).second)
        {
            cGenericException failure(kSource, function, __LINE__,
                                      "Duplicate parameter name in .cal: " + name);
            addOrigin(failure, subGroup, "Name", true);
            throw failure;
        }
    }
    // The locks go only once the file's names are known to be good: a refused file (a history step
    // among them) leaves every parameter as it was.
    unsigned int i = 0;
    if (!partial)
        for (cDriftParameter* p = firstParameter(i); p != nullptr; p = nextParameter(i))
            if (auto* c = dynamic_cast<cConfigurationParameter*>(p))
                c->lockOnNoDeploymentValue(false, /*update=*/true);

    std::string missing, conflicts, outOfBounds;
    unsigned int missingCount = 0, conflictCount = 0;
    std::vector<std::string> missingPaths;
    for (cDriftParameter* p = firstParameter(i); p != nullptr; p = nextParameter(i))
    {
        auto* const configuration = dynamic_cast<cConfigurationParameter*>(p);
        auto* const lockable = dynamic_cast<cLockableParameter*>(p);
        bool locked = false, hasLockKey = false, hasValue = true;
        auto const entry = fileParameters.find(p->getNameRef());
        if (entry != fileParameters.end())
        {
            cConfigurationGroup* const g = entry->second;
            if (partial && configuration != nullptr)
                configuration->lockOnNoDeploymentValue(false, /*update=*/true);
            hasLockKey = g->findItem("", "No Deployment Locked", locked, false) != 0 ||
                         g->findItem("", "High Calibration Locked", locked, false) != 0;
            mpf_class value;
            if (g->findItem("", "Raw Value", value, false) != 0 ||
                g->findItem("", "LSB Value", value, false) != 0)
                p->setRawValue(value, /*update=*/true, /*applyLimits=*/false);
            else if (g->findItem("", "Converted Value", value, false) != 0 ||
                     g->findItem("", "Value", value, false) != 0)
                p->setConvertedValue(value, /*update=*/true, /*applyLimits=*/false);
            else
                hasValue = false;
            mpf_class const raw = rawValueOf(p);
            bool const outside = raw < p->getMinimumValue() || raw > p->getMaximumValue();
            std::string const boundsLine = nameAndPath(p) + " set to " + reportNumber(raw) +
                                           " LSB, even if outside of the defined bounds " +
                                           reportNumber(p->getMinimumValue()) + " and " +
                                           reportNumber(p->getMaximumValue()) + " in LSB.\n";
            if (hasLockKey)
            {
                if (configuration != nullptr)
                    configuration->lockOnNoDeploymentValue(locked, /*update=*/true);
                if (lockable != nullptr && raw != lockable->getNoDeploymentValue())
                {
                    if (locked)
                    {
                        conflicts += nameAndPath(p) + " not set to " + reportNumber(raw) +
                                     " LSB, as it is locked to " +
                                     reportNumber(lockable->getNoDeploymentValue()) + " LSB.\n";
                        ++conflictCount;
                    }
                    else if (outside)
                        outOfBounds += boundsLine;
                }
            }
            else if (hasValue && outside)
                outOfBounds += boundsLine;
            // The bounds text is gathered and deliberately not shown: the load reports that hosts and
            // engineers know have never included it.
        }
        if (!partial && (entry == fileParameters.end() || !hasValue))
        {
            if (missingCount != 0)
                missing += "\n";
            missing += nameAndPath(p);
            ++missingCount;
            if (std::find(missingPaths.begin(), missingPaths.end(), p->getPathRef()) == missingPaths.end())
                missingPaths.push_back(p->getPathRef());
            if (lockable != nullptr)
                lockable->lockOnNoDeploymentValue(true, /*update=*/true);
            else
                p->setRawValue(p->getDefaultValue(), /*update=*/true, /*applyLimits=*/true);
        }
    }

    if (missingCount != 0)
    {
        unsigned int brotherCount = 0;
        std::string const brothers = lockBrothers(missingPaths, &pathKey, brotherCount);
        if (showWarnings)
            displayScrollMessage(
                kLoadWarningTitle,
                std::string("The following parameters (or their values) are missing in the loaded "
                            "file") +
                    "\nThey have been locked at No Deployment value or set to default value:\n\n" +
                    missingReportBody(missing, brothers, brotherCount),
                0);
    }
    if (showWarnings && conflictCount != 0)
        displayScrollMessage(
            kLoadWarningTitle,
            "One or more locked parameters in the file you are loading\nhave not the same value as "
            "the No Deployment Value defined in the project.\nThe project No Deployment Values will "
            "be set for these parameters : \n\n" +
                conflicts,
            0);

    std::string strangers;
    unsigned int strangerCount = 0;
    for (cConfigurationGroup* subGroup : group->GetConfigurationGroups())
    {
        std::string name;
        if (subGroup->findItem("", "Name", name, false) == 0)
            continue;
        bool known = false;
        for (cDriftParameter* p : GetParameters())
            known = known || p->is(name);
        if (!known)
        {
            strangers += name + "\n";
            ++strangerCount;
        }
    }
    if (showWarnings && strangerCount != 0)
        displayScrollMessage(
            kStrangerWarningTitle,
            "The following parameters found in the .cal file do not exist in the project. They "
            "were ignored :\n\n" +
                strangers,
            0);
    sendToHost(kCalibrationReloadedMessage);
    sendToHost(kCalibrationChangedMessage);
}

std::string cCalibration::lockBrothers(std::vector<std::string> const& keys,
                                       std::string (*keyOf)(cDriftParameter*), unsigned int& count)
{
    std::string lines;
    for (std::string const& key : keys)
    {
        bool vetoed = false;
        for (cDriftParameter* p : GetParameters())
        {
            auto* const lockable = dynamic_cast<cLockableParameter*>(p);
            if (lockable == nullptr || keyOf(p) != key)
                continue;
            mpf_class const noDeployment = lockable->getNoDeploymentValue();
            // A No Deployment value above both bounds marks a parameter the engineer keeps out of
            // the way on purpose: its brothers are left as the file set them.
            if (!lockable->isLockedOnNoDeploymentValue() ||
                (rawValueOf(p) == noDeployment && isDefinitelyAbove(noDeployment, p->getMinimumValue()) &&
                 isDefinitelyAbove(noDeployment, p->getMaximumValue())))
            {
                vetoed = true;
                break;
            }
        }
        if (vetoed)
            continue;
        // Every parameter of the group that is not locked, lockable or not:
        // the list tells the engineer which members the rule went over.
        for (cDriftParameter* p : GetParameters())
        {
            auto* const configuration = dynamic_cast<cConfigurationParameter*>(p);
            if (configuration == nullptr || keyOf(p) != key || configuration->isLockedOnNoDeploymentValue())
                continue;
            configuration->lockOnNoDeploymentValue(true, /*update=*/true);
            ++count;
            lines += nameAndPath(p) + "\n";
        }
    }
    return lines;
}

// ---- Batch mode --------------------------------------------------------------------------------

namespace
{
// What the list of batch parameters shows of each: unit, maximum, minimum, raw value and lock.
constexpr int kBatchListMask = kFileKeyUnit | kFileKeyMaximumValue | kFileKeyMinimumValue | kFileKeyRawValue |
                               kFileKeyNoDeploymentLocked;
static_assert(kBatchListMask == 0x8000232);
// What a run's file holds of a batch parameter that does not vary: raw value and lock.
constexpr int kBatchFixedMask = kFileKeyRawValue | kFileKeyNoDeploymentLocked;
static_assert(kBatchFixedMask == 0x8000200);

// A parameter with an EEPROM cell never takes part in a batch: its value belongs to the unit.
bool mayEnterBatch(cDriftParameter* p)
{
    return p->getEepromName().empty() && p->getIsBatchConfigParameter();
}
} // namespace

cConfigurationGroup* cCalibration::fillListOfBatchConfigParams()
{
    auto list = std::make_unique<cConfigurationGroup>("Parameters List");
    delete m_batchConfiguration;
    m_batchConfiguration = nullptr;
    m_batchConfiguration = new cBatchCalibrationConfig("Parameters List");
    m_existBatchConfigParams = false;
    unsigned int i = 0;
    for (cDriftParameter* p = firstParameter(i); p != nullptr; p = nextParameter(i))
    {
        if (!mayEnterBatch(p) || !p->getIsBatchCombineParameter())
            continue;
        auto parameter = std::make_unique<cConfigurationGroup>("Parameter");
        sParameterMgrTraits<cDriftParameter>::buildFile(p, parameter.get(), kBatchListMask);
        list->addConfigurationGroup(parameter.release());
        m_existBatchConfigParams = true;
    }
    return list.release();
}

unsigned int cCalibration::buildCombinationsForBatchMode(cStorage<cConfigurationGroup*> groups,
                                                         stParamCombinations* const combinations)
{
    unsigned int result = 1;
    if (!groups.empty())
    {
        if (combinations == nullptr)
            throw cNULLPointer(kSource, "cCalibration::buildCombinationsForBatchMode", __LINE__,
                               "KYN Error (NULL Pointer). Out of memory ?\n");
        if (m_batchConfiguration == nullptr)
            m_batchConfiguration = new cBatchCalibrationConfig("Parameters List");
        try
        {
            for (unsigned int g = 0; g < groups.size(); ++g)
                result *=
                    m_batchConfiguration->setCombinationInformationAndGroups(groups[g], combinations[g]);
            m_batchConfiguration->computeCombinationsMap();
        }
        catch (cKynException const&)
        {
            // Half a batch is no batch: the host starts again from nothing.
            m_batchConfiguration->clearCombinationInformation();
            throw;
        }
    }
    // The list never owned the groups: only its memory goes.
    groups.freeMemory();
    return result;
}

void cCalibration::clearCombinationInformation()
{
    if (m_batchConfiguration != nullptr)
        m_batchConfiguration->clearCombinationInformation();
}

std::string cCalibration::getBatchParamsCombinationName(unsigned int combination)
{
    std::string name;
    if (m_batchConfiguration == nullptr)
        return name;
    for (unsigned int i = 0; i < m_batchConfiguration->getParameterCount(); ++i)
    {
        name += m_batchConfiguration->getInitialsOfParameter(i);
        name += cBatchCalibrationConfig::valueText(
            m_batchConfiguration->getCurrentValueOfParameters(combination, i));
        // The separator stays after the last value too: run names of older studies end with it.
        name += "_";
    }
    return name;
}

void cCalibration::buildFileForBatchMode(cConfigurationGroup* group, unsigned int combination)
{
    if (group == nullptr)
        throw cNULLPointer(kSource, "cCalibration::buildFileForBatchMode", __LINE__,
                           "KYN Error (NULL Pointer). Out of memory ?\n");
    group->clear();
    auto list = std::make_unique<cConfigurationGroup>("Parameters List");
    unsigned int i = 0;
    for (cDriftParameter* p = firstParameter(i); p != nullptr; p = nextParameter(i))
    {
        if (!mayEnterBatch(p))
            continue;
        auto parameter = std::make_unique<cConfigurationGroup>("Parameter");
        if (m_batchConfiguration != nullptr &&
            m_batchConfiguration->isBatchConfigurationParameter(p->getNameRef()))
            m_batchConfiguration->getGroupFromCombinationMap(parameter.get(), p->getNameRef(), combination);
        else
            sParameterMgrTraits<cDriftParameter>::buildFile(p, parameter.get(), kBatchFixedMask);
        list->addConfigurationGroup(parameter.release());
    }
    group->addConfigurationGroup(list.release());
}

void cCalibration::loadFileForBatchMode(cConfigurationGroup* group)
{
    if (group == nullptr)
        throw cBatchModeLoadingFailedException(kSource, "cCalibration::loadFileForBatchMode", __LINE__,
                                               "Calibration minor change description is missing");
    loadCalibrationValues(group->findConfigurationGroup("Parameters List", true), /*showWarnings=*/true,
                          /*partial=*/true);
}

// ---- Loading an .aef ---------------------------------------------------------------------------

void cCalibration::openAefFile(std::string const& path)
{
    char const* const function = "cCalibration::openAefFile";
    std::unique_ptr<cAefInputFile> file(cAefInputFile::createFile(path.c_str(), cCfgInputFile::readMode));
    file->open();
    cConfigurationGroup* const cells =
        file->getTopGroup()->findConfigurationGroup(cAefInputFile::paramGroupName, true);
    {
        std::unordered_map<std::string, int> seen;
        seen.reserve(cells->nbOfInformation());
        for (sInformationItem const& item : cells->getInformationRange())
        {
            if (!seen.emplace(item.key, item.lineNumber).second)
            {
                cGenericException failure(kSource, function, __LINE__,
                                          "Duplicate EEPROM name in .aef: " + item.key);
                failure.appendText("\n");
                failure.addLineNumber(item.lineNumber);
                failure.addFileName(path);
                throw failure;
            }
        }
    }

    std::vector<std::string> failedNames;
    std::string missing;
    unsigned int missingCount = 0;
    unsigned int i = 0;
    for (cDriftParameter* p = firstParameter(i); p != nullptr; p = nextParameter(i))
    {
        std::string const eepromName = p->getEepromName();
        auto* const cell = dynamic_cast<cUnitEepromParameter*>(p);
        if (eepromName.empty() || cell == nullptr)
            continue;
        try
        {
            unsigned char const size = static_cast<unsigned char>(cell->getEepromSize());
            bool const isUnsigned = p->getMinimumValue() >= 0;
            cell->lockOnNoDeploymentValue(false, /*update=*/true);
            mpf_class const value = file->getItemValue(eepromName, size, isUnsigned, p->getMinimumValue(),
                                                       p->getMaximumValue(), nullptr);
            p->setRawValue(value, /*update=*/true, /*applyLimits=*/false);
        }
        catch (cKynException const&)
        {
            failedNames.push_back(eepromName);
            if (missingCount != 0)
                missing += "\n";
            missing += eepromName + " : parameter \"" + p->getNameRef() + "\" won't be updated.";
            ++missingCount;
        }
    }
    if (missingCount != 0)
    {
        unsigned int brotherCount = 0;
        std::string const brothers = lockBrothers(failedNames, &eepromKey, brotherCount);
        displayScrollMessage(kAefLoadWarningTitle,
                             "The following parameters (or their values) are missing in the file (" + path +
                                 ").\n\n" + missingReportBody(missing, brothers, brotherCount),
                             0);
    }

    std::string strangers;
    unsigned int strangerCount = 0;
    for (sInformationItem const& item : cells->getInformationRange())
    {
        bool known = false;
        for (cDriftParameter* p : GetParameters())
            known = known || p->getEepromName() == item.key;
        if (!known)
        {
            strangers += item.key + "\n";
            ++strangerCount;
        }
    }
    if (strangerCount != 0)
        displayScrollMessage(
            kAefLoadWarningTitle,
            "The following EEPROM parameter names found in the .aef file do not exist in the "
            "project. They were ignored :\n\n" +
                strangers,
            0);
    setCalibrationFile(file.release());
    setIsAefFileLoad(path);
    sendToHost(kCalibrationReloadedMessage);
    sendToHost(kCalibrationChangedMessage);
}

// ---- Saving ------------------------------------------------------------------------------------

void cCalibration::save(std::string comment, std::string const& path, bool keepCurrentFile,
                        bool keepCurrentFile2)
{
    saveSettings(std::move(comment), path, false, keepCurrentFile, keepCurrentFile2);
}

void cCalibration::saveSettings(std::string comment, std::string const& path, bool saveOption,
                                bool keepCurrentFile, bool keepCurrentFile2)
{
    char const* const function = "cCalibration::saveSettings";
    std::string target = path;
    if (target.empty())
    {
        if (m_calibrationFile == nullptr)
            throw cNULLPointer(kSource, function, __LINE__, "KYN Error (NULL Pointer). Out of memory ?\n");
        if (!m_calibrationFile->isWritable())
            refuseLockedFile(*m_calibrationFile, kSource, function, __LINE__);
        std::string const& name = m_calibrationFile->getFileName();
        if (GetExtension(name.c_str()) == "cal")
        {
            buildFile(m_calibrationFile, name, "", "");
            m_calibrationFile->save(saveOption, comment, activeProjectName());
            return;
        }
        // The values came from an .aef: they go to the .cal beside it.
        target = m_calibrationFile->getDirectory() + m_calibrationFile->extractName() + ".cal";
    }
    std::unique_ptr<cCfgInputFile> file(
        cCfgInputFile::createFile(target.c_str(), cCfgInputFile::writeMode, "Calibration", false));
    buildFile(file.get(), target, "", "");
    file->save(saveOption, comment, activeProjectName());
    if (!keepCurrentFile && !keepCurrentFile2)
    {
        setFile(file.get(), /*showWarnings=*/true);
        file.release();
    }
}

void cCalibration::buildFile(cCfgInputFile* file, std::string const& name, std::string const& tab,
                             std::string const& item)
{
    cConfigurationGroup* const root = file->getTopGroup();
    root->clear();
    root->addInformation("Name", name);
    root->addInformation("Algo Tab Selected", tab);
    root->addInformation("Item Selected", item);
    cGlobalMgr<cDriftParameter>::buildFile(root, kValueFileMask);
    m_userCalibrationMgr.buildFile(root, kValueFileMask);
}

bool cCalibration::saveAefFile(std::string comment, std::string const& path)
{
    std::string target = path;
    if (target.empty())
    {
        if (m_calibrationFile == nullptr)
            throw cNULLPointer(kSource, "cCalibration::saveAefFile", __LINE__, "cCalibration::saveAefFile()");
        target = m_calibrationFile->getDirectory() + m_calibrationFile->extractName() + ".aef";
    }
    std::unique_ptr<cAefInputFile> file(cAefInputFile::createFile(target.c_str(), cCfgInputFile::writeMode));
    file->addCalibrationName(m_calibrationFile != nullptr ? m_calibrationFile->getFileName() : m_name);
    std::string warning = std::string("The following parameters are FLOAT") + "\n" + kRule + "\n";
    file->clearFloatParameters();
    std::unordered_set<std::string> const& algorithms = algosToSave();
    unsigned int i = 0;
    for (cDriftParameter* p = firstParameter(i); p != nullptr; p = nextParameter(i))
    {
        std::string const eepromName = p->getEepromName();
        auto* const cell = dynamic_cast<cUnitEepromParameter*>(p);
        if (eepromName.empty() || cell == nullptr)
            continue;
        if (!algorithms.empty() && algorithms.count(p->getAlgoFromPath()) == 0)
            continue;
        if (p->getIsFloat())
        {
            file->addFloatParameter(eepromName);
            warning += eepromName + "\n";
        }
        // Half away from zero; 0 goes to -0.5 and truncates back to 0.
        mpf_class rounded = rawValueOf(p);
        rounded = rounded > 0 ? mpf_class(rounded + 0.5) : mpf_class(rounded - 0.5);
        rounded = trunc(rounded);
        file->addItem(eepromName, rounded, static_cast<unsigned char>(cell->getEepromSize()));
    }
    warning += kRule;
    if (!file->getFloatParameters().empty())
        displayScrollMessage("Calibration file (.aef) saving warning", warning, 0);
    int const result = file->save(comment, activeProjectName());
    std::string const name = file->getFileName();
    setCalibrationFile(file.release());
    setIsAefFileLoad(name);
    sendToHost(kCalibrationChangedMessage);
    return result == 1;
}

void cCalibration::setAlgosToSave(std::unordered_set<std::string> algorithms)
{
    algosToSave().swap(algorithms);
}

void cCalibration::unlockNoDeployment()
{
    unsigned int i = 0;
    for (cDriftParameter* p = firstParameter(i); p != nullptr; p = nextParameter(i))
        if (auto* c = dynamic_cast<cConfigurationParameter*>(p))
            c->lockOnNoDeploymentValue(false, /*update=*/true);
}

// ---- Working copy and history ------------------------------------------------------------------

void cCalibration::saveTmpFile(std::string, std::string const& directory, std::string fileComment,
                               unsigned char& currentStep, unsigned char& redoCount, std::string algoTab,
                               std::string item)
{
    std::string const temporaryPath =
        directory + (m_calibrationFile != nullptr ? m_calibrationFile->extractName() : "DefaultCalTmpFile") +
        ".caltemp";
    // The file a failure is about: the working copy, then the history step being written.
    std::string failingPath = temporaryPath;
    try
    {
        removeQuietly(temporaryPath);
        std::unique_ptr<cCfgInputFile> file(cCfgInputFile::createFile(
            temporaryPath.c_str(), cCfgInputFile::writeMode, kValueFileType, false));
        buildFile(file.get(), temporaryPath, algoTab, item.empty() ? "Default" : item);
        file->save(fileComment, activeProjectName());

        bool const gestureEnded = isLButtonUp();
        if (currentStep == 0 && redoCount == 0 && !gestureEnded)
        {
            // A new edit run: the history of an earlier one goes. Step 0 is rewritten below.
            for (unsigned int step = 1; step <= 254; ++step)
                removeQuietly(historyStepPath(directory, static_cast<unsigned char>(step)));
            // The host's own files of the run, which it writes beside the history.
            for (char const* name :
                 {"ActualGVTStatusFile.sts", "TemporaryGVTStatusFile.sts", "TemporaryAlgoFile.cfg"})
                removeQuietly(directory + name);
        }
        if (redoCount != 0 && gestureEnded)
        {
            // A new edit after an undo: what could have been redone is gone.
            for (unsigned int k = 0; k < redoCount; ++k)
                removeQuietly(historyStepPath(directory, static_cast<unsigned char>(currentStep + k)));
            redoCount = 0;
        }
        if (redoCount == 0 && (gestureEnded || currentStep == 0))
        {
            if (currentStep == 1 && gestureEnded)
            {
                // Step 0 was written before the item being edited was known: undoing back to it
                // shows that item.
                failingPath = historyStepPath(directory, 0);
                file.reset(
                    cCfgInputFile::createFile(failingPath.c_str(), cCfgInputFile::readMode, nullptr, false));
                file->open();
                file->getTopGroup()->setInformationValue("Item Selected", item);
                file->save(fileComment, activeProjectName());
            }
            failingPath = historyStepPath(directory, currentStep);
            cGlobalFile::copyFile(temporaryPath, failingPath);
            ++currentStep;
            redoCount = 0;
            setLButtonUp(false);
        }
    }
    catch (cFstreamOpenException const&)
    {
        // Editing goes on without a working copy; the engineer is told why.
        doErrorMessage("Unable to create the temporary calibration file:\n" + failingPath +
                       "\nCheck user writing rights or available space on the drive.");
    }
}

void cCalibration::openTmpFile(std::string const& path, std::string& algoTab, std::string& item,
                               unsigned char undoStep, unsigned char redoStep)
{
    std::unique_ptr<cCfgInputFile> file(
        cCfgInputFile::createFile(path.c_str(), cCfgInputFile::readMode, nullptr, false));
    file->open();
    cConfigurationGroup* const root = file->getTopGroup();
    root->findItem("", "Algo Tab Selected", algoTab, false);
    root->findItem("", "Item Selected", item, false);
    cConfigurationGroup* const values = root->findConfigurationGroup("Parameters List", true);
    // A step refused halfway (a value that is no number) puts every parameter back as it was, so that
    // the engineer never works on a mix of two steps.
    struct sHeld
    {
        cDriftParameter* parameter;
        mpf_class raw;
        bool locked;
    };
    std::vector<sHeld> held;
    for (cDriftParameterMgr* manager : {static_cast<cDriftParameterMgr*>(this), &m_userCalibrationMgr})
        for (cDriftParameter* p : manager->GetParameters())
        {
            auto* const configuration = dynamic_cast<cConfigurationParameter*>(p);
            held.push_back(
                {p, rawValueOf(p), configuration != nullptr && configuration->isLockedOnNoDeploymentValue()});
        }
    try
    {
        // Stepping through the history would repeat the reports of the first load at every step.
        loadCalibrationValues(values, undoStep == 0 && redoStep == 0, false);
        loadUserCalibrationDescription(root->findConfigurationGroup("User Parameters List", false));
    }
    catch (...)
    {
        for (sHeld const& h : held)
        {
            auto* const configuration = dynamic_cast<cConfigurationParameter*>(h.parameter);
            if (configuration != nullptr)
                configuration->lockOnNoDeploymentValue(false, /*update=*/false);
            h.parameter->setRawValue(h.raw, /*update=*/true, /*applyLimits=*/false);
            if (configuration != nullptr && h.locked)
                configuration->lockOnNoDeploymentValue(true, /*update=*/true);
        }
        throw;
    }
}

// ---- Merging -----------------------------------------------------------------------------------

bool cCalibration::openFileForMerge(std::string path)
{
    if (path.empty())
        return false;
    std::string extension = GetExtension(path.c_str());
    toLower(extension);
    if (extension != "cal" && extension != "aef")
    {
        doErrorMessage("Wrong extension, file not loaded.");
        return false;
    }
    deleteAllMergeItems();
    for (cDriftParameter* p : GetParameters())
    {
        auto record = std::make_unique<sMergedItem>();
        record->name = p->getName();
        p->getConvertedValue(record->projectConvertedValue);
        record->resultConvertedValue = record->projectConvertedValue;
        p->getRawValue(record->projectRawValue, /*isHex=*/false, /*noDecimals=*/true);
        record->resultRawValue = record->projectRawValue;
        record->unit = p->getUnit();
        record->parameter = p;
        record->foundInFile = false;
        if (auto* const configuration = dynamic_cast<cConfigurationParameter*>(p))
        {
            record->path = p->getPath();
            record->lockedInProject = configuration->isLockedOnNoDeploymentValue();
        }
        record->fileRawValue = record->projectRawValue;
        addMergedItem(record.release());
    }
    return extension == "cal" ? openCalFileForMerge(path) : openAefFileForMerge(path);
}

bool cCalibration::openCalFileForMerge(std::string const& path)
{
    std::unique_ptr<cCfgInputFile> file(
        cCfgInputFile::createFile(path.c_str(), cCfgInputFile::readMode, nullptr, true));
    file->open();
    cConfigurationGroup* const values = file->getTopGroup()->findConfigurationGroup("Parameters List", true);
    std::vector<cConfigurationGroup*> const groups = values->GetConfigurationGroups();
    std::string conflicts;
    unsigned int conflictCount = 0;
    for (unsigned int i = 0; sMergedItem* record = getMergedItem(i); ++i)
    {
        cDriftParameter* const p = record->parameter;
        for (cConfigurationGroup* g : groups)
        {
            std::string name;
            g->findItem("", "Name", name, false);
            if (name != record->name)
                continue;
            bool const hasLockKey =
                g->findItem("", "No Deployment Locked", record->lockedInFile, false) != 0 ||
                g->findItem("", "High Calibration Locked", record->lockedInFile, false) != 0;
            mpf_class value;
            if (g->findItem("", "Raw Value", value, false) != 0 ||
                g->findItem("", "LSB Value", value, false) != 0)
            {
                record->fileRawValue = rawText(value);
                record->fileConvertedValue = convertedText(p, value);
                record->foundInFile = true;
            }
            else if (g->findItem("", "Converted Value", value, false) != 0 ||
                     g->findItem("", "Value", value, false) != 0)
            {
                mpf_class const factor = p->getConversionFactor();
                if (factor == 0)
                    throw cInvalidConversionFactorException(
                        kSource, "cCalibration::openCalFileForMerge", __LINE__, factor,
                        "Parameter \"" + p->getNameRef() + "\" cannot take a converted value.\n");
                record->fileRawValue = rawText(mpf_class(value / factor));
                // The converted value multiplied once more: the merging window has always shown this
                // product for files that give converted values, and engineers read it so.
                record->fileConvertedValue = convertedText(p, value);
                record->foundInFile = true;
            }
            auto* const lockable = dynamic_cast<cLockableParameter*>(p);
            if (hasLockKey && record->lockedInFile && lockable != nullptr)
            {
                std::string noDeployment;
                lockable->getNoDeploymentValue(noDeployment, /*isHex=*/false, /*noDecimals=*/true);
                if (noDeployment != record->fileRawValue)
                {
                    conflicts += nameAndPath(p) + " not set to " + record->fileRawValue +
                                 " LSB, as it is locked to " + noDeployment + " LSB.\n";
                    ++conflictCount;
                    record->fileRawValue = noDeployment;
                }
            }
            break;
        }
    }

    std::string strangers;
    for (cConfigurationGroup* g : groups)
    {
        std::string name;
        if (g->findItem("", "Name", name, false) == 0)
            continue;
        bool known = false;
        for (cDriftParameter* p : GetParameters())
            known = known || p->is(name);
        if (!known)
            strangers += name + "\n";
    }
    if (!strangers.empty())
        displayScrollMessage("Merging tool - Calibration file (.cal) loading warning",
                             "The following parameters found in the .cal file do not exist in the project. "
                             "They were ignored :\n\n" +
                                 strangers,
                             0);
    if (conflictCount != 0)
        displayScrollMessage(
            "Merging tool - Calibration file (.Cal) loading warning",
            std::string("One or more locked parameters in the file you are loading\n") +
                "have not the same value as the No Deployment Value defined in the project.\n" +
                "The project No Deployment Values will be loaded for these parameters : \n\n" + conflicts,
            0);
    return true;
}

bool cCalibration::openAefFileForMerge(std::string const& path)
{
    std::unique_ptr<cAefInputFile> file(cAefInputFile::createFile(path.c_str(), cCfgInputFile::readMode));
    file->open();
    for (unsigned int i = 0; sMergedItem* record = getMergedItem(i); ++i)
    {
        cDriftParameter* const p = record->parameter;
        auto* const cell = dynamic_cast<cUnitEepromParameter*>(p);
        std::string const eepromName = p->getEepromName();
        if (eepromName.empty() || cell == nullptr)
            continue;
        bool const isUnsigned = p->getMinimumValue() >= 0;
        // With a code the reader does not throw: a cell it cannot read shows as 0 in the window.
        unsigned int errorCode = 0;
        mpf_class const read =
            file->getItemValue(eepromName, static_cast<unsigned char>(cell->getEepromSize()), isUnsigned,
                               p->getMinimumValue(), p->getMaximumValue(), &errorCode);
        // A cell holds a whole number of its sign; long is 64 bits here, as wide as the largest cell.
        mpf_class const value = isUnsigned
                                    ? mpf_class(static_cast<unsigned long>(mpfToUnsignedLongLong(read)))
                                    : mpf_class(static_cast<long>(mpfToLongLong(read)));
        record->fileRawValue = rawText(value);
        record->fileConvertedValue = convertedText(p, value);
        record->foundInFile = true;
    }
    std::string strangers;
    for (sInformationItem const& item : file->getTopGroup()
                                            ->findConfigurationGroup(cAefInputFile::paramGroupName, true)
                                            ->getInformationRange())
    {
        bool known = false;
        for (cDriftParameter* p : GetParameters())
            known = known || p->getEepromName() == item.key;
        if (!known)
            strangers += item.key + "\n";
    }
    if (!strangers.empty())
        displayScrollMessage("Merging tool - EEPROM file (.aef) loading warning",
                             "The following parameters found in the .aef file do not exist in the project. "
                             "They were ignored :\n\n" +
                                 strangers,
                             0);
    return true;
}

std::string cCalibration::checkFormat(std::string value, sMergedItem* item)
{
    if (item == nullptr || item->parameter == nullptr)
        return std::string();
    return rawText(item->parameter->checkFormat(convertStringToDouble(value)));
}

bool cCalibration::injectMergeResultInCurrentProject(bool askConfirmation)
{
    if (askConfirmation &&
        doYesNoQuestion("Are you sure you want to inject the merge result in the project?", kIdNo) != kIdYes)
        return false;
    // Every result is read before the first is applied: a bad text leaves the project as it was.
    std::vector<mpf_class> results;
    for (unsigned int i = 0; sMergedItem* record = getMergedItem(i); ++i)
    {
        try
        {
            results.push_back(convertStringToDouble(record->resultRawValue));
        }
        catch (cKynException const&)
        {
            throw cGenericException(kSource, "cCalibration::injectMergeResultInCurrentProject", __LINE__,
                                    "Invalid result raw value of " + record->name + ": \"" +
                                        record->resultRawValue + "\"");
        }
    }
    for (unsigned int i = 0; sMergedItem* record = getMergedItem(i); ++i)
    {
        cDriftParameter* const p = record->parameter;
        auto* const configuration = dynamic_cast<cConfigurationParameter*>(p);
        bool const locked = configuration != nullptr && configuration->isLockedOnNoDeploymentValue();
        if (!record->lockedInResult)
        {
            if (locked)
                configuration->lockOnNoDeploymentValue(false, /*update=*/false);
            // No dependency runs yet: the parameters it reads may not hold their results.
            p->setRawValue(results[i], /*update=*/false, /*applyLimits=*/false);
        }
        else if (configuration != nullptr && !locked)
            configuration->lockOnNoDeploymentValue(true, /*update=*/false);
    }
    // Every parameter set again, now with its dependencies, once all hold their final values.
    for (cDriftParameter* p : GetParameters())
        p->setRawValue(rawValueOf(p), /*update=*/true, /*applyLimits=*/false);
    bool changed = false;
    for (unsigned int i = 0; sMergedItem* record = getMergedItem(i); ++i)
    {
        record->parameter->getRawValue(record->projectRawValue, /*isHex=*/false, /*noDecimals=*/true);
        changed = changed || record->projectRawValue != record->resultRawValue;
    }
    if (changed)
        doWarningMessage("The dependencies between parameters have changed some values.\nThe differences are "
                         "visible in the merging tool window.");
    sendToHost(kMergeInjectedMessage);
    sendToHost(kCalibrationReloadedMessage);
    return true;
}

void cCalibration::addInformationItem(cStorage<InformationItem*>& items, std::string label, std::string value)
{
    auto item = std::make_unique<InformationItem>(InformationItem{std::move(label), std::move(value)});
    items.add(item.get());
    item.release();
}

void cCalibration::generateInformation(std::vector<std::string>&) {}

void cCalibration::generateConfigurationInformation(cStorage<InformationItem*>&) {}

void cCalibration::generateDisplayInformation(cStorage<InformationItem*>&) {}

// ---- File dialogs ------------------------------------------------------------------------------

std::string cCalibration::getDefaultExtension(unsigned char kind)
{
    switch (kind)
    {
    case 2:
        return "aef";
    case 3:
        return "caltemp";
    default:
        return "cal";
    }
}

std::string cCalibration::getFileFilter(unsigned char kind)
{
    switch (kind)
    {
    case 1:
        return "Calibration Files (*.cal)|*.cal|All Files (*.*)|*.*||";
    case 2:
        return "EEPROM Files (*.aef)|*.aef|All Files (*.*)|*.*||";
    case 3:
        return "Temporary Calibration Files (*.caltemp)|*.caltemp|All Files (*.*)|*.*||";
    default:
        return "Calibration Files (*.cal;*.aef)|*.cal; *.aef|Calibration Files (*.cal)|*.cal|EEPROM Files "
               "(*.aef)|*.aef|All Files (*.*)|*.*||";
    }
}
