#include "StoreKit/cGlobalFile.h"

#include "BaseKit/cKynException.h"

#include <filesystem>
#include <system_error>
#include <utility>

cGlobalFile::cGlobalFile(std::string fileName) : m_fileName(std::move(fileName)) {}

cGlobalFile::~cGlobalFile() = default;

std::string cGlobalFile::extractName() const
{
    return getRelativeFileName(false);
}

std::string cGlobalFile::getRelativeFileName(bool withExtension) const
{
    std::size_t const slash = m_fileName.rfind('/');
    std::string name = slash == std::string::npos ? m_fileName : m_fileName.substr(slash + 1);
    if (!withExtension)
    {
        std::size_t const dot = name.rfind('.');
        if (dot != std::string::npos && dot > 0)
        {
            name.resize(dot);
        }
    }
    return name;
}

std::string cGlobalFile::getDirectory() const
{
    std::size_t const slash = m_fileName.rfind('/');
    return slash == std::string::npos ? std::string() : m_fileName.substr(0, slash + 1);
}

void cGlobalFile::copyFile(std::string const& from, std::string const& to)
{
    std::error_code error;
    std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing, error);
    if (error)
        throw cFstreamOpenException("StoreKit/cGlobalFile", "cGlobalFile::copyFile", __LINE__,
                                    "Unable to copy \"" + from + "\" to \"" + to + "\": " + error.message());
}
