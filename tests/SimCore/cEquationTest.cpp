#include "SimCore/cEquation.h"

#include "SimCore/cParameter.h"
#include "tests/support/cParameterHelpers.h"
#include "tests/support/cSimCoreFixture.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

namespace
{
using tEquationPtr = std::unique_ptr<cEquation>;

class cEquationTest : public cSimCoreFixture
{
protected:
    // A float variable of raw limits -100 and 100.
    static cParameter* addVariable(std::string const& name, std::string const& factor, std::string const& raw)
    {
        return newVariable(name, "Conversion Factor = " + factor + "\nRaw Value = " + raw +
                                     "\nMinimum Value = -100\nMaximum Value = 100\n");
    }
    static double valueOf(std::string const& text)
    {
        return tEquationPtr(cEquation::createEquation(text))->evaluate().get_d();
    }
    static std::string textOf(std::string const& text)
    {
        return tEquationPtr(cEquation::createEquation(text))->buildEquationString();
    }
};
} // namespace

TEST_F(cEquationTest, BlankTextGivesNoEquationAndEachSyntaxErrorHasItsExactMessage)
{
    EXPECT_EQ(nullptr, cEquation::createEquation(" \t\n "));
    addVariable("alpha", "1.0", "0");
    // text, then what follows "Invalid equation " in the failure: the failing text and the message.
    std::vector<std::pair<std::string, std::string>> const cases = {
        // A carriage return is not white space in equations: it is looked up as a name.
        {"\r", "\"\r\": \"\r\": unknown variable or constant name.\n"},
        {"  +(1, 2\t", "\"+(1, 2\": \")\" expected.\n"},
        {"+(1, 2))", "\"+(1, 2))\": Too many \")\".\n"},
        {"+(1, 2) 3", "\"+(1, 2) 3\": Unexpected data in the equation: 3.\n"},
        {"+(,1)", "\"+(,1)\": Operand expected before \",\".\n"},
        {"+(1, ,2)", "\"+(1, ,2)\": Operand expected before \",\".\n"},
        {"+(1,)", "\"+(1,)\": Operand expected after \",\".\n"},
        {"1,2", "\"1,2\": '(' expected.\n"},
        {"x)", "\"x)\": '(' expected.\n"},
        {"if(1, 2, 3)", "\"if(1, 2, 3)\": \"if\" unknown operator.\n"},
        // No grouping brackets: the whole text is one unknown name. Names keep their case.
        {"(1)", "\"(1)\": \"(1)\": unknown variable or constant name.\n"},
        {"Alpha", "\"Alpha\": \"Alpha\": unknown variable or constant name.\n"},
        // An operand fails on its own text.
        {"+(1, *(2, nope))", "\"nope\": \"nope\": unknown variable or constant name.\n"}};
    for (auto const& [text, expected] : cases)
        EXPECT_EQ("SimCore/cEquation|cInvalidEquationSyntax|cEquation::createEquation|Invalid equation " +
                      expected,
                  failureWithSourceOf([&] { delete cEquation::createEquation(text); }));
    myActiveSymbolManager = nullptr;
    EXPECT_EQ(nullptr, cEquation::createEquation("+(1, 2)"));
}

TEST_F(cEquationTest, ConstantOperandsFoldIntoOneNodeWhoseTextIsTheValue)
{
    tEquationPtr sum(cEquation::createEquation("+(1, 2)"));
    EXPECT_EQ(eqConstant, sum->getType());
    EXPECT_EQ(0u, sum->getOperandCount());
    EXPECT_EQ(3.0, sum->evaluate().get_d());
    EXPECT_EQ(1000.0, valueOf("1e3"));
    // Leaves keep their text as written.
    EXPECT_EQ(
        (std::vector<std::string>{"3.00000000000000000000", "2.00000000000000000000",
                                  "3.00000000000000000000", "-1.50000000000000000000", "1e3", "BLUE_1"}),
        (std::vector<std::string>{sum->buildEquationString(), textOf("IF(1, 2, 3)"), textOf("IF(0, 2, 3)"),
                                  textOf("-(*(0.5, 3))"), textOf(" 1e3 "), textOf("BLUE_1")}));

    // A call without operands is not folded, and fails only when evaluated.
    tEquationPtr empty(cEquation::createEquation("+()"));
    EXPECT_EQ(eqFunction, empty->getType());
    EXPECT_EQ("+()", empty->buildEquationString());
    EXPECT_THROW(empty->evaluate(), cInvalidMathematicalFunctionParameter);
    // Folding runs "=" too, so an assignment to a constant fails at build time.
    EXPECT_THROW(cEquation::createEquation("=(1, 2)"), cInvalidMathematicalFunctionParameter);
}

TEST_F(cEquationTest, TextFormAndCloneGiveBackTheSameTree)
{
    addVariable("x", "1.0", "2");
    addVariable("y", "1.0", "0");
    EXPECT_EQ("MAX(x,*(2,x),3.00000000000000000000)", textOf("MAX( x , *(2, x), +(1, 2))"));
    for (std::string const text : {"MAX( x , *(2, x), +(1, 2))", "=(y, IF(x, /(x, 4), ~(3)))", "-(x)"})
    {
        std::string const once = textOf(text);
        tEquationPtr again(cEquation::createEquation(once));
        EXPECT_EQ(once, again->buildEquationString()) << text;
        EXPECT_EQ(once, tEquationPtr(cEquation::cloneEquation(again.get()))->buildEquationString()) << text;
    }
    EXPECT_EQ(nullptr, cEquation::cloneEquation(nullptr));
}

TEST_F(cEquationTest, VariableOperandKeepsItsNodeAndFollowsTheParameter)
{
    cParameter* x = addVariable("x", "0.5", "4");
    tEquationPtr twice(cEquation::createEquation("*(2, x)"));
    ASSERT_EQ(2u, twice->getOperandCount());
    EXPECT_EQ(x, twice->getOperand(1)->getVariable());
    // Read in converted units: raw 4 times factor 0.5.
    EXPECT_EQ(4.0, twice->evaluate().get_d());
    setLimited(x, mpf_class(10));
    EXPECT_EQ(10.0, twice->evaluate().get_d());
    EXPECT_TRUE(twice->containsVariable("x"));
    EXPECT_FALSE(twice->containsVariable("X"));
    // With no active symbol manager, a variable reads 0.
    myActiveSymbolManager = nullptr;
    EXPECT_EQ(0.0, twice->evaluate().get_d());
}

TEST_F(cEquationTest, AssignmentSetsEveryTargetInConvertedUnitsWithLimits)
{
    cParameter* a = addVariable("a", "0.5", "0");
    cParameter* b = addVariable("b", "0.5", "0");
    EXPECT_EQ(1.0, valueOf("=(a, b, 5)"));
    mpf_class raw;
    a->getRawValue(raw);
    EXPECT_EQ((std::vector<double>{5, 5, 10}),
              (std::vector<double>{convertedOf(a), convertedOf(b), raw.get_d()}));
    // The raw maximum of 100 is 50 in converted units.
    valueOf("=(a, 80)");
    EXPECT_EQ(50.0, convertedOf(a));

    // Targets before the bad one stay assigned.
    tEquationPtr badTarget(cEquation::createEquation("=(a, 2, b, 7)"));
    std::string const invalid =
        "cInvalidMathematicalFunctionParameter|cEquation::evaluate|Invalid operands of "
        "function \"=\": ";
    EXPECT_EQ(invalid + "Left operands of \"=\" must be variables",
              failureOf([&] { badTarget->evaluate(); }));
    EXPECT_EQ((std::vector<double>{7, 5}), (std::vector<double>{convertedOf(a), convertedOf(b)}));
    tEquationPtr lonely(cEquation::createEquation("=(a)"));
    EXPECT_EQ(invalid + "\"=\" operator needs at least two operands", failureOf([&] { lonely->evaluate(); }));
}

TEST_F(cEquationTest, ConditionRunsOnlyTheChosenBranch)
{
    cParameter* flag = addVariable("flag", "1.0", "0");
    cParameter* a = addVariable("a", "1.0", "0");
    cParameter* b = addVariable("b", "1.0", "0");
    tEquationPtr choice(cEquation::createEquation("IF(flag, =(a, 1), =(b, 1))"));
    EXPECT_EQ(1.0, choice->evaluate().get_d());
    EXPECT_EQ((std::vector<double>{0, 1}), (std::vector<double>{convertedOf(a), convertedOf(b)}));
    setLimited(flag, mpf_class(-0.5));
    choice->evaluate();
    EXPECT_EQ(1.0, convertedOf(a));
}

TEST_F(cEquationTest, FunctionFailureLeavesNoTemporaryBehind)
{
    addVariable("x", "1.0", "3");
    // The leak check of the sanitizer run verifies that the evaluated operands were freed.
    tEquationPtr division(cEquation::createEquation("/(x, x, -(x, x))"));
    EXPECT_EQ("cInvalidMathematicalFunctionParameter|Div|Invalid operands of function \"/\": "
              "division by zero (operand 3)",
              failureOf([&] { division->evaluate(); }));
    EXPECT_EQ(7.0, valueOf("+(x, x, 1)"));
}

TEST_F(cEquationTest, VariableNodesLiveInTheListUntilDeleted)
{
    addVariable("x", "1.0", "3");
    unsigned int const before = cEquation::getVariableEquationCount();
    tEquationPtr original(cEquation::createEquation("+(x, *(x, 2))"));
    tEquationPtr clone(cEquation::cloneEquation(original.get()));
    EXPECT_EQ(before + 4, cEquation::getVariableEquationCount());
    original.reset();
    EXPECT_EQ(before + 2, cEquation::getVariableEquationCount());
    EXPECT_EQ(9.0, clone->evaluate().get_d());
    clone.reset();
    EXPECT_EQ(before, cEquation::getVariableEquationCount());

    // A name that does not resolve leaves an invalid node, outside the list.
    cEquation missing(eqVariable, "missing");
    EXPECT_EQ(eqInvalid, missing.getType());
    EXPECT_EQ("", missing.getText());
    EXPECT_EQ(before, cEquation::getVariableEquationCount());
    EXPECT_EQ(eqInvalid, cEquation(eqConstant, "+5").getType());
    EXPECT_EQ(255.0, cEquation(eqConstant, "RED_4").getConstant());
    EXPECT_THROW(missing.evaluate(), cErrorOccuredDuringEquationEvaluation);
    EXPECT_EQ("cErrorOccuredDuringEquationEvaluation|cEquation::buildEquationString|Error during equation "
              "evaluation: buildEquationString: Unknown equation type",
              failureOf([&] { missing.buildEquationString(); }));
}
