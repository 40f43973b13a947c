#include "SimCore/cDriftParameter.h"

#include "SimCore/cSymbolManager.h"
#include "StoreKit/cConfigurationReader.h"
#include "tests/support/cRecordingSinks.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace
{
typedef std::vector<cDriftParameter*> tElements;

// The globals the elements need, reset when the test ends; elements made later go first.
struct sEnvironment
{
    sEnvironment() { (myActiveSymbolManager = &symbols)->setConfiguration(""); }
    ~sEnvironment() { myActiveSymbolManager = nullptr; }
    cRecordingMessageSink messages;
    cSymbolManager symbols;
};

struct cOpenDriftMgr : cDriftParameterMgr
{
    cOpenDriftMgr() : cDriftParameterMgr("Parameter", "Parameters List") {}
    using cDriftParameterMgr::changeFile, cDriftParameterMgr::endOfIteration, cDriftParameterMgr::reset,
        cDriftParameterMgr::isProcessed, cDriftParameterMgr::getTotalDriftCombinations;

    // One element per name, value and default 1 (0 when float), default range -4 to 40 by 2.
    tElements load(std::vector<std::string> const& names, bool isFloat = false)
    {
        std::string text;
        for (std::string const& name : names)
            text += "Parameter {\nName = " + name + (isFloat ? "\nFloat = 1\nDefault = 0" : "\nDefault = 1") +
                    "\nDefault Maximum Value = 40\nDefault Minimum Value = -4\nStep = 2\n}\n";
        cConfigurationGroup group;
        cConfigurationReader::read(text, "drifts.cfg", group);
        loadParameter(&group, "");
        return tElements(GetParameters().begin(), GetParameters().end());
    }
};

std::vector<double> raws(tElements const& elements)
{
    std::vector<double> values;
    mpf_class value;
    for (cDriftParameter const* p : elements)
        values.push_back((p->getRawValue(value), value.get_d()));
    return values;
}
} // namespace

TEST(cDriftParameterMgr, StridesWalkEveryCombinationLastDriftFastestUntilTheDriftsAreReset)
{
    sEnvironment environment;
    cOpenDriftMgr drifts;
    tElements const p = drifts.load({"A", "B", "C"});
    p[0]->setRawDrift(10, 15, 5, 5, 0);  // points 10 5 15
    p[2]->setRawDrift(10, 30, 0, 10, 0); // points 10 0 20 30
    drifts.reset();
    std::vector<std::vector<double>> const expected = {{10, 1, 10}, {10, 1, 0}, {10, 1, 20}, {10, 1, 30},
                                                       {5, 1, 10},  {5, 1, 0},  {5, 1, 20},  {5, 1, 30},
                                                       {15, 1, 10}, {15, 1, 0}, {15, 1, 20}, {15, 1, 30}};
    for (unsigned int i = 0; i < 12; ++i)
    {
        EXPECT_TRUE(drifts.restoreDriftState(i));
        EXPECT_EQ(expected[i], raws(p)) << "iteration " << i;
    }
    EXPECT_FALSE(drifts.restoreDriftState(12));
    EXPECT_EQ(expected[11], raws(p)) << "a refused iteration changes nothing";
    p[1]->setRawValue(7, false, true);
    drifts.resetAllNominalValues();
    EXPECT_EQ((std::vector<double>{10, 7, 10}), raws(p)) << "only the elements with a drift move";

    // Three drifts: the middle one's stride spans the last one's points.
    p[0]->setRawDrift(0, 5, 0, 5, 0);   // points 0 5
    p[1]->setRawDrift(10, 15, 5, 5, 0); // points 10 5 15
    drifts.reset();
    EXPECT_EQ(24u, drifts.getTotalDriftCombinations());
    EXPECT_TRUE(drifts.restoreDriftState(13));
    EXPECT_EQ((std::vector<double>{5, 10, 0}), raws(p));

    drifts.resetAllDrifts();
    EXPECT_EQ((std::vector<double>{1, 1, 1}), raws(p));
    EXPECT_EQ(40, p[1]->getUsedMaximumValue()) << "the default range is the used one again";
    drifts.reset();
    EXPECT_TRUE(drifts.restoreDriftState(0)) << "no drift: one combination";
    EXPECT_FALSE(drifts.restoreDriftState(1));
}

TEST(cDriftParameterMgr, CurrentModifiedAndSameIterationQueriesAndProcessedMarks)
{
    sEnvironment environment;
    cOpenDriftMgr drifts;
    EXPECT_TRUE(drifts.isProcessed()) << "an empty list is processed";
    tElements const p = drifts.load({"P0", "P1", "P2", "P3"}, true);
    unsigned int n = 99;
    EXPECT_TRUE(drifts.currentDriftsHaveSameNumberOfIterations(n));
    EXPECT_EQ(0u, n);
    p[0]->setRawValue(mpf_class(0.99e-13), false, true);
    p[1]->setRawValue(mpf_class(1e-13), false, true);
    p[2]->setRawValue(mpf_class(-1e-13), false, true);
    cStorage<cDriftParameter*> found;
    drifts.getModifiedDriftParams(found);
    EXPECT_EQ((tElements{p[1], p[2]}), tElements(found.data(), found.data() + found.size()));

    p[1]->setRawDrift(10, 15, 5, 5, 0); // 3 points
    p[3]->setRawDrift(0, 10, 0, 5, 0);  // 3 points
    EXPECT_TRUE(drifts.currentDriftsHaveSameNumberOfIterations(n));
    EXPECT_EQ(3u, n);
    p[2]->setRawDrift(10, 30, 0, 10, 0); // 4 points, between the two
    EXPECT_FALSE(drifts.currentDriftsHaveSameNumberOfIterations(n));
    EXPECT_EQ(3u, n) << "the first drift's count stays";
    found.clear();
    found.add(p[0]);
    drifts.getCurrentDrifts(found); // appends
    EXPECT_EQ((tElements{p[0], p[1], p[2], p[3]}), tElements(found.data(), found.data() + found.size()));

    // The processed marks: cleared on a file change, set at the end of an iteration.
    drifts.endOfIteration();
    EXPECT_TRUE(drifts.isProcessed() && p[0]->isProcessed() && p[3]->isProcessed());
    p[1]->setProcessed(false);
    EXPECT_FALSE(drifts.isProcessed());
    drifts.endOfIteration();
    drifts.changeFile();
    EXPECT_FALSE(drifts.isProcessed() || p[0]->isProcessed() || p[3]->isProcessed());
}
