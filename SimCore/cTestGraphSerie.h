// cTestGraphSerie: the curve of one criterion on one crash file on one graph. At the end of each
// iteration computeResults turns the stored signal into graph data (over time, or against the graph's
// abscissa criterion, paired by time with interpolation) and folds it into the envelope of minimum,
// nominal and maximum curves. It runs on the thread of the stage that owns the criterion and works in
// thread-local scratch storages, so that no call allocates once they have grown.
#pragma once
#include "BaseKit/cStorage.h"
#include "PlotKit/cEnvelopeGraphSerie.h"
#include <gmpxx.h>
#include <string>

class cCriterionValuesForOneFile;
class cGraph;
class cKynFile;
class cTestMgr;
class cTimeEvent;

class cTestGraphSerie : public cEnvelopeGraphSerie
{
public:
    explicit cTestGraphSerie(ESerieType type);
    ~cTestGraphSerie() override;

    void setGraph(cGraph* graph) { m_graph = graph; }
    cGraph* getGraph() const { return m_graph; }
    void setOrdinate(cCriterionValuesForOneFile* ordinate) { m_ordinate = ordinate; }
    cCriterionValuesForOneFile* getOrdinate() const { return m_ordinate; }
    cTimeEvent* getReferenceTimeEvent() const { return m_referenceTimeEvent; }
    void setDefaultColor(unsigned long color) { m_defaultColor = color; }
    // True from construction until the first real curve.
    bool isAThreshold() const { return m_isAThreshold; }
    bool isComputedOnce() const { return m_computedOnce; }

    // Hands the curve of the iteration just finished to the envelope.
    void computeResults(cKynFile const* file, bool shortcut, bool crashColor);
    // A new run: the curves go unless the graph's test keeps this crash file's results.
    void reset(bool toBeDrawn);
    // The crash file's colour when the test and the criterion both ask for it, else the default.
    void crashColorChanged(cKynFile const* file, bool crashColor);
    // The enable flag of the graph (false without a graph).
    bool getGraphEnableStatus() const;
    // Draws a given curve (a threshold) while the envelope has no data, converted unless the test
    // shows raw values: by the series' own factors, or by the two given.
    void addSpecificPoints(cStorage<float> const& xs, cStorage<float> const& ys);
    void addSpecificPoints(cStorage<float> const& xs, cStorage<float> const& ys, mpf_class const& xFactor,
                           mpf_class const& yFactor);

    // Readers of the current envelope, index by index (no bound check); sizes 0 for a missing curve.
    float getMinValue(unsigned int index) const;
    float getNomValue(unsigned int index) const;
    float getMaxValue(unsigned int index) const;
    float getMinXValue(unsigned int index) const;
    float getNomXValue(unsigned int index) const;
    float getMaxXValue(unsigned int index) const;
    float getMinTValue(unsigned int index) const;
    float getNomTValue(unsigned int index) const;
    float getMaxTValue(unsigned int index) const;
    unsigned int getMinSerieSize() const;
    unsigned int getNomSerieSize() const;
    unsigned int getMaxSerieSize() const;

    bool getHotPointEnabled() const override;
    bool getLsbEnabled() const override;
    // Whether the mouse is within 3 line widths of the current envelope's nominal curve, or of its
    // minimum or maximum curve; `file` receives the crash file address. False while not drawn.
    bool interceptMouse(CPoint point, unsigned long long& file) override;
    bool interpolateYXRangeOnTimeEvent(unsigned long long file, float time, float& xMin, float& xMax,
                                       float& yMin, float& yMax) override;
    bool isToBeDrawn() const override;
    bool SetIfItIsToBeDrawn(unsigned long long address, bool toBeDrawn) override;
    unsigned long long GetCrashFileAddress() const override;
    std::string GetCrashFileName() const override;
    long GetCrashFileColor() const override;
    unsigned long GetDefaultColor() const override;

private:
    // Whether the graph's test keeps the results of this series' crash file.
    bool isMaintained() const;
    // The parts of computeResults, in its order. The first call of a run: a test that keeps the
    // earlier runs' curves starts a new envelope.
    void beginRun(cTestMgr const* test, cKynFile const* file);
    // The entry time of the graph's reference time event in ticks and in ms (0 without one); false
    // when the reference event has no value in this iteration.
    bool findEntryTime(cTestMgr const* test, long& refTicks, float& refMs);
    // Against the graph's abscissa criterion: the two curves paired by time, each point at the
    // earlier of the two next sample times with the other curve interpolated there. False when
    // there is nothing to pair.
    bool pairWithAbscissa(cSignalStorage<float> const& values, bool lsb, double yf, long refTicks,
                          float refMs, cStorage<float>& times, cStorage<float>& xs,
                          cStorage<float>& ys) const;
    // Over time: the samples from the entry time on, or a constant criterion's two points.
    void sampleOverTime(cSignalStorage<float> const& values, double yf, long refTicks, float refMs,
                        cStorage<float>& times, cStorage<float>& ys) const;
    void applyColor(cKynFile const* file, bool crashColor);

    cGraph* m_graph = nullptr;
    cCriterionValuesForOneFile* m_ordinate = nullptr;
    cTimeEvent* m_referenceTimeEvent = nullptr;
    unsigned long m_defaultColor = 0;
    bool m_isAThreshold = true;
    bool m_computedOnce = false;
};
