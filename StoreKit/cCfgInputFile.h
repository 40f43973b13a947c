// A configuration file of the system (project, vehicle, unit, algorithm, preprocessing, filters,
// file list, calibration, computation configuration, test views): the path, the tree read from
// it or to be written to it, and whether it may be written. Files that must not be overwritten
// (batch mode, reference files) are locked by clearing the writable byte.
#pragma once

#include "StoreKit/cConfigurationGroup.h"
#include "StoreKit/cGlobalFile.h"

#include <string>

class cCfgInputFile : public cGlobalFile
{
public:
    static constexpr int readMode = 1;
    static constexpr int writeMode = 2;

    // Makes the file object of path; the caller owns the result. mode 1 reads: open() then fills
    // the tree from the file. mode 2 writes: the tree starts empty and save() writes it; fileType is
    // then the header name ("Calibration", "Unit", ...) and may be null on reading.
    // readOnly set: the object may read but never write its file (the writable byte is cleared,
    // so save() refuses); the reading callers that must not change their file pass true.
    // A null path or a mode other than 1 or 2 throws cGenericException.
    static cCfgInputFile* createFile(char const* path, int mode, char const* fileType, bool readOnly);

    cCfgInputFile(cCfgInputFile const&) = delete;
    cCfgInputFile& operator=(cCfgInputFile const&) = delete;
    ~cCfgInputFile() override;

    // Mode 1: reads the file and replaces the tree, the project name and the comment; a
    // "@File Type" in the file becomes the header name. Mode 2: does nothing. A file that cannot be
    // read throws cFstreamOpenException with the path (cTooManyOpenFilesException when the process
    // or the system is out of file handles); a syntax error throws the reader's cGenericException,
    // a tree that checkTree refuses its exception, and both leave the tree as it was. The first
    // virtual operation of the class.
    virtual void open();

    // Writes the header ("@File Type" when the header name is set, "@Project" always, "@Comment"
    // when not empty) and the tree to the file name. The old file is never lost: the text goes to
    // path + ".tmp-" + process id first, and only a complete temporary file is renamed over the target.
    // keepBackup set: the previous content is kept as path + ".bak" (when there was a file).
    // A locked file throws cFileNotWritableException and writes nothing. A failure to write removes
    // the temporary file and throws cFstreamOpenException with the path (with path + ".bak"
    // when the backup could not be made).
    void save(bool keepBackup, std::string const& comment, std::string const& projectName);
    // The save of history steps and EEPROM files: the same safe write, never with a backup (a
    // history step is rewritten on purpose, an EEPROM file is made anew). 1 once the file is
    // written; every failure throws as above, so a caller that tests for 1 has a complete file.
    int save(std::string const& comment, std::string const& projectName);

    cConfigurationGroup* getTopGroup() { return &m_topGroup; }
    cConfigurationGroup const* getTopGroup() const { return &m_topGroup; }
    int getMode() const { return m_mode; }
    // 0 means locked: save() refuses the file.
    bool isWritable() const { return m_writable != 0; }
    void setWritable(bool writable) { m_writable = writable ? 1 : 0; }
    std::string const& getHeaderName() const { return m_headerName; }
    void setHeaderName(std::string const& headerName) { m_headerName = headerName; }
    // The "@Project" and "@Comment" of the file, after open() or save().
    std::string const& getProjectName() const { return m_projectName; }
    std::string const& getComment() const { return m_comment; }

    // Completes group from a template file when the group has the item key (callers pass
    // "Template"): its value names the file, read from path + value (path is a directory ending in
    // '/' or empty; an absolute value is taken as it stands). The template's top-level items and
    // groups are added to group, an item only when group had no item of that key beforehand and a
    // subgroup only when group had no subgroup of that name; in all that is taken over every
    // occurrence of marker (callers pass "@@") in keys, values and group names becomes name, and
    // the comparison uses the replaced texts. Taken-over items and groups keep their template lines
    // and the template as their source file. A "Template" key inside the template is not followed:
    // templates do not nest. True when a template was expanded, false when group is null or has
    // no such key. A template that cannot be read throws cFstreamOpenException with its path.
    static bool loadTemplate(cConfigurationGroup* group, std::string const& path, std::string const& key,
                             std::string const& marker, std::string const& name);

protected:
    cCfgInputFile(std::string const& path, int mode, std::string const& headerName, bool readOnly);

    // Called by open() with the tree just read, before it replaces the current one: a file kind
    // with rules beyond the syntax throws here, so that a refused file leaves the tree as it was.
    virtual void checkTree(cConfigurationGroup const& tree) const;

private:
    // The whole content of a file; failures are reported under the given function name.
    static std::string readText(std::string const& path, char const* function);

    int m_mode;
    unsigned char m_writable;
    std::string m_headerName;
    std::string m_projectName;
    std::string m_comment;
    cConfigurationGroup m_topGroup;
};
