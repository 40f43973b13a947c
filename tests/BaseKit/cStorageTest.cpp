#include "BaseKit/cStorage.h"

#include "BaseKit/cSignalStorage.h"

#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <tuple>
#include <vector>

// Element classes of the system, only declared: lists of pointers never need them complete.
class cChannel;
class mpfClass;
struct sMergedItem;
enum ETestKind : int;
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
} // namespace

TEST(cStorage, AddGrowsToTheStepThenByItOrByOneElementWhenMemoryIsShort)
{
    sAllocationFailureGuard const guard;
    cStorage<unsigned int> list(5);
    std::vector<unsigned int> capacities;
    for (unsigned int i = 0; i < 16; ++i)
    {
        // The last add finds no memory for a whole step.
        if (i == 15)
            cStorageAllocator::failNextAllocations(1);
        list.add(10 * i);
        capacities.push_back(list.getCapacity());
    }
    EXPECT_EQ(capacities,
              (std::vector<unsigned int>{5, 5, 5, 5, 5, 10, 10, 10, 10, 10, 15, 15, 15, 15, 15, 16}));
    EXPECT_EQ(list[15], 150u);

    // A step of 0 cannot make room by itself: the list grows one element at a time.
    cStorage<unsigned int> stepless(0);
    stepless.add(7);
    stepless.add(8);
    EXPECT_EQ(stepless.getCapacity(), 2u);

    // reserve grows in one step and never shrinks; the elements stay.
    stepless.reserve(40);
    EXPECT_EQ(stepless.getCapacity(), 40u);
    stepless.reserve(3);
    EXPECT_EQ(stepless.getCapacity(), 40u);
    EXPECT_EQ(elements(stepless), (std::vector<unsigned int>{7, 8}));
}

TEST(cStorage, AddUninitialisedAndAddCopiesAppendInOneStepGrowingToTheExactCount)
{
    cStorage<unsigned int> list(5);
    // Nothing to append on a list without memory takes none.
    EXPECT_EQ(list.addUninitialised(0), nullptr);
    list.addCopies(0, 1);
    EXPECT_EQ(list.getCapacity(), 0u);
    EXPECT_TRUE(list.empty());

    fill(list, 3);
    list.addCopies(2, 7);
    EXPECT_EQ(list.getCapacity(), 5u);
    unsigned int* const first = list.addUninitialised(4);
    EXPECT_EQ(first, list.data() + 5);
    for (unsigned int i = 0; i < 4; ++i)
        first[i] = 100 + i;
    // 9 elements, not the 10 of a growth step; the next add grows by the step again.
    EXPECT_EQ(list.getCapacity(), 9u);
    list.add(1);
    EXPECT_EQ(list.getCapacity(), 14u);
    EXPECT_EQ(elements(list), (std::vector<unsigned int>{0, 10, 20, 7, 7, 100, 101, 102, 103, 1}));
}

TEST(cStorage, CopyTakesExactlyTheElementsAndAssignmentKeepsALargeEnoughBuffer)
{
    cStorage<unsigned int> source(7);
    fill(source, 3);
    cStorage<unsigned int> copy(source);
    EXPECT_EQ(copy.getCapacity(), 3u);
    EXPECT_EQ(elements(copy), (std::vector<unsigned int>{0, 10, 20}));
    // Full and below one step: the next add grows to the step, not by it.
    copy.add(30);
    EXPECT_EQ(copy.getCapacity(), 7u);
    // An emptied list still holds memory; its copy holds none.
    source.clear();
    EXPECT_EQ(cStorage<unsigned int>(source).data(), nullptr);

    // Assignment reuses a buffer that is large enough, else takes exactly the elements; the step comes along.
    cStorage<unsigned int> target(50);
    fill(target, 10);
    target = copy;
    EXPECT_EQ(target.getCapacity(), 50u);
    EXPECT_EQ(target.getGrowthStep(), 7u);
    EXPECT_EQ(elements(target), (std::vector<unsigned int>{0, 10, 20, 30}));
    cStorage<unsigned int> longer(100);
    fill(longer, 60);
    target = longer;
    EXPECT_EQ(target.getCapacity(), 60u);
    EXPECT_EQ(target.getGrowthStep(), 100u);
    EXPECT_EQ(elements(target), elements(longer));
    cStorage<unsigned int>& alias = target;
    target = alias;
    EXPECT_EQ(elements(target), elements(longer));
}

TEST(cStorage, RemoveAndAtCheckTheIndexAndClearKeepsTheMemory)
{
    cStorage<unsigned int> list;
    fill(list, 5);
    list.remove(1);
    list.remove(3);
    EXPECT_EQ(elements(list), (std::vector<unsigned int>{0, 20, 30}));
    EXPECT_EQ(list.at(2), 30u);
    EXPECT_EQ(failureWithSourceOf([&] { list.remove(3); }),
              "BaseKit/cStorage|cBadListIndex|cStorage<unsigned int>::remove|List index out of range.");
    EXPECT_EQ(failureWithSourceOf([&] { list.at(3); }),
              "BaseKit/cStorage|cBadListIndex|cStorage<unsigned int>::at|List index out of range.");

    // 2000 is the default growth step.
    list.clear();
    EXPECT_EQ(list.getCapacity(), 2000u);
    list.add(7);
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
    EXPECT_EQ(list.first(cursor), a);
    EXPECT_EQ(list.next(cursor), b);
    EXPECT_EQ(cursor, 1u);
    // The cursor stays behind the last element.
    EXPECT_EQ(list.next(cursor), nullptr);
    EXPECT_EQ(list.next(cursor), nullptr);
    EXPECT_EQ(cursor, 2u);
}

TEST(cStorage, TypeNamesSpellTheElementTypeInFull)
{
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

TEST(cStorage, AllocationFailuresLeaveTheListAsItWas)
{
    sAllocationFailureGuard const guard;
    cStorage<unsigned int> list(3), target(2);
    fill(list, 3);
    fill(target, 2);
    cStorage<cChannel*> channels;
    // An add fails when neither a whole step nor one element can be had.
    using sCase = std::tuple<unsigned int, std::function<void()>, char const*>;
    for (auto const& [failures, call, text] :
         {sCase{2, [&] { list.add(30); }, "cStorage<unsigned int>::add"},
          sCase{2, [&] { channels.add(nullptr); }, "cStorage<class cChannel *>::add"},
          sCase{1, [&] { cStorage<unsigned int> copied(list); }, "cStorage<unsigned int>::cStorage"},
          sCase{1, [&] { target = list; }, "cStorage<unsigned int>::operator ="},
          sCase{1, [&] { list.reserve(100); }, "cStorage<unsigned int>::reserve"},
          sCase{1, [&] { list.addUninitialised(100); }, "cStorage<unsigned int>::addUninitialised"},
          sCase{1, [&] { list.addCopies(100, 5); }, "cStorage<unsigned int>::addCopies"},
          // A count past the 32-bit range fails without asking for memory.
          sCase{0, [&] { list.addUninitialised(0xFFFFFFFDu); }, "cStorage<unsigned int>::addUninitialised"}})
    {
        cStorageAllocator::failNextAllocations(failures);
        EXPECT_EQ(failureWithSourceOf(call), std::string("BaseKit/cStorage|cMemoryAllocationFailed|") + text +
                                                 "|Memory allocation failed.");
    }
    EXPECT_EQ(list.getCapacity(), 3u);
    EXPECT_EQ(elements(list), (std::vector<unsigned int>{0, 10, 20}));
    EXPECT_TRUE(channels.empty());
    EXPECT_EQ(elements(target), (std::vector<unsigned int>{0, 10}));
    EXPECT_EQ(target.getGrowthStep(), 2u);
}
