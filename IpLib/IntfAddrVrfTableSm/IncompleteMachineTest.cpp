// A machine whose working rows or backlogs were taken away: it handles no more input, whoever
// brings it, and goes without a word.

#include <gmock/gmock.h>

#include <functional>

#include "IpLib/IntfAddrVrfTableSm/TestMeddler.h"
#include "IpLib/IntfAddrVrfTableSm/TestSmFixture.h"

namespace IpLib {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using TestKit::Meddler;
using TestKit::SmFixture;

struct Part {
    char const* name;
    std::function<void(IntfAddrVrfTableSm&)> take;
};

Part const parts[] = {
    {"working rows", [](IntfAddrVrfTableSm& sm) { EXPECT_TRUE(sm.allIntfAddrWithMaskDel()); }},
    {"clean-up backlog", [](IntfAddrVrfTableSm& sm) { EXPECT_TRUE(sm.intfCleanupBacklogDel()); }},
    {"deferred backlog",
     [](IntfAddrVrfTableSm& sm) { EXPECT_TRUE(sm.deferredIntfAddBacklogDel()); }},
};

// Every kind of input.
void bringInputs(SmFixture& fixture) {
    fixture.ip("Ethernet1", "10.9.0.1/24");
    fixture.secondary("Ethernet1", "10.9.1.1/24");
    fixture.ip6("Ethernet1", "2001:db8:9::1/64");
    fixture.ip6("Ethernet1", "fe80::9/64");
    fixture.ip("Ethernet7", "10.9.7.1/24");
    fixture.ip6("Ethernet7", "2001:db8:97::1/64");
    fixture.ipStatusDel("Ethernet1");
    fixture.ip6StatusDel("Ethernet1");
    fixture.kernelDel("Ethernet2");
    fixture.kernelIs("Ethernet2");
    fixture.virtualIp->virtualIpIs({"blue", Nimb::IpAddrWithMask("10.9.9.9/24")});
    fixture.virtualIp6->virtualIp6Is({"blue", Nimb::Ip6Addr("2001:db8:9::9")});
    fixture.table->vrfIpIntfStatusIs(nullptr);
    fixture.table->vrfIp6IntfStatusIs(nullptr);
    IntfAddrWithMaskKey const key{"Ethernet2", Nimb::IpGenAddrWithMask("10.0.0.2/24")};
    fixture.sm->handleIntfAddrWithMask(key);
    fixture.sm->addIntfAddrWithMask(key);
}

void fill(SmFixture& fixture) {
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip("Ethernet2", "10.0.0.2/24");  // waits
    fixture.ip("Ethernet3", "10.0.3.1/24");
    fixture.ipStatusDel("Ethernet3");  // its clean-up is pending
}

TEST(IncompleteMachine, HandlesNoInput) {
    for (Part const& part : parts) {
        SCOPED_TRACE(part.name);
        SmFixture fixture;
        fill(fixture);
        auto const rows = fixture.rows();

        part.take(*fixture.sm);
        bringInputs(fixture);
        fixture.time.advance(10.0);

        EXPECT_EQ(fixture.rows(), rows);
        fixture.smDel();
        EXPECT_EQ(fixture.rows(), rows);
    }
}

TEST(IncompleteMachine, HandlesNoInputThatCameWithinAChange) {
    for (Part const& part : parts) {
        SCOPED_TRACE(part.name);
        SmFixture fixture;
        fill(fixture);
        Meddler const meddler(fixture, "addr=10.0.5.1", [&] {
            fixture.ip("Ethernet5", "10.0.6.1/24");  // its turn comes after the machine's part went
            part.take(*fixture.sm);
            bringInputs(fixture);
        });

        fixture.ip("Ethernet5", "10.0.5.1/24");
        fixture.time.advance(10.0);

        ASSERT_TRUE(meddler.done());
        // The change that was under way is whole.
        EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "10.0.3.1/24 Ethernet3",
                                                "10.0.5.1/24 Ethernet5"));
        EXPECT_EQ(fixture.rowsByAddr(), fixture.rows());
    }
}

TEST(IncompleteMachine, GoesOnWithNewParts) {
    SmFixture fixture({.intfCleanupDelay = 0.0});
    fixture.sm->allIntfAddrWithMaskDel();
    fixture.sm->deferredIntfAddBacklogDel();
    fixture.sm->deferredIntfAddBacklogIs();
    fixture.ip("Ethernet1", "10.0.0.1/24");
    EXPECT_THAT(fixture.rows(), IsEmpty());
    fixture.sm->allIntfAddrWithMaskIs();
    fixture.ip("Ethernet2", "10.0.2.1/24");
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.2.1/24 Ethernet2"));
}

TEST(IncompleteMachine, FinishesTheCleanupWithinWhichItIsTakenApart) {
    for (Part const& part : parts) {
        for (Zin::Seconds const delay : {0.0, 1.5}) {
            if (delay == 0.0 && &part == &parts[1]) {
                continue;  // there is none
            }
            SCOPED_TRACE(part.name);
            SmFixture fixture({.intfCleanupDelay = delay});
            fixture.ip("Ethernet1", "10.0.0.1/24");
            fixture.secondary("Ethernet1", "10.0.1.1/24");
            fixture.ip("Ethernet2", "10.0.2.1/24");
            Meddler const meddler(fixture, "addr=10.0.0.1", [&] { part.take(*fixture.sm); });
            fixture.kernelDel("Ethernet1");
            fixture.time.advance(delay);
            ASSERT_TRUE(meddler.done());
            EXPECT_THAT(fixture.rows(), ElementsAre("10.0.2.1/24 Ethernet2"));
            EXPECT_THAT(fixture.sets(), ElementsAre("10.0.2.0/24 Ethernet2 10.0.2.1"));
        }
    }
}

TEST(IncompleteMachine, MakesNoMachineForAStatusWithinWhoseReplacementItIsTakenApart) {
    SmFixture fixture({.intfCleanupDelay = 0.0});
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    Meddler const meddler(fixture, "addr=10.0.0.1", [&] { fixture.sm->allIntfAddrWithMaskDel(); });
    fixture.vrfIp->ipIntfStatusIs(Ip::ipIntfStatusFactory("Ethernet1"));
    ASSERT_TRUE(meddler.done());
    EXPECT_EQ(fixture.sm->ipIntfStatusSm("Ethernet1"), nullptr);
    EXPECT_THAT(fixture.rows(), ElementsAre("2001:db8::1/64 Ethernet1"));
}

}  // namespace
}  // namespace IpLib
