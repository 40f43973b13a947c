// cTimeEvent: an instant that the algorithm finds in a crash, such as the time to fire of a restraint.
// Each iteration of each crash file gives it at most one value, a whole number of ticks of the
// precision frequency, or -1 for no fire. cTimeEventValuesForOneFile keeps, per crash file, the value of
// the current iteration, the minimum, nominal (iteration 0) and maximum over all iterations with the
// vehicle's displacement at those instants, and a histogram of the values with the drift combination
// of the first iteration that gave each value: the robustness answer of a drift study. After a run
// both reduce these values to the reports of SimCore/TtfSummary.h and to the three report graphs.
#pragma once
#include "BaseKit/cStorage.h"
#include "BaseKit/mpfClass.h"
#include "SimCore/TtfSummary.h"
#include "SimCore/cGraphParameter.h"
#include "SimCore/cKynFile.h"
#include "SimCore/cParameterMgr.h"
#include <map>
#include <string>
#include <vector>

class cCountGraphSerie;
class cDriftParameter;
class cMinNomMaxByStringGraphSerie;
class cMinNomMaxByValueGraphSerie;
class cTestMgr;
class cTimeEvent;

// One value of the histogram: how many iterations gave it, and the converted drift combination of
// the first of them (owned).
struct sIterationHistogramRecord
{
    sIterationHistogramRecord();
    sIterationHistogramRecord(sIterationHistogramRecord const&) = delete;
    sIterationHistogramRecord& operator=(sIterationHistogramRecord const&) = delete;
    ~sIterationHistogramRecord();

    unsigned int count = 0;
    cStorage<mpfClass*> combination;
};

class cTimeEventValuesForOneFile : public cParameterValuesForOneFile
{
public:
    typedef std::map<long, sIterationHistogramRecord*> tHistogram;

    cTimeEventValuesForOneFile(cTimeEvent* timeEvent, cKynFile* crashFile);
    // Deletes the histogram's records with their combinations.
    ~cTimeEventValuesForOneFile() override;

    // The writers of the algorithm stage: the first value set in an iteration wins unless forced.
    void set(long value, bool force)
    {
        if (force || m_iterationValue == -1)
            m_iterationValue = value;
    }
    void setForced(long value) { m_iterationValue = value; }
    bool isSet() const { return m_iterationValue != -1; }
    long getIterationValue() const { return m_iterationValue; }
    void setComputedDisplacement(mpf_class const& displacement) { m_computedDisplacement = displacement; }
    mpf_class const& getComputedDisplacement() const { return m_computedDisplacement; }

    // Over the iterations of this crash file so far (ticks; -1 while no iteration fired).
    long getMinValue() const { return m_minValue; }
    long getNomValue() const { return m_nomValue; }
    long getMaxValue() const { return m_maxValue; }
    mpf_class const& getMinDisplacement() const { return m_minDisplacement; }
    mpf_class const& getNomDisplacement() const { return m_nomDisplacement; }
    mpf_class const& getMaxDisplacement() const { return m_maxDisplacement; }
    float getTargetMin() const { return m_targetMin; }
    float getTargetMom() const { return m_targetNom; }
    float getTargetMax() const { return m_targetMax; }
    tHistogram const& getIterationHistogram() const { return m_histogram; }
    unsigned int getIterationCount() const { return m_iterationCount; }

    // The value of every iteration, kept under the full margin feature only.
    cStorage<long> const& getIterationValueList() const { return m_iterationValues; }
    unsigned int getNbrValue() const { return m_iterationValues.size(); }
    unsigned int getSize() const { return m_iterationValues.size(); }
    // Iteration i in milliseconds, -1.0 for no fire.
    double getIterationNbrValue(unsigned int index) const;

    cTimeEvent* getTimeEvent() const { return m_timeEvent; }
    long getPrecisionFrequency() const;
    bool computeDisplacement() const;
    // The crash file's expected values for this event when the event is file-linked, else null.
    structTTF* findFileStructTTF() const;

    // During iteration 0 only: the target nominal becomes the time of the first step whose converted
    // displacement reaches the target, less offset.
    void setTargetTimeWithDisplacement(mpf_class const& targetDisplacement, float offset);
    // Folds the iteration value into minimum, nominal, maximum, displacements, histogram and list.
    void addLastIterationValue();

    // The reports of this crash file, made between runs. A null series is not drawn: only the
    // summary is filled. Times are milliseconds, -1.0 for no fire.
    //
    // Extremes, their shares, displacements and combinations, the no-fire share and combination, and
    // the share of each time; each time goes to the series with its count.
    void buildPerCentSerie(cCountGraphSerie* serie, TTFStudySummary& summary) const;
    // Extremes and their combinations; each kept iteration goes to the series at its time against
    // its value of `drift`.
    void buildDriftMinNomMaxSerie(cMinNomMaxByValueGraphSerie* serie, cDriftParameter* drift,
                                  DriftStudySummary& summary) const;
    // Appends nominal, maximum and minimum time under `name` to the series and the three times to
    // the summary's lists.
    void buildCrashMinNomMaxSerie(cMinNomMaxByStringGraphSerie* serie, std::string const& name,
                                  CrashStudySummary& summary) const;
    // Appends the first place, at or below the drift's current value, where the next larger value of
    // `drift` moves the time to fire by at least `threshold` ms, both times firing. The caller owns
    // the element.
    void buildTTFDispersionStudy(double threshold, cDriftParameter* drift,
                                 cStorage<TTFDispersionStudy*>& result) const;
    // The values of `drift` nearest to its nominal value among the iterations that decide unlike
    // the nominal iteration, and the shares of fire and no fire.
    void buildClosestDriftCombinationsSerie(cDriftParameter* drift,
                                            DriftClosestNominalStudySummary& summary) const;

    void reset(cStorage<cGraph const*>& graphs, cStorage<cGraph const*>& activeGraphs,
               std::map<cGraph const*, bool>& drawingEnable) override;
    void endOfIteration() override;
    void prepareForTest() override;
    void crashColorChanged(cKynFile const* file, cGraph const* graph) override;

protected:
    // Creates the mark of the event on the graph (a vertical line, or a rectangle on a graph against
    // an abscissa criterion), or prepares the one it has for a new run.
    void addGraphObject(cGraph* const graph, std::string const& label, bool drawingEnabled);

private:
    void clearHistogram();
    // The parts of addLastIterationValue, in its order. One more iteration of this value: a new
    // value keeps the drift combination of the iteration that first gave it.
    void countInHistogram(long value);
    // Iteration 0: minimum, nominal and maximum all take the value (and its displacement).
    void startExtremes(long value, bool withDisplacement, mpf_class const& algorithmMax);
    // Later iterations: the displacements at the minimum and maximum, against the extremes so far.
    void widenDisplacements(long value, mpf_class const& algorithmMax);
    // Later iterations: the value widens the minimum and maximum.
    void widenExtremes(long value);
    // Ticks in milliseconds, -1.0 for no fire.
    float toMilliseconds(long ticks) const;
    // The converted value of `drift` in iteration `iteration` of the kept list.
    mpf_class iterationDriftValue(unsigned int iteration, cDriftParameter* drift) const;
    // Takes value as the closest one on either side of nominal where it is closer than what close
    // holds (a value equal to nominal on both sides); the earlier iteration keeps a tie. True when
    // close changed.
    static bool insertIfClosestValue(mpf_class const& value, mpf_class const& nominal, unsigned int iteration,
                                     DriftClosestNominalStudySummary::CloseSummary& close);

    long m_iterationValue = -1;
    long m_minValue = -1;
    long m_nomValue = -1;
    long m_maxValue = -1;
    mpf_class m_computedDisplacement;
    mpf_class m_minDisplacement;
    mpf_class m_nomDisplacement;
    mpf_class m_maxDisplacement;
    float m_targetMin = 0.0f;
    float m_targetNom = 0.0f;
    float m_targetMax = 0.0f;
    tHistogram m_histogram;
    cStorage<long> m_iterationValues{20};
    unsigned int m_iterationCount = 0;
    cTimeEvent* m_timeEvent;
};

// The bits of buildFile's mask that select a time event's own keys, named after the key each writes.
// They are bits 1 to 7, which cParameter::buildFile also reads (kFileKeyUnit to kFileKeyPath), so
// one mask selects both sets of keys.
enum ETimeEventFileKey : int
{
    kFileKeySableName = 1 << 1,
    kFileKeyFileLink = 1 << 2,
    kFileKeyCategory = 1 << 3,
    kFileKeyAlgorithm = 1 << 4,
    kFileKeyComputeDisplacement = 1 << 5,
    kFileKeyReference = 1 << 6,
    kFileKeyReferenceDisplacement = 1 << 7,
};

class cTimeEvent : public cGraphParameter
{
    friend class cTimeEventMgr;

public:
    typedef std::map<std::string, std::string> tNameMap;
    typedef std::map<std::string, bool> tFlagMap;

    // Reads the parameter, the colour and the keys of a time event; the unit becomes "ms".
    cTimeEvent(cConfigurationGroup* group, std::string const& ownerName);
    cTimeEvent(cTimeEvent const& other) = default;
    cTimeEvent& operator=(cTimeEvent const& other) = default;

    cTimeEventValuesForOneFile* getActiveTimeEventValuesForOneFile() const
    {
        return static_cast<cTimeEventValuesForOneFile*>(m_activeValues);
    }
    // getValueList under the derived type; cBadTimeEventValueReference without an entry.
    cTimeEventValuesForOneFile* getTimeEventValueList(cKynFile const* const file) const;

    bool isConstructed() const { return m_constructed; }
    bool isFileLinked() const { return m_fileLink; }
    std::string getAlgoType() const { return m_algoType; }
    void setAlgoType(std::string type) { m_algoType = type; }
    std::string getTimeEventCategory() const { return m_category; }
    std::string getSableName() const { return m_sableName; }
    bool computeDisplacement() const { return m_computeDisplacement; }
    std::string getReferenceName() const { return m_reference; }
    std::string getReferenceNameDisplacement() const { return m_referenceDisplacement; }
    std::string getMarginTestPath() const { return m_marginTestPath; }
    bool isMarginTestLinked() const { return m_marginTestLink; }
    bool isAlwaysActive() const { return m_alwaysActive; }

    // Margin tests (not owned): the iteration waits for this event's value while one is registered.
    void registerMarginTest(cTestMgr const* const test) { m_marginTests.add(test); }
    bool isMarginTestRegistered(cTestMgr const* const test) const;
    // Removes the first occurrence.
    virtual void removeMarginTest(cTestMgr const* const test);
    cStorage<cTestMgr const*> const& getMarginTests() const { return m_marginTests; }

    long getPrecisionFrequency() const { return m_precisionFrequency; }
    void setPrecisionFrequency(long frequency) { m_precisionFrequency = frequency; }

    // The view maps, keyed by the path of a test graph; the test manager fills them.
    tNameMap const& getTestGraphNameMap() const { return m_testGraphNames; }
    void insertTestGraphPathName(std::string graphPath, std::string path);
    tFlagMap const& getTestGraphTEVisibleMap() const { return m_testGraphVisible; }
    void setTestGraphTEVisibleMap(tFlagMap const& map) { m_testGraphVisible = map; }
    void insertTestGraphPathTEVisible(std::string graphPath, bool visible);
    bool setTeVisibility(std::string const& graphPath, bool visible);
    tFlagMap const& getParentTESelectMap() const { return m_parentSelect; }
    void setParentTESelectMap(tFlagMap const& map) { m_parentSelect = map; }
    void insertParentTESelectMap(std::string graphPath, bool selected);
    bool setTeParentSelection(std::string const& graphPath, bool selected);
    tFlagMap const& getTESelectMap() const { return m_select; }
    void setTESelectMap(tFlagMap const& map) { m_select = map; }
    void insertTESelectMap(std::string graphPath, bool selected);
    bool setTeSelection(std::string const& graphPath, bool selected);

    // Whether an iteration may stop as far as this event is concerned: never while it is shown on a
    // graph; with margin tests, once the current iteration has its value.
    bool canBeStopped() const;

    cParameterValuesForOneFile* createNewValuesForOneFile(cKynFile* const file) override;
    // cGraphParameter's keys, then those of the ETimeEventFileKey bits.
    void buildFile(cConfigurationGroup* group, int flags) override;

    // The reports of one crash file, made between runs; a crash file without values leaves the
    // summary invalid. A null series is not drawn.
    void buildPerCentSerie(cCountGraphSerie* serie, cKynFile* file, TTFStudySummary& summary) const;
    // Valid only for more than one kept iteration.
    void buildDriftMinNomMaxSerie(cMinNomMaxByValueGraphSerie* serie, cKynFile* file, cDriftParameter* drift,
                                  DriftStudySummary& summary) const;
    // One bar per crash file of the current list that has values, in list order, the first at the
    // top: the series is reversed at the end and must not be null.
    void buildCrashMinNomMaxSerie(cMinNomMaxByStringGraphSerie* serie, CrashStudySummary& summary) const;
    // The same lists without a graph, and the share of no-fire iterations of each crash file.
    void calculateTtfSummary(CrashStudySummary& summary, std::vector<float>& percentNoFire) const;

protected:
    ~cTimeEvent() override;
    // The expected value of this kind in the crash file as text ("NotDef" for an event without file
    // link), at the parameter's precision.
    std::string findOptValue(cKynFile* file, ETtfKind kind) const;

private:
    void setConfiguration(cConfigurationGroup* group);
    // Empties the reports' fields that a report of this event fills, and takes the precision.
    template <class tSummary> void startSummary(tSummary& summary) const;
    void startCrashSummary(CrashStudySummary& summary) const;
    // The values of the file through a checked access: std::out_of_range "invalid map<K, T> key"
    // without an entry.
    cTimeEventValuesForOneFile* valuesAt(cKynFile* file) const;

    bool m_constructed = false;
    bool m_fileLink = false;
    std::string m_algoType;
    std::string m_category;
    std::string m_sableName;
    bool m_computeDisplacement = false;
    std::string m_reference;
    std::string m_referenceDisplacement;
    std::string m_marginTestPath;
    bool m_marginTestLink = false;
    bool m_alwaysActive = false;
    cStorage<cTestMgr const*> m_marginTests{10};
    long m_precisionFrequency = 0;
    tNameMap m_testGraphNames;
    tFlagMap m_testGraphVisible;
    tFlagMap m_parentSelect;
    tFlagMap m_select;
};

class cTimeEventMgr : public cGraphParameterMgr<cTimeEvent>
{
public:
    cTimeEventMgr(std::string const& itemName = "Time Event",
                  std::string const& listName = "Time Events List");
    // True at the end of the list or at a null entry; false at the first event shown on a graph, or
    // with a margin test and no value yet in the current iteration. An empty list can be stopped.
    bool canBeStopped() const;
    // Calls removeMarginTest on each event.
    virtual void removeMarginTest(cTestMgr const* const test);
    // The valid crash summaries of the events in list order; with a test, of the events that have it
    // among their margin tests only.
    TtfSummary CalculateTtfSummary(cTestMgr const* test) const;
};
