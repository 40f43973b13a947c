#include "SimCore/cFileConfigured.h"

#include "BaseKit/cKynException.h"
#include "StoreKit/cCfgInputFile.h"

cFileConfigured::cFileConfigured() = default;

cFileConfigured::~cFileConfigured()
{
    deleteConfigurationFile();
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
