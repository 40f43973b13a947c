#include "SimCore/cTestMgrPointOfView.h"

#include "StoreKit/cConfigurationWriter.h"
#include "tests/support/cAlgorithmFixture.h"
#include "tests/support/cParameterHelpers.h"
#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{
class cTestMgrPointOfViewTest : public cAlgorithmFixture
{
protected:
    cTestMgrPointOfViewTest()
    {
        algorithm.loadCriteria("Criterion {\nName = Acc\n}\nCriterion {\nName = Speed\n}\n"
                               "Criterion {\nName = Unshown\n}\n");
        algorithm.loadTimeEvents("Time Event {\nName = Entry\n}\nTime Event {\nName = Fire\n}\n");
    }
    // The view groups of a data file under tests/data/SimCore/tests-list.
    static cConfigurationGroup read(std::string const& name)
    {
        cConfigurationGroup top("Tests List");
        cConfigurationReader::read(testData("SimCore/tests-list/" + name), name, top);
        return top;
    }
    // A view of the algorithm stage, owned by `test`.
    cTestMgrPointOfView* addView(cTestMgr& test)
    {
        auto* const view = new cTestMgrPointOfView(&algorithm, &test);
        test.addPointOfView(view);
        return view;
    }
    // "name:active" for each graph of a criterion or time event, in registration order.
    static std::string registrations(cGraphParameter const* parameter)
    {
        std::string text;
        for (unsigned int i = 0; i < parameter->getGraphList().size(); ++i)
        {
            cGraph const* const graph = parameter->getGraphList()[i];
            text += graph->GetGraphTitle() + ":" + (parameter->getDrawingEnable(graph) ? "1" : "0") + " ";
        }
        return text;
    }
};

// "name|description|algorithm|enabled|graphs|tab colour|tab text colour"
std::string describe(cTestMgrPointOfView const& view)
{
    return view.getName() + "|" + view.getDescription() + "|" + view.getAlgo() + "|" +
           std::to_string(view.getDrawingEnable()) + "|" + std::to_string(view.getNbGraphs()) + "|" +
           std::to_string(view.getTabColor()) + "|" + std::to_string(view.getTabTextColor());
}

std::vector<std::string> names(cTestMgrPointOfView const& view)
{
    std::vector<std::string> shown;
    for (cCriterion const* criterion : view.cCriterionMgr::GetParameters())
        shown.push_back(criterion->getName());
    for (cTimeEvent const* timeEvent : view.cTimeEventMgr::GetParameters())
        shown.push_back(timeEvent->getName());
    return shown;
}
} // namespace

// Two views read in the plain and the description dialects: their graphs with titles, links and
// paths, the criteria and time events they show (each once, linked, still the stage's), and the
// active state of each registration: only "true" exactly is active in the long form, every curve of
// the short form is. The next run puts a series or mark of the crash file on each registered graph.
TEST_F(cTestMgrPointOfViewTest, ATestsListWithTwoViewsBuildsTheirGraphs)
{
    cConfigurationGroup top = read("views.cfg");
    std::vector<cConfigurationGroup*> const groups = top.GetConfigurationGroups();
    cTestMgr test("Crash review");
    cTestMgrPointOfView* const dynamics = addView(test);
    dynamics->setConfiguration(groups[0]);
    cTestMgrPointOfView* const brief = addView(test);
    brief->setConfigurationPrp(groups[1], "Speed at a glance");
    EXPECT_EQ(2u, test.getPointOfViewSize());

    EXPECT_EQ("Dynamics|||1|2|15790320|0", describe(*dynamics));
    EXPECT_EQ("Short|Speed at a glance||1|1|15790320|0", describe(*brief));
    ASSERT_EQ(2u, dynamics->getNbGraphs());
    cGraph* const overTime = dynamics->getGraph(0);
    cGraph* const againstSpeed = dynamics->getGraph(1);
    EXPECT_EQ("Scatter Graph|Front|Dynamics|Over time|Dynamics.Over time|t|g|1",
              overTime->getGraphType() + "|" + overTime->getTestAlgo() + "|" + overTime->getTestName() + "|" +
                  overTime->GetGraphTitle() + "|" + overTime->getPath() + "|" +
                  overTime->GetXAbscissaTitle() + "|" + overTime->GetYAbscissaTitle() + "|" +
                  std::to_string(overTime->isShown()));
    EXPECT_EQ(algorithm.timeEvent("Entry"), overTime->getParameter().referenceTimeEvent);
    EXPECT_EQ(nullptr, overTime->getParameter().abscissaCriterion);
    EXPECT_EQ(&test, overTime->getParameter().test);
    EXPECT_EQ(algorithm.criterion("Speed"), againstSpeed->getParameter().abscissaCriterion);
    EXPECT_EQ((std::vector<std::string>{"Acc", "Speed"}), overTime->getCriterionList());
    EXPECT_EQ((std::vector<std::string>{"Fire", "Entry"}), overTime->getTimeEventList());
    EXPECT_EQ((std::vector<std::string>{"Acc"}), againstSpeed->getCriterionList());
    EXPECT_FALSE(brief->getGraph(0)->isShown()) << "any text but \"show\" hides the graph";
    EXPECT_EQ("cBadListIndex|cTestMgrPointOfView::getGraph|",
              failureOf([&] { dynamics->getGraph(2); }).substr(0, 44));

    EXPECT_EQ((std::vector<std::string>{"Acc", "Speed", "Fire", "Entry"}), names(*dynamics));
    EXPECT_EQ((std::vector<std::string>{"Speed", "Acc"}), names(*brief));
    EXPECT_EQ(3, algorithm.criterion("Acc")->getLinksNumber()) << "the stage's link and one per view";
    EXPECT_EQ("Over time:1 Against speed:0 Speed only:1 ", registrations(algorithm.criterion("Acc")));
    EXPECT_EQ("Over time:0 Against speed:1 Speed only:1 ", registrations(algorithm.criterion("Speed")))
        << "the abscissa registers active; \"TRUE\" is not \"true\"";
    EXPECT_EQ("Over time:1 Against speed:1 ", registrations(algorithm.timeEvent("Fire")));
    EXPECT_EQ("Over time:0 ", registrations(algorithm.timeEvent("Entry")));
    EXPECT_EQ("dynamics/acc|dynamics/fire",
              algorithm.criterion("Acc")->getTestGraphNameMapCrit().at("Dynamics.Over time") + "|" +
                  algorithm.timeEvent("Fire")->getTestGraphNameMap().at("Dynamics.Over time"));

    startGraphRun("", "", "/data/crash_01.csh");
    // Over time: Acc, Speed, Fire, Entry; against speed: Acc and Fire (the abscissa's own curve stays
    // off the graph).
    EXPECT_EQ(4u, overTime->getGraphObjects().size());
    EXPECT_EQ(2u, againstSpeed->getGraphObjects().size());
    test.setCrashColor(true);
    EXPECT_TRUE(overTime->getCrashColor() && brief->getGraph(0)->getCrashColor());
    test.setLegendEnabled(false);
    EXPECT_FALSE(overTime->isLegendEnabled() || brief->getGraph(0)->isLegendEnabled());

    dynamics->clearGraphVector();
    EXPECT_EQ("Speed only:1 ", registrations(algorithm.criterion("Acc"))) << "the graphs left the stage";
    EXPECT_EQ("", registrations(algorithm.timeEvent("Fire")));
}

// A view disabled in the "GVT" dialect loads no graph; its tab colours are read when given. Written
// back, a view's enable state goes to the first following group of its algorithm, and each graph,
// curve and mark states whether it is drawn, a missing graph state being added.
TEST_F(cTestMgrPointOfViewTest, GvtViewsWriteTheirStatesBackIntoTheTestsList)
{
    cConfigurationGroup top = read("gvt.cfg");
    std::vector<cConfigurationGroup*> const groups = top.GetConfigurationGroups();
    cTestMgr test("GVT");
    cTestMgrPointOfView* const off = addView(test);
    off->setConfigurationGVT(groups[0]);
    EXPECT_EQ("Off||Front|0|0|15790320|0", describe(*off));
    cTestMgrPointOfView* const on = addView(test);
    on->setConfigurationGVT(groups[1]);
    EXPECT_EQ("On||Side|1|1|255|65280", describe(*on));

    startGraphRun("", "", "/data/crash_01.csh");
    cGraph* const graph = on->getGraph(0);
    graph->show(false);
    unsigned int cursor = 0;
    for (cGraphObject* object = graph->firstGraphObject(cursor); object != nullptr;
         object = graph->nextGraphObject(cursor))
        object->setToBeDrawn(object->GetLabel() == "Speed");
    off->setDrawingEnable(true);
    on->setDrawingEnable(false);
    test.buildFile_Tests(&top);
    test.buildFile_CriteriaTimeEvents(&top);
    EXPECT_EQ(testData("SimCore/tests-list/gvt-written.cfg"), cConfigurationWriter::write(top, nullptr));
}

// A graph type other than "Scatter Graph" ends the load with the line of its "Type"; the graphs read
// before it stay, and the failed one is on no criterion.
TEST_F(cTestMgrPointOfViewTest, AGraphOfAnUnknownTypeFailsWithItsLine)
{
    cConfigurationGroup top = read("unknown-type.cfg");
    cTestMgr test("T");
    cTestMgrPointOfView* const view = addView(test);
    EXPECT_EQ("cUnknownGraphTypeException|cTestMgrPointOfView::loadGraphs|Unknown graph type.\nError at line "
              "number: 10\n",
              failureOf([&] { view->setConfiguration(top.GetConfigurationGroups()[0]); }));
    EXPECT_EQ(1u, view->getNbGraphs());
    EXPECT_EQ("Good:1 ", registrations(algorithm.criterion("Acc")));
    cConfigurationGroup unknown = readGroup("Name = V\nGraph {\nType = Scatter Graph\nName = G\n"
                                            "Abscissa = Speed\nCriterion = Nothing\n}\n");
    EXPECT_EQ("cBadReference|cBasicParameterMgr::getParameter|Bad reference: Nothing",
              failureOf([&] { view->setConfiguration(&unknown); }).substr(0, 69));
    EXPECT_EQ("", registrations(algorithm.criterion("Speed"))) << "the abscissa let the failed graph go";
}
