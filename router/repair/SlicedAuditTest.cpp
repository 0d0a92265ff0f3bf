#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <utility>

#include "Zin/Format.h"
#include "router/repair/TestSupervisor.h"

namespace Routing {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using namespace TestSupervisor;

// Slices of a few steps, one each tenth of a second, of a router with so many virtual addresses
// that an audit takes longer than a fault may stay.
struct Slow : Fixture {
    Slow() {
        vrf("red");
        for (int n = 0; n < 2000; ++n) {
            apply(inputs().vipAdd(
                "elsewhere", Nimb::IpAddrWithMask(fmt::format("10.{}.{}.1/32", n / 200, n % 200))));
        }
    }
    void slice() {
        clock->nowIs(clock->now() + 0.1);
        while (supervisor.runNextTask()) {
        }
        supervisor.repair();
        supervisor.auditSlice(std::chrono::nanoseconds(0));
    }
    // So that the next rebuild has to wait.
    void failOften() {
        for (int n = 0; n < 6; ++n) {
            fail("red");
            if (supervisor.degraded("red")) {
                clock->nowIs(supervisor.nextRepair());
                supervisor.repair();
            }
        }
        repairs.clear();
        clock->nowIs(clock->now() + 1.0);
    }
};

TEST(SlicedAudit, AuditsInSlices) {
    Fixture fixture;
    fixture.vrf("red");
    fixture.vrf("blue");
    fixture.router.table("blue")->intfAddrEntryFromAddrDel(
        IpLib::IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1")));
    // No time at all is a few steps a slice.
    int slices = 0;
    while (fixture.repairs.empty()) {
        if (!fixture.supervisor.auditSlice(std::chrono::nanoseconds(0))) {
            EXPECT_GE(fixture.supervisor.nextAuditSlice(), fixture.clock->now());
            fixture.clock->nowIs(fixture.supervisor.nextAuditSlice());
        }
        ASSERT_LT(++slices, 1000);
    }

    EXPECT_THAT(fixture.repairs, ElementsAre(StartsWith("4 blue +0 -0: row and by-address entry")));
}

TEST(SlicedAudit, UnderLoadASliceIsDueATenthOfASecondAfterTheLast) {
    Fixture fixture;
    for (int n = 0; n < 100; ++n) {
        fixture.vrf(fmt::format("vrf{}", n));
    }
    fixture.clock->nowIs(5.0);
    ASSERT_TRUE(fixture.supervisor.auditSlice(std::chrono::nanoseconds(0)));

    EXPECT_DOUBLE_EQ(fixture.supervisor.nextAuditSlice(), 5.1);
}

TEST(SlicedAudit, ASlowAuditRepairsNothingThatIsYoungerThanItself) {
    Slow slow;
    bool isAtEth0 = true;
    slow.primary("red", "eth1", "10.0.0.1/24");
    // The address changes hands again and again, and each time that takes 2 s.
    for (int tick = 0; tick < 1000; ++tick) {
        if (tick % 25 == 0) {
            slow.primary("red", isAtEth0 ? "eth0" : "eth1", "0.0.0.0/0");
            isAtEth0 = !isAtEth0;
        } else if (tick % 25 == 22) {
            slow.primary("red", isAtEth0 ? "eth1" : "eth0", "10.0.0.1/24");
        }
        slow.slice();
    }
    EXPECT_THAT(slow.repairs, IsEmpty());
}

TEST(SlicedAudit, ASlowAuditDoesNotRepairWhatIsOwedARebuild) {
    Slow slow;
    slow.failOften();
    for (int n = 0; n < 100; ++n) {
        slow.slice();
    }
    slow.fail("red");
    slow.primary("red", "eth0", "0.0.0.0/0");
    ASSERT_TRUE(slow.supervisor.degraded("red"));
    Zin::Seconds const due = slow.supervisor.nextRepair();
    while (slow.clock->now() < due - 0.2) {
        slow.slice();
    }
    EXPECT_THAT(slow.repairs, IsEmpty());
}

TEST(SlicedAudit, ASlowAuditThatIsGivenUpLeavesNothingToTheNextOne) {
    Slow slow;
    for (int n = 0; n < 500; ++n) {
        slow.apply(slow.inputs().ipSecondaryAdd(
            "red", "eth0", Nimb::IpAddrWithMask(fmt::format("20.{}.{}.1/24", n / 200, n % 200))));
    }
    slow.failOften();
    for (int n = 0; n < 80; ++n) {
        slow.slice();
    }
    slow.fail("red");
    ASSERT_TRUE(slow.supervisor.degraded("red"));
    slow.primary("red", "eth1", "10.0.0.1/24");  // is to wait behind eth0
    for (int n = 0; n < 3000; ++n) {
        slow.slice();
    }
    EXPECT_EQ(slow.repairs.size(), 1U);
}

TEST(SlicedAudit, AuditsGoOnUnderLoad) {
    Slow slow;
    slow.router.table("red")->intfAddrEntryFromAddrDel(
        IpLib::IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1")));
    for (int n = 0; n < 1000; ++n) {
        slow.slice();
    }
    EXPECT_EQ(slow.repairs.size(), 1U);
}

}  // namespace
}  // namespace Routing
