#include "router/Steps.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <vector>

#include "Zin/HashKey.h"
#include "Zin/HashMap2018.h"
#include "Zin/RbTreeMap.h"

namespace Routing {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Number {
    int value = 0;
    std::uint32_t hash(std::uint32_t seed) const {
        return seed ^ static_cast<std::uint32_t>(value);
    }
    friend auto operator<=>(Number const&, Number const&) = default;
};

using Hashed = Zin::HashMap2018<Number, int>;
using Ordered = Zin::RbTreeMap<Number, int>;

template <class Map>
struct StepsTest : testing::Test {
    static Map make() {
        if constexpr (std::is_same_v<Map, Hashed>) {
            return Map(1);
        } else {
            return Map();
        }
    }
    void put(std::initializer_list<int> numbers) {
        for (int const number : numbers) {
            map.emplace(Number{number}, number);
        }
    }
    void walkPresent() {
        steps.walkPresent(nullptr, map,
                          [this](auto const& member) { seen.push_back(member.key.value); });
    }
    std::vector<int> rest() {
        while (steps.step()) {
        }
        return seen;
    }

    Map map = make();
    Steps steps;
    std::vector<int> seen;
};

using Maps = testing::Types<Hashed, Ordered>;
TYPED_TEST_SUITE(StepsTest, Maps);

TYPED_TEST(StepsTest, EachMemberIsLookedAtInItsOrder) {
    this->put({1, 2, 3});
    this->walkPresent();
    EXPECT_THAT(this->rest(), ElementsAre(1, 2, 3));
}

TYPED_TEST(StepsTest, AnEmptyMapIsNoStep) {
    this->walkPresent();
    EXPECT_FALSE(this->steps.step());
    this->put({1});
    EXPECT_THAT(this->rest(), IsEmpty());
}

TYPED_TEST(StepsTest, WhatComesBehindTheLastIsNotLookedAt) {
    this->put({1, 2});
    this->walkPresent();
    this->put({3});
    this->steps.step();
    this->put({4});
    EXPECT_THAT(this->rest(), ElementsAre(1, 2));
}

TYPED_TEST(StepsTest, WhatGoesAndComesBackIsNotLookedAtTwice) {
    this->put({1, 2, 3});
    this->walkPresent();
    this->steps.step();
    this->map.erase(Number{1});
    this->put({1});
    EXPECT_THAT(this->rest(), ElementsAre(1, 2, 3));
}

TYPED_TEST(StepsTest, TheLastMayGoMeanwhile) {
    this->put({1, 2, 3});
    this->walkPresent();
    this->steps.step();
    this->map.erase(Number{3});
    this->put({4, 5});
    EXPECT_THAT(this->rest(), ElementsAre(1, 2));
}

TYPED_TEST(StepsTest, AllMayGoMeanwhile) {
    for (bool const clears : {false, true}) {
        this->map.clear();
        this->seen.clear();
        this->put({1, 2, 3});
        this->walkPresent();
        this->steps.step();
        if (clears) {
            this->map.clear();
        } else {
            for (int const number : {2, 3, 1}) {
                this->map.erase(Number{number});
            }
        }
        this->put({4, 5});
        EXPECT_THAT(this->rest(), ElementsAre(1)) << clears;
    }
}

TYPED_TEST(StepsTest, WhatIsLeftToDoComesFirst) {
    this->put({1, 2});
    this->steps.walkPresent(nullptr, this->map, [this](auto const& outer) {
        this->steps.walkPresent(nullptr, this->map, [this, &outer](auto const& inner) {
            this->seen.push_back(10 * outer.key.value + inner.key.value);
        });
    });
    EXPECT_THAT(this->rest(), ElementsAre(11, 12, 21, 22));
}

// What stands throughout is seen once, and nothing twice, in a map that keeps the order in which
// its members came.
TEST(RandomSteps, WhatStandsThroughoutIsSeenOnce) {
    for (int seed = 0; seed < 200; ++seed) {
        std::srand(static_cast<unsigned>(seed));
        Hashed map(1);
        std::set<int> throughout;
        for (int i = 0; i < 20; ++i) {
            map.emplace(Number{i}, i);
            throughout.insert(i);
        }
        Steps steps;
        std::vector<int> seen;
        steps.walkPresent(nullptr, map,
                          [&](auto const& member) { seen.push_back(member.key.value); });
        int count = 0;
        while (steps.step()) {
            ASSERT_LT(++count, 1000);
            for (int change = std::rand() % 4; change > 0; --change) {
                int const number = std::rand() % 30;
                map.erase(Number{number});
                throughout.erase(number);
                if (std::rand() % 2 == 0) {
                    map.emplace(Number{number}, number);
                }
            }
        }
        std::set<int> const once(seen.begin(), seen.end());
        ASSERT_EQ(once.size(), seen.size()) << "seed " << seed;
        for (int const number : throughout) {
            ASSERT_TRUE(once.contains(number)) << "seed " << seed;
        }
    }
}

}  // namespace
}  // namespace Routing
