// The preprocessors of a stage: one signal-processing step each (a CalcKit CPreProcessor) whose inputs
// and outputs are criteria of the stage, shared by name so that a step reads its predecessor's
// signal without a copy, and whose parameters are equations or drift parameters of the stage that may
// change between iterations. A channel runs a straight list from an entry index, so that a drift
// sweep re-enters in the middle; the vehicle and the unit carry a wave through a graph of chained
// preprocessors along their "Previous" links.
#pragma once

#include "BaseKit/cStorage.h"
#include "SimCore/cCriterion.h"
#include "SimCore/cEquation.h"
#include "SimCore/cParameterMgr.h"
#include "StoreKit/cConfigurationGroup.h"

#include <string>

class CPreProcessor;
class cDriftManager;
class cDriftParameter;
class cKynPreprocessor;
class cPreprocessorChainMgr;

// The managers hold preprocessors by the same link protocol as parameters, named by their CalcKit
// object.
template <> struct sParameterMgrTraits<cKynPreprocessor>
{
    static void createLink(cKynPreprocessor* p);
    static void deleteInstance(cKynPreprocessor* p);
    static std::string const& getName(cKynPreprocessor const* p);
};

class cKynPreprocessor
{
public:
    // Reads the preprocessor from its "Preprocessor" group (see setConfiguration). A failure of the
    // reading leaves with "\nIn group: <group name>, Line: <line>" appended, the made equations
    // deleted.
    cKynPreprocessor(cConfigurationGroup* group, cDriftManager* owner, std::string const& path);
    cKynPreprocessor(cKynPreprocessor const&) = delete;
    cKynPreprocessor& operator=(cKynPreprocessor const&) = delete;

    // True when every parameter equation is processed (an empty list is): a drift parameter whose
    // value changed since it was last processed makes the preprocessor unprocessed, which is where a
    // channel re-enters its list.
    virtual bool isProcessed();
    // Clears the parameters of the CalcKit object, deletes it and the made equations, and gives
    // back the links it took on its criteria.
    virtual ~cKynPreprocessor();

    // "Name", "Type", "Mandatory" (false if absent), then the mandatory groups "Starting Criteria",
    // "Final Criteria" and "Parameters List", then the CalcKit object of the type. The four filter
    // types read "Filter" and build a filter from the file path + text, or the text alone when that
    // cannot be opened. A null group does nothing.
    virtual void setConfiguration(cConfigurationGroup* group, std::string const& path);
    // Each "Parameter" group: with "Name", the stage's drift parameter of that name (its equation
    // side, not owned); otherwise the equation of its mandatory "Value" (owned).
    virtual void loadDriftParameters(cConfigurationGroup* group);
    // Each "Name" item, in file order, names a criterion of the stage, which the list holds by a
    // link of its own; the present entries are released first (a criterion with one link is
    // deleted). A null group does nothing.
    virtual void loadStartingCriteriaParameters(cConfigurationGroup* group);
    virtual void loadFinalCriteriaParameters(cConfigurationGroup* group);
    // "Name", "Type", for a filter "Filter", the two criteria groups and a "Parameters List" of the
    // drift parameters only: "Mandatory" and "Value" equations are not written back.
    virtual void buildFile(cConfigurationGroup* group, int mask);
    // The values lists become the active values of the starting and final criteria, in order.
    virtual void changeFile();
    // The parameter vector of the CalcKit object is rebuilt from the equations, then reset.
    virtual void prepareForTest();
    // Lets the CalcKit object feed computed parameters back: each flagged parameter that is a drift
    // parameter takes the value as its minimum, maximum and raw value. Nothing without flags.
    virtual void UpdateParametersFromPreprocessor();
    // Evaluates each equation and stores the values that differ; resets the CalcKit object once if
    // one did.
    virtual void ReloadParametersToPreprocessor();
    // Reloads, computes each starting signal into its final signal (status is set by the CalcKit
    // object: one byte per output sample), then feeds parameters back.
    virtual void Calculate(cStorage<char>& status);

    CPreProcessor* getPreprocessor() const { return m_preprocessor; }
    std::string const& getName() const;
    bool is(std::string const& name) const { return getName() == name; }
    // "NULL" without a CalcKit object.
    std::string getType() const;
    bool isFilter() const;
    // The name the filter file gives to the filter; empty for other types.
    std::string getFilterName() const;
    bool isMandatory() const { return m_mandatory; }

    // Walks giving null behind the end.
    cCriterion* firstStartingCriterion(unsigned int& i) const;
    cCriterion* nextStartingCriterion(unsigned int& i) const;
    cCriterion* firstFinalCriterion(unsigned int& i) const;
    cCriterion* nextFinalCriterion(unsigned int& i) const;
    // Null beyond the end.
    cCriterionValuesForOneFile* getFinalCriterionValuesForOneFile(unsigned int i) const;
    cCriterionValuesForOneFile* getStartingCriterionValuesForOneFile(unsigned int i) const;

    void addParameterEquation(cParameterEquation* equation) { m_parameterEquations.add(equation); }
    cParameterEquation* firstParameterEquation(unsigned int& i) const;
    cParameterEquation* nextParameterEquation(unsigned int& i) const;
    // The index of the equation, the list size when absent.
    unsigned int find(cParameterEquation* equation) const;
    unsigned int getParameterEquationListSize() const { return m_parameterEquations.size(); }
    // Over the equations that are drift parameters only.
    cDriftParameter* firstParameter(unsigned int& i) const;
    cDriftParameter* nextParameter(unsigned int& i) const;
    // Deletes the equations made from "Value" texts; the list becomes empty.
    void cleanup();

    void createLink() { ++m_links; }
    bool stillHasLinks() const { return m_links > 1; }
    void decrementLinks() { --m_links; }
    // One link less while others remain, otherwise the preprocessor goes.
    static void deleteInstance(cKynPreprocessor* p);

protected:
    // Releases the entries of a criteria list: one link less, or the criterion goes with its last.
    static void releaseCriteria(cStorage<cCriterion*>& criteria);
    // Appends the stage's criterion of each "Name" item of the group.
    void loadCriteria(cConfigurationGroup* group, cStorage<cCriterion*>& criteria);
    // One pass of the CalcKit object over each starting signal into its final signal.
    void calculateSignals(cStorage<char>& status);

    CPreProcessor* m_preprocessor = nullptr;
    cStorage<cCriterion*> m_finalCriteria;
    cStorage<cCriterion*> m_startingCriteria;
    cStorage<cCriterionValuesForOneFile*> m_finalValues;
    cStorage<cCriterionValuesForOneFile*> m_startingValues;
    cDriftManager* m_driftManager;
    cStorage<cParameterEquation*> m_parameterEquations;
    int m_links = 0;
    bool m_mandatory = false;
};

// A preprocessor of a graph: it runs once per wave when all its previous processors have, then
// hands the wave on to its followers. A join thus runs once, after the last of its inputs; a fork
// runs its branches depth first in the order they were linked.
class cKynPreprocessorChained : public cKynPreprocessor
{
public:
    // Keeps the group (not owned) to resolve the "Previous" links once the chain is loading.
    cKynPreprocessorChained(cConfigurationGroup* group, cDriftManager* owner, std::string const& path);

    // The base's keys, then one "Previous" per previous processor.
    void buildFile(cConfigurationGroup* group, int mask) override;
    // The step of the wave: nothing when already reached in this sample, abandoned when a previous
    // processor was (passed on to the followers), waiting while a previous processor has not run;
    // otherwise reload, compute, feed back, and on to the followers in order.
    void Calculate(cStorage<char>& status) override;

    // True when every "Previous" of the group names a processor already in mgr.
    virtual bool isPreprocessorReadyForRegistration(cPreprocessorChainMgr* mgr);
    // Links this processor behind each "Previous", in file order.
    virtual void buildProcessorLink(cPreprocessorChainMgr* mgr);
    // Status back to 0 (not computed) for the next sample.
    virtual void prepareForNextSample() { m_status = 0; }
    virtual void addFollowingProcessor(cKynPreprocessorChained* p) { m_followingProcessors.add(p); }
    virtual void addPreviousProcessor(cKynPreprocessorChained* p) { m_previousProcessors.add(p); }

    // 0 not computed for this sample yet, 1 computed, 2 abandoned.
    unsigned char getStatus() const { return m_status; }
    bool isInput() const { return m_previousProcessors.empty(); }
    cStorage<cKynPreprocessorChained*> const& getPreviousProcessors() const { return m_previousProcessors; }
    cStorage<cKynPreprocessorChained*> const& getFollowingProcessors() const { return m_followingProcessors; }

private:
    unsigned char m_status = 0;
    cStorage<cKynPreprocessorChained*> m_previousProcessors{5};
    cStorage<cKynPreprocessorChained*> m_followingProcessors{5};
    cConfigurationGroup* m_group;
};

// The straight list of a channel: run from an entry index to the end.
class cPreprocessorMgr : public cBasicParameterMgr<cKynPreprocessor>
{
public:
    cPreprocessorMgr() = default;

    // Forwarded to each preprocessor in order, up to a null entry.
    virtual void changeFile();
    // The preprocessor's starting criteria, then its final criteria, then the preprocessor itself.
    virtual void prepareForTest(cKynPreprocessor* p);
    // Forwarded to each preprocessor in order, up to a null entry.
    virtual void prepareForTest();
    // Empties skipMask and runs the preprocessors from entryIndex to the end (or a null entry); an
    // entryIndex not below the list size throws cBadListIndex. The result is always true, whatever
    // the mask holds: callers that test it never stop on it.
    virtual bool Calculate(unsigned int entryIndex, cStorage<char>& skipMask);
    // Each "Preprocessor" group, in file order, becomes a preprocessor of the list, logged at level 3.
    virtual void loadPreprocessors(cConfigurationGroup* group, std::string const& path, cDriftManager* owner);
    // A "Preprocessors List" group with one "Preprocessor" group per preprocessor.
    virtual void buildFile(cConfigurationGroup* group, int mask);

protected:
    // Adds p (cParameterStillExistException if present; the list takes a link) and writes the log
    // lines of its criteria.
    void registerPreprocessor(cKynPreprocessor* p, cDriftManager* owner);
};

// The graph of the vehicle and the unit: loaded in file order wherever the links allow, computed as a
// wave from the input processors.
class cPreprocessorChainMgr : public cPreprocessorMgr
{
public:
    cPreprocessorChainMgr() = default;
    // The list's run from an entry index stays reachable beside the wave.
    using cPreprocessorMgr::Calculate;

    // Sorts the processors by repeated passes: each pass registers, in file order, those whose
    // "Previous" are all registered. A pass that places nothing means a loop or a "Previous" naming
    // nothing: the unplaced processors are deleted and cLoopInProcessorChainDetected lists their
    // names, one per line.
    void loadPreprocessors(cConfigurationGroup* group, std::string const& path,
                           cDriftManager* owner) override;
    void buildFile(cConfigurationGroup* group, int mask) override;

    // The members without a previous processor, in the order of registration.
    cStorage<cKynPreprocessorChained*> const& getInputProcessors() const { return m_inputProcessors; }

protected:
    // Also forgets the input processors.
    void cleanupAllParameters() override;
    // One wave: every member back to status 0, then each input processor in order.
    virtual void Calculate();

private:
    cStorage<cKynPreprocessorChained*> m_inputProcessors{5};
};
