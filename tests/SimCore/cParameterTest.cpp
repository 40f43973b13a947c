#include "SimCore/cParameter.h"

#include "BaseKit/cKynException.h"
#include "SimCore/cComputationManager.h"
#include "SimCore/cEquation.h"
#include "SimCore/cSymbolManager.h"
#include "StoreKit/cConfigurationGroup.h"
#include "StoreKit/cConfigurationReader.h"
#include "tests/support/cRecordingSinks.h"

#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>

namespace
{
// Opens the protected part that owners and derived classes use.
class cTestParameter : public cParameter
{
public:
    using cParameter::buildFile;
    using cParameter::cParameter;
    int condition() const { return m_condition; }
    // Lets a member-by-member copy give up the equation it shares with its source.
    void forgetConversionFactor() { m_conversionFactor = nullptr; }
};

struct sReleaseParameter
{
    void operator()(cParameter* p) const { cParameter::deleteInstance(p); }
};
using tParameterPtr = std::unique_ptr<cTestParameter, sReleaseParameter>;

class cIdleComputationManager : public cComputationManager
{
public:
    bool ProcessMessage(unsigned int message, cMessage* data) override
    {
        delete data;
        return message == QUIT_MSG;
    }
};

cConfigurationGroup readGroup(std::string const& text)
{
    cConfigurationGroup group("Parameter");
    cConfigurationReader::read(text, "parameter.cfg", group);
    return group;
}

// Builds a parameter from the text of its group; a registered one also gets the caller's link,
// so that the symbol manager, which holds the other, outlives it safely.
tParameterPtr load(std::string const& text)
{
    cConfigurationGroup group = readGroup(text);
    tParameterPtr p(new cTestParameter(&group, ""));
    if (p->isRegisteredInSymbolManager())
        p->createLink();
    return p;
}

mpf_class raw(cParameter const& p)
{
    mpf_class value;
    p.getRawValue(value);
    return value;
}

std::string rawText(cParameter const& p, bool isHex, bool noDecimals = false)
{
    std::string text;
    p.getRawValue(text, isHex, noDecimals);
    return text;
}

// "key=value" of every item of the group, in order.
std::vector<std::string> itemsOf(cConfigurationGroup const& group)
{
    std::vector<std::string> items;
    for (auto const& item : group.getInformationRange())
        items.push_back(item.key + "=" + item.value);
    return items;
}

template <typename Exception> Exception loadFailure(std::string const& text)
{
    try
    {
        load(text);
    }
    catch (Exception const& e)
    {
        return e;
    }
    throw std::runtime_error("no exception for:\n" + text);
}
} // namespace

class cParameterTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        myActiveSymbolManager = new cSymbolManager;
        myActiveSymbolManager->setConfiguration("");
    }
    void TearDown() override
    {
        delete myActiveSymbolManager;
        myActiveSymbolManager = nullptr;
        myActiveComputationManager = nullptr;
    }

    cRecordingMessageSink messages;
};

TEST_F(cParameterTest, WholeValuesRoundHalvesAwayFromZeroAndAgainAfterAFractionalLimit)
{
    tParameterPtr p(new cTestParameter());
    EXPECT_TRUE(p->setRawValue(mpf_class(-2.5), false, true));
    EXPECT_EQ(-3, raw(*p));
    p->setRawValue(mpf_class(2.5), false, true);
    EXPECT_EQ(3, raw(*p));
    p->setMaximumValue(mpf_class(10.4));
    EXPECT_TRUE(p->setRawValue(11, false, true));
    EXPECT_EQ(10, raw(*p));
    EXPECT_FALSE(p->setRawValue(mpf_class(9.6), false, true)) << "9.6 rounds to the stored 10";
    // Unchecked limits: setRawValue applies the maximum first, checkFormat the minimum first.
    p->setMinimumValue(mpf_class(5));
    p->setMaximumValue(mpf_class(3));
    p->setRawValue(4, false, true);
    EXPECT_EQ(5, raw(*p));
    EXPECT_EQ(3, p->checkFormat(mpf_class(4)));
    EXPECT_TRUE(messages.entries().empty()) << "new values are clamped without a question";
    tParameterPtr f = load("Name = f\nFloat = 1\n");
    f->setRawValue(mpf_class(2.5), false, true);
    EXPECT_EQ(2.5, raw(*f));
}

TEST_F(cParameterTest, IntegerReadsRoundThroughDoublesUpTo32BitsAndInGmpFor64Bits)
{
    tParameterPtr p = load("Name = p\nFloat = 1\nRaw Value = -2.5\n");
    int i = 0;
    char c = 0;
    long long ll = 0;
    bool b = false;
    p->getRawValue(i), p->getRawValue(c), p->getRawValue(ll), p->getRawValue(b);
    EXPECT_EQ((std::vector<long long>{-3, -3, -3, 1}), (std::vector<long long>{i, c, ll, b}));
    // 2^53 + 1 has no double: the 64-bit reads keep it, the narrower path loses the last unit.
    p->setRawValue(9007199254740993LL, false, false);
    long l = 0;
    p->getRawValue(ll), p->getRawValue(l);
    EXPECT_EQ(9007199254740993LL, ll);
    EXPECT_EQ(9007199254740992L, l);
    unsigned long long ull = 0;
    p->setRawValue(18446744073709551615ULL, false, false);
    p->getRawValue(ull);
    EXPECT_EQ(18446744073709551615ULL, ull);
}

namespace
{
// Sets the stored value again from inside the open question, as a host dialog's handler might.
class cReenteringSink : public cRecordingMessageSink
{
public:
    int askYesNo(std::string const& text, int defaultAnswer) override
    {
        int answer = cRecordingMessageSink::askYesNo(text, defaultAnswer);
        if (target != nullptr)
        {
            innerChanged = target->setRawValue(20, false, true);
            target->getRawValue(innerValue);
        }
        return answer;
    }
    cParameter* target = nullptr;
    bool innerChanged = true;
    mpf_class innerValue;
};
} // namespace

TEST_F(cParameterTest, StoredValueOutsideTheLimitsAsksOnceForTheClosestLimit)
{
    tParameterPtr p = load("Name = speed\nMinimum Value = 0\nMaximum Value = 10\n");
    cReenteringSink sink;
    sink.scriptAnswers({kIdNo, kIdYes, kIdYes});
    p->setRawValue(20, false, false);
    EXPECT_FALSE(p->setRawValue(20, false, true));
    EXPECT_EQ(20, raw(*p)) << "No keeps the value out of range";
    EXPECT_TRUE(p->setRawValue(20, false, true));
    EXPECT_EQ(10, raw(*p)) << "Yes moves it to the closest limit";
    auto entries = sink.entries();
    ASSERT_EQ(2u, entries.size());
    EXPECT_EQ("Value of speed is outside (min, max) range.\n\nDo you want to set it to the closest limit?",
              entries[0].text);
    EXPECT_EQ("7", entries[0].title) << "No is the default button";

    // Re-entered while open: no second box, nothing changes inside, and the guard is cleared.
    sink.target = p.get();
    p->setRawValue(20, false, false);
    EXPECT_TRUE(p->setRawValue(20, false, true));
    EXPECT_FALSE(sink.innerChanged);
    EXPECT_EQ(20, sink.innerValue);
    EXPECT_EQ(10, raw(*p));
    EXPECT_EQ(3u, sink.entries().size());
    sink.target = nullptr;
    p->setRawValue(20, false, false);
    p->setRawValue(20, false, true);
    EXPECT_EQ(4u, sink.entries().size());
}

TEST_F(cParameterTest, HexadecimalTextRoundTripsAtEveryWidthBoundary)
{
    // minimum, maximum, value, its text
    char const* const cases[][4] = {
        {"0", "255", "200", "C8"},
        {"0", "256", "200", "00C8"},
        {"0", "65536", "200", "000000C8"},
        {"0", "4294967295", "200", "000000C8"},
        {"0", "4294967296", "200", "00000000000000C8"},
        {"0", "18446744073709551615", "18446744073709551615", "FFFFFFFFFFFFFFFF"},
        {"0", "18446744073709551616", "200", "C8"}, // no range width: the sign rule's 1 byte
        {"-128", "0", "-1", "FF"},
        {"-129", "0", "-1", "FFFF"},
        {"-32769", "0", "-1", "FFFFFFFF"},
        {"-2147483649", "0", "-1", "FFFFFFFFFFFFFFFF"},
    };
    for (auto const& c : cases)
    {
        SCOPED_TRACE(std::string(c[0]) + " .. " + c[1]);
        tParameterPtr p = load(std::string("Name = h\nMinimum Value = ") + c[0] +
                               "\nMaximum Value = " + c[1] + "\nRaw Value = " + c[2] + "\n");
        EXPECT_EQ(c[3], rawText(*p, true));
        p->setRawValue(0, false, true);
        EXPECT_TRUE(p->setRawValue(std::string(c[3]), true, false, true));
        EXPECT_EQ(mpf_class(c[2]), raw(*p));
    }
}

TEST_F(cParameterTest, HexadecimalPrefixesAndTheWidthAsymmetryOfTheLimits)
{
    tParameterPtr p = load("Name = h\nMinimum Value = 0\nMaximum Value = 255\n");
    for (std::string text : {"0xC8", "0Xc8"})
    {
        p->setRawValue(0, false, true);
        EXPECT_TRUE(p->setRawValue(text, true, false, true));
        EXPECT_EQ(200, raw(*p));
    }
    EXPECT_THROW(p->setRawValue(std::string("0x"), true, false, true), cGenericException);
    // The stored text of a value outside the limits asks once; No leaves before any read.
    p->setRawValue(300, false, false);
    messages.scriptAnswers({kIdNo});
    EXPECT_FALSE(p->setRawValue(std::string("012C"), true, false, true));
    EXPECT_EQ(300, raw(*p));
    EXPECT_EQ(1u, messages.entries().size());

    // The raw value takes the sign rule (2 bytes below -128); limits and default the range alone.
    tParameterPtr s =
        load("Name = s\nMinimum Value = -200\nMaximum Value = 0\nDefault = -5\nRaw Value = 0\n");
    std::string maximum, defaultText;
    s->getMaximumValue(maximum, true, false);
    s->getDefaultValue(defaultText, true, false);
    EXPECT_EQ((std::vector<std::string>{"00", "0000", "FB"}),
              (std::vector<std::string>{maximum, rawText(*s, true), defaultText}));
    EXPECT_TRUE(s->setRawValue(std::string("FFFB"), true, false, true));
    EXPECT_EQ(-5, raw(*s));
}

TEST_F(cParameterTest, RawDecimalsFollowTheConversionFactor)
{
    // factor, raw text, converted text at precision 2
    char const* const cases[][3] = {{"1", "3.00", "3.00"},
                                    {"0.25", "3.000", "0.75"},
                                    {"0.001", "3.00000", "0.00"},
                                    {"1000", "3.00000", "3000.00"}};
    for (auto const& c : cases)
    {
        tParameterPtr p =
            load(std::string("Name = p\nPrecision = 2\nRaw Value = 3\nConversion Factor = ") + c[0]);
        std::string converted;
        p->getConvertedValue(converted);
        EXPECT_EQ((std::vector<std::string>{c[1], "3", c[2]}),
                  (std::vector<std::string>{rawText(*p, false), rawText(*p, false, true), converted}));
    }
}

TEST_F(cParameterTest, ConversionsEvaluateAFactorThatNamesAnotherParameterAtEveryUse)
{
    tParameterPtr gain = load("Name = gain\nFloat = 1\nValue = 4\nSymbol Registered = 1\n");
    tParameterPtr p = load("Name = p\nConversion Factor = gain\nRaw Value = 3\nMaximum Value = 100\n");
    mpf_class converted;
    p->getConvertedValue(converted);
    EXPECT_EQ(12, converted);
    gain->setConvertedValue(mpf_class(0.5), false, true);
    long long whole = 0;
    p->getConvertedValue(whole);
    EXPECT_EQ(1, whole) << "1.5 with no rounding of its own";
    EXPECT_EQ(50, p->getConvertedMaximumValue());
    p->setConvertedValue(std::string("1.75"), false, true);
    EXPECT_EQ(4, raw(*p)) << "3.5 raw rounds away from zero";
    gain->setConvertedValue(mpf_class(0), false, true);
    EXPECT_THROW(p->setConvertedValue(mpf_class(1), false, true), cInvalidConversionFactorException);
}

TEST_F(cParameterTest, ReadWrittenWithEveryKeyAndReadAgainGivesTheSameParameter)
{
    tParameterPtr first =
        load("Name = threshold\nDescription = Firing threshold\nUnit = g\n"
             "Convertion Factor = 0.25\nMaximum Value = *(4, 100)\nMinimum Value = -8\n"
             "Default = +(1, 2)\nPrecision = 3\nUser Rights = Expert\nConverted Value = 2.5\n"
             "Symbol Registered = 1\nRegistration Name = alpha\nCondition = 3\n");
    EXPECT_EQ(10, raw(*first));
    EXPECT_EQ(first.get(), myActiveSymbolManager->getVariablePtr("alpha"));
    cConfigurationGroup written("Parameter");
    first->buildFile(&written, -1);
    EXPECT_EQ((std::vector<std::string>{"Name=threshold", "Float=0", "Converted Value=2.500",
                                        "Raw Value=10.0000", "Description=Firing threshold", "Unit=g",
                                        "Default=3.0000", "Conversion Factor=0.25", "Minimum Value=-8.0000",
                                        "Maximum Value=400.0000", "Precision=3", "User Rights=Expert",
                                        "Symbol Registered=1", "Registration Name=alpha", "Condition=3"}),
              itemsOf(written));
    written.replaceString("alpha", "beta");
    tParameterPtr second(new cTestParameter(&written, "owner"));
    second->createLink();
    cConfigurationGroup rewritten("Parameter");
    second->buildFile(&rewritten, -1);
    EXPECT_EQ(itemsOf(written), itemsOf(rewritten));
    // Without registration the mask's registration bits write nothing; the defaults of a bare group.
    tParameterPtr plain = load("Name = plain\n");
    cConfigurationGroup minimal;
    plain->buildFile(&minimal, 1 << 15 | 1 << 16 | 1 << 19);
    EXPECT_EQ(1u, minimal.nbOfInformation());
    EXPECT_EQ("No Description", plain->getDescription());
    EXPECT_EQ((std::vector<double>{2147483647, -2147483648.0}),
              (std::vector<double>{plain->getMaximumValue().get_d(), plain->getDefaultValue().get_d()}));
}

TEST_F(cParameterTest, LoadFailuresReportTheirTextAndLineAndLeaveNothingRegistered)
{
    auto badFactor = loadFailure<cInvalidSymbolDefinition>("Name = p\nUnit = g\nConversion Factor = +(1,\n");
    // The equation's own failure is kept in the text.
    EXPECT_EQ("Invalid definition of \"Conversion Factor\" (\"+(1,\"): Conversion factor is not correct.\n"
              "Invalid equation \"+(1,\": \")\" expected.\nLine: 3\n",
              std::string(badFactor.what()));
    EXPECT_EQ("SimCore/cParameter", badFactor.getSourceFile());
    EXPECT_EQ("cParameter::setConfiguration", badFactor.getFunction());
    // An empty factor under the old spelling: its line is found under that spelling.
    auto emptyFactor = loadFailure<cInvalidSymbolDefinition>("Name = p\n\nConvertion Factor =\n");
    EXPECT_EQ(
        "Invalid definition of \"Conversion Factor\" (\"\"): Conversion factor is not correct.\n"
        "Missing key \"Conversion Factor\".\nThe conversion factor of parameter \"p\" is empty.\nLine: 3\n",
        std::string(emptyFactor.what()));
    auto zero = loadFailure<cInvalidConversionFactorException>("Name = p\nConversion Factor = -(2, 2)\n");
    EXPECT_EQ("Invalid conversion factor 0.\nLine: 0\n", std::string(zero.what()));
    auto minMax = loadFailure<cMinMaxException>("Name = p\nMaximum Value = 3\n\nMinimum Value = 5\n");
    EXPECT_EQ("The maximum of \"p\" is below its minimum (minimum 5, maximum 3).\nError at line number: 4\n",
              std::string(minMax.what()));
    EXPECT_NO_THROW(load("Name = p\nMaximum Value = 3\nMinimum Value = 3\n"));
    loadFailure<cMissingItem>("Unit = g\n");
    auto taken =
        loadFailure<cInvalidSymbolDefinition>("Name = p\nSymbol Registered = 1\nRegistration Name = BLACK");
    EXPECT_EQ("The variable name \"BLACK\" is already defined as constant", taken.getThird());
    // The condition is read before registering, so its failure leaves no entry behind.
    loadFailure<cInvalidEquationSyntax>("Name = late\nSymbol Registered = 1\nCondition = nothing_known\n");
    EXPECT_EQ(nullptr, myActiveSymbolManager->getVariablePtr("late"));
}

TEST_F(cParameterTest, ChangesAreSentToTheHostOnlyWhenNoComputationRuns)
{
    tParameterPtr p = load("Name = p\n");
    cRecordingHostWindow window;
    p->setRawValue(1, false, true);
    EXPECT_TRUE(window.messages().empty()) << "no computation manager";
    cIdleComputationManager manager;
    myActiveComputationManager = &manager;
    p->setRawValue(2, false, true);
    p->setRawValue(2, true, true);
    ASSERT_EQ(1u, window.messages().size()) << "an unchanged value is not announced";
    auto message = window.messages()[0];
    EXPECT_EQ(
        (std::vector<uint64_t>{1, 0x9E3, 0, 0}),
        (std::vector<uint64_t>{message.sent, message.message, message.wParam, uint64_t(message.lParam)}));
    manager.setComputationsState(computationsRunning);
    p->setRawValue(3, false, true);
    manager.setComputationsState(computationsFinished);
    IHostWindow* registered = setMainWndH(nullptr);
    p->setRawValue(4, false, true);
    setMainWndH(registered);
    EXPECT_EQ(1u, window.messages().size()) << "nothing while running, nothing without a window";
}

TEST_F(cParameterTest, ChangesAndLinkedUpdatesAreTracedAboveLevelThree)
{
    tParameterPtr linked = load("Name = linked\nRaw Value = 0\nSymbol Registered = 1\n");
    tParameterPtr silent = load("Name = silent\nRaw Value = 0\nSymbol Registered = 1\nCondition = 0\n");
    EXPECT_EQ((std::vector<int>{-1, 0, 2}),
              (std::vector<int>{linked->condition(), silent->condition(), linked->getLinksNumber()}));
    cRecordingTraceSink trace(4);
    linked->setRawValue(1, true, true);
    linked->setRawValue(2, false, true);
    silent->setRawValue(1, true, true);
    EXPECT_EQ((std::vector<std::string>{"Updating dependencies of parameter linked (Old Value = 0.000000)",
                                        "Value of parameter linked changed from 0.000000 to 1.000000",
                                        "Value of parameter linked changed from 1.000000 to 2.000000",
                                        "Value of parameter silent changed from 0.000000 to 1.000000"}),
              trace.texts());
}

namespace
{
class cCountedParameter : public cParameter
{
public:
    explicit cCountedParameter(int& deleted) : m_deleted(deleted) {}
    ~cCountedParameter() override { ++m_deleted; }

private:
    int& m_deleted;
};
} // namespace

TEST_F(cParameterTest, DeleteInstanceDeletesOnlyWithTheLastLink)
{
    int deleted = 0;
    cParameter* p = new cCountedParameter(deleted);
    p->createLink();
    EXPECT_FALSE(p->stillHasLinks()) << "one link is the caller's own";
    p->createLink();
    EXPECT_TRUE(p->stillHasLinks());
    cParameter::deleteInstance(p);
    EXPECT_EQ((std::vector<int>{0, 1}), (std::vector<int>{deleted, p->getLinksNumber()}));
    cParameter::deleteInstance(p);
    EXPECT_EQ(1, deleted);
}

TEST_F(cParameterTest, DetachedCopyOwnsItsFactorWhileTheMemberCopySharesIt)
{
    tParameterPtr gain = load("Name = gain\nValue = 2\nSymbol Registered = 1\n");
    cConfigurationGroup group = readGroup("Name = p\nConversion Factor = *(gain, 0.5)\nMaximum Value = 50\n"
                                          "Raw Value = 9\nUser Rights = Administrator\n");
    tParameterPtr source(new cTestParameter(&group, "Owner"));
    source->setPath("algo/sub");
    EXPECT_EQ(
        (std::vector<std::string>{"Owner - p", "algo/sub\\p", "algo"}),
        (std::vector<std::string>{source->getLongName(), source->getFullPath(), source->getAlgoFromPath()}));
    tParameterPtr copy(new cTestParameter(static_cast<cParameter*>(source.get())));
    EXPECT_NE(source->getConversionFactorParameter(), copy->getConversionFactorParameter());
    EXPECT_EQ("*(gain,0.5)", copy->getConversionFactorParameter()->buildEquationString());
    EXPECT_EQ(
        (std::vector<std::string>{"p", "p", "9"}),
        (std::vector<std::string>{copy->getLongName(), copy->getFullPath(), rawText(*copy, false, true)}));
    EXPECT_EQ(1, copy->getNecessaryUserRights());
    source.reset();
    EXPECT_EQ(50, copy->getConvertedMaximumValue()) << "the copy's factor outlives the source";

    tParameterPtr member(new cTestParameter(*copy));
    EXPECT_EQ(copy->getConversionFactorParameter(), member->getConversionFactorParameter());
    member->forgetConversionFactor();
    cEquation* before = copy->getConversionFactorParameter();
    EXPECT_THROW(copy->setConversionFactor(" "), cMissingItem);
    EXPECT_EQ(before, copy->getConversionFactorParameter());
}
