#include "Zin/HashMap2018.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "TestMemory/TestMemory.h"
#include "Zin/Hash.h"
#include "Zin/TestLast.h"
#include "Zin/TestNumber.h"

namespace Zin {
namespace {

struct Scanned {
    int value;
    std::uint32_t hash(std::uint32_t seed) const {
        return (static_cast<std::uint32_t>(value) * 2654435761U) ^ seed;
    }
    friend bool operator==(Scanned const&, Scanned const&) = default;
};

using testing::ElementsAre;
using testing::IsEmpty;

using Map = HashMap2018<TestNumber, std::string>;
using Set = HashSet2018<TestNumber>;

using LastMap = HashMap2018<TestNumber, Last>;

std::unique_ptr<Map> mapOf(std::initializer_list<int> numbers) {
    auto map = std::make_unique<Map>(1);
    for (int const number : numbers) {
        map->emplace({number}, std::to_string(number));
    }
    return map;
}

TEST(HashMap2018, FindsWhatWasInsertedAndNothingElse) {
    Map map(1);
    EXPECT_EQ(map.find({1}), nullptr);

    auto const [value, inserted] = map.emplace({1}, "one");

    EXPECT_TRUE(inserted);
    EXPECT_EQ(map.find({1}), &value);
    EXPECT_EQ(*map.find({1}), "one");
    EXPECT_TRUE(map.contains({1}));
    EXPECT_FALSE(map.contains({2}));
    EXPECT_EQ(map.size(), 1u);
}

TEST(HashMap2018, EmplacingUnderAnOldKeyFindsTheOldValue) {
    auto const map = mapOf({1});
    auto const [value, inserted] = map->emplace({1}, "other");
    EXPECT_FALSE(inserted);
    EXPECT_EQ(value, "1");
}

TEST(HashMap2018, WalksInTheOrderOfInsertionAndMovesWhatComesBackToTheEnd) {
    auto const map = mapOf({5, 3, 9, 1});
    EXPECT_TRUE(map->erase({3}));
    EXPECT_FALSE(map->erase({3}));
    map->emplace({3}, "3");
    EXPECT_THAT(keys(*map), ElementsAre(5, 9, 1, 3));
}

TEST(HashMap2018, TheOrderDoesNotDependOnTheSeed) {
    Set first(1);
    Set second(0xfeedbeef);
    for (int number = 0; number < 1000; ++number) {
        first.insert({number * 7919 % 1000});
        second.insert({number * 7919 % 1000});
    }
    EXPECT_EQ(keys(first), keys(second));
}

TEST(HashMap2018, TakingMovesTheValueOut) {
    HashMap2018<TestNumber, std::unique_ptr<int>> map(1);
    map.emplace({1}, std::make_unique<int>(7));
    EXPECT_EQ(*map.take({1}), 7);
    EXPECT_EQ(map.take({1}), nullptr);
    EXPECT_TRUE(map.empty());
}

TEST(HashMap2018, MembersStayAtTheirAddressWhileOthersComeAndGo) {
    auto const map = mapOf({-1});
    std::string const* const value = map->find({-1});
    for (int number = 0; number < 10'000; ++number) {
        map->emplace({number});
    }
    for (int number = 0; number < 10'000; ++number) {
        map->erase({number});
    }
    EXPECT_EQ(map->find({-1}), value);
}

TEST(HashMap2018, AWalkFromAKeyStartsThereOrIsAtItsEnd) {
    auto const map = mapOf({1, 2, 3});
    std::vector<int> walked;
    for (auto walk = map->from({2}); walk != map->end(); ++walk) {
        walked.push_back(walk->key.value);
    }
    EXPECT_THAT(walked, ElementsAre(2, 3));
    EXPECT_TRUE(map->from({4}) == map->end());
}

TEST(HashMap2018, AWalkGoesOnThoughItsMemberItsNeighboursAndOthersAreErased) {
    auto const map = mapOf({1, 2, 3, 4, 5, 6});
    std::vector<int> walked;
    for (auto const& member : *map) {
        int const key = member.key.value;
        walked.push_back(key);
        if (key == 3) {
            for (int const gone : {3, 2, 4, 1, 6}) {
                map->erase({gone});
            }
        }
    }
    EXPECT_THAT(walked, ElementsAre(1, 2, 3, 5));
}

TEST(HashMap2018, AWalkReachesWhatIsInsertedMeanwhileAlsoFromTheGapAtTheEnd) {
    auto const map = mapOf({1});
    std::vector<int> walked;
    for (auto const& member : *map) {
        int const key = member.key.value;
        walked.push_back(key);
        map->erase({key});
        if (key < 100) {
            map->emplace({key + 1});
        }
    }
    EXPECT_EQ(walked.size(), 100u);
    EXPECT_TRUE(map->empty());
}

TEST(HashMap2018, ClearingPutsWalksAtTheirEnd) {
    auto const map = mapOf({1, 2, 3});
    int walked = 0;
    for ([[maybe_unused]] auto const& member : *map) {
        ++walked;
        map->clear();
    }
    EXPECT_EQ(walked, 1);

    auto walk = map->begin();
    EXPECT_TRUE(walk == map->end());
}

TEST(HashMap2018, AWalkOutlivesItsMap) {
    auto map = mapOf({1, 2});
    auto walk = map->begin();
    auto const copy = walk;
    map.reset();
    EXPECT_TRUE(walk == std::default_sentinel);
    EXPECT_TRUE(copy == std::default_sentinel);
    ++walk;
    walk = copy;
    EXPECT_TRUE(walk == std::default_sentinel);
}

TEST(HashMap2018, CopiesOfAWalkGoTheirOwnWays) {
    auto const map = mapOf({1, 2, 3});
    auto first = map->begin();
    auto second = first;
    ++second;
    map->erase({1});
    ++first;
    EXPECT_EQ(first->key.value, 2);
    EXPECT_EQ(second->key.value, 2);
    first = map->from({3});
    map->erase({2});
    ++second;
    EXPECT_EQ(second->key.value, 3);
    EXPECT_EQ(first->key.value, 3);
    auto const& same = first;
    first = same;
    EXPECT_EQ(first->key.value, 3);
    map->erase({3});
    EXPECT_TRUE(first == map->end());
}

TEST(HashMap2018DeathTest, MisusingAWalkStopsTheProcess) {
    auto const map = mapOf({1});
    auto walk = map->begin();
    ++walk;
    EXPECT_DEATH(++walk, "past its end");
    EXPECT_DEATH((void)*walk, "stands on none");
    auto inGap = map->begin();
    map->erase({1});
    EXPECT_DEATH((void)*inGap, "stands on none");
}

TEST(HashMap2018, AValueIsOutOfTheMapBeforeItGoes) {
    LastMap map(1);
    std::vector<int> seen;
    map.emplace({1}, last([&] {
                    seen = keys(map);
                    map.emplace({3});
                    map.erase({2});
                }));
    map.emplace({2});

    map.erase({1});

    EXPECT_THAT(seen, ElementsAre(2));
    EXPECT_THAT(keys(map), ElementsAre(3));
}

TEST(HashMap2018, IsEmptyBeforeTheFirstValueGoesAndKeepsWhatTheValuesInsert) {
    LastMap map(1);
    std::vector<std::size_t> sizes;
    for (int number = 0; number < 3; ++number) {
        map.emplace({number}, last([&, number] {
                        sizes.push_back(map.size());
                        map.emplace({number + 10});
                    }));
    }
    map.clear();
    EXPECT_THAT(sizes, ElementsAre(0u, 1u, 2u));
    EXPECT_THAT(keys(map), ElementsAre(10, 11, 12));
}

TEST(HashMap2018, AValueThatGoesMayDestroyTheMap) {
    for (bool const byClearing : {false, true}) {
        auto map = std::make_unique<LastMap>(1);
        map->emplace({1}, last([&] { map.reset(); }));
        map->emplace({2});
        auto* const itself = map.get();
        byClearing ? itself->clear() : void(itself->erase({1}));
        EXPECT_EQ(map, nullptr);
    }
}

TEST(HashMap2018, OwnsNoMemoryWhileItNeverHadAMemberAndAfterClearing) {
    std::size_t const before = TestMemory::blocks;
    Map map(1);
    map.erase({1});
    map.clear();
    EXPECT_EQ(TestMemory::blocks, before);

    for (int number = 0; number < 1000; ++number) {
        map.emplace({number});
    }
    EXPECT_GT(TestMemory::blocks, before);
    map.clear();
    EXPECT_EQ(TestMemory::blocks, before);
}

TEST(HashMap2018, GivesItsMemoryBackWhenItsLastMemberIsErased) {
    std::size_t const before = TestMemory::blocks;
    Map map(1);
    for (int number = 0; number < 1000; ++number) {
        map.emplace({number});
    }
    for (int number = 0; number < 1000; ++number) {
        map.erase({number});
    }
    EXPECT_EQ(TestMemory::blocks, before);
    map.emplace({1}, "still usable");
    EXPECT_EQ(*map.find({1}), "still usable");
}

TEST(HashMap2018, HoldsItsMembersThroughGrowingShrinkingAndGrowingAgain) {
    std::size_t const before = TestMemory::blocks;
    {
        HashMap2018<TestNumber, int> map(1);
        for (int round = 0; round < 3; ++round) {
            for (int number = 0; number < 2000; ++number) {
                ASSERT_TRUE(map.emplace({number}, number + round).inserted);
                ASSERT_EQ(map.size(), static_cast<std::uint32_t>(number + 1));
            }
            for (int number = 0; number < 2000; ++number) {
                ASSERT_EQ(*map.find({number}), number + round);
            }
            // Down to a few, from the front and from the back, so that free places are of all ages.
            for (int number = 0; number < 1000 - round; ++number) {
                ASSERT_TRUE(map.erase(TestNumber{number}));
                ASSERT_TRUE(map.erase(TestNumber{1999 - number}));
            }
            for (int number = 0; number < 2000; ++number) {
                ASSERT_EQ(map.contains({number}), number >= 1000 - round && number < 1000 + round);
            }
            while (!map.empty()) {
                map.erase(map.begin()->key);
            }
        }
    }
    EXPECT_EQ(TestMemory::blocks, before);
}

TEST(HashMap2018, TakesNoMoreMemoryForMembersThatComeInThePlaceOfOthers) {
    HashMap2018<TestNumber, int> map(1);
    for (int number = 0; number < 1000; ++number) {
        map.emplace({number}, number);
    }
    std::size_t const before = TestMemory::allocations;
    for (int number = 1000; number < 100'000; ++number) {
        map.erase(TestNumber{number - 1000});
        map.emplace({number}, number);
    }
    EXPECT_EQ(TestMemory::allocations, before);
    EXPECT_EQ(map.size(), 1000u);
}

// A key that owns memory.
struct Name {
    std::string text;
    bool operator==(Name const&) const = default;
    std::uint32_t hash(std::uint32_t seed) const { return hashBytes(seed, text); }
};

TEST(HashMap2018, ErasesUnderAKeyThatIsTheMembersOwn) {
    HashMap2018<Name, Last> map(1);
    Name const longName{std::string(100, 'n')};
    map.emplace(longName, last([&] { EXPECT_FALSE(map.contains(longName)); }));
    EXPECT_TRUE(map.erase(map.begin()->key));
    EXPECT_TRUE(map.empty());
}

TEST(HashMap2018, WalksGoOnThoughValuesThatGoChangeTheMap) {
    LastMap map(1);
    for (int number = 0; number < 20; ++number) {
        map.emplace({number}, last([&map, number] {
                        map.emplace({100 + number});
                        map.erase(TestNumber{number + 1});
                    }));
    }
    std::vector<int> walked;
    for (auto const& member : map) {
        int const number = member.key.value;
        walked.push_back(number);
        if (number < 20) {
            map.erase(TestNumber{number});
        }
    }
    // Each value that goes takes the next one along, whose going takes the one after that.
    EXPECT_EQ(walked.front(), 0);
    EXPECT_EQ(walked.size(), 21u);
    EXPECT_EQ(map.size(), 20u);
    map.clear();
}

TEST(HashMap2018, IsLeftAsItWasByAnAllocationThatFails) {
    Map map(1);
    // Of the first allocation of an insertion, and of the second.
    std::array<int, 2> failures{};
    for (int number = 0; number < 3000; ++number) {
        std::vector<int> const before = keys(map);
        for (std::size_t const allowed : {0u, 1u}) {
            try {
                TestMemory::OneFailure const failure(allowed);
                map.emplace({number}, "x");
            } catch (std::bad_alloc const&) {
                ++failures[allowed];
                ASSERT_EQ(map.size(), static_cast<std::uint32_t>(number));
                ASSERT_EQ(keys(map), before);
                ASSERT_FALSE(map.contains({number}));
                ASSERT_TRUE(number == 0 || map.contains({number - 1}));
            }
        }
        map.emplace({number}, "x");
    }
    EXPECT_GT(failures[0], 10);
    EXPECT_GT(failures[1], 0);
}

TEST(HashMap2018, AValueForWhichMemoryLacksMayClearTheMap) {
    for (int members = 0; members < 20; ++members) {
        bool lacking = true;
        for (std::size_t allowed = 0; lacking; ++allowed) {
            HashMap2018<TestNumber, Last> map(1);
            for (int number = 0; number < members; ++number) {
                map.emplace({number});
            }
            Last value = last([&map] { map.clear(); });
            TestMemory::OneFailure const failure(allowed);
            try {
                map.emplace({members}, std::move(value));
            } catch (std::bad_alloc const&) {
            }
            lacking = failure.happened();
            value = nullptr;
            ASSERT_EQ(map.contains({members}), !lacking);
            ASSERT_EQ(map.size(), lacking ? 0u : static_cast<std::uint32_t>(members) + 1);
        }
    }
}

TEST(HashMap2018, IsLeftAsItWasByAValueThatCannotBeMade) {
    struct Unmakeable {
        explicit Unmakeable(bool fails) {
            if (fails) {
                throw std::runtime_error("unmakeable");
            }
        }
    };
    HashMap2018<TestNumber, Unmakeable> map(1);
    for (int number = 0; number < 50; ++number) {
        EXPECT_THROW(map.emplace({number}, true), std::runtime_error);
        EXPECT_FALSE(map.contains({number}));
        EXPECT_EQ(map.size(), static_cast<std::uint32_t>(number));
        map.emplace({number}, false);
    }
    EXPECT_EQ(keys(map).size(), 50u);
}

TEST(HashSet2018, HoldsEachKeyOnce) {
    Set set(1);
    EXPECT_TRUE(set.insert({2}));
    EXPECT_TRUE(set.insert({1}));
    EXPECT_FALSE(set.insert({2}));
    EXPECT_THAT(keys(set), ElementsAre(2, 1));
    EXPECT_TRUE(set.erase({2}));
    EXPECT_FALSE(set.erase({2}));
    EXPECT_THAT(keys(set), ElementsAre(1));
    set.clear();
    EXPECT_THAT(keys(set), IsEmpty());
}

// Whatever comes and goes, and however the map grows, between the calls of a scan.
TEST(HashMap2018, AScanMeetsOnceWhatStandsThroughout) {
    for (unsigned seed = 0; seed < 300; ++seed) {
        std::mt19937 random(seed);
        HashMap2018<Scanned, int> map(seed);
        std::set<int> throughout;
        for (int i = static_cast<int>(random() % 400); i > 0; --i) {
            map.emplace(Scanned{i}, i);
            throughout.insert(i);
        }
        std::multiset<int> met;
        std::uint64_t at = 0;
        while (at < map.scanEnd) {
            std::uint64_t const from = at;
            at = map.scan(from, [&](auto const& member) {
                EXPECT_GE(map.hashOf(member.key), from);
                met.insert(member.key.value);
            });
            ASSERT_GT(at, from);
            for (int const key : met) {
                if (map.contains(Scanned{key})) {
                    ASSERT_LT(map.hashOf(Scanned{key}), at);
                }
            }
            for (auto changes = random() % 40; changes > 0; --changes) {
                int const key = static_cast<int>(random() % 3000);
                if (random() % 3 == 0) {
                    map.erase(Scanned{key});
                    throughout.erase(key);
                } else {
                    map.emplace(Scanned{key}, key);
                }
            }
            if (random() % 100 == 0) {
                map.clear();
                throughout.clear();
            }
        }
        for (int const key : throughout) {
            ASSERT_EQ(met.count(key), 1U) << "seed " << seed << " key " << key;
        }
    }
}

TEST(HashMap2018, AScanOfAnEmptyMapEndsAtOnce) {
    HashMap2018<Scanned, int> const map(1);
    EXPECT_EQ(map.scan(0, [](auto const&) { FAIL(); }), map.scanEnd);
}

}  // namespace
}  // namespace Zin
