#include "intfaddr/answer/Watch.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <random>
#include <set>
#include <sstream>

#include "intfaddr/answer/TestAnswers.h"

namespace IntfAddr {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;

Parameters const initial{{"initial", "true"}};

// "VRF ADDRESS/LENGTH INTERFACE"
std::string rowText(Json const& line) {
    return fmt::format("{} {}/{} {}", line["vrf"].get<std::string>(),
                       line["address"].get<std::string>(), line["prefixLength"].get<int>(),
                       line["interface"].is_null() ? "-" : line["interface"].get<std::string>());
}

// Who watches: each line that has come, and the replica that follows from the lines.
class Watcher {
public:
    Watcher(AnswersTest const& bench, Parameters query)
        : query_(std::move(query)), reply_(bench.reply("watch", query_)) {
        EXPECT_EQ(reply_.status, 200U);
        EXPECT_EQ(reply_.contentType, "application/x-ndjson");
        reply_.body->onMore([this] { ++woken; });
    }

    // Returns whether there is more.
    bool pull() {
        std::string text;
        auto const progress = reply_.body->next(text);
        EXPECT_NE(progress, Body::Progress::ended);
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            apply(Json::parse(line));
        }
        return progress == Body::Progress::more;
    }
    void pullAll() {
        while (pull()) {
        }
    }
    std::vector<std::string> takeLines() { return std::exchange(lines_, {}); }
    std::set<std::string> const& replica() const { return replica_; }
    bool isComplete() const { return isComplete_; }
    std::uint64_t losses() const { return losses_; }
    Parameters const& query() const { return query_; }

    int woken = 0;

private:
    void apply(Json const& line) {
        EXPECT_EQ(line["seq"], ++seq_);
        EXPECT_EQ(line["agent"], "me");
        if (line.contains("begin")) {
            EXPECT_EQ(line["begin"] == "anew", wasLost_) << toLine(line);
            lines_.push_back("begin " + line["begin"].get<std::string>());
            replica_.clear();
            isComplete_ = line["begin"] == "changes";
            wasLost_ = false;
        } else if (line.contains("lost")) {
            EXPECT_GT(line["lost"], 0);
            lines_.push_back("lost");
            wasLost_ = true;
            ++losses_;
        } else if (line.contains("complete")) {
            EXPECT_FALSE(std::exchange(isComplete_, true));
            lines_.push_back("complete");
        } else {
            bool const present = line["present"].get<bool>();
            auto const row = rowText(line);
            EXPECT_TRUE(present ? replica_.insert(row).second : replica_.erase(row) == 1)
                << toLine(line);
            lines_.push_back((present ? "+ " : "- ") + row);
        }
    }

    Parameters const query_;
    Reply const reply_;
    std::uint64_t seq_ = 0;
    std::vector<std::string> lines_;
    std::set<std::string> replica_;
    bool isComplete_ = false;
    bool wasLost_ = false;
    std::uint64_t losses_ = 0;
};

struct WatchTest : AnswersTest {
    // What is in the tables, of what a filter admits, in the words of another answer.
    std::set<std::string> table(Parameters query) const {
        std::erase_if(query, [](auto const& one) { return one.first == "initial"; });
        std::set<std::string> rows;
        Json const answer = ask("addresses", query);
        for (auto const& address : answer["addresses"]) {
            if (address["place"] == "table") {
                EXPECT_TRUE(rows.insert(rowText(address)).second);
            }
        }
        return rows;
    }
};

TEST_F(WatchTest, TheTableComesFirstThenItsChangesAsTheyHappen) {
    addAddress(7, "10.0.0.1/24");
    addAddress(8, "10.1.0.1/24");
    runTo(1.0);
    Watcher watcher(*this, initial);
    watcher.pullAll();

    EXPECT_THAT(watcher.takeLines(),
                AllOf(Contains("begin table"), Contains("+ default 10.0.0.1/24 eth0"),
                      Contains("+ default 10.1.0.1/24 eth1"), Contains("complete")));
    EXPECT_EQ(watcher.replica(), table({}));
    addAddress(7, "10.2.0.1/24");
    removeAddress(8, "10.1.0.1/24");
    runTo(5.0);
    EXPECT_EQ(watcher.woken, 1);
    watcher.pullAll();
    EXPECT_THAT(watcher.takeLines(), testing::UnorderedElementsAre("+ default 10.2.0.1/24 eth0",
                                                                   "- default 10.1.0.1/24 eth1"));
}

TEST_F(WatchTest, WithoutInitialThereAreOnlyChanges) {
    addAddress(7, "10.0.0.1/24");
    runTo(1.0);
    Watcher watcher(*this, {{"initial", "false"}});
    watcher.pullAll();
    EXPECT_THAT(watcher.takeLines(), ElementsAre("begin changes"));
    addAddress(7, "10.0.0.2/24");
    runTo(2.0);
    Watcher late(*this, {});
    late.pullAll();
    watcher.pullAll();

    EXPECT_THAT(late.takeLines(), ElementsAre("begin changes"));
    EXPECT_THAT(watcher.takeLines(), ElementsAre("+ default 10.0.0.2/24 eth0"));
}

TEST_F(WatchTest, ALineHasAllThatAnAnswerHasOfARow) {
    runTo(1.0);
    Reply const one = reply("watch");
    std::string text = drained(*one.body);
    EXPECT_EQ(text, "{\"seq\":1,\"agent\":\"me\",\"begin\":\"changes\"}\n");
    text.clear();
    addAddress(7, "2001:db8::1/64");
    runTo(2.0);
    one.body->next(text);

    EXPECT_EQ(text,
              "{\"seq\":2,\"agent\":\"me\",\"vrf\":\"default\",\"interface\":\"eth0\","
              "\"address\":\"2001:db8::1\",\"prefixLength\":64,\"family\":\"IPv6\","
              "\"subnet\":\"2001:db8::/64\",\"virtual\":false,\"present\":true}\n");
}

TEST_F(WatchTest, AVirtualAddressIsOnNoInterface) {
    runTo(1.0);
    agent.router()
        .inputs()
        .vipAdd(L3::VrfName("default"), Nimb::IpAddrWithMask("10.9.0.1/24"))
        .apply();
    Watcher watcher(*this, {{"initial", ""}, {"address", "10.9.0.1"}});
    runTo(2.0);
    watcher.pullAll();

    EXPECT_THAT(watcher.takeLines(),
                ElementsAre("begin table", "+ default 10.9.0.1/32 -", "complete"));
}

TEST_F(WatchTest, AFilterAppliesToTheTableAndToTheChanges) {
    addAddress(7, "10.0.0.1/24");
    addAddress(8, "10.1.0.1/24");
    runTo(1.0);
    Watcher watcher(*this, {{"prefix", "10.0.0.0/24"}, {"initial", "true"}});
    watcher.pullAll();
    addAddress(7, "10.0.0.2/24");
    addAddress(8, "10.1.0.2/24");
    runTo(2.0);
    watcher.pullAll();

    EXPECT_THAT(watcher.takeLines(), ElementsAre("begin table", "+ default 10.0.0.1/24 eth0",
                                                 "complete", "+ default 10.0.0.2/24 eth0"));
}

// A change to what the walk has passed is told; what it has not passed it will find as it is.
TEST_F(WatchTest, WhatChangesDuringTheWalkIsToldOnce) {
    for (int i = 1; i <= 60; ++i) {
        addAddress(7, fmt::format("10.0.{}.1/24", i).c_str());
    }
    runTo(1.0);
    auto const all = table({});
    Watcher watcher(*this, {{"initial", "true"}, {"family", "4"}});
    while (watcher.replica().empty()) {
        watcher.pull();
    }
    auto const told = watcher.replica();
    ASSERT_LT(told.size(), 60U);
    std::set<std::string> untold;
    std::ranges::set_difference(all, told, std::inserter(untold, untold.end()));
    auto const remove = [this](std::string const& row) {
        auto const begin = row.find(' ') + 1;
        removeAddress(7, row.substr(begin, row.rfind(' ') - begin).c_str());
    };
    std::string const passed = *told.begin();
    std::string const ahead = *untold.begin();
    remove(passed);
    remove(ahead);
    addAddress(7, "10.9.0.1/24");
    runTo(5.0);
    watcher.pullAll();

    auto const lines = watcher.takeLines();
    EXPECT_THAT(lines, Contains("- " + passed).Times(1));
    EXPECT_THAT(lines, testing::Not(Contains(testing::HasSubstr(ahead))));
    EXPECT_THAT(lines, Contains("+ default 10.9.0.1/24 eth0").Times(1));
    EXPECT_EQ(watcher.replica(), table({{"family", "4"}}));
}

TEST_F(WatchTest, WhoIsTooSlowIsToldSoAndBeginsAnew) {
    addAddress(7, "10.0.0.1/24");
    runTo(1.0);
    Watcher slow(*this, {{"address", "10.0.0.1"}});
    slow.pullAll();
    for (int i = 1; i <= static_cast<int>(heldChanges) + 1; ++i) {
        addAddress(8, fmt::format("10.1.{}.1/24", i).c_str());
    }
    runTo(2.0);
    EXPECT_EQ(changes.end() - changes.first(), heldChanges);
    slow.pullAll();

    EXPECT_THAT(slow.takeLines(), ElementsAre("begin changes", "lost", "begin anew",
                                              "+ default 10.0.0.1/24 eth0", "complete"));
    EXPECT_EQ(slow.losses(), 1U);
}

TEST_F(WatchTest, AsManyChangesAsTheLogHoldsAreNotTooMany) {
    runTo(1.0);
    Watcher watcher(*this, {});
    watcher.pullAll();
    for (int i = 1; i <= static_cast<int>(heldChanges); ++i) {
        addAddress(8, fmt::format("10.1.{}.1/24", i).c_str());
    }
    runTo(2.0);
    watcher.pullAll();

    EXPECT_EQ(watcher.replica().size(), heldChanges);
    EXPECT_EQ(watcher.losses(), 0U);
}

TEST_F(WatchTest, ATableThatIsReplacedDuringTheWalkIsWalkedOn) {
    for (int i = 1; i <= 20; ++i) {
        addAddress(7, fmt::format("10.0.{}.1/24", i).c_str());
    }
    runTo(1.0);
    Watcher watcher(*this, initial);
    while (watcher.replica().empty()) {
        watcher.pull();
    }
    agent.router().tableAdd(L3::VrfName("default")).apply();
    runTo(2.0);
    removeAddress(7, "10.0.20.1/24");
    runTo(5.0);
    watcher.pullAll();

    EXPECT_EQ(watcher.replica(), table({}));
    EXPECT_GE(watcher.replica().size(), 19U);
}

TEST_F(WatchTest, NothingIsKeptBeforeSomebodyWatches) {
    addAddress(7, "10.0.0.1/24");
    runTo(1.0);
    EXPECT_EQ(changes.end(), 0U);
    {
        Watcher const watcher(*this, {});
        EXPECT_EQ(changes.readers(), 1U);
    }
    EXPECT_EQ(changes.readers(), 0U);
}

TEST_F(WatchTest, ABadQuestionIsRefused) {
    runTo(1.0);

    EXPECT_EQ(reply("watch", {{"initial", "maybe"}}).status, 400U);
    EXPECT_EQ(reply("watch", {{"initial", ""}, {"initial", ""}}).status, 400U);
    EXPECT_EQ(reply("watch", {{"address", "10.0.0.256"}}).status, 400U);
    EXPECT_EQ(reply("watch", {{"vrf", "none"}}).status, 404U);
    EXPECT_EQ(reply("watch", {}, "POST").status, 405U);
    // A single look at the kernel has nothing to follow.
    Answers const look(agent.router(), agent.feed(), "kernel");
    Routes ofLook;
    look.addTo(ofLook);
    EXPECT_EQ(ofLook
                  .reply({.method = "GET",
                          .target = targetOf("watch", {}),
                          .lastEventId = {},
                          .body = {},
                          .peer = {}})
                  .status,
              404U);
}

// Some watch from the beginning, some come and go, some are slow; VRFs come and go, tables are
// replaced.
struct RandomWatch : WatchTest {
    void change() {
        auto const host = number(1, 30);
        std::uint32_t const ifIndex = number(0, 1) ? 7 : 8;
        auto const text = number(0, 2) ? fmt::format("10.{}.0.{}/24", ifIndex, host)
                                       : fmt::format("2001:db8:{}::{}/64", ifIndex, host);
        Netlink::Fake::Place const link{own, ifIndex};
        switch (number(0, 40)) {
            case 0:
                kernel.links().setUp(link, number(0, 1) == 1);
                break;
            case 1:
                agent.router().tableAdd(L3::VrfName("default")).apply();
                break;
            case 2:
                if (red_) {
                    kernel.removeName("ns-red");
                    red_.reset();
                } else {
                    red_ = kernel.makeNamespace("ns-red");
                    kernel.settings(*red_).linkLocal = false;
                    add(*red_, 7, "eth0");
                    kernel.links().addAddress(
                        {*red_, 7}, {.own = Nimb::IpGenAddrWithMask("10.7.0.1/24"), .flags = {}});
                }
                break;
            default: {
                Netlink::Fake::Address const address{.own = Nimb::IpGenAddrWithMask(text),
                                                     .flags = IFA_F_NODAD};
                if (number(0, 1)) {
                    kernel.links().addAddress(link, address);
                } else {
                    kernel.links().removeAddress(link, {.own = address.own});
                }
            }
        }
    }
    Parameters query() {
        static std::vector<Parameters> const queries{{},
                                                     {{"prefix", "10.7.0.0/24"}},
                                                     {{"vrf", "default"}, {"family", "6"}},
                                                     {{"interface", "eth1"}},
                                                     {{"address", "10.7.0.1"}}};
        Parameters query = queries[static_cast<std::size_t>(number(0, 4))];
        query.emplace_back("initial", "");
        return query;
    }
    int number(int least, int most) {
        return std::uniform_int_distribution<int>(least, most)(random);
    }

    std::mt19937 random{1};

private:
    std::optional<Netlink::NamespaceId> red_;
};

TEST_F(RandomWatch, EveryReplicaIsTheFilteredTableWheneverItIsQuiet) {
    double now = 1.0;
    runTo(now);
    std::vector<std::unique_ptr<Watcher>> watchers;
    std::uint64_t losses = 0;
    for (int round = 0; round < 20; ++round) {
        for (int turn = number(0, 60); turn > 0; --turn) {
            for (int count = number(0, 8); count > 0; --count) {
                change();
            }
            runTo(now += 0.05 * number(0, 10));
            if (number(0, 9) == 0 && watchers.size() < 6) {
                watchers.push_back(std::make_unique<Watcher>(*this, query()));
            }
            if (number(0, 30) == 0 && !watchers.empty()) {
                watchers.erase(watchers.begin());
            }
            for (std::size_t i = 0; i < watchers.size(); ++i) {
                // The first ones read next to nothing.
                for (int pulls = number(0, i < 2 ? 1 : 30); pulls > 0; --pulls) {
                    watchers[i]->pull();
                }
            }
        }
        runTo(now += 20.0);
        for (auto const& watcher : watchers) {
            watcher->pullAll();
            EXPECT_TRUE(watcher->isComplete());
            EXPECT_EQ(watcher->replica(), table(watcher->query())) << round;
            losses += watcher->losses();
        }
        ASSERT_FALSE(HasFailure()) << round;
    }
    EXPECT_GT(losses, 0U);
    EXPECT_LE(changes.end() - changes.first(), heldChanges);
}

}  // namespace
}  // namespace IntfAddr
