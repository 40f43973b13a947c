// The lists that every owner of parameters, criteria, time events or preprocessors inherits. The
// family adds behaviour in layers: a flat list that counts links on its elements, loading and
// saving through configuration groups, the check that a reloaded file still offers the same
// registered symbols, and the fan-out of the computation events to graph parameters.
#pragma once

#include "BaseKit/cKynException.h"
#include "BaseKit/cStorage.h"
#include "SimCore/cParameter.h"
#include "StoreKit/cConfigurationGroup.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

class cGraph;

// How a manager holds its elements: one link each, released by the element's delete rule, found by
// name, built from and written to a configuration group. Element classes that keep the protocol
// under other names specialise it; the parameter classes befriend it for their protected parts.
template <class T> struct sParameterMgrTraits
{
    static void createLink(T* p) { p->createLink(); }
    static void deleteInstance(T* p) { T::deleteInstance(p); }
    static std::string const& getName(T const* p) { return p->getNameRef(); }
    static T* create(cConfigurationGroup* group, std::string const& ownerName)
    {
        return new T(group, ownerName);
    }
    // Through the base, whose protected buildFile the traits may call; the override still runs.
    static void buildFile(T* p, cConfigurationGroup* group, int mask)
    {
        static_cast<cParameter*>(p)->buildFile(group, mask);
    }
};

namespace cParameterMgrDetail
{
inline char const* const kSource = "SimCore/cParameterMgr";
}

// The start and the end of a list, for range iteration over its elements.
template <class T> struct sParameterRange : std::pair<T* const*, T* const*>
{
    using std::pair<T* const*, T* const*>::pair;
    T* const* begin() const { return this->first; }
    T* const* end() const { return this->second; }
};

template <class T> class cBasicParameterMgr
{
public:
    typedef sParameterMgrTraits<T> tTraits;

    cBasicParameterMgr() : m_parameters(2000) {}
    // A copy holds the same elements and adds no links to them: only one of the two may release
    // them, which is how owners that copy a manager by value use it.
    cBasicParameterMgr(cBasicParameterMgr const&) = default;
    cBasicParameterMgr& operator=(cBasicParameterMgr const&) = default;
    // Gives up the link of every element.
    virtual ~cBasicParameterMgr() { releaseAll(); }

    // Appends p and takes a link; an element already in the list throws
    // cParameterStillExistException.
    virtual void addParameter(T* const p)
    {
        if (existParameter(p))
            throw cParameterStillExistException(cParameterMgrDetail::kSource,
                                                "cBasicParameterMgr::addParameter", __LINE__);
        m_parameters.add(p);
        tTraits::createLink(p);
    }
    // Puts p at index (the rest moves up), or appends it for an index not below the count.
    virtual void insertParameter(T* const p, unsigned int index)
    {
        if (existParameter(p))
            throw cParameterStillExistException(cParameterMgrDetail::kSource,
                                                "cBasicParameterMgr::insertParameter", __LINE__);
        m_parameters.add(p);
        unsigned int const count = m_parameters.size();
        if (index < count - 1)
        {
            for (unsigned int i = count - 1; i > index; --i)
                m_parameters[i] = m_parameters[i - 1];
            m_parameters[index] = p;
        }
        tTraits::createLink(p);
    }
    // Gives up the list's link on p (which may delete it) and closes the gap; an element that is
    // not in the list throws cMissingParameterException with an empty text.
    virtual void removeParameter(T* const p)
    {
        unsigned int const index = find(p);
        if (index == m_parameters.size())
            throw cMissingParameterException(cParameterMgrDetail::kSource,
                                             "cBasicParameterMgr::removeParameter", __LINE__, "");
        m_parameters.remove(index);
        tTraits::deleteInstance(p);
    }
    // The first element of exactly that name; cBadReference with the name when none has it.
    virtual T* getParameter(std::string const& name)
    {
        for (T* p : GetParameters())
            if (tTraits::getName(p) == name)
                return p;
        throw cBadReference(cParameterMgrDetail::kSource, "cBasicParameterMgr::getParameter", __LINE__, name);
    }
    virtual bool existParameter(T const* p) { return find(p) != m_parameters.size(); }

    unsigned int getParameterListSize() const { return m_parameters.size(); }
    sParameterRange<T> GetParameters() const
    {
        return sParameterRange<T>(m_parameters.data(), m_parameters.data() + m_parameters.size());
    }
    // The iteration idiom of every owner: loop from firstParameter until null. An empty list
    // answers null and leaves i as it was.
    T* firstParameter(unsigned int& i) const
    {
        if (m_parameters.empty())
            return nullptr;
        i = 0;
        return m_parameters[0];
    }
    T* nextParameter(unsigned int& i) const
    {
        ++i;
        return i < m_parameters.size() ? m_parameters[i] : nullptr;
    }
    // The index of p by address, the count when it is absent.
    unsigned int find(T const* const p) const
    {
        unsigned int i = 0;
        while (i < m_parameters.size() && m_parameters[i] != p)
            ++i;
        return i;
    }
    T* last() const { return m_parameters.empty() ? nullptr : m_parameters[m_parameters.size() - 1]; }
    // Element by index; cBadListIndex when the index is not below the count.
    T* getParameter(unsigned int index) const
    {
        if (index >= m_parameters.size())
            throw cBadListIndex(cParameterMgrDetail::kSource, "cBasicParameterMgr::getParameter", __LINE__);
        return m_parameters[index];
    }

protected:
    virtual void cleanupAllParameters() { releaseAll(); }

private:
    void releaseAll()
    {
        // Emptied first, so that an element that goes with its last link finds the list
        // consistent; the memory stays, so the elements are still read from it.
        unsigned int const count = m_parameters.size();
        m_parameters.clear();
        T* const* const elements = m_parameters.data();
        for (unsigned int i = 0; i < count; ++i)
            tTraits::deleteInstance(elements[i]);
    }

    cStorage<T*> m_parameters;
};

// Adds the item and list group names under which the elements are loaded and saved.
template <class T> class cGlobalMgr : public cBasicParameterMgr<T>
{
public:
    // The integer is accepted for the owners that pass one; it selects nothing.
    cGlobalMgr(std::string const& itemName, std::string const& listName, int)
        : m_itemGroupName(itemName), m_listGroupName(listName)
    {
    }

    std::string const& getItemGroupName() const { return m_itemGroupName; }
    std::string const& getListGroupName() const { return m_listGroupName; }

    // Adds a list group to parent and, inside it, one item group per element, which the element
    // fills with the keys that mask selects. An empty list still writes its list group.
    virtual void buildFile(cConfigurationGroup* parent, int mask)
    {
        auto list = std::make_unique<cConfigurationGroup>(m_listGroupName);
        for (T* p : this->GetParameters())
        {
            auto item = std::make_unique<cConfigurationGroup>(m_itemGroupName);
            sParameterMgrTraits<T>::buildFile(p, item.get(), mask);
            list->addConfigurationGroup(item.release());
        }
        parent->addConfigurationGroup(list.release());
    }

protected:
    // Builds one element from each direct subgroup named after the item group and adds it; other
    // subgroups are passed over. A null group loads nothing.
    virtual void loadParameter(cConfigurationGroup* group, std::string const& ownerName)
    {
        if (group == nullptr)
            return;
        for (cConfigurationGroup* subGroup : group->GetConfigurationGroups())
        {
            if (subGroup->getName() != m_itemGroupName)
                continue;
            T* const p = sParameterMgrTraits<T>::create(subGroup, ownerName);
            try
            {
                this->addParameter(p);
            }
            catch (...)
            {
                sParameterMgrTraits<T>::deleteInstance(p);
                throw;
            }
        }
    }
    // The computation events; the layers below act on them.
    virtual void changeFile() {}
    virtual void endOfIteration() {}
    virtual void reset() {}
    virtual void prepareForTest() {}

private:
    std::string m_itemGroupName;
    std::string m_listGroupName;
};

// Adds the check made before a configuration is reloaded into existing elements.
template <class T> class cParameterMgr : public cGlobalMgr<T>
{
public:
    cParameterMgr(std::string const& itemName, std::string const& listName, int unused = 0)
        : cGlobalMgr<T>(itemName, listName, unused)
    {
    }

protected:
    // Equations and equation groups hold pointers to the registered elements, so a reloaded
    // configuration must offer exactly the same registered symbols, in any order. The items are
    // always looked for under "Parameter", whatever the item group name of the list.
    virtual void checkComplianceForReloading(cConfigurationGroup* group)
    {
        char const* const function = "cParameterMgr::checkComplianceForReloading";
        if (group == nullptr)
            throw cNULLPointer(cParameterMgrDetail::kSource, function, __LINE__,
                               "KYN Error (NULL Pointer). Out of memory ?\n");
        if (this->getParameterListSize() == 0)
            return;
        std::vector<std::pair<T*, bool>> registered;
        for (T* p : this->GetParameters())
            if (p->isRegisteredInSymbolManager())
                registered.emplace_back(p, false);
        for (cConfigurationGroup* subGroup : group->GetConfigurationGroups())
        {
            if (subGroup->getName() != "Parameter")
                continue;
            bool isRegistered = false;
            std::string registrationName;
            cParameter::extractRegistrationConfiguration(subGroup, isRegistered, registrationName);
            if (!isRegistered)
                continue;
            bool found = false;
            for (auto& entry : registered)
            {
                if (!entry.second && entry.first->getRegistrationName() == registrationName)
                {
                    entry.second = true;
                    found = true;
                    break;
                }
            }
            if (!found)
                throw cIncompatibleNewParameterSet(cParameterMgrDetail::kSource, function, __LINE__,
                                                   registrationName);
        }
        for (auto const& entry : registered)
            if (!entry.second)
                throw cIncompatibleNewParameterSet(cParameterMgrDetail::kSource, function, __LINE__,
                                                   entry.first->getName());
    }
};

// Fans the computation events out to graph parameters (criteria and time events), in list order.
template <class T> class cGraphParameterMgr : public cParameterMgr<T>
{
public:
    cGraphParameterMgr(std::string const& itemName, std::string const& listName)
        : cParameterMgr<T>(itemName, listName, 0)
    {
    }

protected:
    void changeFile() override
    {
        forEach([](T* p) { p->changeFile(); });
    }
    void endOfIteration() override
    {
        forEach([](T* p) { p->endOfIteration(); });
    }
    void reset() override
    {
        forEach([](T* p) { p->reset(); });
    }
    void prepareForTest() override
    {
        forEach([](T* p) { p->prepareForTest(); });
    }
    virtual void removeGraph(cGraph const* const graph)
    {
        forEach([graph](T* p) { p->removeGraph(graph); });
    }
    virtual void crashColorChanged(cGraph const* const graph)
    {
        forEach([graph](T* p) { p->crashColorChanged(graph); });
    }
    virtual void removeValuesFromCrashFile(unsigned long long crashFileAddress)
    {
        forEach([crashFileAddress](T* p) { p->removeValuesFromCrashFile(crashFileAddress); });
    }

private:
    template <class F> void forEach(F call)
    {
        unsigned int i = 0;
        for (T* p = this->firstParameter(i); p != nullptr; p = this->nextParameter(i))
            call(p);
    }
};
