// cAcquisitionInputFile: a crash recording as the acquisition of a crash test gives it: the crash
// header (what was crashed into what, how fast, with which unit) and the channel directory, read when
// the file is opened, and the samples, which each channel fetches from here on first use. The formats
// (CSH, BIN, ISO-MME) derive from it and give the parsing; the header fields, the crash mapping and the
// declared defects are common.
#pragma once
#include "StoreKit/cBinaryInputFile.h"
#include "StoreKit/cChannelInput.h"

#include <gmpxx.h>

#include <string>
#include <utility>
#include <vector>

class cConfigurationGroup;

// The text fields of the crash header, in the order of their accessors.
enum ECrashText
{
    eCrashPreciseCrashType,
    eCrashCrashType,
    eCrashHandDrivenCar,
    eCrashObstacleType,
    eCrashTestReference,
    eCrashVehicleCode,
    eCrashTestNumber,
    eCrashSideOfImpact,
    eCrashEventCode,
    eCrashCrashSpeedUnit,
    eCrashNumberOfChannels,
    eCrashSimulatedEvent,
    eCrashTestPhase,
    eCrashUnitType,
    eCrashChannelsOrientation,
    eCrashSeriesNumber,
    eCrashComments,
    eCrashCatapultTest,
    eCrashBumperShield,
    eCrashBumperFoam,
    eCrashBumperCode,
    eCrashImpactorType,
    eCrashImpactSpeedUnit,
    eCrashTextCount
};

// The numeric fields of the crash header.
enum ECrashNumber
{
    eCrashCrashAngle,
    eCrashCrashSpeed,
    eCrashHorizontalCovering,
    eCrashObstacleMass,
    eCrashVehicleMass,
    eCrashVehicleSpeed,
    eCrashVerticalCovering,
    eCrashYPosition,
    eCrashBumperTemperature,
    eCrashImpactorMass,
    eCrashImpactSpeed,
    eCrashNumberCount
};

// A defect a recording declares on one of its channels, in milliseconds.
struct sDeclaredDefect
{
    std::string name;
    double from = 0.0;
    double to = 0.0;
    bool operator==(sDeclaredDefect const&) const = default;
};

// The defects a recording declares for one channel, as the crash file reads them: a number of -1 means
// the recording has no such channel, 0 no defect.
class cChannelDefectRecord
{
public:
    cChannelDefectRecord() = default;
    explicit cChannelDefectRecord(std::vector<sDeclaredDefect> defects);
    int getCSHChannelDefectNumber() const { return m_known ? static_cast<int>(m_defects.size()) : -1; }
    std::string getCSHChannelDefectName(int index) const { return m_defects[index].name; }
    double getCSHChannelDefectFrom(int index) const { return m_defects[index].from; }
    double getCSHChannelDefectTo(int index) const { return m_defects[index].to; }

private:
    bool m_known = false;
    std::vector<sDeclaredDefect> m_defects;
};

class cAcquisitionInputFile : public cBinaryInputFile, public IChannelSampleSource
{
public:
    typedef std::vector<std::pair<std::string, std::string>> tHeaderItems;

    ~cAcquisitionInputFile() override;

    // Reads the header and the channel directory through the open stream; a crash mapping group set
    // before (setCrashMapping) maps foreign header keys onto the crash fields. A file that is not a
    // recording of the format throws cGenericException "Bad crash recording "<path>" at line <n>: ..."
    // (a binary format names the byte offset instead of the line); nothing is ever read past the end.
    void read();
    // The group whose items "<crash field> = <header key>" take a field from a key of the recording's
    // own header, e.g. "Crash Type = Type of the test". Borrowed; may be null. Used by read().
    void setCrashMapping(cConfigurationGroup const* mapping) { m_crashMapping = mapping; }

    // The file key of each field: "Precise Crash Type", ..., "Instrumentation Number".
    static char const* textKey(ECrashText field);
    static char const* numberKey(ECrashNumber field);
    static char const* instrumentationNumberKey() { return "Instrumentation Number"; }

    std::string const& getText(ECrashText field) const { return m_texts[field]; }
    void setText(ECrashText field, std::string value) { m_texts[field] = std::move(value); }
    // A number field as its text ("" when absent), and as a number (0 when absent).
    std::string const& getNumberText(ECrashNumber field) const { return m_numbers[field]; }
    mpf_class getNumber(ECrashNumber field) const;
    // Sets the field from text; false, with nothing changed, when the text is no number (empty clears).
    bool setNumberText(ECrashNumber field, std::string const& text);
    std::string const& getInstrumentationNumberText() const { return m_instrumentationNumber; }
    bool setInstrumentationNumberText(std::string const& text);

    std::string getPreciseCrashType() const { return m_texts[eCrashPreciseCrashType]; }
    std::string getCrashType() const { return m_texts[eCrashCrashType]; }
    std::string getHandDrivenCar() const { return m_texts[eCrashHandDrivenCar]; }
    std::string getObstacleType() const { return m_texts[eCrashObstacleType]; }
    std::string getTestReference() const { return m_texts[eCrashTestReference]; }
    std::string getVehicleCode() const { return m_texts[eCrashVehicleCode]; }
    std::string getTestNumber() const { return m_texts[eCrashTestNumber]; }
    std::string getSideOfImpact() const { return m_texts[eCrashSideOfImpact]; }
    std::string getEventCode() const { return m_texts[eCrashEventCode]; }
    std::string getCrashSpeedUnit() const { return m_texts[eCrashCrashSpeedUnit]; }
    std::string getNumberOfChannels() const { return m_texts[eCrashNumberOfChannels]; }
    std::string getSimulatedEvent() const { return m_texts[eCrashSimulatedEvent]; }
    std::string getTestPhase() const { return m_texts[eCrashTestPhase]; }
    std::string getUnitType() const { return m_texts[eCrashUnitType]; }
    std::string getChannelsOrientation() const { return m_texts[eCrashChannelsOrientation]; }
    std::string getSeriesNumber() const { return m_texts[eCrashSeriesNumber]; }
    std::string getComments() const { return m_texts[eCrashComments]; }
    std::string getCatapultTest() const { return m_texts[eCrashCatapultTest]; }
    std::string getBumperShield() const { return m_texts[eCrashBumperShield]; }
    std::string getBumperFoam() const { return m_texts[eCrashBumperFoam]; }
    std::string getBumperCode() const { return m_texts[eCrashBumperCode]; }
    std::string getImpactorType() const { return m_texts[eCrashImpactorType]; }
    std::string getImpactSpeedUnit() const { return m_texts[eCrashImpactSpeedUnit]; }
    mpf_class getCrashAngle() const { return getNumber(eCrashCrashAngle); }
    mpf_class getCrashSpeed() const { return getNumber(eCrashCrashSpeed); }
    mpf_class getHorizontalCovering() const { return getNumber(eCrashHorizontalCovering); }
    mpf_class getObstacleMass() const { return getNumber(eCrashObstacleMass); }
    mpf_class getVehicleMass() const { return getNumber(eCrashVehicleMass); }
    mpf_class getVehicleSpeed() const { return getNumber(eCrashVehicleSpeed); }
    mpf_class getVerticalCovering() const { return getNumber(eCrashVerticalCovering); }
    mpf_class getYPosition() const { return getNumber(eCrashYPosition); }
    mpf_class getBumperTemperature() const { return getNumber(eCrashBumperTemperature); }
    mpf_class getImpactorMass() const { return getNumber(eCrashImpactorMass); }
    mpf_class getImpactSpeed() const { return getNumber(eCrashImpactSpeed); }
    long getInstrumentationNumber() const;

    // The recording's own time zero in milliseconds, as the file gives it ("" when it gives none).
    // Reported only: the pipeline sets its own T0.
    std::string const& getT0Text() const { return m_t0; }
    void setT0Text(std::string t0) { m_t0 = std::move(t0); }

    // Header items of the recording that are no crash field, in file order; kept so that a write
    // gives them back.
    tHeaderItems const& getExtraHeaderItems() const { return m_extraItems; }
    void addExtraHeaderItem(std::string key, std::string value);
    // The value of a header item by key: a field's text, else the first extra item; "" if absent.
    std::string getHeaderItem(std::string const& key) const;

    // The defects the recording declares per channel (only CSH declares any).
    cChannelDefectRecord getChannelDefectRecord(std::string const& channelName) const;
    std::vector<sDeclaredDefect> const& getDeclaredDefects(unsigned int channelIndex) const;
    void setDeclaredDefects(unsigned int channelIndex, std::vector<sDeclaredDefect> defects);

    // Writes the recording to its own path in its format; a read-only format throws
    // cFileNotWritableException.
    virtual void save();

protected:
    cAcquisitionInputFile(char const* path, int mode);

    // The format's parse of header and directory: header items go through addHeaderItem (which
    // sorts fields from extras), channels through addChannelInput with this file as their source.
    virtual void readDirectory() = 0;
    // The format's own keys that map onto crash fields without a mapping group, applied before it:
    // pairs of (crash field key, header key).
    virtual tHeaderItems defaultCrashMapping() const { return {}; }
    // Records a header item as the recording gives it; a crash field's key fills the field (a number
    // field that is no number throws the format error at that line).
    void addHeaderItem(std::string const& key, std::string const& value, unsigned int line);
    // cGenericException "Bad crash recording "<path>" at line <line>: <what>"; a line of 0 (a binary
    // format has none) gives the message of fail().
    [[noreturn]] void failAtLine(unsigned int line, std::string const& what) const;
    // The same for another file of the recording (an ISO-MME channel file): "Bad crash recording
    // "<file>" at line <line>: <what>".
    [[noreturn]] void failInFile(std::string const& file, unsigned int line, std::string const& what) const;
    // cGenericException "Bad crash recording "<path>": <what>".
    [[noreturn]] void fail(std::string const& what) const;
    // Writes bytes to path + ".tmp-" + process id and renames that over path, so that a failed write
    // never loses the old file; a failure removes the temporary file and throws cFstreamOpenException
    // with the path.
    static void replaceFileContent(std::string const& path, std::string const& bytes);
    // The raw header items as the recording gave them, for the mapping.
    tHeaderItems const& getRawHeaderItems() const { return m_rawItems; }

private:
    void applyCrashMapping();

    std::string m_texts[eCrashTextCount];
    std::string m_numbers[eCrashNumberCount];
    std::string m_instrumentationNumber;
    std::string m_t0;
    tHeaderItems m_extraItems;
    tHeaderItems m_rawItems;
    std::vector<std::vector<sDeclaredDefect>> m_defects;
    cConfigurationGroup const* m_crashMapping = nullptr;
};
