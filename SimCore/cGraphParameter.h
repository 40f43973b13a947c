// cGraphParameter: the common base of the results that can be drawn, criteria (curves) and time events
// (times to fire). A result is a parameter (name, unit, factor, symbol) that also keeps one value object
// per crash file, created the first time the file is computed and kept after the run so that graphs can
// still be drawn, and the set of graphs it is shown on. Each value object owns, per graph, the drawable
// that shows this result on this crash file until it hands it to the graph, which then owns it.
#pragma once
#include "BaseKit/cStorage.h"
#include "SimCore/cParameter.h"
#include <functional>
#include <gmpxx.h>
#include <map>
#include <string>

class cGraph;
class cGraphObject;
class cKynFile;
template <class T> class cGraphParameterMgr;

class cParameterValuesForOneFile
{
    friend class cGraphParameter;

public:
    typedef std::map<cGraph const*, cGraphObject*> tGraphObjectMap;

    explicit cParameterValuesForOneFile(cKynFile* crashFile);
    cParameterValuesForOneFile(cParameterValuesForOneFile const&) = delete;
    cParameterValuesForOneFile& operator=(cParameterValuesForOneFile const&) = delete;

    // Forgets the object of this graph without deleting it (the graph deletes its objects).
    virtual void removeGraph(cGraph const* graph);
    // Takes every object out of its graph (RemoveObject), so that no graph keeps a dangling one.
    virtual ~cParameterValuesForOneFile();
    // Prepares the values for a new run on the graphs the parameter is registered on.
    virtual void reset(cStorage<cGraph const*>& graphs, cStorage<cGraph const*>& activeGraphs,
                       std::map<cGraph const*, bool>& drawingEnable) = 0;
    virtual void endOfIteration() = 0;
    virtual void prepareForTest() = 0;
    // Called on the values of the file that stops being the current one; nothing here.
    virtual void changeFile();
    virtual void crashColorChanged(cKynFile const* file, cGraph const* graph) = 0;

    // The factor of the owning parameter as it was at the last reset, at its own precision.
    mpf_class getConversionFactor() const
    {
        return mpf_class(m_conversionFactor, m_conversionFactor.get_prec());
    }
    mpf_class getConvertionFactor() const { return getConversionFactor(); }
    cKynFile const* getCrashFile() const { return m_crashFile; }
    // The crash file's address: its identity across the graph library's interfaces.
    unsigned long long getCrashFileAddress() const
    {
        return reinterpret_cast<unsigned long long>(m_crashFile);
    }
    // The crash file's path reduced to its short name.
    std::string getCrashFileName() const;
    long getCrashFileColor() const;
    // The object of this graph; with none, null, or cBadGraphObjectReference when mustExist is set.
    cGraphObject* getGraphObject(cGraph const* const graph, bool mustExist) const;
    tGraphObjectMap const& getGraphObjects() const { return m_graphObjects; }

protected:
    // Shows or hides the object of this graph; on a graph against an abscissa criterion of a run
    // without drifts, the time-event marks are placed again on the curves now shown.
    void activateGraph(cGraph const* graph, bool on);

    tGraphObjectMap m_graphObjects;
    mpf_class m_conversionFactor;
    cKynFile* const m_crashFile;
};

class cGraphParameter : public cParameter
{
    template <class T> friend class cGraphParameterMgr;

public:
    typedef std::map<cKynFile*, cParameterValuesForOneFile*, std::less<>> tValueMap;

    // Reads the parameter's keys, then "Color" (a constant name or a hexadecimal number "0x...").
    cGraphParameter(cConfigurationGroup* group, std::string const& ownerName);
    // Shallow for the values: both copies point to the same value objects (and the active one),
    // while the graph lists and the maps are duplicated.
    cGraphParameter(cGraphParameter const& other) = default;
    cGraphParameter& operator=(cGraphParameter const& other) = default;

    long getColor() const { return m_color; }
    void setColor(long color) { m_color = color; }
    cParameterValuesForOneFile* getActiveValuesForOneFile() const { return m_activeValues; }

    // Appends the graph (no duplicate check), to the active list too when active; the drawing
    // enable entry is created with `active` unless the graph has one already.
    void registerGraph(cGraph const* const graph, bool active);
    bool isGraphRegistered(cGraph const* const graph) const;
    void activateGraph(cGraph const* graph, bool on);
    // The graph's drawing enable flag; false for a graph without an entry.
    bool getDrawingEnable(cGraph const* const graph) const;
    // True exactly for the text "true".
    void setDrawingEnable(cGraph const* const graph, std::string text);
    // The first registered graph of this title and test name, or null.
    cGraph const* getGraphbyNameandTest(std::string graphTitle, std::string testName) const;
    // Address 0: every file of the current crash file list; otherwise that one file.
    void removeValuesFromCrashFile(unsigned long long crashFileAddress);
    // The values of the file; cBadTimeEventValueReference when it has no entry.
    virtual cParameterValuesForOneFile* getValueList(cKynFile const* file) const;
    cParameterValuesForOneFile* getValueListOrNull(cKynFile const* file) const;

    cStorage<cGraph const*> const& getGraphList() const { return m_graphs; }
    cStorage<cGraph const*> const& getActiveGraphList() const { return m_activeGraphs; }
    std::map<cGraph const*, bool> const& getDrawingEnableMap() const { return m_drawingEnable; }
    tValueMap const& getValueMap() const { return m_values; }

    // The computation events of a run: reset once, then per crash file changeFile, and per
    // iteration prepareForTest and endOfIteration (on the values of the current file).
    virtual void prepareForTest();
    virtual void reset();
    virtual void endOfIteration();
    virtual void changeFile();
    virtual cParameterValuesForOneFile* createNewValuesForOneFile(cKynFile* const file) = 0;

    // The parameter's keys, then "Color" in hexadecimal.
    void buildFile(cConfigurationGroup* group, int flags) override;

protected:
    // Deletes every value object.
    ~cGraphParameter() override;
    void removeGraph(cGraph const* const graph);
    void crashColorChanged(cGraph const* const graph);
    void setConfiguration(cConfigurationGroup* group);

    // Whether the test of some registered graph keeps the results of the multi-preprocessing item
    // that holds this file.
    bool isMaintainedByATest(cKynFile const* file) const;

    cParameterValuesForOneFile* m_activeValues = nullptr;
    tValueMap m_values;
    cStorage<cGraph const*> m_graphs;
    cStorage<cGraph const*> m_activeGraphs;
    long m_color = 0;
    std::map<cGraph const*, bool> m_drawingEnable;
};
