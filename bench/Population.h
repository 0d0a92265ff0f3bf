// The addresses that benchmarks use, by their numbers: eight on each interface, a primary and seven
// secondaries of one /28, or eight of one /64. Interfaces have names like "Ethernet1/2".
#pragma once

#include <array>
#include <bit>
#include <cstdint>

#include "Ip/VrfIpIntfStatus.h"
#include "Ip6/VrfIp6IntfStatus.h"
#include "IpLib/IntfAddrVrfTableTypes/IntfAddrEntryContent.h"
#include "Zin/Format.h"

namespace Bench {

inline constexpr std::uint32_t addressesEach = 8;

inline std::uint32_t intfOf(std::uint32_t number) { return number / addressesEach; }

inline Nimb::IntfId nameOf(std::uint32_t intf) {
    return fmt::format("Ethernet{}/{}", intf / 64 + 1, intf % 64 + 1);
}

// A family: its addresses, and how they are published.
struct Ipv4 {
    using VrfStatus = Ip::VrfIpIntfStatus;
    using Status = Ip::IpIntfStatus;
    static constexpr std::uint8_t length = 28;

    static std::uint32_t value(std::uint32_t number) {
        return 0x0a000000 + intfOf(number) * 16 + number % addressesEach + 1;
    }
    static Nimb::Ip4Addr addr(std::uint32_t number) { return Nimb::Ip4Addr(value(number)); }
    static Nimb::IpAddrWithMask withMask(std::uint32_t number) { return {addr(number), length}; }

    static Zin::Ptr<Status> statusOf(std::uint32_t intf) {
        return Ip::ipIntfStatusFactory(nameOf(intf));
    }
    static void put(VrfStatus& vrf, Zin::Ptr<Status> const& status) { vrf.ipIntfStatusIs(status); }
    static void take(VrfStatus& vrf, Nimb::IntfId const& intf) { vrf.ipIntfStatusDel(intf); }
    static void add(Status& status, std::uint32_t number) {
        if (number % addressesEach == 0) {
            status.activeAddrWithMaskIs(withMask(number));
        } else {
            status.secondaryActiveAddrWithMaskIs(withMask(number));
        }
    }
    static void del(Status& status, std::uint32_t number) {
        if (number % addressesEach == 0) {
            status.activeAddrWithMaskIs({});
        } else {
            status.secondaryActiveAddrWithMaskDel(withMask(number));
        }
    }
};

struct Ipv6 {
    using VrfStatus = Ip6::VrfIp6IntfStatus;
    using Status = Ip6::IntfStatus;
    static constexpr std::uint8_t length = 64;

    static Nimb::Ip6Addr addr(std::uint32_t number) {
        Nimb::Ip6Bytes bytes{0x20, 0x01, 0x0d, 0xb8};
        std::uint32_t const intf = intfOf(number);
        for (std::uint32_t i = 0; i < 4; ++i) {
            bytes[4 + i] = static_cast<std::uint8_t>(intf >> (24 - 8 * i));
        }
        bytes[15] = static_cast<std::uint8_t>(number % addressesEach + 1);
        return Nimb::Ip6Addr(bytes);
    }
    static Nimb::Ip6AddrWithMask withMask(std::uint32_t number) { return {addr(number), length}; }

    static Zin::Ptr<Status> statusOf(std::uint32_t intf) {
        return Ip6::intfStatusFactory(nameOf(intf));
    }
    static void put(VrfStatus& vrf, Zin::Ptr<Status> const& status) { vrf.intfStatusIs(status); }
    static void take(VrfStatus& vrf, Nimb::IntfId const& intf) { vrf.intfStatusDel(intf); }
    static void add(Status& status, std::uint32_t number) { status.addrIs(withMask(number), {}); }
    static void del(Status& status, std::uint32_t number) { status.addrDel(withMask(number)); }
};

template <class Family>
IpLib::IntfAddrEntryKey keyOf(std::uint32_t number) {
    return IpLib::IntfAddrEntryKey::makeIpKey(Family::addr(number));
}

template <class Family>
IpLib::IntfAddrEntryContent contentOf(std::uint32_t number) {
    return {.key = keyOf<Family>(number),
            .intfId = nameOf(intfOf(number)),
            .subnet = {Family::addr(number), Family::length}};
}

}  // namespace Bench
