#include "SimCore/cCriterion.h"

#include "PlotKit/cScatterGraph.h"
#include "SimCore/cEquation.h"
#include "SimCore/cTestGraphHotPoint.h"
#include "SimCore/cTestGraphSerie.h"
#include "StoreKit/cCfgInputFile.h"
#include "tests/support/cResultWorld.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace
{
// Registered float parameters a and b, which hot points bind to; the symbol manager holds one link.
void registerParameters()
{
    for (std::string const name : {"a", "b"})
    {
        cConfigurationGroup group("Parameter");
        cConfigurationReader::read("Name = " + name + "\nFloat = 1\nSymbol Registered = 1\n", "p.cfg", group);
        new cParameter(&group, "");
    }
}

int links(std::string const& name)
{
    return myActiveSymbolManager->getVariablePtr(name)->getLinksNumber();
}

cCriterionValuesForOneFile* computeFile(cCriterion* criterion, cKynFile* file)
{
    myActiveFile = file;
    criterion->changeFile();
    return criterion->getActiveCriterionValuesForOneFile();
}

std::string item(cConfigurationGroup const& group, std::string const& key)
{
    std::string value = "<absent>";
    group.findItem("", key, value, false);
    return value;
}

std::string const kHotPoints = "Criterion {\nName = C\nColor = 0x20\n"
                               "Hot Point {\nAbscissa = a\nOrdinate = b\nCondition = -(a, 1)\n}\n"
                               "Hot Point {\nAbscissa = a\nOrdinate = zz\n}\n"
                               "Marker {\nAbscissa = a\nOrdinate = b\n}\n"
                               "Hot Point {\nAbscissa = b\n}\n"
                               "Hot Point {\nAbscissa = b\nOrdinate = a\n}\n}\n";
} // namespace

TEST(cCriterion, AnUnusedCriterionKeepsOnlyItsLastValueAndAForcedOneTheCurve)
{
    sResultWorld world;
    cOpenAlgorithm algorithm;
    algorithm.loadCriteria("Criterion {\nName = C\n}\n");
    cCriterion* const criterion = algorithm.criterion("C");
    cKynFile* const file = world.addCrash("/data/crash_01.csh");
    algorithm.resetResults();
    cCriterionValuesForOneFile* const values = computeFile(criterion, file);
    EXPECT_FALSE(values->isUsed());

    values->addValue(1.0f);
    values->addValue(2.0f);
    values->setValue(40, 3.0f);
    EXPECT_EQ(0u, values->getSize());
    EXPECT_TRUE(values->hasPoints());
    EXPECT_EQ(3.0f, values->getValue(0));
    EXPECT_EQ(3.0f, values->getValue(7));
    EXPECT_EQ(3.0f, values->getLastValue());
    values->prepareForTest();
    EXPECT_FALSE(values->hasPoints());
    EXPECT_EQ(0.0f, values->getLastValue());

    // Forced values go to the curve whatever the use; cleaning frees it only when unused.
    values->addValueForced(4.0f);
    EXPECT_EQ(4.0f, values->getValueForced(0));
    values->cleanIfNotUsed();
    EXPECT_EQ(0u, values->getSize());

    criterion->forceUse(true);
    algorithm.resetResults();
    cCriterionValuesForOneFile* const forced = computeFile(criterion, file);
    ASSERT_TRUE(forced->isUsed());
    forced->addValue(5.0f);
    forced->addValue(6.0f);
    forced->setValue(0, 7.0f);
    forced->cleanIfNotUsed();
    EXPECT_EQ(2u, forced->getSize());
    EXPECT_EQ(7.0f, forced->getValue(0));
    EXPECT_EQ(6.0f, forced->getLastValue());
}

TEST(cCriterion, AUsedCriterionStoresTheCurveAndHandsItToItsSeriesAtTheIterationsEnd)
{
    sResultWorld world;
    cScatterGraph graph;
    cOpenAlgorithm algorithm;
    myActiveAlgorithm = &algorithm;
    algorithm.loadCriteria("Criterion {\nName = C\n}\n");
    cCriterion* const criterion = algorithm.criterion("C");
    criterion->registerGraph(&graph, true);
    cKynFile* const first = world.addCrash("/data/crash_01.csh");
    algorithm.resetResults();
    cCriterionValuesForOneFile* const values = computeFile(criterion, first);
    ASSERT_TRUE(values->isUsed());
    algorithm.m_samplingRate = 1000.0f;
    algorithm.prepareForTestResults();
    for (unsigned int step = 0; step < 3; ++step)
    {
        algorithm.m_currentSampleIndex = step;
        algorithm.addValueToCriterion(values, float(step) + 1.0f);
    }
    EXPECT_EQ(4u, values->getSize()) << "the dummy and three values";
    EXPECT_EQ(3.0f, values->getLastValue());
    algorithm.endOfIterationResults();
    auto* const series = dynamic_cast<cTestGraphSerie*>(values->getGraphObject(&graph, true));
    ASSERT_EQ(3u, series->getNomSerieSize());
    EXPECT_EQ(2.0f, series->getNomValue(1));

    // A hidden graph is not computed.
    graph.show(false);
    algorithm.prepareForTestResults();
    EXPECT_EQ(0u, values->getSize());
    EXPECT_FALSE(values->hasPoints());
    values->addValue(9.0f);
    values->addValue(9.0f);
    algorithm.endOfIterationResults();
    EXPECT_EQ(1u, series->iData().curveCount);

    // At the next file the curve of the previous one goes; its series keeps what it was given.
    cKynFile* const second = world.addCrash("/data/crash_02.csh");
    computeFile(criterion, second);
    EXPECT_EQ(0u, values->getSize());
    EXPECT_EQ(3u, series->getNomSerieSize());
}

TEST(cCriterion, SeriesGoToTheGraphUnlessTheCriterionIsItsAbscissa)
{
    sResultWorld world;
    cScatterGraph overTime;
    cScatterGraph againstX;
    cOpenAlgorithm algorithm;
    algorithm.loadCriteria("Criterion {\nName = X\nColor = 0x30\n}\nCriterion {\nName = Y\n}\n");
    cCriterion* const x = algorithm.criterion("X");
    cCriterion* const y = algorithm.criterion("Y");
    againstX.getParameter().abscissaCriterion = x;
    x->registerGraph(&overTime, false);
    x->registerGraph(&againstX, true);
    y->registerGraph(&againstX, true);
    cKynFile* const file = world.addCrash("/data/crash_01.csh");
    algorithm.resetResults();
    myActiveFile = file;
    algorithm.changeFileResults();
    cCriterionValuesForOneFile* const values = x->getActiveCriterionValuesForOneFile();

    auto* const timeSeries = dynamic_cast<cTestGraphSerie*>(values->getGraphObject(&overTime, true));
    ASSERT_NE(nullptr, timeSeries);
    EXPECT_EQ(eSerieYT, timeSeries->getSerieType());
    EXPECT_EQ("X", timeSeries->GetLabel());
    EXPECT_EQ(0x30u, timeSeries->GetDefaultColor());
    EXPECT_FALSE(timeSeries->GetDrawingEnabled());
    EXPECT_EQ(&overTime, timeSeries->getGraph());
    EXPECT_EQ(values, timeSeries->getOrdinate());
    EXPECT_EQ(1u, overTime.getGraphObjects().size());

    // The abscissa's own series is computed but kept out of the graph.
    auto* const hidden = dynamic_cast<cTestGraphSerie*>(values->getGraphObject(&againstX, true));
    ASSERT_EQ(1u, values->getPrivateSeries().size());
    EXPECT_EQ(hidden, values->getPrivateSeries()[0]);
    EXPECT_EQ(eSerieYX, hidden->getSerieType());
    ASSERT_EQ(1u, againstX.getGraphObjects().size());
    EXPECT_EQ(y->getActiveCriterionValuesForOneFile()->getGraphObject(&againstX, true),
              againstX.getGraphObjects()[0]);

    // A second run resets the same series under its own flag.
    timeSeries->setToBeDrawn(true);
    algorithm.resetResults();
    EXPECT_EQ(timeSeries, values->getGraphObject(&overTime, true));
    EXPECT_TRUE(timeSeries->GetDrawingEnabled());
    EXPECT_EQ(1u, values->getPrivateSeries().size());

    // Without graphs a criterion is used only when forced.
    cGraph* const graphs[] = {&overTime, &againstX};
    for (cGraph* const graph : graphs)
        values->removeGraph(graph);
    EXPECT_FALSE(values->isUsed());
    x->forceUse(true);
    values->removeGraph(&overTime);
    EXPECT_TRUE(values->isUsed());
}

TEST(cCriterion, ABadHotPointIsReportedAndTheOthersStayEachCopyHoldingItsLinks)
{
    sResultWorld world;
    cRecordingTraceSink trace(4);
    registerParameters();
    cScatterGraph overTime;
    cScatterGraph againstX;
    {
        cOpenAlgorithm algorithm;
        algorithm.loadCriteria(kHotPoints);
        cCriterion* const criterion = algorithm.criterion("C");

        ASSERT_EQ(2u, criterion->getHotPoints().size());
        EXPECT_EQ("a", criterion->getHotPoints()[0]->getAbscissaName());
        EXPECT_EQ("b", criterion->getHotPoints()[1]->getAbscissaName());
        EXPECT_EQ(0x20u, criterion->getHotPoints()[0]->getColor());
        EXPECT_EQ("Hot Point", criterion->getHotPoints()[0]->GetLabel());
        std::vector<std::string> reports;
        for (auto const& entry : world.messages.entries())
            reports.push_back(entry.kind + " " + entry.title +
                              (entry.kind == "information" ? entry.text : ""));
        EXPECT_EQ((std::vector<std::string>{
                      "exception cUnknownSymbol", "information Criterion \"C\": hot point ignored.",
                      "exception cMissingItem", "information Criterion \"C\": hot point ignored."}),
                  reports);
        std::vector<std::string> added;
        for (std::string const& line : trace.lines())
            if (line.find("Hot point") != std::string::npos)
                added.push_back(line);
        ASSERT_EQ(2u, added.size());
        EXPECT_NE(std::string::npos, added[0].find("Hot point (a, b) added to criterion C"));
        EXPECT_NE(std::string::npos, added[1].find("Hot point (b, a) added to criterion C"));
        EXPECT_EQ(3, links("a")) << "the symbol manager and two hot points";

        // A copy has its own condition and one more link on each parameter.
        std::unique_ptr<cTestGraphHotPoint> copy(criterion->createHotPointCopy(0));
        ASSERT_NE(nullptr, copy);
        EXPECT_EQ(4, links("a"));
        EXPECT_EQ(4, links("b"));
        ASSERT_NE(nullptr, copy->getCondition());
        EXPECT_NE(criterion->getHotPoints()[0]->getCondition(), copy->getCondition());
        EXPECT_EQ(0x20u, copy->getColor());
        EXPECT_EQ(nullptr, criterion->createHotPointCopy(2));
        copy.reset();
        EXPECT_EQ(3, links("a"));

        // Each series gets a copy of every hot point, with a time abscissa on a graph over time.
        againstX.getParameter().abscissaCriterion = criterion;
        criterion->registerGraph(&overTime, true);
        criterion->registerGraph(&againstX, true);
        algorithm.resetResults();
        cCriterionValuesForOneFile* const values =
            computeFile(criterion, world.addCrash("/data/crash_01.csh"));
        EXPECT_EQ(7, links("a"));
        for (cGraph const* const graph :
             {static_cast<cGraph const*>(&overTime), static_cast<cGraph const*>(&againstX)})
        {
            cGraphObject* const series = values->getGraphObject(graph, true);
            unsigned int cursor = 0;
            cGraphHotPoint* const first = series->firstHotPoint(cursor);
            ASSERT_EQ(2u, series->getHotPointCount());
            EXPECT_EQ(series, first->getOwner());
            EXPECT_EQ(graph == &overTime, first->getTimeAbscissa());
        }
    }
    EXPECT_EQ(1, links("a")) << "criterion, values and series gave their links back";
    EXPECT_EQ(1, links("b"));
}

TEST(cCriterion, BuildFileKeepsTheHotPointsParametersButNotTheirCondition)
{
    sResultWorld world;
    registerParameters();
    cOpenAlgorithm algorithm;
    algorithm.loadCriteria("Criterion {\nName = C\nCrash Color = 1\nDefault Sampling Rate = 2000.5\n"
                           "Hot Point {\nAbscissa = a\nOrdinate = b\nCondition = -(a, 1)\n}\n}\n"
                           "Criterion {\nName = D\n}\n");
    cCriterion* const criterion = algorithm.criterion("C");
    EXPECT_TRUE(criterion->isCrashColorActivated());
    EXPECT_EQ(2000.5f, criterion->getDefaultSamplingRate());

    cConfigurationGroup all("Criterion");
    criterion->buildFile(&all, 0x20000 | 0x10000000 | 0x40000000);
    EXPECT_EQ("1", item(all, "Crash Color"));
    EXPECT_EQ("2000.500000000000", item(all, "Default Sampling Rate"));
    EXPECT_EQ("<absent>", item(all, "Time Abscissa")) << "no algorithm";
    cConfigurationGroup const* const hotPoint = all.findConfigurationGroup("Hot Point", true);
    EXPECT_EQ("a", item(*hotPoint, "Abscissa"));
    EXPECT_EQ("b", item(*hotPoint, "Ordinate"));
    EXPECT_EQ("<absent>", item(*hotPoint, "Condition"));

    cConfigurationGroup none("Criterion");
    criterion->buildFile(&none, 0);
    EXPECT_EQ("<absent>", item(none, "Crash Color"));
    EXPECT_EQ("<absent>", item(none, "Default Sampling Rate"));
    EXPECT_EQ(1u, none.GetChildCount()) << "hot points are written whatever the flags";

    // The time abscissa comes from the criterion of the same name in the algorithm's own file.
    myActiveAlgorithm = &algorithm;
    cCfgInputFile* const file = cCfgInputFile::createFile("/tmp/algorithm.cfg", 2, "Algorithm", true);
    cConfigurationReader::read("Criteria List {\nCriterion {\nName = D\nTime Abscissa = 0\n}\n"
                               "Criterion {\nName = C\nTime Abscissa = 1\n}\n}\n",
                               "algorithm.cfg", *file->getTopGroup());
    static_cast<cFileConfigured&>(algorithm).setConfiguration(file);
    cConfigurationGroup withTime("Criterion");
    criterion->buildFile(&withTime, 0x40000000);
    EXPECT_EQ("1", item(withTime, "Time Abscissa"));
    cConfigurationGroup withoutTime("Criterion");
    criterion->buildFile(&withoutTime, 0x10000000);
    EXPECT_EQ("<absent>", item(withoutTime, "Time Abscissa"));

    // Read back: the hot point is there, always active.
    struct cLoader : cCriterionMgr
    {
        using cCriterionMgr::loadParameter;
    } loader;
    cConfigurationGroup list;
    list.addConfigurationGroup(new cConfigurationGroup(all));
    loader.loadParameter(&list, "Algorithm");
    cCriterion* const copy = loader.getParameter("C");
    ASSERT_EQ(1u, copy->getHotPoints().size());
    EXPECT_EQ("b", copy->getHotPoints()[0]->getOrdinateName());
    EXPECT_EQ(nullptr, copy->getHotPoints()[0]->getCondition());
    EXPECT_TRUE(copy->isCrashColorActivated());
}

TEST(cCriterion, RemoveValuesForOneFileEmptiesTheListOnlyForAddressZero)
{
    sResultWorld world;
    cKynFileList elsewhere;
    cOpenAlgorithm algorithm;
    algorithm.loadCriteria("Criterion {\nName = A\n}\nCriterion {\nName = B\n}\nCriterion {\nName = C\n}\n");
    cKynFile* const file = world.addCrash("/data/crash_01.csh");
    computeFile(algorithm.criterion("A"), file);
    computeFile(algorithm.criterion("C"), elsewhere.addFile(new cInputFile("/data/outside.csh")));

    algorithm.RemoveValuesForOneFile(reinterpret_cast<unsigned long long>(file));
    EXPECT_EQ(3u, algorithm.cCriterionMgr::getParameterListSize());

    // A goes for its file of the current list, B for having no values; C's file is elsewhere.
    algorithm.RemoveValuesForOneFile(0);
    ASSERT_EQ(1u, algorithm.cCriterionMgr::getParameterListSize());
    EXPECT_EQ("C", (*algorithm.cCriterionMgr::GetParameters().begin())->getName());
}
