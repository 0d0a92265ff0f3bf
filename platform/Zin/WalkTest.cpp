// Walks as iterators: what the algorithms of the standard library do with our collections.
#include "Zin/Walk.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <iterator>
#include <numeric>
#include <utility>
#include <vector>

#include "Zin/HashMap2018.h"
#include "Zin/LinkQueue.h"
#include "Zin/RbTreeMap.h"
#include "Zin/TestNumber.h"

namespace Zin {
namespace {

using ::testing::ElementsAre;

struct InOrder {
    int value = 0;
    bool operator<(InOrder const& that) const { return value < that.value; }
};

using Map = HashMap2018<TestNumber, int>;
using Set = HashSet2018<TestNumber>;
using Tree = RbTreeMap<InOrder, int>;
using Queue = LinkQueue<int>;

template <class Collection>
constexpr bool isWalkedByIterators = std::forward_iterator<typename Collection::Iterator>&&
    std::forward_iterator<typename Collection::ConstIterator>&&
        std::ranges::forward_range<Collection>&& std::ranges::forward_range<Collection const>&&
            std::ranges::common_range<Collection>&& std::ranges::common_range<Collection const>;
static_assert(isWalkedByIterators<Map>);
static_assert(isWalkedByIterators<Set>);
static_assert(isWalkedByIterators<Tree>);
static_assert(isWalkedByIterators<Queue>);

template <class Collection>
void fill(Collection& collection) {
    for (int const number : {1, 2, 3, 4}) {
        if constexpr (std::is_same_v<Collection, Queue>) {
            collection.enq(number);
        } else if constexpr (std::is_same_v<Collection, Set>) {
            collection.insert({number});
        } else {
            collection.emplace({number}, number);
        }
    }
}

int numberOf(int member) { return member; }
template <class Member>
int numberOf(Member const& member) {
    return member.key.value;
}

// The hash collections are made with a seed.
template <class Collection>
Collection make() {
    if constexpr (std::is_constructible_v<Collection, std::uint32_t>) {
        return Collection(7);
    } else {
        return Collection();
    }
}

template <class Collection>
struct WalkAsIterator : ::testing::Test {
    WalkAsIterator() { fill(collection); }
    Collection collection = make<Collection>();
};
using Walked = ::testing::Types<Map, Set, Tree, Queue>;
TYPED_TEST_SUITE(WalkAsIterator, Walked);

TYPED_TEST(WalkAsIterator, ServesTheAlgorithmsOfIterators) {
    auto& all = this->collection;
    auto const is = [](int wanted) {
        return [wanted](auto const& member) { return numberOf(member) == wanted; };
    };

    EXPECT_EQ(numberOf(*std::find_if(all.begin(), all.end(), is(3))), 3);
    EXPECT_EQ(std::find_if(all.begin(), all.end(), is(5)), all.end());
    EXPECT_EQ(std::distance(all.begin(), all.end()), 4);
    EXPECT_EQ(std::accumulate(std::as_const(all).begin(), std::as_const(all).end(), 0,
                              [](int sum, auto const& member) { return sum + numberOf(member); }),
              10);
}

TYPED_TEST(WalkAsIterator, ServesTheAlgorithmsOfRanges) {
    auto& all = this->collection;
    auto const number = [](auto const& member) { return numberOf(member); };

    auto const three = std::ranges::find(all, 3, number);
    ASSERT_NE(three, all.end());
    EXPECT_EQ(numberOf(*three), 3);
    EXPECT_EQ(std::ranges::find(std::as_const(all), 5, number), std::as_const(all).end());
    EXPECT_EQ(std::ranges::count_if(
                  all, [](int n) { return n > 1; }, number),
              3);
    EXPECT_EQ(numberOf(*std::ranges::max_element(all, {}, number)), 4);
    std::vector<int> numbers;
    std::ranges::transform(all, std::back_inserter(numbers), number);
    EXPECT_THAT(numbers, ElementsAre(1, 2, 3, 4));
}

TYPED_TEST(WalkAsIterator, EqualsAnotherThatStandsWhereItStands) {
    auto& all = this->collection;
    auto first = all.begin();
    auto const second = std::next(first);

    EXPECT_EQ(first, all.begin());
    EXPECT_NE(first, second);
    EXPECT_EQ(numberOf(*first++), 1);
    EXPECT_EQ(first, second);
    EXPECT_EQ(std::next(first, 3), all.end());
    EXPECT_EQ((typename TypeParam::Iterator()), all.end());
}

TEST(Walk, InAGapEqualsTheOneThatGoesOnToTheSameMember) {
    Map map(7);
    fill(map);
    auto const one = map.from({1});
    auto const two = map.from({2});
    auto const three = map.from({3});
    auto const four = map.from({4});
    for (int const gone : {1, 2, 4}) {
        map.erase(TestNumber{gone});
    }

    EXPECT_EQ(one, two);
    EXPECT_NE(one, three);
    EXPECT_NE(one, four);
    EXPECT_EQ(four, map.end());
}

}  // namespace
}  // namespace Zin
