#include "SimCore/cKynPreprocessor.h"

#include "CalcKit/CPreProcessor.h"
#include "StoreKit/cConfigurationWriter.h"
#include "tests/support/cParameterHelpers.h"
#include "tests/support/cSimCoreFixture.h"
#include "tests/support/cTestHelpers.h"
#include "tests/support/cTestStage.h"

#include <gtest/gtest.h>

namespace
{
// A CalcKit object that counts what is asked of it: out = gain (its first parameter, 1 without) * in,
// and, when told, a computed value for one parameter that it flags as changed.
class cProbeCalc : public CPreProcessor
{
public:
    cProbeCalc(std::string const& name, std::string const& type) : CPreProcessor(name, type) {}
    void reset() override
    {
        ++resets;
        CPreProcessor::reset();
    }
    void UpdateParameters() override { setParameter(1, feedBack); }
    cStorage<char> const* getChangedParameterFlags() const override
    {
        return flags.empty() ? nullptr : &flags;
    }

    int resets = 0;
    mpf_class feedBack = 0;
    cStorage<char> flags;

protected:
    void process(cSignalStorage<float> const& in, cSignalStorage<float>& out, cStorage<char>& status,
                 unsigned int) override
    {
        float const gain = getParameterCount() != 0 ? float(parameterValue(0)) : 1.0f;
        for (unsigned int k = 0; k < in.size(); ++k, status.add(0))
            out.add(in[k] * gain);
    }
};

// A preprocessor whose CalcKit object is the probe.
struct cProbe : cKynPreprocessor
{
    cProbe(cConfigurationGroup* group, cDriftManager* owner) : cKynPreprocessor(group, owner, "")
    {
        calc = new cProbeCalc(getName(), getType());
        delete m_preprocessor;
        m_preprocessor = calc;
    }
    cProbeCalc* calc;
};

class cOpenChainMgr : public cPreprocessorChainMgr
{
public:
    using cPreprocessorChainMgr::Calculate;
};

// A preprocessor group; an empty criterion name leaves its list empty.
std::string prep(std::string const& name, std::string const& in, std::string const& out,
                 std::string const& parameters = "Parameter {\nValue = 2\n}\n", std::string const& extra = "",
                 std::string const& type = "Gain")
{
    auto list = [](std::string const& criterion)
    { return criterion.empty() ? "" : "Name = " + criterion + "\n"; };
    return "Preprocessor {\nName = " + name + "\nType = " + type + "\n" + extra + "Starting Criteria {\n" +
           list(in) + "}\nFinal Criteria {\n" + list(out) + "}\nParameters List {\n" + parameters + "}\n}\n";
}

class cKynPreprocessorTest : public cResultsFixture
{
protected:
    cKynPreprocessorTest() { loadStage(); }
    void loadStage()
    {
        std::string criteria;
        for (char const* name : {"In", "S1", "S2", "S3", "S4", "Out", "SA", "SB", "OC1", "OC2"})
            criteria += std::string("Criterion {\nName = ") + name + "\n}\n";
        stage->loadCriteria(criteria);
        stage->loadParameters(
            "Parameter {\nName = K\nDefault = 1\nMaximum Value = 100\nMinimum Value = -100\n}\n"
            "Parameter {\nName = L\nDefault = 4\nMaximum Value = 100\nMinimum Value = -100\n}\n");
    }
    // The groups are kept: chained processors read their "Previous" links from them.
    cConfigurationGroup* read(std::string const& text)
    {
        config.clear();
        cConfigurationReader::read("\n" + text, "stage.prp", config);
        return &config;
    }
    cConfigurationGroup* first(std::string const& text) { return read(text)->GetConfigurationGroups()[0]; }
    std::vector<float> values(std::string const& criterion)
    {
        return toVector(
            stage->criterion(criterion)->getActiveCriterionValuesForOneFile()->getIterationValueList());
    }
    void feed(std::vector<float> const& samples)
    {
        for (float sample : samples)
            stage->criterion("In")->getActiveCriterionValuesForOneFile()->getIterationValueList().add(sample);
    }

    std::unique_ptr<cTestStage> stage = std::make_unique<cTestStage>();
    cConfigurationGroup config;
};

std::vector<double> parameters(CPreProcessor const& calc)
{
    std::vector<double> values;
    for (unsigned int i = 0; i < calc.getParameterCount(); ++i)
        values.push_back(calc.getParameter(i).get_d());
    return values;
}

std::string const kSuffix = "\nIn group: Preprocessor, Line: 2";
using cPreprocessorMgrTest = cKynPreprocessorTest;
using cPreprocessorChainMgrTest = cKynPreprocessorTest;
} // namespace

TEST_F(cKynPreprocessorTest, ConfigurationFailuresNameTheGroupAndLineAndGiveBackTheCriteria)
{
    auto make = [this](std::string const& text)
    { return failureOf([&] { cKynPreprocessor p(first(text), stage.get(), ""); }); };
    EXPECT_EQ("cMissingItem|cConfigurationGroup::findItem|Missing key \"Type\".\nIn group \"Preprocessor\" "
              "(line 2) of file \"stage.prp\"." +
                  kSuffix,
              make("Preprocessor {\nName = P\n}\n"));
    EXPECT_EQ("cBadReference|cBasicParameterMgr::getParameter|Bad reference: Nope" + kSuffix,
              make(prep("P", "In", "Nope")));
    // The criteria are read before the type: a failing type must give their links back.
    EXPECT_EQ("cGenericException|createPreProcessor|Preprocessor \"P\" of type \"Foo\": unknown "
              "preprocessor type." +
                  kSuffix,
              make(prep("P", "In", "Out", "", "", "Foo")));
    EXPECT_EQ(1, stage->criterion("In")->getLinksNumber());
    // A filter type needs its file: not beside the preprocessing file, it is tried as a full path.
    EXPECT_NE(std::string::npos,
              make(prep("F", "", "", "", "", "Digital Filter")).find("Missing key \"Filter\""));
    EXPECT_EQ("cFstreamOpenException|cCfgInputFile::open|Unable to open file: low.dft\nFile: low.dft" +
                  kSuffix,
              make(prep("F", "", "", "", "Filter = low.dft\n", "Digital Filter")));

    cKynPreprocessor p(first(prep("P", "In", "Out")), stage.get(), "");
    cRecordingTraceSink trace(4);
    EXPECT_THROW(p.setConfiguration(first(prep("Q", "", "", "", "", "Bar")), ""), cGenericException);
    EXPECT_EQ((std::vector<std::string>{"cKynPreprocessor::setConfiguration L621",
                                        "All drift parameters configured",
                                        "cKynPreprocessor::setConfiguration L621"}),
              trace.texts())
        << "a failure leaves the scope too";
    EXPECT_EQ("NULL", p.getType()) << "a failed reconfiguration leaves no CalcKit object";
    EXPECT_EQ("", p.getName());
}

TEST_F(cKynPreprocessorTest, ParametersKeepTheirOrderAndOnlyDriftParametersAreWalked)
{
    cRecordingTraceSink trace(4);
    cProbe p(first(prep("P", "In", "Out",
                        "Parameter {\nValue = +(1, 2)\n}\nParameter {\nName = K\n}\n"
                        "Parameter {\nValue = 7\n}\nParameter {\nName = L\n}\n",
                        "Mandatory = 1\n")),
             stage.get());
    EXPECT_EQ((std::vector<std::string>{"cKynPreprocessor::setConfiguration L621", "Drift parameter added: K",
                                        "Drift parameter added: L", "All drift parameters configured",
                                        "cKynPreprocessor::setConfiguration L621"}),
              trace.texts());
    EXPECT_TRUE(p.isMandatory());
    p.prepareForTest();
    EXPECT_EQ((std::vector<double>{3, 1, 7, 4}), parameters(*p.calc));
    unsigned int i = 0;
    EXPECT_EQ(stage->parameter("K"), p.firstParameter(i));
    EXPECT_EQ(1u, i);
    EXPECT_EQ(stage->parameter("L"), p.nextParameter(i));
    EXPECT_EQ(nullptr, p.nextParameter(i));
    // Only the drift parameters carry a processed mark.
    stage->endOfIteration();
    EXPECT_TRUE(p.isProcessed());
    stage->parameter("L")->setProcessed(false);
    EXPECT_FALSE(p.isProcessed());
}

TEST_F(cKynPreprocessorTest, ReloadResetsOnceOnARealChangeAndFlaggedDriftParametersTakeTheFedBackValue)
{
    cProbe p(first(prep("P", "In", "Out", "Parameter {\nName = K\n}\nParameter {\nName = L\n}\n")),
             stage.get());
    stage->changeFile();
    p.changeFile();
    p.prepareForTest();
    p.ReloadParametersToPreprocessor();
    EXPECT_EQ(1, p.calc->resets) << "same values: no reset";
    stage->parameter("K")->setRawValue(5, /*update=*/true, /*applyLimits=*/true);
    stage->parameter("L")->setRawValue(6, /*update=*/true, /*applyLimits=*/true);
    feed({0, 1, 2});
    cStorage<char> status;
    p.Calculate(status);
    EXPECT_EQ(2, p.calc->resets) << "two changes, one reset";
    EXPECT_EQ((std::vector<float>{0, 5, 10}), values("Out"));
    EXPECT_EQ(3u, status.size());
    EXPECT_TRUE(p.getFinalCriterionValuesForOneFile(0)->hasPoints());
    EXPECT_EQ(nullptr, p.getFinalCriterionValuesForOneFile(1));

    p.calc->feedBack = 9;
    p.calc->flags.add(0);
    p.calc->flags.add(1);
    p.UpdateParametersFromPreprocessor();
    cDriftParameter* const l = stage->parameter("L");
    mpf_class raw;
    l->getRawValue(raw);
    EXPECT_EQ((std::vector<double>{9, 9, 9, 9, 9}),
              (std::vector<double>{raw.get_d(), l->getMaximumValue().get_d(), l->getMinimumValue().get_d(),
                                   l->getUsedMaximumValue().get_d(), l->getUsedMinimumValue().get_d()}));
    EXPECT_EQ((std::vector<double>{5, 9}), parameters(*p.calc)) << "an unflagged parameter stays";
}

TEST_F(cKynPreprocessorTest, SharedCriteriaHoldALinkPerHolderWhicheverOwnerGoesFirst)
{
    for (bool stageFirst : {true, false})
    {
        auto mgr = std::make_unique<cPreprocessorMgr>();
        mgr->loadPreprocessors(read(prep("A", "In", "S1") + prep("B", "S1", "Out")), "", stage.get());
        EXPECT_EQ(2, stage->criterion("In")->getLinksNumber());
        EXPECT_EQ(3, stage->criterion("S1")->getLinksNumber());
        stage->changeFile();
        mgr->changeFile();
        cCriterionValuesForOneFile* const shared =
            mgr->getParameter("A")->getFinalCriterionValuesForOneFile(0);
        EXPECT_NE(nullptr, shared);
        EXPECT_EQ(shared, mgr->getParameter("B")->getStartingCriterionValuesForOneFile(0));
        // The sanitizer run checks that the last holder deletes each criterion exactly once.
        if (stageFirst)
        {
            stage = std::make_unique<cTestStage>(); // the old stage goes before the manager
            loadStage();
        }
        mgr.reset();
    }
}

TEST_F(cPreprocessorMgrTest, ReEntryRunsFromTheEntryIndexAndLeavesTheEarlierOutputs)
{
    cPreprocessorMgr mgr;
    mgr.loadPreprocessors(read(prep("A", "In", "S1") + prep("B", "S1", "S2") +
                               prep("C", "S2", "S3", "Parameter {\nName = K\n}\n") + prep("D", "S3", "S4") +
                               prep("E", "S4", "Out")),
                          "", stage.get());
    stage->changeFile();
    mgr.changeFile();
    mgr.prepareForTest();
    feed({0, 1, 2});
    cStorage<char> mask;
    EXPECT_TRUE(mgr.Calculate(0, mask));
    EXPECT_EQ((std::vector<float>{0, 16, 32}), values("Out"));

    stage->endOfIteration();
    stage->parameter("K")->setRawValue(3, /*update=*/true, /*applyLimits=*/true);
    stage->parameter("K")->setProcessed(false);
    for (char const* name : {"S3", "S4", "Out"})
        stage->criterion(name)->prepareForTest();
    EXPECT_TRUE(mgr.Calculate(2, mask));
    // A second run of A or B would have appended behind their outputs.
    EXPECT_EQ((std::vector<float>{0, 2, 4}), values("S1"));
    EXPECT_EQ((std::vector<float>{0, 4, 8}), values("S2"));
    EXPECT_EQ((std::vector<float>{0, 48, 96}), values("Out"));
    EXPECT_EQ(3u, mask.size());

    EXPECT_EQ("cBadListIndex|cPreprocessorMgr::Calculate|List index out of range.",
              failureOf([&] { mgr.Calculate(5, mask); }));
    EXPECT_EQ(0u, mask.size()) << "the mask is emptied before the index is checked";
}

TEST_F(cPreprocessorChainMgrTest, PassesPlaceProcessorsListedBeforeTheirPreviousAndLogTheRegistrations)
{
    cRecordingTraceSink trace(3);
    cPreprocessorChainMgr mgr;
    mgr.loadPreprocessors(read(prep("B", "SA\nName = S1", "SB", "", "Previous = A\n") +
                               prep("A", "In", "SA") + prep("I", "In", "S1")),
                          "", stage.get());
    ASSERT_EQ(3u, mgr.getParameterListSize());
    EXPECT_EQ("B", mgr.last()->getName());
    ASSERT_EQ(2u, mgr.getInputProcessors().size());
    EXPECT_EQ("A", mgr.getInputProcessors()[0]->getName());
    EXPECT_EQ("I", mgr.getInputProcessors()[1]->getName());
    EXPECT_EQ(mgr.last(), mgr.getInputProcessors()[0]->getFollowingProcessors()[0]);
    std::string log;
    for (std::string const& line : trace.texts())
        log += line + "\n";
    EXPECT_EQ(readText(SIMCORE_TEST_DATA_DIR "SimCore/preprocessors/chain-registration.log"), log);
}

TEST_F(cPreprocessorChainMgrTest, LoopsAndUnknownPreviousDeleteTheUnplacedAndNameThemOnePerLine)
{
    cPreprocessorChainMgr mgr;
    std::string const failure =
        "cLoopInProcessorChainDetected|cPreprocessorChainMgr::loadPreprocessors|Loop or "
        "unknown \"Previous\" in the processor chain:\n";
    std::string const loop = prep("A", "S1", "S2", "", "Previous = B\n") + prep("I", "In", "S1") +
                             prep("B", "S2", "S3", "", "Previous = A\n");
    EXPECT_EQ(failure + "A\nB\n", failureOf([&] { mgr.loadPreprocessors(read(loop), "", stage.get()); }));
    EXPECT_EQ(1u, mgr.getParameterListSize()) << "what was placed stays";
    EXPECT_EQ(1, stage->criterion("S2")->getLinksNumber()) << "A and B gave their links back";

    cPreprocessorChainMgr other;
    EXPECT_EQ(failure + "X\n",
              failureOf(
                  [&] {
                      other.loadPreprocessors(read(prep("X", "In", "Out", "", "Previous = Nobody\n")), "",
                                              stage.get());
                  }));
    // Linking behind a processor the manager does not hold warns with the item's line, then fails.
    cKynPreprocessorChained lone(first(prep("Z", "In", "Out", "", "Previous = A\n")), stage.get(), "");
    EXPECT_FALSE(lone.isPreprocessorReadyForRegistration(&other));
    EXPECT_THROW(lone.buildProcessorLink(&other), cBadReference);
    ASSERT_EQ(1u, messages.entries().size());
    EXPECT_EQ("warning", messages.entries()[0].kind);
    EXPECT_EQ("Processor Z cannot be placed after processor A.\nError at line number: 5.\n",
              messages.entries()[0].text);
}

TEST_F(cPreprocessorChainMgrTest, AJoinRunsOnceWhenItsLastInputHasRun)
{
    cOpenChainMgr mgr;
    mgr.loadPreprocessors(read(prep("A", "In", "SA") + prep("B", "In", "SB") +
                               prep("C", "SA\nName = SB", "OC1\nName = OC2", "Parameter {\nValue = 2\n}\n",
                                    "Previous = A\nPrevious = B\n")),
                          "", stage.get());
    auto chained = [&mgr](char const* name)
    { return dynamic_cast<cKynPreprocessorChained*>(mgr.getParameter(name)); };
    stage->changeFile();
    mgr.changeFile();
    mgr.prepareForTest();
    feed({0, 1});
    cStorage<char> status;
    chained("A")->Calculate(status);
    EXPECT_EQ(0, chained("C")->getStatus()) << "C waits for B";
    EXPECT_TRUE(values("OC1").empty());
    chained("B")->Calculate(status);
    EXPECT_EQ(1, chained("C")->getStatus());
    EXPECT_EQ((std::vector<float>{0, 4}), values("OC2"));
    chained("C")->Calculate(status);
    EXPECT_EQ((std::vector<float>{0, 4}), values("OC1")) << "status 1: nothing runs again in this sample";
    // A new wave sets every status back to 0 and starts from the inputs: C runs once more.
    for (char const* name : {"SA", "SB", "OC1", "OC2"})
        stage->criterion(name)->prepareForTest();
    mgr.Calculate();
    EXPECT_EQ((std::vector<float>{0, 4}), values("OC1"));
}

// Values, Mandatory and defaults are not written; what is written reads back to the same text.
TEST_F(cPreprocessorChainMgrTest, BuildFileWritesWhatReadsBackAndNeverTheValuesOrMandatory)
{
    cPreprocessorChainMgr mgr;
    mgr.loadPreprocessors(read(readText(SIMCORE_TEST_DATA_DIR "SimCore/preprocessors/chain.prp")), "",
                          stage.get());
    cConfigurationGroup written;
    mgr.buildFile(&written, 0);
    std::string const expected = readText(SIMCORE_TEST_DATA_DIR "SimCore/preprocessors/chain-written.prp");
    EXPECT_EQ(expected, cConfigurationWriter::write(written, nullptr));
    cPreprocessorChainMgr reloaded;
    reloaded.loadPreprocessors(written.GetConfigurationGroups()[0], "", stage.get());
    EXPECT_FALSE(reloaded.getParameter("A")->isMandatory());
    cConfigurationGroup again;
    reloaded.buildFile(&again, 0);
    EXPECT_EQ(expected, cConfigurationWriter::write(again, nullptr));
}
