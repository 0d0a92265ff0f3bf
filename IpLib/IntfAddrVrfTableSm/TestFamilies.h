// For typed tests over a fixture of either family: what a fixture has for each family has a name
// here that both share.
//
//     using Families = testing::Types<TestKit::OfIp, TestKit::OfIp6>;
//     TYPED_TEST_SUITE(StatusInput, Families);
//     TYPED_TEST(StatusInput, ...) {
//         TypeParam fixture;
//         fixture.addrIs("Ethernet1", fixture.first);
#pragma once

#include "IpLib/IntfAddrVrfTableSm/TestSmFixture.h"
#include "Zin/Format.h"

namespace TestKit {

struct TestAddr {
    char const* addr;
    char const* withMask;
    char const* subnet;
};

struct OfIp : SmFixture {
    using SmFixture::SmFixture;

    // Two addresses of one subnet, and two of others.
    static constexpr TestAddr first{"10.0.0.1", "10.0.0.1/24", "10.0.0.0/24"};
    static constexpr TestAddr second{"10.0.0.2", "10.0.0.2/24", "10.0.0.0/24"};
    static constexpr TestAddr elsewhere{"10.0.1.1", "10.0.1.1/24", "10.0.1.0/24"};
    static constexpr TestAddr third{"10.0.3.1", "10.0.3.1/24", "10.0.3.0/24"};

    // The status of an interface, as it is published and as nobody has published it yet.
    auto status(Nimb::IntfId const& intfId) { return ipStatus(intfId); }
    static auto statusWith(Nimb::IntfId const& intfId, TestAddr const& addr) {
        auto const made = Ip::ipIntfStatusFactory(intfId);
        made->activeAddrWithMaskIs(Nimb::IpAddrWithMask(addr.withMask));
        return made;
    }
    void statusIs(Zin::Ptr<Ip::IpIntfStatus> const& is) { vrfIp->ipIntfStatusIs(is); }
    void statusDel(Nimb::IntfId const& intfId) { ipStatusDel(intfId); }
    // The first address of an interface is its primary one.
    void addrIs(Nimb::IntfId const& intfId, TestAddr const& addr) {
        if (status(intfId)->activeAddrWithMask() == Nimb::IpAddrWithMask()) {
            ip(intfId, addr.withMask);
        } else {
            secondary(intfId, addr.withMask);
        }
    }
    static void empty(Ip::IpIntfStatus& of) {
        of.activeAddrWithMaskIs({});
        of.secondaryActiveAddrWithMaskDelAll();
    }

    // The machine's input, and the table's pointer to it.
    auto const& input() const { return sm->vrfIpIntfStatus(); }
    auto const& vrf() const { return vrfIp; }
    static auto otherVrf() { return Ip::vrfIpIntfStatusFactory(); }
    static void put(Ip::VrfIpIntfStatus& in, Zin::Ptr<Ip::IpIntfStatus> const& is) {
        in.ipIntfStatusIs(is);
    }
    void inputIs(Zin::Ptr<Ip::VrfIpIntfStatus> const& is) { table->vrfIpIntfStatusIs(is); }

    auto machine(Nimb::IntfId const& intfId) const { return sm->ipIntfStatusSm(intfId); }
    auto statusOfMachine(Nimb::IntfId const& intfId) const {
        return machine(intfId)->ipIntfStatus();
    }
};

struct OfIp6 : SmFixture {
    using SmFixture::SmFixture;

    static constexpr TestAddr first{"2001:db8::1", "2001:db8::1/64", "2001:db8::/64"};
    static constexpr TestAddr second{"2001:db8::2", "2001:db8::2/64", "2001:db8::/64"};
    static constexpr TestAddr elsewhere{"2001:db8:1::1", "2001:db8:1::1/64", "2001:db8:1::/64"};
    static constexpr TestAddr third{"2001:db8:3::1", "2001:db8:3::1/64", "2001:db8:3::/64"};

    auto status(Nimb::IntfId const& intfId) { return ip6Status(intfId); }
    static auto statusWith(Nimb::IntfId const& intfId, TestAddr const& addr) {
        auto const made = Ip6::intfStatusFactory(intfId);
        made->addrIs(Nimb::Ip6AddrWithMask(addr.withMask), {});
        return made;
    }
    void statusIs(Zin::Ptr<Ip6::IntfStatus> const& is) { vrfIp6->intfStatusIs(is); }
    void statusDel(Nimb::IntfId const& intfId) { ip6StatusDel(intfId); }
    void addrIs(Nimb::IntfId const& intfId, TestAddr const& addr) { ip6(intfId, addr.withMask); }
    static void empty(Ip6::IntfStatus& of) { of.addrDelAll(); }

    auto const& input() const { return sm->vrfIp6IntfStatus(); }
    auto const& vrf() const { return vrfIp6; }
    static auto otherVrf() { return Ip6::vrfIp6IntfStatusFactory(); }
    static void put(Ip6::VrfIp6IntfStatus& in, Zin::Ptr<Ip6::IntfStatus> const& is) {
        in.intfStatusIs(is);
    }
    void inputIs(Zin::Ptr<Ip6::VrfIp6IntfStatus> const& is) { table->vrfIp6IntfStatusIs(is); }

    auto machine(Nimb::IntfId const& intfId) const { return sm->ip6IntfStatusSm(intfId); }
    auto statusOfMachine(Nimb::IntfId const& intfId) const {
        return machine(intfId)->ip6IntfStatus();
    }
};

// "10.0.0.1/24 Ethernet1", as the fixture writes rows.
inline std::string rowOf(TestAddr const& addr, std::string_view intfId) {
    return fmt::format("{} {}", addr.withMask, intfId);
}

}  // namespace TestKit
