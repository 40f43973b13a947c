#include "SimCore/cParameter.h"

#include "BaseKit/cKynException.h"
#include "SimCore/cEquation.h"
#include "StoreKit/cConfigurationWriter.h"
#include "tests/support/cParameterHelpers.h"
#include "tests/support/cSimCoreFixture.h"
#include "tests/support/cTestHelpers.h"

#include <filesystem>
#include <gtest/gtest.h>

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

std::string rawText(cParameter const& p, bool isHex, bool noDecimals = false)
{
    std::string text;
    p.getRawValue(text, isHex, noDecimals);
    return text;
}
// setRawValue from hexadecimal text, clamped, without an update of the linked symbols.
bool setHex(cParameter* p, std::string const& text)
{
    return p->setRawValue(text, /*isHex=*/true, /*update=*/false, /*applyLimits=*/true);
}

using cParameterTest = cSimCoreFixture;
} // namespace

TEST_F(cParameterTest, WholeValuesRoundHalvesAwayFromZeroAndAgainAfterAFractionalLimit)
{
    tParameterPtr p(new cTestParameter());
    EXPECT_TRUE(setLimited(p.get(), mpf_class(-2.5)));
    EXPECT_EQ(-3, rawOf(p.get()));
    setLimited(p.get(), mpf_class(2.5));
    EXPECT_EQ(3, rawOf(p.get()));
    p->setMaximumValue(mpf_class(10.4));
    EXPECT_TRUE(setLimited(p.get(), 11));
    EXPECT_EQ(10, rawOf(p.get()));
    EXPECT_FALSE(setLimited(p.get(), mpf_class(9.6))) << "9.6 rounds to the stored 10";
    // Unchecked limits: setRawValue applies the maximum first, checkFormat the minimum first.
    p->setMinimumValue(mpf_class(5));
    p->setMaximumValue(mpf_class(3));
    setLimited(p.get(), 4);
    EXPECT_EQ(5, rawOf(p.get()));
    EXPECT_EQ(3, p->checkFormat(mpf_class(4)));
    EXPECT_TRUE(messages.entries().empty()) << "new values are clamped without a question";
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
    setUnlimited(p.get(), 9007199254740993LL);
    long l = 0;
    p->getRawValue(ll), p->getRawValue(l);
    EXPECT_EQ(9007199254740993LL, ll);
    EXPECT_EQ(9007199254740992L, l);
    unsigned long long ull = 0;
    setUnlimited(p.get(), 18446744073709551615ULL);
    p->getRawValue(ull);
    EXPECT_EQ(18446744073709551615ULL, ull);
}

TEST_F(cParameterTest, StoredValueOutsideTheLimitsAsksOnceForTheClosestLimit)
{
    tParameterPtr p = load("Name = speed\nMinimum Value = 0\nMaximum Value = 10\n");
    messages.scriptAnswers({kIdNo, kIdYes, kIdYes});
    setUnlimited(p.get(), 20);
    EXPECT_FALSE(setLimited(p.get(), 20));
    EXPECT_EQ(20, rawOf(p.get())) << "No keeps the value out of range";
    EXPECT_TRUE(setLimited(p.get(), 20));
    EXPECT_EQ(10, rawOf(p.get())) << "Yes moves it to the closest limit";
    auto entries = messages.entries();
    ASSERT_EQ(2u, entries.size());
    EXPECT_EQ("Value of speed is outside (min, max) range.\n\nDo you want to set it to the closest limit?",
              entries[0].text);
    EXPECT_EQ("7", entries[0].title) << "No is the default button";

    // Set again from inside the open question, as a host dialog's handler might: no second box,
    // nothing changes inside, and the guard is cleared afterwards.
    bool innerChanged = true;
    mpf_class innerValue;
    int questions = 0;
    messages.onQuestion = [&]
    {
        if (questions++ != 0)
            return; // a second box would be the fault; do not recurse into it
        innerChanged = setLimited(p.get(), 20);
        innerValue = rawOf(p.get());
    };
    setUnlimited(p.get(), 20);
    EXPECT_TRUE(setLimited(p.get(), 20));
    EXPECT_FALSE(innerChanged);
    EXPECT_EQ(20, innerValue);
    EXPECT_EQ(10, rawOf(p.get()));
    EXPECT_EQ(3u, messages.entries().size());
    messages.onQuestion = nullptr;
    setUnlimited(p.get(), 20);
    setLimited(p.get(), 20);
    EXPECT_EQ(4u, messages.entries().size());
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
        EXPECT_EQ(c[3], rawText(*p, /*isHex=*/true));
        setLimited(p.get(), 0);
        EXPECT_TRUE(setHex(p.get(), std::string(c[3])));
        EXPECT_EQ(mpf_class(c[2]), rawOf(p.get()));
    }
}

TEST_F(cParameterTest, HexadecimalPrefixesAndTheWidthAsymmetryOfTheLimits)
{
    tParameterPtr p = load("Name = h\nMinimum Value = 0\nMaximum Value = 255\n");
    for (std::string text : {"0xC8", "0Xc8"})
    {
        setLimited(p.get(), 0);
        EXPECT_TRUE(setHex(p.get(), text));
        EXPECT_EQ(200, rawOf(p.get()));
    }
    EXPECT_THROW(setHex(p.get(), std::string("0x")), cGenericException);
    // The stored text of a value outside the limits asks once; No leaves before any read.
    setUnlimited(p.get(), 300);
    messages.scriptAnswers({kIdNo});
    EXPECT_FALSE(setHex(p.get(), std::string("012C")));
    EXPECT_EQ(300, rawOf(p.get()));
    EXPECT_EQ(1u, messages.entries().size());

    // The raw value takes the sign rule (2 bytes below -128); limits and default the range alone.
    tParameterPtr s =
        load("Name = s\nMinimum Value = -200\nMaximum Value = 0\nDefault = -5\nRaw Value = 0\n");
    std::string maximum, defaultText;
    s->getMaximumValue(maximum, /*isHex=*/true, /*noDecimals=*/false);
    s->getDefaultValue(defaultText, /*isHex=*/true, /*noDecimals=*/false);
    EXPECT_EQ((std::vector<std::string>{"00", "0000", "FB"}),
              (std::vector<std::string>{maximum, rawText(*s, /*isHex=*/true), defaultText}));
    EXPECT_TRUE(setHex(s.get(), std::string("FFFB")));
    EXPECT_EQ(-5, rawOf(s.get()));
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
                  (std::vector<std::string>{rawText(*p, /*isHex=*/false),
                                            rawText(*p, /*isHex=*/false, /*noDecimals=*/true), converted}));
    }
}

TEST_F(cParameterTest, ConversionsEvaluateAFactorThatNamesAnotherParameterAtEveryUse)
{
    tParameterPtr gain = load("Name = gain\nFloat = 1\nValue = 4\nSymbol Registered = 1\n");
    tParameterPtr p = load("Name = p\nConversion Factor = gain\nRaw Value = 3\nMaximum Value = 100\n");
    mpf_class converted;
    p->getConvertedValue(converted);
    EXPECT_EQ(12, converted);
    gain->setConvertedValue(mpf_class(0.5), /*update=*/false, /*applyLimits=*/true);
    long long whole = 0;
    p->getConvertedValue(whole);
    EXPECT_EQ(1, whole) << "1.5 with no rounding of its own";
    EXPECT_EQ(50, p->getConvertedMaximumValue());
    p->setConvertedValue(std::string("1.75"), /*update=*/false, /*applyLimits=*/true);
    EXPECT_EQ(4, rawOf(p.get())) << "3.5 raw rounds away from zero";
    gain->setConvertedValue(mpf_class(0), /*update=*/false, /*applyLimits=*/true);
    EXPECT_THROW(p->setConvertedValue(mpf_class(1), /*update=*/false, /*applyLimits=*/true),
                 cInvalidConversionFactorException);
}

TEST_F(cParameterTest, ReadWrittenWithEveryKeyAndReadAgainGivesTheSameParameter)
{
    tParameterPtr first = load(readText(SIMCORE_TEST_DATA_DIR "SimCore/parameters/threshold.cfg"));
    EXPECT_EQ(10, rawOf(first.get()));
    EXPECT_EQ(first.get(), myActiveSymbolManager->getVariablePtr("alpha"));
    cConfigurationGroup written("Parameter");
    first->buildFile(&written, -1);
    EXPECT_EQ(readText(SIMCORE_TEST_DATA_DIR "SimCore/parameters/threshold-written.cfg"),
              cConfigurationWriter::write(written, nullptr));
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
    // Each <case>.cfg beside the <case>.failure it gives. The equation's own failure is kept in the text;
    // an empty factor's line is found under the old spelling it was given with. The condition is read
    // before registering, so that its failure leaves no entry behind.
    std::string const folder = SIMCORE_TEST_DATA_DIR "SimCore/parameters/load-failures/";
    unsigned int count = 0;
    for (auto const& entry : std::filesystem::directory_iterator(folder))
    {
        if (entry.path().extension() != ".cfg")
            continue;
        ++count;
        std::string const expected =
            readText(std::filesystem::path(entry.path()).replace_extension(".failure"));
        EXPECT_EQ(expected, failureOf([&] { load(readText(entry.path())); })) << entry.path();
    }
    EXPECT_EQ(7u, count);
    EXPECT_EQ(nullptr, myActiveSymbolManager->getVariablePtr("late"));
    EXPECT_NO_THROW(load("Name = p\nMaximum Value = 3\nMinimum Value = 3\n"));
}

TEST_F(cParameterTest, ChangesAreSentToTheHostOnlyWhenNoComputationRuns)
{
    tParameterPtr p = load("Name = p\n");
    setLimited(p.get(), 1);
    EXPECT_TRUE(window.messages().empty()) << "no computation manager";
    cIdleComputationManager manager;
    myActiveComputationManager = &manager;
    setLimited(p.get(), 2);
    p->setRawValue(2, /*update=*/true, /*applyLimits=*/true);
    ASSERT_EQ(1u, window.messages().size()) << "an unchanged value is not announced";
    auto message = window.messages()[0];
    EXPECT_EQ(
        (std::vector<uint64_t>{1, 0x9E3, 0, 0}),
        (std::vector<uint64_t>{message.sent, message.message, message.wParam, uint64_t(message.lParam)}));
    manager.setComputationsState(computationsRunning);
    setLimited(p.get(), 3);
    manager.setComputationsState(computationsFinished);
    IHostWindow* registered = setMainWndH(nullptr);
    setLimited(p.get(), 4);
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
    linked->setRawValue(1, /*update=*/true, /*applyLimits=*/true);
    setLimited(linked.get(), 2);
    silent->setRawValue(1, /*update=*/true, /*applyLimits=*/true);
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
    EXPECT_EQ((std::vector<std::string>{"p", "p", "9"}),
              (std::vector<std::string>{copy->getLongName(), copy->getFullPath(),
                                        rawText(*copy, /*isHex=*/false, /*noDecimals=*/true)}));
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
