#include "SimCore/cKynFileList.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/UserMessages.h"
#include "BaseKit/cKynException.h"
#include "SimCore/cChannel.h"
#include "SimCore/cKynFile.h"
#include "SimCore/cProject.h"
#include "StoreKit/cCfgInputFile.h"
#include "StoreKit/cConfigurationGroup.h"
#include "StoreKit/cInputFile.h"

#include <algorithm>
#include <functional>
#include <memory>

cKynFileList* myActiveFileList = nullptr;

namespace
{
char const* const kSource = "SimCore/cKynFileList";
// The stream mode of a crash recording: input and binary.
int const kCrashFileMode = 0x21;

// The short name of the active preprocessing set's file; empty without a set or a file, and then
// the units rule finds nothing.
std::string activePreprocessingShortName()
{
    cCfgInputFile const* const file =
        myActivePreprocessing != nullptr ? myActivePreprocessing->getConfigurationFile() : nullptr;
    return file != nullptr ? getShortName(file->getFileName()) : std::string();
}

// The name of the active project, written into the list file.
std::string activeProjectName()
{
    return myActiveProject != nullptr ? myActiveProject->getName() : std::string();
}
} // namespace

cKynFileList::cKynFileList() = default;

cKynFileList::cKynFileList(cCfgInputFile* crashMappingFile, std::string const& path)
{
    setConfiguration(path, crashMappingFile, true);
}

cKynFileList::~cKynFileList()
{
    removeAllFiles();
}

cKynFile* cKynFileList::addFile(char const* path, cCfgInputFile* crashMappingFile)
{
    return append(new cKynFile(path, kCrashFileMode, crashMappingFile));
}

cKynFile* cKynFileList::addFile(cInputFile* recording)
{
    std::unique_ptr<cInputFile> owned(recording);
    // The memory of the file is taken before release() runs: if that fails, `owned` still deletes the
    // recording; from release() on, the constructor does so on its own failure.
    return append(new cKynFile(owned.release()));
}

cKynFile* cKynFileList::append(cKynFile* file)
{
    try
    {
        m_files.add(file);
    }
    catch (...)
    {
        delete file;
        throw;
    }
    return file;
}

cKynFile* cKynFileList::fromUsed(unsigned int& cursor) const
{
    unsigned int const count = m_files.size();
    while (cursor < count && !m_files[cursor]->isUsedFile())
        ++cursor;
    return cursor < count ? m_files[cursor] : nullptr;
}

cKynFile* cKynFileList::firstUsedFile(unsigned int& cursor) const
{
    cursor = 0;
    return fromUsed(cursor);
}

cKynFile* cKynFileList::nextUsedFile(unsigned int& cursor) const
{
    if (cursor < m_files.size())
        ++cursor;
    return fromUsed(cursor);
}

unsigned int cKynFileList::getUsedFileNumber() const
{
    unsigned int count = 0;
    for (unsigned int i = 0; i < m_files.size(); ++i)
        if (m_files[i]->isUsedFile())
            ++count;
    return count;
}

bool cKynFileList::containsFile(cKynFile const* file) const
{
    for (unsigned int i = 0; i < m_files.size(); ++i)
        if (m_files[i] == file)
            return true;
    return false;
}

void cKynFileList::clearUsedFiles()
{
    for (unsigned int i = 0; i < m_files.size(); ++i)
        m_files[i]->useFile(false, nullptr);
}

void cKynFileList::removeAllFiles()
{
    for (unsigned int i = 0; i < m_files.size(); ++i)
        delete m_files[i];
    m_files.clear();
}

void cKynFileList::removeFile(cKynFile const* const file)
{
    for (unsigned int i = 0; i < m_files.size(); ++i)
    {
        if (m_files[i] == file)
        {
            cKynFile* const found = m_files[i];
            m_files.remove(i);
            delete found;
            return;
        }
    }
}

void cKynFileList::removeFiles(std::vector<int> indices)
{
    // From the highest index down, so that each index still names the file it named in the list as
    // the caller saw it; an index given twice removes one file.
    std::sort(indices.begin(), indices.end(), std::greater<int>());
    indices.erase(std::unique(indices.begin(), indices.end()), indices.end());
    for (int const index : indices)
    {
        if (index < 0 || static_cast<unsigned int>(index) >= m_files.size())
            continue;
        cKynFile* const file = m_files[static_cast<unsigned int>(index)];
        m_files.remove(static_cast<unsigned int>(index));
        delete file;
    }
}

std::string cKynFileList::getFileFilter(unsigned char)
{
    return "File List Files (*.fls)|*.fls|All Files (*.*)|*.*||";
}

std::string cKynFileList::getDefaultExtension(unsigned char)
{
    return "fls";
}

void cKynFileList::open(std::string const& path, cCfgInputFile* crashMappingFile, bool showWarnings)
{
    setConfiguration(path, crashMappingFile, showWarnings);
}

void cKynFileList::setConfiguration(std::string const& path, cCfgInputFile* crashMappingFile,
                                    bool showWarnings)
{
    if (path.empty())
        return;
    removeAllFiles();
    try
    {
        cFileConfigured::setConfiguration(path);
    }
    catch (cFstreamOpenException const&)
    {
        throw cGenericException(kSource, "cKynFileList::setConfiguration", __LINE__,
                                "Failed to open file list: " + path);
    }
    if (cCfgInputFile* const file = getConfigurationFile())
        loadFiles(file->getTopGroup(), crashMappingFile, showWarnings);
}

void cKynFileList::loadFiles(cConfigurationGroup* group, cCfgInputFile* crashMappingFile, bool showWarnings)
{
    if (group == nullptr)
        return;
    std::string loadText;
    std::vector<std::string> failed;
    bool tooManyOpenFiles = false;
    bool ttfMissing = false;
    bool defectsMissing = false;
    for (cConfigurationGroup* const fileGroup : group->GetConfigurationGroups())
    {
        if (fileGroup->getName() != "File")
            continue;
        std::string name;
        fileGroup->findItem("", "Name", name, true);
        cKynFile* file = nullptr;
        try
        {
            file = addFile(name.c_str(), crashMappingFile);
        }
        catch (cTooManyOpenFilesException const&)
        {
            tooManyOpenFiles = true;
            failed.push_back(cGlobalFile(name).extractName());
            continue;
        }
        catch (cKynException const&)
        {
            failed.push_back(cGlobalFile(name).extractName());
            continue;
        }
        long color = 0;
        if (fileGroup->findItem("", "Color", color, false) != 0)
            file->setColor(color);
        bool used = false;
        if (fileGroup->findItem("", "Used", used, false) != 0 && used)
        {
            if (showWarnings)
            {
                std::string errorText;
                file->useFile(true, &errorText);
                if (!errorText.empty())
                    loadText += errorText + "\n";
                file->setForceDisplayWarningMessages(false);
            }
            else
                file->useFile(true, nullptr);
        }
        if (!file->loadTTFSettings(fileGroup->findConfigurationGroup("Time Event Settings List", true)))
            ttfMissing = true;
        // Once one file's defects are found incomplete, the later files get none: kept as the users know it.
        if (!defectsMissing && !file->loadMapOfFileChannelDefects(
                                   fileGroup->findConfigurationGroup("Channel Defects List", false)))
            defectsMissing = true;
    }
    if (!loadText.empty())
        displayScrollMessage("Warning", loadText, 0);
    if (!failed.empty())
    {
        std::string text;
        if (tooManyOpenFiles)
            text += "Too many files are already open. Kyn cannot open any more files.\n";
        text += "The following " + std::to_string(failed.size()) + " files could not be loaded:\n";
        for (std::string const& name : failed)
            text += name + "\n";
        displayScrollMessage("Warning", text, 0);
    }
    displayMessageForIncompatibleCrashFiles(showWarnings);
    if (ttfMissing)
        doWarningMessage(
            "Some TTFs in the file list are not defined in the project.\nThey have been discarded.");
    if (defectsMissing)
        doWarningMessage("Some channel defect characteristics are missing ");
}

void cKynFileList::displayMessageForIncompatibleCrashFiles(bool showWarnings) const
{
    std::string const report = incompatibleCrashFilesReport(activePreprocessingShortName());
    if (!report.empty() && showWarnings)
        displayScrollMessage(
            "CRITICAL WARNING: Crash File (CSH) Incompatible with Preprocessing File Detected", report, 0);
}

std::string cKynFileList::incompatibleCrashFilesReport(std::string const& preprocessingShortName) const
{
    std::string kind = preprocessingShortName;
    toLower(kind);
    char const* token = nullptr;
    char const* heading = nullptr;
    if (kind.find("digital") != std::string::npos)
    {
        token = "_MSS_";
        heading = "The following crash files in MSS units have been loaded in a Digital preprocessing:\n\n";
    }
    else if (kind.find("reference") != std::string::npos)
    {
        token = "_LSB_";
        heading = "The following crash files in LSB units have been loaded in a Reference preprocessing:\n\n";
    }
    else
        return std::string();
    std::string names;
    for (unsigned int i = 0; i < m_files.size(); ++i)
        // The crash file's token is compared as written: only the preprocessing name is lower-cased.
        if (m_files[i]->extractName().find(token) != std::string::npos)
            names += getShortName(m_files[i]->getFileName()) + "\n";
    return names.empty() ? std::string() : heading + names;
}

void cKynFileList::saveSettings(std::string comment, std::string const& path, bool saveOption, bool, bool)
{
    char const* const function = "cKynFileList::saveSettings";
    if (path.empty())
    {
        cCfgInputFile* const file = getConfigurationFile();
        if (file == nullptr)
            throw cNULLPointer(kSource, function, __LINE__, "KYN Error (NULL Pointer). Out of memory ?\n");
        if (!file->isWritable())
            refuseLockedFile(*file, kSource, function, __LINE__);
        buildFile(file->getTopGroup());
        file->save(saveOption, comment, activeProjectName());
        return;
    }
    std::unique_ptr<cCfgInputFile> file(
        cCfgInputFile::createFile(path.c_str(), cCfgInputFile::writeMode, "File List", false));
    buildFile(file->getTopGroup());
    file->save(saveOption, comment, activeProjectName());
    cFileConfigured::setConfiguration(file.release());
}

void cKynFileList::buildFile(cConfigurationGroup* group) const
{
    group->clear();
    for (unsigned int i = 0; i < m_files.size(); ++i)
    {
        cKynFile const* const file = m_files[i];
        auto fileGroup = std::make_unique<cConfigurationGroup>("File");
        fileGroup->addInformation("Name", file->getFileName());
        fileGroup->addInformation("Color", file->getColor());
        fileGroup->addInformation("Used", file->isUsedFile());
        for (char const* name : {"Time Event Settings List", "Channel Defects List"})
        {
            auto list = std::make_unique<cConfigurationGroup>(name);
            file->buildFile(list.get());
            fileGroup->addConfigurationGroup(list.release());
        }
        group->addConfigurationGroup(fileGroup.release());
    }
}

void cKynFileList::buildFileForBatchMode(cConfigurationGroup* group, bool withDefects) const
{
    group->clear();
    unsigned int cursor = 0;
    for (cKynFile const* file = firstUsedFile(cursor); file != nullptr; file = nextUsedFile(cursor))
    {
        if (!withDefects)
        {
            group->addInformation("Name", file->getFileName());
            continue;
        }
        auto fileGroup = std::make_unique<cConfigurationGroup>("File");
        fileGroup->addInformation("Name", file->getFileName());
        auto defects = std::make_unique<cConfigurationGroup>("Channel Defects List");
        file->buildFileForBatchMode(defects.get());
        fileGroup->addConfigurationGroup(defects.release());
        group->addConfigurationGroup(fileGroup.release());
    }
    if (getUsedFileNumber() == 0)
        throw cBatchModeCreationFailedException(kSource, "cKynFileList::buildFileForBatchMode", __LINE__,
                                                "File list selection empty");
}

void cKynFileList::loadFileForBatchMode(cConfigurationGroup* group)
{
    char const* const function = "cKynFileList::loadFileForBatchMode";
    if (group == nullptr)
        return;
    clearUsedFiles();
    // A file once used is loaded, so a name given twice finds nothing the second time.
    auto const use = [&](std::string const& name)
    {
        for (unsigned int i = 0; i < m_files.size(); ++i)
        {
            if (m_files[i]->getFileName() != name || m_files[i]->isLoaded())
                continue;
            m_files[i]->useFile(true, nullptr);
            return m_files[i];
        }
        throw cBatchModeLoadingFailedException(kSource, function, __LINE__,
                                               "Crash file not found in file list:" + name);
    };
    bool defectsMissing = false;
    if (group->GetChildCount() != 0)
    {
        for (cConfigurationGroup* const fileGroup : group->GetConfigurationGroups())
            for (sInformationItem const& item : fileGroup->getInformationRange())
            {
                if (item.key != "Name")
                    continue;
                cKynFile* const file = use(item.value);
                if (!file->loadMapOfFileChannelDefects(
                        fileGroup->findConfigurationGroup("Channel Defects List", true)))
                    defectsMissing = true;
            }
    }
    else
    {
        for (sInformationItem const& item : group->getInformationRange())
            if (item.key == "Name")
                use(item.value);
    }
    if (defectsMissing)
        doWarningMessage("Some channel defect characteristics are missing ");
    if (getUsedFileNumber() == 0)
        throw cBatchModeLoadingFailedException(kSource, function, __LINE__, "File list selection empty");
}

void cKynFileList::reset()
{
    removeAllFiles();
    deleteConfigurationFile();
}

NewPosition cKynFileList::gatherFilesAroundIdx(std::unordered_set<cKynFile*> files, int index)
{
    unsigned int const count = m_files.size();
    unsigned int const target = static_cast<unsigned int>(std::clamp(index, 0, static_cast<int>(count)));
    std::vector<cKynFile*> moved;
    std::vector<cKynFile*> staying;
    // The block goes before the first staying file at or after the target: that is how many staying
    // files stand before it.
    unsigned int before = 0;
    for (unsigned int i = 0; i < count; ++i)
    {
        if (files.count(m_files[i]) != 0)
            moved.push_back(m_files[i]);
        else
        {
            if (i < target)
                ++before;
            staying.push_back(m_files[i]);
        }
    }
    staying.insert(staying.begin() + before, moved.begin(), moved.end());
    // The same pointers in a new order: the storage keeps its capacity, nothing is allocated.
    m_files.clear();
    for (cKynFile* const file : staying)
        m_files.add(file);
    return NewPosition{static_cast<int>(before), static_cast<int>(moved.size())};
}
