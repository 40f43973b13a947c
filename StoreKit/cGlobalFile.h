// Base of every file object of the system (configuration files, crash input files, EEPROM
// files): it holds the path and gives its parts. Paths use '/' and join by plain concatenation,
// so a directory is given with its trailing '/'.
#pragma once

#include <string>

class cGlobalFile
{
public:
    explicit cGlobalFile(std::string fileName = std::string());
    cGlobalFile(cGlobalFile const&) = default;
    cGlobalFile& operator=(cGlobalFile const&) = default;
    virtual ~cGlobalFile();

    std::string const& getFileName() const { return m_fileName; }
    void setFileName(std::string const& fileName) { m_fileName = fileName; }

    // The name without directory and extension: "/p/front.cfg" gives "front". A leading dot
    // belongs to the name (".cfg" has no extension); only the last extension goes ("a.b.cfg": "a.b").
    std::string extractName() const;
    // The name without directory, with or without its extension.
    std::string getRelativeFileName(bool withExtension) const;
    // The directory with its trailing '/'; "" when the path has none.
    std::string getDirectory() const;

    // Copies the file `from` to `to`, replacing a file of that name. cFstreamOpenException, naming both
    // paths and the reason, when the source cannot be read or the target cannot be written.
    static void copyFile(std::string const& from, std::string const& to);

private:
    std::string m_fileName;
};
