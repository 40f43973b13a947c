// cKynFile: one recorded crash in a project: its recording of sensor channels (an input file) together
// with what the project adds to it: the expected times to fire of each file-linked time event
// (structTTF: earliest acceptable, optimum, latest acceptable), its display colour, whether it takes
// part in computations, and its selection in the host's list. cKynFileList creates and owns these.
#pragma once
#include <map>
#include <string>

class cCfgInputFile;
class cConfigurationGroup;
class cInputFile;
class cTimeEvent;

// Which of the three expectations: 0 "Minimum Value", 1 "Optimum", 2 "Maximum Value".
enum ETtfKind
{
    eTtfMinimum = 0,
    eTtfOptimum = 1,
    eTtfMaximum = 2
};

// The expected times to fire of one time event in one crash file. Each value is stored as text: "-1"
// no fire, "-2" not defined, a whole number of ticks of the event's precision frequency, or "S:"
// followed by a free text. Only setTtfValue writes them.
struct structTTF
{
    structTTF(cTimeEvent* timeEvent, std::string minimum, std::string optimum, std::string maximum,
              float weight);

    // Stores a text as the user or a file gives it: a number of milliseconds (negative numbers are no
    // fire, -2 is not defined), "NF", "Not Defined"/"NotDef" in any case, or any other free text.
    // Always true.
    bool setTtfValue(ETtfKind kind, std::string text);
    // The value in milliseconds; false for no fire, not defined and free texts.
    bool asMilliseconds(ETtfKind kind, double& milliseconds) const;
    // "NF", "NotDef", the milliseconds with `precision` decimals, or the free text.
    std::string asString(ETtfKind kind, int precision) const;
    // As asString, with "Not defined" for a value that is not defined.
    std::string asXmlString(ETtfKind kind, int precision) const;
    bool isNoFire(ETtfKind kind) const { return values[kind] == "-1"; }
    bool isNotDefined(ETtfKind kind) const { return values[kind] == "-2"; }

    cTimeEvent* timeEvent;
    std::string values[3];
    float weight;
};

class cKynFile
{
    friend class cKynFileList;

public:
    typedef std::map<cTimeEvent*, structTTF*> tTtfSettings;

    cKynFile(cKynFile const&) = delete;
    cKynFile& operator=(cKynFile const&) = delete;
    // Deletes the expectations and the recording.
    virtual ~cKynFile();

    // The recording's path, and its name without directory and extension.
    std::string getFileName() const;
    std::string extractName() const;
    cInputFile* getInputFile() const { return m_inputFile; }

    long getColor() const { return m_color; }
    void setColor(long color) { m_color = color; }
    bool isUsedFile() const { return m_used; }
    bool isLoaded() const { return m_loaded; }
    bool getForceDisplayWarningMessages() const { return m_forceDisplayWarningMessages; }
    void setForceDisplayWarningMessages(bool force) { m_forceDisplayWarningMessages = force; }
    bool getSelectedStatus() const { return m_selected; }
    void setSelectedStatus(bool selected) { m_selected = selected; }

    // Reads the channels once; later calls answer 1. The result of the first read is returned and the
    // file counts as loaded whatever it was.
    int load(std::string* errorText);
    // Takes the file into computations (reading it) or out of them (giving its samples back).
    void useFile(bool use, std::string* errorText);

    tTtfSettings const& getTtfSettings() const { return m_ttfSettings; }
    bool TTFSettingListEmpty() const { return m_ttfSettings.empty(); }
    // The expectations of the event; cStructTTFSearchedException when the file has none for it.
    structTTF* findStructTTF(cTimeEvent const* timeEvent) const;
    // The same, null when the file has none.
    structTTF* tryFindStructTTF(cTimeEvent const* timeEvent) const;
    // Takes the events, values and weights of other, entry by entry in map order (both maps come from
    // one algorithm).
    void copyTTFSettings(cKynFile* other);
    // Reads the "Time Event Settings" groups; false when one names an event the project does not know
    // or lacks a key (the entries read before stay). A null group is true.
    bool loadTTFSettings(cConfigurationGroup* group);

private:
    // Opens the recording at path in its format (by extension, "csh" or "bin") and builds the file.
    cKynFile(char const* path, int mode, cCfgInputFile* crashMappingFile);
    // Builds the file around a recording already made (owned from here on, also on failure).
    explicit cKynFile(cInputFile* recording);
    // One "No Fire" entry for each file-linked time event of the active algorithm.
    void initialiseTtfSettings();
    void clearTtfSettings();

    tTtfSettings m_ttfSettings;
    long m_color = 0x4639ff;
    bool m_used = false;
    bool m_loaded = false;
    bool m_forceDisplayWarningMessages = false;
    cInputFile* m_inputFile = nullptr;
    bool m_selected = false;
};

// The crash input file of the right format for path: "csh" or "bin" in any case; any other extension
// gives cFstreamOpenException with the path.
cInputFile* makeAcquisitionFile(char const* path, int mode, cConfigurationGroup* crashMapping);

// The crash file being computed, set by the computation manager while it runs; null before.
extern cKynFile* myActiveFile;
