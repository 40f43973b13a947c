#include "SimCore/cSymbolManager.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/cKynException.h"
#include "SimCore/cEquation.h"
#include "SimCore/cEquationGroup.h"
#include "SimCore/cParameter.h"
#include "StoreKit/cCfgInputFile.h"
#include "StoreKit/cConfigurationGroup.h"

#include <cmath>
#include <cstdio>
#include <memory>

cSymbolManager* myActiveSymbolManager = nullptr;

namespace
{
char const* const kSource = "SimCore/cSymbolManager";
// Trace lines of the registries are written from this level on.
constexpr int kRegistryTraceLevel = 3;

struct sPredefinedConstant
{
    char const* name;
    char const* text;
};

// The colours that the files of every project may use; their texts fold through "RGB". The order
// is that of their definition traces, which users compare between versions.
constexpr sPredefinedConstant kPredefinedConstants[] = {
    {"GREEN_1", "RGB(193, 252, 54)"}, {"VIOLET_1", "RGB(255, 156, 255)"},
    {"GREEN_2", "RGB(164, 233,  3)"}, {"VIOLET_2", "RGB(255,  99, 255)"},
    {"GREEN_3", "RGB(140, 199,  3)"}, {"VIOLET_3", "RGB(255,   0, 255)"},
    {"GREEN_4", "RGB(117, 166,  2)"}, {"VIOLET_4", "RGB(206,   0, 206)"},
    {"GREEN_5", "RGB( 34,  81,  8)"}, {"VIOLET_5", "RGB(132,   0, 132)"},
    {"BLUE_1", "RGB(99, 206, 255)"},  {"BROWN_1", "RGB(242, 198, 149)"},
    {"BLUE_2", "RGB(49, 156, 255)"},  {"BROWN_2", "RGB(236, 172, 102)"},
    {"BLUE_3", "RGB( 0,  99, 255)"},  {"BROWN_3", "RGB(230, 139,  40)"},
    {"BLUE_4", "RGB( 0,  49, 206)"},  {"BROWN_4", "RGB(193, 113,  23)"},
    {"BLUE_5", "RGB( 0,   0, 156)"},  {"BROWN_5", "RGB(150,  87,  18)"},
    {"RED_1", "RGB(255, 206, 156)"},  {"YELLOW_1", "RGB(247, 254, 160)"},
    {"RED_2", "RGB(255, 156,  99)"},  {"YELLOW_2", "RGB(254, 251, 180)"},
    {"RED_3", "RGB(255,  99,   0)"},  {"YELLOW_3", "RGB(240, 253, 65)"},
    {"RED_4", "RGB(255,   0,   0)"},  {"YELLOW_4", "RGB(216, 232, 2)"},
    {"RED_5", "RGB(206,   0,   0)"},  {"YELLOW_5", "RGB(253, 241, 7)"},
    {"BLACK", "RGB(0, 0, 0)"},        {"GREY_1", "RGB(55, 55, 55)"},
    {"GREY_2", "RGB(105, 105, 105)"}, {"GREY_3", "RGB(155, 155, 155)"},
    {"GREY_4", "RGB(205, 205, 205)"}, {"GREY_5", "RGB(230, 230, 230)"},
};

// Only space, tab and newline are trimmed from constant texts, as from equations.
std::string trimBlanks(std::string const& text)
{
    std::size_t const first = text.find_first_not_of(" \t\n");
    if (first == std::string::npos)
        return std::string();
    std::size_t const last = text.find_last_not_of(" \t\n");
    return text.substr(first, last - first + 1);
}

// A plain decimal number: what "%Lf" reads, not a NaN, written only with digits, '.', '-', 'e'
// and 'E'. A sign '+' is refused, so "1e+3" and "+5" are no numbers here.
bool looksLikeNumber(std::string const& text)
{
    long double value = 0;
    if (std::sscanf(text.c_str(), "%Lf", &value) != 1 || std::isnan(value))
        return false;
    return text.find_first_not_of("0123456789.-eE") == std::string::npos;
}

// The log line of a constant: its value with as many decimals as its text has after the first '.'.
std::string constantDefinitionText(std::string const& name, std::string const& text, mpf_class const& value)
{
    char format[32];
    std::size_t const dot = text.find('.');
    if (dot != std::string::npos)
        std::snprintf(format, sizeof format, "%%.%zdF", text.size() - dot - 1);
    else
        std::snprintf(format, sizeof format, "%%.%dF", 0);
    double const number = value.get_d();
    int const length = std::snprintf(nullptr, 0, format, number);
    std::string formatted(static_cast<std::size_t>(length), '\0');
    std::snprintf(formatted.data(), formatted.size() + 1, format, number);
    return "New constant definition: " + name + " = " + formatted;
}
} // namespace

cSymbolManager::cSymbolManager() : m_logger("Symbols") {}

cSymbolManager::~cSymbolManager()
{
    clearAll();
}

// ---- Loading -----------------------------------------------------------------------------------

void cSymbolManager::setConfiguration(std::string const& file)
{
    clearAll();
    cFileConfigured::setConfiguration(file);
    setFunctionsConfiguration();
    loadPredefinedConstants();
    setConstantsConfiguration();
    setInternalParameterConfiguration();
}

void cSymbolManager::linkSymbol()
{
    setEquationGroupConfiguration();
    KYN_TRACE(m_logger, kRegistryTraceLevel,
              "All equations groups will be executed once with their default running condition");
    // The groups settle every dependent value once; a failure here leaves to the caller.
    for (unsigned int i = 0; i < m_equationGroups.size(); ++i)
        m_equationGroups[i]->execute(m_equationGroups[i]->getDefaultCondition());
}

void cSymbolManager::setEquationGroupConfiguration()
{
    // A second call reads the groups again, so that variables registered since are linked too.
    clearEquationGroups();
    cCfgInputFile* const file = getConfigurationFile();
    if (file == nullptr)
        return;
    cConfigurationGroup* const list =
        file->getTopGroup()->findConfigurationGroup("Equation Group List", false);
    if (list != nullptr)
        loadEquationGroupDescription(list);
}

void cSymbolManager::loadEquationGroupDescription(cConfigurationGroup* group)
{
    if (group->getName() != "Equation Group")
    {
        for (cConfigurationGroup* subGroup : group->GetConfigurationGroups())
            loadEquationGroupDescription(subGroup);
        return;
    }
    std::unique_ptr<cEquationGroup> equationGroup;
    try
    {
        equationGroup.reset(cEquationGroup::createEquationGroup(group));
    }
    catch (cKynException& failure)
    {
        addOrigin(failure, group);
        throw;
    }
    m_equationGroups.add(equationGroup.get());
    cEquationGroup* const added = equationGroup.release();
    KYN_TRACE(m_logger, kRegistryTraceLevel, "New equation group definition: " + added->getName());
    // A group runs on a change of every variable it names, whichever side of an assignment.
    for (auto const& [name, entry] : m_variables)
    {
        if (!added->containsVariable(name))
            continue;
        entry->addLinkedGroup(added);
        KYN_TRACE(m_logger, kRegistryTraceLevel,
                  "Parameter " +
                      (entry->getParameter() != nullptr ? entry->getParameter()->getName() : name) +
                      " linked to EqGrp " + added->getName());
    }
}

void cSymbolManager::addOrigin(cKynException& failure, cConfigurationGroup const* group)
{
    if (group->getSourceFile().empty())
        return;
    failure.addFileName(group->getSourceFile());
    failure.appendText("\n");
    failure.addLineNumber(group->getLineNumber());
}

void cSymbolManager::setFunctionsConfiguration()
{
    for (sMathematicalFunction const& entry : g_mathematicalFunctions)
    {
        std::string const name = entry.name;
        int const kind = isSymbolDefined(name);
        if (kind != symbolUnknown)
            throw cInvalidSymbolDefinition(
                kSource, "cSymbolManager::setFunctionsConfiguration", __LINE__, name, entry.reference,
                "The function name \"" + name + "\" is already defined as " + getSymbolKindWord(kind));
        m_functions[name] = entry.function;
        KYN_TRACE(m_logger, kRegistryTraceLevel, "New function definition: " + name);
    }
}

void cSymbolManager::loadPredefinedConstants()
{
    for (sPredefinedConstant const& constant : kPredefinedConstants)
        defineConstant(constant.name, constant.text);
}

void cSymbolManager::setConstantsConfiguration()
{
    cCfgInputFile* const file = getConfigurationFile();
    if (file == nullptr)
        return;
    cConfigurationGroup* const list = file->getTopGroup()->findConfigurationGroup("Constants List", false);
    if (list != nullptr)
        loadConstantsDescription(list);
}

void cSymbolManager::loadConstantsDescription(cConfigurationGroup* group)
{
    if (group->getName() == "Constant")
    {
        std::string name;
        std::string value;
        try
        {
            group->findItem("", "Name", name, true);
            group->findItem("", "Value", value, true);
            defineConstant(name, value);
        }
        catch (cKynException& failure)
        {
            addOrigin(failure, group);
            throw;
        }
    }
    // Constants may stand at any depth, inside a "Constant" group as well.
    for (cConfigurationGroup* subGroup : group->GetConfigurationGroups())
        loadConstantsDescription(subGroup);
}

void cSymbolManager::defineConstant(std::string name, std::string text)
{
    char const* const function = "cSymbolManager::defineConstant";
    int const kind = isSymbolDefined(name);
    if (kind != symbolUnknown)
        throw cInvalidSymbolDefinition(kSource, function, __LINE__, name, text,
                                       "The constant name \"" + name + "\" is already defined as " +
                                           getSymbolKindWord(kind));
    mpf_class value;
    if (!getConstantValue(text, value, true))
        throw cInvalidSymbolDefinition(kSource, function, __LINE__, name, text,
                                       "\"" + text + "\" is not a consistent constant value");
    m_constants[name] = value;
    KYN_TRACE(m_logger, kRegistryTraceLevel, constantDefinitionText(name, text, value));
}

void cSymbolManager::setInternalParameterConfiguration()
{
    cCfgInputFile* const file = getConfigurationFile();
    if (file == nullptr)
        return;
    cConfigurationGroup* const list = file->getTopGroup()->findConfigurationGroup("Parameters List", false);
    if (list != nullptr)
        loadInternalParameterDescription(list);
}

void cSymbolManager::loadInternalParameterDescription(cConfigurationGroup* group)
{
    if (group->getName() == "Parameter")
    {
        try
        {
            createInternalParameter(group);
        }
        catch (cKynException& failure)
        {
            addOrigin(failure, group);
            throw;
        }
        return;
    }
    for (cConfigurationGroup* subGroup : group->GetConfigurationGroups())
        loadInternalParameterDescription(subGroup);
}

void cSymbolManager::createInternalParameter(cConfigurationGroup* group)
{
    std::vector<std::pair<std::string, cParameter*>> journal;
    auto* const previousJournal = m_registrationJournal;
    m_registrationJournal = &journal;
    cParameter* p = nullptr;
    try
    {
        p = new cParameter(group, "");
    }
    catch (...)
    {
        m_registrationJournal = previousJournal;
        // The object is gone with its constructor: an entry it made must not outlive it, and the
        // equations that were pointed at it read 0 rather than freed memory.
        for (auto const& [name, parameter] : journal)
        {
            auto const entry = m_variables.find(name);
            if (entry != m_variables.end() && entry->second->getParameter() == parameter)
            {
                unregisterCorruptedVariableSymbol(name);
                cEquation::repointVariableEquations(name, nullptr);
            }
        }
        throw;
    }
    m_registrationJournal = previousJournal;
    p->createLink();
    try
    {
        m_internalParameters.add(p);
    }
    catch (...)
    {
        cParameter::deleteInstance(p);
        throw;
    }
}

// ---- Clearing ----------------------------------------------------------------------------------

void cSymbolManager::clearAll()
{
    clearFunctionRegistry();
    clearConstantRegistry();
    clearVariableRegistry();
    clearInternalParameters();
    clearEquationGroups();
}

void cSymbolManager::clearFunctionRegistry()
{
    m_functions.clear();
    KYN_TRACE(m_logger, kRegistryTraceLevel, "All function definitions cleared");
}

void cSymbolManager::clearConstantRegistry()
{
    m_constants.clear();
    KYN_TRACE(m_logger, kRegistryTraceLevel, "All constant definitions cleared");
}

void cSymbolManager::clearVariableRegistry()
{
    // Taken out first: a parameter that goes with its last link must find the map consistent.
    tVariableMap variables;
    variables.swap(m_variables);
    for (auto const& entry : variables)
        delete entry.second;
    KYN_TRACE(m_logger, kRegistryTraceLevel, "All variable definitions cleared");
}

void cSymbolManager::clearInternalParameters()
{
    for (unsigned int i = 0; i < m_internalParameters.size(); ++i)
        cParameter::deleteInstance(m_internalParameters[i]);
    m_internalParameters.clear();
    KYN_TRACE(m_logger, kRegistryTraceLevel, "Internal variables deleted");
}

void cSymbolManager::clearEquationGroups()
{
    // The variables forget the groups before they go.
    for (auto const& entry : m_variables)
        entry.second->clearLinkedGroups();
    for (unsigned int i = 0; i < m_equationGroups.size(); ++i)
        delete m_equationGroups[i];
    m_equationGroups.clear();
    KYN_TRACE(m_logger, kRegistryTraceLevel, "All equation group definitions cleared");
}

// ---- Symbols -----------------------------------------------------------------------------------

int cSymbolManager::isSymbolDefined(std::string const& name) const
{
    if (m_functions.count(name) != 0)
        return symbolFunction;
    if (m_constants.count(name) != 0)
        return symbolConstant;
    if (m_variables.count(name) != 0)
        return symbolVariable;
    return symbolUnknown;
}

char const* cSymbolManager::getSymbolKindWord(int kind)
{
    switch (kind)
    {
    case symbolFunction:
        return "function";
    case symbolConstant:
        return "constant";
    case symbolVariable:
        return "variable";
    default:
        return "unknown";
    }
}

tMathematicalFunction cSymbolManager::getFunctionPtr(std::string name)
{
    auto const found = m_functions.find(name);
    return found != m_functions.end() ? found->second : nullptr;
}

bool cSymbolManager::getConstantValue(std::string text, mpf_class& v, bool allowExpression)
{
    // The name as written comes first, so a constant may even be named like a number.
    auto const found = m_constants.find(text);
    if (found != m_constants.end())
    {
        v = found->second;
        return true;
    }
    std::string const trimmed = trimBlanks(text);
    if (looksLikeNumber(trimmed))
    {
        // The character test lets texts such as "1-2" through; they are no number either.
        try
        {
            stringToMpf(trimmed, v, 10, 0);
            return true;
        }
        catch (cGenericException const&)
        {
        }
    }
    if (allowExpression)
    {
        std::unique_ptr<cEquation> equation(cEquation::createEquation(trimmed));
        if (equation != nullptr && equation->getType() == eqConstant)
        {
            v = equation->evaluate();
            return true;
        }
    }
    return false;
}

// ---- Variables ---------------------------------------------------------------------------------

bool cSymbolManager::registerVariableSymbol(std::string name, cParameter* p)
{
    char const* const function = "cSymbolManager::registerVariableSymbol";
    if (p == nullptr)
        throw cInvalidSymbolDefinition(kSource, function, __LINE__, name, "",
                                       "Cannot define the variable \"" + name + "\" without assigned memory");
    int const kind = isSymbolDefined(name);
    if (kind == symbolFunction || kind == symbolConstant)
        throw cInvalidSymbolDefinition(kSource, function, __LINE__, name, "",
                                       "The variable name \"" + name + "\" is already defined as " +
                                           getSymbolKindWord(kind));
    if (kind == symbolUnknown)
    {
        auto entry = std::make_unique<cParameterLinked>(p);
        m_variables.emplace(name, entry.get());
        entry.release();
        if (m_registrationJournal != nullptr)
            m_registrationJournal->emplace_back(name, p);
        KYN_TRACE(m_logger, kRegistryTraceLevel, "New variable definition: " + name);
        return true;
    }

    // A file being reloaded binds its new parameter to a name already in use.
    cParameterLinked* const entry = m_variables[name];
    cParameter* const present = entry->getParameter();
    if (present != nullptr && present->getLinksNumber() > 1)
        throw cInvalidVariableRedefinition(kSource, function, __LINE__, name, present->getLinksNumber());
    entry->replaceParameter(p);
    if (m_registrationJournal != nullptr)
        m_registrationJournal->emplace_back(name, p);
    // Equations hold their parameter directly: every use of the name must follow.
    cEquation::repointVariableEquations(name, p);
    updateSymbolsLinkedWith(name, -1);
    return true;
}

void cSymbolManager::unregisterCorruptedVariableSymbol(std::string name)
{
    auto const found = m_variables.find(name);
    if (found == m_variables.end())
        return;
    found->second->releaseParameter();
    delete found->second;
    m_variables.erase(found);
}

bool cSymbolManager::updateSymbolsLinkedWith(std::string& name, int condition)
{
    if (condition == 0)
        return true;
    auto const found = m_variables.find(name);
    if (found == m_variables.end())
        return true;
    return found->second->executeLinkedGroups(condition);
}

cStorage<cEquationGroup*> const* cSymbolManager::getLinkedGroups(std::string const& name) const
{
    auto const found = m_variables.find(name);
    return found != m_variables.end() ? &found->second->getLinkedGroups() : nullptr;
}

cParameter* cSymbolManager::getVariablePtr(std::string name)
{
    auto const found = m_variables.find(name);
    return found != m_variables.end() ? found->second->getParameter() : nullptr;
}

bool cSymbolManager::getVariableValue(std::string name, mpf_class& v)
{
    cParameter* const p = getVariablePtr(name);
    if (p == nullptr)
        return false;
    p->getConvertedValue(v);
    return true;
}

bool cSymbolManager::getVariableValue(cParameter* p, mpf_class& v)
{
    if (p == nullptr)
        return false;
    p->getConvertedValue(v);
    return true;
}

void cSymbolManager::setVariableValue(std::string name, double v)
{
    setVariableValue(getVariablePtr(name), mpf_class(v));
}

void cSymbolManager::setVariableValue(cParameter* p, mpf_class v)
{
    if (p == nullptr)
        return;
    p->setConvertedValue(v, /*update=*/false, /*applyLimits=*/true);
}
