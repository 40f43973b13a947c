#include "SimCore/cEquationGroup.h"

#include "SimCore/cEquation.h"
#include "SimCore/cParameter.h"
#include "tests/support/cParameterHelpers.h"
#include "tests/support/cSimCoreFixture.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

namespace
{
using tGroupPtr = std::unique_ptr<cEquationGroup>;

// The registered float variables a, b, c and d (factor 1, value 0), which the symbol manager holds.
class cEquationGroupTest : public cSimCoreFixture
{
protected:
    cEquationGroupTest()
    {
        for (std::string const name : {"a", "b", "c", "d"})
            newVariable(name, "Raw Value = 0\n");
    }
    // "a b c d " as whole numbers.
    std::string values()
    {
        std::string text;
        mpf_class value;
        for (char const* name : {"a", "b", "c", "d"})
            text += (symbols.getVariableValue(name, value), std::to_string(value.get_si())) + " ";
        return text;
    }
};

// The "Equation Group" of a symbols-file text, read as the symbol manager reads it.
tGroupPtr readEquationGroup(std::string const& text)
{
    cConfigurationGroup top;
    cConfigurationReader::read(text, "groups.sym", top);
    return tGroupPtr(
        cEquationGroup::createEquationGroup(top.findConfigurationGroup("Equation Group", false)));
}

std::string const kGroups = SIMCORE_TEST_DATA_DIR "SimCore/equation-groups/";

// The trace texts written by the groups themselves.
std::vector<std::string> groupLines(cRecordingTraceSink const& trace)
{
    std::vector<std::string> lines;
    for (std::string const& text : trace.texts())
        if (text.rfind("EqGrp ", 0) == 0)
            lines.push_back(text);
    return lines;
}
} // namespace

TEST_F(cEquationGroupTest, StepsAtAnyDepthAreReadDepthFirstWithTheirContentInOrder)
{
    cRecordingTraceSink trace(3);
    // A blank "Content" is passed over, and a key of another case is not "Content".
    tGroupPtr group = readEquationGroup(readText(kGroups + "nested-steps.sym"));
    EXPECT_EQ((std::vector<std::string>{"EqGrp G contains step First", "EqGrp G contains step Inner",
                                        "EqGrp G contains step Deep", "EqGrp G contains step Last"}),
              groupLines(trace));
    EXPECT_EQ(3, group->getDefaultCondition());
    // Conditions are truncated; a step without one runs for every condition but 0.
    std::string steps;
    for (unsigned int i = 0; i < group->getStepCount(); ++i)
    {
        steps += std::to_string(group->getStep(i).condition);
        for (unsigned int e = 0; e < group->getStep(i).content.size(); ++e)
            steps += " " + group->getStep(i).content[e]->buildEquationString();
        steps += "; ";
    }
    EXPECT_EQ("2 =(a,1) =(b,+(a,2)); 4294967295 a; 8 1; 0 IF(a,b,c); ", steps);

    // A default condition naming a variable is silently -1; a syntax error in it is not.
    EXPECT_EQ(-1,
              readEquationGroup("Equation Group {\nDefault Condition = *(2, a)\nStep {\nContent = 1\n}\n}\n")
                  ->getDefaultCondition());
    EXPECT_THROW(readEquationGroup("Equation Group {\nDefault Condition = +(1,\nStep {\nContent = 1\n}\n}\n"),
                 cInvalidEquationSyntax);
    cConfigurationGroup step("Step");
    EXPECT_EQ(nullptr, cEquationGroup::createEquationGroup(&step));
    EXPECT_EQ(nullptr, cEquationGroup::createEquationGroup(nullptr));
}

TEST_F(cEquationGroupTest, BadGroupsNameTheGroupTheStepAndTheFault)
{
    std::string const good = "Step {\nName = Ok\nContent = =(a, 1)\n}\n";
    auto failure = [&](std::string const& body)
    { return failureOf([&] { readEquationGroup("Equation Group {\nName = G\n" + good + body + "}\n"); }); };
    std::string const bad = "cInvalidEquationGroup|cEquationGroup::";
    // The good step read before each fault must go with the half-made group.
    EXPECT_EQ(bad + "createEquationGroup|Invalid equation group \"E\": Equation Group Empty",
              failureOf([] { readEquationGroup("Equation Group {\nName = E\nBlock {\nName = S\n}\n}\n"); }));
    EXPECT_EQ(bad + "addStep|Invalid equation group \"G\", step \"S\": Missing step content",
              failure("Step {\nName = S\nContent =\n}\n"));
    EXPECT_EQ(bad + "addStep|Invalid equation group \"G\", step \"S\": Bad running condition",
              failure("Step {\nName = S\nCondition = a\nContent = 1\n}\n"));
    EXPECT_EQ(bad + "addStep|Invalid equation group \"G\": Cannot define an equation group inside another "
                    "equation group",
              failure("Step {\nName = S\nContent = 1\nEquation Group {\nName = Inner\n}\n}\n"));
    EXPECT_EQ(0u, failure("Step {\nContent = +(a, unknown)\n}\n").rfind("cInvalidEquationSyntax|", 0));
}

TEST_F(cEquationGroupTest, StepsRunWhenTheirMaskSharesABitWithTheCondition)
{
    tGroupPtr group = readEquationGroup(readText(kGroups + "masks.sym"));
    EXPECT_TRUE(group->execute(3));
    EXPECT_EQ("0 1 1 0 ", values());
    EXPECT_TRUE(group->execute(1));
    EXPECT_EQ("0 1 2 0 ", values());
    // Which steps ran or were passed over is traced from level 4 on only.
    cRecordingTraceSink quiet(3);
    EXPECT_TRUE(group->execute(-1));
    EXPECT_EQ("0 2 3 0 ", values());
    EXPECT_TRUE(groupLines(quiet).empty());
}

TEST_F(cEquationGroupTest, FailingStepStopsTheGroupAndKeepsEarlierAssignments)
{
    // b is a guard in the first step; the second step fails when evaluated.
    tGroupPtr group = readEquationGroup(readText(kGroups + "failing-step.sym"));
    {
        cRecordingTraceSink trace(1);
        EXPECT_FALSE(group->execute(-1));
        EXPECT_EQ((std::vector<std::string>{"EqGrp G, Step Check failed"}), groupLines(trace));
    }
    EXPECT_EQ("5 0 0 0 ", values());
    symbols.setVariableValue("b", 1.0);
    EXPECT_EQ(
        "cInvalidMathematicalFunctionParameter|cEquation::evaluate|Invalid operands of function \"IF\": "
        "\"IF\" operator needs three operands\nUnable to execute link \"Broken\" in equation group \"G\"",
        failureOf([&] { group->execute(-1); }));
    EXPECT_EQ("5 1 7 0 ", values());
}
