#include "intfaddr/Report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "router/OperationError.h"

namespace IntfAddr {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

// 10.0.0.1/24 stands on eth0 of VRF red, 10.0.0.2/24 and 10.0.0.3/24 wait on eth1; VRF blue is
// empty.
struct Fixture {
    Fixture() {
        router.managerStart().apply();
        auto& inputs = router.inputs();
        for (char const* vrf : {"red", "blue"}) {
            router.tableAdd(vrf).apply();
            inputs.ipVrfAdd(vrf).apply();
        }
        for (char const* intf : {"eth0", "eth1"}) {
            inputs.kernelAdd("red", intf, {}).apply();
        }
        inputs.ipIntfAdd("red", "eth0", {.primary = Nimb::IpAddrWithMask("10.0.0.1/24")}).apply();
        inputs
            .ipIntfAdd("red", "eth1",
                       {.primary = Nimb::IpAddrWithMask("10.0.0.2/24"),
                        .secondary = {Nimb::IpAddrWithMask("10.0.0.3/24")}})
            .apply();
    }
    Report ask(Question const& question) const { return makeReport(router, question); }

    Routing::Router router{{}, Zin::make<Zin::VirtualClock>(), std::make_unique<Velk::EveryNth>(0)};
};

TEST(Report, CoversEveryVrf) {
    Fixture fixture;
    Report const report = fixture.ask({});

    ASSERT_THAT(report, SizeIs(2));
    EXPECT_EQ(report[0].vrf, L3::VrfName("blue"));
    EXPECT_THAT(report[0].rows, IsEmpty());
    EXPECT_THAT(report[1].rows, SizeIs(1));
    EXPECT_THAT(report[1].deferred, SizeIs(2));
    EXPECT_TRUE(hasRow(report));
}

TEST(Report, OneVrfAlone) {
    Fixture fixture;
    Report const report = fixture.ask({.vrf = "blue"});

    ASSERT_THAT(report, SizeIs(1));
    EXPECT_EQ(report[0].vrf, L3::VrfName("blue"));
    EXPECT_FALSE(hasRow(report));
}

TEST(Report, OneAddressAloneWhetherItStandsOrWaits) {
    Fixture fixture;
    Report const standing = fixture.ask({.addr = Nimb::IpGenAddr("10.0.0.1")});
    EXPECT_TRUE(hasRow(standing));
    EXPECT_THAT(standing[1].deferred, IsEmpty());

    Report const waiting = fixture.ask({.vrf = "red", .addr = Nimb::IpGenAddr("10.0.0.3")});
    EXPECT_FALSE(hasRow(waiting));
    ASSERT_THAT(waiting[0].deferred, SizeIs(1));
    EXPECT_EQ(waiting[0].deferred[0].addr.toStrep(), "10.0.0.3/24");
}

TEST(Report, AnUnknownVrfIsRefused) {
    Fixture fixture;
    EXPECT_THROW(fixture.ask({.vrf = "green"}), Routing::OperationError);
}

}  // namespace
}  // namespace IntfAddr
