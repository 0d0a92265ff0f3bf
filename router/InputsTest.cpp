#include "router/Inputs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "Zin/Format.h"
#include "router/OperationError.h"
#include "router/TestOperations.h"

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
        inputs.ipVrfAdd("red").apply();
        inputs.ip6VrfAdd("red").apply();
        inputs.ipIntfAdd("red", "eth0", {}).apply();
        inputs.ip6IntfAdd("red", "eth0", {}).apply();
    }

    Zin::Ptr<Ip::IpIntfStatus> eth0() const {
        return inputs.ipStatus()->vrfIpIntfStatus("red")->ipIntfStatus("eth0");
    }
    Zin::Ptr<Ip6::IntfStatus> eth0Ip6() const {
        return inputs.ip6Status()->vrfIp6IntfStatus("red")->intfStatus("eth0");
    }

    Inputs inputs;
};

void expectRefusal(std::function<Effect()> const& check, char const* why) {
    try {
        static_cast<void>(check());
        ADD_FAILURE() << "not refused: " << why;
    } catch (OperationError const& error) {
        EXPECT_THAT(error.what(), HasSubstr(why));
    }
}

TEST(Inputs, AnIp4InterfaceIsPublishedWhole) {
    Fixture fixture;
    fixture.inputs
        .ipIntfAdd("red", "eth1",
                   {.primary = ip("10.0.0.1/24"),
                    .unnumberedSource = "lo",
                    .secondary = {ip("10.0.1.1/24"), ip("10.0.0.2/24")}})
        .apply();

    auto const status = fixture.inputs.ipStatus()->vrfIpIntfStatus("red")->ipIntfStatus("eth1");
    EXPECT_EQ(status->activeAddrWithMask(), ip("10.0.0.1/24"));
    EXPECT_EQ(status->unnumberedIntfId(), Nimb::IntfId("lo"));
    EXPECT_THAT(keys(status->secondaryActiveAddrWithMask()),
                ElementsAre("10.0.0.2/24", "10.0.1.1/24"));
}

TEST(Inputs, AddingAnInterfaceAgainReplacesIt) {
    Fixture fixture;
    fixture.inputs.ipIntfAdd("red", "eth0", {.primary = ip("10.0.0.1/24")}).apply();
    fixture.inputs.ipIntfAdd("red", "eth0", {.secondary = {ip("10.0.0.2/24")}}).apply();
    fixture.inputs.ip6IntfAdd("red", "eth0", {{.addr = ip6("2001:db8::1/64")}}).apply();
    fixture.inputs.ip6IntfAdd("red", "eth0", {{.addr = ip6("2001:db8::2/64"), .deprecated = true}})
        .apply();

    EXPECT_EQ(fixture.eth0()->activeAddrWithMask(), ip("0.0.0.0/0"));
    EXPECT_THAT(keys(fixture.eth0Ip6()->addr()), ElementsAre("2001:db8::2/64"));
    EXPECT_TRUE(fixture.eth0Ip6()->addr(ip6("2001:db8::2/64")).deprecated);
}

TEST(Inputs, AddressesOfAnInterfaceComeAndGo) {
    Fixture fixture;
    fixture.inputs.ipPrimaryIs("red", "eth0", ip("10.0.0.1/24")).apply();
    fixture.inputs.ipUnnumberedIs("red", "eth0", "lo").apply();
    fixture.inputs.ipSecondaryAdd("red", "eth0", ip("10.0.1.1/24")).apply();
    fixture.inputs.ip6AddrSet("red", "eth0", {.addr = ip6("2001:db8::1/64")}).apply();
    fixture.inputs.ip6AddrSet("red", "eth0", {.addr = ip6("2001:db8::1/64"), .deprecated = true})
        .apply();

    EXPECT_EQ(fixture.eth0()->activeAddrWithMask(), ip("10.0.0.1/24"));
    EXPECT_EQ(fixture.eth0()->unnumberedIntfId(), Nimb::IntfId("lo"));
    EXPECT_TRUE(fixture.eth0()->secondaryActiveAddrWithMaskHas(ip("10.0.1.1/24")));
    EXPECT_TRUE(fixture.eth0Ip6()->addr(ip6("2001:db8::1/64")).deprecated);

    fixture.inputs.ipSecondaryDel("red", "eth0", ip("10.0.1.1/24")).apply();
    fixture.inputs.ip6AddrDel("red", "eth0", ip6("2001:db8::1/64")).apply();

    EXPECT_THAT(keys(fixture.eth0()->secondaryActiveAddrWithMask()), IsEmpty());
    EXPECT_THAT(keys(fixture.eth0Ip6()->addr()), IsEmpty());
}

TEST(Inputs, StatusGoesWithItsInterfaceAndVrf) {
    Fixture fixture;
    fixture.inputs.ipIntfDel("red", "eth0").apply();
    fixture.inputs.ip6IntfDel("red", "eth0").apply();
    EXPECT_FALSE(fixture.eth0());
    EXPECT_FALSE(fixture.eth0Ip6());

    fixture.inputs.ipVrfDel("red").apply();
    fixture.inputs.ip6VrfDel("red").apply();
    EXPECT_FALSE(fixture.inputs.ipStatus()->vrfIpIntfStatusHas("red"));
    EXPECT_FALSE(fixture.inputs.ip6Status()->vrfIp6IntfStatusHas("red"));
}

TEST(Inputs, AddingAVrfAgainEmptiesIt) {
    Fixture fixture;
    fixture.inputs.ipVrfAdd("red").apply();
    fixture.inputs.ip6VrfAdd("red").apply();

    EXPECT_FALSE(fixture.eth0());
    EXPECT_FALSE(fixture.eth0Ip6());
}

TEST(Inputs, KernelInterfacesAndVirtualAddressesNeedNoVrfStatus) {
    Inputs inputs;
    inputs.kernelAdd("blue", "eth9", {.deviceName = "et9", .ifIndex = 9, .active = false}).apply();
    inputs.vipAdd("blue", ip("10.0.0.1/24")).apply();
    inputs.vip6Add("blue", Nimb::Ip6Addr("2001:db8::1")).apply();

    auto const dir = inputs.kniIntfStatusHelper()->deviceIntfStatusDir("blue");
    ASSERT_TRUE(dir->deviceIntfStatusHas("eth9"));
    EXPECT_EQ(dir->deviceIntfStatus("eth9")->deviceName(), "et9");
    EXPECT_EQ(dir->deviceIntfStatus("eth9")->ifIndex(), 9U);
    EXPECT_EQ(inputs.virtualIpStatus()->virtualIp().size(), 1U);
    EXPECT_EQ(inputs.virtualIp6Status()->virtualIp6().size(), 1U);

    inputs.kernelDel("blue", "eth9").apply();
    inputs.vipDel("blue", ip("10.0.0.1/24")).apply();
    inputs.vip6Del("blue", Nimb::Ip6Addr("2001:db8::1")).apply();

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
    expectRefusal([&] { return inputs.ipVrfDel("blue"); }, noVrf);
    expectRefusal([&] { return inputs.ipIntfAdd("blue", "eth0", {}); }, noVrf);
    expectRefusal([&] { return inputs.ipIntfDel("blue", "eth0"); }, noVrf);
    expectRefusal([&] { return inputs.ipPrimaryIs("blue", "eth0", addr); }, noVrf);

    char const* const noVrf6 = "VRF 'blue' has no IPv6 status";
    expectRefusal([&] { return inputs.ip6VrfDel("blue"); }, noVrf6);
    expectRefusal([&] { return inputs.ip6IntfAdd("blue", "eth0", {}); }, noVrf6);
    expectRefusal([&] { return inputs.ip6IntfDel("blue", "eth0"); }, noVrf6);

    char const* const noIntf = "interface 'eth7' of VRF 'red' has no IPv4 status";
    expectRefusal([&] { return inputs.ipIntfDel("red", "eth7"); }, noIntf);
    expectRefusal([&] { return inputs.ipPrimaryIs("red", "eth7", addr); }, noIntf);
    expectRefusal([&] { return inputs.ipUnnumberedIs("red", "eth7", "lo"); }, noIntf);
    expectRefusal([&] { return inputs.ipSecondaryAdd("red", "eth7", addr); }, noIntf);
    expectRefusal([&] { return inputs.ipSecondaryDel("red", "eth7", addr); }, noIntf);

    char const* const noIntf6 = "interface 'eth7' of VRF 'red' has no IPv6 status";
    expectRefusal([&] { return inputs.ip6IntfDel("red", "eth7"); }, noIntf6);
    expectRefusal([&] { return inputs.ip6AddrSet("red", "eth7", {.addr = addr6}); }, noIntf6);
    expectRefusal([&] { return inputs.ip6AddrDel("red", "eth7", addr6); }, noIntf6);

    expectRefusal([&] { return inputs.ipSecondaryDel("red", "eth0", addr); },
                  "interface 'eth0' of VRF 'red' has no secondary address 10.0.0.1/24");
    expectRefusal([&] { return inputs.ip6AddrDel("red", "eth0", addr6); },
                  "interface 'eth0' of VRF 'red' has no address 2001:db8::1/64");
    expectRefusal([&] { return inputs.kernelDel("red", "eth0"); },
                  "the kernel has no interface 'eth0' in VRF 'red'");
    expectRefusal([&] { return inputs.vipDel("red", addr); },
                  "VRF 'red' has no virtual address 10.0.0.1/24");
    expectRefusal([&] { return inputs.vip6Del("red", addr6.address()); },
                  "VRF 'red' has no virtual address 2001:db8::1");
}

TEST(Inputs, EmptyNamesAreRefused) {
    Fixture fixture;
    auto& inputs = fixture.inputs;

    expectRefusal([&] { return inputs.ipVrfAdd(""); }, "the VRF name is empty");
    expectRefusal([&] { return inputs.ip6VrfAdd(""); }, "the VRF name is empty");
    expectRefusal([&] { return inputs.kernelAdd("", "eth0", {}); }, "the VRF name is empty");
    expectRefusal([&] { return inputs.kernelDel("", "eth0"); }, "the VRF name is empty");
    expectRefusal([&] { return inputs.vipAdd("", ip("10.0.0.1/24")); }, "the VRF name is empty");
    expectRefusal([&] { return inputs.vip6Add("", {}); }, "the VRF name is empty");
    expectRefusal([&] { return inputs.ipIntfAdd("red", "", {}); }, "the interface name is empty");
    expectRefusal([&] { return inputs.ip6IntfAdd("red", "", {}); }, "the interface name is empty");
    expectRefusal([&] { return inputs.kernelAdd("red", "", {}); }, "the interface name is empty");
    expectRefusal([&] { return inputs.kernelDel("red", ""); }, "the interface name is empty");
}

// What is published of VRFs red and blue and of interfaces eth0 and eth1.
std::vector<std::string> published(Inputs const& inputs) {
    std::vector<std::string> texts;
    for (auto const& vrf : inputs.ipStatus()->vrfIpIntfStatus()) {
        texts.push_back(fmt::format("IPv4 {}", vrf.key));
        for (auto const& intf : vrf.value->ipIntfStatus()) {
            auto const& status = *intf.value;
            texts.push_back(fmt::format("{} {} from '{}'", intf.key, status.activeAddrWithMask(),
                                        status.unnumberedIntfId()));
            std::ranges::copy(keys(status.secondaryActiveAddrWithMask()),
                              std::back_inserter(texts));
        }
    }
    for (auto const& vrf : inputs.ip6Status()->vrfIp6IntfStatus()) {
        texts.push_back(fmt::format("IPv6 {}", vrf.key));
        for (auto const& intf : vrf.value->intfStatus()) {
            texts.push_back(fmt::format("{}", intf.key));
            std::ranges::copy(keys(intf.value->addr()), std::back_inserter(texts));
        }
    }
    for (auto const& intf :
         inputs.kniIntfStatusHelper()->deviceIntfStatusDir("red")->deviceIntfStatus()) {
        texts.push_back(fmt::format("kernel {}", intf.key));
    }
    for (auto const& virtualIp : inputs.virtualIpStatus()->virtualIp()) {
        texts.push_back(fmt::format("virtual {}", virtualIp.key.addrWithMask()));
    }
    for (auto const& virtualIp : inputs.virtualIp6Status()->virtualIp6()) {
        texts.push_back(fmt::format("virtual {}", virtualIp.key.addr()));
    }
    return texts;
}

std::vector<Effect> additions(Inputs& inputs) {
    return {inputs.ipVrfAdd("blue"),
            inputs.ipPrimaryIs("red", "eth0", ip("10.0.0.1/24")),
            inputs.ipUnnumberedIs("red", "eth0", "lo"),
            inputs.ipSecondaryAdd("red", "eth0", ip("10.0.1.1/24")),
            inputs.ipIntfAdd("red", "eth1", {.primary = ip("10.1.0.1/24")}),
            inputs.ip6VrfAdd("blue"),
            inputs.ip6AddrSet("red", "eth0", {.addr = ip6("2001:db8::1/64")}),
            inputs.ip6IntfAdd("red", "eth1", {}),
            inputs.kernelAdd("red", "eth0", {}),
            inputs.vipAdd("red", ip("10.0.0.9/24")),
            inputs.vip6Add("red", Nimb::Ip6Addr("2001:db8::9"))};
}

std::vector<Effect> removals(Inputs& inputs) {
    return {inputs.ipVrfDel("blue"),
            inputs.ipSecondaryDel("red", "eth0", ip("10.0.1.1/24")),
            inputs.ipIntfDel("red", "eth1"),
            inputs.ip6VrfDel("blue"),
            inputs.ip6AddrDel("red", "eth0", ip6("2001:db8::1/64")),
            inputs.ip6IntfDel("red", "eth1"),
            inputs.kernelDel("red", "eth0"),
            inputs.vipDel("red", ip("10.0.0.9/24")),
            inputs.vip6Del("red", Nimb::Ip6Addr("2001:db8::9"))};
}

void applyAll(std::vector<Effect> const& effects) {
    for (Effect const& effect : effects) {
        effect.apply();
    }
}

TEST(Inputs, NothingHasChangedBeforeAnEffectIsApplied) {
    Fixture fixture;
    auto& inputs = fixture.inputs;
    std::vector<std::string> const nothing{"IPv4 red", "eth0 0.0.0.0/0 from ''", "IPv6 red",
                                           "eth0"};
    std::vector<std::string> const all{"IPv4 red",
                                       "eth0 10.0.0.1/24 from 'lo'",
                                       "10.0.1.1/24",
                                       "eth1 10.1.0.1/24 from ''",
                                       "IPv4 blue",
                                       "IPv6 red",
                                       "eth0",
                                       "2001:db8::1/64",
                                       "eth1",
                                       "IPv6 blue",
                                       "kernel eth0",
                                       "virtual 10.0.0.9/24",
                                       "virtual 2001:db8::9"};

    auto const added = additions(inputs);
    EXPECT_EQ(published(inputs), nothing);
    applyAll(added);
    EXPECT_EQ(published(inputs), all);

    auto const removed = removals(inputs);
    EXPECT_EQ(published(inputs), all);
    applyAll(removed);
    EXPECT_THAT(published(inputs),
                ElementsAre("IPv4 red", "eth0 10.0.0.1/24 from 'lo'", "IPv6 red", "eth0"));
}

TEST(Inputs, WhatHasGoneBeforeAnEffectIsAppliedStaysGone) {
    Fixture fixture;
    auto& inputs = fixture.inputs;
    applyAll(additions(inputs));
    auto const late = removals(inputs);
    applyAll(removals(inputs));
    auto const before = published(inputs);

    applyAll(late);

    EXPECT_EQ(published(inputs), before);
}

TEST(Inputs, AStatusThatIsPublishedNoMoreIsWrittenUnseen) {
    Fixture fixture;
    auto& inputs = fixture.inputs;
    std::vector<Effect> const late{
        inputs.ipPrimaryIs("red", "eth0", ip("10.0.0.1/24")),
        inputs.ipIntfAdd("red", "eth1", {}),
        inputs.ipIntfDel("red", "eth0"),
        inputs.ip6AddrSet("red", "eth0", {.addr = ip6("2001:db8::1/64")}),
        inputs.ip6IntfAdd("red", "eth1", {}),
        inputs.ip6IntfDel("red", "eth0")};
    inputs.ipVrfDel("red").apply();
    inputs.ip6VrfAdd("red").apply();

    applyAll(late);

    EXPECT_THAT(published(inputs), ElementsAre("IPv6 red"));
}

TEST(Inputs, EachOperationIsToldWithItsFieldsAsItTakesEffect) {
    Fixture fixture;
    auto& inputs = fixture.inputs;
    OperationRecorder recorder(inputs.effects());
    auto const added = additions(inputs);
    EXPECT_THAT(recorder.texts, IsEmpty());

    applyAll(added);
    EXPECT_THAT(recorder.texts, ElementsAre("IpVrfAdd blue", "IpPrimaryIs red eth0 10.0.0.1/24",
                                            "IpUnnumberedIs red eth0 from 'lo'",
                                            "IpSecondaryAdd red eth0 10.0.1.1/24",
                                            "IpIntfAdd red eth1 10.1.0.1/24 from ''",
                                            "Ip6VrfAdd blue", "Ip6AddrSet red eth0 2001:db8::1/64",
                                            "Ip6IntfAdd red eth1", "KernelAdd red eth0  0 up true",
                                            "VipAdd red 10.0.0.9/24", "Vip6Add red 2001:db8::9"));

    recorder.texts.clear();
    applyAll(removals(inputs));
    EXPECT_THAT(
        recorder.texts,
        ElementsAre("IpVrfDel blue", "IpSecondaryDel red eth0 10.0.1.1/24", "IpIntfDel red eth1",
                    "Ip6VrfDel blue", "Ip6AddrDel red eth0 2001:db8::1/64", "Ip6IntfDel red eth1",
                    "KernelDel red eth0", "VipDel red 10.0.0.9/24", "Vip6Del red 2001:db8::9"));
}

TEST(Inputs, AnOperationIsToldWithAllThatItPublishesAtOnce) {
    Fixture fixture;
    OperationRecorder const recorder(fixture.inputs.effects());
    fixture.inputs
        .ipIntfAdd("red", "eth1",
                   {.primary = ip("10.0.0.1/24"),
                    .unnumberedSource = "lo",
                    .secondary = {ip("10.0.1.1/24"), ip("10.0.0.2/24")}})
        .apply();
    fixture.inputs
        .ip6IntfAdd(
            "red", "eth1",
            {{.addr = ip6("2001:db8::1/64"), .deprecated = true}, {.addr = ip6("fe80::1/64")}})
        .apply();
    fixture.inputs
        .kernelAdd("red", "eth1",
                   {.deviceName = "et1",
                    .ifIndex = 7,
                    .operStatus = Interface::OperStatus::down,
                    .active = false})
        .apply();

    EXPECT_THAT(recorder.texts,
                ElementsAre("IpIntfAdd red eth1 10.0.0.1/24 from 'lo' 10.0.1.1/24 10.0.0.2/24",
                            "Ip6IntfAdd red eth1 2001:db8::1/64 deprecated fe80::1/64",
                            "KernelAdd red eth1 et1 7 down false"));
}

TEST(Inputs, AnOperationIsToldRightBeforeAnythingHasChanged) {
    Fixture fixture;
    auto& inputs = fixture.inputs;
    OperationRecorder recorder(inputs.effects());
    std::vector<std::string> before;
    recorder.look = [&] { before = published(inputs); };

    for (auto const make : {additions, removals}) {
        for (Effect const& effect : make(inputs)) {
            auto const expected = published(inputs);
            effect.apply();
            EXPECT_EQ(before, expected) << recorder.texts.back();
            EXPECT_NE(published(inputs), expected) << recorder.texts.back();
        }
    }
}

// Publishes an address of eth0 when it is told of a device.
class Publisher final : public Interface::DeviceIntfStatusDir::Notifiee {
public:
    explicit Publisher(Inputs& inputs) : inputs_(inputs) {
        notifierIs(inputs.kniIntfStatusHelper()->deviceIntfStatusDir("red"));
    }

private:
    void handleDeviceIntfStatus(Nimb::IntfId const&) override {
        inputs_.ipPrimaryIs("red", "eth0", ip("10.0.0.1/24")).apply();
    }

    Inputs& inputs_;
};

TEST(Inputs, AnOperationThatComesFromWithinAnotherIsToldAfterIt) {
    Fixture fixture;
    Publisher const publisher(fixture.inputs);
    OperationRecorder const recorder(fixture.inputs.effects());
    fixture.inputs.kernelAdd("red", "eth0", {}).apply();

    EXPECT_THAT(recorder.texts,
                ElementsAre("KernelAdd red eth0  0 up true", "IpPrimaryIs red eth0 10.0.0.1/24"));
}

TEST(Inputs, AnOperationThatIsRefusedIsNotTold) {
    Fixture fixture;
    OperationRecorder const recorder(fixture.inputs.effects());
    expectRefusal([&] { return fixture.inputs.ipVrfAdd(""); }, "empty");
    expectRefusal([&] { return fixture.inputs.ipIntfDel("red", "eth7"); }, "no IPv4 status");
    expectRefusal([&] { return fixture.inputs.vipDel("red", ip("10.0.0.9/24")); }, "no virtual");

    EXPECT_THAT(recorder.texts, IsEmpty());
}

TEST(Inputs, ObserversOfOperationsAreToldInTheOrderInWhichTheyCame) {
    Fixture fixture;
    std::string told;
    OperationRecorder first(fixture.inputs.effects());
    first.look = [&] { told += "1"; };
    {
        OperationRecorder second(fixture.inputs.effects());
        second.look = [&] { told += "2"; };
        OperationRecorder third(fixture.inputs.effects());
        third.look = [&] { told += "3"; };
        fixture.inputs.ipVrfAdd("blue").apply();
    }
    fixture.inputs.ipVrfDel("blue").apply();

    EXPECT_EQ(told, "1231");
}

TEST(Inputs, AnEffectOutlivesTheObserverOfOperations) {
    Fixture fixture;
    std::vector<Effect> const late = additions(fixture.inputs);
    { OperationRecorder const recorder(fixture.inputs.effects()); }

    applyAll(late);

    EXPECT_EQ(fixture.eth0()->activeAddrWithMask(), ip("10.0.0.1/24"));
}

}  // namespace
}  // namespace Routing
