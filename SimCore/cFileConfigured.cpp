#include "SimCore/cFileConfigured.h"

#include "BaseKit/UserMessages.h"
#include "BaseKit/cKynException.h"
#include "SimCore/cProject.h"
#include "StoreKit/cCfgInputFile.h"

#include <memory>

cFileConfigured::cFileConfigured() = default;

cFileConfigured::~cFileConfigured()
{
    deleteConfigurationFile();
    deleteAllMergeItems();
}

void cFileConfigured::addMergedItem(sMergedItem* item)
{
    if (item == nullptr)
        return;
    std::unique_ptr<sMergedItem> owned(item);
    m_mergedItems.add(item);
    owned.release();
}

void cFileConfigured::deleteAllMergeItems()
{
    for (unsigned int i = 0; i < m_mergedItems.size(); ++i)
        delete m_mergedItems[i];
    m_mergedItems.clear();
}

bool cFileConfigured::openFileForMerge(std::string)
{
    return false;
}

bool cFileConfigured::injectMergeResultInCurrentProject(bool)
{
    return false;
}

std::string cFileConfigured::checkFormat(std::string, sMergedItem*)
{
    return std::string();
}

void cFileConfigured::saveSettings(std::string const&, bool) {}

void cFileConfigured::setConfiguration(std::string const& path)
{
    deleteConfigurationFile();
    if (path.empty())
        return;
    try
    {
        m_configurationFile =
            cCfgInputFile::createFile(path.c_str(), cCfgInputFile::readMode, nullptr, false);
        m_configurationFile->open();
    }
    catch (cKynException& e)
    {
        e.addFileName(path);
        deleteConfigurationFile();
        throw;
    }
}

void cFileConfigured::setConfiguration(cCfgInputFile* const file)
{
    if (file == m_configurationFile)
        return;
    deleteConfigurationFile();
    m_configurationFile = file;
}

void cFileConfigured::refuseLockedFile(cCfgInputFile const& file, char const* source, char const* function,
                                       int line)
{
    doWarningMessage(
        "The file " + file.getFileName() +
        " is locked.\n\n"
        "The file has probably been locked when creating a batch mode file or because it is a reference "
        "file. "
        "When creating a batch mode, necessary files are locked to ensure possible recovery of the exact "
        "batch "
        "mode parameters later.\n\n It should probably NOT be overwritten.\n - If you don't want to "
        "overwrite "
        "it, enter a new file name in the next dialog box, or cancel it.\n - If you want to overwrite it "
        "anyway, select its name and confirm.");
    throw cFileNotWritableException(source, function, line);
}

void cFileConfigured::deleteConfigurationFile()
{
    delete m_configurationFile;
    m_configurationFile = nullptr;
}

std::string cFileConfigured::getFileFilter(unsigned char)
{
    return std::string();
}

std::string cFileConfigured::getDefaultExtension(unsigned char)
{
    return std::string();
}

bool cFileConfigured::holdLoadedFile(cCfgInputFile* file, bool keepFile)
{
    if (!keepFile)
    {
        m_configurationFile = file;
        return false;
    }
    bool const replaced = m_configurationFile != nullptr;
    cFileConfigured::setConfiguration(file);
    return replaced;
}

bool cFileConfigured::saveOwnFile(std::string const& comment, std::string const& fileName, bool keepBackup,
                                  char const* headerName, sSaveOrigin const& origin,
                                  std::function<void(cConfigurationGroup*)> const& build)
{
    std::string const project = myActiveProject != nullptr ? myActiveProject->getName() : std::string();
    if (!fileName.empty())
    {
        std::unique_ptr<cCfgInputFile> file(
            cCfgInputFile::createFile(fileName.c_str(), cCfgInputFile::writeMode, headerName, false));
        build(file->getTopGroup());
        file->save(keepBackup, comment, project);
        cFileConfigured::setConfiguration(file.release());
        return true;
    }
    if (m_configurationFile == nullptr)
        throw cNULLPointer(origin.source, origin.function, origin.noFileLine,
                           "KYN Error (NULL Pointer). Out of memory ?\n");
    if (!m_configurationFile->isWritable())
        refuseLockedFile(*m_configurationFile, origin.source, origin.function, origin.lockedLine);
    // The tree is written anew from the object, not added to what the file held.
    m_configurationFile->getTopGroup()->clear();
    build(m_configurationFile->getTopGroup());
    m_configurationFile->save(keepBackup, comment, project);
    return false;
}
