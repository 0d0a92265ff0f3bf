#include "feeds/netlink/Follower.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

#include "TestMemory/TestMemory.h"
#include "feeds/netlink/fake/FakeKernel.h"

namespace Netlink {
namespace {

using Fake::FakeKernel;
using Fake::Fault;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

struct Followed {
    Followed() { kernel.links().add(Fake::LinkKind::dummy, {own, "eth0", eth0}); }

    void add(char const* addr) {
        ASSERT_EQ(kernel.links().addAddress({own, eth0}, {.own = Nimb::IpGenAddrWithMask(addr)}),
                  0);
    }
    void remove(char const* addr) {
        ASSERT_EQ(kernel.links().removeAddress({own, eth0}, {.own = Nimb::IpGenAddrWithMask(addr)}),
                  0);
    }

    // As a loop would: the follower has its turn after each event, and when it asks for it.
    void runTo(Zin::Seconds time) {
        for (int turn = 0; turn < 10'000; ++turn) {
            while (kernel.deliver()) {
            }
            follower.run(kernel.now());
            Zin::Seconds const next = std::min(kernel.nextEvent(), follower.nextExpiry());
            if (next > time) {
                kernel.advanceTo(time);
                return;
            }
            kernel.advanceTo(std::max(next, kernel.now()));
        }
        FAIL() << "it never rests";
    }
    std::vector<std::string> mirrored() const {
        std::vector<std::string> texts;
        if (auto const* const link = follower.mirror().find(eth0)) {
            for (Address const& address : link->ip4.list()) {
                texts.push_back(address.withMask().toStrep());
            }
        }
        return texts;
    }
    std::vector<std::string> real() const {
        std::vector<std::string> texts;
        for (auto const& address : kernel.link(own, "eth0")->ip4) {
            texts.push_back(address.own.toStrep());
        }
        return texts;
    }

    FakeKernel kernel;
    NamespaceId const own = kernel.ownNamespace();
    static constexpr std::uint32_t eth0 = 7;
    std::vector<std::string> notices;
    Follower follower{kernel,
                      std::nullopt,
                      "VRF 'default'",
                      {.receiveBuffer = 100'000, .coalesce = 0.001},
                      [this](std::string const& line) { notices.push_back(line); }};
};

struct FollowerTest : testing::Test, Followed {};

TEST_F(FollowerTest, ReadsWhatIsThereAndIsReady) {
    add("10.0.0.1/24");
    EXPECT_FALSE(follower.isReady());
    runTo(1.0);

    EXPECT_TRUE(follower.isReady());
    EXPECT_FALSE(follower.distrust());
    EXPECT_THAT(mirrored(), ElementsAre("10.0.0.1/24"));
    EXPECT_THAT(notices, IsEmpty());
}

TEST_F(FollowerTest, WaitsAsLongAsItIsToldLast) {
    runTo(1.0);
    follower.coalesceIs(0.5);
    add("10.0.0.1/24");
    while (kernel.deliver()) {
    }
    follower.run(1.0);
    EXPECT_EQ(follower.nextExpiry(), 1.5);
}

TEST_F(FollowerTest, FollowsWhatChangesAfterAShortWait) {
    runTo(1.0);
    add("10.0.0.1/24");
    add("10.0.0.2/24");
    while (kernel.deliver()) {
    }
    follower.run(1.0);
    EXPECT_THAT(mirrored(), IsEmpty());
    EXPECT_EQ(follower.nextExpiry(), 1.001);
    add("10.0.0.3/24");
    runTo(1.001);

    EXPECT_THAT(mirrored(), ElementsAre("10.0.0.1/24", "10.0.0.2/24", "10.0.0.3/24"));
    remove("10.0.0.1/24");
    runTo(1.01);
    EXPECT_EQ(mirrored(), real());
}

TEST_F(FollowerTest, WhatWasLostIsReadAnew) {
    runTo(1.0);
    kernel.faults().next(Fault::loseNotification, ENOBUFS);
    add("10.0.0.1/24");
    runTo(1.1);

    EXPECT_EQ(mirrored(), real());
    EXPECT_FALSE(follower.distrust());
    EXPECT_THAT(
        notices,
        ElementsAre(HasSubstr("notifications or dumps lost 1 time, the last: the kernel had")));
}

TEST_F(FollowerTest, MoreIsTriedAfterLongerPausesAndToldOnceAMinute) {
    runTo(1.0);
    int dumps = 0;
    for (int i = 0; i < 600; ++i) {
        kernel.faults().next(Fault::loseNotification, ENOBUFS);
        add("10.0.0.1/24");
        remove("10.0.0.1/24");
        runTo(1.0 + 0.1 * (i + 1));
        dumps += follower.distrust() ? 0 : 1;
    }
    EXPECT_TRUE(follower.distrust() || dumps > 0);
    EXPECT_LT(dumps, 100);  // 600 if there were no pauses
    EXPECT_THAT(notices, SizeIs(1));
    runTo(70.0);

    EXPECT_THAT(notices, SizeIs(2));
    EXPECT_FALSE(follower.distrust());
    EXPECT_EQ(mirrored(), real());
}

TEST_F(FollowerTest, AnInterruptedDumpOnlyAddsAndIsRepeated) {
    runTo(1.0);
    add("10.0.0.1/24");
    runTo(1.1);
    kernel.faults().next(Fault::loseNotification, ENOBUFS);
    remove("10.0.0.1/24");
    add("10.1.0.1/24");
    kernel.faults().next(Fault::interruptDump);
    while (kernel.deliver()) {
    }
    follower.run(kernel.now());
    runTo(1.1015);
    ASSERT_TRUE(follower.distrust());
    EXPECT_THAT(*follower.distrust(), HasSubstr("interrupted"));
    EXPECT_THAT(mirrored(), ElementsAre("10.0.0.1/24", "10.1.0.1/24"));

    runTo(2.0);
    EXPECT_FALSE(follower.distrust());
    EXPECT_EQ(mirrored(), real());
}

TEST_F(FollowerTest, ItIsNotReadyBeforeADumpIsWhole) {
    add("10.0.0.1/24");
    kernel.faults().next(Fault::interruptDump, 0, 3);
    runTo(0.001);
    EXPECT_FALSE(follower.isReady());
    EXPECT_TRUE(follower.distrust());
    runTo(1.0);

    EXPECT_TRUE(follower.isReady());
}

TEST_F(FollowerTest, ARefusedDumpAndOneThatFailsAtItsEndAreRepeated) {
    for (Fault const fault : {Fault::refuseDump, Fault::failDump, Fault::truncate}) {
        kernel.faults().next(fault, ENOMEM);
        kernel.overrun(own);
        add("10.0.0.1/24");
        runTo(kernel.now() + 1.0);
        EXPECT_EQ(mirrored(), real());
        EXPECT_FALSE(follower.distrust());
        remove("10.0.0.1/24");
        runTo(kernel.now() + 1.0);
    }
}

// The one that says that the answer is complete may be cut too.
TEST_F(FollowerTest, NobodyWaitsForTheEndOfADumpOfWhichADatagramWasCut) {
    add("10.0.0.1/24");
    for (int cut = 1; cut < 4; ++cut) {
        kernel.overrun(own);
        kernel.faults().next(Fault::truncate, 0, static_cast<std::size_t>(cut));
        runTo(kernel.now() + 1.0);
        EXPECT_FALSE(follower.distrust());
        EXPECT_EQ(mirrored(), real());
    }
}

TEST_F(FollowerTest, WhatIsNotifiedDuringADumpComesOnTop) {
    runTo(1.0);
    add("10.0.0.1/24");
    runTo(1.1);
    // What the notifications tell is older than what the dump shows.
    kernel.delayNotifications(own, 1.5);
    remove("10.0.0.1/24");
    add("10.2.0.1/24");
    add("10.0.0.1/24");
    runTo(1.2);
    EXPECT_THAT(mirrored(), ElementsAre("10.0.0.1/24"));
    runTo(3.0);

    EXPECT_EQ(mirrored(), real());
    EXPECT_FALSE(follower.distrust());
}

TEST_F(FollowerTest, StrangersAndStrayRepliesAreNotBelieved) {
    for (Fault const fault : {Fault::foreignSender, Fault::strayReply, Fault::unknownType,
                              Fault::unknownAttribute, Fault::duplicate}) {
        kernel.faults().next(fault, 0, 3);
        add("10.0.0.1/24");
        runTo(kernel.now() + 1.0);
        EXPECT_EQ(mirrored(), real());
        remove("10.0.0.1/24");
        runTo(kernel.now() + 1.0);
        EXPECT_EQ(mirrored(), real());
    }
    EXPECT_TRUE(follower.isReady());
}

TEST_F(FollowerTest, WhatCannotBeOpenedIsTriedAgainAndSaidOnce) {
    kernel.faults().next(Fault::failOpening, EMFILE, 4);
    runTo(0.02);
    EXPECT_TRUE(follower.isClosed());
    EXPECT_THAT(notices, ElementsAre(HasSubstr("VRF 'default' is left out: ")));
    runTo(1.0);

    EXPECT_FALSE(follower.isClosed());
    EXPECT_TRUE(follower.isReady());
    EXPECT_THAT(notices, SizeIs(1));
}

TEST_F(FollowerTest, WhereSendingFailsItBeginsAnewAndKeepsWhatItHas) {
    add("10.0.0.1/24");
    runTo(1.0);
    kernel.faults().next(Fault::failSending, EPERM);
    kernel.overrun(own);
    add("10.1.0.1/24");
    runTo(1.0015);
    EXPECT_TRUE(follower.isClosed());
    EXPECT_THAT(mirrored(), Contains("10.0.0.1/24"));
    EXPECT_THAT(notices, Contains(HasSubstr("VRF 'default' is stale: ")));
    runTo(2.0);

    EXPECT_FALSE(follower.distrust());
    EXPECT_EQ(mirrored(), real());
}

// As one may not enter a namespace any more that has given up its privileges.
TEST_F(FollowerTest, WhereNothingCanBeOpenedAnyMoreItBeginsAnewWithWhatItHadOpen) {
    runTo(1.0);
    kernel.faults().next(Fault::failOpening, EPERM, 1000);
    kernel.faults().next(Fault::failSending, ENOBUFS);
    kernel.overrun(own);
    add("10.0.0.1/24");
    runTo(1.0015);
    EXPECT_TRUE(follower.isClosed());
    runTo(2.0);
    EXPECT_FALSE(follower.distrust());
    EXPECT_EQ(mirrored(), real());
    add("10.1.0.1/24");
    runTo(3.0);

    EXPECT_EQ(mirrored(), real());
}

// The kernel is in the midst of the dump before, and refuses another until that has been read.
TEST_F(FollowerTest, WithWhatItHadOpenItGetsOverADumpThatWasGivenUp) {
    kernel.datagramLimitIs(100);
    add("10.0.0.1/24");
    runTo(1.0);
    kernel.faults().next(Fault::failOpening, EPERM, 1000);
    kernel.faults().next(Fault::truncate, 0, 2);
    kernel.overrun(own);
    add("10.1.0.1/24");
    runTo(1.0015);
    EXPECT_TRUE(follower.isClosed());
    runTo(1.05);
    EXPECT_THAT(follower.distrust(), testing::Optional(HasSubstr("busy")));
    runTo(3.0);

    EXPECT_FALSE(follower.distrust());
    EXPECT_EQ(mirrored(), real());
}

// While it reads what has gone, what has come, and a dump of it.
TEST(FollowerWithoutMemory, WhicheverAllocationFailsItReadsAnew) {
    std::size_t allowed = 0;
    for (bool happened = true; happened; ++allowed) {
        Followed one;
        one.add("10.0.0.1/32");
        one.add("10.1.0.1/24");
        one.runTo(1.0);
        static_cast<void>(one.follower.mirror().takeTouched());
        one.remove("10.0.0.1/32");
        one.add("10.2.0.1/32");
        one.kernel.links().add(Fake::LinkKind::dummy, {one.own, "eth1", 8});
        one.kernel.overrun(one.own);
        one.kernel.deliver();
        one.follower.run(1.0);
        one.kernel.advanceTo(1.1);
        {
            TestMemory::OneFailure const failure(allowed);
            one.follower.run(1.1);
            happened = failure.happened();
        }
        EXPECT_NE(happened, one.follower.isReady());
        EXPECT_EQ(happened, one.follower.distrust() == "there was no memory for it");
        one.runTo(2.0);

        EXPECT_TRUE(one.follower.isReady());
        EXPECT_FALSE(one.follower.distrust());
        EXPECT_EQ(one.mirrored(), one.real());
        EXPECT_THAT(one.follower.mirror().takeTouched(),
                    testing::IsSupersetOf({Followed::eth0, 8U}));
    }
    EXPECT_GT(allowed, 50U);
}

TEST_F(FollowerTest, ItSaysWhereItsReceiveBufferIsSmaller) {
    kernel.receiveBufferLimit = 5000;
    runTo(1.0);

    EXPECT_THAT(notices, ElementsAre("VRF 'default': the kernel grants a receive buffer of 5000 "
                                     "bytes only, not 100000"));
}

}  // namespace
}  // namespace Netlink
