#include "feeds/netlink/fake/RandomOperations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "feeds/netlink/fake/TestBench.h"

namespace Netlink::Fake {
namespace {

struct History {
    explicit History(std::uint64_t seed, int length = 400) {
        RandomOperations operations(seed);
        for (int i = 0; i < length; ++i) {
            done.push_back(operations.doOne(bench.kernel));
            bench.kernel.runTo(bench.kernel.now() + 0.2);
            Lines const news = bench.told();
            told.insert(told.end(), news.begin(), news.end());
        }
    }

    Bench bench;
    Lines done;
    Lines told;
};

TEST(RandomOperations, ASeedTellsOfOneHistory) {
    EXPECT_EQ(History(1).done, History(1).done);
    EXPECT_EQ(History(1).told, History(1).told);
    EXPECT_NE(History(1).done, History(2).done);
}

TEST(RandomOperations, EveryKindOfOperationIsDone) {
    std::map<std::string, int> kinds;
    for (auto const& line : History(1, 4000).done) {
        ++kinds[line.substr(0, line.find(' '))];
    }

    for (auto const* const kind :
         {"add", "delete", "set", "rename", "move", "master", "replace", "somebody",
          "promote_secondaries", "keep_addr_on_down", "name", "new", "namespace", "remove"}) {
        EXPECT_GT(kinds[kind], 5) << kind;
    }
}

TEST(RandomOperations, TheSameAddressStandsOnSeveralLinks) {
    History const history(3);
    int meetings = 0;
    for (auto const id : history.bench.kernel.namespaces()) {
        std::multiset<std::string> all;
        for (auto const& [ifIndex, link] : history.bench.kernel.links(id)) {
            for (auto const& one : link.ip4) {
                all.insert(std::string(one.own.address().text()));
            }
        }
        for (auto const& one : all) {
            meetings += all.count(one) > 1 ? 1 : 0;
        }
    }
    EXPECT_GT(meetings, 0);
}

// Knows what has been told, and nothing else.
class Follower {
public:
    void hear(std::string const& line) {
        if (line.starts_with("NEW")) {
            known_[keyOf(line)] = line;
        } else if (line.starts_with("DEL")) {
            EXPECT_EQ(known_.erase(keyOf(line)), 1U) << line;
        }
    }
    Lines known() const {
        Lines lines;
        for (auto const& [key, line] : known_) {
            lines.push_back(line);
        }
        return lines;
    }

private:
    // "LINK INDEX", or "ADDR INDEX ADDRESS" with the peer.
    static std::string keyOf(std::string const& line) {
        bool const isLink = line.substr(3, 4) == "LINK";
        auto const end =
            isLink ? line.find(' ', 8) : std::min(line.find(" flags"), line.find(" scope"));
        return line.substr(3, end - 3);
    }

    std::map<std::string, std::string> known_;
};

TEST(RandomOperations, WhoeverListensKnowsWhatADumpSays) {
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        Bench bench;
        // Nobody tells that lifetimes pass, and that an address which outlives its link's going
        // down has to be checked for duplicates anew.
        RandomOperations operations(seed, {.lifetimes = 0, .settings = 0});
        Follower follower;
        follower.hear("NEWLINK 1 lo state 2");
        for (int i = 0; i < 200; ++i) {
            std::string const done = operations.doOne(bench.kernel);
            bench.kernel.runTo(bench.kernel.now() + 2);
            for (auto const& line : bench.told()) {
                follower.hear(line);
            }
            Lines dumped = bench.dump(RTM_GETLINK);
            Lines const rest = bench.dump(RTM_GETADDR);
            dumped.insert(dumped.end(), rest.begin(), rest.end());
            std::erase(dumped, "DONE");
            ASSERT_THAT(follower.known(), testing::UnorderedElementsAreArray(dumped))
                << "seed " << seed << " after " << done;
        }
    }
}

}  // namespace
}  // namespace Netlink::Fake
