// cKynFileList: the crash files of one multi-preprocessing item, the list a computation runs over, in
// the user's order, with the subset of files in use. It reads and writes the ".fls" file, warns about
// recordings in the wrong units for the preprocessing in use, and creates and owns its cKynFile objects.
#pragma once
#include "BaseKit/cStorage.h"
#include "SimCore/cFileConfigured.h"
#include <string>
#include <unordered_set>
#include <vector>

class cCfgInputFile;
class cConfigurationGroup;
class cInputFile;
class cKynFile;

// Where gatherFilesAroundIdx put the files it moved: they stand together, in their former relative
// order, at indices first to first + count - 1 of the list.
struct NewPosition
{
    int first = 0;
    int count = 0;
    bool operator==(NewPosition const&) const = default;
};

class cKynFileList : public cFileConfigured
{
public:
    // An empty list.
    cKynFileList();
    // The list of the ".fls" file at path (see open, with the warnings shown); an empty path gives an
    // empty list. crashMappingFile (may be null) maps the header keys of foreign recordings.
    cKynFileList(cCfgInputFile* crashMappingFile, std::string const& path);
    // Deletes the files.
    ~cKynFileList() override;

    using cFileConfigured::saveSettings;
    // Writes the list: to the file held when path is empty (cNULLPointer without one; a locked file
    // is refused with a warning and cFileNotWritableException), else to a new file at path, which
    // then becomes the file held. saveOption keeps the previous content as a backup.
    virtual void saveSettings(std::string comment, std::string const& path, bool saveOption, bool, bool);
    // Replaces the files by those of the ".fls" file at path; an empty path changes nothing. Crash
    // files that cannot be read are reported and left out; with showWarnings false the reads' own
    // texts and the units warning are not shown. A list file that cannot be opened gives
    // cGenericException "Failed to open file list: <path>".
    virtual void open(std::string const& path, cCfgInputFile* crashMappingFile, bool showWarnings);

    // Clears group and writes one "File" group per file, in list order.
    void buildFile(cConfigurationGroup* group) const;
    // The selection of a batch run: group is cleared, then each used file, in order, writes its
    // path as an item "Name" of group, or, withDefects, a group "File" with "Name" and a "Channel
    // Defects List" of the defects in use. No used file throws cBatchModeCreationFailedException
    // "File list selection empty".
    void buildFileForBatchMode(cConfigurationGroup* group, bool withDefects) const;
    // Takes every file out of use, then uses the files that group names, in either form of
    // buildFileForBatchMode (the "File" groups take their defects back). A name that matches no
    // file not yet used again (a name given twice) throws cBatchModeLoadingFailedException "Crash
    // file not found in file list:" and the name; so does a group that selects nothing, with "File
    // list selection empty". The files used before the failure stay used. A null group does nothing.
    void loadFileForBatchMode(cConfigurationGroup* group);
    // Deletes the files and forgets the list file.
    void reset();

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

    // The host's drag and drop: the files of the set that are in the list leave their places and
    // stand together, in their relative order, before the first file not in the set at or after index
    // (an index of the list as it stands, clamped to 0 ... size; behind the last when none follows).
    NewPosition gatherFilesAroundIdx(std::unordered_set<cKynFile*> files, int index);

    // Warns, when showWarnings is set, about crash files whose name says their units do not suit the
    // active preprocessing set (see incompatibleCrashFilesReport). The files stay in the list.
    void displayMessageForIncompatibleCrashFiles(bool showWarnings) const;
    // The units rule, by name: a preprocessing file whose short name holds "reference" (any case)
    // expects physical units and takes "_LSB_" crash files as wrong; one holding "digital" (which wins
    // when both are there) expects LSB and takes "_MSS_" files as wrong. The report names each wrong
    // file (name with extension) on a line after its first line; "" when no file is wrong.
    std::string incompatibleCrashFilesReport(std::string const& preprocessingShortName) const;

    static std::string getFileFilter(unsigned char kind);
    static std::string getDefaultExtension(unsigned char kind);

private:
    void setConfiguration(std::string const& path, cCfgInputFile* crashMappingFile, bool showWarnings);
    void loadFiles(cConfigurationGroup* group, cCfgInputFile* crashMappingFile, bool showWarnings);
    cKynFile* append(cKynFile* file);
    cKynFile* fromUsed(unsigned int& cursor) const;

    cStorage<cKynFile*> m_files{20};
};

// The crash file list of the selected multi-preprocessing item; null before a project loads one.
extern cKynFileList* myActiveFileList;
