#include "intfaddr/answer/Watch.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

#include "Zin/Format.h"
#include "intfaddr/answer/TestWatcher.h"

namespace IntfAddr {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;

Parameters const initial{{"initial", "true"}};

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

TEST_F(WatchTest, AnEventHasAllThatAnAnswerHasOfARow) {
    runTo(1.0);
    Reply const one = reply("watch");
    std::string text = drained(*one.body);
    EXPECT_EQ(text, "id: me.0\ndata: {\"seq\":0,\"agent\":\"me\",\"begin\":\"changes\"}\n\n");
    text.clear();
    addAddress(7, "2001:db8::1/64");
    runTo(2.0);
    one.body->next(text);

    EXPECT_EQ(text,
              "id: me.1\n"
              "data: {\"seq\":1,\"agent\":\"me\",\"vrf\":\"default\",\"interface\":\"eth0\","
              "\"address\":\"2001:db8::1\",\"prefixLength\":64,\"family\":\"IPv6\","
              "\"subnet\":\"2001:db8::/64\",\"virtual\":false,\"present\":true}\n\n");
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
    watcher.pullFirstRow();
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

    EXPECT_THAT(slow.takeLines(), ElementsAre("begin changes", "begin anew",
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
    addTwenty();
    runTo(1.0);
    Watcher watcher(*this, initial);
    watcher.pullFirstRow();
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

TEST_F(WatchTest, WhoComesBackWithHisLastIdIsToldWhatChangedMeanwhileOnce) {
    addAddress(7, "10.0.0.1/24");
    runTo(1.0);
    Watcher watcher(*this, initial);
    watcher.pullAll();
    addAddress(7, "10.0.0.2/24");
    addAddress(7, "10.0.0.3/24");
    runTo(2.0);
    watcher.pull();
    watcher.takeLines();
    // The next event comes in half.
    watcher.pull(40);
    addAddress(7, "10.0.0.4/24");
    runTo(3.0);
    watcher.connect();
    EXPECT_EQ(changes.readers(), 1U);
    watcher.pullAll();

    EXPECT_THAT(watcher.takeLines(), ElementsAre("begin resumed", "+ default 10.0.0.3/24 eth0",
                                                 "+ default 10.0.0.4/24 eth0"));
    EXPECT_EQ(watcher.replica(), table({}));
}

// Nobody else would tell him.
TEST_F(WatchTest, WhoComesBackIsToldWhatWentWithItsVrf) {
    auto const red = kernel.makeNamespace("ns-red");
    kernel.settings(red).linkLocal = false;
    add(red, 7, "eth0");
    ASSERT_EQ(kernel.links().addAddress(
                  {red, 7}, {.own = Nimb::IpGenAddrWithMask("10.0.0.1/24"), .flags = IFA_F_NODAD}),
              0);
    runTo(1.0);
    Watcher watcher(*this, {{"initial", "true"}, {"vrf", "red"}});
    watcher.pullAll();
    ASSERT_THAT(watcher.replica(), ElementsAre("red 10.0.0.1/24 eth0"));
    kernel.removeName("ns-red");
    runTo(2.0);
    ASSERT_EQ(reply("addresses", {{"vrf", "red"}}).status, 404U);
    watcher.connect();
    watcher.pullAll();
    EXPECT_THAT(watcher.replica(), testing::IsEmpty());

    watcher.connectWith("another.7");
    watcher.pullAll();
    EXPECT_THAT(watcher.replica(), testing::IsEmpty());
}

// The agent lets go who does not read for long; he finds what he had as it was.
TEST_F(WatchTest, WhoWasLetGoSinceHeDidNotReadGoesOnWithWhatHeHad) {
    runTo(1.0);
    Watcher watcher(*this, {});
    watcher.pullAll();
    watcher.takeLines();
    for (int i = 1; i <= static_cast<int>(heldChanges); ++i) {
        addAddress(8, fmt::format("10.1.{}.1/24", i).c_str());
    }
    runTo(2.0);
    // Written for him, and never read.
    for (int i = 0; i < 20; ++i) {
        watcher.pull(0);
    }
    watcher.connect();
    watcher.pullAll();

    EXPECT_EQ(watcher.replica().size(), heldChanges);
    EXPECT_EQ(watcher.resumptions(), 1U);
    addAddress(8, "10.2.0.1/24");
    runTo(3.0);
    watcher.pullAll();
    EXPECT_EQ(watcher.replica().size(), heldChanges + 1);
}

TEST_F(WatchTest, WhatFellOutOfTheLogMeanwhileIsCountedAndTheTableFollows) {
    addAddress(7, "10.0.0.1/24");
    runTo(1.0);
    Watcher watcher(*this, {{"address", "10.0.0.1"}});
    watcher.pullAll();
    watcher.takeLines();
    for (int i = 1; i <= static_cast<int>(heldChanges) + 1; ++i) {
        addAddress(8, fmt::format("10.1.{}.1/24", i).c_str());
    }
    runTo(2.0);
    auto const id = watcher.lastEventId();
    std::string text;
    reply("watch", {}, "GET", id).body->next(text);
    EXPECT_EQ(text,
              "data: {\"seq\":51,\"agent\":\"me\",\"begin\":\"anew\","
              "\"why\":\"more has changed than is kept\",\"lost\":51}\n\n");
    // Cut off in the walk he comes with the id that he had, and is told the same.
    for (int i = 0; i < 2; ++i) {
        watcher.connect();
        watcher.pull();
        EXPECT_EQ(watcher.lastEventId(), id);
    }
    watcher.pullAll();
    EXPECT_THAT(watcher.takeLines(),
                ElementsAre("begin anew", "begin anew", "+ default 10.0.0.1/24 eth0", "complete"));
    EXPECT_EQ(watcher.lastEventId(), "me.51");
}

TEST_F(WatchTest, WhereAnIdIsOfNoUseItIsSaidWhyAndTheTableFollows) {
    addAddress(7, "10.0.0.1/24");
    runTo(1.0);
    Watcher const watches(*this, {});
    for (auto const& [id, why] : std::vector<std::pair<std::string, std::string>>{
             {"you.0", "the last event is another agent's"},
             {"me.1", "the last event has not been yet"},
             {"me", "the last event's id cannot be read: "},
             {"", "the last event's id cannot be read: "},
             {std::string("me.0\0\r\n\xff", 8), "the last event's id cannot be read: "}}) {
        for (auto const* flag : {"true", "false"}) {
            Parameters const query{{"initial", flag}, {"address", "10.0.0.1"}};
            std::string text;
            reply("watch", query, "GET", id).body->next(text);
            EXPECT_THAT(text, testing::StartsWith(
                                  fmt::format("data: {{\"seq\":0,\"agent\":\"me\",\"begin\":"
                                              "\"anew\",\"why\":\"{}",
                                              why)));
            Watcher watcher(*this, query);
            watcher.connectWith(id);
            watcher.pullAll();
            EXPECT_THAT(watcher.takeLines(),
                        ElementsAre("begin anew", "+ default 10.0.0.1/24 eth0", "complete"));
        }
    }
}

TEST_F(WatchTest, ThereAreNoIdsBeforeTheWalkIsComplete) {
    addTwenty();
    runTo(1.0);
    Watcher watcher(*this, initial);
    watcher.pullFirstRow();
    // Of what the walk has passed, and more of it than an id alone would wait for.
    auto const row = *watcher.replica().begin();
    auto const addr = row.substr(8, row.rfind(' ') - 8);
    for (int i = 0; i < 5; ++i) {
        removeAddress(7, addr.c_str());
        runTo(2.0 + 8.0 * i);
        addAddress(7, addr.c_str());
        runTo(6.0 + 8.0 * i);
    }
    EXPECT_GE(changes.end(), 10U);
    while (!watcher.isComplete()) {
        EXPECT_EQ(watcher.lastEventId(), "");
        watcher.pull();
    }
    EXPECT_EQ(watcher.lastEventId(), fmt::format("me.{}", changes.end()));
}

TEST_F(WatchTest, WhoIsToldOfLittleKeepsAnIdThatIsOfUse) {
    runTo(1.0);
    Watcher watcher(*this, {{"address", "10.0.0.1"}});
    watcher.pullAll();
    watcher.takeLines();
    for (int i = 1; i <= 4 * static_cast<int>(heldChanges); ++i) {
        addAddress(8, fmt::format("10.1.{}.1/24", i).c_str());
        runTo(1.0 + i);
        watcher.pullAll();
        if (i % 20 == 0) {
            watcher.connect();
            watcher.pullAll();
        }
    }

    EXPECT_THAT(watcher.takeLines(), testing::Each("begin resumed"));
    EXPECT_EQ(watcher.resumptions(), 10U);
}

}  // namespace
}  // namespace IntfAddr
