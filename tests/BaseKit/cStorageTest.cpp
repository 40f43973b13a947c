#include "BaseKit/cStorage.h"

#include "BaseKit/cSignalStorage.h"
#include "BaseKit/mpfClass.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

// Element classes of the system, only declared: lists of pointers never need them complete.
class cChannel;
struct sMergedItem;
enum ETestKind
{
    testKindA
};
struct InformationItem;
template <> struct cStorageTypeName<InformationItem>
{
    static std::string get() { return "struct InformationItem"; }
};

namespace
{
// Keeps a failure asked for by one test from reaching the next one.
struct sAllocationFailureGuard
{
    ~sAllocationFailureGuard() { cStorageAllocator::failNextAllocations(0); }
};

// Appends 0, 10, 20 ... (filled in place: a returned copy would have another capacity).
void fill(cStorage<unsigned int>& list, unsigned int count)
{
    for (unsigned int i = 0; i < count; ++i)
        list.add(10 * i);
}

std::vector<unsigned int> elements(cStorage<unsigned int> const& list)
{
    return std::vector<unsigned int>(list.data(), list.data() + list.size());
}

// The function text of the failure that call must throw from BaseKit/cStorage.
template <class Exception, class Call> std::string failingFunction(Call call)
{
    try
    {
        call();
    }
    catch (Exception const& e)
    {
        EXPECT_EQ(e.getSourceFile(), "BaseKit/cStorage");
        return e.getFunction();
    }
    ADD_FAILURE() << "nothing thrown";
    return std::string();
}
} // namespace

TEST(cStorage, AddGrowsToTheStepThenByIt)
{
    cStorage<unsigned int> list(5);
    EXPECT_EQ(list.getCapacity(), 0u);
    EXPECT_EQ(list.data(), nullptr);
    std::vector<unsigned int> capacities;
    for (unsigned int i = 0; i < 11; ++i)
    {
        list.add(i);
        capacities.push_back(list.getCapacity());
    }
    EXPECT_EQ(capacities, (std::vector<unsigned int>{5, 5, 5, 5, 5, 10, 10, 10, 10, 10, 15}));
    EXPECT_EQ(list[10], 10u);
    EXPECT_EQ(cStorage<double>().getGrowthStep(), 2000u);
    EXPECT_EQ(cStorage<bool>().getElementSize(), 1u);
    EXPECT_EQ(cStorage<cChannel*>().getElementSize(), 8u);

    // A step of 0 cannot make room by itself: the list grows one element at a time.
    cStorage<unsigned int> stepless(0);
    stepless.add(7);
    stepless.add(8);
    EXPECT_EQ(stepless.getCapacity(), 2u);
}

TEST(cStorage, CopyTakesExactlyTheElements)
{
    cStorage<unsigned int> source(7);
    fill(source, 3);
    cStorage<unsigned int> copy(source);
    EXPECT_EQ(copy.getCapacity(), 3u);
    EXPECT_EQ(copy.getGrowthStep(), 7u);
    EXPECT_NE(copy.data(), source.data());
    EXPECT_EQ(elements(copy), (std::vector<unsigned int>{0, 10, 20}));
    // Full and below one step: the next add grows to the step, not by it.
    copy.add(30);
    EXPECT_EQ(copy.getCapacity(), 7u);

    // An emptied list still holds memory; its copy holds none until its first add.
    source.clear();
    cStorage<unsigned int> emptyCopy(source);
    EXPECT_EQ(emptyCopy.data(), nullptr);
    EXPECT_EQ(emptyCopy.getCapacity(), 0u);
    emptyCopy.add(5);
    EXPECT_EQ(emptyCopy.getCapacity(), 7u);
}

TEST(cStorage, AssignmentKeepsALargeEnoughBufferAndTakesTheStep)
{
    cStorage<unsigned int> target(50);
    fill(target, 10);
    unsigned int const* const buffer = target.data();
    cStorage<unsigned int> shorter(4);
    fill(shorter, 3);
    target = shorter;
    EXPECT_EQ(target.data(), buffer);
    EXPECT_EQ(target.getCapacity(), 50u);
    EXPECT_EQ(target.getGrowthStep(), 4u);
    EXPECT_EQ(elements(target), (std::vector<unsigned int>{0, 10, 20}));

    cStorage<unsigned int> longer(100);
    fill(longer, 60);
    target = longer;
    EXPECT_EQ(target.getCapacity(), 60u);
    EXPECT_EQ(target.getGrowthStep(), 100u);
    EXPECT_EQ(elements(target), elements(longer));

    cStorage<unsigned int>& alias = target;
    target = alias;
    EXPECT_EQ(target.getCapacity(), 60u);
    EXPECT_EQ(elements(target), elements(longer));
}

TEST(cStorage, RemoveMovesLaterElementsDownAndChecksTheIndex)
{
    cStorage<unsigned int> list;
    fill(list, 5);
    list.remove(1);
    list.remove(3);
    EXPECT_EQ(elements(list), (std::vector<unsigned int>{0, 20, 30}));
    EXPECT_EQ(failingFunction<cBadListIndex>([&] { list.remove(3); }), "cStorage<unsigned int>::remove");
    EXPECT_EQ(failingFunction<cBadListIndex>([&] { list.at(3); }), "cStorage<unsigned int>::at");
    EXPECT_EQ(list.at(2), 30u);

    unsigned int const* const buffer = list.data();
    list.clear();
    list.add(7);
    EXPECT_EQ(list.data(), buffer);
    EXPECT_EQ(elements(list), (std::vector<unsigned int>{7}));
}

TEST(cStorage, WalkGivesNullBehindTheLastElement)
{
    cChannel* const a = reinterpret_cast<cChannel*>(std::uintptr_t(0x10));
    cChannel* const b = reinterpret_cast<cChannel*>(std::uintptr_t(0x20));
    cStorage<cChannel*> list;
    unsigned int cursor = 77;
    EXPECT_EQ(list.first(cursor), nullptr);
    EXPECT_EQ(cursor, 0u);
    list.add(a);
    list.add(b);
    std::vector<cChannel*> seen;
    for (cChannel* c = list.first(cursor); c != nullptr; c = list.next(cursor))
        seen.push_back(list[cursor]);
    EXPECT_EQ(seen, (std::vector<cChannel*>{a, b}));
    EXPECT_EQ(list.next(cursor), nullptr);
    EXPECT_EQ(cursor, 2u);
}

TEST(cStorage, TypeNamesSpellTheElementTypeInFull)
{
    EXPECT_EQ(cStorageTypeName<unsigned char>::get(), "unsigned char");
    EXPECT_EQ(cStorageTypeName<unsigned long long>::get(), "unsigned __int64");
    EXPECT_EQ(cStorageTypeName<long long>::get(), "__int64");
    EXPECT_EQ(cStorageTypeName<cChannel*>::get(), "class cChannel *");
    EXPECT_EQ(cStorageTypeName<sMergedItem*>::get(), "struct sMergedItem *");
    EXPECT_EQ(cStorageTypeName<mpfClass*>::get(), "class mpfClass *");
    EXPECT_EQ(cStorageTypeName<ETestKind>::get(), "enum ETestKind");
    EXPECT_EQ(cStorageTypeName<InformationItem*>::get(), "struct InformationItem *");
    EXPECT_EQ(cStorageTypeName<cStorage<cSignalStorage<float>*>*>::get(),
              "class cStorage<class cSignalStorage<float> *> *");
    EXPECT_EQ(cStorageTypeName<std::string*>::get(),
              "class std::basic_string<char,struct std::char_traits<char>,class std::allocator<char> > *");
}

TEST(cStorage, GrowthFailureFallsBackToOneElement)
{
    sAllocationFailureGuard const guard;
    cStorage<unsigned int> list(3);
    fill(list, 3);
    cStorageAllocator::failNextAllocations(1);
    list.add(30);
    EXPECT_EQ(cStorageAllocator::pendingFailures(), 0u);
    EXPECT_EQ(list.getCapacity(), 4u);
    EXPECT_EQ(elements(list), (std::vector<unsigned int>{0, 10, 20, 30}));
}

TEST(cStorage, AllocationFailuresLeaveTheListAsItWas)
{
    sAllocationFailureGuard const guard;
    cStorage<unsigned int> list(3);
    fill(list, 3);
    unsigned int const* const buffer = list.data();
    cStorageAllocator::failNextAllocations(2);
    EXPECT_EQ(failingFunction<cMemoryAllocationFailed>([&] { list.add(30); }), "cStorage<unsigned int>::add");
    EXPECT_EQ(list.data(), buffer);
    EXPECT_EQ(list.getCapacity(), 3u);
    EXPECT_EQ(elements(list), (std::vector<unsigned int>{0, 10, 20}));

    cStorage<cChannel*> channels;
    cStorageAllocator::failNextAllocations(2);
    EXPECT_EQ(failingFunction<cMemoryAllocationFailed>([&] { channels.add(nullptr); }),
              "cStorage<class cChannel *>::add");
    EXPECT_EQ(channels.size(), 0u);

    cStorageAllocator::failNextAllocations(1);
    EXPECT_EQ(failingFunction<cMemoryAllocationFailed>([&] { cStorage<unsigned int> copied(list); }),
              "cStorage<unsigned int>::cStorage");

    cStorage<unsigned int> target(2);
    fill(target, 2);
    cStorageAllocator::failNextAllocations(1);
    EXPECT_EQ(failingFunction<cMemoryAllocationFailed>([&] { target = list; }),
              "cStorage<unsigned int>::operator =");
    EXPECT_EQ(elements(target), (std::vector<unsigned int>{0, 10}));
    EXPECT_EQ(target.getGrowthStep(), 2u);
}
