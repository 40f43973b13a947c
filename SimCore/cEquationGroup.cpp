#include "SimCore/cEquationGroup.h"

#include "BaseKit/UserMessages.h"
#include "BaseKit/cKynException.h"
#include "BaseKit/cTraceProvider.h"
#include "SimCore/cEquation.h"
#include "SimCore/cParameter.h"
#include "SimCore/cSymbolManager.h"
#include "StoreKit/cConfigurationGroup.h"

#include <memory>

namespace
{
char const* const kSource = "SimCore/cEquationGroup";

// Groups report through the symbol manager that owns them, or globally while none is active.
void trace(int level, std::string const& text)
{
    if (cTraceProvider::g_loggingLevel < level)
        return;
    if (myActiveSymbolManager != nullptr)
        myActiveSymbolManager->logger().logImpl(level, text);
    else
        cTraceProvider::logGlobal(level, text);
}

// A running condition of the file: a number, a constant or a constant expression, truncated to a
// whole number. False when the text is no constant; a syntax error leaves as an exception.
bool readCondition(std::string const& text, long& condition)
{
    mpf_class value;
    if (myActiveSymbolManager == nullptr || !myActiveSymbolManager->getConstantValue(text, value, true))
        return false;
    condition = value.get_si();
    return true;
}
} // namespace

// ---- Steps and groups --------------------------------------------------------------------------

cEquationGroupStep::~cEquationGroupStep()
{
    for (unsigned int i = 0; i < content.size(); ++i)
        delete content[i];
}

cEquationGroup::~cEquationGroup()
{
    for (unsigned int i = 0; i < m_steps.size(); ++i)
        delete m_steps[i];
}

cEquationGroup* cEquationGroup::createEquationGroup(cConfigurationGroup* g)
{
    if (g == nullptr || g->getName() != "Equation Group")
        return nullptr;
    std::unique_ptr<cEquationGroup> group(new cEquationGroup);
    g->findItem("", "Name", group->m_name, false);
    std::string conditionText;
    long condition = 0;
    if (g->findItem("", "Default Condition", conditionText, false) != 0 &&
        readCondition(conditionText, condition))
        group->m_defaultCondition = static_cast<int32_t>(condition);
    group->addStep(g);
    if (group->m_steps.empty())
        throw cInvalidEquationGroup(kSource, "cEquationGroup::createEquationGroup", __LINE__, group->m_name,
                                    "", "Equation Group Empty");
    return group.release();
}

void cEquationGroup::addStep(cConfigurationGroup* g)
{
    char const* const function = "cEquationGroup::addStep";
    if (g == nullptr)
        return;
    if (g->getName() == "Step")
    {
        auto step = std::make_unique<cEquationGroupStep>();
        g->findItem("", "Name", step->name, false);
        std::string conditionText;
        if (g->findItem("", "Condition", conditionText, false) != 0)
        {
            long condition = 0;
            if (!readCondition(conditionText, condition))
                throw cInvalidEquationGroup(kSource, function, __LINE__, m_name, step->name,
                                            "Bad running condition");
            step->condition = static_cast<uint32_t>(condition);
        }
        for (sInformationItem const& item : g->getInformationRange())
        {
            if (item.key != "Content")
                continue;
            std::unique_ptr<cEquation> equation(cEquation::createEquation(item.value));
            if (equation != nullptr)
            {
                step->content.add(equation.get());
                equation.release();
            }
        }
        if (step->content.empty())
            throw cInvalidEquationGroup(kSource, function, __LINE__, m_name, step->name,
                                        "Missing step content");
        m_steps.add(step.get());
        cEquationGroupStep const* const added = step.release();
        trace(3, "EqGrp " + m_name + " contains step " + added->name);
    }
    for (cConfigurationGroup* subGroup : g->GetConfigurationGroups())
    {
        if (subGroup->getName() == "Equation Group")
            throw cInvalidEquationGroup(kSource, function, __LINE__, m_name, "",
                                        "Cannot define an equation group inside another equation group");
        addStep(subGroup);
    }
}

bool cEquationGroup::execute(int condition)
{
    for (unsigned int s = 0; s < m_steps.size(); ++s)
    {
        cEquationGroupStep& step = *m_steps[s];
        if ((step.condition & static_cast<uint32_t>(condition)) == 0)
        {
            trace(4, "EqGrp " + m_name + ", Step " + step.name + " skipped");
            continue;
        }
        try
        {
            for (unsigned int e = 0; e < step.content.size(); ++e)
            {
                // A guard worth 0 stops the group; what ran before it stays done.
                if (step.content[e]->evaluate() == 0)
                {
                    trace(1, "EqGrp " + m_name + ", Step " + step.name + " failed");
                    return false;
                }
            }
        }
        catch (cKynException& failure)
        {
            failure.appendText("\nUnable to execute link \"" + step.name + "\" in equation group \"" +
                               m_name + "\"");
            throw;
        }
        trace(4, "EqGrp " + m_name + ", Step " + step.name + " executed");
    }
    return true;
}

bool cEquationGroup::containsVariable(std::string const& name) const
{
    for (unsigned int s = 0; s < m_steps.size(); ++s)
    {
        cStorage<cEquation*> const& content = m_steps[s]->content;
        for (unsigned int e = 0; e < content.size(); ++e)
            if (content[e]->containsVariable(name))
                return true;
    }
    return false;
}

// ---- Links of a parameter ----------------------------------------------------------------------

cParameterLinked::cParameterLinked(cParameter* p) : m_parameter(p)
{
    if (m_parameter != nullptr)
        m_parameter->createLink();
}

cParameterLinked::~cParameterLinked()
{
    if (m_parameter != nullptr)
        cParameter::deleteInstance(m_parameter);
}

void cParameterLinked::addLinkedGroup(cEquationGroup* group)
{
    for (unsigned int i = 0; i < m_linkedGroups.size(); ++i)
        if (m_linkedGroups[i] == group)
            return;
    m_linkedGroups.add(group);
}

bool cParameterLinked::executeLinkedGroups(int condition)
{
    if (m_linkedGroups.empty())
        return true;
    if (cTraceProvider::g_loggingLevel >= 4)
    {
        std::string names;
        for (unsigned int i = 0; i < m_linkedGroups.size(); ++i)
            names += "\r\n\t" + m_linkedGroups[i]->getName();
        std::string const parameterName = m_parameter != nullptr ? m_parameter->getName() : std::string();
        trace(4, "Change of parameter " + parameterName + " implies the execution of:" + names);
    }
    unsigned int i = 0;
    try
    {
        for (; i < m_linkedGroups.size(); ++i)
            if (!m_linkedGroups[i]->execute(condition))
                return false;
    }
    catch (cKynException& failure)
    {
        // The change itself stays: the user is told that the dependent values may now disagree.
        doException(failure);
        doErrorMessage(
            "An error occurred during the update of parameters linked together.\nThe validity of the "
            "links between parameters is no more guaranteed");
        trace(1, "Error occurred during execution of: " + m_linkedGroups[i]->getName());
        return false;
    }
    return true;
}

void cParameterLinked::replaceParameter(cParameter* p)
{
    cParameter* const present = m_parameter;
    if (p != nullptr)
        p->createLink();
    m_parameter = p;
    if (present != nullptr)
        cParameter::deleteInstance(present);
}

cParameter* cParameterLinked::releaseParameter()
{
    cParameter* const p = m_parameter;
    m_parameter = nullptr;
    return p;
}
