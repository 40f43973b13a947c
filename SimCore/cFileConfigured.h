// Base of every object configured from a text file of its own (project, symbol manager,
// calibration, preprocessing, vehicle, unit, algorithm, file list, filters): it owns the opened
// configuration file, from whose tree the derived class reads its settings, and gives the default
// answers of the merge and save operations that only some derived classes implement.
#pragma once

#include "BaseKit/cStorage.h"

#include <functional>
#include <string>

class cCfgInputFile;
class cConfigurationGroup;
class cDriftParameter;

// One parameter of a merge between the live calibration and another calibration file: the three
// values as the merging window shows and edits them (text), the lock states and whether the file
// holds the parameter. Strings start empty, flags false.
struct sMergedItem
{
    std::string name;
    std::string path; // empty for a parameter that is not a configuration parameter
    std::string projectRawValue;
    std::string resultRawValue; // starts as the project's; the host changes it
    std::string fileRawValue;
    std::string projectConvertedValue;
    std::string resultConvertedValue; // starts as the project's; the host changes it
    std::string fileConvertedValue;
    std::string unit;
    bool lockedInProject = false; // locked on its No Deployment value
    bool lockedInResult = false;  // the host's choice, which the injection reads
    bool lockedInFile = false;
    bool foundInFile = false;
    cDriftParameter* parameter = nullptr; // borrowed: the live parameter
};

class cFileConfigured
{
public:
    cFileConfigured();
    // Not copyable. A copy would share the held file and the merged items while both objects own
    // them, and the second destructor would delete them again; no file-configured class of ours is
    // copied (the parameters, which copy by value, are not file-configured).
    cFileConfigured(cFileConfigured const&) = delete;
    cFileConfigured& operator=(cFileConfigured const&) = delete;
    // Deletes the configuration file, then the merged items.
    virtual ~cFileConfigured();

    // Defaults for the objects that cannot merge or save: false, false, "" and nothing.
    virtual bool openFileForMerge(std::string fileName);
    virtual bool injectMergeResultInCurrentProject(bool keepOld);
    virtual std::string checkFormat(std::string fileName, sMergedItem* item);
    virtual void saveSettings(std::string const& fileName, bool keepBackup);

protected:
    // Deletes any file held, then opens path for reading; an empty path leaves the object without
    // a file. A cKynException gets "\nFile: " path appended and is rethrown with no file held.
    virtual void setConfiguration(std::string const& path);

public:
    // Adopts file as the configuration file; a different file held before is deleted.
    virtual void setConfiguration(cCfgInputFile* const file);

    // The file held, or null while the object has none.
    cCfgInputFile* getConfigurationFile() const { return m_configurationFile; }

    // The records of the last merge, in the order of the parameters; null past the end.
    sMergedItem* getMergedItem(unsigned int index) const
    {
        return index < m_mergedItems.size() ? m_mergedItems[index] : nullptr;
    }
    unsigned int getMergedItemCount() const { return m_mergedItems.size(); }

    // Shadowed by each derived class with its own file dialog filter and extension.
    static std::string getFileFilter(unsigned char kind);
    static std::string getDefaultExtension(unsigned char kind);

protected:
    // Takes item over (null is ignored); cMemoryAllocationFailed when the storage cannot grow.
    void addMergedItem(sMergedItem* item);
    // Deletes every record; the count goes to 0.
    void deleteAllMergeItems();
    void deleteConfigurationFile();
    // The end of a load from file. keepFile: file becomes the object's own, replacing (and deleting)
    // the one held; true when one was held, since the object's default configuration then ends.
    // Otherwise file is only held, the earlier one not deleted: a module loaded from a
    // multi-preprocessing item's file works on that item's file, which the item gave up only while it
    // is the selected one.
    bool holdLoadedFile(cCfgInputFile* file, bool keepFile);
    // Where a saver reports its failures: a save over no file (cNULLPointer) and over a locked one.
    struct sSaveOrigin
    {
        char const* source;
        char const* function;
        int noFileLine;
        int lockedLine;
    };
    // The save of an object that writes its own file: to a new file, written with headerName and then
    // held in place of the old one (true); or, for an empty name, over the held file (false), refused
    // when there is none or it is locked. build fills a top group; the active project's name goes into
    // the file.
    bool saveOwnFile(std::string const& comment, std::string const& fileName, bool keepBackup,
                     char const* headerName, sSaveOrigin const& origin,
                     std::function<void(cConfigurationGroup*)> const& build);
    // The refusal every saver gives for a file locked against writing (a file of a batch, a reference
    // file): a warning "The file <name> is locked." with why files get locked and what to do, then
    // cFileNotWritableException with the caller's origin. Nothing is written.
    [[noreturn]] static void refuseLockedFile(cCfgInputFile const& file, char const* source,
                                              char const* function, int line);

private:
    cCfgInputFile* m_configurationFile = nullptr;
    cStorage<sMergedItem*> m_mergedItems;
};
