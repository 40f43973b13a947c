#include "SimCore/cSymbolManager.h"

#include "SimCore/cEquation.h"
#include "SimCore/cEquationGroup.h"
#include "SimCore/cParameter.h"
#include "tests/support/cParameterHelpers.h"
#include "tests/support/cSimCoreFixture.h"
#include "tests/support/cTestHelpers.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace
{
class cSymbolManagerTest : public cSimCoreFixture
{
protected:
    // A float parameter with factor 2, raw maximum 10 and raw value 1.
    static cParameter* makeParameter(std::string const& name, bool registered)
    {
        return newVariable(name, std::string("Conversion Factor = 2\nMaximum Value = 10\nRaw Value = 1\n") +
                                     (registered ? "" : "Symbol Registered = 0\n"));
    }
    double constantOf(std::string const& text, bool allowExpression)
    {
        mpf_class value(-99);
        EXPECT_TRUE(symbols.getConstantValue(text, value, allowExpression)) << text;
        return value.get_d();
    }
    // "name|definition|message" of a symbol definition failure, or "none".
    template <typename F> static std::string definitionFailureOf(F call)
    {
        try
        {
            call();
        }
        catch (cInvalidSymbolDefinition const& e)
        {
            return e.getFirst() + "|" + e.getSecond() + "|" + e.getThird();
        }
        return "none";
    }
};
} // namespace

TEST_F(cSymbolManagerTest, ConfigurationClearsThenDefinesFunctionsAndColoursInOrder)
{
    cRecordingTraceSink trace(3);
    symbols.setConfiguration("");
    std::vector<std::string> const texts = trace.texts();
    ASSERT_EQ(5u + 18u + 36u, texts.size());
    EXPECT_EQ(
        (std::vector<std::string>{"All function definitions cleared", "All constant definitions cleared",
                                  "All variable definitions cleared", "Internal variables deleted",
                                  "All equation group definitions cleared"}),
        std::vector<std::string>(texts.begin(), texts.begin() + 5));
    EXPECT_EQ(std::string("New function definition: ") + g_mathematicalFunctions[0].name, texts[5]);
    EXPECT_EQ("New constant definition: GREEN_1 = 3603649", texts[23]);
    EXPECT_EQ("New constant definition: VIOLET_1 = 16751871", texts[24]);
    EXPECT_EQ("New constant definition: BLACK = 0", texts[53]);
    EXPECT_EQ("New constant definition: GREY_5 = 15132390", texts[58]);
    EXPECT_NE(std::string::npos, trace.lines()[0].find(" [Symbols "));
    EXPECT_EQ(99.0 + 206 * 256 + 255 * 65536, constantOf("BLUE_1", false));
    EXPECT_EQ(&Rgb, symbols.getFunctionPtr("RGB"));
    EXPECT_EQ(nullptr, symbols.getFunctionPtr("rgb"));
}

TEST_F(cSymbolManagerTest, ConstantValueIsANameANumberOrAConstantExpression)
{
    EXPECT_EQ(1000.0, constantOf("1e3", false));
    EXPECT_EQ(-2.5, constantOf(" -2.5\t", false));
    EXPECT_EQ(2.0 * constantOf("BLUE_1", false), constantOf("*(2, BLUE_1)", true));
    mpf_class value(-99);
    // '+' is not a number character; without expressions the answer is false, value untouched.
    for (std::string const text : {"1e+3", "+5", "nan", "1-2", "*(2, BLUE_1)", "", "GREEN_6"})
        EXPECT_FALSE(symbols.getConstantValue(text, value, false)) << text;
    // With expressions, a text that names nothing is a syntax error, not a false answer.
    EXPECT_THROW(symbols.getConstantValue("1e+3", value, true), cInvalidEquationSyntax);
    makeParameter("x", true);
    for (std::string const text : {"*(2, x)", "x", "+()"})
        EXPECT_FALSE(symbols.getConstantValue(text, value, true)) << text;
    EXPECT_EQ(-99.0, value.get_d());
}

TEST_F(cSymbolManagerTest, SymbolsFileDefinesNestedConstantsAndInternalParameters)
{
    cRecordingTraceSink trace(3);
    symbols.setConfiguration(SIMCORE_TEST_DATA_DIR "SimCore/symbols/nested-lists.sym");
    ASSERT_NE(nullptr, symbols.getConfigurationFile());
    EXPECT_EQ(12.5, constantOf("LIMIT", false));
    EXPECT_EQ(25.0, constantOf("DOUBLE_LIMIT", false));
    EXPECT_EQ(3603649.0, constantOf("MY_GREEN", false));
    // The map comes first, even for a name that reads as a number; trimmed, it is the number.
    EXPECT_EQ(5.0, constantOf("12", false));
    EXPECT_EQ(12.0, constantOf(" 12", false));
    std::vector<std::string> const texts = trace.texts();
    EXPECT_EQ(1, std::count(texts.begin(), texts.end(), "New constant definition: LIMIT = 12.50"));
    EXPECT_EQ(1, std::count(texts.begin(), texts.end(), "New constant definition: DOUBLE_LIMIT = 25"));

    cStorage<cParameter*> const& internal = symbols.getInternalParameters();
    ASSERT_EQ(3u, internal.size());
    EXPECT_EQ("Gain Offset Unregistered",
              internal[0]->getName() + " " + internal[1]->getName() + " " + internal[2]->getName());
    // The list and the variables each hold a link.
    EXPECT_EQ(2, internal[0]->getLinksNumber());
    EXPECT_EQ(1, internal[2]->getLinksNumber());
    EXPECT_EQ(internal[0], symbols.getVariablePtr("Gain"));
    EXPECT_EQ(internal[1], symbols.getVariablePtr("OFFSET"));
    EXPECT_EQ(nullptr, symbols.getVariablePtr("Hidden"));
    EXPECT_EQ(12.5, internal[0]->getMaximumValue().get_d());
    EXPECT_EQ(2.0, convertedOf(internal[0]));

    // Loading again starts from nothing.
    symbols.setConfiguration("");
    EXPECT_EQ(0u, symbols.getInternalParameters().size());
    EXPECT_EQ(nullptr, symbols.getVariablePtr("Gain"));
    mpf_class value;
    EXPECT_FALSE(symbols.getConstantValue("LIMIT", value, false));
    EXPECT_EQ(nullptr, symbols.getConfigurationFile());
}

TEST_F(cSymbolManagerTest, SymbolsFileRefusesTakenNamesAndNonConstantValuesAndKeepsWhatLoadedBefore)
{
    auto load = [this](std::string const& name)
    {
        return [this, name]
        { symbols.setConfiguration(SIMCORE_TEST_DATA_DIR "SimCore/symbols/" + name + ".sym"); };
    };
    EXPECT_EQ("GREEN_1|RGB(1, 2, 3)|The constant name \"GREEN_1\" is already defined as constant",
              definitionFailureOf(load("constant-taken")));
    EXPECT_EQ("MAX|1|The constant name \"MAX\" is already defined as function",
              definitionFailureOf(load("constant-named-as-function")));
    EXPECT_EQ("EMPTY|+()|\"+()\" is not a consistent constant value",
              definitionFailureOf(load("constant-not-constant")));
    EXPECT_THROW(load("constant-syntax-error")(), cInvalidEquationSyntax);
    EXPECT_THROW(load("constant-without-value")(), cMissingItem);

    EXPECT_THROW(load("broken-parameter")(), cMinMaxException);
    EXPECT_EQ(1u, symbols.getInternalParameters().size());
    EXPECT_NE(nullptr, symbols.getVariablePtr("Gain"));
    EXPECT_EQ(nullptr, symbols.getVariablePtr("Broken"));
    EXPECT_EQ("BLUE_1||The variable name \"BLUE_1\" is already defined as constant",
              definitionFailureOf(load("parameter-named-as-constant")));
    EXPECT_EQ(0u, symbols.getInternalParameters().size());
}

TEST_F(cSymbolManagerTest, RegistrationRefusesNullAndOtherKindsAndRebindsOnlyWhenNoOtherHolderRemains)
{
    EXPECT_EQ("x||Cannot define the variable \"x\" without assigned memory",
              definitionFailureOf([&] { symbols.registerVariableSymbol("x", nullptr); }));
    cParameter* p = makeParameter("p", false);
    EXPECT_EQ("~||The variable name \"~\" is already defined as function",
              definitionFailureOf([&] { symbols.registerVariableSymbol("~", p); }));
    EXPECT_EQ(0, p->getLinksNumber());
    cRecordingTraceSink trace(3);
    EXPECT_TRUE(symbols.registerVariableSymbol("p", p));
    EXPECT_EQ(1, p->getLinksNumber());
    EXPECT_EQ((std::vector<std::string>{"New variable definition: p"}), trace.texts());

    // A name taken by a parameter that someone else still holds is refused.
    cParameter* first = makeParameter("x", true);
    std::unique_ptr<cEquation> twice(cEquation::createEquation("*(x, 2)"));
    std::unique_ptr<cEquation> alone(cEquation::createEquation("x"));
    EXPECT_EQ(4.0, twice->evaluate().get_d());

    first->createLink();
    cParameter* second = makeParameter("other", false);
    try
    {
        symbols.registerVariableSymbol("x", second);
        FAIL() << "no exception";
    }
    catch (cInvalidVariableRedefinition const& e)
    {
        EXPECT_EQ("x 2", e.getName() + " " + std::to_string(e.getLinks()));
    }
    EXPECT_EQ(first, symbols.getVariablePtr("x"));
    EXPECT_EQ(0, second->getLinksNumber());
    first->decrementLinks();

    // With the entry as the only holder, the first parameter goes and every use follows.
    second->setConvertedValue(mpf_class(8), /*update=*/false, /*applyLimits=*/true);
    EXPECT_TRUE(symbols.registerVariableSymbol("x", second));
    EXPECT_EQ(second, symbols.getVariablePtr("x"));
    EXPECT_EQ(1, second->getLinksNumber());
    EXPECT_EQ(second, twice->getOperand(0)->getVariable());
    EXPECT_EQ(16.0, twice->evaluate().get_d());
    EXPECT_EQ(8.0, alone->evaluate().get_d());
    // Binding the same parameter again keeps it alive.
    EXPECT_TRUE(symbols.registerVariableSymbol("x", second));
    EXPECT_EQ(1, second->getLinksNumber());
}

TEST_F(cSymbolManagerTest, VariablesAreReadAndWrittenInConvertedUnits)
{
    cParameter* p = makeParameter("p", true);
    mpf_class value(-1);
    EXPECT_FALSE(symbols.getVariableValue("q", value));
    EXPECT_FALSE(symbols.getVariableValue(static_cast<cParameter*>(nullptr), value));
    EXPECT_EQ(-1.0, value.get_d());
    EXPECT_TRUE(symbols.getVariableValue("p", value));
    EXPECT_EQ(2.0, value.get_d());
    symbols.setVariableValue("p", 6.0);
    EXPECT_EQ(6.0, convertedOf(p));
    // The raw maximum 10 is 20 converted.
    symbols.setVariableValue(p, mpf_class(50));
    symbols.setVariableValue("q", 1.0);
    EXPECT_EQ(20.0, convertedOf(p));

    std::string name = "p";
    std::string unknown = "q";
    EXPECT_TRUE(symbols.updateSymbolsLinkedWith(name, 0));
    EXPECT_TRUE(symbols.updateSymbolsLinkedWith(name, -1));
    EXPECT_TRUE(symbols.updateSymbolsLinkedWith(unknown, -1));
}

TEST_F(cSymbolManagerTest, EntriesGiveUpTheirLinkUnlessTheParameterIsCorrupted)
{
    auto own = std::make_unique<cSymbolManager>(); // goes in the middle of the test
    (myActiveSymbolManager = own.get())->setConfiguration("");
    cParameter* kept = makeParameter("kept", true);
    cParameter* corrupted = makeParameter("corrupted", true);
    kept->createLink();
    own->unregisterCorruptedVariableSymbol("corrupted");
    own->unregisterCorruptedVariableSymbol("never registered");
    EXPECT_EQ(nullptr, own->getVariablePtr("corrupted"));
    EXPECT_EQ(1, corrupted->getLinksNumber());
    cParameter::deleteInstance(corrupted);

    cRecordingTraceSink trace(3);
    own.reset();
    myActiveSymbolManager = nullptr;
    EXPECT_EQ(1, kept->getLinksNumber());
    EXPECT_EQ(5u, trace.texts().size());
    cParameter::deleteInstance(kept);
}

namespace
{
using tTexts = std::vector<std::string>;

// Per variable, the names of its linked groups run together and its converted value.
std::string linksAndValues()
{
    std::string result;
    mpf_class value;
    for (std::string const variable : {"y", "x", "z", "g", "w", "bad"})
    {
        cStorage<cEquationGroup*> const& groups = *myActiveSymbolManager->getLinkedGroups(variable);
        for (unsigned int i = 0; i < groups.size(); ++i)
            result += groups[i]->getName();
        myActiveSymbolManager->getVariableValue(variable, value);
        result += " " + std::to_string(value.get_si()) + (variable == "bad" ? "" : ", ");
    }
    return result;
}

// The trace lines of the groups and of the changes that run them, written during action.
template <class F> tTexts linkLines(F action)
{
    cRecordingTraceSink trace(4);
    action();
    tTexts lines;
    for (std::string const& text : trace.texts())
        if (text.find(", Step ") != std::string::npos || text.rfind("Change of parameter ", 0) == 0)
            lines.push_back(text);
    return lines;
}
} // namespace

TEST_F(cSymbolManagerTest, LinkedGroupsRunOnceAtLinkingThenOneLevelDeepForAChangeOfTheirParameter)
{
    symbols.setConfiguration(SIMCORE_TEST_DATA_DIR "SimCore/symbols/linked-groups.sym");
    auto change = [this](std::string const& name, double value)
    {
        return linkLines(
            [&]
            {
                symbols.getVariablePtr(name)->setConvertedValue(mpf_class(value), /*update=*/true,
                                                                /*applyLimits=*/true);
            });
    };
    EXPECT_EQ(
        (tTexts{"EqGrp A, Step Check executed", "EqGrp A, Step SetX executed", "EqGrp A, Step Bad skipped",
                "EqGrp B, Step Never skipped", "EqGrp B, Step SetZ executed"}),
        linkLines([this] { symbols.linkSymbol(); }));
    EXPECT_EQ("A 1, AB 10, B 12, AB 1, A 0, A 0", linksAndValues());

    // A sets x, and that assignment does not start B. w, of condition 0, starts nothing.
    EXPECT_EQ(
        (tTexts{"Change of parameter y implies the execution of:\r\n\tA", "EqGrp A, Step Check executed",
                "EqGrp A, Step SetX executed", "EqGrp A, Step Bad skipped"}),
        change("y", 2));
    EXPECT_TRUE(change("w", 5).empty());
    // The guard of A stops the run before B, and g keeps its new value.
    EXPECT_EQ((tTexts{"Change of parameter g implies the execution of:\r\n\tA\r\n\tB",
                      "EqGrp A, Step Check failed"}),
              change("g", 0));
    EXPECT_EQ("A 2, AB 20, B 12, AB 0, A 5, A 0", linksAndValues());
    std::string g = "g", bad = "bad";
    EXPECT_FALSE(symbols.updateSymbolsLinkedWith(g, 3));
    EXPECT_TRUE(messages.entries().empty()) << "a guard is no failure";

    // Under condition 3 both steps of B run: z is 99, then x + g + 1.
    change("g", 2);
    EXPECT_EQ("A 2, AB 25, B 28, AB 2, A 5, A 0", linksAndValues());
    // A failure inside a group is shown, then the warning; the value stays.
    change("bad", 1);
    EXPECT_FALSE(symbols.updateSymbolsLinkedWith(bad, 4));
    EXPECT_TRUE(symbols.updateSymbolsLinkedWith(bad, 1));
    std::string const failure = "exception|cInvalidMathematicalFunctionParameter",
                      warning = "error|An error occurred during the update of parameters linked together.\n"
                                "The validity of the links between parameters is no more guaranteed";
    tTexts shown;
    for (auto const& entry : messages.entries())
        shown.push_back(entry.kind + "|" + (entry.kind == "exception" ? entry.title : entry.text));
    EXPECT_EQ((tTexts{failure, warning, failure, warning}), shown);

    // Linking again reads the groups anew: no group and no link twice.
    symbols.linkSymbol();
    EXPECT_EQ(2u, symbols.getEquationGroups().size());
    EXPECT_EQ("A 2, AB 25, B 28, AB 2, A 5, A 1", linksAndValues());
}

TEST_F(cSymbolManagerTest, EquationGroupListErrorNamesTheFileAndLine)
{
    // The empty group opens on line 2.
    std::string const path = SIMCORE_TEST_DATA_DIR "SimCore/symbols/empty-group.sym";
    symbols.setConfiguration(path);
    EXPECT_EQ("cInvalidEquationGroup|cEquationGroup::createEquationGroup|Invalid equation group \"Empty\": "
              "Equation Group Empty\nFile: " +
                  path + "\nLine: 2\n",
              failureOf([this] { symbols.linkSymbol(); }));
}
