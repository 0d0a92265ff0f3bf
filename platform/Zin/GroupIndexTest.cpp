#include "Zin/GroupIndex.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <random>

#include "TestMemory/TestMemory.h"
#include "Zin/Collection.h"
#include "Zin/Format.h"
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
        words.insert(word);
    }

    EXPECT_THAT(words.index().keys("a"), ElementsAre(String("ash"), String("alder")));
    EXPECT_THAT(words.index().keys("b"), ElementsAre(String("beech"), String("birch")));
    EXPECT_THAT(words.index().keys("c"), IsEmpty());
}

TEST(GroupIndex, ForgetsKeysThatLeave) {
    Words words(Untold{}, 1u);
    words.insert("ash");
    words.insert("alder");

    words.del("ash");
    EXPECT_THAT(words.index().keys("a"), ElementsAre(String("alder")));
    words.del("alder");
    EXPECT_THAT(words.index().keys("a"), IsEmpty());

    words.insert("ash");
    words.delAll();
    EXPECT_THAT(words.index().keys("a"), IsEmpty());
}

TEST(GroupIndex, MovesAKeyWhoseValueBelongsToAnotherGroup) {
    Labels labels(Untold{}, 1u);
    labels.set("ash", String("tree"));
    labels.set("ash", String("rest of a fire"));
    EXPECT_THAT(labels.index().keys("tree"), IsEmpty());
    EXPECT_THAT(labels.index().keys("rest of a fire"), ElementsAre(String("ash")));
}

// Words by the first letter of what is said of them.
struct LabelsLetter {
    String operator()(String const&, String const& label) const { return FirstLetter()(label); }
};

TEST(GroupIndex, AKeyKeepsItsPlaceInTheGroupWhenItsNewValueBelongsThereToo) {
    Collection<Untold, HashMap2018<String, String>, GroupIndex<LabelsLetter, String, String>>
        labels(Untold{}, 1u);
    labels.set("ash", String("tree"));
    labels.set("beech", String("tree"));

    labels.set("ash", String("trunk"));

    EXPECT_EQ(labels("ash"), String("trunk"));
    EXPECT_THAT(labels.index().keys("t"), ElementsAre(String("ash"), String("beech")));
}

TEST(GroupIndex, LetsItsCallerRemoveTheKeysOfAGroup) {
    Words words(Untold{}, 1u);
    for (char const* const word : {"ash", "birch", "alder"}) {
        words.insert(word);
    }
    for (String const& word : words.index().keys("a")) {
        words.del(word);
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
    words.insert("ash");
    words.insert("alder");
    EXPECT_EQ(CountedGroup::alive, 1);
    words.del("ash");
    EXPECT_EQ(CountedGroup::alive, 1);
    words.del("alder");
    EXPECT_EQ(CountedGroup::alive, 0);
}

// All that a collection says: its members, and the keys of each group that is named.
using Contents = std::vector<std::pair<String, std::vector<String>>>;

Contents contents(Labels const& labels, std::vector<String> const& groups) {
    Contents all;
    for (auto const& member : labels.map()) {
        all.push_back({member.key, {member.value}});
    }
    for (String const& group : groups) {
        all.push_back({group, labels.index().keys(group)});
    }
    return all;
}
Contents contents(Words const& words, std::vector<String> const& groups) {
    Contents all;
    for (auto const& member : words.map()) {
        all.push_back({member.key, {}});
    }
    for (String const& group : groups) {
        all.push_back({group, words.index().keys(group)});
    }
    return all;
}

// Tries a change again and again, each time with one more allocation that succeeds, until it is
// made; how often it was not. A change that is not made changes nothing.
template <class SomeCollection, class Change>
std::size_t timesNotMade(SomeCollection& collection, std::vector<String> const& groups,
                         Change change) {
    Contents const before = contents(collection, groups);
    for (std::size_t allowed = 0;; ++allowed) {
        bool lacking = false;
        {
            TestMemory::OneFailure const failure(allowed);
            try {
                change();
            } catch (std::bad_alloc const&) {
            }
            lacking = failure.happened();
        }
        if (!lacking) {
            return allowed;
        }
        EXPECT_EQ(contents(collection, groups), before) << "after " << allowed << " allocations";
    }
}

// Texts so long that copying one takes memory, too.
String longText(char const* kind, int number) {
    return String(fmt::format("{} that needs memory of its own, number {}", kind, number));
}

TEST(GroupIndex, SaysWhatTheMapSaysAlsoWhereMemoryIsLacking) {
    std::vector<String> groups;
    for (int number = 0; number < 4; ++number) {
        groups.push_back(longText("group", number));
    }
    Labels labels(Untold{}, 1u);
    Words words(Untold{}, 1u);
    for (int number = 0; number < 30; ++number) {
        String const word = longText("word", number);
        String const& group = groups[static_cast<std::size_t>(number) % 4];
        String const& other = groups[static_cast<std::size_t>(number / 4) % 4];

        EXPECT_GT(timesNotMade(labels, groups, [&] { labels.set(word, group); }), 2u);
        EXPECT_EQ(labels(word), group);
        EXPECT_THAT(labels.index().keys(group), testing::Contains(word));
        timesNotMade(labels, groups, [&] { labels.set(word, other); });
        EXPECT_EQ(labels(word), other);
        EXPECT_THAT(labels.index().keys(other), testing::Contains(word));

        EXPECT_GT(timesNotMade(words, {"w"}, [&] { words.insert(word); }), 1u);
        EXPECT_THAT(words.index().keys("w"), testing::Contains(word));
    }
}

// The group that it is to join is new, and needs memory.
TEST(GroupIndex, AKeyStaysInItsGroupWhereMemoryIsLackingToMoveIt) {
    Labels labels(Untold{}, 1u);
    String const from = longText("group", 1);
    String const to = longText("group", 2);
    for (int number = 0; number < 20; ++number) {
        labels.set(longText("word", number), from);
    }
    std::vector<String> const before = labels.index().keys(from);
    String const moved = longText("word", 7);

    EXPECT_GT(timesNotMade(labels, {from, to}, [&] { labels.set(moved, to); }), 0u);

    EXPECT_THAT(labels.index().keys(to), ElementsAre(moved));
    std::vector<String> rest = before;
    rest.erase(std::find(rest.begin(), rest.end(), moved));
    EXPECT_EQ(labels.index().keys(from), rest);
    // It is the last when it is back.
    labels.set(moved, from);
    rest.push_back(moved);
    EXPECT_EQ(labels.index().keys(from), rest);
    EXPECT_THAT(labels.index().keys(to), IsEmpty());
}

// The naive statement: a row of keys for each group.
TEST(GroupIndex, KeepsTheOrderOfThousandsThatComeGoAndMove) {
    std::mt19937 random(5);
    Labels labels(Untold{}, 5u);
    std::array<String, 3> const groups{"first", "second", "third"};
    std::map<String, std::vector<String>> naive;
    std::map<String, String> groupOf;
    auto const leave = [&](String const& word) {
        std::vector<String>& row = naive[groupOf.at(word)];
        row.erase(std::find(row.begin(), row.end(), word));
        groupOf.erase(word);
    };
    for (int step = 0; step < 20'000; ++step) {
        String const word = fmt::format("word{}", random() % 8000);
        String const& group = groups[random() % 3];
        if (random() % 5 == 0) {
            if (groupOf.count(word) > 0) {
                leave(word);
            }
            labels.del(word);
            continue;
        }
        if (groupOf.count(word) == 0 || groupOf.at(word) != group) {
            if (groupOf.count(word) > 0) {
                leave(word);
            }
            naive[group].push_back(word);
            groupOf.emplace(word, group);
        }
        labels.set(word, group);
    }
    for (String const& group : groups) {
        EXPECT_GT(naive[group].size(), 1000u);
        EXPECT_EQ(labels.index().keys(group), naive[group]);
        for (String const& word : labels.index().keys(group)) {
            labels.del(word);
        }
        EXPECT_THAT(labels.index().keys(group), IsEmpty());
    }
    EXPECT_TRUE(labels.map().empty());
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
            labels.set(word, String(fmt::format("label{}", pick(6))));
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
