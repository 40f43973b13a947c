#include "StoreKit/cCfgInputFile.h"

#include "BaseKit/cKynException.h"
#include "StoreKit/cConfigurationReader.h"
#include "StoreKit/cConfigurationWriter.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <set>
#include <system_error>
#include <unistd.h>

namespace
{
char const* const g_source = "StoreKit/cCfgInputFile";

[[noreturn]] void throwOpenFailure(std::string const& path, char const* function, int line, int error)
{
    if (error == EMFILE || error == ENFILE)
    {
        throw cTooManyOpenFilesException(g_source, function, line, path);
    }
    throw cFstreamOpenException(g_source, function, line, path);
}

// Writes text into a new file at path; false when any step fails, errno then telling why.
bool writeWholeFile(std::string const& path, std::string const& text, int& error)
{
    errno = 0;
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
    {
        error = errno;
        return false;
    }
    bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    // Flushed to the disk before the rename, so that a crash cannot leave an empty target.
    written = written && std::fflush(file) == 0 && ::fsync(::fileno(file)) == 0;
    error = errno;
    bool const closed = std::fclose(file) == 0;
    return written && closed;
}

std::string replaceAll(std::string text, std::string const& marker, std::string const& name)
{
    if (marker.empty())
    {
        return text;
    }
    for (std::size_t at = text.find(marker); at != std::string::npos;
         at = text.find(marker, at + name.size()))
    {
        text.replace(at, marker.size(), name);
    }
    return text;
}

sInformationItem withMarkerReplaced(sInformationItem item, std::string const& marker, std::string const& name)
{
    item.key = replaceAll(item.key, marker, name);
    item.value = replaceAll(item.value, marker, name);
    return item;
}

// A copy of group with the marker replaced in every key, value and group name it holds.
std::unique_ptr<cConfigurationGroup>
copyWithMarkerReplaced(cConfigurationGroup const& group, std::string const& marker, std::string const& name)
{
    auto copy = std::make_unique<cConfigurationGroup>(replaceAll(group.getName(), marker, name));
    copy->setOrigin(group.getLineNumber(), group.getSharedSourceFile());
    for (sInformationItem const& item : group.getInformationRange())
    {
        copy->addInformationItem(withMarkerReplaced(item, marker, name));
    }
    unsigned int cursor = 0;
    for (cConfigurationGroup const* child = group.firstConfigurationGroup(cursor); child;
         child = group.nextConfigurationGroup(cursor))
    {
        copy->addConfigurationGroup(copyWithMarkerReplaced(*child, marker, name).release());
    }
    return copy;
}
} // namespace

cCfgInputFile* cCfgInputFile::createFile(char const* path, int mode, char const* fileType, bool readOnly)
{
    if (!path)
    {
        throw cGenericException(g_source, "cCfgInputFile::createFile", __LINE__,
                                "A configuration file cannot be created without a path.");
    }
    if (mode != readMode && mode != writeMode)
    {
        throw cGenericException(g_source, "cCfgInputFile::createFile", __LINE__,
                                "Unknown mode " + std::to_string(mode) + " for file \"" + path +
                                    "\": 1 (read) or 2 (write) is expected.");
    }
    return new cCfgInputFile(path, mode, fileType ? fileType : "", readOnly);
}

cCfgInputFile::cCfgInputFile(std::string const& path, int mode, std::string const& headerName, bool readOnly)
    : cGlobalFile(path), m_mode(mode), m_writable(readOnly ? 0 : 1), m_headerName(headerName)
{
}

cCfgInputFile::~cCfgInputFile() = default;

std::string cCfgInputFile::readText(std::string const& path, char const* function)
{
    errno = 0;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (!file)
    {
        throwOpenFailure(path, function, __LINE__, errno);
    }
    std::string text;
    char buffer[65536];
    std::size_t count = 0;
    while ((count = std::fread(buffer, 1, sizeof buffer, file.get())) > 0)
    {
        text.append(buffer, count);
    }
    // A directory opens, but does not read.
    if (std::ferror(file.get()))
    {
        throwOpenFailure(path, function, __LINE__, errno);
    }
    return text;
}

void cCfgInputFile::open()
{
    if (m_mode != readMode)
    {
        return;
    }
    std::string const text = readText(getFileName(), "cCfgInputFile::open");
    cConfigurationGroup parsed;
    sConfigurationHeader const header = cConfigurationReader::read(text, getFileName(), parsed);
    checkTree(parsed);
    m_topGroup = std::move(parsed);
    m_projectName = header.project;
    m_comment = header.comment;
    if (!header.fileType.empty())
    {
        m_headerName = header.fileType;
    }
}

void cCfgInputFile::save(bool keepBackup, std::string const& comment, std::string const& projectName)
{
    if (!isWritable())
    {
        throw cFileNotWritableException(g_source, "cCfgInputFile::save", __LINE__);
    }
    sConfigurationHeader const header{m_headerName, projectName, comment};
    std::string const text = cConfigurationWriter::write(m_topGroup, &header);

    std::string const& path = getFileName();
    // Named after the process, so that no file of the user's is taken for the temporary one.
    std::string const temporary = path + ".tmp-" + std::to_string(::getpid());
    int error = 0;
    if (!writeWholeFile(temporary, text, error))
    {
        std::remove(temporary.c_str());
        throwOpenFailure(path, "cCfgInputFile::save", __LINE__, error);
    }
    if (keepBackup)
    {
        std::error_code code;
        if (std::filesystem::exists(path, code))
        {
            std::string const backup = path + ".bak";
            std::filesystem::copy_file(path, backup, std::filesystem::copy_options::overwrite_existing, code);
            if (code)
            {
                std::remove(temporary.c_str());
                throw cFstreamOpenException(g_source, "cCfgInputFile::save", __LINE__, backup);
            }
        }
    }
    if (std::rename(temporary.c_str(), path.c_str()) != 0)
    {
        std::remove(temporary.c_str());
        throw cFstreamOpenException(g_source, "cCfgInputFile::save", __LINE__, path);
    }
    m_projectName = projectName;
    m_comment = comment;
}

int cCfgInputFile::save(std::string const& comment, std::string const& projectName)
{
    save(false, comment, projectName);
    return 1;
}

void cCfgInputFile::checkTree(cConfigurationGroup const&) const {}

bool cCfgInputFile::loadTemplate(cConfigurationGroup* group, std::string const& path, std::string const& key,
                                 std::string const& marker, std::string const& name)
{
    std::string templateName;
    if (!group || !group->findItemValue(key, templateName, false))
    {
        return false;
    }
    std::string const templatePath =
        !templateName.empty() && templateName.front() == '/' ? templateName : path + templateName;
    cConfigurationGroup parsed;
    cConfigurationReader::read(readText(templatePath, "cCfgInputFile::loadTemplate"), templatePath, parsed);

    // What the group had before: several template items of one key (or groups of one name) are
    // all taken over when the group had none of them.
    std::set<std::string> ownKeys;
    for (sInformationItem const& item : group->getInformationRange())
    {
        ownKeys.insert(item.key);
    }
    std::set<std::string> ownGroups;
    for (cConfigurationGroup const* child : group->GetConfigurationGroups())
    {
        ownGroups.insert(child->getName());
    }

    for (sInformationItem const& item : parsed.getInformationRange())
    {
        sInformationItem taken = withMarkerReplaced(item, marker, name);
        if (ownKeys.count(taken.key) == 0)
        {
            group->addInformationItem(std::move(taken));
        }
    }
    for (cConfigurationGroup const* child : parsed.GetConfigurationGroups())
    {
        std::unique_ptr<cConfigurationGroup> taken = copyWithMarkerReplaced(*child, marker, name);
        if (ownGroups.count(taken->getName()) == 0)
        {
            group->addConfigurationGroup(taken.release());
        }
    }
    return true;
}
