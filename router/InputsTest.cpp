#include "router/Inputs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "router/OperationError.h"

namespace Routing {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

Nimb::IpAddrWithMask ip(char const* text) { return Nimb::IpAddrWithMask(text); }
Nimb::Ip6AddrWithMask ip6(char const* text) { return Nimb::Ip6AddrWithMask(text); }

template <class Map>
std::vector<std::string> keys(Map const& map) {
    std::vector<std::string> texts;
    for (auto const& member : map) {
        texts.push_back(member.key.toStrep());
    }
    return texts;
}

// VRF red with IPv4 and IPv6 status, and interface eth0 in both.
struct Fixture {
    Fixture() {
        inputs.ipVrfAdd("red");
        inputs.ip6VrfAdd("red");
        inputs.ipIntfAdd("red", "eth0", {});
        inputs.ip6IntfAdd("red", "eth0", {});
    }

    Zin::Ptr<Ip::IpIntfStatus> eth0() const {
        return inputs.ipStatus()->vrfIpIntfStatus("red")->ipIntfStatus("eth0");
    }
    Zin::Ptr<Ip6::IntfStatus> eth0Ip6() const {
        return inputs.ip6Status()->vrfIp6IntfStatus("red")->intfStatus("eth0");
    }

    Inputs inputs;
};

void expectRefusal(std::function<void()> const& operation, char const* why) {
    try {
        operation();
        ADD_FAILURE() << "not refused: " << why;
    } catch (OperationError const& error) {
        EXPECT_THAT(error.what(), HasSubstr(why));
    }
}

TEST(Inputs, AnIp4InterfaceIsPublishedWhole) {
    Fixture fixture;
    fixture.inputs.ipIntfAdd("red", "eth1",
                             {.primary = ip("10.0.0.1/24"),
                              .unnumberedSource = "lo",
                              .secondary = {ip("10.0.1.1/24"), ip("10.0.0.2/24")}});

    auto const status = fixture.inputs.ipStatus()->vrfIpIntfStatus("red")->ipIntfStatus("eth1");
    EXPECT_EQ(status->activeAddrWithMask(), ip("10.0.0.1/24"));
    EXPECT_EQ(status->unnumberedIntfId(), Nimb::IntfId("lo"));
    EXPECT_THAT(keys(status->secondaryActiveAddrWithMask()),
                ElementsAre("10.0.0.2/24", "10.0.1.1/24"));
}

TEST(Inputs, AddingAnInterfaceAgainReplacesIt) {
    Fixture fixture;
    fixture.inputs.ipIntfAdd("red", "eth0", {.primary = ip("10.0.0.1/24")});
    fixture.inputs.ipIntfAdd("red", "eth0", {.secondary = {ip("10.0.0.2/24")}});
    fixture.inputs.ip6IntfAdd("red", "eth0", {{.addr = ip6("2001:db8::1/64")}});
    fixture.inputs.ip6IntfAdd("red", "eth0", {{.addr = ip6("2001:db8::2/64"), .deprecated = true}});

    EXPECT_EQ(fixture.eth0()->activeAddrWithMask(), ip("0.0.0.0/0"));
    EXPECT_THAT(keys(fixture.eth0Ip6()->addr()), ElementsAre("2001:db8::2/64"));
    EXPECT_TRUE(fixture.eth0Ip6()->addr(ip6("2001:db8::2/64")).deprecated);
}

TEST(Inputs, AddressesOfAnInterfaceComeAndGo) {
    Fixture fixture;
    fixture.inputs.ipPrimaryIs("red", "eth0", ip("10.0.0.1/24"));
    fixture.inputs.ipUnnumberedIs("red", "eth0", "lo");
    fixture.inputs.ipSecondaryAdd("red", "eth0", ip("10.0.1.1/24"));
    fixture.inputs.ip6AddrSet("red", "eth0", {.addr = ip6("2001:db8::1/64")});
    fixture.inputs.ip6AddrSet("red", "eth0", {.addr = ip6("2001:db8::1/64"), .deprecated = true});

    EXPECT_EQ(fixture.eth0()->activeAddrWithMask(), ip("10.0.0.1/24"));
    EXPECT_EQ(fixture.eth0()->unnumberedIntfId(), Nimb::IntfId("lo"));
    EXPECT_TRUE(fixture.eth0()->secondaryActiveAddrWithMaskHas(ip("10.0.1.1/24")));
    EXPECT_TRUE(fixture.eth0Ip6()->addr(ip6("2001:db8::1/64")).deprecated);

    fixture.inputs.ipSecondaryDel("red", "eth0", ip("10.0.1.1/24"));
    fixture.inputs.ip6AddrDel("red", "eth0", ip6("2001:db8::1/64"));

    EXPECT_THAT(keys(fixture.eth0()->secondaryActiveAddrWithMask()), IsEmpty());
    EXPECT_THAT(keys(fixture.eth0Ip6()->addr()), IsEmpty());
}

TEST(Inputs, StatusGoesWithItsInterfaceAndVrf) {
    Fixture fixture;
    fixture.inputs.ipIntfDel("red", "eth0");
    fixture.inputs.ip6IntfDel("red", "eth0");
    EXPECT_FALSE(fixture.eth0());
    EXPECT_FALSE(fixture.eth0Ip6());

    fixture.inputs.ipVrfDel("red");
    fixture.inputs.ip6VrfDel("red");
    EXPECT_FALSE(fixture.inputs.ipStatus()->vrfIpIntfStatusHas("red"));
    EXPECT_FALSE(fixture.inputs.ip6Status()->vrfIp6IntfStatusHas("red"));
}

TEST(Inputs, AddingAVrfAgainEmptiesIt) {
    Fixture fixture;
    fixture.inputs.ipVrfAdd("red");
    fixture.inputs.ip6VrfAdd("red");

    EXPECT_FALSE(fixture.eth0());
    EXPECT_FALSE(fixture.eth0Ip6());
}

TEST(Inputs, KernelInterfacesAndVirtualAddressesNeedNoVrfStatus) {
    Inputs inputs;
    inputs.kernelAdd("blue", "eth9", {.deviceName = "et9", .ifIndex = 9, .active = false});
    inputs.vipAdd("blue", ip("10.0.0.1/24"));
    inputs.vip6Add("blue", Nimb::Ip6Addr("2001:db8::1"));

    auto const dir = inputs.kniIntfStatusHelper()->deviceIntfStatusDir("blue");
    ASSERT_TRUE(dir->deviceIntfStatusHas("eth9"));
    EXPECT_EQ(dir->deviceIntfStatus("eth9")->deviceName(), "et9");
    EXPECT_EQ(dir->deviceIntfStatus("eth9")->ifIndex(), 9U);
    EXPECT_EQ(inputs.virtualIpStatus()->virtualIp().size(), 1U);
    EXPECT_EQ(inputs.virtualIp6Status()->virtualIp6().size(), 1U);

    inputs.kernelDel("blue", "eth9");
    inputs.vipDel("blue", ip("10.0.0.1/24"));
    inputs.vip6Del("blue", Nimb::Ip6Addr("2001:db8::1"));

    EXPECT_FALSE(dir->deviceIntfStatusHas("eth9"));
    EXPECT_TRUE(inputs.virtualIpStatus()->virtualIp().empty());
    EXPECT_TRUE(inputs.virtualIp6Status()->virtualIp6().empty());
}

TEST(Inputs, WhatDoesNotExistIsRefusedByName) {
    Fixture fixture;
    auto& inputs = fixture.inputs;
    auto const addr = ip("10.0.0.1/24");
    auto const addr6 = ip6("2001:db8::1/64");

    char const* const noVrf = "VRF 'blue' has no IPv4 status";
    expectRefusal([&] { inputs.ipVrfDel("blue"); }, noVrf);
    expectRefusal([&] { inputs.ipIntfAdd("blue", "eth0", {}); }, noVrf);
    expectRefusal([&] { inputs.ipIntfDel("blue", "eth0"); }, noVrf);
    expectRefusal([&] { inputs.ipPrimaryIs("blue", "eth0", addr); }, noVrf);

    char const* const noVrf6 = "VRF 'blue' has no IPv6 status";
    expectRefusal([&] { inputs.ip6VrfDel("blue"); }, noVrf6);
    expectRefusal([&] { inputs.ip6IntfAdd("blue", "eth0", {}); }, noVrf6);
    expectRefusal([&] { inputs.ip6IntfDel("blue", "eth0"); }, noVrf6);

    char const* const noIntf = "interface 'eth7' of VRF 'red' has no IPv4 status";
    expectRefusal([&] { inputs.ipIntfDel("red", "eth7"); }, noIntf);
    expectRefusal([&] { inputs.ipPrimaryIs("red", "eth7", addr); }, noIntf);
    expectRefusal([&] { inputs.ipUnnumberedIs("red", "eth7", "lo"); }, noIntf);
    expectRefusal([&] { inputs.ipSecondaryAdd("red", "eth7", addr); }, noIntf);
    expectRefusal([&] { inputs.ipSecondaryDel("red", "eth7", addr); }, noIntf);

    char const* const noIntf6 = "interface 'eth7' of VRF 'red' has no IPv6 status";
    expectRefusal([&] { inputs.ip6IntfDel("red", "eth7"); }, noIntf6);
    expectRefusal([&] { inputs.ip6AddrSet("red", "eth7", {.addr = addr6}); }, noIntf6);
    expectRefusal([&] { inputs.ip6AddrDel("red", "eth7", addr6); }, noIntf6);

    expectRefusal([&] { inputs.ipSecondaryDel("red", "eth0", addr); },
                  "interface 'eth0' of VRF 'red' has no secondary address 10.0.0.1/24");
    expectRefusal([&] { inputs.ip6AddrDel("red", "eth0", addr6); },
                  "interface 'eth0' of VRF 'red' has no address 2001:db8::1/64");
    expectRefusal([&] { inputs.kernelDel("red", "eth0"); },
                  "the kernel has no interface 'eth0' in VRF 'red'");
    expectRefusal([&] { inputs.vipDel("red", addr); },
                  "VRF 'red' has no virtual address 10.0.0.1/24");
    expectRefusal([&] { inputs.vip6Del("red", addr6.address()); },
                  "VRF 'red' has no virtual address 2001:db8::1");
}

TEST(Inputs, EmptyNamesAreRefused) {
    Fixture fixture;
    auto& inputs = fixture.inputs;

    expectRefusal([&] { inputs.ipVrfAdd(""); }, "the VRF name is empty");
    expectRefusal([&] { inputs.ip6VrfAdd(""); }, "the VRF name is empty");
    expectRefusal([&] { inputs.kernelAdd("", "eth0", {}); }, "the VRF name is empty");
    expectRefusal([&] { inputs.kernelDel("", "eth0"); }, "the VRF name is empty");
    expectRefusal([&] { inputs.vipAdd("", ip("10.0.0.1/24")); }, "the VRF name is empty");
    expectRefusal([&] { inputs.vip6Add("", {}); }, "the VRF name is empty");
    expectRefusal([&] { inputs.ipIntfAdd("red", "", {}); }, "the interface name is empty");
    expectRefusal([&] { inputs.ip6IntfAdd("red", "", {}); }, "the interface name is empty");
    expectRefusal([&] { inputs.kernelAdd("red", "", {}); }, "the interface name is empty");
    expectRefusal([&] { inputs.kernelDel("red", ""); }, "the interface name is empty");
}

// Whatever the operation changes, it has not changed it yet when its time passes.
TEST(Inputs, TimePassesBetweenTheCheckAndTheChange) {
    std::vector<std::size_t> addressesThen;
    Inputs* observed = nullptr;
    Inputs inputs([&] {
        auto const vrf = observed ? observed->ip6Status()->vrfIp6IntfStatus("red") : nullptr;
        auto const eth0 = vrf ? vrf->intfStatus("eth0") : nullptr;
        addressesThen.push_back(eth0 ? eth0->addr().size() : 0);
    });
    observed = &inputs;
    inputs.ip6VrfAdd("red");
    inputs.ip6IntfAdd("red", "eth0", {{.addr = ip6("2001:db8::1/64")}});
    inputs.ip6AddrSet("red", "eth0", {.addr = ip6("2001:db8::2/64")});
    inputs.ip6AddrDel("red", "eth0", ip6("2001:db8::1/64"));
    inputs.ip6IntfDel("red", "eth0");

    EXPECT_THAT(addressesThen, ElementsAre(0U, 0U, 1U, 2U, 1U));
}

TEST(Inputs, TimePassesForEachOperationOnceAndNotForOneThatIsRefused) {
    int passed = 0;
    Inputs inputs([&passed] { ++passed; });
    auto const accept = [&](std::function<void()> const& operation) {
        passed = 0;
        operation();
        EXPECT_EQ(passed, 1);
    };
    auto const refuse = [&](std::function<void()> const& operation) {
        passed = 0;
        EXPECT_THROW(operation(), OperationError);
        EXPECT_EQ(passed, 0);
    };
    auto const addr = ip("10.0.0.1/24");
    auto const addr6 = ip6("2001:db8::1/64");

    accept([&] { inputs.ipVrfAdd("red"); });
    accept([&] { inputs.ip6VrfAdd("red"); });
    accept([&] { inputs.ipIntfAdd("red", "eth0", {}); });
    accept([&] { inputs.ip6IntfAdd("red", "eth0", {}); });
    accept([&] { inputs.ipPrimaryIs("red", "eth0", addr); });
    accept([&] { inputs.ipPrimaryIs("red", "eth0", addr); });
    accept([&] { inputs.ipUnnumberedIs("red", "eth0", "lo"); });
    accept([&] { inputs.ipSecondaryAdd("red", "eth0", addr); });
    accept([&] { inputs.ipSecondaryDel("red", "eth0", addr); });
    refuse([&] { inputs.ipSecondaryDel("red", "eth0", addr); });
    accept([&] { inputs.ip6AddrSet("red", "eth0", {.addr = addr6}); });
    accept([&] { inputs.ip6AddrDel("red", "eth0", addr6); });
    refuse([&] { inputs.ip6AddrDel("red", "eth0", addr6); });
    accept([&] { inputs.ipIntfDel("red", "eth0"); });
    refuse([&] { inputs.ipIntfDel("red", "eth0"); });
    refuse([&] { inputs.ipPrimaryIs("red", "eth0", addr); });
    refuse([&] { inputs.ipUnnumberedIs("red", "eth0", "lo"); });
    refuse([&] { inputs.ipSecondaryAdd("red", "eth0", addr); });
    accept([&] { inputs.ip6IntfDel("red", "eth0"); });
    refuse([&] { inputs.ip6IntfDel("red", "eth0"); });
    refuse([&] { inputs.ip6AddrSet("red", "eth0", {.addr = addr6}); });
    accept([&] { inputs.ipVrfDel("red"); });
    refuse([&] { inputs.ipVrfDel("red"); });
    refuse([&] { inputs.ipIntfAdd("red", "eth0", {}); });
    accept([&] { inputs.ip6VrfDel("red"); });
    refuse([&] { inputs.ip6VrfDel("red"); });
    refuse([&] { inputs.ip6IntfAdd("red", "eth0", {}); });
    refuse([&] { inputs.ipVrfAdd(""); });
    refuse([&] { inputs.ip6VrfAdd(""); });
    accept([&] { inputs.kernelAdd("red", "eth0", {}); });
    refuse([&] { inputs.kernelAdd("red", "", {}); });
    accept([&] { inputs.kernelDel("red", "eth0"); });
    refuse([&] { inputs.kernelDel("red", "eth0"); });
    accept([&] { inputs.vipAdd("red", addr); });
    refuse([&] { inputs.vipAdd("", addr); });
    accept([&] { inputs.vipDel("red", addr); });
    refuse([&] { inputs.vipDel("red", addr); });
    accept([&] { inputs.vip6Add("red", addr6.address()); });
    refuse([&] { inputs.vip6Add("", addr6.address()); });
    accept([&] { inputs.vip6Del("red", addr6.address()); });
    refuse([&] { inputs.vip6Del("red", addr6.address()); });
}

}  // namespace
}  // namespace Routing
