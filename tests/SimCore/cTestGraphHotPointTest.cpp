#include "SimCore/cTestGraphHotPoint.h"

#include "SimCore/cEquation.h"
#include "SimCore/cTestGraphSerie.h"
#include "tests/support/cAlgorithmFixture.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace
{
// Three registered float parameters of the data file, held by the symbol manager (one link each):
// "thr_time" (factor 0.5, raw 10), "thr_level" (factor 0.25, raw 40, raw limits 0 to 200) and
// "thr_enable" (raw 0). A series on a graph whose test decides LSB carries the points under test.
class cTestGraphHotPointTest : public cResultsFixture
{
protected:
    cTestGraphHotPointTest()
    {
        registerParameters("SimCore/results/hot-point-parameters.cfg");
        time = myActiveSymbolManager->getVariablePtr("thr_time");
        level = myActiveSymbolManager->getVariablePtr("thr_level");
        enable = myActiveSymbolManager->getVariablePtr("thr_enable");
        graph.getParameter().test = &test;
        owner.setGraph(&graph);
    }
    // A point read from a "Hot Point" group of this text, owned by the caller.
    static std::unique_ptr<cTestGraphHotPoint> read(std::string const& text)
    {
        cConfigurationGroup group("Hot Point");
        cConfigurationReader::read(text, "criteria.cfg", group);
        return std::make_unique<cTestGraphHotPoint>(&group, 0x0000ff, "Hot Point");
    }
    static double raw(cParameter const* parameter)
    {
        mpf_class value;
        parameter->getRawValue(value);
        return value.get_d();
    }
    static std::pair<float, float> position(cTestGraphHotPoint const* point)
    {
        std::pair<float, float> xy;
        point->getPosition(xy.first, xy.second);
        return xy;
    }

    cParameter* time = nullptr;
    cParameter* level = nullptr;
    cParameter* enable = nullptr;
    cTestMgr test{"Thresholds"};
    cScatterGraph graph;
    cTestGraphSerie owner{eSerieYT};
};

// A parameter that reports its end, to see who deletes it.
class cWatchedParameter : public cParameter
{
public:
    explicit cWatchedParameter(bool& gone) : m_gone(gone) {}
    ~cWatchedParameter() override { m_gone = true; }

private:
    bool& m_gone;
};
} // namespace

TEST_F(cTestGraphHotPointTest, ReadPointHoldsWhileItsConditionIsNotZeroAndGivesItsLinksBack)
{
    ASSERT_EQ(1, time->getLinksNumber());
    {
        std::unique_ptr<cTestGraphHotPoint> const point =
            read("Abscissa = thr_time\nOrdinate = thr_level\nCondition = thr_enable\n");
        EXPECT_EQ(2, time->getLinksNumber());
        EXPECT_EQ(2, level->getLinksNumber());
        EXPECT_EQ(time, point->getAbscissaParameter());
        EXPECT_EQ(level, point->getOrdinateParameter());
        EXPECT_FALSE(point->isConditionTrue());
        enable->setRawValue(mpf_class(-3), /*update=*/false, /*applyLimits=*/false);
        EXPECT_TRUE(point->isConditionTrue()) << "any value but zero holds";
        EXPECT_TRUE(read("Abscissa = thr_time\nOrdinate = thr_level\n")->isConditionTrue())
            << "no condition always holds";
    }
    EXPECT_EQ(1, time->getLinksNumber());
    EXPECT_EQ(1, level->getLinksNumber());

    // The holder of the last link deletes the parameter.
    bool gone = false;
    cParameter* const watched = new cWatchedParameter(gone);
    delete new cTestGraphHotPoint(watched, level, nullptr, 0, "Copy");
    EXPECT_TRUE(gone);
    EXPECT_EQ(1, level->getLinksNumber());
}

// Each group of the input fails as the expected output says, and the links on time and level stay one.
TEST_F(cTestGraphHotPointTest, FailedReadSaysWhyAndLeavesNoLinkBehind)
{
    cConfigurationGroup groups;
    cConfigurationReader::read(testData("SimCore/results/hot-point-failures.cfg"), "criteria.cfg", groups);
    std::string failures;
    for (cConfigurationGroup* const group : groups.GetConfigurationGroups())
    {
        failures += failureOf([&] { cTestGraphHotPoint(group, 0, "Hot Point"); }); // before the counts
        failures += "\nlinks " + std::to_string(time->getLinksNumber()) + " " +
                    std::to_string(level->getLinksNumber()) + "\n";
    }
    EXPECT_EQ(testData("SimCore/results/hot-point-failures-expected.txt"), failures);
}

TEST_F(cTestGraphHotPointTest, PositionAndDragsAreRawUnderLsbExceptForATimeAbscissa)
{
    auto* const point = new cTestGraphHotPoint(time, level, nullptr, 0x0000ff, "Hot Point");
    auto* const timed = new cTestGraphHotPoint(time, level, nullptr, 0x0000ff, "Hot Point");
    timed->setTimeAbscissa(true);
    owner.addHotPoint(point);
    owner.addHotPoint(timed);
    EXPECT_EQ(&owner, point->getOwner());

    // Converted values: 10 * 0.5 and 40 * 0.25.
    EXPECT_EQ(std::make_pair(5.0f, 10.0f), position(point));
    EXPECT_EQ(std::make_pair(5.0f, 10.0f), position(timed));
    std::size_t const before = window.messages().size();
    point->setAbscissa(8.0f);
    point->setOrdinate(20.0f);
    EXPECT_EQ(16.0, raw(time));
    EXPECT_EQ(80.0, raw(level));
    // The host hears of each change (window message 2531).
    auto const sent = window.messages();
    ASSERT_EQ(before + 2, sent.size());
    EXPECT_EQ(2531u, sent[before].message);
    EXPECT_EQ(2531u, sent[before + 1].message);

    test.setLSB(true);
    EXPECT_EQ(std::make_pair(16.0f, 80.0f), position(point));
    EXPECT_EQ(std::make_pair(8.0f, 80.0f), position(timed));
    point->setAbscissa(30.0f);
    EXPECT_EQ(30.0, raw(time));
    timed->setAbscissa(7.0f);
    EXPECT_EQ(14.0, raw(time));
    timed->setOrdinate(50.0f);
    EXPECT_EQ(50.0, raw(level));
    // Drags are held within the parameter's limits.
    point->setOrdinate(500.0f);
    EXPECT_EQ(200.0, raw(level));

    // A point on no series shows converted values.
    cTestGraphHotPoint free(time, level, nullptr, 0, "Free");
    EXPECT_EQ(std::make_pair(7.0f, 50.0f), position(&free));
}
