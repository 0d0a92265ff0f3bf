#include "Zin/RbTreeMap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "TestMemory/TestMemory.h"
#include "Zin/TestLast.h"

namespace Zin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Map = RbTreeMap<int, std::string>;

template <class SomeMap>
std::vector<int> keys(SomeMap& map) {
    std::vector<int> found;
    for (auto const& member : map) {
        found.push_back(member.key);
    }
    return found;
}

std::unique_ptr<Map> mapOf(std::initializer_list<int> numbers) {
    auto map = std::make_unique<Map>();
    for (int const number : numbers) {
        map->emplace(number, std::to_string(number));
    }
    return map;
}

TEST(RbTreeMap, WalksInAscendingOrderOfKeys) {
    auto const map = mapOf({5, 3, 9, 1});
    EXPECT_THAT(keys(*map), ElementsAre(1, 3, 5, 9));
    EXPECT_THAT(keys(std::as_const(*map)), ElementsAre(1, 3, 5, 9));
    EXPECT_EQ(map->size(), 4u);
}

TEST(RbTreeMap, FindsInsertsErasesAndTakes) {
    auto const map = mapOf({1, 2});
    EXPECT_EQ(*map->find(1), "1");
    EXPECT_EQ(std::as_const(*map).find(3), nullptr);
    EXPECT_FALSE(map->emplace(1, "other").inserted);
    EXPECT_EQ(map->emplace(1, "other").value, "1");
    EXPECT_TRUE(map->emplace(0, "0").inserted);
    EXPECT_EQ(map->take(1), "1");
    EXPECT_EQ(map->take(1), "");
    EXPECT_TRUE(map->erase(2));
    EXPECT_FALSE(map->erase(2));
    EXPECT_FALSE(map->contains(2));
    EXPECT_THAT(keys(*map), ElementsAre(0));
}

TEST(RbTreeMap, AWalkGoesOnThoughItsMemberItsNeighboursAndOthersAreErased) {
    auto const map = mapOf({1, 2, 3, 4, 5, 6});
    std::vector<int> walked;
    for (auto const& member : *map) {
        int const key = member.key;
        walked.push_back(key);
        if (key == 3) {
            for (int const gone : {3, 2, 4, 1, 6}) {
                map->erase(gone);
            }
        }
    }
    EXPECT_THAT(walked, ElementsAre(1, 2, 3, 5));
}

TEST(RbTreeMap, AWalkNeverTurnsBackToWhatIsInsertedBeforeIt) {
    auto const map = mapOf({1, 5});
    std::vector<int> walked;
    for (auto const& member : *map) {
        int const key = member.key;
        walked.push_back(key);
        map->erase(key);
        map->emplace(key - 1);
        map->emplace(key);
        if (key == 5) {
            map->emplace(7);
            map->erase(5);
        }
        if (key == 7) {
            break;
        }
    }
    EXPECT_THAT(walked, ElementsAre(1, 5, 7));
}

TEST(RbTreeMap, AWalkDoesNotTurnBackWhenTheMapIsCleared) {
    auto const map = mapOf({1, 4, 5, 9});
    auto inGap = std::next(map->begin());
    auto onMember = std::next(inGap);
    map->erase(4);

    map->clear();
    for (int const key : {2, 5, 7}) {
        map->emplace(key);
    }

    ++onMember;
    EXPECT_EQ(onMember->key, 7);
    ++inGap;
    EXPECT_EQ(inGap->key, 5);
}

TEST(RbTreeMap, ClearingOrDestroyingTheMapPutsWalksAtTheirEnd) {
    auto map = mapOf({1, 2});
    auto walk = map->begin();
    map->clear();
    EXPECT_TRUE(walk == std::default_sentinel);
    map->emplace(7, "7");
    ++walk;
    EXPECT_EQ(walk->key, 7);
    map.reset();
    EXPECT_TRUE(walk == std::default_sentinel);
    ++walk;
    EXPECT_TRUE(walk == std::default_sentinel);
}

TEST(RbTreeMapDeathTest, GoingOnPastTheEndStopsTheProcess) {
    auto const map = mapOf({});
    auto walk = map->begin();
    EXPECT_DEATH(++walk, "past its end");
}

TEST(RbTreeMap, AValueIsOutOfTheMapBeforeItGoes) {
    RbTreeMap<int, Last> map;
    std::vector<int> seen;
    map.emplace(1, last([&] {
                    seen = keys(map);
                    map.emplace(3);
                    map.erase(2);
                }));
    map.emplace(2);
    map.erase(1);
    EXPECT_THAT(seen, ElementsAre(2));
    EXPECT_THAT(keys(map), ElementsAre(3));
}

TEST(RbTreeMap, IsEmptyBeforeTheFirstValueGoesWhichMayDestroyIt) {
    auto map = std::make_unique<RbTreeMap<int, Last>>();
    std::vector<int> seen{1};
    map->emplace(1, last([&] { seen = keys(*map); }));
    map->emplace(2, last([&] { map.reset(); }));
    auto* const itself = map.get();
    itself->clear();
    EXPECT_THAT(seen, IsEmpty());
    EXPECT_EQ(map, nullptr);
}

TEST(RbTreeMap, ClearsInTheOrderOfKeysAndKeepsWhatValuesThatGoInsert) {
    RbTreeMap<int, Last> map;
    std::vector<int> gone;
    for (int const number : {2, 0, 3, 1}) {
        map.emplace(number, last([&, number] {
                        gone.push_back(number);
                        map.emplace(number + 10);
                    }));
    }
    map.clear();
    EXPECT_THAT(gone, ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(keys(map), ElementsAre(10, 11, 12, 13));
}

TEST(RbTreeMap, IsLeftAsItWasByAnAllocationThatFails) {
    Map map;
    std::string const longText(100, 't');
    for (int number = 0; number < 20; ++number) {
        std::vector<int> const before = keys(map);
        bool lacking = true;
        for (std::size_t allowed = 0; lacking; ++allowed) {
            TestMemory::OneFailure const failure(allowed);
            try {
                map.emplace(number, longText);
            } catch (std::bad_alloc const&) {
            }
            lacking = failure.happened();
            ASSERT_EQ(map.contains(number), !lacking);
            ASSERT_EQ(map.size(), before.size() + (lacking ? 0 : 1));
        }
    }
    EXPECT_EQ(map.size(), 20u);
}

TEST(RbTreeMap, AValueForWhichMemoryLacksMayClearTheMap) {
    for (int members = 0; members < 20; ++members) {
        bool lacking = true;
        for (std::size_t allowed = 0; lacking; ++allowed) {
            RbTreeMap<int, Last> map;
            for (int number = 0; number < members; ++number) {
                map.emplace(number);
            }
            Last value = last([&map] { map.clear(); });
            TestMemory::OneFailure const failure(allowed);
            try {
                map.emplace(members, std::move(value));
            } catch (std::bad_alloc const&) {
            }
            lacking = failure.happened();
            value = nullptr;
            ASSERT_EQ(map.contains(members), !lacking);
            ASSERT_EQ(map.size(), lacking ? 0u : static_cast<std::uint32_t>(members) + 1);
        }
    }
}

TEST(RbTreeMap, AWalkStaysOnAMemberThatIsNotErasedForLackOfMemory) {
    RbTreeMap<std::string, int> map;
    std::string const first(100, 'a');
    std::string const second(100, 'b');
    map.emplace(first, 1);
    map.emplace(second, 2);
    auto walk = map.begin();
    std::size_t allowed = 0;
    for (bool lacking = true; lacking; ++allowed) {
        TestMemory::OneFailure const failure(allowed);
        try {
            map.erase(first);
        } catch (std::bad_alloc const&) {
            ASSERT_EQ(walk->key, first);
        }
        lacking = failure.happened();
    }
    EXPECT_GT(allowed, 2u);
    ++walk;
    EXPECT_EQ(walk->key, second);
}

TEST(RbTreeMap, BehavesAsAnOrderedMapDoesUnderChangesAndWalks) {
    struct LiveWalk {
        RbTreeMap<int, int>::Iterator walk;
        int shown;
    };
    std::mt19937 random(2018);
    RbTreeMap<int, int> map;
    std::map<int, int> naive;
    std::vector<LiveWalk> walks;
    for (int step = 0; step < 60'000; ++step) {
        int const key = static_cast<int>(random() % 60);
        switch (random() % 5) {
            case 0:
                ASSERT_EQ(map.emplace(key, step).inserted, naive.emplace(key, step).second);
                break;
            case 1:
                if (int* const value = map.find(key)) {
                    *value = naive.at(key) = step;
                }
                break;
            case 2:
                ASSERT_EQ(map.erase(key), naive.erase(key) > 0);
                break;
            case 3:
                if (!map.empty()) {
                    auto const walk = std::next(map.begin(), random() % map.size());
                    walks.push_back({walk, walk->key});
                }
                break;
            default:
                if (!walks.empty()) {
                    std::size_t const which = random() % walks.size();
                    LiveWalk& live = walks[which];
                    auto const next = naive.upper_bound(live.shown);
                    ++live.walk;
                    if (next == naive.end()) {
                        ASSERT_TRUE(live.walk == map.end());
                        walks.erase(walks.begin() + static_cast<std::ptrdiff_t>(which));
                    } else {
                        ASSERT_EQ(live.walk->key, next->first);
                        ASSERT_EQ(live.walk->value, next->second);
                        live.shown = next->first;
                    }
                }
        }
        ASSERT_EQ(map.size(), naive.size());
    }
}

// Rows that have their keys, with memory of their own.
struct Row {
    std::string key;
    int value = 0;
};
struct KeyOfRow {
    std::string const& operator()(Row const& row) const { return row.key; }
};
using Rows = RbTreeMap<std::string, Row, KeyOfRow>;

std::string longKey(int number) { return std::string(50, 'k') + std::to_string(1000 + number); }

TEST(RbTreeMap, FindsAndOrdersRowsByTheKeysThatTheyHaveWithAndWithoutATree) {
    for (int const number : {1, 15, 16, 17, 18, 40}) {
        Rows rows;
        std::map<std::string, Row*> naive;
        for (int i = 0; i < number; ++i) {
            std::string const key = longKey(i * 7 % number + i / number);
            auto const [row, inserted] = rows.emplace(key, Row{key, i});
            ASSERT_EQ(inserted, naive.emplace(key, &row).second);
        }
        auto const expectSame = [&] {
            auto expected = naive.begin();
            for (auto const& member : rows) {
                ASSERT_NE(expected, naive.end());
                ASSERT_EQ(member.key, expected->first);
                ASSERT_EQ(&member.value, expected->second);
                ASSERT_EQ(rows.find(member.key), expected->second);
                ++expected;
            }
            ASSERT_EQ(expected, naive.end());
            ASSERT_EQ(rows.last() == std::default_sentinel, naive.empty());
        };
        expectSame();
        EXPECT_FALSE(rows.contains("a"));
        EXPECT_FALSE(rows.contains("z"));
        // Back and forth over the number from which on there is a tree.
        for (int round = 0; round < 3; ++round) {
            for (int i = 0; i < number - round; ++i) {
                std::string const key = longKey(i);
                ASSERT_EQ(rows.erase(key), naive.erase(key) > 0);
                expectSame();
            }
            for (int i = number - 1; i >= 0; --i) {
                std::string const key = longKey(i);
                auto const [row, inserted] = rows.emplace(key, Row{key, i});
                ASSERT_EQ(inserted, naive.emplace(key, &row).second);
                expectSame();
            }
        }
    }
}

TEST(RbTreeMap, IsLeftAsItWasWhereMemoryIsLackingForItsTree) {
    std::size_t const blocks = TestMemory::blocks;
    {
        std::array<std::size_t, 20> failures{};
        Rows rows;
        for (int number = 0; number < 20; ++number) {
            std::size_t const inUse = TestMemory::blocks;
            std::string const key = longKey(number * 11 % 20);
            Row const row{key, number};
            std::size_t const inUseWithKey = TestMemory::blocks;
            for (std::size_t allowed = 0;; ++allowed) {
                bool lacking = false;
                {
                    TestMemory::OneFailure const failure(allowed);
                    try {
                        rows.emplace(key, row);
                    } catch (std::bad_alloc const&) {
                    }
                    lacking = failure.happened();
                }
                ASSERT_EQ(rows.contains(key), !lacking);
                if (!lacking) {
                    break;
                }
                ++failures[static_cast<std::size_t>(number)];
                if (number > 8 && number < 16) {
                    ASSERT_EQ(TestMemory::blocks, inUseWithKey);
                }
                for (int before = 0; before < number; ++before) {
                    ASSERT_EQ(rows.find(longKey(before * 11 % 20))->value, before);
                }
            }
            ASSERT_GT(TestMemory::blocks, inUse);
        }
        // The 17th has the tree made: itself, and a place for each of 17 members.
        EXPECT_EQ(failures[15], 1u);
        EXPECT_GT(failures[16], 17u);
        EXPECT_EQ(failures[17], 2u);
        while (!rows.empty()) {
            std::string const key = rows.begin()->key;
            rows.erase(key);
        }
        std::size_t const emptied = TestMemory::blocks;
        EXPECT_EQ(emptied, blocks);
    }
    std::size_t const after = TestMemory::blocks;
    EXPECT_EQ(after, blocks);
}

}  // namespace
}  // namespace Zin
