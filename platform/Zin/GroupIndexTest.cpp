#include "Zin/GroupIndex.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "Zin/Collection.h"
#include "Zin/String.h"

namespace Zin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Words by their first letter.
struct FirstLetter {
    String operator()(String const& word) const { return word.text().substr(0, 1); }
};
using Words = Collection<Untold, HashSet2018<String>, GroupIndex<FirstLetter, String, String>>;

// Words by what is said of them.
struct Label {
    String operator()(String const&, String const& label) const { return label; }
};
using Labels = Collection<Untold, HashMap2018<String, String>, GroupIndex<Label, String, String>>;

TEST(GroupIndex, KnowsTheKeysOfAGroupInTheOrderOfTheirComing) {
    Words words(Untold{}, 1u);
    for (char const* const word : {"beech", "ash", "birch", "alder"}) {
        words.isKey(word);
    }

    EXPECT_THAT(words.index().keys("a"), ElementsAre(String("ash"), String("alder")));
    EXPECT_THAT(words.index().keys("b"), ElementsAre(String("beech"), String("birch")));
    EXPECT_THAT(words.index().keys("c"), IsEmpty());
}

TEST(GroupIndex, ForgetsKeysThatLeave) {
    Words words(Untold{}, 1u);
    words.isKey("ash");
    words.isKey("alder");

    words.delKey("ash");
    EXPECT_THAT(words.index().keys("a"), ElementsAre(String("alder")));
    words.delKey("alder");
    EXPECT_THAT(words.index().keys("a"), IsEmpty());

    words.isKey("ash");
    words.delAll();
    EXPECT_THAT(words.index().keys("a"), IsEmpty());
}

TEST(GroupIndex, MovesAKeyWhoseValueBelongsToAnotherGroup) {
    Labels labels(Untold{}, 1u);
    labels.isValue("ash", String("tree"));
    labels.isValue("ash", String("rest of a fire"));
    EXPECT_THAT(labels.index().keys("tree"), IsEmpty());
    EXPECT_THAT(labels.index().keys("rest of a fire"), ElementsAre(String("ash")));
}

TEST(GroupIndex, LetsItsCallerRemoveTheKeysOfAGroup) {
    Words words(Untold{}, 1u);
    for (char const* const word : {"ash", "birch", "alder"}) {
        words.isKey(word);
    }
    for (String const& word : words.index().keys("a")) {
        words.delKey(word);
    }
    EXPECT_EQ(words.map().size(), 1u);
    EXPECT_TRUE(words.has("birch"));
}

// Groups that know how many of them there are.
struct CountedGroup {
    explicit CountedGroup(String word) : letter(word.text().substr(0, 1)) { ++alive; }
    CountedGroup(CountedGroup const& other) : letter(other.letter) { ++alive; }
    CountedGroup& operator=(CountedGroup const&) = delete;
    ~CountedGroup() { --alive; }
    bool operator==(CountedGroup const& other) const { return letter == other.letter; }
    std::uint32_t hash(std::uint32_t seed) const { return letter.hash(seed); }

    String const letter;
    static inline int alive = 0;
};
struct CountedGroupOf {
    CountedGroup operator()(String const& word) const { return CountedGroup(word); }
};

TEST(GroupIndex, KeepsNothingOfAGroupWhoseLastKeyHasLeft) {
    Collection<Untold, HashSet2018<String>, GroupIndex<CountedGroupOf, CountedGroup, String>> words(
        Untold{}, 1u);
    words.isKey("ash");
    words.isKey("alder");
    EXPECT_EQ(CountedGroup::alive, 1);
    words.delKey("ash");
    EXPECT_EQ(CountedGroup::alive, 1);
    words.delKey("alder");
    EXPECT_EQ(CountedGroup::alive, 0);
}

class GroupIndexUnderRandomChange : public testing::TestWithParam<unsigned> {};

TEST_P(GroupIndexUnderRandomChange, SaysWhatAWalkOverAllMembersSays) {
    std::mt19937 random(GetParam());
    auto const pick = [&](unsigned below) {
        return std::uniform_int_distribution<unsigned>(0, below - 1)(random);
    };
    Labels labels(Untold{}, GetParam());

    for (int step = 0; step < 3000; ++step) {
        String const word = fmt::format("word{}", pick(60));
        unsigned const what = pick(100);
        if (what < 60) {
            labels.isValue(word, String(fmt::format("label{}", pick(6))));
        } else if (what < 99) {
            labels.del(word);
        } else {
            labels.delAll();
        }

        std::map<String, std::vector<String>> walked;
        for (auto const& member : labels.map()) {
            walked[member.value].push_back(member.key);
        }
        for (unsigned label = 0; label < 6; ++label) {
            String const group = fmt::format("label{}", label);
            ASSERT_THAT(labels.index().keys(group),
                        testing::UnorderedElementsAreArray(walked[group]))
                << "step " << step;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, GroupIndexUnderRandomChange, testing::Values(1u, 2u, 3u, 4u));

}  // namespace
}  // namespace Zin
