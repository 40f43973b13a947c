// cKynFileList: the crash files of one multi-preprocessing item, the list a computation runs over, in
// the user's order, with the subset of files in use. It creates and owns its cKynFile objects.
#pragma once
#include "BaseKit/cStorage.h"
#include "SimCore/cFileConfigured.h"
#include <string>
#include <vector>

class cCfgInputFile;
class cInputFile;
class cKynFile;

class cKynFileList : public cFileConfigured
{
public:
    // An empty list.
    cKynFileList();
    // Deletes the files.
    ~cKynFileList() override;

    // Opens the recording at path and appends a new crash file for it.
    cKynFile* addFile(char const* path, cCfgInputFile* crashMappingFile);
    // Appends a new crash file around a recording made by the caller (in memory, or read by a format
    // of the host's own); the list owns the recording from here on, also when this throws.
    cKynFile* addFile(cInputFile* recording);

    cStorage<cKynFile*> const& getFiles() const { return m_files; }
    // By index, no check.
    cKynFile* getFile(int index) const { return m_files[static_cast<unsigned int>(index)]; }
    unsigned int getFilesNumber() const { return m_files.size(); }
    // Walks over all files, and over the files in use; null behind the last.
    cKynFile* firstFile(unsigned int& cursor) const { return m_files.first(cursor); }
    cKynFile* nextFile(unsigned int& cursor) const { return m_files.next(cursor); }
    cKynFile* firstUsedFile(unsigned int& cursor) const;
    cKynFile* nextUsedFile(unsigned int& cursor) const;
    unsigned int getUsedFileNumber() const;
    // Whether this very object is in the list.
    bool containsFile(cKynFile const* file) const;
    // Takes every file out of computations.
    void clearUsedFiles();

    // Removal deletes the file objects.
    void removeAllFiles();
    // A file not in the list is left alone.
    void removeFile(cKynFile const* const file);
    // By indices into the list as it stands; indices out of range are passed over.
    void removeFiles(std::vector<int> indices);

    static std::string getFileFilter(unsigned char kind);
    static std::string getDefaultExtension(unsigned char kind);

private:
    cKynFile* append(cKynFile* file);
    cKynFile* fromUsed(unsigned int& cursor) const;

    cStorage<cKynFile*> m_files{20};
};

// The crash file list of the selected multi-preprocessing item; null before a project loads one.
extern cKynFileList* myActiveFileList;
