#include "Zin/Slots.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include "TestMemory/TestMemory.h"

namespace Zin {
namespace {

using testing::ElementsAre;

template <std::size_t Size, std::size_t Alignment = 4>
struct alignas(Alignment) Bytes {
    std::array<std::byte, Size> bytes;
};

// Small and large items, of which a chunk has most and fewest; and sizes that are no power of two.
template <class Item>
class SlotsOf : public testing::Test {
public:
    // Fills all of the item with what its number says.
    static void mark(Slots<Item> const& slots, Slot slot) {
        std::memset(&slots[slot], static_cast<int>(slot * 31 % 251), sizeof(Item));
    }
    static bool isMarked(Slots<Item> const& slots, Slot slot) {
        auto const expected = static_cast<std::byte>(slot * 31 % 251);
        auto const& bytes = slots[slot].bytes;
        return std::all_of(bytes.begin(), bytes.end(),
                           [expected](std::byte byte) { return byte == expected; });
    }
};
using Items = testing::Types<Bytes<4>, Bytes<12>, Bytes<40, 8>, Bytes<48, 16>, Bytes<2500>>;
TYPED_TEST_SUITE(SlotsOf, Items);

TYPED_TEST(SlotsOf, PlacesAreApartAndAlignedAndStayWhereTheyAre) {
    unsigned const number = sizeof(TypeParam) > 1000 ? 2000 : 20'000;
    Slots<TypeParam> slots;
    std::map<Slot, TypeParam*> addresses;
    for (unsigned i = 0; i < number; ++i) {
        Slot const slot = slots.take();
        ASSERT_NE(slot, 0u);
        ASSERT_TRUE(addresses.emplace(slot, &slots[slot]).second) << slot;
        ASSERT_EQ(reinterpret_cast<std::uintptr_t>(&slots[slot]) % alignof(TypeParam), 0u);
        this->mark(slots, slot);
    }
    Slot const last = addresses.rbegin()->first;

    std::vector<Slot> order;
    for (auto const& [slot, address] : addresses) {
        ASSERT_EQ(&slots[slot], address);
        ASSERT_TRUE(this->isMarked(slots, slot)) << slot;
        order.push_back(slot);
    }
    std::mt19937 random(1);
    std::shuffle(order.begin(), order.end(), random);
    std::vector<Slot> const given(order.begin() + number / 4, order.end());
    for (Slot const slot : given) {
        slots.give(slot);
        addresses.erase(slot);
    }
    for (auto const& [slot, address] : addresses) {
        ASSERT_EQ(&slots[slot], address);
        ASSERT_TRUE(this->isMarked(slots, slot)) << slot;
    }

    // As many again have the numbers of those that went.
    for (std::size_t i = 0; i < given.size(); ++i) {
        Slot const slot = slots.take();
        ASSERT_LE(slot, last);
        ASSERT_TRUE(addresses.emplace(slot, &slots[slot]).second) << slot;
        this->mark(slots, slot);
    }
    for (auto const& [slot, address] : addresses) {
        ASSERT_EQ(&slots[slot], address);
        ASSERT_TRUE(this->isMarked(slots, slot)) << slot;
    }
}

TYPED_TEST(SlotsOf, TakesMemoryInPiecesOfBoundedSizeAndGivesAllOfItBack) {
    std::size_t const blocks = TestMemory::blocks;
    std::size_t const least = std::min<std::size_t>(64 * 1024, 4096 * sizeof(TypeParam));
    std::size_t const most = std::max<std::size_t>(128 * 1024, 16 * sizeof(TypeParam)) + 64;
    unsigned const number = sizeof(TypeParam) > 1000 ? 20'000 : 300'000;
    Slots<TypeParam> slots;
    TestMemory::Largest const largest;
    for (unsigned i = 0; i < number; ++i) {
        slots.take();
    }
    EXPECT_GE(largest.size(), least);
    EXPECT_LE(largest.size(), most);
    slots.release();
    EXPECT_EQ(TestMemory::blocks, blocks);
}

// A kind of item of which a chunk has 2048 at most.
using Item = Bytes<40, 8>;
constexpr unsigned perChunk = 2048;

std::vector<Slot> take(Slots<Item>& slots, unsigned number) {
    std::vector<Slot> taken;
    for (unsigned i = 0; i < number; ++i) {
        taken.push_back(slots.take());
    }
    return taken;
}
std::vector<Slot> sorted(std::vector<Slot> slots) {
    std::sort(slots.begin(), slots.end());
    return slots;
}

// Takes as many places again and again, and gives them back; how much memory that took.
std::size_t allocationsOfComingAndGoing(Slots<Item>& slots, unsigned number) {
    std::vector<Slot> taken(number);
    std::size_t const before = TestMemory::allocations;
    for (int round = 0; round < 10; ++round) {
        for (Slot& slot : taken) {
            slot = slots.take();
        }
        for (Slot const slot : taken) {
            slots.give(slot);
        }
    }
    return TestMemory::allocations - before;
}
void give(Slots<Item>& slots, std::vector<Slot> const& taken) {
    for (Slot const slot : taken) {
        slots.give(slot);
    }
}

TEST(Slots, MakesTwoPlacesAtFirstAndEverMoreUpToABound) {
    Slots<Item> slots;
    std::vector<unsigned> whenMade;
    for (unsigned taken = 0; taken < 3 * perChunk; ++taken) {
        std::size_t const before = TestMemory::allocations;
        slots.take();
        if (TestMemory::allocations != before) {
            whenMade.push_back(taken);
        }
    }
    EXPECT_THAT(whenMade, ElementsAre(0, 2, 8, 16, 32, 64, 128, 256, 512, 1024, 2048, 4096));
}

TEST(Slots, OwnsNoMemoryUntilAPlaceIsTakenAndAfterItsRelease) {
    std::size_t const blocks = TestMemory::blocks;
    Slots<Item> slots;
    slots.release();
    EXPECT_EQ(TestMemory::blocks, blocks);

    slots.take();
    EXPECT_GT(TestMemory::blocks, blocks);
    slots.release();
    EXPECT_EQ(TestMemory::blocks, blocks);

    EXPECT_NE(slots.take(), 0u);
}

TEST(Slots, OwnsNoMemoryWhenTheLastOfMoreThanAFewHasGone) {
    std::size_t const blocks = TestMemory::blocks;
    Slots<Item> slots;
    for (unsigned const number : {9u, 100u, 5 * perChunk}) {
        give(slots, take(slots, number));
        EXPECT_EQ(TestMemory::blocks, blocks) << number;
    }
}

TEST(Slots, KeepsTheMemoryOfAFewThatComeAndGo) {
    Slots<Item> slots;
    for (unsigned const number : {1u, 2u, 3u, 8u}) {
        give(slots, take(slots, number));
        EXPECT_EQ(allocationsOfComingAndGoing(slots, number), 0u) << number;
    }
}

TEST(Slots, KeepsOneChunkWithoutItemsAndReleasesOthers) {
    Slots<Item> slots;
    take(slots, perChunk);
    std::vector<std::vector<Slot>> chunks;
    for (int i = 0; i < 4; ++i) {
        chunks.push_back(take(slots, perChunk));
    }
    std::vector<std::size_t> released;
    std::size_t blocks = TestMemory::blocks;
    for (std::size_t const chunk : {1u, 3u, 0u}) {
        for (Slot const slot : chunks[chunk]) {
            EXPECT_EQ(TestMemory::blocks, blocks);
            slots.give(slot);
        }
        released.push_back(blocks - TestMemory::blocks);
        blocks = TestMemory::blocks;
    }
    EXPECT_THAT(released, ElementsAre(0u, 1u, 1u));

    // Those that come next stand in the chunk that was kept, and then in the places of the others.
    EXPECT_EQ(allocationsOfComingAndGoing(slots, perChunk), 0u);
    EXPECT_EQ(sorted(take(slots, perChunk)), sorted(chunks[1]));
    std::vector<Slot> others = chunks[0];
    others.insert(others.end(), chunks[3].begin(), chunks[3].end());
    EXPECT_EQ(sorted(take(slots, 2 * perChunk)), sorted(others));
}

TEST(Slots, TakesNoMemoryAgainAndAgainAtTheEdgeOfAChunk) {
    for (unsigned const edge : {8u, 16u, 32u, 256u, perChunk, 2 * perChunk, 5 * perChunk}) {
        Slots<Item> slots;
        take(slots, edge);
        slots.give(slots.take());
        EXPECT_EQ(allocationsOfComingAndGoing(slots, 2), 0u) << edge;
    }
}

TEST(Slots, AnotherTakesOverItsItems) {
    std::size_t const blocks = TestMemory::blocks;
    {
        Slots<Item> slots;
        std::vector<Slot> const taken = take(slots, 1000);
        std::vector<Item*> addresses;
        for (Slot const slot : taken) {
            addresses.push_back(&slots[slot]);
        }
        Slots<Item> other = std::exchange(slots, {});
        for (std::size_t i = 0; i < taken.size(); ++i) {
            ASSERT_EQ(&other[taken[i]], addresses[i]);
        }
        slots.take();
        give(other, taken);
    }
    EXPECT_EQ(TestMemory::blocks, blocks);
}

TEST(Slots, AnotherTakesOverTheChunkThatIsKept) {
    Slots<Item> slots;
    take(slots, perChunk);
    std::vector<Slot> const second = take(slots, perChunk);
    give(slots, take(slots, perChunk));
    Slots<Item> other = std::exchange(slots, {});
    std::size_t const blocks = TestMemory::blocks;
    give(other, second);
    EXPECT_EQ(TestMemory::blocks, blocks - 1);
}

TEST(Slots, AreLeftAsTheyWereByAnAllocationThatFails) {
    Slots<Item> slots;
    int failures = 0;
    std::set<Slot> taken;
    for (unsigned number = 0; number < 3 * perChunk; ++number) {
        for (std::size_t allowed = 0;; ++allowed) {
            bool failed = false;
            Slot slot = 0;
            {
                TestMemory::OneFailure const failure(allowed);
                try {
                    slot = slots.take();
                } catch (std::bad_alloc const&) {
                    failed = true;
                }
            }
            if (!failed) {
                SlotsOf<Item>::mark(slots, slot);
                ASSERT_TRUE(taken.insert(slot).second);
                break;
            }
            ++failures;
            for (Slot const other : taken) {
                ASSERT_TRUE(SlotsOf<Item>::isMarked(slots, other));
            }
        }
    }
    // Of the chunks, and of the tables of 2, 4, 8 and 16 of them.
    EXPECT_EQ(failures, 12 + 4);
}

// The naive statement: what is taken is a set of numbers, each with an address of its own.
TEST(Slots, BehaveAsASetOfNumbersDoesUnderChanges) {
    std::size_t const blocks = TestMemory::blocks;
    for (unsigned seed = 0; seed < 5; ++seed) {
        std::mt19937 random(seed);
        Slots<Item> slots;
        std::vector<std::pair<Slot, Item*>> naive;
        std::set<Slot> taken;
        std::size_t most = 0;
        Slot greatest = 0;
        for (int step = 0; step < 60'000; ++step) {
            bool const grows = step / 6'000 % 2 == 0;
            if (naive.empty() || random() % 10 < (grows ? 7u : 3u)) {
                Slot const slot = slots.take();
                ASSERT_NE(slot, 0u);
                ASSERT_TRUE(taken.insert(slot).second) << "step " << step;
                SlotsOf<Item>::mark(slots, slot);
                naive.emplace_back(slot, &slots[slot]);
                most = std::max(most, naive.size());
                greatest = std::max(greatest, slot);
            } else {
                std::swap(naive[random() % naive.size()], naive.back());
                auto const [slot, address] = naive.back();
                ASSERT_EQ(&slots[slot], address);
                ASSERT_TRUE(SlotsOf<Item>::isMarked(slots, slot)) << "step " << step;
                naive.pop_back();
                taken.erase(slot);
                slots.give(slot);
            }
        }
        EXPECT_LE(greatest, most + perChunk);
        while (!naive.empty()) {
            slots.give(naive.back().first);
            naive.pop_back();
        }
    }
    EXPECT_EQ(TestMemory::blocks, blocks);
}

}  // namespace
}  // namespace Zin
