// cAlgorithm: the last stage of the pipeline and the base of the concrete crash-sensing algorithm,
// which the host derives and hands over. For each unit iteration the stage turns the channels'
// signals into integer sample arrays (short channels padded, defects injected on the fly), integrates
// the acceleration twice into the vehicle's displacement, and steps its subclass sample by sample
// until every time event anybody waits for is decided. The subclass writes its criteria and time
// events through the writers below. The stage is configured from its algorithm file and sweeps the
// drifts of the active calibration.
#pragma once
#include "BaseKit/cStorage.h"
#include "BaseKit/cTraceProvider.h"
#include "BaseKit/mpfClass.h"
#include "SimCore/cCriterion.h"
#include "SimCore/cDriftManager.h"
#include "SimCore/cFileConfigured.h"
#include "SimCore/cTimeEvent.h"
#include <cstdint>
#include <gmpxx.h>
#include <map>
#include <memory>
#include <string>
#include <vector>

class cCfgInputFile;
class cChannel;
class cEquation;

// One finding of the calibration file check that a concrete algorithm offers (the EEPROM file against
// the calibration).
struct AefCheckerEntry
{
    std::string parameterName;
    std::string eepromName;
    std::string expectedValue;
    std::string foundValue;
    std::string message;
};

class cAlgorithm : public cDriftManager, public cFileConfigured
{
public:
    typedef std::map<std::string, long> tEepromValues;
    typedef tEepromValues::const_iterator tEepromCursor;

    cAlgorithm(cAlgorithm const&) = delete;
    cAlgorithm& operator=(cAlgorithm const&) = delete;
    // Ends the thread, then frees the displacement, its factor and the private part.
    ~cAlgorithm() override;

    // The input signal of a channel in this iteration (the unit's output); cBadChannelReference
    // (line 611) for a channel the stage does not know.
    cSignalStorage<float>* getInputData(cKynThread* channel) const;
    // sample * 1000 / sampling rate + T0 / 1000, in float: the time of a step in milliseconds.
    float getTimeValueInMs(unsigned int sample) const;
    // Each channel's defect array: 1 where the active file has a defect added on the fly and in use.
    void FillDefectsOnTheFlyMap(float rate);

    std::string getAlgorithmName() const { return m_algorithmName; }
    void setAlgorithmName(std::string const& name) { m_algorithmName = name; }
    std::string getRealName() const { return m_realName; }
    void setRealName(std::string const& name) { m_realName = name; }
    std::string getEcuVersionFromCfg() const { return m_ecuVersion; }
    cConfigurationGroup* getTestCfgGroup() const { return m_testGroup; }
    void setTestCfgGroup(cConfigurationGroup* group) { m_testGroup = group; }
    uint32_t getNumberOfGVTWindows() const { return m_gvtWindows; }
    void IncreaseNumberOfGVTWindows() { ++m_gvtWindows; }
    void DecreaseNumberOfGVTWindows() { --m_gvtWindows; }

    float getSamplingRate() const { return m_samplingRate; }
    int32_t getT0() const { return m_t0; }
    unsigned int getSampleCount() const { return m_sampleCount; }
    unsigned int getCurrentSampleIndex() const { return m_currentSampleIndex; }

    void eepromCheckRequest(bool requested) { m_eepromCheckRequested = requested ? 1 : 0; }
    bool isEepromCheckRequested() const { return m_eepromCheckRequested != 0; }
    void fullMarginFeatureRequest(bool requested) { m_fullMarginRequested = requested ? 1 : 0; }
    bool isFullMarginFeatureRequested() const { return m_fullMarginRequested != 0; }
    void fullMarginFeatureRequestOnAllMultipreprocessing(bool requested)
    {
        m_fullMarginOnAllItems = requested ? 1 : 0;
    }
    bool isFullMarginFeatureRequestedOnAllMultipreprocessing() const { return m_fullMarginOnAllItems != 0; }
    void fullDriftDistributionRequest(bool requested)
    {
        m_fullDriftDistributionRequested = requested ? 1 : 0;
    }
    bool isFullDriftDistributionRequested() const { return m_fullDriftDistributionRequested != 0; }
    void setTTDDispersionStudyRequest(bool requested) { m_ttdDispersionStudyRequested = requested ? 1 : 0; }
    bool getTTDDispersionStudyRequest() const { return m_ttdDispersionStudyRequested != 0; }
    int32_t getTimeEventsPrecisionFrequency() const { return m_timeEventsPrecisionFrequency; }
    // The decimals a time in milliseconds needs at the precision frequency, at most 6.
    uint32_t getTimeEventsPrecisionForMs() const { return m_timeEventsPrecisionForMs; }
    bool isDefaultConfiguration() const { return m_defaultConfiguration != 0; }

    // The displacement, one value per step in raw units: a copy of the list (the values are copies).
    cStorage<mpfClass*> getDisplacement() const;
    cStorage<mpfClass*> const& getDisplacementList() const { return m_displacement; }
    // The largest value, 0 for an empty list.
    mpf_class getMaxDisplacement() const;
    // value * the evaluated displacement conversion factor.
    mpf_class computeConvertedDisplacementValue(mpf_class const& value) const;
    cStorage<mpfClass*> getConvertedDisplacement() const;
    // The evaluated factor; 1 when the file's factor failed to build.
    mpf_class getDisplacementConversionFactor() const;
    std::string getDisplacementUnit() const { return m_displacementUnit; }
    int32_t getDisplacementPrecision() const { return m_displacementPrecision; }

    // Read access to the stage's lists, for whoever holds the stage only as a stage.
    cCriterionMgr const& criterionGetter() const { return *this; }
    cTimeEventMgr const& timeEventGetter() const { return *this; }

    ObjectLogger& getLogger() const;
    // The EEPROM values the concrete algorithm's check collected, by EEPROM name.
    std::pair<std::string const, long> const* firstEepromValueList(tEepromCursor& cursor) const;
    std::pair<std::string const, long> const* nextEepromValueList(tEepromCursor& cursor) const;
    bool endOfEepromValueList(tEepromCursor const& cursor) const;
    bool EepromValueListEmpty() const;
    // Whether the event came with the extra group rather than with the algorithm's own file.
    bool isExtraTimeEvent(cTimeEvent const* timeEvent) const;
    void enableAefChecker();
    bool isAefCheckerEnabled() const;
    char getCalibrationRevisionChar() const;
    void setCalibrationRevisionChar(char revision);
    // The subclass's check of a calibration file, when the checker is enabled; empty otherwise.
    std::string getAefCheckerXlsxVersion();
    std::vector<AefCheckerEntry> getAefCheckerEntries();

    // The items the file carries and the stage does not read, read from the held file at each call:
    // "Algorithm Version", "Status" and "Validation Plan Reference" (mandatory), "History File".
    std::string getSoftVersion() const;
    std::string getStatus() const;
    std::string getValidationPlan() const;
    std::string getHistoryFile() const;

    // Reads the algorithm file (none for an empty name) without extra time events.
    void setConfiguration(std::string const& fileName) override;
    using cFileConfigured::setConfiguration;
    // Clears the criteria and time events, then loads "Criteria List" and "Time Events List" of file.
    // keepFile: the file becomes the stage's own; otherwise only its pointer is held.
    void loadFromConfiguration(cCfgInputFile* file, std::string const& path, bool keepFile);
    // Fills file's top group: with copyHeader, the items the algorithm file keeps (others dropped) and
    // the held file's "Criteria List" and "Time Events List" groups themselves (not copies); then the
    // test group. Then the computation manager's first test named "GVT", if any, writes its views
    // back into that group: their enable states with withTests, otherwise the states of their graphs,
    // curves and marks.
    void buildFile(cCfgInputFile* file, bool withTests, bool copyHeader);

    // Virtual operations added to those of cDriftManager, in the order of their slots.
    // First thing when the computation manager changes multi-preprocessing item.
    virtual void beginMultiPreprocessingItem() = 0;
    // prepareThreadStart, then the thread (none in simulation mode).
    virtual uint32_t start(int priority, void* parameter, unsigned long stackSize);
    // To the held file (empty name; refused when locked, line 912, or absent, line 903) or to a new
    // file written as "Algorithm", which the held file then follows in name and lock unless
    // keepHeldFile.
    virtual void saveSettings(std::string comment, bool withTests, std::string const& fileName,
                              bool keepBackup, bool keepHeldFile);
    // saveSettings without keeping the held file.
    virtual void save(std::string comment, bool withTests, std::string const& fileName, bool keepBackup);
    // The held file takes file's name and lock; its content stays.
    virtual void setFile(cCfgInputFile* const file);
    // The channels' entries of the three maps, made anew for the item's channels.
    virtual void changeMultiPreprocessingItem();
    using cFileConfigured::saveSettings;
    using cKynThread::start;

protected:
    // A stage read from fileName (none for an empty name: the stage stays unconfigured); the time
    // events of extraTimeEvents come first and are the extra ones.
    explicit cAlgorithm(std::string const& fileName);
    cAlgorithm(std::string const& fileName, cConfigurationGroup* extraTimeEvents);

    // The hooks of the concrete algorithm, in the order of their slots: when each is called is their
    // whole contract (docs/writing-an-algorithm.md).
    // The sample arrays hold the first element (the dummy at T0) of each channel.
    virtual void initialiseWithFirstDataSamples() {}
    // All data of the iteration stand ready and no step has run.
    virtual void initialiseForFirstIteration() {}
    // The acceleration at that step in raw units, for the displacement; 0 here.
    virtual int32_t getDisplacementAccValue(unsigned int sample);
    virtual void stepGvtWindows() = 0;
    virtual void endOfIterationGvtWindows() = 0;
    virtual void stepPhaseOne() = 0;
    // Once per test, on RESET_MSG.
    virtual void resetAlgorithm() = 0;
    virtual void stepPhaseThree() = 0;
    virtual void stepPhaseTwo() = 0;
    virtual void stepPhaseLast() = 0;
    // On RESET_MSG when requested: empties the EEPROM value list.
    virtual void eepromCheck();
    // Before the iterations of a unit output: each criterion's curve grows by samples at once.
    virtual void prepareAllocation(unsigned int samples);
    virtual void changeFileFirst() = 0;
    virtual void changeFileSecond() = 0;
    virtual void prepareThreadStart() = 0;
    virtual void endMultiPreprocessingItem() = 0;
    virtual void appendAefCheckerEntries(std::vector<AefCheckerEntry>& entries);
    virtual std::string getAefCheckerXlsxVersionImpl();

    // The stage's events. reset also takes the active calibration's parameters as the stage's drift
    // parameters, so that its drifts are swept here, in the calibration's order.
    void reset() override;
    void changeFile() override;
    void prepareForTest() override;
    // The arrays, the displacement, the defects, then the steps until the time events can stop and
    // the tail until the subclass clears keep stepping.
    void performIteration() override;
    void steps() override;
    // The unit's outputs of this iteration, then one iteration per calibration drift combination.
    void runTest(cMessage const* data) override;
    // One algorithm iteration more (2528 every tenth).
    void endOfIteration() override;

    // The sample array of a channel: the samples as 32-bit signed integers (truncated), stored as
    // their bit pattern; cBadChannelReference (line 621) for an unknown channel. Read with getSample.
    // Inline: a concrete algorithm may ask for an array at every step.
    cStorage<unsigned int>& getStorageArray(cKynThread* channel)
    {
        auto const found = m_sampleArrays.find(channel);
        if (found == m_sampleArrays.end())
            throwUnknownStorageArray();
        return found->second;
    }
    cStorage<unsigned int>& getStorageArray(cChannel* channel);
    static int32_t getSample(cStorage<unsigned int> const& array, unsigned int index)
    {
        return static_cast<int32_t>(array[index]);
    }
    // 0 or 1 per step; cBadChannelReference (line 158) for an unknown channel.
    cStorage<unsigned int>& getDefectOnTheFlySampleArray(cChannel* channel);
    // 1 when the active file has a defect on the fly in use at that sample of the channel, else 0.
    void getCurrentChannelDefect(cChannel* channel, int& defect, unsigned int sample, float time);
    float getCurrentTimeValueInMs() const { return getTimeValueInMs(m_currentSampleIndex); }
    // The tail loop runs until the subclass clears the flag.
    void setKeepStepping(bool keep) { m_keepStepping = keep ? 1 : 0; }
    bool isKeepStepping() const { return m_keepStepping != 0; }
    tEepromValues& getEepromValueList();

    // The writers of the subclass. A criterion's first value also stores the dummy element and the
    // curve's T0, its third derives the curve's sampling rate from the steps between the calls.
    // Inline: it runs at every step for each criterion the subclass writes.
    void addValueToCriterion(cCriterionValuesForOneFile* values, float value)
    {
        if (values->getSize() == 0)
        {
            // The curve starts at the current step, in whole seconds from the stage's T0 (kept as the
            // curves of existing projects were computed).
            long const seconds = roundHalfAway(float(m_currentSampleIndex) / m_samplingRate);
            values->setT0(seconds * 1000000L + m_t0);
            values->SetHasPointsToTrue();
            values->addValue(0.0f);
        }
        if (values->getSize() == 2)
            deriveCriterionRate(values);
        values->addValue(value);
    }
    // A constant over the whole file, as the two points 0 and the last step; nothing below 2 steps.
    void setConstant2PointsCriterion(cCriterionValuesForOneFile* values, float value);
    // The first writer of an iteration wins: the tick of the current step plus delay milliseconds.
    void setTimeEventValue(cTimeEventValuesForOneFile* values, double delay);
    void setTimeEventValueFromSpecificIteration(cTimeEventValuesForOneFile* values, unsigned int sample,
                                                double delay);

    // Loads the time events of the extra group with the stage's name; they and only they become the
    // extra events. A null group leaves the set as it was.
    void loadExtraTimeEvents(cConfigurationGroup* extra);
    // The stage's precision frequency, given to each of its time events.
    void setTimeEventsPrecisionFrequency(int32_t frequency);
    // Replaces the displacement conversion factor by the equation of this text.
    void setDisplacementConversionFactor(std::string const& text);
    // Appends one displacement value (raw units).
    void addDisplacement(mpf_class const& value);
    void clearDisplacement();

    std::string m_algorithmName;
    std::string m_realName;
    std::string m_ecuVersion;
    cConfigurationGroup* m_testGroup = nullptr;
    uint32_t m_gvtWindows = 0;
    unsigned int m_currentSampleIndex = 0;
    float m_samplingRate = 0.0f;
    int32_t m_t0 = 0;
    unsigned int m_sampleCount = 0;
    unsigned char m_keepStepping = 0;
    unsigned char m_eepromCheckRequested = 0;
    unsigned char m_fullMarginRequested = 0;
    unsigned char m_fullMarginOnAllItems = 0;
    unsigned char m_fullDriftDistributionRequested = 0;
    unsigned char m_ttdDispersionStudyRequested = 0;
    int32_t m_timeEventsPrecisionFrequency = 0;
    uint32_t m_timeEventsPrecisionForMs = 0;
    cStorage<mpfClass*> m_displacement;
    cEquation* m_displacementConversionFactor = nullptr;
    std::string m_displacementUnit;
    int32_t m_displacementPrecision = 5;
    double m_velocityAccumulator = 0.0;
    double m_displacementAccumulator = 0.0;
    unsigned char m_defaultConfiguration = 1;
    std::map<cKynThread*, cStorage<unsigned int>> m_sampleArrays;
    std::map<cKynThread*, cStorage<unsigned int>> m_defectArrays;
    unsigned char m_anyDefectUsed = 0;
    std::map<cKynThread*, cSignalStorage<float>*> m_inputSignals;
    // Made and freed here, for the subclass's own use.
    cStorage<unsigned int> m_spareArray1;
    cStorage<unsigned int> m_spareArray2;

private:
    struct sPrivate;

    // Half away from zero, then truncated.
    static long roundHalfAway(double value)
    {
        return static_cast<long>(value >= 0.0 ? value + 0.5 : value - 0.5);
    }
    [[noreturn]] static void throwUnknownStorageArray();
    // At a curve's third value: its rate from the steps since its first.
    void deriveCriterionRate(cCriterionValuesForOneFile* values) const;

    // Reads the file's items, the displacement factor, the criteria, the extra and own time events,
    // and keeps the file's "Tests List" as the test group.
    void setConfigurationWithExtraTimeEvents(std::string const& fileName, cConfigurationGroup* extra);
    // The integer arrays of the channels' signals, and the displacement: the data of an iteration.
    void fillSampleArrays();
    void integrateDisplacement();
    // An item of the held file; with mandatory, a missing item throws the configuration tree's failure.
    std::string heldItem(char const* key, bool mandatory) const;

    std::unique_ptr<sPrivate> m_private;
};

// The project's algorithm, handed over by the host; null before.
extern cAlgorithm* myActiveAlgorithm;
