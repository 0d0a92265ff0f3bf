#include "testing/memory/Memory.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <new>

namespace Testing::Memory {
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

TEST(Memory, OfAnAlignmentIsCountedToo) {
    struct alignas(128) Aligned {
        char bytes[128];
    };
    std::size_t const before = blocks;
    void* const block = ::operator new(sizeof(Aligned), std::align_val_t(alignof(Aligned)));
    EXPECT_EQ(blocks, before + 1);
    ::operator delete(block, std::align_val_t(alignof(Aligned)));
    EXPECT_EQ(blocks, before);
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
}  // namespace Testing::Memory
