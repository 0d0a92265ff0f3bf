// HashMap2018 under random changes and walks, against a naive statement of what it is.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <random>
#include <vector>

#include "Zin/HashMap2018.h"
#include "Zin/TestNumber.h"

namespace Zin {
namespace {

// Hashes of every quality, the worst included: what differs is where keys stand, not what is found.
struct GoodHash {
    std::uint32_t seed;
    std::uint32_t operator()(TestNumber const& key) const { return key.hash(seed); }
};
struct CrowdedHash {  // a handful of homes, a handful of tags
    std::uint32_t seed;
    std::uint32_t operator()(TestNumber const& key) const { return key.hash(seed) & 0xc0000003; }
};
struct ConstantHash {
    std::uint32_t seed;
    std::uint32_t operator()(TestNumber const&) const { return seed; }
};

// Maps of every kind: how they are tested is the same, what they hold of a member is not.
template <class Hash>
struct OfNumbers {
    using Map = HashMap2018<TestNumber, int, Hash>;
    static int make(int, int value) { return value; }
    static int valueOf(int value) { return value; }
};
struct Row {
    TestNumber number;
    int value = 0;
};
struct NumberOfRow {
    TestNumber const& operator()(Row const& row) const { return row.number; }
};
struct Kept {
    int key = -1;
};
template <class PerMember>
struct OfRows {
    using Map = HashMap2018<TestNumber, Row, GoodHash, NumberOfRow, PerMember>;
    static Row make(int key, int value) { return {{key}, value}; }
    static int valueOf(Row const& row) { return row.value; }
};

template <class Kind>
class RandomHashMap : public testing::Test {};
using Kinds = testing::Types<OfNumbers<GoodHash>, OfNumbers<CrowdedHash>, OfNumbers<ConstantHash>,
                             OfRows<NothingPerMember>, OfRows<Kept>>;
TYPED_TEST_SUITE(RandomHashMap, Kinds);

// The naive statement: members in a row, each with the number of its insertion. A walk that has
// shown the member of number n shows next the first one with a greater number.
struct NaiveMember {
    std::uint64_t number;
    int key;
    int value;
};

TYPED_TEST(RandomHashMap, BehavesAsARowOfMembersDoesUnderChangesAndWalks) {
    using TestedMap = typename TypeParam::Map;
    struct LiveWalk {
        typename TestedMap::Iterator walk;
        std::uint64_t shown;
    };
    std::mt19937 random(2018);
    auto const upTo = [&random](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    TestedMap map(0);
    std::vector<NaiveMember> naive;
    std::vector<LiveWalk> walks;
    std::uint64_t inserted = 0;
    auto const naiveFind = [&naive](int key) {
        return std::find_if(naive.begin(), naive.end(),
                            [key](NaiveMember const& member) { return member.key == key; });
    };

    for (int step = 0; step < 60'000; ++step) {
        // Grows and shrinks by turns: to very few, too.
        int const keySpace = std::array{150, 20, 4}[static_cast<std::size_t>(step / 4'000 % 3)];
        int const key = upTo(150);
        auto const at = naiveFind(key);
        bool const there = at != naive.end();
        ASSERT_EQ(map.contains({key}), there);
        if (there) {
            ASSERT_EQ(TypeParam::valueOf(*map.find({key})), at->value);
        }
        switch (upTo(8)) {
            case 0:
            case 1:
                if (key < keySpace) {
                    ASSERT_EQ(map.emplace({key}, TypeParam::make(key, step)).inserted, !there);
                    if constexpr (requires { map.keptAt(0).key; }) {
                        Kept& kept = map.keptAt(map.slotOf({key}));
                        ASSERT_EQ(kept.key, there ? key : -1);
                        kept.key = key;
                    }
                    if (!there) {
                        naive.push_back({++inserted, key, step});
                    }
                }
                break;
            case 2:
                if (there) {
                    *map.find({key}) = TypeParam::make(key, at->value = step);
                }
                break;
            case 3:
                ASSERT_EQ(map.erase({key}), there);
                if (there) {
                    naive.erase(at);
                }
                break;
            case 4:
                ASSERT_EQ(TypeParam::valueOf(map.take({key})), there ? at->value : 0);
                if (there) {
                    naive.erase(at);
                }
                break;
            case 5:
                if (there) {
                    walks.push_back({map.from({key}), at->number});
                }
                break;
            default:
                if (!walks.empty()) {
                    std::size_t const which = random() % walks.size();
                    LiveWalk& live = walks[which];
                    auto const next = std::find_if(
                        naive.begin(), naive.end(),
                        [&live](NaiveMember const& member) { return member.number > live.shown; });
                    ++live.walk;
                    if (next == naive.end()) {
                        ASSERT_TRUE(live.walk == map.end());
                        walks.erase(walks.begin() + static_cast<std::ptrdiff_t>(which));
                    } else {
                        ASSERT_FALSE(live.walk == map.end());
                        ASSERT_EQ(live.walk->key.value, next->key);
                        ASSERT_EQ(TypeParam::valueOf(live.walk->value), next->value);
                        live.shown = next->number;
                    }
                }
        }
        if (upTo(3'000) == 0) {
            map.clear();
            naive.clear();
        }
        ASSERT_EQ(map.size(), naive.size());
        if (step % 50 == 0) {
            std::vector<int> expected;
            for (NaiveMember const& member : naive) {
                expected.push_back(member.key);
            }
            ASSERT_EQ(keys(map), expected);
        }
    }
}

}  // namespace
}  // namespace Zin
