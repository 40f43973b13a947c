// The fixture of the result suites (criteria, time events and what they draw): the results world
// with an algorithm stage that is the active algorithm. Graphs and their tests come first, since
// they must outlive the results whose objects they hold. Also the small helpers those suites share.
#pragma once

#include "BaseKit/cKynException.h"
#include "PlotKit/cScatterGraph.h"
#include "SimCore/cCalibration.h"
#include "SimCore/cCriterion.h"
#include "SimCore/cDriftParameter.h"
#include "SimCore/cTestGraphSerie.h"
#include "SimCore/cTestMgr.h"
#include "SimCore/cTimeEvent.h"
#include "StoreKit/cConfigurationReader.h"
#include "tests/support/cOpenAlgorithm.h"
#include "tests/support/cSimCoreFixture.h"

#include <gtest/gtest.h>

#include <fstream>
#include <initializer_list>
#include <sstream>
#include <string>
#include <vector>

class cAlgorithmFixture : public cResultsFixture
{
protected:
    cAlgorithmFixture() { myActiveAlgorithm = &algorithm; }
    // The base removes the tests after the stage has gone, and removal reaches the active algorithm.
    void TearDown() override { myActiveAlgorithm = nullptr; }

    // A new run on the active crash file: results reset, the file current, an iteration started.
    void startIteration()
    {
        algorithm.resetResults();
        algorithm.changeFileResults();
        algorithm.prepareForTestResults();
    }

    // Criteria that all store their curves and events at 10000 ticks per second, and a current crash
    // file at the start of an iteration; timeGraph (of timeTest) is referenced to the event "Entry",
    // xyGraph (of xyTest) is drawn against the criterion "Speed". The graphs own what tests add to them.
    void startGraphRun(std::string const& criteria, std::string const& events, std::string const& path)
    {
        algorithm.loadCriteria(criteria);
        algorithm.loadTimeEvents(events);
        algorithm.setTimeEventsPrecisionFrequency(10000);
        for (cCriterion* const criterion : algorithm.cCriterionMgr::GetParameters())
            criterion->forceUse(true);
        myActiveFile = file = addCrash(path);
        timeGraph.getParameter().test = &timeTest;
        timeGraph.getParameter().referenceTimeEvent = algorithm.timeEvent("Entry");
        xyGraph.getParameter().test = &xyTest;
        xyGraph.getParameter().abscissaCriterion = algorithm.criterion("Speed");
        startIteration();
    }
    // A series of those values made by hand on the graph, which owns it; its own colour is 0x123456.
    static cTestGraphSerie* addSerie(cScatterGraph& graph, ESerieType type,
                                     cCriterionValuesForOneFile* ordinate)
    {
        auto* const made = new cTestGraphSerie(type);
        made->setGraph(&graph);
        made->setOrdinate(ordinate);
        made->setDefaultColor(0x123456);
        graph.AddObject(made);
        return made;
    }
    // Both graphs show x = px / xPixels and y = top - py / yPixels, drawn with lines 2 pixels wide.
    void setMouseScale(double xPixels, double yPixels, double top)
    {
        for (cScatterGraph* graph : {&timeGraph, &xyGraph})
        {
            graph->setXPixelsPerUnit(xPixels);
            graph->setYPixelsPerUnit(yPixels);
            graph->setTopValue(top);
            graph->setLineWidth(2);
        }
    }
    // Whether the mouse at pixel (px, py) is on the object, which names its crash file either way.
    static bool hits(cGraphObject* object, long px, long py)
    {
        unsigned long long file = 1;
        bool const hit = object->interceptMouse(CPoint{px, py}, file);
        EXPECT_EQ(object->GetCrashFileAddress(), file) << px << "," << py;
        return hit;
    }
    cCriterionValuesForOneFile* values(std::string const& criterion)
    {
        return algorithm.criterion(criterion)->getActiveCriterionValuesForOneFile();
    }

    cKynFile* file = nullptr;
    cTestMgr timeTest{"Time"};
    cTestMgr xyTest{"Against speed"};
    cScatterGraph timeGraph;
    cScatterGraph xyGraph;
    cScatterGraph otherGraph;
    cOpenAlgorithm algorithm;
};

// The values of the current file after the pipeline changed to it.
inline cCriterionValuesForOneFile* computeFile(cCriterion& criterion, cKynFile* file)
{
    myActiveFile = file;
    criterion.changeFile();
    return criterion.getActiveCriterionValuesForOneFile();
}

// A new iteration's curve: the dummy, then the samples.
inline void fillCurve(cCriterionValuesForOneFile* values, float rate, long t0,
                      std::vector<float> const& samples)
{
    values->prepareForTest();
    values->setSamplingRate(rate);
    values->setT0(t0);
    values->addValueForced(0.0f);
    for (float sample : samples)
        values->addValueForced(sample);
}

// The crash file getters and the file's drawing switch of a graph object on the given file, and of
// one on none.
inline void expectFileGetters(cGraphObject& object, cGraphObject& loose, cKynFile* file,
                              std::string const& name)
{
    unsigned long long const address = reinterpret_cast<unsigned long long>(file);
    EXPECT_EQ(address, object.GetCrashFileAddress());
    EXPECT_EQ(name, object.GetCrashFileName());
    file->setColor(0x102030);
    EXPECT_EQ(0x102030, object.GetCrashFileColor());
    EXPECT_FALSE(object.SetIfItIsToBeDrawn(address + 8, true));
    EXPECT_FALSE(object.GetDrawingEnabled());
    EXPECT_TRUE(object.SetIfItIsToBeDrawn(address, true));
    EXPECT_TRUE(object.GetDrawingEnabled());
    EXPECT_EQ(0u, loose.GetCrashFileAddress());
    EXPECT_EQ("", loose.GetCrashFileName());
    EXPECT_EQ(0, loose.GetCrashFileColor());
    EXPECT_FALSE(loose.SetIfItIsToBeDrawn(0, false));
}

// The active calibration as a source of drifted parameters: "Parameter" groups with these items, each
// over the default range -4 to 40 by 2. It is myActiveCalibration while it lives.
class cDriftStage : public cCalibration
{
public:
    explicit cDriftStage(std::initializer_list<std::string> groups) : cCalibration(std::string())
    {
        std::string text;
        for (std::string const& items : groups)
            text += "Parameter {\n" + items +
                    "Default = 1\nDefault Maximum Value = 40\nDefault Minimum Value = -4\nStep = 2\n}\n";
        cConfigurationGroup group;
        cConfigurationReader::read(text, "drifts.cfg", group);
        loadParameter(&group, "");
        myActiveCalibration = this;
    }
    ~cDriftStage() override
    {
        if (myActiveCalibration == this)
            myActiveCalibration = nullptr;
    }
    std::string getAlgorithmGeneration() const override { return "test generation"; }
};

// The source named by the family exception that call throws, or "no exception".
template <typename F> std::string sourceOf(F call)
try
{
    call();
    return "no exception";
}
catch (cKynException const& e)
{
    return e.getSourceFile();
}

// The whole text of a file of the test data.
inline std::string testData(std::string const& name)
{
    std::ifstream in(std::string(SIMCORE_TEST_DATA_DIR) + name, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// The parameters of the "Parameter" groups of a data file, registered as symbols: the symbol manager
// holds one link on each.
inline void registerParameters(std::string const& name)
{
    cConfigurationGroup groups;
    cConfigurationReader::read(testData(name), name, groups);
    for (cConfigurationGroup* const group : groups.GetConfigurationGroups())
        new cParameter(group, "");
}
