#include "SimCore/cUnit.h"

#include "tests/support/cPipelineFixture.h"

#include <gtest/gtest.h>

namespace
{
using cUnitTest = cPipelineFixture;
} // namespace

TEST_F(cUnitTest, Smoke)
{
    openProject();
    cKynFile* const file = addCrash("crash.csh");
    runFile(file);
    EXPECT_EQ(1u, myActiveUnit->getFileIteration());
    EXPECT_EQ((std::vector<float>{0, -2, -8, -20, -12, -4}),
              samples(*myActiveUnit->getOutputStorage(channels()[0])));
    EXPECT_EQ((std::vector<float>{0, 1, 3, 50, -2, 0}),
              samples(*myActiveUnit->getOutputStorage(channels()[1])));
}
