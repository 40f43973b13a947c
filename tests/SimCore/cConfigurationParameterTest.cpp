#include "SimCore/cConfigurationParameter.h"

#include "StoreKit/cConfigurationWriter.h"
#include "tests/support/cParameterHelpers.h"
#include "tests/support/cSimCoreFixture.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>
#include <memory>

namespace
{
template <class T> using tOwned = std::unique_ptr<T, void (*)(cParameter*)>;

// A parameter of class T named p from the keys that follow "Name = p" (line 1 of its group).
template <class T> tOwned<T> make(std::string const& keys)
{
    cConfigurationGroup group = readGroup("Name = p\n" + keys);
    return tOwned<T>(new T(&group, ""), &cParameter::deleteInstance);
}

std::string const kPathKeys = "Path = Front\n";

class cConfigurationParameterTest : public cSimCoreFixture
{
protected:
    // The ids of the messages that setting value sends to the host, each checked to be sent with
    // both parameters 0.
    std::vector<uint32_t> messagesOfChange(cParameter* p, int value)
    {
        size_t const before = window.messages().size();
        setLimited(p, value);
        std::vector<uint32_t> ids;
        for (size_t i = before; i < window.messages().size(); ++i)
        {
            auto const m = window.messages()[i];
            EXPECT_TRUE(m.sent && m.wParam == 0 && m.lParam == 0) << std::hex << m.message;
            ids.push_back(m.message);
        }
        return ids;
    }
};
} // namespace

TEST_F(cConfigurationParameterTest, ALockHoldsTheNoDeploymentValueUnclampedWhateverIsSetButNotTheNeutralValue)
{
    auto p = make<cLockableUnitConfigurationParameter>("Minimum Value = 0\nMaximum Value = 100\nRaw Value = "
                                                       "5\nNo Deployment Value = 500\nNeutral Value = 2\n");
    EXPECT_FALSE(p->isLockedOnNoDeploymentValue()) << "unlocked after construction";
    p->lockOnNoDeploymentValue(true, /*update=*/false);
    EXPECT_EQ(500, rawOf(p.get())) << "outside the limits, not clamped";
    // Every overload and the converted setter reach the lock.
    EXPECT_FALSE(setLimited(p.get(), 20));
    EXPECT_FALSE(p->setRawValue(std::string("14"), /*isHex=*/true, /*update=*/false, /*applyLimits=*/true));
    p->setConvertedValue(mpf_class(3), /*update=*/false, /*applyLimits=*/true);
    EXPECT_EQ(500, rawOf(p.get()));
    EXPECT_TRUE(messages.entries().empty()) << "a locked value outside the limits asks for no closest limit";
    p->setNoDeploymentValue(7);
    EXPECT_TRUE(setLimited(p.get(), 20)) << "the answer tells that the stored value moved to the new one";
    EXPECT_EQ(7, rawOf(p.get()));
    EXPECT_EQ(150, p->checkFormat(150)) << "no clamp while locked";
    p->setRawNeutralValue(5, /*update=*/false, /*applyLimits=*/true);
    EXPECT_EQ(2, rawOf(p.get())) << "the stored neutral value, past the lock; the argument is not used";
    EXPECT_TRUE(p->isLockedOnNoDeploymentValue());
    p->lockOnNoDeploymentValue(false, /*update=*/false);
    EXPECT_EQ(2, rawOf(p.get())) << "unlocking leaves the value";
    EXPECT_EQ((std::vector<double>{150, -3, 7}),
              (std::vector<double>{p->checkFormat(150).get_d(), p->checkFormat(-3).get_d(),
                                   p->checkFormat(7).get_d()}))
        << "unlocked, a lockable parameter's values stand outside the limits too";
    setLimited(p.get(), 150);
    EXPECT_EQ(100, rawOf(p.get())) << "limits apply again";

    // The neutral value goes through the limits; none given means 0.
    auto below = make<cLockableUnitConfigurationParameter>(
        "Minimum Value = 5\nRaw Value = 9\nNo Deployment Value = 1\nNeutral Value = 2\n");
    below->setToNetralValue(/*update=*/false);
    EXPECT_EQ(5, rawOf(below.get()));
    auto plain = make<cLockableUnitConfigurationParameter>("Raw Value = 9\nNo Deployment Value = 1\n");
    plain->setToNetralValue(/*update=*/false);
    EXPECT_EQ(0, rawOf(plain.get()));
    plain->setNeutralValue(4);
    EXPECT_FALSE(plain->isNeutralValueDefined()) << "setNeutralValue does not define it";
    plain->setToNetralValue(/*update=*/false);
    EXPECT_EQ(4, rawOf(plain.get()));

    // The parameters that cannot be locked ignore the lock and the neutral value; their base clamps.
    auto user = make<cUserEepromParameter>("Maximum Value = 100\nRaw Value = 9\n");
    auto mode = make<cNotLockableUnitConfigurationParameter>("Default = 3\n");
    for (cConfigurationParameter* q : {static_cast<cConfigurationParameter*>(user.get()),
                                       static_cast<cConfigurationParameter*>(mode.get())})
    {
        mpf_class const before = rawOf(q);
        q->lockOnNoDeploymentValue(true, /*update=*/true);
        q->setToNetralValue(/*update=*/true);
        EXPECT_FALSE(q->isLockedOnNoDeploymentValue());
        EXPECT_EQ(before, rawOf(q));
    }
    EXPECT_EQ(100, user->checkFormat(150));
}

TEST_F(cConfigurationParameterTest, ChangesTellTheHostWhatKindOfConfigurationChanged)
{
    // Before the parameters, which tell it their last change as they go.
    cIdleComputationManager manager;
    auto lockable = make<cLockableUnitConfigurationParameter>("No Deployment Value = 0\n");
    auto batch = make<cNotLockableUnitConfigurationParameter>("Default = 0\nBatch Configuration = 1\n");
    auto cell = make<cUnitEepromParameter>(
        "No Deployment Value = 0\nEeprom Name = E\nEeprom Size = 1\nBatch Configuration = 1\n");
    auto noCell = make<cUnitEepromParameter>("No Deployment Value = 0\nBatch Configuration = 1\n");
    using tIds = std::vector<uint32_t>;
    // 0x9E3 only with an idle computation manager; 0x7FF and 0x7EA whatever the computations do.
    EXPECT_EQ(tIds({0x7FF}), messagesOfChange(lockable.get(), 1));
    EXPECT_EQ(tIds({0x7EA}), messagesOfChange(batch.get(), 1));
    EXPECT_EQ(tIds({0x7FF}), messagesOfChange(cell.get(), 1)) << "a cell ignores the batch flag";
    EXPECT_EQ(tIds(), messagesOfChange(noCell.get(), 1));
    myActiveComputationManager = &manager;
    EXPECT_EQ(tIds({0x9E3, 0x7FF}), messagesOfChange(lockable.get(), 2));
    EXPECT_EQ(tIds({0x9E3, 0x7EA}), messagesOfChange(batch.get(), 2));
    EXPECT_EQ(tIds({0x9E3, 0x7FF}), messagesOfChange(cell.get(), 2));
    EXPECT_EQ(tIds({0x9E3}), messagesOfChange(noCell.get(), 2));
    EXPECT_EQ(tIds(), messagesOfChange(cell.get(), 2)) << "an unchanged value";
    manager.setComputationsState(computationsRunning);
    EXPECT_EQ(tIds({0x7FF}), messagesOfChange(lockable.get(), 3));
}

TEST_F(cConfigurationParameterTest, LoadFailuresNameTheParameterAndTheLineAndLeaveNothingRegistered)
{
    std::string const registered = "Symbol Registered = 1\nRegistration Name = late\n";
    std::string const eepromData =
        "cMissingEepromData|cUnitEepromParameter::setConfiguration|Missing or invalid "
        "EEPROM data \"Eeprom Size\" of parameter \"p\".\nError at line number: ";
    std::vector<std::pair<std::string, std::string>> const cases = {
        {failureOf([&] { make<cLockableUnitConfigurationParameter>(kPathKeys + registered); }),
         "cMissingNoDeploymentValueException|cLockableParameter::setConfiguration|Missing \"No Deployment "
         "Value\" of parameter \"p\" (Front).\nError at line number: 0\n"},
        {failureOf([&] { make<cNotLockableUnitConfigurationParameter>(registered); }),
         "cMissingDefaultValueException|cNotLockableUnitConfigurationParameter::setConfiguration|Missing "
         "\"Default\" of parameter \"p\".\nError at line number: 0\n"},
        {failureOf(
             [&] { make<cUnitEepromParameter>("No Deployment Value = 1\nEeprom Name = E\n" + registered); }),
         eepromData + "0\n"},
        {failureOf(
             [&]
             { make<cUnitEepromParameter>("No Deployment Value = 1\nEeprom Name = E\nEeprom Size = 0\n"); }),
         eepromData + "4\n"},
        {failureOf(
             [&]
             { make<cUnitEepromParameter>("No Deployment Value = 1\nEeprom Size = -2\nEeprom Name = E\n"); }),
         eepromData + "3\n"},
    };
    for (auto const& [actual, expected] : cases)
        EXPECT_EQ(expected, actual);
    EXPECT_EQ(nullptr, myActiveSymbolManager->getVariablePtr("late"));
    // A default that is an equation is not a number, and a name without text is no cell.
    EXPECT_THROW(make<cNotLockableUnitConfigurationParameter>("Default = +(1, 2)\n"), cGenericException);
    auto noCell =
        make<cUnitEepromParameter>("No Deployment Value = 1\nEeprom Name = \"\"\nEeprom Size = 0\n");
    EXPECT_EQ("", noCell->getEepromName());
    EXPECT_EQ(0u, noCell->getEepromSize());
}

TEST_F(cConfigurationParameterTest, NoDeploymentAndNeutralTextsRenderAsTheDefaultAndTheHandleForwards)
{
    auto p =
        make<cUnitEepromParameter>("Conversion Factor = 0.25\nPrecision = 2\nMinimum Value = -200\n"
                                   "Maximum Value = 0\nNo Deployment Value = -3\nNeutral Value = -2.5\n");
    auto texts = [](auto getter)
    {
        std::string decimal, whole, hex;
        getter(decimal, false, false);
        getter(whole, false, true);
        getter(hex, true, false);
        return decimal + " " + whole + " " + hex;
    };
    // Raw decimals 1 + 2; hexadecimal in the width of the range (1 byte), halves away from zero.
    EXPECT_EQ("-3.000 -3 FD",
              texts([&](std::string& s, bool h, bool n) { p->getNoDeploymentValue(s, h, n); }));
    EXPECT_EQ("-2.500 -3 FD", texts([&](std::string& s, bool h, bool n) { p->getNeutralValue(s, h, n); }));
    std::string converted, neutral;
    p->getConvertedNoDeploymentValue(converted);
    p->getConvertedNeutralValue(neutral);
    EXPECT_EQ("-0.75 -0.63", converted + " " + neutral);

    HUnitEepromParam handle(p.get());
    HUnitEepromParam copy(handle);
    copy.setNoDeploymentValue(-4);
    copy.lockOnNoDeploymentValue(true, /*update=*/false);
    handle.setNeutralValue(-1);
    mpf_class value;
    handle.getConvertedNoDeploymentValue(value);
    EXPECT_EQ((std::vector<double>{-4, -4, -1, -1}),
              (std::vector<double>{rawOf(p.get()).get_d(), handle.getNoDeploymentValue().get_d(),
                                   value.get_d(), handle.getNeutralValue().get_d()}));
    EXPECT_TRUE(p->isLockedOnNoDeploymentValue());

    auto user = make<cUserEepromParameter>("");
    EXPECT_EQ("cBadReference|HUnitEepromParam::getNeutralValue|Bad reference: p is not a lockable parameter",
              failureOf([&] { HUnitEepromParam(user.get()).getNeutralValue(); }));
    EXPECT_EQ("cNULLPointer|HUnitEepromParam::lockOnNoDeploymentValue|The EEPROM parameter handle holds no "
              "parameter.",
              failureOf([&] { HUnitEepromParam(nullptr).lockOnNoDeploymentValue(true, true); }));
}

TEST_F(cConfigurationParameterTest, EveryKindWritesItsKeysAndReadsBackWhatItWrote)
{
    cConfigurationGroup const source =
        readGroup(readText(SIMCORE_TEST_DATA_DIR "SimCore/parameters/calibration-parameters.cfg"), "");
    // The kinds in the order of the file, as a calibration description would make them.
    auto load = [](cConfigurationGroup const& file, cDriftParameterMgr& list)
    {
        std::vector<cConfigurationGroup*> const groups =
            file.findConfigurationGroup("Parameters List", true)->GetConfigurationGroups();
        list.addParameter(new cUnitEepromParameter(groups.at(0), ""));
        list.addParameter(new cLockableUnitConfigurationParameter(groups.at(1), ""));
        list.addParameter(new cNotLockableUnitConfigurationParameter(groups.at(2), ""));
        list.addParameter(new cUserEepromParameter(groups.at(3), ""));
    };
    cDriftParameterMgr list("Parameter", "Parameters List");
    load(source, list);
    auto* const threshold = dynamic_cast<cUnitEepromParameter*>(list.getParameter("FireThreshold"));
    EXPECT_EQ(60, rawOf(threshold));
    threshold->lockOnNoDeploymentValue(true, /*update=*/false);
    int const familyKeys = kFileKeyRawValue | kFileKeyPath | kFileKeyVisibleInList | kFileKeyNeutralValue |
                           kFileKeyNoDeploymentValue | kFileKeyNoDeploymentLocked | kFileKeyEepromName |
                           kFileKeyEepromSize;
    cConfigurationGroup written;
    list.buildFile(&written, familyKeys);
    EXPECT_EQ(readText(SIMCORE_TEST_DATA_DIR "SimCore/parameters/calibration-parameters-written.cfg"),
              cConfigurationWriter::write(written, nullptr));

    // Every key written and read again gives the same file; the lock is the calibration's to read.
    threshold->lockOnNoDeploymentValue(false, /*update=*/false);
    setLimited(threshold, 60);
    cConfigurationGroup full;
    list.buildFile(&full, -1);
    cDriftParameterMgr again("Parameter", "Parameters List");
    load(full, again);
    EXPECT_TRUE(
        dynamic_cast<cLockableParameter*>(again.getParameter("FireThreshold"))->isNeutralValueDefined());
    cConfigurationGroup rewritten;
    again.buildFile(&rewritten, -1);
    EXPECT_EQ(cConfigurationWriter::write(full, nullptr), cConfigurationWriter::write(rewritten, nullptr));
}
