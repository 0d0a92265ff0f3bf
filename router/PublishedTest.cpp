#include "router/Published.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Zin/Format.h"
#include "router/Router.h"

namespace Routing {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Nimb::IpAddrWithMask ip(char const* text) { return Nimb::IpAddrWithMask(text); }
Nimb::Ip6AddrWithMask ip6(char const* text) { return Nimb::Ip6AddrWithMask(text); }
Nimb::IpGenAddr addr(char const* text) { return Nimb::IpGenAddr(text); }
IpLib::IntfAddrWithMaskKey key(char const* intf, char const* addrWithMask) {
    return {intf, Nimb::IpGenAddrWithMask(addrWithMask)};
}

// VRFs red and blue with status of both families.
struct Fixture {
    Fixture() {
        for (char const* vrf : {"red", "blue"}) {
            inputs.ipVrfAdd(vrf).apply();
            inputs.ip6VrfAdd(vrf).apply();
        }
    }

    Published published(char const* vrf = "red", bool ignoresDevices = false) const {
        return {inputs, vrf, ignoresDevices};
    }

    Inputs inputs;
};

std::vector<std::string> all(Published const& published) {
    std::vector<std::string> texts;
    published.forEach([&](IpLib::IntfAddrWithMaskKey const& of, bool deprecated) {
        texts.push_back(
            fmt::format("{} {}{}", of.addrWithMask, of.intfId, deprecated ? " deprecated" : ""));
    });
    return texts;
}

TEST(Published, AnAddressIsPublishedByItsInterfaceAndWithItsLengthAlone) {
    Fixture fixture;
    fixture.inputs
        .ipIntfAdd("red", "eth0", {.primary = ip("10.0.0.1/24"), .secondary = {ip("10.0.1.1/24")}})
        .apply();
    fixture.inputs.ip6IntfAdd("red", "eth0", {{.addr = ip6("2001:db8::1/64")}}).apply();
    Published const published = fixture.published();

    for (char const* is : {"10.0.0.1/24", "10.0.1.1/24", "2001:db8::1/64"}) {
        EXPECT_EQ(published.deprecated(key("eth0", is)), std::optional(false)) << is;
        EXPECT_EQ(published.deprecated(key("eth1", is)), std::nullopt) << is;
        EXPECT_EQ(fixture.published("blue").deprecated(key("eth0", is)), std::nullopt) << is;
        EXPECT_EQ(fixture.published("grey").deprecated(key("eth0", is)), std::nullopt) << is;
    }
    for (char const* isNot : {"10.0.0.1/25", "10.0.1.1/16", "2001:db8::1/128", "10.0.0.2/24"}) {
        EXPECT_EQ(published.deprecated(key("eth0", isNot)), std::nullopt) << isNot;
    }
}

TEST(Published, AnAddressIsDeprecatedAsItsStatusSays) {
    Fixture fixture;
    fixture.inputs
        .ip6IntfAdd(
            "red", "eth0",
            {{.addr = ip6("2001:db8::1/64"), .deprecated = true}, {.addr = ip6("2001:db8::2/64")}})
        .apply();
    Published const published = fixture.published();

    EXPECT_EQ(published.deprecated(key("eth0", "2001:db8::1/64")), std::optional(true));
    EXPECT_EQ(published.deprecated(key("eth0", "2001:db8::2/64")), std::optional(false));
}

TEST(Published, NoPrimaryAddressIsNone) {
    Fixture fixture;
    fixture.inputs.ipIntfAdd("red", "eth0", {}).apply();

    EXPECT_EQ(fixture.published().deprecated(key("eth0", "0.0.0.0/0")), std::nullopt);
    EXPECT_THAT(all(fixture.published()), IsEmpty());
}

TEST(Published, AnUnnumberedInterfaceDoesNotPublishThePrimaryAddressThatItBorrows) {
    Fixture fixture;
    fixture.inputs
        .ipIntfAdd("red", "eth0",
                   {.primary = ip("10.0.0.1/24"),
                    .unnumberedSource = "lo",
                    .secondary = {ip("10.0.1.1/24")}})
        .apply();
    Published const published = fixture.published();

    EXPECT_EQ(published.deprecated(key("eth0", "10.0.0.1/24")), std::nullopt);
    EXPECT_EQ(published.deprecated(key("eth0", "10.0.1.1/24")), std::optional(false));
    EXPECT_THAT(all(published), ElementsAre("10.0.1.1/24 eth0"));
}

TEST(Published, ALinkLocalAddressIsLookedForWithWhateverLength) {
    Fixture fixture;
    fixture.inputs.ip6IntfAdd("red", "eth0", {{.addr = ip6("fe80::1/64"), .deprecated = true}})
        .apply();
    Published const published = fixture.published();

    EXPECT_TRUE(published.linkLocal("eth0", addr("fe80::1")).has_value());
    EXPECT_FALSE(published.linkLocal("eth0", addr("fe80::2")));
    EXPECT_FALSE(published.linkLocal("eth1", addr("fe80::1")));
    EXPECT_FALSE(fixture.published("grey").linkLocal("eth0", addr("fe80::1")));
}

TEST(Published, OnlyADeprecatedLinkLocalAddressIsRefused) {
    EXPECT_TRUE(Published::isRefused(key("eth0", "fe80::1/64"), true));
    EXPECT_FALSE(Published::isRefused(key("eth0", "fe80::1/64"), false));
    EXPECT_FALSE(Published::isRefused(key("eth0", "2001:db8::1/64"), true));
}

TEST(Published, AnInterfaceHasItsDeviceWhileTheKernelHasItOrDevicesAreIgnored) {
    Fixture fixture;
    Published const published = fixture.published();
    EXPECT_FALSE(published.hasDevice("eth0"));
    EXPECT_TRUE(fixture.published("red", true).hasDevice("eth0"));

    fixture.inputs.kernelAdd("red", "eth0", {}).apply();
    EXPECT_TRUE(published.hasDevice("eth0"));
    EXPECT_FALSE(published.hasDevice("eth1"));
    EXPECT_FALSE(fixture.published("blue").hasDevice("eth0"));
}

TEST(Published, AVirtualAddressIsPublishedForItsVrfWithWhateverLength) {
    Fixture fixture;
    fixture.inputs.vipAdd("red", ip("10.0.0.9/24")).apply();
    fixture.inputs.vipAdd("red", ip("10.0.0.8/32")).apply();
    fixture.inputs.vipAdd("red", ip("10.0.0.7/0")).apply();
    fixture.inputs.vip6Add("red", Nimb::Ip6Addr("2001:db8::9")).apply();
    Published const published = fixture.published();

    for (char const* is : {"10.0.0.9", "10.0.0.8", "10.0.0.7", "2001:db8::9"}) {
        EXPECT_TRUE(published.hasVirtual(addr(is))) << is;
        EXPECT_FALSE(fixture.published("blue").hasVirtual(addr(is))) << is;
    }
    EXPECT_FALSE(published.hasVirtual(addr("10.0.0.1")));
    EXPECT_FALSE(published.hasVirtual(addr("2001:db8::1")));
}

TEST(Published, NothingIsKeptOfWhatWasPublishedBefore) {
    Fixture fixture;
    Published const published = fixture.published();
    fixture.inputs.ipIntfAdd("red", "eth0", {.primary = ip("10.0.0.1/24")}).apply();
    EXPECT_THAT(all(published), ElementsAre("10.0.0.1/24 eth0"));

    fixture.inputs.ipVrfAdd("red").apply();
    EXPECT_THAT(all(published), IsEmpty());
    fixture.inputs.ipVrfDel("red").apply();
    fixture.inputs.ip6VrfDel("red").apply();
    EXPECT_FALSE(published.ipStatus());
    EXPECT_FALSE(published.ip6Status());
    EXPECT_THAT(all(published), IsEmpty());
}

TEST(Published, AddressesComeInTheOrderInWhichAMachineStarts) {
    Router router({}, Zin::make<Zin::VirtualClock>(), std::make_unique<Velk::EveryNth>(0));
    auto& inputs = router.inputs();
    inputs.ip6VrfAdd("red").apply();
    inputs.ip6IntfAdd("red", "eth2", {{.addr = ip6("2001:db8:2::1/64"), .deprecated = true}})
        .apply();
    inputs.ipVrfAdd("red").apply();
    inputs
        .ipIntfAdd("red", "eth1",
                   {.primary = ip("10.1.0.9/24"),
                    .secondary = {ip("10.1.0.3/24"), ip("10.1.0.2/24"), ip("10.0.9.1/24")}})
        .apply();
    inputs.ipIntfAdd("red", "eth0", {.primary = ip("10.0.0.1/24")}).apply();
    inputs.ip6IntfAdd("red", "eth0", {{.addr = ip6("fe80::2/64")}, {.addr = ip6("2001:db8::1/64")}})
        .apply();
    router.tableAdd("red").apply();
    router.managerStart().apply();

    std::vector<std::string> started;
    for (auto const& member : router.tableSm("red")->allIntfAddrWithMask()->all()) {
        started.push_back(fmt::format("{} {}{}", member.key.addrWithMask, member.key.intfId,
                                      member.value.deprecated() ? " deprecated" : ""));
    }
    EXPECT_EQ(started.size(), 8U);
    EXPECT_EQ(all(router.published("red")), started);
}

TEST(Published, ARouterIgnoresDevicesAsItIsConfigured) {
    for (bool const ignores : {false, true}) {
        Router const router({.ignoreKernelInterfaceState = ignores}, Zin::make<Zin::VirtualClock>(),
                            std::make_unique<Velk::EveryNth>(0));
        EXPECT_EQ(router.published("red").hasDevice("eth0"), ignores);
    }
}

}  // namespace
}  // namespace Routing
