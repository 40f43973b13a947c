// The name table of a project: the functions, constants and variables that equation texts may
// use, and the internal parameters declared in the symbols file. Exactly one instance is active,
// published in myActiveSymbolManager; equations resolve their names through it when they are
// built, and every registered parameter is reached through it by its registration name.
#pragma once

#include "BaseKit/cStorage.h"
#include "BaseKit/cTraceProvider.h"
#include "CalcKit/MathematicalFunctions.h"
#include "SimCore/cFileConfigured.h"

#include <gmpxx.h>
#include <map>
#include <string>
#include <utility>
#include <vector>

class cConfigurationGroup;
class cEquationGroup;
class cKynException;
class cParameter;
class cParameterLinked;

class cSymbolManager : public cFileConfigured
{
public:
    // What isSymbolDefined answers, in the search order of the maps.
    enum
    {
        symbolUnknown = 0,
        symbolFunction = 1,
        symbolConstant = 2,
        symbolVariable = 3
    };

    // Empty: nothing is defined until setConfiguration runs.
    cSymbolManager();
    cSymbolManager(cSymbolManager const&) = delete;
    cSymbolManager& operator=(cSymbolManager const&) = delete;
    // Clears everything, as clearAll does.
    ~cSymbolManager() override;

    ObjectLogger& logger() { return m_logger; }

    // Clears everything, reads the symbols file (an empty name reads none), then defines the
    // functions, the predefined colour constants, the file's constants and its internal parameters.
    // Constant texts are equations built through myActiveSymbolManager: publish this one first.
    void setConfiguration(std::string const& file) override;
    using cFileConfigured::setConfiguration;

    // Reads the equation groups of the symbols file (again, when called a second time), links each
    // to the variables its equations name and runs each once with its default condition. Called
    // once every parameter of the project has registered itself; a failure leaves to the caller.
    void linkSymbol();
    // Runs the groups linked with the variable `name` under condition; true when they all
    // succeeded, and at once for condition 0 or a name that is not a variable.
    bool updateSymbolsLinkedWith(std::string& name, int condition);

    // Lookups by name; null or false for a name of another kind.
    tMathematicalFunction getFunctionPtr(std::string name);
    // A constant name, a plain decimal number, or, with allowExpression, a constant expression.
    bool getConstantValue(std::string text, mpf_class& v, bool allowExpression);
    cParameter* getVariablePtr(std::string name);
    // Variables are read and written in converted units; writing applies the limits and does not
    // run the linked groups.
    bool getVariableValue(std::string name, mpf_class& v);
    bool getVariableValue(cParameter* p, mpf_class& v);
    void setVariableValue(std::string name, double v);
    void setVariableValue(cParameter* p, mpf_class v);

    // Publishes p under name (p gains a link). A name already bound to a variable is bound to p
    // instead, when the present parameter has no other holder, and every equation using the name
    // follows. True when registered.
    bool registerVariableSymbol(std::string name, cParameter* p);
    // Removes the entry of name without touching its parameter: for a parameter whose
    // construction failed after it had registered, whose object no longer exists.
    void unregisterCorruptedVariableSymbol(std::string name);

    // The internal parameters of the symbols file, in file order.
    cStorage<cParameter*> const& getInternalParameters() const { return m_internalParameters; }
    // The equation groups, in file order.
    cStorage<cEquationGroup*> const& getEquationGroups() const { return m_equationGroups; }
    // The groups run by a change of the variable, in file order; null for a name that is no
    // variable.
    cStorage<cEquationGroup*> const* getLinkedGroups(std::string const& name) const;

private:
    typedef std::map<std::string, cParameterLinked*> tVariableMap;

    void clearAll();
    int isSymbolDefined(std::string const& name) const;
    static char const* getSymbolKindWord(int kind);

    void setFunctionsConfiguration();
    void clearFunctionRegistry();

    void setConstantsConfiguration();
    void defineConstant(std::string name, std::string text);
    void loadPredefinedConstants();
    void loadConstantsDescription(cConfigurationGroup* group);
    void clearConstantRegistry();

    void clearVariableRegistry();

    void setInternalParameterConfiguration();
    void loadInternalParameterDescription(cConfigurationGroup* group);
    void createInternalParameter(cConfigurationGroup* group);
    void clearInternalParameters();

    void setEquationGroupConfiguration();
    void loadEquationGroupDescription(cConfigurationGroup* group);
    void clearEquationGroups();
    // Adds the file and line of the group where a definition failed.
    static void addOrigin(cKynException& failure, cConfigurationGroup const* group);

    ObjectLogger m_logger;
    std::map<std::string, tMathematicalFunction> m_functions;
    std::map<std::string, mpf_class> m_constants;
    tVariableMap m_variables;
    cStorage<cParameter*> m_internalParameters;
    cStorage<cEquationGroup*> m_equationGroups;
    // While an internal parameter is being built: the names and parameters it registered, so
    // that a failed construction leaves no entry behind pointing to the vanished object.
    std::vector<std::pair<std::string, cParameter*>>* m_registrationJournal = nullptr;
};

extern cSymbolManager* myActiveSymbolManager;
