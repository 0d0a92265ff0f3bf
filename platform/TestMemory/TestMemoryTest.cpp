#include "TestMemory/TestMemory.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <vector>

namespace TestMemory {
namespace {

TEST(Memory, IsCountedFromItsAllocationToItsEnd) {
    std::size_t const allocationsBefore = allocations;
    std::size_t const blocksBefore = blocks;
    std::size_t const bytesBefore = bytes;

    void* const block = ::operator new(100);
    EXPECT_EQ(allocations, allocationsBefore + 1);
    EXPECT_EQ(blocks, blocksBefore + 1);
    EXPECT_GE(bytes, bytesBefore + 100);

    ::operator delete(block);
    EXPECT_EQ(allocations, allocationsBefore + 1);
    EXPECT_EQ(blocks, blocksBefore);
    EXPECT_EQ(bytes, bytesBefore);
}

TEST(Memory, IsCountedInWhicheverWayItIsAskedForAndGivenBack) {
    std::align_val_t const alignment{128};
    std::size_t const before = blocks;
    std::vector<void*> const taken = {::operator new(8),
                                      ::operator new[](8),
                                      ::operator new(8, std::nothrow),
                                      ::operator new[](8, std::nothrow),
                                      ::operator new(8, alignment),
                                      ::operator new[](8, alignment),
                                      ::operator new(8, alignment, std::nothrow),
                                      ::operator new[](8, alignment, std::nothrow)};
    EXPECT_EQ(blocks, before + taken.size() + 1) << "these, and the list of them";

    ::operator delete(taken[0]);
    ::operator delete[](taken[1]);
    ::operator delete(taken[2], std::nothrow);
    ::operator delete[](taken[3], std::nothrow);
    ::operator delete(taken[4], alignment);
    ::operator delete[](taken[5], alignment);
    ::operator delete(taken[6], alignment, std::nothrow);
    ::operator delete[](taken[7], alignment, std::nothrow);
    EXPECT_EQ(blocks, before + 1);
}

TEST(Memory, KnowsTheLargestAllocationSinceItWasAsked) {
    ::operator delete(::operator new(5000));
    Largest const largest;
    EXPECT_EQ(largest.size(), 0u);
    for (std::size_t const size : {100u, 3000u, 200u}) {
        ::operator delete(::operator new(size));
    }
    EXPECT_EQ(largest.size(), 3000u);
}

TEST(Memory, FailsOnceAndWhereItIsToldTo) {
    bool failed[3] = {};
    bool happened = false;
    {
        OneFailure const failure(1);
        for (bool& fails : failed) {
            try {
                ::operator delete(::operator new(1));
            } catch (std::bad_alloc const&) {
                fails = true;
            }
        }
        happened = failure.happened();
    }
    EXPECT_TRUE(happened);
    EXPECT_FALSE(failed[0]);
    EXPECT_TRUE(failed[1]);
    EXPECT_FALSE(failed[2]);
}

TEST(Memory, DoesNotFailBeforeItsTime) {
    bool happened = true;
    {
        OneFailure const failure(2);
        ::operator delete(::operator new(1));
        happened = failure.happened();
    }
    EXPECT_FALSE(happened);
}

}  // namespace
}  // namespace TestMemory
