#include "BaseKit/cSignalStorage.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

// Owners may hold signals as lists: the copy goes through its base list, and the sanitizer run checks
// that nothing is lost or mismatched on the way out.
TEST(cSignalStorage, CopyAndAssignmentCarryRateAndT0)
{
    cSignalStorage<float> source(10);
    source.setSamplingRate(10000.0f);
    source.setT0(-2500);
    for (float v : {0.0f, 1.5f, -2.0f})
        source.add(v);
    std::unique_ptr<cStorage<float>> const copy = std::make_unique<cSignalStorage<float>>(source);
    cSignalStorage<float> target(100);
    target = source;
    EXPECT_EQ(target.getGrowthStep(), 10u);
    for (cSignalStorage<float> const* signal : {static_cast<cSignalStorage<float>*>(copy.get()), &target})
    {
        EXPECT_EQ(signal->getSamplingRate(), 10000.0f);
        EXPECT_EQ(signal->getT0(), -2500);
        EXPECT_EQ(std::vector<float>(signal->data(), signal->data() + signal->size()),
                  (std::vector<float>{0.0f, 1.5f, -2.0f}));
    }
}
