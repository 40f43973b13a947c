#include "SimCore/cDriftParameter.h"

#include "tests/support/cParameterHelpers.h"
#include "tests/support/cSimCoreFixture.h"

#include <gtest/gtest.h>

namespace
{
using tElements = std::vector<cDriftParameter*>;
using tValues = std::vector<double>;
using cDriftParameterMgrTest = cSimCoreFixture;
} // namespace

TEST_F(cDriftParameterMgrTest, StridesWalkEveryCombinationLastDriftFastestUntilTheDriftsAreReset)
{
    cTestDriftList drifts;
    tElements const p = drifts.load({"A", "B", "C"}, "Default = 1\n");
    p[0]->setRawDrift(10, 15, 5, 5, 0);  // points 10 5 15
    p[2]->setRawDrift(10, 30, 0, 10, 0); // points 10 0 20 30
    drifts.reset();
    for (unsigned int i = 0; i < 12; ++i)
    {
        EXPECT_TRUE(drifts.restoreDriftState(i));
        EXPECT_EQ((tValues{tValues{10, 5, 15}[i / 4], 1, tValues{10, 0, 20, 30}[i % 4]}), rawsOf(p)) << i;
    }
    EXPECT_FALSE(drifts.restoreDriftState(12));
    EXPECT_EQ((tValues{15, 1, 30}), rawsOf(p)) << "a refused iteration changes nothing";
    p[1]->setRawValue(7, /*update=*/false, /*applyLimits=*/true);
    drifts.resetAllNominalValues();
    EXPECT_EQ((tValues{10, 7, 10}), rawsOf(p)) << "only the elements with a drift move";

    // Three drifts: the middle one's stride spans the last one's points.
    p[0]->setRawDrift(0, 5, 0, 5, 0);   // points 0 5
    p[1]->setRawDrift(10, 15, 5, 5, 0); // points 10 5 15
    drifts.reset();
    EXPECT_EQ(24u, drifts.getTotalDriftCombinations());
    EXPECT_TRUE(drifts.restoreDriftState(13));
    EXPECT_EQ((tValues{5, 10, 0}), rawsOf(p));

    drifts.resetAllDrifts();
    EXPECT_EQ((tValues{1, 1, 1}), rawsOf(p));
    EXPECT_EQ(40, p[1]->getUsedMaximumValue()) << "the default range is the used one again";
    drifts.reset();
    EXPECT_TRUE(drifts.restoreDriftState(0)) << "no drift: one combination";
    EXPECT_FALSE(drifts.restoreDriftState(1));
}

TEST_F(cDriftParameterMgrTest, CurrentModifiedAndSameIterationQueriesAndProcessedMarks)
{
    cTestDriftList drifts;
    EXPECT_TRUE(drifts.isProcessed()) << "an empty list is processed";
    tElements const p = drifts.load({"P0", "P1", "P2", "P3"}, "Float = 1\nDefault = 0\n");
    unsigned int n = 99;
    EXPECT_TRUE(drifts.currentDriftsHaveSameNumberOfIterations(n));
    EXPECT_EQ(0u, n);
    // Modified means at least 1e-13 away from the default.
    p[0]->setRawValue(mpf_class(0.99e-13), /*update=*/false, /*applyLimits=*/true);
    p[1]->setRawValue(mpf_class(1e-13), /*update=*/false, /*applyLimits=*/true);
    p[2]->setRawValue(mpf_class(-1e-13), /*update=*/false, /*applyLimits=*/true);
    cStorage<cDriftParameter*> found;
    drifts.getModifiedDriftParams(found);
    EXPECT_EQ((tElements{p[1], p[2]}), toVector(found));

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
    EXPECT_EQ((tElements{p[0], p[1], p[2], p[3]}), toVector(found));
    // A file change clears every processed mark; the stage's own changeFile does not come here.
    drifts.endOfIteration();
    EXPECT_TRUE(drifts.isProcessed());
    drifts.changeFile();
    EXPECT_FALSE(drifts.isProcessed() || p[0]->isProcessed() || p[3]->isProcessed());
}
