// The expression trees of the model: conversion factors, default values, constant definitions,
// steps of equation groups and running conditions are all texts in a fully bracketed prefix form
// ("name(operand, ...)") that createEquation turns into a tree. Names resolve through the active
// cSymbolManager when the tree is built; evaluate() then computes it in mpf_class arithmetic.
#pragma once

#include "BaseKit/cStorage.h"
#include "CalcKit/MathematicalFunctions.h"

#include <cstddef>
#include <gmpxx.h>
#include <memory>
#include <string>

class cParameter;
class cSymbolManager;

// What an equation can use as an operand: an equation node, or a drift parameter.
class cParameterEquation
{
public:
    virtual ~cParameterEquation();
    virtual mpf_class evaluate() = 0;
    virtual bool isProcessed() const = 0;
    virtual std::string getClassName() const = 0;
};

// Node types; the values are those stored in the node.
enum
{
    eqInvalid = -1,
    eqAssign = 0,
    eqIf = 1,
    eqFunction = 2,
    eqVariable = 3,
    eqConstant = 4
};

class cEquation : public cParameterEquation
{
public:
    // Stores type and text and resolves the payload through the active symbol manager: a function
    // (type 2), a variable (type 3, which also enters the list of variable equations) or a
    // constant (type 4). A name that does not resolve leaves the node eqInvalid.
    cEquation(int type, std::string text);
    cEquation(cEquation const&) = delete;
    cEquation& operator=(cEquation const&) = delete;
    // Deletes the operands and leaves the list of variable equations.
    ~cEquation() override;

    // Parses text into a new tree owned by the caller; null for an empty text or when no symbol
    // manager is active. Syntax errors throw cInvalidEquationSyntax.
    static cEquation* createEquation(std::string text);
    // A deep copy, null for null.
    static cEquation* cloneEquation(cEquation const* source);

    mpf_class evaluate() override;
    bool isProcessed() const override;
    std::string getClassName() const override;

    // The text form, which parses back to the same tree.
    std::string buildEquationString() const;
    // True when this node or any operand is the variable of exactly that name.
    bool containsVariable(std::string const& name) const;
    // Replaces a node whose operands are all constants by one constant node.
    void simplifyConstants();

    int getType() const { return m_type; }
    std::string const& getText() const { return m_text; }
    unsigned int getOperandCount() const { return m_operands.size(); }
    cEquation const* getOperand(unsigned int index) const { return m_operands.at(index); }
    // The payload of a variable node (null for any other type).
    cParameter* getVariable() const { return m_type == eqVariable ? m_payload.variable : nullptr; }
    // The payload of a constant node (0 for any other type).
    double getConstant() const { return m_type == eqConstant ? m_payload.constant : 0.0; }

    // Gives every living variable node named `name` the parameter p; null p makes them read 0.
    // The symbol manager uses it when a variable is bound to another parameter. Returns the count.
    static unsigned int repointVariableEquations(std::string const& name, cParameter* p);
    // The number of living variable nodes.
    static unsigned int getVariableEquationCount();

private:
    union uPayload
    {
        tMathematicalFunction function;
        cParameter* variable;
        double constant;
    };

    // The parts of createEquation. A leaf: a variable or constant name, folded when constant.
    static cEquation* createLeaf(cSymbolManager& symbols, std::string const& s);
    // The node of "name(...)" with s[open] the '(': a function of the symbol manager, "=" or "IF".
    static std::unique_ptr<cEquation> createOperatorNode(cSymbolManager& symbols, std::string const& s,
                                                         std::size_t open);
    // Parses the comma-separated operands of content (the text between the outer brackets of s)
    // and appends them in order; errors name the whole equation s.
    void addOperands(std::string const& s, std::string const& content);

    static cStorage<cEquation*>& variableEquations();
    void leaveVariableList();
    // Makes the node eqInvalid: out of the variable list, empty text, no payload.
    void invalidate();
    void deleteOperands();
    mpf_class evaluateAssignment();
    mpf_class evaluateCondition();
    mpf_class evaluateFunction();

    int m_type;
    std::string m_text;
    uPayload m_payload;
    cStorage<cEquation*> m_operands;
};
