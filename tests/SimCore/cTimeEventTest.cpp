#include "SimCore/cTimeEvent.h"

#include "PlotKit/cScatterGraph.h"
#include "SimCore/cDriftParameter.h"
#include "SimCore/cTestGraphSquare.h"
#include "SimCore/cTestMgr.h"
#include "tests/support/cResultWorld.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

namespace
{
// Reads the protected expected-value text of any event.
struct cOptValueReader : cTimeEvent
{
    static std::string read(cTimeEvent& event, cKynFile* file, ETtfKind kind)
    {
        return (event.*(&cOptValueReader::findOptValue))(file, kind);
    }
};

// An algorithm with its events (and extra ones) at 1000 ticks per second, and a crash file in use made
// after them, so that it expects values for the file-linked ones. Graphs come before the algorithm.
struct sEventWorld
{
    explicit sEventWorld(std::string const& events, std::string const& extras = "")
    {
        myActiveAlgorithm = &algorithm;
        algorithm.loadTimeEvents(events);
        cConfigurationGroup group;
        cConfigurationReader::read(extras, "extras.cfg", group);
        algorithm.loadExtraTimeEvents(&group);
        algorithm.setTimeEventsPrecisionFrequency(1000);
        myActiveFile = file = world.addCrash("/data/crash_01.csh");
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

    sResultWorld world;
    cScatterGraph graphA, graphB, graphC;
    cOpenAlgorithm algorithm;
    cKynFile* file = nullptr;
};

std::map<long, unsigned int> histogramCounts(cTimeEventValuesForOneFile const& values)
{
    std::map<long, unsigned int> counts;
    for (auto const& entry : values.getIterationHistogram())
        counts[entry.first] = entry.second->count;
    return counts;
}

std::vector<double> combinationOf(cTimeEventValuesForOneFile const& values, long key)
{
    std::vector<double> combination;
    cStorage<mpfClass*> const& stored = values.getIterationHistogram().at(key)->combination;
    for (unsigned int i = 0; i < stored.size(); ++i)
        combination.push_back(stored[i]->get().get_d());
    return combination;
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

// Two drifted parameters: A (factor 2) with raw points 10 5 15, B with raw points 10 0 20 30.
struct cTwoDrifts : cDriftParameterMgr
{
    cTwoDrifts() : cDriftParameterMgr("Parameter", "Parameters List")
    {
        cConfigurationGroup group;
        std::string const range =
            "Default = 1\nDefault Maximum Value = 40\nDefault Minimum Value = -4\nStep = 2\n}\n";
        cConfigurationReader::read("Parameter {\nName = A\nConversion Factor = 2\n" + range +
                                       "Parameter {\nName = B\n" + range,
                                   "drifts.cfg", group);
        loadParameter(&group, "");
        GetParameters().begin()[0]->setRawDrift(10, 15, 5, 5, 0);
        GetParameters().begin()[1]->setRawDrift(10, 30, 0, 10, 0);
    }
};

std::string const kFullEvent =
    "Time Event {\nName = Full\nFile Link = 1\nMargin Test Link = 0\nAlways Active = 1\n"
    "Compute Displacement = 1\nMargin Test Path = m/p\nAlgorithm = Front\n"
    "Category = Belt\nSable Name = S1\nReference = Entry\nReference Displacement = D0\n}\n";

// The keys a time event writes, in the order of their bits from 0x02 up, then the margin test ones.
std::vector<std::string> const kEventKeys = {"Sable Name",
                                             "File Link",
                                             "Category",
                                             "Algorithm",
                                             "Compute Displacement",
                                             "Reference",
                                             "Reference Displacement",
                                             "Margin Test Link",
                                             "Margin Test Path",
                                             "Always Active"};

// The time event keys that a group holds, in order.
std::vector<std::string> eventKeysIn(cConfigurationGroup const& group)
{
    std::vector<std::string> keys;
    for (sInformationItem const& item : group.getInformationRange())
        if (std::find(kEventKeys.begin(), kEventKeys.end(), item.key) != kEventKeys.end())
            keys.push_back(item.key);
    return keys;
}
} // namespace

TEST(cTimeEventValuesForOneFile, FoldsIterationsIntoMinimumNominalMaximumAndHistogram)
{
    sEventWorld w("Time Event {\nName = TTF\n}\n");
    cTimeEventValuesForOneFile* values = w.startRun("TTF");
    values->set(7, false);
    values->set(9, false);
    EXPECT_EQ(7, values->getIterationValue()) << "the first write of an iteration wins";
    values->set(9, true);
    EXPECT_EQ(9, values->getIterationValue());
    values->setForced(3);
    EXPECT_EQ(3, values->getIterationValue());

    w.iterate(values, 12);
    w.iterate(values, -1);
    EXPECT_EQ((std::vector<long>{12, 12, 12}), extremes(*values)) << "a no-fire never displaces a real value";
    w.iterate(values, 8);
    EXPECT_EQ((std::vector<long>{8, 12, 12}), extremes(*values));
    EXPECT_EQ((std::map<long, unsigned int>{{-1, 1}, {8, 1}, {12, 1}}), histogramCounts(*values));
    w.iterate(values, 8);
    EXPECT_EQ(2u, histogramCounts(*values)[8]);
    EXPECT_EQ(4u, values->getIterationCount());
    EXPECT_EQ(0u, values->getNbrValue()) << "the list is kept under the full margin feature only";

    // The next run of a file in use keeps its values object and starts it from nothing.
    EXPECT_EQ(values, w.startRun("TTF"));
    EXPECT_TRUE(values->getIterationHistogram().empty());
    w.iterate(values, -1);
    w.iterate(values, 5);
    EXPECT_EQ((std::vector<long>{5, -1, 5}), extremes(*values))
        << "a real value displaces a no-fire at both ends";
}

TEST(cTimeEventValuesForOneFile, DisplacementFollowsTheExtremeValuesAndKeepsTheLargerOnATie)
{
    sEventWorld w("Time Event {\nName = TTF\nCompute Displacement = 1\n}\n");
    w.algorithm.addDisplacement(100);
    cTimeEventValuesForOneFile* values = w.startRun("TTF");
    w.iterate(values, 10, 5);
    w.iterate(values, 10, 8);
    w.iterate(values, 10, 6);
    EXPECT_EQ((std::vector<double>{8, 5, 8}), displacements(*values)) << "on a tie the larger one stays";
    w.iterate(values, 4, 2);
    EXPECT_EQ((std::vector<double>{2, 5, 8}), displacements(*values));
    w.iterate(values, 20, 1);
    w.iterate(values, -1);
    EXPECT_EQ((std::vector<double>{2, 5, 1}), displacements(*values))
        << "a no-fire after fires changes nothing";

    // All no-fire: the largest travel the algorithm reported; the nominal is iteration 0's.
    w.algorithm.clearDisplacement();
    w.algorithm.addDisplacement(3);
    values = w.startRun("TTF");
    w.iterate(values, -1);
    w.algorithm.addDisplacement(7);
    w.iterate(values, -1);
    w.algorithm.clearDisplacement();
    w.algorithm.addDisplacement(2);
    w.iterate(values, -1);
    EXPECT_EQ((std::vector<long>{-1, -1, -1}), extremes(*values));
    EXPECT_EQ((std::vector<double>{7, 3, 7}), displacements(*values));
    w.iterate(values, 5, 1);
    EXPECT_EQ((std::vector<double>{1, 3, 1}), displacements(*values)) << "the first fire takes both ends";
}

TEST(cTimeEventValuesForOneFile, HistogramKeepsTheDriftCombinationOfTheFirstIterationOfEachValue)
{
    sEventWorld w("Time Event {\nName = TTF\n}\n");
    cTwoDrifts drifts;
    w.world.computations.setDriftStages({&drifts});
    cTimeEventValuesForOneFile* values = w.startRun("TTF");
    // Iteration i takes point i / 4 of A and i % 4 of B: the last drift varies fastest.
    for (long ticks : {7L, 9L, 7L, -1L, 11L, 9L})
        w.iterate(values, ticks);
    EXPECT_EQ((std::map<long, unsigned int>{{-1, 1}, {7, 2}, {9, 2}, {11, 1}}), histogramCounts(*values));
    EXPECT_EQ((std::vector<double>{20, 10}), combinationOf(*values, 7));
    EXPECT_EQ((std::vector<double>{20, 0}), combinationOf(*values, 9))
        << "iteration 5 does not replace iteration 1";
    EXPECT_EQ((std::vector<double>{20, 30}), combinationOf(*values, -1));
    EXPECT_EQ((std::vector<double>{10, 10}), combinationOf(*values, 11));
    w.world.computations.setDriftStages({});
}

TEST(cTimeEventValuesForOneFile, FullMarginListAndTargetTimeFromDisplacement)
{
    sEventWorld w("Time Event {\nName = TTF\n}\n");
    w.algorithm.fullMarginFeatureRequest(true);
    w.algorithm.m_samplingRate = 1000.0f; // step i at i ms + T0
    w.algorithm.m_t0 = 2000;
    w.algorithm.setDisplacementConversionFactor("2");
    for (int d : {1, 2, 3, 4})
        w.algorithm.addDisplacement(d); // converted 2 4 6 8
    cTimeEventValuesForOneFile* values = w.startRun("TTF");
    values->setTargetTimeWithDisplacement(mpf_class(100), 0.0f);
    EXPECT_EQ(0.0f, values->getTargetMom()) << "a target never reached leaves it";
    values->setTargetTimeWithDisplacement(mpf_class(6), 0.5f);
    EXPECT_EQ(3.5f, values->getTargetMom()) << "step 2 reaches 6 exactly: 2 ms + 2 ms - 0.5 ms";

    w.iterate(values, 2);
    w.iterate(values, -1);
    values->setTargetTimeWithDisplacement(mpf_class(2), 0.0f);
    EXPECT_EQ(3.5f, values->getTargetMom()) << "only iteration 0 sets the target";
    ASSERT_EQ(2u, values->getNbrValue());
    EXPECT_EQ(2.0, values->getIterationNbrValue(0));
    EXPECT_EQ(-1.0, values->getIterationNbrValue(1));
    w.algorithm.timeEvent("TTF")->setPrecisionFrequency(2000);
    EXPECT_EQ(1.0, values->getIterationNbrValue(0));
    EXPECT_THROW(values->getIterationNbrValue(2), cBadListIndex);
}

TEST(cTimeEventValuesForOneFile, MarkIsALineOverTimeARectangleAgainstACriterionAndIsReusedByTheNextRun)
{
    cTestMgr keeper("Keeper");
    sEventWorld w("Time Event {\nName = TTF\n}\n");
    w.algorithm.loadCriteria("Criterion {\nName = X\n}\n");
    w.graphB.getParameter().abscissaCriterion = w.algorithm.criterion("X");
    cTimeEvent* event = w.algorithm.timeEvent("TTF");
    event->registerGraph(&w.graphA, true);
    event->registerGraph(&w.graphB, false);
    cTimeEventValuesForOneFile* values = w.startRun("TTF");
    auto* line = dynamic_cast<cTestGraphSquare*>(values->getGraphObject(&w.graphA, true));
    auto* rectangle = dynamic_cast<cTestGraphSquare*>(values->getGraphObject(&w.graphB, true));
    ASSERT_TRUE(line != nullptr && rectangle != nullptr);
    EXPECT_EQ(eSquareVerticalLine, line->getKind());
    EXPECT_EQ(eSquareRectangle, rectangle->getKind());
    EXPECT_EQ("TTF", line->GetLabel());
    EXPECT_EQ(values, line->getTimeEvent());
    EXPECT_TRUE(line->GetDrawingEnabled());
    EXPECT_FALSE(rectangle->GetDrawingEnabled());
    EXPECT_EQ(line, w.graphA.getGraphObjects()[0]);

    w.iterate(values, 5);
    EXPECT_TRUE(line->hasPoints() && line->isComputedOnce());
    line->setReferenceTimeEvent(event);
    event->setDrawingEnable(&w.graphA, "false");
    w.startRun("TTF");
    EXPECT_EQ(line, values->getGraphObject(&w.graphA, true));
    EXPECT_EQ(1u, w.graphA.getGraphObjects().size());
    EXPECT_FALSE(line->hasPoints() || line->GetDrawingEnabled() || line->isComputedOnce());
    EXPECT_EQ(nullptr, line->getReferenceTimeEvent());

    // A test that maintains the crash file's item keeps the marks of the earlier runs.
    keeper.toggleMaintainData(w.world.item);
    w.graphA.getParameter().test = &keeper;
    w.iterate(values, 5);
    w.startRun("TTF");
    EXPECT_TRUE(line->hasPoints());
}

TEST(cTimeEventValuesForOneFile, ExtraEventIsMarkedOnlyOnGraphsWhoseTestAlgorithmIsInItsType)
{
    sEventWorld w("Time Event {\nName = Own\nAlgorithm = FrontA\n}\n",
                  "Time Event {\nName = Extra\nAlgorithm = FrontA\n}\n");
    w.graphA.setTestAlgo("A");
    w.graphB.setTestAlgo("B");
    w.graphC.setTestAlgo(""); // the empty text occurs in any type
    for (char const* name : {"Own", "Extra"})
        for (cGraph const* graph : {&w.graphA, &w.graphB, &w.graphC})
            w.algorithm.timeEvent(name)->registerGraph(graph, true);
    cTimeEventValuesForOneFile* own = w.startRun("Own");
    cTimeEventValuesForOneFile* extra = w.algorithm.timeEvent("Extra")->getActiveTimeEventValuesForOneFile();
    EXPECT_EQ(3u, own->getGraphObjects().size());
    EXPECT_NE(nullptr, extra->getGraphObject(&w.graphA, false));
    EXPECT_EQ(nullptr, extra->getGraphObject(&w.graphB, false));
    EXPECT_NE(nullptr, extra->getGraphObject(&w.graphC, false));
}

TEST(cTimeEvent, CanBeStoppedOnceNoGraphAndNoMarginTestWaitsForIt)
{
    cTestMgr margin("Margin");
    EXPECT_TRUE(cTimeEventMgr().canBeStopped()) << "an empty list";
    sEventWorld w("Time Event {\nName = A\n}\nTime Event {\nName = B\n}\n");
    cTimeEvent* a = w.algorithm.timeEvent("A");
    cTimeEvent* b = w.algorithm.timeEvent("B");
    EXPECT_TRUE(w.events().canBeStopped());
    b->registerMarginTest(&margin);
    EXPECT_FALSE(b->canBeStopped()) << "no values yet";
    w.startRun("B");
    w.algorithm.prepareForTestResults();
    EXPECT_FALSE(w.events().canBeStopped());
    b->getActiveTimeEventValuesForOneFile()->set(4, false);
    EXPECT_TRUE(b->canBeStopped());
    EXPECT_TRUE(w.events().canBeStopped());
    a->registerGraph(&w.graphA, false);
    EXPECT_FALSE(a->canBeStopped()) << "a registered graph needs the whole crash, even switched off";
    EXPECT_FALSE(w.events().canBeStopped());

    b->registerMarginTest(&margin);
    b->registerMarginTest(&margin);
    w.events().removeMarginTest(&margin);
    EXPECT_EQ(2u, b->getMarginTests().size()) << "one removal takes the first occurrence only";
    w.events().removeMarginTest(&margin);
    w.events().removeMarginTest(&margin);
    EXPECT_FALSE(b->isMarginTestRegistered(&margin));
}

TEST(cTimeEvent, KeysReadWithDefaultsAndWrittenByTheirBitsLosingTheMarginTestOnes)
{
    sEventWorld w("Time Event {\nName = Plain\nUnit = s\n}\nTime Event {\nName = Linked\nFile Link = 1\n}\n" +
                  kFullEvent);
    cTimeEvent* plain = w.algorithm.timeEvent("Plain");
    EXPECT_TRUE(plain->isConstructed());
    EXPECT_EQ("ms", plain->getUnit());
    EXPECT_FALSE(plain->isFileLinked() || plain->isMarginTestLinked() || plain->isAlwaysActive() ||
                 plain->computeDisplacement());
    EXPECT_TRUE(w.algorithm.timeEvent("Linked")->isMarginTestLinked())
        << "margin test link follows file link";
    cTimeEvent* full = w.algorithm.timeEvent("Full");
    EXPECT_FALSE(full->isMarginTestLinked());
    EXPECT_TRUE(full->isAlwaysActive());
    EXPECT_EQ("m/p", full->getMarginTestPath());

    std::vector<std::string> const keys(kEventKeys.begin(), kEventKeys.begin() + 7);
    for (unsigned int i = 0; i < keys.size(); ++i)
    {
        cConfigurationGroup group("Time Event");
        full->buildFile(&group, 0x02 << i);
        EXPECT_EQ(std::vector<std::string>{keys[i]}, eventKeysIn(group)) << "bit " << (0x02 << i);
    }
    cConfigurationGroup all("Time Event");
    full->buildFile(&all, 0xFE);
    EXPECT_EQ(keys, eventKeysIn(all));
    // Read back, the margin test link follows the file link again: the rewritten file lost it.
    cTimeEvent* copy = new cTimeEvent(&all, "Algorithm");
    EXPECT_TRUE(copy->isFileLinked() && copy->computeDisplacement() && copy->isMarginTestLinked());
    EXPECT_EQ("Front|Belt|S1|Entry|D0", copy->getAlgoType() + "|" + copy->getTimeEventCategory() + "|" +
                                            copy->getSableName() + "|" + copy->getReferenceName() + "|" +
                                            copy->getReferenceNameDisplacement());
    cParameter::deleteInstance(copy);
}

TEST(cTimeEvent, ExpectedValuesOfTheCrashFileNeedAFileLink)
{
    sEventWorld w(
        "Time Event {\nName = Linked\nFile Link = 1\nPrecision = 2\n}\nTime Event {\nName = Free\n}\n");
    cTimeEvent* linked = w.algorithm.timeEvent("Linked");
    cTimeEvent* unlinked = w.algorithm.timeEvent("Free");
    linked->setPrecisionFrequency(2000);
    EXPECT_EQ("NotDef", cOptValueReader::read(*unlinked, w.file, eTtfOptimum));
    EXPECT_EQ("NF", cOptValueReader::read(*linked, w.file, eTtfOptimum))
        << "a new crash file expects no fire";
    w.file->findStructTTF(linked)->setTtfValue(eTtfOptimum, "12.5");
    EXPECT_EQ("12.50", cOptValueReader::read(*linked, w.file, eTtfOptimum));

    w.startRun("Linked");
    EXPECT_EQ(w.file->findStructTTF(linked),
              linked->getActiveTimeEventValuesForOneFile()->findFileStructTTF());
    EXPECT_EQ(nullptr, unlinked->getActiveTimeEventValuesForOneFile()->findFileStructTTF());
}
