#include "BaseKit/cSignalStorage.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace
{
std::vector<float> samples(cSignalStorage<float> const& signal)
{
    return std::vector<float>(signal.data(), signal.data() + signal.size());
}
} // namespace

TEST(cSignalStorage, CopyAndAssignmentCarryRateAndT0)
{
    cSignalStorage<float> source(10);
    EXPECT_EQ(source.getSamplingRate(), 0.0f);
    EXPECT_EQ(source.getT0(), 0);
    source.setSamplingRate(10000.0f);
    source.setT0(-2500);
    for (float v : {0.0f, 1.5f, -2.0f})
        source.add(v);

    cSignalStorage<float> const copy(source);
    EXPECT_EQ(copy.getSamplingRate(), 10000.0f);
    EXPECT_EQ(copy.getT0(), -2500);
    EXPECT_EQ(copy.getCapacity(), 3u);
    EXPECT_EQ(samples(copy), samples(source));

    cSignalStorage<float> target(100);
    target.setSamplingRate(2000.0f);
    target.setT0(400);
    for (int i = 0; i < 5; ++i)
        target.add(1.0f);
    target = source;
    EXPECT_EQ(target.getSamplingRate(), 10000.0f);
    EXPECT_EQ(target.getT0(), -2500);
    EXPECT_EQ(target.getCapacity(), 100u);
    EXPECT_EQ(target.getGrowthStep(), 10u);
    EXPECT_EQ(samples(target), (std::vector<float>{0.0f, 1.5f, -2.0f}));
}

TEST(cSignalStorage, DeletesThroughItsBaseList)
{
    // Owners may hold signals as lists; the sanitizer run checks nothing is lost or mismatched.
    std::unique_ptr<cStorage<float>> list = std::make_unique<cSignalStorage<float>>(5);
    list->add(1.0f);
    EXPECT_EQ(list->getCapacity(), 5u);
    EXPECT_EQ(cStorageTypeName<cSignalStorage<float>*>::get(), "class cSignalStorage<float> *");
}
