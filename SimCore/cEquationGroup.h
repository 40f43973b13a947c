// The link between a registered parameter and the equation groups that name it: each entry of the
// symbol manager's variables holds one, so that a change of the parameter can run the groups that
// depend on it. The entry holds one link on the parameter for as long as it lives.
#pragma once

#include "BaseKit/cStorage.h"

class cParameter;
class cEquationGroup;

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
