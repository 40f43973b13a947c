#include "SimCore/cEquation.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/cKynException.h"
#include "SimCore/cParameter.h"
#include "SimCore/cSymbolManager.h"

#include <memory>

namespace
{
char const* const kSource = "SimCore/cEquation";
char const* const kCreateFunction = "cEquation::createEquation";
char const* const kBlanks = " \t\n";

// Operands of a node are few; the list grows by this many.
constexpr unsigned int kOperandGrowthStep = 10;
// Decimals of the text of a folded constant.
constexpr int kFoldedDecimals = 20;

// Only space, tab and newline count as white space in equation texts.
std::string trimBlanks(std::string const& text)
{
    std::size_t const first = text.find_first_not_of(kBlanks);
    if (first == std::string::npos)
        return std::string();
    std::size_t const last = text.find_last_not_of(kBlanks);
    return text.substr(first, last - first + 1);
}

[[noreturn]] void throwSyntax(int line, std::string const& equation, std::string const& message)
{
    throw cInvalidEquationSyntax(kSource, kCreateFunction, line, equation, message);
}

// The evaluated operands of a function call. The function only reads them; they are released
// here whichever way the call ends, also when the function throws.
class cTemporaryOperands
{
public:
    cTemporaryOperands() = default;
    cTemporaryOperands(cTemporaryOperands const&) = delete;
    cTemporaryOperands& operator=(cTemporaryOperands const&) = delete;
    ~cTemporaryOperands()
    {
        for (unsigned int i = 0; i < m_values.size(); ++i)
            delete m_values[i];
    }

    void add(mpf_class const& value)
    {
        auto number = std::make_unique<mpfClass>(value);
        m_values.add(number.get());
        number.release();
    }
    cStorage<mpfClass*>& values() { return m_values; }

private:
    cStorage<mpfClass*> m_values{kOperandGrowthStep};
};
} // namespace

cParameterEquation::~cParameterEquation() = default;

cEquation::cEquation(int type, std::string text)
    : m_type(type), m_text(std::move(text)), m_operands(kOperandGrowthStep)
{
    m_payload.constant = 0.0;
    cSymbolManager* const symbols = myActiveSymbolManager;
    switch (m_type)
    {
    case eqFunction:
        m_payload.function = symbols != nullptr ? symbols->getFunctionPtr(m_text) : nullptr;
        if (m_payload.function == nullptr)
            invalidate();
        break;
    case eqVariable:
        m_payload.variable = symbols != nullptr ? symbols->getVariablePtr(m_text) : nullptr;
        if (m_payload.variable == nullptr)
            invalidate();
        else
            variableEquations().add(this);
        break;
    case eqConstant:
    {
        mpf_class value;
        if (symbols != nullptr && symbols->getConstantValue(m_text, value, false))
            m_payload.constant = value.get_d();
        else
            invalidate();
        break;
    }
    default:
        break;
    }
}

cEquation::~cEquation()
{
    deleteOperands();
    invalidate();
}

cStorage<cEquation*>& cEquation::variableEquations()
{
    static cStorage<cEquation*> list;
    return list;
}

void cEquation::leaveVariableList()
{
    if (m_type != eqVariable)
        return;
    cStorage<cEquation*>& list = variableEquations();
    for (unsigned int i = 0; i < list.size(); ++i)
    {
        if (list[i] == this)
        {
            list.remove(i);
            return;
        }
    }
}

void cEquation::invalidate()
{
    leaveVariableList();
    m_type = eqInvalid;
    m_text.clear();
    m_payload.constant = 0.0;
}

void cEquation::deleteOperands()
{
    for (unsigned int i = 0; i < m_operands.size(); ++i)
        delete m_operands[i];
    m_operands.clear();
}

unsigned int cEquation::repointVariableEquations(std::string const& name, cParameter* p)
{
    unsigned int count = 0;
    cStorage<cEquation*>& list = variableEquations();
    for (unsigned int i = 0; i < list.size(); ++i)
    {
        if (list[i]->m_text == name)
        {
            list[i]->m_payload.variable = p;
            ++count;
        }
    }
    return count;
}

unsigned int cEquation::getVariableEquationCount()
{
    return variableEquations().size();
}

cEquation* cEquation::createEquation(std::string text)
{
    cSymbolManager* const symbols = myActiveSymbolManager;
    if (symbols == nullptr)
        return nullptr;
    std::string const s = trimBlanks(text);
    if (s.empty())
        return nullptr;

    std::size_t const open = s.find_first_of("(),");
    if (open == std::string::npos || open == 0)
        return createLeaf(*symbols, s);
    if (s[open] != '(')
        throwSyntax(__LINE__, s, "'(' expected.\n");

    std::unique_ptr<cEquation> node = createOperatorNode(*symbols, s, open);
    std::size_t const close = s.rfind(')');
    if (close == std::string::npos)
        throwSyntax(__LINE__, s, "\")\" expected.\n");
    node->addOperands(s, s.substr(open + 1, close - open - 1));

    std::string const rest = trimBlanks(s.substr(close + 1));
    if (!rest.empty())
        throwSyntax(__LINE__, s, "Unexpected data in the equation: " + rest + ".\n");

    node->simplifyConstants();
    return node.release();
}

cEquation* cEquation::createLeaf(cSymbolManager& symbols, std::string const& s)
{
    // Brackets for grouping do not exist, so "(1)" ends here as an unknown name.
    std::unique_ptr<cEquation> node;
    mpf_class value;
    if (symbols.getVariableValue(s, value))
        node = std::make_unique<cEquation>(eqVariable, s);
    else if (symbols.getConstantValue(s, value, false))
        node = std::make_unique<cEquation>(eqConstant, s);
    else
        throwSyntax(__LINE__, s, "\"" + s + "\": unknown variable or constant name.\n");
    if (node->getType() == eqInvalid)
        throwSyntax(__LINE__, s, "Unable to build equation.\n");
    node->simplifyConstants();
    return node.release();
}

std::unique_ptr<cEquation> cEquation::createOperatorNode(cSymbolManager& symbols, std::string const& s,
                                                         std::size_t open)
{
    std::unique_ptr<cEquation> node;
    std::string const name = trimBlanks(s.substr(0, open));
    if (symbols.getFunctionPtr(name) != nullptr)
        node = std::make_unique<cEquation>(eqFunction, name);
    else if (name == "=")
        node = std::make_unique<cEquation>(eqAssign, name);
    else if (name == "IF")
        node = std::make_unique<cEquation>(eqIf, name);
    else
        throwSyntax(__LINE__, s, "\"" + name + "\" unknown operator.\n");
    if (node->getType() == eqInvalid)
        throwSyntax(__LINE__, s, "Unable to build equation.\n");
    return node;
}

void cEquation::addOperands(std::string const& s, std::string const& content)
{
    int depth = 0;
    std::size_t start = 0;
    std::size_t position = 0;
    bool commaSeen = false;
    for (;;)
    {
        std::size_t const delimiter = content.find_first_of("(),", position);
        if (delimiter == std::string::npos)
        {
            std::unique_ptr<cEquation> operand(createEquation(content.substr(start)));
            if (operand == nullptr)
            {
                if (commaSeen)
                    throwSyntax(__LINE__, s, "Operand expected after \",\".\n");
                // No text at all between the brackets: a call without operands.
            }
            else
            {
                m_operands.add(operand.get());
                operand.release();
            }
            break;
        }
        position = delimiter + 1;
        switch (content[delimiter])
        {
        case '(':
            ++depth;
            break;
        case ')':
            if (--depth < 0)
                throwSyntax(__LINE__, s, "Too many \")\".\n");
            break;
        case ',':
            if (depth == 0)
            {
                commaSeen = true;
                std::unique_ptr<cEquation> operand(createEquation(content.substr(start, delimiter - start)));
                if (operand == nullptr)
                    throwSyntax(__LINE__, s, "Operand expected before \",\".\n");
                m_operands.add(operand.get());
                operand.release();
                start = position;
            }
            break;
        default:
            throwSyntax(__LINE__, s, "Unknown keyword.\n");
        }
    }
}

cEquation* cEquation::cloneEquation(cEquation const* source)
{
    if (source == nullptr)
        return nullptr;
    auto copy = std::make_unique<cEquation>(source->m_type, source->m_text);
    for (unsigned int i = 0; i < source->m_operands.size(); ++i)
    {
        std::unique_ptr<cEquation> operand(cloneEquation(source->m_operands[i]));
        copy->m_operands.add(operand.get());
        operand.release();
    }
    return copy.release();
}

void cEquation::simplifyConstants()
{
    if (m_operands.empty())
        return;
    for (unsigned int i = 0; i < m_operands.size(); ++i)
    {
        if (m_operands[i]->m_type != eqConstant)
            return;
    }
    // Whatever the node is, "=" and "IF" included: "=(1, 2)" fails here, at build time.
    mpf_class const value = evaluate();
    deleteOperands();
    m_type = eqConstant;
    m_payload.constant = value.get_d();
    doubleToString(m_text, value, kFoldedDecimals);
}

mpf_class cEquation::evaluate()
{
    switch (m_type)
    {
    case eqAssign:
        return evaluateAssignment();
    case eqIf:
        return evaluateCondition();
    case eqFunction:
        return evaluateFunction();
    case eqVariable:
    {
        mpf_class value(0);
        if (myActiveSymbolManager != nullptr && m_payload.variable != nullptr)
            m_payload.variable->getConvertedValue(value);
        return value;
    }
    case eqConstant:
        // Conversion factors fold to this case; nothing but the result is made.
        return mpf_class(m_payload.constant);
    default:
        throw cErrorOccuredDuringEquationEvaluation(kSource, "cEquation::evaluate", __LINE__,
                                                    "evaluate: Unknown equation type");
    }
}

mpf_class cEquation::evaluateAssignment()
{
    unsigned int const count = m_operands.size();
    if (count < 2)
        throw cInvalidMathematicalFunctionParameter(kSource, "cEquation::evaluate", __LINE__, "=",
                                                    "\"=\" operator needs at least two operands");
    mpf_class const value = m_operands[count - 1]->evaluate();
    for (unsigned int i = 0; i + 1 < count; ++i)
    {
        cEquation const* target = m_operands[i];
        // Earlier targets stay assigned: there is nothing to undo in a parameter.
        if (target->m_type != eqVariable)
            throw cInvalidMathematicalFunctionParameter(kSource, "cEquation::evaluate", __LINE__, "=",
                                                        "Left operands of \"=\" must be variables");
        // Without a symbol manager the parameters behind the variables may be gone.
        if (myActiveSymbolManager != nullptr)
            myActiveSymbolManager->setVariableValue(target->m_payload.variable, value);
    }
    return mpf_class(1.0);
}

mpf_class cEquation::evaluateCondition()
{
    if (m_operands.size() != 3)
        throw cInvalidMathematicalFunctionParameter(kSource, "cEquation::evaluate", __LINE__, "IF",
                                                    "\"IF\" operator needs three operands");
    if (m_operands[0]->evaluate() != 0)
        return m_operands[1]->evaluate();
    return m_operands[2]->evaluate();
}

mpf_class cEquation::evaluateFunction()
{
    cTemporaryOperands operands;
    for (unsigned int i = 0; i < m_operands.size(); ++i)
        operands.add(m_operands[i]->evaluate());
    return m_payload.function(operands.values());
}

bool cEquation::isProcessed() const
{
    return true;
}

std::string cEquation::getClassName() const
{
    return "cEquation";
}

std::string cEquation::buildEquationString() const
{
    switch (m_type)
    {
    case eqAssign:
    case eqIf:
    case eqFunction:
    {
        std::string text = m_text + "(";
        for (unsigned int i = 0; i < m_operands.size(); ++i)
        {
            if (i > 0)
                text += ",";
            text += m_operands[i]->buildEquationString();
        }
        return text + ")";
    }
    case eqVariable:
    case eqConstant:
        return m_text;
    default:
        throw cErrorOccuredDuringEquationEvaluation(kSource, "cEquation::buildEquationString", __LINE__,
                                                    "buildEquationString: Unknown equation type");
    }
}

bool cEquation::containsVariable(std::string const& name) const
{
    if (m_type == eqVariable && m_text == name)
        return true;
    for (unsigned int i = 0; i < m_operands.size(); ++i)
    {
        if (m_operands[i]->containsVariable(name))
            return true;
    }
    return false;
}
