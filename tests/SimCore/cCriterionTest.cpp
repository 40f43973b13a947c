#include "SimCore/cCriterion.h"

#include "SimCore/cEquation.h"
#include "SimCore/cTestGraphHotPoint.h"
#include "SimCore/cTestGraphSerie.h"
#include "StoreKit/cCfgInputFile.h"
#include "StoreKit/cConfigurationWriter.h"
#include "tests/support/cAlgorithmFixture.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace
{
class cCriterionTest : public cAlgorithmFixture
{
protected:
    static int links(std::string const& name)
    {
        return myActiveSymbolManager->getVariablePtr(name)->getLinksNumber();
    }
    // The criterion C of a single-criterion run.
    cCriterion& criterion()
    {
        algorithm.loadCriteria("Criterion {\nName = C\n}\n");
        return *algorithm.criterion("C");
    }
};
} // namespace

TEST_F(cCriterionTest, AnUnusedCriterionKeepsOnlyItsLastValueAndAForcedOneTheCurve)
{
    cCriterion& c = criterion();
    cKynFile* const file = addCrash("/data/crash_01.csh");
    cCriterionValuesForOneFile* const values = computeFile(c, file);
    EXPECT_FALSE(values->isUsed());
    values->addValue(1.0f);
    values->setValue(40, 3.0f);
    EXPECT_EQ(0u, values->getSize());
    EXPECT_EQ(3.0f, values->getValue(7));
    values->prepareForTest();
    EXPECT_FALSE(values->hasPoints());
    EXPECT_EQ(0.0f, values->getLastValue());

    // Forced values go to the curve whatever the use; cleaning frees it only when unused.
    values->addValueForced(4.0f);
    EXPECT_EQ(4.0f, values->getValueForced(0));
    values->cleanIfNotUsed();
    EXPECT_EQ(0u, values->getSize());

    c.forceUse(true);
    algorithm.resetResults();
    cCriterionValuesForOneFile* const forced = computeFile(c, file);
    ASSERT_TRUE(forced->isUsed());
    forced->addValue(5.0f);
    forced->addValue(6.0f);
    forced->setValue(0, 7.0f);
    forced->cleanIfNotUsed();
    EXPECT_EQ(2u, forced->getSize());
    EXPECT_EQ(7.0f, forced->getValue(0));
    EXPECT_EQ(6.0f, forced->getLastValue());
}

TEST_F(cCriterionTest, AUsedCriterionStoresTheCurveAndHandsItToItsSeriesAtTheIterationsEnd)
{
    cCriterion& c = criterion();
    c.registerGraph(&timeGraph, true);
    cCriterionValuesForOneFile* const values = computeFile(c, addCrash("/data/crash_01.csh"));
    ASSERT_TRUE(values->isUsed());
    fillCurve(values, 1000.0f, 0, {1.0f, 2.0f, 3.0f});
    algorithm.endOfIterationResults();
    auto* const series = dynamic_cast<cTestGraphSerie*>(values->getGraphObject(&timeGraph, true));
    ASSERT_EQ(3u, series->getNomSerieSize());
    EXPECT_EQ(2.0f, series->getNomValue(1));

    // A hidden graph is not computed.
    timeGraph.show(false);
    algorithm.prepareForTestResults();
    EXPECT_EQ(0u, values->getSize());
    values->addValue(9.0f);
    values->addValue(9.0f);
    algorithm.endOfIterationResults();
    EXPECT_EQ(1u, series->iData().curveCount);
}

TEST_F(cCriterionTest, SeriesGoToTheGraphUnlessTheCriterionIsItsAbscissa)
{
    algorithm.loadCriteria("Criterion {\nName = X\nColor = 0x30\n}\nCriterion {\nName = Y\n}\n");
    cCriterion* const x = algorithm.criterion("X");
    cCriterion* const y = algorithm.criterion("Y");
    xyGraph.getParameter().abscissaCriterion = x;
    x->registerGraph(&timeGraph, false);
    x->registerGraph(&xyGraph, true);
    y->registerGraph(&xyGraph, true);
    myActiveFile = addCrash("/data/crash_01.csh");
    algorithm.resetResults();
    algorithm.changeFileResults();
    cCriterionValuesForOneFile* const values = x->getActiveCriterionValuesForOneFile();

    auto* const timeSeries = dynamic_cast<cTestGraphSerie*>(values->getGraphObject(&timeGraph, true));
    ASSERT_NE(nullptr, timeSeries);
    EXPECT_EQ(eSerieYT, timeSeries->getSerieType());
    EXPECT_EQ("X", timeSeries->GetLabel());
    EXPECT_EQ(0x30u, timeSeries->GetDefaultColor());
    EXPECT_FALSE(timeSeries->GetDrawingEnabled());
    EXPECT_EQ(&timeGraph, timeSeries->getGraph());
    EXPECT_EQ(values, timeSeries->getOrdinate());
    EXPECT_EQ(1u, timeGraph.getGraphObjects().size());

    // The abscissa's own series is computed but kept out of the graph.
    auto* const hidden = dynamic_cast<cTestGraphSerie*>(values->getGraphObject(&xyGraph, true));
    ASSERT_EQ(1u, values->getPrivateSeries().size());
    EXPECT_EQ(hidden, values->getPrivateSeries()[0]);
    EXPECT_EQ(eSerieYX, hidden->getSerieType());
    ASSERT_EQ(1u, xyGraph.getGraphObjects().size());
    EXPECT_EQ(y->getActiveCriterionValuesForOneFile()->getGraphObject(&xyGraph, true),
              xyGraph.getGraphObjects()[0]);

    // A second run resets the same series under its own flag.
    timeSeries->setToBeDrawn(true);
    algorithm.resetResults();
    EXPECT_EQ(timeSeries, values->getGraphObject(&timeGraph, true));
    EXPECT_TRUE(timeSeries->GetDrawingEnabled());
    EXPECT_EQ(1u, values->getPrivateSeries().size());

    // Without graphs a criterion is used only when forced.
    values->removeGraph(&timeGraph);
    values->removeGraph(&xyGraph);
    EXPECT_FALSE(values->isUsed());
    x->forceUse(true);
    values->removeGraph(&timeGraph);
    EXPECT_TRUE(values->isUsed());
}

TEST_F(cCriterionTest, ABadHotPointIsReportedAndTheOthersStayEachCopyHoldingItsLinks)
{
    cRecordingTraceSink trace(4);
    registerParameters("SimCore/results/criterion-parameters.cfg");
    {
        cOpenAlgorithm local;
        // Of five groups, the marker is no hot point and two lack or miss a symbol.
        local.loadCriteria(testData("SimCore/results/criteria-hot-points.cfg"));
        cCriterion* const criterion = local.criterion("C");
        ASSERT_EQ(2u, criterion->getHotPoints().size());
        EXPECT_EQ("a", criterion->getHotPoints()[0]->getAbscissaName());
        EXPECT_EQ("b", criterion->getHotPoints()[1]->getAbscissaName());
        EXPECT_EQ(0x20u, criterion->getHotPoints()[0]->getColor());
        EXPECT_EQ("Hot Point", criterion->getHotPoints()[0]->GetLabel());
        // What the user and the trace are told, as the expected output gives it.
        std::string told;
        for (auto const& entry : messages.entries())
            told += entry.kind + " " + entry.title + (entry.kind == "information" ? entry.text : "") + "\n";
        for (std::string const& line : trace.texts())
            told += line.find("Hot point") != std::string::npos ? "trace " + line + "\n" : "";
        EXPECT_EQ(testData("SimCore/results/criteria-hot-points-expected.txt"), told);
        EXPECT_EQ(3, links("a")) << "the symbol manager and two hot points";

        // A copy has its own condition and one more link on each parameter.
        std::unique_ptr<cTestGraphHotPoint> copy(criterion->createHotPointCopy(0));
        ASSERT_NE(nullptr, copy);
        EXPECT_EQ(4, links("b"));
        ASSERT_NE(nullptr, copy->getCondition());
        EXPECT_NE(criterion->getHotPoints()[0]->getCondition(), copy->getCondition());
        EXPECT_EQ(0x20u, copy->getColor());
        EXPECT_EQ(nullptr, criterion->createHotPointCopy(2));
        copy.reset();

        // Each series gets a copy of every hot point, with a time abscissa on a graph over time.
        xyGraph.getParameter().abscissaCriterion = criterion;
        criterion->registerGraph(&timeGraph, true);
        criterion->registerGraph(&xyGraph, true);
        local.resetResults();
        cCriterionValuesForOneFile* const values = computeFile(*criterion, addCrash("/data/crash_01.csh"));
        EXPECT_EQ(7, links("a"));
        for (cGraph const* const graph :
             {static_cast<cGraph const*>(&timeGraph), static_cast<cGraph const*>(&xyGraph)})
        {
            cGraphObject* const series = values->getGraphObject(graph, true);
            unsigned int cursor = 0;
            cGraphHotPoint* const first = series->firstHotPoint(cursor);
            ASSERT_EQ(2u, series->getHotPointCount());
            EXPECT_EQ(series, first->getOwner());
            EXPECT_EQ(graph == &timeGraph, first->getTimeAbscissa());
        }
    }
    EXPECT_EQ(1, links("a")) << "criterion, values and series gave their links back";
    EXPECT_EQ(1, links("b"));
}

// Each group of the expected file is one criterion written under the flags its name gives; "Time
// Abscissa" comes from the criterion of the same name in the algorithm's own file, once it has one.
TEST_F(cCriterionTest, BuildFileWritesItsKeysByFlagsAndHotPointsWithoutTheirCondition)
{
    registerParameters("SimCore/results/criterion-parameters.cfg");
    algorithm.loadCriteria(testData("SimCore/results/criteria-input.cfg"));
    cConfigurationGroup written;
    auto build = [&](std::string const& name, int flags, std::string const& label)
    {
        auto* const group = new cConfigurationGroup(name + " " + label);
        algorithm.criterion(name)->buildFile(group, flags);
        written.addConfigurationGroup(group);
    };
    build("C", 0x40000000 | 0x10000000 | 0x20000, "all, no algorithm file");
    build("C", 0, "none");
    cCfgInputFile* const file =
        cCfgInputFile::createFile(tempPath("algorithm.cfg").c_str(), 2, "Algorithm", true);
    cConfigurationReader::read("Criteria List {\nCriterion {\nName = D\nTime Abscissa = 0\n}\n"
                               "Criterion {\nName = C\nTime Abscissa = 1\n}\n}\n",
                               "algorithm.cfg", *file->getTopGroup());
    static_cast<cFileConfigured&>(algorithm).setConfiguration(file);
    build("C", 0x40000000, "time abscissa");
    build("C", 0x10000000, "sampling rate");
    build("D", 0x40000000 | 0x10000000 | 0x20000, "all");
    EXPECT_EQ(testData("SimCore/results/criteria-expected.cfg"),
              cConfigurationWriter::write(written, nullptr));
}

TEST_F(cCriterionTest, RemoveValuesForOneFileEmptiesTheListOnlyForAddressZero)
{
    cKynFileList elsewhere;
    algorithm.loadCriteria("Criterion {\nName = A\n}\nCriterion {\nName = B\n}\nCriterion {\nName = C\n}\n");
    cKynFile* const file = addCrash("/data/crash_01.csh");
    computeFile(*algorithm.criterion("A"), file);
    computeFile(*algorithm.criterion("C"), elsewhere.addFile(new cInputFile("/data/outside.csh")));

    algorithm.RemoveValuesForOneFile(reinterpret_cast<unsigned long long>(file));
    EXPECT_EQ(3u, algorithm.cCriterionMgr::getParameterListSize());

    // A goes for its file of the current list, B for having no values; C's file is elsewhere.
    algorithm.RemoveValuesForOneFile(0);
    ASSERT_EQ(1u, algorithm.cCriterionMgr::getParameterListSize());
    EXPECT_EQ("C", (*algorithm.cCriterionMgr::GetParameters().begin())->getName());
}
