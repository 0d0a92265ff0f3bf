#include "Zin/HashIndex.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <stdexcept>
#include <utility>
#include <vector>

#include "TestMemory/TestMemory.h"

namespace Zin {
namespace {

// A segment of 1024 buckets of 64 bytes.
constexpr std::size_t segmentSize = 64 * 1024;
constexpr std::uint32_t placesOfSegment = 7 * 1024;

// An index beside the naive statement: numbers, each with its hash.
class Indexed {
public:
    // The next number. Throws as the index does; then it is in neither.
    void enter(std::uint32_t hash) {
        index.makeRoom(hash, static_cast<std::uint32_t>(naive.size() + 1));
        enterInRoom(hash);
    }
    // Where the index has made room.
    void enterInRoom(std::uint32_t hash) {
        index.enter(hash, ++last);
        naive.emplace(hash, last);
        hashes.push_back(hash);
    }
    void leave(std::multimap<std::uint32_t, Slot>::iterator at) {
        auto const [hash, number] = *at;
        auto const found = find(hash, number);
        ASSERT_EQ(found.slot, number);
        index.leave(hash, found);
        naive.erase(at);
        index.handleLeft(static_cast<std::uint32_t>(naive.size()));
    }
    auto at(Slot number) {
        auto at = naive.lower_bound(hashes[number]);
        while (at->second != number) {
            ++at;
        }
        return at;
    }
    // Some entry, as chance has it.
    auto any(std::mt19937& random) {
        auto const at = naive.lower_bound(static_cast<std::uint32_t>(random()));
        return at == naive.end() ? naive.begin() : at;
    }
    void leaveAllBut(std::size_t left, std::mt19937& random) {
        while (naive.size() > left) {
            leave(any(random));
        }
    }

    HashIndex::Place find(std::uint32_t hash, Slot number) const {
        return index.find(hash, [number](Slot slot) { return slot == number; });
    }
    void expectFindsAll() const {
        for (auto const& [hash, number] : naive) {
            ASSERT_EQ(find(hash, number).slot, number) << "hash " << hash;
        }
        if (!naive.empty()) {
            Slot const none = std::numeric_limits<Slot>::max();
            ASSERT_EQ(find(naive.begin()->first, none).slot, 0u);
        }
    }
    // A scan of all meets each entry once and in its turn.
    void expectScansAll() const {
        std::vector<Slot> met;
        for (std::uint64_t from = 0; from < std::uint64_t{1} << 32;) {
            std::uint64_t const start = from;
            std::size_t const before = met.size();
            from = index.scan(static_cast<std::uint32_t>(start),
                              [&](Slot number) { met.push_back(number); });
            ASSERT_GT(from, start);
            for (std::size_t i = before; i < met.size(); ++i) {
                ASSERT_GE(hashes[met[i]], start);
                ASSERT_LT(hashes[met[i]], from);
            }
        }
        std::vector<Slot> expected;
        for (auto const& [hash, number] : naive) {
            expected.push_back(number);
        }
        std::sort(met.begin(), met.end());
        std::sort(expected.begin(), expected.end());
        ASSERT_EQ(met, expected);
    }

    HashIndex index;
    std::multimap<std::uint32_t, Slot> naive;
    std::vector<std::uint32_t> hashes{0};  // by number
    Slot last = 0;
};

// Hashes of every quality.
struct Good {
    static std::uint32_t hash(std::mt19937& random) { return static_cast<std::uint32_t>(random()); }
};
struct Crowded {  // a handful of homes
    static std::uint32_t hash(std::mt19937& random) { return Good::hash(random) & 0xc0000003; }
};
struct Constant {
    static std::uint32_t hash(std::mt19937&) { return 0x12345678; }
};
struct Last {  // the last home of all: what finds it full goes on to the first
    static std::uint32_t hash(std::mt19937& random) { return Good::hash(random) | 0xfffffff0; }
};

template <class Hashes>
class HashIndexOf : public testing::Test {};
using Qualities = testing::Types<Good, Crowded, Constant, Last>;
TYPED_TEST_SUITE(HashIndexOf, Qualities);

TYPED_TEST(HashIndexOf, FindsAtEveryStepWhatWasEnteredAndHasNotLeft) {
    std::size_t const blocks = TestMemory::blocks;
    std::mt19937 random(1);
    {
        Indexed indexed;
        for (int step = 0; step < 1500; ++step) {
            bool const grows = step / 300 % 2 == 0;
            if (indexed.naive.empty() || random() % 10 < (grows ? 8u : 2u)) {
                indexed.enter(TypeParam::hash(random));
            } else {
                indexed.leave(indexed.any(random));
            }
            indexed.expectFindsAll();
            if (step % 10 == 0 && !indexed.index.empty()) {
                indexed.expectScansAll();
            }
            if (testing::Test::HasFatalFailure()) {
                FAIL() << "step " << step;
            }
        }
    }
    std::size_t const after = TestMemory::blocks;
    EXPECT_EQ(after, blocks);
}

TEST(HashIndex, FindsAllAndScansAllThroughTheGrowthAndShrinkingOfSegments) {
    std::mt19937 random(2);
    Indexed indexed;
    auto const check = [&] {
        if (indexed.naive.size() % 4000 == 0) {
            indexed.expectFindsAll();
            indexed.expectScansAll();
        }
    };
    while (indexed.last < 30'000) {
        indexed.enter(Good::hash(random));
        check();
    }
    while (indexed.naive.size() > 1) {
        indexed.leave(indexed.any(random));
        check();
    }
    indexed.expectFindsAll();
}

// What one change does is not to be seen; but what it makes and releases is.
TEST(HashIndex, NoChangeMakesOrReleasesMoreThanAFewPiecesOfBoundedSize) {
    std::mt19937 random(3);
    Indexed indexed;
    std::vector<std::uint32_t> hashes;
    hashes.reserve(100'000);
    TestMemory::Largest const largest;
    std::size_t segments = 0;
    for (Slot number = 1; number <= 100'000; ++number) {
        hashes.push_back(Good::hash(random));
        std::uint32_t const hash = hashes.back();
        std::size_t const allocations = TestMemory::allocations;
        std::size_t const blocks = TestMemory::blocks;
        indexed.index.makeRoom(hash, number);
        std::size_t const made = TestMemory::allocations - allocations;
        indexed.index.enter(hash, number);
        ASSERT_LE(made, 2u);                                // a table and its first segment
        ASSERT_LE(blocks + made - TestMemory::blocks, 2u);  // the last segment, and the table
        segments += made;
    }
    EXPECT_GT(segments, 32u);
    EXPECT_EQ(largest.size(), segmentSize);

    for (Slot number = 100'000; number > 1; --number) {
        std::uint32_t const hash = hashes[number - 1];
        std::size_t const allocations = TestMemory::allocations;
        std::size_t const blocks = TestMemory::blocks;
        indexed.index.leave(hash, indexed.find(hash, number));
        indexed.index.handleLeft(number - 1);
        std::size_t const made = TestMemory::allocations - allocations;
        ASSERT_LE(made, 2u);
        ASSERT_LE(blocks + made - TestMemory::blocks, 2u);
    }
    EXPECT_EQ(largest.size(), segmentSize);
}

// A change that moves two homes of 4096 needs 512 changes for a segment.
TEST(HashIndex, EachChangeMovesTwoHomesWhileItGrows) {
    std::mt19937 random(4);
    Indexed indexed;
    Slot number = 0;
    auto const enterUntilReleased = [&] {
        for (int changes = 1;; ++changes) {
            std::uint32_t const hash = Good::hash(random);
            std::size_t const before = TestMemory::blocks;
            std::size_t const allocations = TestMemory::allocations;
            indexed.index.makeRoom(hash, ++number);
            bool const released =
                TestMemory::blocks < before + (TestMemory::allocations - allocations);
            indexed.index.enter(hash, number);
            if (released) {
                return changes;
            }
        }
    };
    while (number < 4 * 6144) {
        enterUntilReleased();
    }
    for (int segment = 0; segment < 3; ++segment) {
        EXPECT_EQ(enterUntilReleased(), 512) << segment;
    }
}

// Or else a look-up would for ever go on to where nobody is any more.
TEST(HashIndex, CountsNobodyWhereNobodyHasPassed) {
    Indexed indexed;
    std::uint32_t const hash = 0x12345678;
    while (indexed.last < 40) {
        indexed.enter(hash);
    }
    Slot const first = 1;
    EXPECT_GT(indexed.find(hash, first).bucket->passed, 0u);
    for (Slot number = 2; number <= 40; ++number) {  // nothing moves meanwhile
        indexed.index.leave(hash, indexed.find(hash, number));
    }
    EXPECT_EQ(indexed.find(hash, first).bucket->passed, 0u);
}

TEST(HashIndex, KeepsWhatItHasWhereASegmentIsFull) {
    Indexed indexed;
    std::uint32_t const hash = 0x12345678;
    EXPECT_THROW(
        while (indexed.last < 100'000) { indexed.enter(hash); }, std::length_error);
    EXPECT_EQ(indexed.naive.size(), placesOfSegment);
    for (Slot const number : {1u, 2u, 3000u, placesOfSegment}) {
        EXPECT_EQ(indexed.find(hash, number).slot, number);
    }
    EXPECT_EQ(indexed.find(hash, placesOfSegment + 1).slot, 0u);
    indexed.expectScansAll();

    // There is room in other segments, and in this one for each that leaves.
    indexed.enter(~hash);
    EXPECT_EQ(indexed.find(~hash, indexed.last).slot, indexed.last);
    indexed.leave(indexed.naive.begin());
    indexed.enter(hash);
    EXPECT_EQ(indexed.find(hash, indexed.last).slot, indexed.last);
    EXPECT_THROW(indexed.enter(hash), std::length_error);
}

// More of one segment than it has room for once the index has moved, while others have left.
TEST(HashIndex, StopsMovingWhereASegmentWouldOverflowAndGoesOnLater) {
    std::size_t const blocks = TestMemory::blocks;
    {
        std::mt19937 random(5);
        Indexed indexed;
        while (indexed.last < 50'500) {
            indexed.enter(Good::hash(random));
        }
        while (indexed.last < 58'300) {  // as many of each of two neighbours, of sixteen
            indexed.enter(indexed.last % 2 == 0 ? 0x00000000 : 0x10000000);
        }
        for (Slot number = 1; number <= 50'500; ++number) {
            indexed.leave(indexed.at(number));
        }
        for (int i = 0; i < 300; ++i) {
            indexed.leave(indexed.naive.begin());
            indexed.enter(0xf0000000);
        }
        indexed.expectScansAll();
        for (std::uint32_t const hash : {0x00000000u, 0x10000000u}) {
            auto const [first, end] = indexed.naive.equal_range(hash);
            ASSERT_NE(first, end);
            EXPECT_EQ(indexed.find(hash, first->second).slot, first->second);
            EXPECT_EQ(indexed.find(hash, std::prev(end)->second).slot, std::prev(end)->second);
        }
        while (indexed.naive.size() > 3) {
            indexed.leave(indexed.naive.begin());
        }
        indexed.expectFindsAll();
    }
    std::size_t const after = TestMemory::blocks;
    EXPECT_EQ(after, blocks);
}

// What moves later finds the segment filled by what has come since.
TEST(HashIndex, StopsMovingWhereWhatHasComeTakesTheRoomOfWhatIsToMove) {
    std::mt19937 random(6);
    Indexed indexed;
    std::uint32_t const lastOfSegment = 511u << 21;  // of the first home in the table to come
    while (indexed.last < 5120) {
        indexed.enter(Good::hash(random) | 0x80000000);
    }
    while (indexed.last < 5120 + 7168) {
        indexed.enter(indexed.last < 5120 + 3000 ? 0 : lastOfSegment);
    }
    indexed.enter(0xffffffff);
    for (int i = 0; i < 255; ++i) {
        indexed.enter(0);
    }
    for (int i = 0; i < 600; ++i) {
        indexed.enter(0xf0000000);
    }
    indexed.expectScansAll();
    indexed.leave(indexed.naive.find(0));
}

TEST(HashIndex, FindsAllWhicheverAllocationOfAChangeFails) {
    std::mt19937 random(7);
    Indexed indexed;
    int failures = 0;
    while (indexed.last < 30'000) {
        std::uint32_t const hash = Good::hash(random);
        for (std::size_t allowed = 0;; ++allowed) {
            bool failed = false;
            {
                TestMemory::OneFailure const failure(allowed);
                try {
                    indexed.index.makeRoom(hash, indexed.last + 1);
                } catch (std::bad_alloc const&) {
                    failed = true;
                }
            }
            if (!failed) {
                break;
            }
            ++failures;
            ASSERT_EQ(indexed.index.empty(), indexed.last == 0);
            if (indexed.last > 0) {
                indexed.expectFindsAll();
                indexed.expectScansAll();
            }
        }
        indexed.enterInRoom(hash);
    }
    // Of 14 tables, the segments of those of more than one, and the first one's table and segment.
    EXPECT_GT(failures, 25);
}

TEST(HashIndex, AShrinkThatLacksMemoryGoesOnLater) {
    std::mt19937 random(8);
    Indexed indexed;
    while (indexed.last < 30'000) {
        indexed.enter(Good::hash(random));
    }
    int failures = 0;
    // There is no memory at all for long, and little later on.
    while (indexed.naive.size() > 1000) {
        auto const at = indexed.any(random);
        auto const [hash, number] = *at;
        indexed.index.leave(hash, indexed.find(hash, number));
        indexed.naive.erase(at);
        auto const left = static_cast<std::uint32_t>(indexed.naive.size());
        TestMemory::OneFailure const failure(left > 4000 ? 0 : left % 2);
        indexed.index.handleLeft(left);
        failures += failure.happened();
    }
    EXPECT_GT(failures, 100);
    indexed.expectFindsAll();

    for (int round = 0; round < 8000; ++round) {
        indexed.leave(indexed.any(random));
        indexed.enter(Good::hash(random));
    }
    indexed.expectFindsAll();
    std::size_t const bytes = TestMemory::bytes;
    indexed.index.release();
    EXPECT_LE(bytes - TestMemory::bytes, segmentSize + 100);
}

TEST(HashIndex, GivesAllBackInTheMiddleOfAMoveAndIsUsableThen) {
    std::size_t const blocks = TestMemory::blocks;
    std::mt19937 random(9);
    for (std::uint32_t const number : {1u, 8u, 13u, 6200u, 24'800u}) {
        HashIndex index;
        for (Slot slot = 1; slot <= number; ++slot) {
            std::uint32_t const hash = Good::hash(random);
            index.makeRoom(hash, slot);
            index.enter(hash, slot);
        }
        EXPECT_FALSE(index.empty());
        index.release();
        EXPECT_TRUE(index.empty());
        std::size_t const after = TestMemory::blocks;
        EXPECT_EQ(after, blocks) << number;
        index.makeRoom(5, 1);
        index.enter(5, 7);
        EXPECT_EQ(index.find(5, [](Slot slot) { return slot == 7; }).slot, 7u);
    }
}

// Between the calls of a scan there are so many changes that the index grows and shrinks by many
// segments while it is scanned.
TEST(HashIndex, AScanMeetsOnceWhatStandsThroughoutItsGrowthAndShrinking) {
    for (bool const grows : {true, false}) {
        std::mt19937 random(10);
        Indexed indexed;
        while (indexed.last < (grows ? 12'000u : 60'000u)) {
            indexed.enter(Good::hash(random));
        }
        std::set<Slot> throughout;
        for (auto const& [hash, slot] : indexed.naive) {
            if (slot % 4 == 0) {
                throughout.insert(slot);
            }
        }
        std::vector<std::multimap<std::uint32_t, Slot>::iterator> leaving;
        for (auto at = indexed.naive.begin(); at != indexed.naive.end(); ++at) {
            if (at->second % 4 != 0) {
                leaving.push_back(at);
            }
        }
        std::shuffle(leaving.begin(), leaving.end(), random);
        std::multiset<Slot> met;
        std::uint64_t from = 0;
        int calls = 0;
        while (from < std::uint64_t{1} << 32) {
            ++calls;
            from = indexed.index.scan(static_cast<std::uint32_t>(from),
                                      [&](Slot slot) { met.insert(slot); });
            for (int change = 0; change < 12; ++change) {
                if (grows && indexed.last < 100'000) {
                    indexed.enter(Good::hash(random));
                } else if (!grows && !leaving.empty()) {
                    indexed.leave(leaving.back());
                    leaving.pop_back();
                }
            }
        }
        EXPECT_GT(calls, 1000);
        for (Slot const slot : throughout) {
            ASSERT_EQ(met.count(slot), 1u) << slot;
        }
    }
}

// Two homes become one while a scan has met the first of them.
TEST(HashIndex, AScanGoesOnFromTheMiddleOfAHomeThatWasTwo) {
    std::mt19937 random(11);
    Indexed indexed;
    while (indexed.last < 30'000) {
        indexed.enter(Good::hash(random));
    }
    // Until the index, of 8192 homes, is about to shrink.
    std::size_t const least = 8192 * 6 / 8;
    indexed.leaveAllBut(least, random);
    indexed.enter(100u << 19);
    std::multiset<Slot> met;
    std::uint64_t from = 0;
    auto const scan = [&] {
        std::uint64_t const start = from;
        from = indexed.index.scan(static_cast<std::uint32_t>(from), [&](Slot number) {
            met.insert(number);
            ASSERT_GE(indexed.hashes[number], start);
        });
    };
    for (int home = 0; home < 101; ++home) {
        scan();
    }
    ASSERT_EQ(from, std::uint64_t{101} << 19);
    for (int change = 0; change < 100; ++change) {
        indexed.leave(std::prev(indexed.naive.end()));
    }
    scan();
    ASSERT_EQ(from, std::uint64_t{51} << 20);
    while (from < std::uint64_t{1} << 32) {
        scan();
    }
    for (auto const& [hash, number] : indexed.naive) {
        ASSERT_EQ(met.count(number), 1u);
    }
}

}  // namespace
}  // namespace Zin
