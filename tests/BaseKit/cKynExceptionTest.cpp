#include "BaseKit/cKynException.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// A handler on the way up adds the line and the file it knows of to the text.
TEST(cKynException, CarriesOriginAndTextAndGrowsOnTheWayUp)
{
    cGenericException e("SimCore/cProject", "cProject::setConfiguration", 169,
                        "Failed to open project file: /p/a.prt");
    e.addLineNumber(12);
    e.addFileName("/p/a.prt");
    EXPECT_STREQ("Failed to open project file: /p/a.prtLine: 12\n\nFile: /p/a.prt", e.what());
    EXPECT_EQ((std::vector<std::string>{"SimCore/cProject", "cProject::setConfiguration", "169",
                                        "SimCore/cProject, cProject::setConfiguration, line 169",
                                        "cGenericException"}),
              (std::vector<std::string>{e.getSourceFile(), e.getFunction(), std::to_string(e.getLine()),
                                        e.getLocation(), e.getClassName()}));
}

TEST(cKynException, PlainExceptionTakesItsTextFromSetStrAndCopies)
{
    cKynException plain;
    EXPECT_STREQ("", plain.what());
    plain.setStr("BaseKit/x", "f", 3, "text");
    cKynException copy(plain);
    plain.appendText(" more");
    EXPECT_STREQ("text", copy.what());
    EXPECT_STREQ("text more", plain.what());
    EXPECT_EQ(3, copy.getLine());
    copy = plain;
    EXPECT_STREQ("text more", copy.what());
}

// The texts that hosts show; each class composes its arguments in one fixed way. The classes whose
// texts the tests of their throwers check in full (null pointer, missing parameter, unknown symbol,
// equation group, distribution type) are left to those tests.
TEST(cKynException, MessagesOfTheFamily)
{
    std::pair<std::string, char const*> const cases[] = {
        {cLoopInProcessorChainDetected("s", "f", 1, "A\nB\n").what(),
         "Loop or unknown \"Previous\" in the processor chain:\nA\nB\n"},
        {cUnknownGraphTypeException("s", "f", 1, "Error at line number: 4\n").what(),
         "Unknown graph type.\nError at line number: 4\n"},
        // A kind that ends in a blank is not given a second one; no kind, no blank.
        {cMissingItem("s", "f", 1501, "Vehicle - Mass", "Min, Max or Step value of parameter ",
                      "Unable to load drifts configuration")
             .what(),
         "Missing Min, Max or Step value of parameter \"Vehicle - Mass\".\nUnable to load drifts "
         "configuration"},
        {cMissingItem("s", "f", 1440, "Front (desc)", "", "  Unable to load drifts configuration.").what(),
         "Missing \"Front (desc)\".\n  Unable to load drifts configuration."},
        {cMissingDefaultValueException("s", "f", 1, "Gain", "Algo/Front", "Error at line number: 3\n").what(),
         "Missing \"Default\" of parameter \"Gain\" (Algo/Front).\nError at line number: 3\n"},
        {cMissingNoDeploymentValueException("s", "f", 1, "Gain", "", "Error at line number: 0\n").what(),
         "Missing \"No Deployment Value\" of parameter \"Gain\".\nError at line number: 0\n"},
        {cMissingEepromData("s", "f", 1, "Gain", "Eeprom Size", "Error at line number: 9\n").what(),
         "Missing or invalid EEPROM data \"Eeprom Size\" of parameter \"Gain\".\nError at line number: 9\n"},
    };
    for (auto const& [text, expected] : cases)
        EXPECT_EQ(text, expected);

    cMissingItem channel("SimCore/cChannel", "cPreprocessing::loadFromConfiguration", 718, "Front", "channel",
                         "Unable to load the new preprocessing.");
    EXPECT_STREQ("Missing channel \"Front\".\nUnable to load the new preprocessing.", channel.what());
    EXPECT_EQ("Front|channel", channel.getFirst() + "|" + channel.getSecond());
    cInvalidVariableRedefinition redefinition("s", "f", 1, "speed", 2);
    EXPECT_STREQ("The variable \"speed\" cannot be bound to another parameter: it has 2 holders.",
                 redefinition.what());
    EXPECT_EQ(2, redefinition.getLinks());
}

TEST(cKynException, NumbersInMessagesKeepEveryDigitOfADouble)
{
    EXPECT_STREQ("Invalid step -0.25: a step must be above 0.", cBadStepException("s", "f", 1, -0.25).what());
    cMinMaxException minMax("s", "f", 1, "Gain", mpf_class(10.5), mpf_class(-2147483648.0),
                            "Error at line number: 7\n");
    EXPECT_STREQ("The maximum of \"Gain\" is below its minimum (minimum 10.5, maximum -2147483648).\n"
                 "Error at line number: 7\n",
                 minMax.what());
    EXPECT_EQ(mpf_class(10.5), minMax.getMinimum());
    EXPECT_STREQ("The maximum of \"x\" is below its minimum (minimum 0.10000000000000001, maximum "
                 "1.0000000000000001e+300).\n",
                 cMinMaxException("s", "f", 1, "x", mpf_class(0.1), mpf_class(1e300), "").what());
}
