#include "SimCore/cTimeEvent.h"

#include "PlotKit/cMinNomMaxByValueGraphSerie.h"
#include "SimCore/cTestGraphSquare.h"
#include "StoreKit/cConfigurationWriter.h"
#include "tests/support/cAlgorithmFixture.h"
#include "tests/support/cParameterHelpers.h"

#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace
{
// An algorithm with its events (and extra ones) at 1000 ticks per second, and a crash file in use made
// after them, so that it expects values for the file-linked ones.
class cTimeEventTest : public cAlgorithmFixture
{
protected:
    void load(std::string const& events)
    {
        algorithm.loadTimeEvents(events);
        algorithm.setTimeEventsPrecisionFrequency(1000);
        myActiveFile = file = addCrash("/data/crash_01.csh");
    }
    // A new run on the crash file: reset, then the file becomes the current one.
    cTimeEventValuesForOneFile* startRun(std::string const& name)
    {
        algorithm.resetResults();
        algorithm.changeFileResults();
        return algorithm.timeEvent(name)->getActiveTimeEventValuesForOneFile();
    }
    // One iteration in which the algorithm writes `ticks` (nothing for a no-fire) at `displacement`.
    void iterate(cTimeEventValuesForOneFile* values, long ticks, double displacement = 0.0)
    {
        algorithm.prepareForTestResults();
        if (ticks != -1)
            values->set(ticks, false);
        values->setComputedDisplacement(mpf_class(displacement));
        algorithm.endOfIterationResults();
    }
    cTimeEventMgr& events() { return algorithm; }
    // The protected expected-value text of an event.
    std::string optValue(cTimeEvent& event)
    {
        struct cReader : cTimeEvent
        {
            static std::string read(cTimeEvent& event, cKynFile* file)
            {
                return (event.*(&cReader::findOptValue))(file, eTtfOptimum);
            }
        };
        return cReader::read(event, file);
    }
};
using cTimeEventValuesForOneFileTest = cTimeEventTest;

// Each value of the histogram with its count and the drift combination stored for it.
using tHistogram = std::map<long, std::pair<unsigned int, std::vector<double>>>;
tHistogram histogram(cTimeEventValuesForOneFile const& values)
{
    tHistogram result;
    for (auto const& [value, entry] : values.getIterationHistogram())
    {
        result[value].first = entry->count;
        for (unsigned int i = 0; i < entry->combination.size(); ++i)
            result[value].second.push_back(entry->combination[i]->get().get_d());
    }
    return result;
}

// Minimum, nominal and maximum: of the displacements, and of the values.
std::vector<double> displacements(cTimeEventValuesForOneFile const& v)
{
    return {v.getMinDisplacement().get_d(), v.getNomDisplacement().get_d(), v.getMaxDisplacement().get_d()};
}
std::vector<long> extremes(cTimeEventValuesForOneFile const& v)
{
    return {v.getMinValue(), v.getNomValue(), v.getMaxValue()};
}

std::vector<double> valuesOf(cStorage<mpfClass*> const& combination)
{
    std::vector<double> result;
    for (unsigned int i = 0; i < combination.size(); ++i)
        result.push_back(combination[i]->get().get_d());
    return result;
}
// A closest-value side as "upper@iteration lower@iteration", "-" for a side not found.
std::string sidesOf(DriftClosestNominalStudySummary::CloseSummary const& close)
{
    auto const side = [](bool has, mpf_class const& value, unsigned int iteration)
    { return has ? std::to_string(value.get_si()) + "@" + std::to_string(iteration) : std::string("-"); };
    return side(close.hasUpper, close.upperValue, close.upperIteration) + " " +
           side(close.hasLower, close.lowerValue, close.lowerIteration);
}
} // namespace

TEST_F(cTimeEventValuesForOneFileTest, FoldsIterationsIntoMinimumNominalMaximumAndHistogram)
{
    load("Time Event {\nName = TTF\n}\n");
    cTimeEventValuesForOneFile* values = startRun("TTF");
    values->set(7, false);
    values->set(9, false);
    EXPECT_EQ(7, values->getIterationValue()) << "the first write of an iteration wins";
    values->set(9, true);
    EXPECT_EQ(9, values->getIterationValue());
    values->setForced(3);
    EXPECT_EQ(3, values->getIterationValue());

    iterate(values, 12);
    iterate(values, -1);
    EXPECT_EQ((std::vector<long>{12, 12, 12}), extremes(*values)) << "a no-fire never displaces a real value";
    iterate(values, 8);
    EXPECT_EQ((std::vector<long>{8, 12, 12}), extremes(*values));
    iterate(values, 8);
    EXPECT_EQ((tHistogram{{-1, {1, {}}}, {8, {2, {}}}, {12, {1, {}}}}), histogram(*values));
    EXPECT_EQ(4u, values->getIterationCount());
    EXPECT_EQ(0u, values->getNbrValue()) << "the list is kept under the full margin feature only";

    // The next run of a file in use keeps its values object and starts it from nothing.
    EXPECT_EQ(values, startRun("TTF"));
    EXPECT_TRUE(values->getIterationHistogram().empty());
    iterate(values, -1);
    iterate(values, 5);
    EXPECT_EQ((std::vector<long>{5, -1, 5}), extremes(*values))
        << "a real value displaces a no-fire at both ends";
}

TEST_F(cTimeEventValuesForOneFileTest, DisplacementFollowsTheExtremeValuesAndKeepsTheLargerOnATie)
{
    load("Time Event {\nName = TTF\nCompute Displacement = 1\n}\n");
    algorithm.addDisplacement(100);
    cTimeEventValuesForOneFile* values = startRun("TTF");
    iterate(values, 10, 5);
    iterate(values, 10, 8);
    iterate(values, 10, 6);
    EXPECT_EQ((std::vector<double>{8, 5, 8}), displacements(*values)) << "on a tie the larger one stays";
    iterate(values, 4, 2);
    EXPECT_EQ((std::vector<double>{2, 5, 8}), displacements(*values));
    iterate(values, 20, 1);
    iterate(values, -1);
    EXPECT_EQ((std::vector<double>{2, 5, 1}), displacements(*values))
        << "a no-fire after fires changes nothing";

    // All no-fire: the largest travel the algorithm reported; the nominal is iteration 0's.
    algorithm.clearDisplacement();
    algorithm.addDisplacement(3);
    values = startRun("TTF");
    iterate(values, -1);
    algorithm.addDisplacement(7);
    iterate(values, -1);
    algorithm.clearDisplacement();
    algorithm.addDisplacement(2);
    iterate(values, -1);
    EXPECT_EQ((std::vector<long>{-1, -1, -1}), extremes(*values));
    EXPECT_EQ((std::vector<double>{7, 3, 7}), displacements(*values));
    iterate(values, 5, 1);
    EXPECT_EQ((std::vector<double>{1, 3, 1}), displacements(*values)) << "the first fire takes both ends";
}

TEST_F(cTimeEventValuesForOneFileTest, HistogramKeepsTheDriftCombinationOfTheFirstIterationOfEachValue)
{
    load("Time Event {\nName = TTF\n}\n");
    // A (factor 2) with raw points 10 5 15, B with raw points 10 0 20 30.
    cDriftStage drifts({"Name = A\nConversion Factor = 2\n", "Name = B\n"});
    drifts.getParameter("A")->setRawDrift(10, 15, 5, 5, 0);
    drifts.getParameter("B")->setRawDrift(10, 30, 0, 10, 0);
    cTimeEventValuesForOneFile* values = startRun("TTF");
    // Iteration i takes point i / 4 of A and i % 4 of B: the last drift varies fastest.
    for (long ticks : {7L, 9L, 7L, -1L, 11L, 9L})
        iterate(values, ticks);
    // 9 keeps the combination of iteration 1, not that of iteration 5.
    EXPECT_EQ((tHistogram{{-1, {1, {20, 30}}}, {7, {2, {20, 10}}}, {9, {2, {20, 0}}}, {11, {1, {10, 10}}}}),
              histogram(*values));
}

TEST_F(cTimeEventValuesForOneFileTest, FullMarginListAndTargetTimeFromDisplacement)
{
    load("Time Event {\nName = TTF\n}\n");
    algorithm.fullMarginFeatureRequest(true);
    algorithm.m_samplingRate = 1000.0f; // step i at i ms + T0
    algorithm.m_t0 = 2000;
    algorithm.setDisplacementConversionFactor("2");
    for (int d : {1, 2, 3, 4})
        algorithm.addDisplacement(d); // converted 2 4 6 8
    cTimeEventValuesForOneFile* values = startRun("TTF");
    values->setTargetTimeWithDisplacement(mpf_class(100), 0.0f);
    EXPECT_EQ(0.0f, values->getTargetMom()) << "a target never reached leaves it";
    values->setTargetTimeWithDisplacement(mpf_class(6), 0.5f);
    EXPECT_EQ(3.5f, values->getTargetMom()) << "step 2 reaches 6 exactly: 2 ms + 2 ms - 0.5 ms";

    iterate(values, 2);
    iterate(values, -1);
    values->setTargetTimeWithDisplacement(mpf_class(2), 0.0f);
    EXPECT_EQ(3.5f, values->getTargetMom()) << "only iteration 0 sets the target";
    ASSERT_EQ(2u, values->getNbrValue());
    EXPECT_EQ(2.0, values->getIterationNbrValue(0));
    EXPECT_EQ(-1.0, values->getIterationNbrValue(1));
    algorithm.timeEvent("TTF")->setPrecisionFrequency(2000);
    EXPECT_EQ(1.0, values->getIterationNbrValue(0));
    EXPECT_THROW(values->getIterationNbrValue(2), cBadListIndex);
}

TEST_F(cTimeEventValuesForOneFileTest, MarkIsALineOverTimeARectangleAgainstACriterionAndIsReusedByTheNextRun)
{
    load("Time Event {\nName = TTF\n}\n");
    algorithm.loadCriteria("Criterion {\nName = X\n}\n");
    xyGraph.getParameter().abscissaCriterion = algorithm.criterion("X");
    cTimeEvent* event = algorithm.timeEvent("TTF");
    event->registerGraph(&timeGraph, true);
    event->registerGraph(&xyGraph, false);
    cTimeEventValuesForOneFile* values = startRun("TTF");
    auto* line = dynamic_cast<cTestGraphSquare*>(values->getGraphObject(&timeGraph, true));
    auto* rectangle = dynamic_cast<cTestGraphSquare*>(values->getGraphObject(&xyGraph, true));
    ASSERT_TRUE(line != nullptr && rectangle != nullptr);
    EXPECT_EQ(eSquareVerticalLine, line->getKind());
    EXPECT_EQ(eSquareRectangle, rectangle->getKind());
    EXPECT_EQ("TTF", line->GetLabel());
    EXPECT_EQ(values, line->getTimeEvent());
    EXPECT_TRUE(line->GetDrawingEnabled());
    EXPECT_FALSE(rectangle->GetDrawingEnabled());
    EXPECT_EQ(line, timeGraph.getGraphObjects()[0]);

    iterate(values, 5);
    EXPECT_TRUE(line->hasPoints() && line->isComputedOnce());
    event->setDrawingEnable(&timeGraph, "false");
    startRun("TTF");
    EXPECT_EQ(line, values->getGraphObject(&timeGraph, true));
    EXPECT_EQ(1u, timeGraph.getGraphObjects().size());
    EXPECT_FALSE(line->hasPoints() || line->GetDrawingEnabled() || line->isComputedOnce());
}

TEST_F(cTimeEventValuesForOneFileTest, ExtraEventIsMarkedOnlyOnGraphsWhoseTestAlgorithmIsInItsType)
{
    load("Time Event {\nName = Own\nAlgorithm = FrontA\n}\n");
    cConfigurationGroup extras;
    cConfigurationReader::read("Time Event {\nName = Extra\nAlgorithm = FrontA\n}\n", "extras.cfg", extras);
    algorithm.loadExtraTimeEvents(&extras);
    timeGraph.setTestAlgo("A");
    xyGraph.setTestAlgo("B");
    otherGraph.setTestAlgo(""); // the empty text occurs in any type
    for (char const* name : {"Own", "Extra"})
        for (cGraph const* graph : {&timeGraph, &xyGraph, &otherGraph})
            algorithm.timeEvent(name)->registerGraph(graph, true);
    cTimeEventValuesForOneFile* own = startRun("Own");
    cTimeEventValuesForOneFile* extra = algorithm.timeEvent("Extra")->getActiveTimeEventValuesForOneFile();
    EXPECT_EQ(3u, own->getGraphObjects().size());
    EXPECT_NE(nullptr, extra->getGraphObject(&timeGraph, false));
    EXPECT_EQ(nullptr, extra->getGraphObject(&xyGraph, false));
    EXPECT_NE(nullptr, extra->getGraphObject(&otherGraph, false));
}

TEST_F(cTimeEventTest, CanBeStoppedOnceNoGraphAndNoMarginTestWaitsForIt)
{
    cTestMgr& margin = xyTest;
    EXPECT_TRUE(cTimeEventMgr().canBeStopped()) << "an empty list";
    load("Time Event {\nName = A\n}\nTime Event {\nName = B\n}\n");
    cTimeEvent* a = algorithm.timeEvent("A");
    cTimeEvent* b = algorithm.timeEvent("B");
    EXPECT_TRUE(events().canBeStopped());
    b->registerMarginTest(&margin);
    EXPECT_FALSE(b->canBeStopped()) << "no values yet";
    startRun("B");
    algorithm.prepareForTestResults();
    EXPECT_FALSE(events().canBeStopped());
    b->getActiveTimeEventValuesForOneFile()->set(4, false);
    EXPECT_TRUE(b->canBeStopped());
    EXPECT_TRUE(events().canBeStopped());
    a->registerGraph(&timeGraph, false);
    EXPECT_FALSE(a->canBeStopped()) << "a registered graph needs the whole crash, even switched off";
    EXPECT_FALSE(events().canBeStopped());

    b->registerMarginTest(&margin);
    b->registerMarginTest(&margin);
    events().removeMarginTest(&margin);
    EXPECT_EQ(2u, b->getMarginTests().size()) << "one removal takes the first occurrence only";
    events().removeMarginTest(&margin);
    events().removeMarginTest(&margin);
    EXPECT_FALSE(b->isMarginTestRegistered(&margin));
}

// The full event is written once with every key bit and once per bit, each into a group named after
// its bits; the margin test keys have no bit.
TEST_F(cTimeEventTest, KeysReadWithDefaultsAndWrittenByTheirBitsLosingTheMarginTestOnes)
{
    load("Time Event {\nName = Plain\nUnit = s\n}\nTime Event {\nName = Linked\nFile Link = 1\n}\n" +
         testData("SimCore/results/time-event-input.cfg"));
    cTimeEvent* plain = algorithm.timeEvent("Plain");
    EXPECT_TRUE(plain->isConstructed());
    EXPECT_EQ("ms", plain->getUnit());
    EXPECT_FALSE(plain->isFileLinked() || plain->isMarginTestLinked() || plain->isAlwaysActive() ||
                 plain->computeDisplacement());
    EXPECT_TRUE(algorithm.timeEvent("Linked")->isMarginTestLinked()) << "margin test link follows file link";
    cTimeEvent* full = algorithm.timeEvent("Full");
    EXPECT_FALSE(full->isMarginTestLinked());
    EXPECT_TRUE(full->isAlwaysActive());
    EXPECT_EQ("m/p", full->getMarginTestPath());

    cConfigurationGroup written;
    for (int bits : {0xFE, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, 0x80})
    {
        std::ostringstream name;
        name << "Bits 0x" << std::hex << std::uppercase << bits;
        auto* const group = new cConfigurationGroup(name.str());
        full->buildFile(group, bits);
        written.addConfigurationGroup(group);
    }
    EXPECT_EQ(testData("SimCore/results/time-event-expected.cfg"),
              cConfigurationWriter::write(written, nullptr));

    // Read back (the keys are those of the input), the margin test link follows the file link again:
    // the rewritten file lost it.
    cTimeEvent* copy = new cTimeEvent(written.GetConfigurationGroups()[0], "Algorithm");
    EXPECT_TRUE(copy->isFileLinked() && copy->computeDisplacement() && copy->isMarginTestLinked());
    cParameter::deleteInstance(copy);
}

TEST_F(cTimeEventTest, ExpectedValuesOfTheCrashFileNeedAFileLink)
{
    load("Time Event {\nName = Linked\nFile Link = 1\nPrecision = 2\n}\nTime Event {\nName = Free\n}\n");
    cTimeEvent* linked = algorithm.timeEvent("Linked");
    cTimeEvent* unlinked = algorithm.timeEvent("Free");
    linked->setPrecisionFrequency(2000);
    EXPECT_EQ("NotDef", optValue(*unlinked));
    EXPECT_EQ("NF", optValue(*linked)) << "a new crash file expects no fire";
    file->findStructTTF(linked)->setTtfValue(eTtfOptimum, "12.5");
    EXPECT_EQ("12.50", optValue(*linked));

    startRun("Linked");
    EXPECT_EQ(file->findStructTTF(linked), linked->getActiveTimeEventValuesForOneFile()->findFileStructTTF());
    EXPECT_EQ(nullptr, unlinked->getActiveTimeEventValuesForOneFile()->findFileStructTTF());
}

// Four iterations 5, 5, -1, 7 ms on the points 2, 1, 3, 4 of the drift A.
TEST_F(cTimeEventTest, ReportsGiveSharesExtremesAndCombinationsOfTheFilesWithValues)
{
    load("Time Event {\nName = TTF\n}\nTime Event {\nName = Linked\nFile Link = 1\nPrecision = 2\n}\n");
    cDriftStage drifts({"Name = A\n"});
    drifts.getParameter("A")->setRawDrift(2, 4, 1, 1, 0);
    cTimeEvent* const linked = algorithm.timeEvent("Linked");
    cTimeEventValuesForOneFile* const values = startRun("TTF");
    for (long ticks : {5L, 5L, -1L, 7L})
        iterate(values, ticks);

    TTFStudySummary study;
    algorithm.timeEvent("TTF")->buildPerCentSerie(nullptr, file, study);
    EXPECT_TRUE(study.valid && !study.hasDisplacement);
    EXPECT_EQ((std::vector<float>{5, 5, 7, 25, 50, 25, 50}),
              (std::vector<float>{study.minTime, study.nomTime, study.maxTime, study.percentNoFire,
                                  study.percentAtMin, study.percentAtMax, study.percentAtNom}));
    EXPECT_EQ((std::map<float, float>{{-1.0f, 25}, {5.0f, 50}, {7.0f, 25}}), study.timeToPercent);
    EXPECT_EQ(
        (std::vector<std::vector<double>>{{2}, {4}, {3}}),
        (std::vector<std::vector<double>>{valuesOf(study.minCombination), valuesOf(study.maxCombination),
                                          valuesOf(study.noFireCombination)}));
    file->findStructTTF(linked)->setTtfValue(eTtfOptimum, "12");
    TTFStudySummary linkedStudy = study; // a copy, refilled
    linked->buildPerCentSerie(nullptr, file, linkedStudy);
    EXPECT_EQ("NF 12.00 NF 2 100", linkedStudy.minExpected + " " + linkedStudy.optExpected + " " +
                                       linkedStudy.maxExpected + " " + std::to_string(linkedStudy.precision) +
                                       " " + std::to_string(int(linkedStudy.percentNoFire)));
    addCrash("/data/crash_02.csh"); // without values: left out of the reports
    linked->buildPerCentSerie(nullptr, myActiveFileList->getFile(1), linkedStudy);
    EXPECT_FALSE(linkedStudy.valid);
    EXPECT_TRUE(linkedStudy.minCombination.empty());

    linked->registerMarginTest(&xyTest);
    TtfSummary const all = events().CalculateTtfSummary(nullptr);
    std::vector<TtfSummary::TtfInfo> const lines = all.getCshSummary("crash_01.csh");
    ASSERT_EQ(2u, lines.size());
    auto const text = [](TtfSummary::TtfInfo const& line)
    {
        return line.timeEventName + " " + line.minExpected + " " + line.optExpected + " " + line.maxExpected +
               " " + std::to_string(int(line.minTime)) + " " + std::to_string(int(line.nomTime)) + " " +
               std::to_string(int(line.maxTime)) + " " + std::to_string(int(line.percentNoFire));
    };
    EXPECT_EQ("TTF NotDef NotDef NotDef 5 5 7 25", text(lines[0]));
    EXPECT_EQ("Linked NF 12.00 NF -1 -1 -1 100", text(lines[1]));
    EXPECT_TRUE(all.getCshSummary("crash_02.csh").empty() &&
                TtfSummary().getCshSummary("crash_01.csh").empty());
    TtfSummary const margin = events().CalculateTtfSummary(&xyTest);
    ASSERT_EQ(1u, margin.size());
    EXPECT_EQ("Linked", margin[0].timeEventName);
    linked->removeValuesFromCrashFile(0);
    EXPECT_TRUE(events().CalculateTtfSummary(&xyTest).empty()) << "no values, no summary";

    // The reports own their combinations: a new run deletes the histogram's.
    startRun("TTF");
    EXPECT_EQ((std::vector<double>{3}), valuesOf(study.noFireCombination));
}

// Drifts A (2 1 3) and B (0 M, the faster; M the largest double): iterations (2,0) (2,M) (1,0) (1,M)
// (3,0) (3,M) at 10, 8, -1, 10, -1, 30 ms.
TEST_F(cTimeEventTest, DispersionAndTurnoverLookAtTheDriftValuesOfTheKeptIterations)
{
    load("Time Event {\nName = TTF\n}\n");
    algorithm.fullMarginFeatureRequest(true);
    cDriftStage drifts({"Name = A\n", "Name = B\n"});
    cDriftParameter* const a = drifts.getParameter("A");
    cDriftParameter* const b = drifts.getParameter("B");
    a->setRawDrift(2, 3, 1, 1, 0);
    mpf_class const largest(1.7976931348623157e308);
    b->setRawDrift(0, largest, 0, largest, 0);
    cTimeEventValuesForOneFile* const values = startRun("TTF");
    for (long ticks : {10L, 8L, -1L, 10L, -1L, 30L})
        iterate(values, ticks);

    // Against A the largest time of each value stands: 1 -> 10, 2 -> 10, 3 -> 30.
    auto const dispersion = [&](double threshold, long current)
    {
        setUnlimited(a, current);
        cStorage<TTFDispersionStudy*> found(2);
        values->buildTTFDispersionStudy(threshold, a, found);
        std::string text = found.empty() ? "none" : "";
        for (unsigned int i = 0; i < found.size(); ++i)
        {
            text += std::to_string(found[i]->driftValue.get_si()) + " " +
                    std::to_string(int(found[i]->minTime)) + " " + std::to_string(int(found[i]->maxTime));
            delete found[i];
        }
        return text;
    };
    EXPECT_EQ("none", dispersion(5, 2)) << "the jump lies above the current value";
    EXPECT_EQ("3 10 30", dispersion(5, 3));
    EXPECT_EQ("3 10 30", dispersion(20, 3)) << "a jump of exactly the threshold counts";
    EXPECT_EQ("none", dispersion(20.5, 3));
    DriftStudySummary drift;
    cMinNomMaxByValueGraphSerie points;
    algorithm.timeEvent("TTF")->buildDriftMinNomMaxSerie(&points, file, b, drift);
    std::vector<float> plotted;
    for (sTimeValuePoint const& point : points.getPoints())
        plotted.push_back(point.value);
    EXPECT_EQ((std::vector<float>{0, 0, 0, 0, 0, 0}), plotted) << "the largest double is drawn at 0";

    DriftClosestNominalStudySummary close;
    values->buildClosestDriftCombinationsSerie(a, close);
    EXPECT_TRUE(close.hasIterations && close.nominalFires && close.drift == a);
    EXPECT_EQ(2.0, close.nominalValue.get_d());
    EXPECT_FLOAT_EQ(66.666667f, close.percentFire);
    EXPECT_EQ(100.0f - close.percentFire, close.percentNoFire);
    EXPECT_EQ("3@4 1@2", sidesOf(close.closestNoFire));
    EXPECT_EQ("- -", sidesOf(close.closestFire));
    EXPECT_EQ(-1.0, close.closestFire.upperValue.get_d());
    values->buildClosestDriftCombinationsSerie(b, close);
    EXPECT_EQ("0@2 0@2", sidesOf(close.closestNoFire))
        << "the nominal value is on both sides; the first wins";

    // Without kept iterations there is nothing to look at; a nominal no-fire looks for the fires.
    algorithm.fullMarginFeatureRequest(false);
    startRun("TTF");
    iterate(values, 4);
    values->buildClosestDriftCombinationsSerie(a, close);
    EXPECT_FALSE(close.hasIterations);
    EXPECT_EQ(0.0f, close.percentFire + close.percentNoFire);
    algorithm.fullMarginFeatureRequest(true);
    startRun("TTF");
    for (long ticks : {-1L, -1L, 4L})
        iterate(values, ticks);
    values->buildClosestDriftCombinationsSerie(a, close);
    EXPECT_EQ("- 1@2 - -", sidesOf(close.closestFire) + " " + sidesOf(close.closestNoFire));
}
