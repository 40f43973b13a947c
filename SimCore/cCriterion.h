// cCriterion: a curve that the algorithm or a preprocessor produces while it runs over a crash file, one
// float per computed step. The criterion is the configured thing (name, colour, hot points, default
// sampling rate); cCriterionValuesForOneFile is the curve of one crash file in the current iteration,
// and hands it to its graph series at each iteration's end; cCriterionMgr is a stage's list of
// criteria. A criterion that no graph shows and nobody forces to be used keeps one float, not a curve.
#pragma once
#include "BaseKit/cSignalStorage.h"
#include "SimCore/cGraphParameter.h"
#include "SimCore/cParameterMgr.h"
#include <map>
#include <string>

class cCriterion;
class cTestGraphHotPoint;
class cTestGraphSerie;

class cCriterionValuesForOneFile : public cParameterValuesForOneFile
{
public:
    cCriterionValuesForOneFile(cCriterion* criterion, cKynFile* crashFile);
    // Deletes the series that no graph took, then frees the curve.
    ~cCriterionValuesForOneFile() override;

    // The accessors of the algorithm's inner loop: no bound check, no allocation but the growth of
    // the curve. A used criterion stores the curve, an unused one only its last value.
    void addValue(float value)
    {
        m_hasPoints = true;
        if (m_isUsed)
            m_values.add(value);
        else
            m_lastValue = value;
    }
    void addValueForced(float value)
    {
        m_hasPoints = true;
        m_values.add(value);
    }
    void setValue(unsigned int index, float value)
    {
        m_hasPoints = true;
        if (m_isUsed)
            m_values[index] = value;
        else
            m_lastValue = value;
    }
    float getValue(unsigned int index) const { return m_isUsed ? m_values[index] : m_lastValue; }
    float getValueForced(unsigned int index) const { return m_values[index]; }
    float getLastValue() const { return m_isUsed ? m_values[m_values.size() - 1] : m_lastValue; }

    // The curve: element 0 is a dummy 0.0f, element k stands at (k - 1) * 1000 / rate + T0 / 1000 ms.
    cSignalStorage<float>& getIterationValueList() { return m_values; }
    cSignalStorage<float> const& getIterationValueList() const { return m_values; }
    void setSamplingRate(float rate) { m_values.setSamplingRate(rate); }
    float getSamplingRate() const { return m_values.getSamplingRate(); }
    void setT0(long t0) { m_values.setT0(t0); }
    long getT0() const { return m_values.getT0(); }
    unsigned int getSize() const { return m_values.size(); }
    bool hasPoints() const { return m_hasPoints; }
    void SetHasPointsToTrue() { m_hasPoints = true; }
    bool isAConstant2PointsCriterion() const { return m_isConstant2Points; }
    void setIsAConstant2PointsCriterion(bool constant) { m_isConstant2Points = constant; }
    bool isUsed() const { return m_isUsed; }
    cCriterion* getCriterion() const { return m_criterion; }
    // The series of this criterion that no graph took (the criterion is the graph's abscissa).
    cStorage<cTestGraphSerie*> const& getPrivateSeries() const { return m_privateSeries; }

    // Frees the curve of a criterion that is not used.
    void cleanIfNotUsed();
    // Hands a given curve (a threshold, say) to each series, converted by the series' own factors or
    // by these two.
    void addSpecificPoints(cStorage<float>& xs, cStorage<float>& ys);
    void addSpecificPoints(cStorage<float>& xs, cStorage<float>& ys, mpf_class const& xFactor,
                           mpf_class const& yFactor);

    void removeGraph(cGraph const* graph) override;
    void reset(cStorage<cGraph const*>& graphs, cStorage<cGraph const*>& activeGraphs,
               std::map<cGraph const*, bool>& drawingEnable) override;
    void endOfIteration() override;
    void prepareForTest() override;
    void changeFile() override;
    void crashColorChanged(cKynFile const* file, cGraph const* graph) override;

protected:
    // Creates the series of this criterion on the graph (or resets the one it has), with copies of
    // the criterion's hot points; a series not given to the graph is kept in the private list.
    void addGraphObject(cGraph* const graph, std::string const& label, long colour, bool giveToGraph,
                        bool drawingEnabled);

private:
    cSignalStorage<float> m_values;
    float m_lastValue = 0.0f;
    bool m_hasPoints = false;
    bool m_isConstant2Points = false;
    cStorage<cTestGraphSerie*> m_privateSeries{10};
    bool m_isUsed = false;
    cCriterion* m_criterion;
};

class cCriterion : public cGraphParameter
{
    template <class T> friend struct sParameterMgrTraits;

public:
    typedef std::map<std::string, std::string> tNameMap;
    typedef std::map<std::string, bool> tFlagMap;

    // The hot points are owned: a copy would delete them twice.
    cCriterion(cCriterion const&) = delete;
    cCriterion& operator=(cCriterion const&) = delete;

    cCriterionValuesForOneFile* getActiveCriterionValuesForOneFile() const
    {
        return static_cast<cCriterionValuesForOneFile*>(m_activeValues);
    }
    // getValueList under the derived type; cBadTimeEventValueReference without an entry.
    cCriterionValuesForOneFile* getCriterionValueList(cKynFile const* const file) const;

    cStorage<cTestGraphHotPoint*> const& getHotPoints() const { return m_hotPoints; }
    // A new hot point bound to the same two parameters (one link more on each), with a copy of the
    // condition and the same colour and label; null when index is not below the count.
    cTestGraphHotPoint* createHotPointCopy(unsigned int index) const;
    // Hands a given curve to the series of the current crash file, with these factors.
    void addSpecificPoints(cStorage<float>& xs, cStorage<float>& ys, double xFactor, double yFactor);

    void shortcut(bool shortcut) { m_shortcut = shortcut; }
    bool isShortcuted() const { return m_shortcut; }
    bool isCrashColorActivated() const { return m_crashColor; }
    float getDefaultSamplingRate() const { return m_defaultSamplingRate; }
    void forceUse(bool force) { m_forceUse = force; }
    bool isForceUse() const { return m_forceUse; }

    // The view maps, keyed by the path of a test graph; the test manager fills them.
    tNameMap const& getTestGraphNameMapCrit() const { return m_testGraphNames; }
    void insertTestGraphPathNameCrit(std::string graphPath, std::string path);
    tFlagMap const& getTestGraphCritVisibleMap() const { return m_testGraphVisible; }
    void setTestGraphCritVisibleMap(tFlagMap const& map) { m_testGraphVisible = map; }
    void insertTestGraphPathCritVisible(std::string graphPath, bool visible);
    bool setCriterionVisibility(std::string const& graphPath, bool visible);
    tFlagMap const& getParentCritSelectMap() const { return m_parentSelect; }
    void setParentCritSelectMap(tFlagMap const& map) { m_parentSelect = map; }
    void insertParentCritSelectMap(std::string graphPath, bool selected);
    bool setParentSelection(std::string const& graphPath, bool selected);
    tFlagMap const& getCritSelectMap() const { return m_select; }
    void setCritSelectMap(tFlagMap const& map) { m_select = map; }
    void insertCritSelectMap(std::string graphPath, bool selected);
    bool setCriterionSelection(std::string const& graphPath, bool selected);

    cParameterValuesForOneFile* createNewValuesForOneFile(cKynFile* const file) override;
    // The keys of kFileKeyCrashColor, kFileKeyDefaultSamplingRate and kFileKeyTimeAbscissa;
    // the hot points always ("Abscissa", "Ordinate"; their condition is not written back).
    void buildFile(cConfigurationGroup* group, int flags) override;

protected:
    // Reads the parameter, the colour, "Crash Color", "Default Sampling Rate" and the "Hot Point"
    // groups; a hot point that fails is reported and left out.
    cCriterion(cConfigurationGroup* group, std::string const& ownerName, bool forceUse = false);
    // Deletes the hot points.
    ~cCriterion() override;

private:
    void setConfiguration(cConfigurationGroup* group);

    cStorage<cTestGraphHotPoint*> m_hotPoints{10};
    bool m_shortcut = false;
    bool m_crashColor = false;
    float m_defaultSamplingRate = 0.0f;
    bool m_forceUse = false;
    tNameMap m_testGraphNames;
    tFlagMap m_testGraphVisible;
    tFlagMap m_parentSelect;
    tFlagMap m_select;
};

class cCriterionMgr : public cGraphParameterMgr<cCriterion>
{
public:
    cCriterionMgr(std::string const& itemName = "Criterion", std::string const& listName = "Criteria List");
    // The criterion of that name, which a stage needs for each used channel: cBadReference with the
    // name (the origin the host knows, "cBasicParameterMgr<class cCriterion>::getParameter" line 94)
    // when there is none.
    cCriterion* getCriterion(std::string const& name);
    // Address 0 only: removes from the list every criterion whose active values belong to a file of
    // the current crash file list, or have no file. Any other address changes nothing.
    void RemoveValuesForOneFile(unsigned long long crashFileAddress);
};
