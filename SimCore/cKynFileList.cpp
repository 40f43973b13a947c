#include "SimCore/cKynFileList.h"

#include "SimCore/cKynFile.h"
#include "StoreKit/cInputFile.h"

#include <algorithm>
#include <functional>
#include <memory>

cKynFileList* myActiveFileList = nullptr;

namespace
{
// The stream mode of a crash recording: input and binary.
int const kCrashFileMode = 0x21;
} // namespace

cKynFileList::cKynFileList() = default;

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
