// Base of every object configured from a text file of its own (project, symbol manager,
// calibration, preprocessing, vehicle, unit, algorithm, file list, filters): it owns the opened
// configuration file, from whose tree the derived class reads its settings, and gives the default
// answers of the merge and save operations that only some derived classes implement.
#pragma once

#include <string>

class cCfgInputFile;
struct sMergedItem;

class cFileConfigured
{
public:
    cFileConfigured();
    // The file is owned: copies would delete it twice.
    cFileConfigured(cFileConfigured const&) = delete;
    cFileConfigured& operator=(cFileConfigured const&) = delete;
    // Deletes the configuration file.
    virtual ~cFileConfigured();

    // Defaults for the objects that cannot merge or save: false, false, "" and nothing.
    virtual bool openFileForMerge(std::string fileName);
    virtual bool injectMergeResultInCurrentProject(bool keepOld);
    virtual std::string checkFormat(std::string fileName, sMergedItem* item);
    virtual void saveSettings(std::string const& fileName, bool keepBackup);

    // Adopts file as the configuration file; a different file held before is deleted.
    virtual void setConfiguration(cCfgInputFile* const file);

    // The file held, or null while the object has none.
    cCfgInputFile* getConfigurationFile() const { return m_configurationFile; }

    // Shadowed by each derived class with its own file dialog filter and extension.
    static std::string getFileFilter(unsigned char kind);
    static std::string getDefaultExtension(unsigned char kind);

protected:
    // Deletes any file held, then opens path for reading; an empty path leaves the object without
    // a file. A cKynException gets "\nFile: " path appended and is rethrown with no file held.
    virtual void setConfiguration(std::string const& path);
    void deleteConfigurationFile();
    // Holds file without deleting the one held before: a set loaded from a multi-preprocessing item's
    // file works on that item's file, which the item gave up only while it is the selected one.
    void adoptConfigurationFileWithoutDeleting(cCfgInputFile* file) { m_configurationFile = file; }
    // The refusal every saver gives for a file locked against writing (a file of a batch, a reference
    // file): a warning "The file <name> is locked." with why files get locked and what to do, then
    // cFileNotWritableException with the caller's origin. Nothing is written.
    [[noreturn]] static void refuseLockedFile(cCfgInputFile const& file, char const* source,
                                              char const* function, int line);

private:
    cCfgInputFile* m_configurationFile = nullptr;
};
