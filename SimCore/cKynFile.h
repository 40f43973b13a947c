// cKynFile: one recorded crash in a project: its recording of sensor channels (an input file) together
// with what the project adds to it: the expected times to fire of each file-linked time event
// (structTTF: earliest acceptable, optimum, latest acceptable), the sensor defects switched on for its
// channels, its display colour, whether it takes part in computations, and its selection in the host's
// list. cKynFileList creates and owns these.
#pragma once
#include "SimCore/IKynFile.h"
#include "StoreKit/cAcquisitionInputFile.h"

#include <gmpxx.h>

#include <map>
#include <string>
#include <vector>

class CSensorDefect;
class CSensorDefectChannelConfiguration;
class cCfgInputFile;
class cChannelInput;
class cConfigurationGroup;
class cChannel;
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

class cKynFile : public IKynFile
{
    friend class cKynFileList;

public:
    typedef std::map<cTimeEvent*, structTTF*> tTtfSettings;
    // A walk over the expectations in map order: firstTTFSetting, then nextTTFSetting until
    // endOfTTFSettingList (both give null there).
    typedef tTtfSettings::const_iterator tTtfCursor;
    // Channel name -> the defects of that channel in this file; owned.
    typedef std::map<std::string, CSensorDefectChannelConfiguration*> tChannelDefects;

    cKynFile(cKynFile const&) = delete;
    cKynFile& operator=(cKynFile const&) = delete;
    // Deletes the expectations, the defects and the recording.
    ~cKynFile() override;

    // The recording's path, and its name without directory and extension.
    std::string getFileName() const override;
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
    int load(std::string* errorText) override;
    // Writes the recording back in its format; a recording made in memory, or of a read-only format,
    // throws cFileNotWritableException.
    int save() override;
    // Takes the file into computations (reading it) or out of them (giving its samples back).
    void useFile(bool use, std::string* errorText);

    // The crash header of the recording; empty texts and zeros for a recording made in memory.
    std::string getPreciseCrashType() const { return headerText(eCrashPreciseCrashType); }
    std::string getCrashType() const { return headerText(eCrashCrashType); }
    std::string getHandDrivenCar() const { return headerText(eCrashHandDrivenCar); }
    std::string getObstacleType() const { return headerText(eCrashObstacleType); }
    std::string getTestReference() const { return headerText(eCrashTestReference); }
    std::string getVehicleCode() const { return headerText(eCrashVehicleCode); }
    std::string getTestNumber() const { return headerText(eCrashTestNumber); }
    std::string getSideOfImpact() const { return headerText(eCrashSideOfImpact); }
    std::string getEventCode() const { return headerText(eCrashEventCode); }
    std::string getCrashSpeedUnit() const { return headerText(eCrashCrashSpeedUnit); }
    std::string getNumberOfChannels() const { return headerText(eCrashNumberOfChannels); }
    std::string getSimulatedEvent() const { return headerText(eCrashSimulatedEvent); }
    std::string getTestPhase() const { return headerText(eCrashTestPhase); }
    std::string getUnitType() const { return headerText(eCrashUnitType); }
    std::string getChannelsOrientation() const { return headerText(eCrashChannelsOrientation); }
    std::string getSeriesNumber() const { return headerText(eCrashSeriesNumber); }
    std::string getComments() const { return headerText(eCrashComments); }
    std::string getCatapultTest() const { return headerText(eCrashCatapultTest); }
    std::string getBumperShield() const { return headerText(eCrashBumperShield); }
    std::string getBumperFoam() const { return headerText(eCrashBumperFoam); }
    std::string getBumperCode() const { return headerText(eCrashBumperCode); }
    std::string getImpactorType() const { return headerText(eCrashImpactorType); }
    std::string getImpactSpeedUnit() const { return headerText(eCrashImpactSpeedUnit); }
    mpf_class getCrashAngle() const { return headerNumber(eCrashCrashAngle); }
    mpf_class getCrashSpeed() const { return headerNumber(eCrashCrashSpeed); }
    mpf_class getHorizontalCovering() const { return headerNumber(eCrashHorizontalCovering); }
    mpf_class getObstacleMass() const { return headerNumber(eCrashObstacleMass); }
    mpf_class getVehicleMass() const { return headerNumber(eCrashVehicleMass); }
    mpf_class getVehicleSpeed() const { return headerNumber(eCrashVehicleSpeed); }
    mpf_class getVerticalCovering() const { return headerNumber(eCrashVerticalCovering); }
    mpf_class getYPosition() const { return headerNumber(eCrashYPosition); }
    mpf_class getBumperTemperature() const { return headerNumber(eCrashBumperTemperature); }
    mpf_class getImpactorMass() const { return headerNumber(eCrashImpactorMass); }
    mpf_class getImpactSpeed() const { return headerNumber(eCrashImpactSpeed); }
    long getInstrumentationNumber() const;

    // The channels of the recording.
    cChannelInput* firstChannelInput(unsigned int& cursor) const;
    cChannelInput* nextChannelInput(unsigned int& cursor) const;
    unsigned int getChannelInputSize() const;
    // The recording owns the channel from here on.
    void addChannelInput(cChannelInput* const channel);

    tTtfSettings const& getTtfSettings() const { return m_ttfSettings; }
    bool TTFSettingListEmpty() const { return m_ttfSettings.empty(); }
    structTTF* firstTTFSetting(tTtfCursor& cursor) const;
    structTTF* nextTTFSetting(tTtfCursor& cursor) const;
    bool endOfTTFSettingList(tTtfCursor const& cursor) const { return cursor == m_ttfSettings.end(); }
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
    // Writes the file's settings into a group of its "File" group, by the group's name: "Time Event
    // Settings List" gets one "Time Event Settings" per expectation, "Channel Defects List" one
    // "Channel Defects" per channel with a defect. A group of any other name gets both lists added.
    void buildFile(cConfigurationGroup* group) const;
    // Writes into a "Channel Defects List" group what a batch run needs: one "Channel Defects" per
    // channel with a defect in use, holding only the defects in use.
    void buildFileForBatchMode(cConfigurationGroup* group) const;

    tChannelDefects const& getMapOfFileChannelDefects() const { return m_channelDefects; }
    // The channel configuration of the last isDefect call (null before one, or for an unknown channel).
    CSensorDefectChannelConfiguration* getCurrentChannelConfiguration() const
    {
        return m_currentChannelConfiguration;
    }
    // Gives each channel of the active preprocessing set its defect configuration, with the defects a
    // CSH recording declares on it (unused).
    void FillMapOfFileChannelDefects();
    // The same for the named channels: the recording is loaded first; each channel spans 0 to its end
    // time in the recording (0 for a channel the recording lacks); a channel already in the map keeps
    // what it has.
    void FillMapOfFileChannelDefects(std::vector<std::string> const& channelNames);
    // Replaces the defects of the channels in the map by the "Channel Defects" groups of a file list
    // (channels not in the map are passed over); false when a defect lacks a key or has an unknown type
    // (that defect is passed over, the others are read). A null group changes nothing and is true.
    bool loadMapOfFileChannelDefects(cConfigurationGroup* group);
    // Switch on or off the first defect of channel that has defect's name; nothing when there is none.
    void addUsedDefect(CSensorDefect* defect, std::string channel);
    void removeUsedDefect(CSensorDefect* defect, std::string channel);
    void changeStateSensorDefect(CSensorDefect* defect, std::string channel, bool used);
    bool isAnyDefectUsed() const;
    // Whether the sample at that index of the channel, sampled at frequency (Hz), falls in a defect
    // that is in use and was added on the fly; the time is in milliseconds in single precision.
    // Remembers the channel's configuration (getCurrentChannelConfiguration).
    bool isDefect(std::string const& channelName, unsigned int sample, float frequency);
    // The same for a channel of the active preprocessing set, by its name.
    bool isDefect(cChannel const* channel, unsigned int sample, float frequency);

private:
    // Opens the recording at path in its format (by extension, "csh", "bin" or "mme") and builds the file.
    cKynFile(char const* path, int mode, cCfgInputFile* crashMappingFile);
    // Builds the file around a recording already made (owned from here on, also on failure).
    explicit cKynFile(cInputFile* recording);
    // One "No Fire" entry for each file-linked time event of the active algorithm.
    void initialiseTtfSettings();
    void clearTtfSettings();
    void clearChannelDefects();
    void buildTtfSettings(cConfigurationGroup* group) const;
    // One "Channel Defects" group per channel with a defect; usedOnly keeps the channels with a
    // defect in use, and in them only those defects.
    void buildChannelDefects(cConfigurationGroup* group, bool usedOnly) const;
    // The recording as a crash acquisition (header, defects), or null for a recording made in memory.
    cAcquisitionInputFile* acquisition() const;
    std::string headerText(ECrashText field) const;
    mpf_class headerNumber(ECrashNumber field) const;

    tTtfSettings m_ttfSettings;
    long m_color = 0x4639ff;
    bool m_used = false;
    bool m_loaded = false;
    bool m_forceDisplayWarningMessages = false;
    CSensorDefectChannelConfiguration* m_currentChannelConfiguration = nullptr;
    tChannelDefects m_channelDefects;
    cInputFile* m_inputFile = nullptr;
    bool m_selected = false;
};

// The crash input file of the right format for path, its directory read and its stream closed (the
// channels read their samples through streams of their own): "csh", "bin" or "mme" in any case. Any
// other extension, or a file that cannot be opened, gives cFstreamOpenException with the path;
// cTooManyOpenFilesException when the process is out of file handles. The caller owns the result.
cInputFile* makeAcquisitionFile(char const* path, int mode, cConfigurationGroup* crashMapping);

// The crash file being computed, set by the computation manager while it runs; null before.
extern cKynFile* myActiveFile;
