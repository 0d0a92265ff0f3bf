// HashMap2018 with many members: what one change costs, and what is left when most have gone.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

#include "TestMemory/TestMemory.h"
#include "Zin/HashMap2018.h"
#include "Zin/TestLast.h"
#include "Zin/TestNumber.h"

namespace Zin {
namespace {

// How often keys have been hashed.
int hashed = 0;
struct CountedHash {
    std::uint32_t seed;
    std::uint32_t operator()(TestNumber const& key) const {
        ++hashed;
        return key.hash(seed);
    }
};

// A member that has its key, and has a place in some index.
struct Row {
    TestNumber number;
    int value = 0;
};
struct NumberOfRow {
    TestNumber const& operator()(Row const& row) const { return row.number; }
};
struct Links {
    int previous = 0;
    int next = 0;
};
using Rows = HashMap2018<TestNumber, Row, CountedHash, NumberOfRow, Links>;

std::vector<int> shuffled(int size) {
    std::vector<int> numbers(static_cast<std::size_t>(size));
    std::iota(numbers.begin(), numbers.end(), 0);
    std::mt19937 random(3);
    std::shuffle(numbers.begin(), numbers.end(), random);
    return numbers;
}

TEST(LargeHashMap, MembersKeepTheirAddressAndWhatIsKeptOfThemWhileItGrowsAndIsEmptied) {
    constexpr int size = 50'000;
    std::size_t const blocks = TestMemory::blocks;
    {
        Rows rows(1);
        std::vector<Row*> addresses;
        auto const expectStays = [&](int number) {
            Row const* const row = addresses[static_cast<std::size_t>(number)];
            ASSERT_EQ(rows.find({number}), row);
            ASSERT_EQ(row->number.value, number);
            ASSERT_EQ(rows.keptAt(rows.slotOf({number})).next, number);
        };
        for (int number = 0; number < size; ++number) {
            auto const [slot, inserted] = rows.enter({number}, Row{{number}, number});
            ASSERT_TRUE(inserted);
            addresses.push_back(&rows.valueAt(slot));
            rows.keptAt(slot).next = number;
            expectStays(number / 2);
        }
        for (int number = 0; number < size; ++number) {
            expectStays(number);
        }
        std::vector<int> const order = shuffled(size);
        for (std::size_t i = 0; i < order.size(); ++i) {
            ASSERT_TRUE(rows.erase({order[i]}));
            ASSERT_FALSE(rows.contains({order[i]}));
            if (i + 1 < order.size()) {
                expectStays(order[i + (order.size() - i) / 2]);
                expectStays(order.back());
            }
        }
        EXPECT_TRUE(rows.empty());
        EXPECT_EQ(TestMemory::blocks, blocks + 2) << "of the addresses and of the order";
    }
}

TEST(LargeHashMap, NoChangeHashesManyKeysOrTakesOrReleasesManyBlocks) {
    constexpr int size = 50'000;
    Rows rows(1);
    TestMemory::Largest const largest;
    auto const expectIsSmall = [](auto const& change) {
        std::size_t const blocks = TestMemory::blocks;
        std::size_t const allocations = TestMemory::allocations;
        hashed = 0;
        change();
        std::size_t const made = TestMemory::allocations - allocations;
        // All of the few members that had no index, or the one that changes.
        ASSERT_LE(hashed, 9);
        // Two tables of the index with a segment each, a chunk of members and a table of chunks.
        ASSERT_LE(made, 6u);
        ASSERT_LE(blocks + made - TestMemory::blocks, 6u);
    };
    int several = 0;
    for (int number = 0; number < size; ++number) {
        expectIsSmall([&] { rows.emplace({number}, Row{{number}, number}); });
        several += hashed > 1;
    }
    EXPECT_EQ(several, 1);
    for (int number = size - 1; number > 0; --number) {
        expectIsSmall([&] { rows.erase({number}); });
        several += hashed > 1;
    }
    EXPECT_EQ(several, 1);
    EXPECT_LE(largest.size(), 128u * 1024);
}

TEST(LargeHashMap, GivesMostMemoryBackWhenMostMembersHaveGone) {
    constexpr int size = 300'000;
    std::vector<int> const order = shuffled(size);
    std::size_t const before = TestMemory::bytes;
    Rows rows(1);
    for (int number = 0; number < size; ++number) {
        rows.emplace({number}, Row{{number}, number});
    }
    std::size_t const most = TestMemory::bytes - before;
    for (std::size_t i = 10; i < order.size(); ++i) {
        rows.erase({order[i]});
    }
    EXPECT_EQ(rows.size(), 10u);
    EXPECT_LT(TestMemory::bytes - before, most / 4);

    // What is left of the index goes on to shrink while members come and go.
    for (int round = 0; round < 20'000; ++round) {
        rows.emplace({size + round}, Row{{size + round}, 0});
        rows.erase({size + round});
    }
    // Ten chunks of members, of which each may be the last in its, and a spare one.
    EXPECT_LT(TestMemory::bytes - before, 12 * 129 * 1024u);
    for (std::size_t i = 0; i < 10; ++i) {
        EXPECT_EQ(rows.find({order[i]})->value, order[i]);
    }
}

// Sizes at which an index of several tables is in the middle of its move.
constexpr int inMove[] = {8, 14, 30, 6400, 25'000};

TEST(LargeHashMap, IsClearedInTheMiddleOfAMoveAndUsableThen) {
    for (int const size : inMove) {
        std::size_t const blocks = TestMemory::blocks;
        {
            Rows rows(1);
            for (int round = 0; round < 2; ++round) {
                for (int number = 0; number < size; ++number) {
                    ASSERT_TRUE(rows.emplace({number}, Row{{number}, number}).inserted);
                }
                for (int number = 0; number < size; ++number) {
                    ASSERT_EQ(rows.find({number})->value, number);
                }
                rows.clear();
                ASSERT_FALSE(rows.contains({0}));
                std::size_t const after = TestMemory::blocks;
                ASSERT_EQ(after, blocks) << size;
            }
        }
    }
}

// The value that goes takes others along and brings new ones, while a table of the index moves.
TEST(LargeHashMap, AValueThatGoesMayChangeTheMapInTheMiddleOfAMove) {
    for (int const size : inMove) {
        HashMap2018<TestNumber, Last> map(1);
        auto const fill = [&](int from, int to) {
            for (int number = from; number < to; ++number) {
                map.emplace({number});
            }
        };
        fill(0, size - 1);
        bool whole = false;
        map.emplace({-1}, last([&] {
                        whole = !map.contains({-1}) &&
                                map.size() == static_cast<std::uint32_t>(size - 1);
                        fill(size, 2 * size);
                        for (int number = 0; number < size - 1; ++number) {
                            map.erase(TestNumber{number});
                        }
                    }));
        map.erase(TestNumber{-1});

        EXPECT_TRUE(whole) << size;
        EXPECT_EQ(map.size(), static_cast<std::uint32_t>(size));
        std::vector<int> expected(static_cast<std::size_t>(size));
        std::iota(expected.begin(), expected.end(), size);
        EXPECT_EQ(keys(map), expected);
        for (int number = 0; number < 2 * size; ++number) {
            ASSERT_EQ(map.contains({number}), number >= size) << size;
        }
    }
}

}  // namespace
}  // namespace Zin
