#include "BaseKit/cSignalStorage.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

TEST(cSignalStorage, CopyAndAssignmentCarryRateAndT0)
{
    cSignalStorage<float> source(10);
    source.setSamplingRate(10000.0f);
    source.setT0(-2500);
    for (float v : {0.0f, 1.5f, -2.0f})
        source.add(v);
    cSignalStorage<float> copy(source);
    cSignalStorage<float> target(100);
    target = source;
    EXPECT_EQ(target.getGrowthStep(), 10u);
    for (cSignalStorage<float> const* signal : {&copy, &target})
    {
        EXPECT_EQ(signal->getSamplingRate(), 10000.0f);
        EXPECT_EQ(signal->getT0(), -2500);
        EXPECT_EQ(std::vector<float>(signal->data(), signal->data() + signal->size()),
                  (std::vector<float>{0.0f, 1.5f, -2.0f}));
    }
}

TEST(cSignalStorage, DeletesThroughItsBaseListAndSpellsItsType)
{
    // Owners may hold signals as lists; the sanitizer run checks nothing is lost or mismatched.
    std::unique_ptr<cStorage<float>> list = std::make_unique<cSignalStorage<float>>(5);
    list->add(1.0f);
    EXPECT_EQ(cStorageTypeName<cSignalStorage<float>*>::get(), "class cSignalStorage<float> *");
}
