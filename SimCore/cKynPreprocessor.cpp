#include "SimCore/cKynPreprocessor.h"

#include "BaseKit/UserMessages.h"
#include "CalcKit/CPreProcessor.h"
#include "SimCore/cDriftManager.h"
#include "SimCore/cDriftParameter.h"
#include "SimCore/cFilter.h"
#include "SimCore/cProject.h"

#include <cstdio>
#include <memory>
#include <vector>

namespace
{
char const* const kSource = "SimCore/cKynPreprocessor";

// The lines of a preprocessor go to the trace of its stage; one without a stage writes to the global
// trace. Callers test the level first, so that no text is built for nothing.
void logLine(cDriftManager const* owner, int level, std::string const& text)
{
    if (owner != nullptr)
        static_cast<cTraceProvider const*>(owner)->logImpl(level, text);
    else
        cTraceProvider::logGlobal(level, text);
}

// The criteria and drift parameters are looked up in the owning stage: without one, nothing can
// be found.
cDriftManager* requireOwner(cDriftManager* owner, char const* function, int line, std::string const& what)
{
    if (owner == nullptr)
        throw cNULLPointer(kSource, function, line,
                           "No stage owns the preprocessor: " + what + " cannot be found.");
    return owner;
}

// The filter object of a filter type, read from its file.
CPreProcessor* makeFilter(std::string const& name, std::string const& type, std::string const& file)
{
    if (type == cPoleFilter::kTypeName)
        return new cKynPoleFilter<cPoleFilter>(name, file);
    if (type == cStabilizedPoleFilter::kTypeName)
        return new cKynPoleFilter<cStabilizedPoleFilter>(name, file);
    if (type == cAutoStabilizedPoleFilter::kTypeName)
        return new cKynPoleFilter<cAutoStabilizedPoleFilter>(name, file);
    return new cKynDigitalFilter<CDigitalFilter>(name, file);
}

bool isFilterType(std::string const& type)
{
    return type == "Pole Filter" || type == "Stabilized Pole Filter" ||
           type == "Auto Stabilized Pole Filter" || type == "Digital Filter";
}

bool isDriftParameter(cParameterEquation const* equation)
{
    return equation != nullptr && equation->getClassName() == "cDriftParameter";
}
} // namespace

void sParameterMgrTraits<cKynPreprocessor>::createLink(cKynPreprocessor* p)
{
    p->createLink();
}

void sParameterMgrTraits<cKynPreprocessor>::deleteInstance(cKynPreprocessor* p)
{
    cKynPreprocessor::deleteInstance(p);
}

std::string const& sParameterMgrTraits<cKynPreprocessor>::getName(cKynPreprocessor const* p)
{
    return p->getName();
}

// ---------------------------------------------------------------------------------------------------
// cKynPreprocessor

cKynPreprocessor::cKynPreprocessor(cConfigurationGroup* group, cDriftManager* owner, std::string const& path)
    : m_driftManager(owner), m_parameterEquations(10)
{
    // The destructor will not run for an object that is not made: what it holds goes here.
    auto release = [this]()
    {
        cleanup();
        delete m_preprocessor;
        m_preprocessor = nullptr;
        releaseCriteria(m_startingCriteria);
        releaseCriteria(m_finalCriteria);
    };
    try
    {
        setConfiguration(group, path);
    }
    catch (cKynException& e)
    {
        release();
        e.appendText("\nIn group: " + group->getName() + ", Line: " + std::to_string(group->getLineNumber()));
        throw;
    }
    catch (...)
    {
        release();
        throw;
    }
}

cKynPreprocessor::~cKynPreprocessor()
{
    if (m_preprocessor != nullptr)
        m_preprocessor->clearParameters();
    delete m_preprocessor;
    m_preprocessor = nullptr;
    cleanup();
    // The lists hold a link of their own on their criteria: whichever of the stage and the
    // preprocessor goes last deletes a criterion.
    releaseCriteria(m_startingCriteria);
    releaseCriteria(m_finalCriteria);
}

bool cKynPreprocessor::isProcessed()
{
    for (unsigned int i = 0; i < m_parameterEquations.size(); ++i)
        if (!m_parameterEquations[i]->isProcessed())
            return false;
    return true;
}

void cKynPreprocessor::setConfiguration(cConfigurationGroup* group, std::string const& path)
{
    if (group == nullptr)
        return;
    // The line marks the entry and the leaving, also when a failure leaves.
    struct sEntryExitLine
    {
        explicit sEntryExitLine(cDriftManager const* owner) : owner(owner) { write(); }
        ~sEntryExitLine() { write(); }
        void write() const
        {
            if (cTraceProvider::isLogging(4))
                logLine(owner, 4, "cKynPreprocessor::setConfiguration L621");
        }
        cDriftManager const* owner;
    } const trace(m_driftManager);

    std::string name;
    std::string type;
    group->findItem("", "Name", name, true);
    group->findItem("", "Type", type, true);
    bool mandatory = false;
    group->findItem("", "Mandatory", mandatory, false);
    m_mandatory = mandatory;

    loadStartingCriteriaParameters(group->findConfigurationGroup("Starting Criteria", true));
    loadFinalCriteriaParameters(group->findConfigurationGroup("Final Criteria", true));
    loadDriftParameters(group->findConfigurationGroup("Parameters List", true));

    delete m_preprocessor;
    m_preprocessor = nullptr;
    if (!isFilterType(type))
    {
        m_preprocessor = createPreProcessor(
            name, type, myActiveProject != nullptr ? myActiveProject->getECUFilePath() : std::string());
        return;
    }
    std::string filter;
    group->findItem("", "Filter", filter, true);
    try
    {
        m_preprocessor = makeFilter(name, type, path + filter);
    }
    catch (cFstreamOpenException const&)
    {
        // Not beside the preprocessing file: the text may be a full path of its own.
        m_preprocessor = makeFilter(name, type, filter);
    }
}

void cKynPreprocessor::loadDriftParameters(cConfigurationGroup* group)
{
    if (group == nullptr)
        return;
    // A reloaded list replaces the former one rather than growing behind it.
    cleanup();
    for (cConfigurationGroup* parameterGroup : group->GetConfigurationGroups())
    {
        if (parameterGroup->getName() != "Parameter")
            continue;
        std::string name;
        if (parameterGroup->findItem("", "Name", name, false) != 0)
        {
            cDriftManager* const owner = requireOwner(m_driftManager, "cKynPreprocessor::loadDriftParameters",
                                                      __LINE__, "drift parameter " + name);
            cDriftParameter* const parameter = owner->cDriftParameterMgr::getParameter(name);
            m_parameterEquations.add(static_cast<cParameterEquation*>(parameter));
            if (cTraceProvider::isLogging(4))
                logLine(m_driftManager, 4, "Drift parameter added: " + name);
            continue;
        }
        std::string value;
        parameterGroup->findItem("", "Value", value, true);
        cEquation* const equation = cEquation::createEquation(value);
        if (equation == nullptr)
            throw cGenericException(kSource, "cKynPreprocessor::loadDriftParameters", __LINE__,
                                    "The \"Value\" of a parameter gives no equation.");
        try
        {
            m_parameterEquations.add(equation);
        }
        catch (...)
        {
            delete equation;
            throw;
        }
    }
    if (cTraceProvider::isLogging(4))
        logLine(m_driftManager, 4, "All drift parameters configured");
}

void cKynPreprocessor::loadStartingCriteriaParameters(cConfigurationGroup* group)
{
    if (group == nullptr)
        return;
    releaseCriteria(m_startingCriteria);
    loadCriteria(group, m_startingCriteria);
}

void cKynPreprocessor::loadFinalCriteriaParameters(cConfigurationGroup* group)
{
    if (group == nullptr)
        return;
    releaseCriteria(m_finalCriteria);
    loadCriteria(group, m_finalCriteria);
}

void cKynPreprocessor::releaseCriteria(cStorage<cCriterion*>& criteria)
{
    // Emptied first, so that the list never shows a criterion that is already gone.
    unsigned int const count = criteria.size();
    criteria.clear();
    cCriterion* const* const elements = criteria.data();
    for (unsigned int i = 0; i < count; ++i)
        cParameter::deleteInstance(elements[i]);
}

void cKynPreprocessor::loadCriteria(cConfigurationGroup* group, cStorage<cCriterion*>& criteria)
{
    unsigned int cursor = 0;
    for (sInformationItem const* item = group->firstInformation(cursor); item != nullptr;
         item = group->nextInformation(cursor))
    {
        if (item->key != "Name")
            continue;
        cDriftManager* const owner = requireOwner(m_driftManager, "cKynPreprocessor::loadCriteria", __LINE__,
                                                  "criterion " + item->value);
        cCriterion* const criterion = owner->cCriterionMgr::getParameter(item->value);
        criteria.add(criterion);
        criterion->createLink();
    }
}

void cKynPreprocessor::buildFile(cConfigurationGroup* group, int)
{
    if (group == nullptr)
        return;
    group->addInformation("Name", getName());
    group->addInformation("Type", getType());
    if (isFilter())
        group->addInformation("Filter", getFilterName());

    auto starting = std::make_unique<cConfigurationGroup>("Starting Criteria");
    for (unsigned int i = 0; i < m_startingCriteria.size(); ++i)
        starting->addInformation("Name", m_startingCriteria[i]->getNameRef());
    group->addConfigurationGroup(starting.release());

    auto ending = std::make_unique<cConfigurationGroup>("Final Criteria");
    for (unsigned int i = 0; i < m_finalCriteria.size(); ++i)
        ending->addInformation("Name", m_finalCriteria[i]->getNameRef());
    group->addConfigurationGroup(ending.release());

    // Only the drift parameters go back to the file: a "Value" equation is not rebuilt into text,
    // so a rewritten file loses it.
    auto parameters = std::make_unique<cConfigurationGroup>("Parameters List");
    unsigned int i = 0;
    for (cDriftParameter* parameter = firstParameter(i); parameter != nullptr; parameter = nextParameter(i))
    {
        auto parameterGroup = std::make_unique<cConfigurationGroup>("Parameter");
        sParameterMgrTraits<cDriftParameter>::buildFile(parameter, parameterGroup.get(), 0);
        parameters->addConfigurationGroup(parameterGroup.release());
    }
    group->addConfigurationGroup(parameters.release());
}

void cKynPreprocessor::changeFile()
{
    m_startingValues.clear();
    m_finalValues.clear();
    for (unsigned int i = 0; i < m_startingCriteria.size(); ++i)
        m_startingValues.add(m_startingCriteria[i]->getActiveCriterionValuesForOneFile());
    for (unsigned int i = 0; i < m_finalCriteria.size(); ++i)
        m_finalValues.add(m_finalCriteria[i]->getActiveCriterionValuesForOneFile());
}

void cKynPreprocessor::prepareForTest()
{
    if (m_preprocessor == nullptr)
        return;
    m_preprocessor->clearParameters();
    for (unsigned int i = 0; i < m_parameterEquations.size(); ++i)
        m_preprocessor->addParameter(m_parameterEquations[i]->evaluate());
    m_preprocessor->reset();
}

void cKynPreprocessor::UpdateParametersFromPreprocessor()
{
    if (m_preprocessor == nullptr || m_preprocessor->getChangedParameterFlags() == nullptr)
        return;
    m_preprocessor->UpdateParameters();
    cStorage<char> const* const flags = m_preprocessor->getChangedParameterFlags();
    if (flags == nullptr)
        return;
    for (unsigned int i = 0; i < flags->size() && i < m_parameterEquations.size(); ++i)
    {
        if ((*flags)[i] == 0 || !isDriftParameter(m_parameterEquations[i]))
            continue;
        cDriftParameter* const parameter = static_cast<cDriftParameter*>(m_parameterEquations[i]);
        mpf_class const value = m_preprocessor->getParameter(i);
        // The computed value becomes the only one the parameter may take, so that the drift
        // ranges offered to the user follow it.
        parameter->setMaximumValue(value);
        parameter->setMinimumValue(value);
        parameter->setUsedMaximumValue(parameter->getConvertedMaximumValue());
        parameter->setUsedMinimumValue(parameter->getConvertedMinimumValue());
        parameter->setRawValue(value, /*update=*/true, /*applyLimits=*/true);
    }
}

void cKynPreprocessor::ReloadParametersToPreprocessor()
{
    if (m_preprocessor == nullptr || m_parameterEquations.empty())
        return;
    bool changed = false;
    for (unsigned int i = 0; i < m_parameterEquations.size(); ++i)
    {
        mpf_class const value = m_parameterEquations[i]->evaluate();
        // A vector shorter than the list (no prepareForTest yet) grows rather than fails.
        if (i >= m_preprocessor->getParameterCount())
        {
            m_preprocessor->addParameter(value);
            changed = true;
        }
        else if (m_preprocessor->getParameter(i) != value)
        {
            m_preprocessor->setParameter(i, value);
            changed = true;
        }
    }
    // A reset re-initialises the whole object: only a real change of a value is worth one.
    if (changed)
        m_preprocessor->reset();
}

void cKynPreprocessor::calculateSignals(cStorage<char>& status)
{
    if (m_preprocessor == nullptr)
        return;
    for (unsigned int i = 0; i < m_startingValues.size(); ++i)
    {
        cCriterionValuesForOneFile* const in = m_startingValues[i];
        cCriterionValuesForOneFile* const out = getFinalCriterionValuesForOneFile(i);
        if (in == nullptr || out == nullptr)
            throw cNULLPointer(kSource, "cKynPreprocessor::calculateSignals", __LINE__,
                               "Preprocessor " + getName() + ": signal " + std::to_string(i) +
                                   " has no values for the active crash file.");
        m_preprocessor->Calculate(in->getIterationValueList(), out->getIterationValueList(), status, i);
        if (!status.empty())
            out->SetHasPointsToTrue();
    }
}

void cKynPreprocessor::Calculate(cStorage<char>& status)
{
    ReloadParametersToPreprocessor();
    calculateSignals(status);
    UpdateParametersFromPreprocessor();
}

std::string const& cKynPreprocessor::getName() const
{
    static std::string const noName;
    return m_preprocessor != nullptr ? m_preprocessor->getName() : noName;
}

std::string cKynPreprocessor::getType() const
{
    return m_preprocessor != nullptr ? m_preprocessor->getType() : std::string("NULL");
}

bool cKynPreprocessor::isFilter() const
{
    return isFilterType(getType());
}

std::string cKynPreprocessor::getFilterName() const
{
    if (auto const* pole = dynamic_cast<CFilter const*>(m_preprocessor))
        return pole->getFilterName();
    if (auto const* digital = dynamic_cast<CDigitalFilter const*>(m_preprocessor))
        return digital->getFilterName();
    return std::string();
}

cCriterion* cKynPreprocessor::firstStartingCriterion(unsigned int& i) const
{
    return m_startingCriteria.first(i);
}

cCriterion* cKynPreprocessor::nextStartingCriterion(unsigned int& i) const
{
    return m_startingCriteria.next(i);
}

cCriterion* cKynPreprocessor::firstFinalCriterion(unsigned int& i) const
{
    return m_finalCriteria.first(i);
}

cCriterion* cKynPreprocessor::nextFinalCriterion(unsigned int& i) const
{
    return m_finalCriteria.next(i);
}

cCriterionValuesForOneFile* cKynPreprocessor::getFinalCriterionValuesForOneFile(unsigned int i) const
{
    return i < m_finalValues.size() ? m_finalValues[i] : nullptr;
}

cCriterionValuesForOneFile* cKynPreprocessor::getStartingCriterionValuesForOneFile(unsigned int i) const
{
    return i < m_startingValues.size() ? m_startingValues[i] : nullptr;
}

cParameterEquation* cKynPreprocessor::firstParameterEquation(unsigned int& i) const
{
    return m_parameterEquations.first(i);
}

cParameterEquation* cKynPreprocessor::nextParameterEquation(unsigned int& i) const
{
    return m_parameterEquations.next(i);
}

unsigned int cKynPreprocessor::find(cParameterEquation* equation) const
{
    unsigned int i = 0;
    while (i < m_parameterEquations.size() && m_parameterEquations[i] != equation)
        ++i;
    return i;
}

cDriftParameter* cKynPreprocessor::firstParameter(unsigned int& i) const
{
    i = 0;
    while (i < m_parameterEquations.size() && !isDriftParameter(m_parameterEquations[i]))
        ++i;
    return i < m_parameterEquations.size() ? static_cast<cDriftParameter*>(m_parameterEquations[i]) : nullptr;
}

cDriftParameter* cKynPreprocessor::nextParameter(unsigned int& i) const
{
    if (i < m_parameterEquations.size())
        ++i;
    while (i < m_parameterEquations.size() && !isDriftParameter(m_parameterEquations[i]))
        ++i;
    return i < m_parameterEquations.size() ? static_cast<cDriftParameter*>(m_parameterEquations[i]) : nullptr;
}

void cKynPreprocessor::cleanup()
{
    // The equations made from "Value" texts are ours; the drift parameters belong to the stage.
    for (unsigned int i = 0; i < m_parameterEquations.size(); ++i)
        if (m_parameterEquations[i] != nullptr && m_parameterEquations[i]->getClassName() == "cEquation")
            delete m_parameterEquations[i];
    m_parameterEquations.clear();
}

void cKynPreprocessor::deleteInstance(cKynPreprocessor* p)
{
    if (p == nullptr)
        return;
    if (p->stillHasLinks())
        p->decrementLinks();
    else
        delete p;
}

// ---------------------------------------------------------------------------------------------------
// cKynPreprocessorChained

cKynPreprocessorChained::cKynPreprocessorChained(cConfigurationGroup* group, cDriftManager* owner,
                                                 std::string const& path)
    : cKynPreprocessor(group, owner, path), m_group(group)
{
}

void cKynPreprocessorChained::buildFile(cConfigurationGroup* group, int mask)
{
    cKynPreprocessor::buildFile(group, mask);
    if (group == nullptr)
        return;
    for (unsigned int i = 0; i < m_previousProcessors.size(); ++i)
        group->addInformation("Previous", m_previousProcessors[i]->getName());
}

void cKynPreprocessorChained::Calculate(cStorage<char>& status)
{
    if (m_status != 0)
        return;
    for (unsigned int i = 0; i < m_previousProcessors.size(); ++i)
    {
        if (m_previousProcessors[i]->getStatus() == 2)
        {
            // An abandoned input abandons everything behind it, so that the followers are not
            // left waiting for this one.
            m_status = 2;
            for (unsigned int j = 0; j < m_followingProcessors.size(); ++j)
                m_followingProcessors[j]->Calculate(status);
            return;
        }
    }
    // The last previous processor to finish comes back here.
    for (unsigned int i = 0; i < m_previousProcessors.size(); ++i)
        if (m_previousProcessors[i]->getStatus() != 1)
            return;

    ReloadParametersToPreprocessor();
    calculateSignals(status);
    m_status = 1;
    UpdateParametersFromPreprocessor();
    for (unsigned int i = 0; i < m_followingProcessors.size(); ++i)
        m_followingProcessors[i]->Calculate(status);
}

bool cKynPreprocessorChained::isPreprocessorReadyForRegistration(cPreprocessorChainMgr* mgr)
{
    if (m_group == nullptr)
        return false;
    unsigned int cursor = 0;
    for (sInformationItem const* item = m_group->firstInformation(cursor); item != nullptr;
         item = m_group->nextInformation(cursor))
    {
        if (item->key != "Previous")
            continue;
        try
        {
            mgr->getParameter(item->value);
        }
        catch (cKynException const&)
        {
            return false;
        }
    }
    return true;
}

void cKynPreprocessorChained::buildProcessorLink(cPreprocessorChainMgr* mgr)
{
    if (m_group == nullptr)
        return;
    unsigned int cursor = 0;
    for (sInformationItem const* item = m_group->firstInformation(cursor); item != nullptr;
         item = m_group->nextInformation(cursor))
    {
        if (item->key != "Previous")
            continue;
        try
        {
            cKynPreprocessorChained* const previous =
                dynamic_cast<cKynPreprocessorChained*>(mgr->getParameter(item->value));
            if (previous == nullptr)
                continue;
            previous->addFollowingProcessor(this);
            addPreviousProcessor(previous);
            if (cTraceProvider::isLogging(3))
                logLine(m_driftManager, 3,
                        "Processor " + getName() + " is placed behind preprocessor " + previous->getName());
        }
        catch (cKynException const&)
        {
            std::string const format =
                "Processor %s cannot be placed after processor %s.\nError at line number: %d.\n";
            int const size = std::snprintf(nullptr, 0, format.c_str(), getName().c_str(), item->value.c_str(),
                                           item->lineNumber);
            std::vector<char> text(static_cast<std::size_t>(size) + 1);
            std::snprintf(text.data(), text.size(), format.c_str(), getName().c_str(), item->value.c_str(),
                          item->lineNumber);
            doWarningMessage(text.data());
            throw;
        }
    }
}

// ---------------------------------------------------------------------------------------------------
// cPreprocessorMgr

void cPreprocessorMgr::changeFile()
{
    unsigned int i = 0;
    for (cKynPreprocessor* p = firstParameter(i); p != nullptr; p = nextParameter(i))
        p->changeFile();
}

void cPreprocessorMgr::prepareForTest(cKynPreprocessor* p)
{
    unsigned int i = 0;
    for (cCriterion* c = p->firstStartingCriterion(i); c != nullptr; c = p->nextStartingCriterion(i))
        c->prepareForTest();
    for (cCriterion* c = p->firstFinalCriterion(i); c != nullptr; c = p->nextFinalCriterion(i))
        c->prepareForTest();
    p->prepareForTest();
}

void cPreprocessorMgr::prepareForTest()
{
    unsigned int i = 0;
    for (cKynPreprocessor* p = firstParameter(i); p != nullptr; p = nextParameter(i))
        p->prepareForTest();
}

bool cPreprocessorMgr::Calculate(unsigned int entryIndex, cStorage<char>& skipMask)
{
    skipMask.clear();
    if (entryIndex >= getParameterListSize())
        throw cBadListIndex(kSource, "cPreprocessorMgr::Calculate", __LINE__);
    unsigned int i = entryIndex;
    for (cKynPreprocessor* p = getParameter(i); p != nullptr; p = nextParameter(i))
        p->Calculate(skipMask);
    // The mask tells the channel which samples to keep; it never stops the list, and the callers
    // that test this result rely on it being true.
    return true;
}

void cPreprocessorMgr::registerPreprocessor(cKynPreprocessor* p, cDriftManager* owner)
{
    addParameter(p);
    if (!cTraceProvider::isLogging(3))
        return;
    logLine(owner, 3,
            "Preprocessor " + p->getName() + " of type " + p->getType() +
                " is added to preprocessors list of object " +
                (owner != nullptr ? owner->getName() : std::string()));
    unsigned int i = 0;
    unsigned int number = 1;
    for (cCriterion* c = p->firstStartingCriterion(i); c != nullptr;
         c = p->nextStartingCriterion(i), ++number)
        logLine(owner, 3, "Starting criterion number " + std::to_string(number) + " is " + c->getNameRef());
    number = 1;
    for (cCriterion* c = p->firstFinalCriterion(i); c != nullptr; c = p->nextFinalCriterion(i), ++number)
        logLine(owner, 3, "Final criterion number " + std::to_string(number) + " is " + c->getNameRef());
}

void cPreprocessorMgr::loadPreprocessors(cConfigurationGroup* group, std::string const& path,
                                         cDriftManager* owner)
{
    if (group == nullptr)
        return;
    for (cConfigurationGroup* subGroup : group->GetConfigurationGroups())
    {
        if (subGroup->getName() != "Preprocessor")
            continue;
        cKynPreprocessor* const p = new cKynPreprocessor(subGroup, owner, path);
        try
        {
            registerPreprocessor(p, owner);
        }
        catch (...)
        {
            if (!existParameter(p))
                delete p;
            throw;
        }
    }
}

void cPreprocessorMgr::buildFile(cConfigurationGroup* group, int mask)
{
    if (group == nullptr)
        return;
    auto list = std::make_unique<cConfigurationGroup>("Preprocessors List");
    unsigned int i = 0;
    for (cKynPreprocessor* p = firstParameter(i); p != nullptr; p = nextParameter(i))
    {
        auto item = std::make_unique<cConfigurationGroup>("Preprocessor");
        p->buildFile(item.get(), mask);
        list->addConfigurationGroup(item.release());
    }
    group->addConfigurationGroup(list.release());
}

// ---------------------------------------------------------------------------------------------------
// cPreprocessorChainMgr

void cPreprocessorChainMgr::cleanupAllParameters()
{
    cPreprocessorMgr::cleanupAllParameters();
    m_inputProcessors.clear();
}

void cPreprocessorChainMgr::loadPreprocessors(cConfigurationGroup* group, std::string const& path,
                                              cDriftManager* owner)
{
    if (group == nullptr)
        return;
    // Not registered yet, so owned here until a pass places them.
    std::vector<cKynPreprocessorChained*> pending;
    auto deletePending = [&pending]()
    {
        for (cKynPreprocessorChained* p : pending)
            delete p;
        pending.clear();
    };
    try
    {
        for (cConfigurationGroup* subGroup : group->GetConfigurationGroups())
            if (subGroup->getName() == "Preprocessor")
            {
                pending.reserve(pending.size() + 1);
                pending.push_back(new cKynPreprocessorChained(subGroup, owner, path));
            }

        while (!pending.empty())
        {
            std::size_t const before = pending.size();
            for (std::size_t k = 0; k < pending.size();)
            {
                cKynPreprocessorChained* const p = pending[k];
                if (!p->isPreprocessorReadyForRegistration(this))
                {
                    ++k;
                    continue;
                }
                p->buildProcessorLink(this);
                pending.erase(pending.begin() + static_cast<std::ptrdiff_t>(k));
                try
                {
                    registerPreprocessor(p, owner);
                }
                catch (...)
                {
                    if (!existParameter(p))
                        pending.push_back(p);
                    throw;
                }
                // Registered only once the list holds it, so that a failure leaves no stale input.
                if (p->isInput())
                    m_inputProcessors.add(p);
            }
            if (pending.size() == before)
            {
                // Nothing could be placed: the rest wait for one another, or for a name that is
                // not in the chain.
                std::string names;
                for (cKynPreprocessorChained* p : pending)
                    names += p->getName() + "\n";
                deletePending();
                throw cLoopInProcessorChainDetected(kSource, "cPreprocessorChainMgr::loadPreprocessors",
                                                    __LINE__, names);
            }
        }
    }
    catch (...)
    {
        deletePending();
        throw;
    }
}

void cPreprocessorChainMgr::buildFile(cConfigurationGroup* group, int mask)
{
    cPreprocessorMgr::buildFile(group, mask);
}

void cPreprocessorChainMgr::Calculate()
{
    cStorage<char> status;
    unsigned int i = 0;
    for (cKynPreprocessor* p = firstParameter(i); p != nullptr; p = nextParameter(i))
        if (cKynPreprocessorChained* const chained = dynamic_cast<cKynPreprocessorChained*>(p))
            chained->prepareForNextSample();
    for (unsigned int k = 0; k < m_inputProcessors.size(); ++k)
        m_inputProcessors[k]->Calculate(status);
}
