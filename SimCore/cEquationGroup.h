// Equation groups keep dependent calibration values consistent: a group is an ordered list of
// steps read from the symbols file, a step an ordered list of equations with a running mask, and
// a cParameterLinked ties one registered parameter to the groups that name it, so that a change of
// the parameter runs them. Assignments inside the groups never start a further round.
#pragma once

#include "BaseKit/cStorage.h"

#include <cstdint>
#include <string>

class cConfigurationGroup;
class cEquation;
class cParameter;

// One step of a group: its equations run in order while each evaluates to non-zero.
struct cEquationGroupStep
{
    cEquationGroupStep() = default;
    cEquationGroupStep(cEquationGroupStep const&) = delete;
    cEquationGroupStep& operator=(cEquationGroupStep const&) = delete;
    // Deletes the equations.
    ~cEquationGroupStep();

    std::string name;
    // Running mask: the step runs when it shares a bit with the condition of the change.
    uint32_t condition = 0xFFFFFFFFu;
    cStorage<cEquation*> content{1};
};

class cEquationGroup
{
public:
    cEquationGroup(cEquationGroup const&) = delete;
    cEquationGroup& operator=(cEquationGroup const&) = delete;
    // Deletes the steps with their equations.
    virtual ~cEquationGroup();

    // A new group read from g, or null when g is null or not an "Equation Group". A group without
    // steps, a step without content or with a bad condition, and a group nested in the group
    // throw cInvalidEquationGroup; equation syntax errors leave as cInvalidEquationSyntax.
    static cEquationGroup* createEquationGroup(cConfigurationGroup* g);

    // Runs the steps selected by condition (-1 selects every step whose own mask is not 0).
    // False at the first equation worth 0: the rest does not run and nothing is undone. An
    // exception of the family gets the step and group names added and travels on.
    bool execute(int condition);

    std::string const& getName() const { return m_name; }
    int getDefaultCondition() const { return m_defaultCondition; }
    unsigned int getStepCount() const { return m_steps.size(); }
    cEquationGroupStep const& getStep(unsigned int index) const { return *m_steps.at(index); }
    // True when an equation of any step names the variable, on either side of an assignment.
    bool containsVariable(std::string const& name) const;

private:
    cEquationGroup() = default;
    // Collects the "Step" groups at any depth below g, depth first.
    void addStep(cConfigurationGroup* g);

    std::string m_name;
    int32_t m_defaultCondition = -1;
    cStorage<cEquationGroupStep*> m_steps;
};

// The link between a registered parameter and the equation groups that name it: each entry of the
// symbol manager's variables holds one, so that a change of the parameter can run the groups that
// depend on it. The entry holds one link on the parameter for as long as it lives.
class cParameterLinked
{
public:
    // Takes one link on p.
    explicit cParameterLinked(cParameter* p);
    cParameterLinked(cParameterLinked const&) = delete;
    cParameterLinked& operator=(cParameterLinked const&) = delete;
    // Gives the link up with cParameter::deleteInstance, which deletes p when it was the last one.
    // The groups belong to the symbol manager: only the list goes.
    virtual ~cParameterLinked();

    cParameter* getParameter() const { return m_parameter; }
    cStorage<cEquationGroup*> const& getLinkedGroups() const { return m_linkedGroups; }

    // Adds a group to run on a change; a group already in the list is not added twice.
    void addLinkedGroup(cEquationGroup* group);
    // Forgets every group, before the symbol manager deletes them.
    void clearLinkedGroups() { m_linkedGroups.clear(); }
    // Runs the linked groups in order under condition; true when all succeeded. The first failing
    // group ends the run. A failure of the family is shown to the user and answers false.
    bool executeLinkedGroups(int condition);

    // Binds the entry to p instead: p gains a link, then the present parameter gives its link up.
    // In that order, so that binding the same parameter again keeps it alive.
    void replaceParameter(cParameter* p);
    // Forgets the parameter without touching its link count, for a parameter whose construction
    // failed after it had registered itself: the object no longer exists. Returns the pointer.
    cParameter* releaseParameter();

private:
    cParameter* m_parameter;
    cStorage<cEquationGroup*> m_linkedGroups;
};
