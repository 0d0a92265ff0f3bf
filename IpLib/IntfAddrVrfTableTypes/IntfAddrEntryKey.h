// What a row of the address table is found by: the address, whether it is a virtual one, and, for
// IPv6 link-local addresses alone, the interface that scopes it. An immutable value.
//
// Keys sort by interface (the empty one of ordinary and virtual addresses first), then by address,
// then ordinary before virtual.
#pragma once

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>

#include "Nimb/IntfId.h"
#include "Nimb/Ip6Addr.h"
#include "Nimb/IpGenAddr.h"
#include "Zin/Hash.h"
#include "Zin/Text.h"

namespace IpLib {

struct IntfAddrEntryKey {
    Nimb::IntfId intfId;     // empty but for IPv6 link-local addresses
    Nimb::IpGenAddr addr;    // of either family
    bool virtualIp = false;  // whether it is a virtual address

    // For IPv4 addresses and IPv6 global ones.
    static IntfAddrEntryKey makeIpKey(Nimb::IpGenAddr const& addr) { return {{}, addr, false}; }
    // For IPv6 link-local addresses, which are unique on their interface alone (RFC 4007).
    static IntfAddrEntryKey makeLlKey(Nimb::IpGenAddr const& addr, Nimb::IntfId const& intfId) {
        return {intfId, addr, false};
    }
    // For virtual addresses, of either family.
    static IntfAddrEntryKey makeVirtualIpKey(Nimb::IpGenAddr const& addr) {
        return {{}, addr, true};
    }

    // Of the sixteen bytes alone, whatever the family: equality tells families apart.
    std::uint32_t hash(std::uint32_t seed) const {
        return Zin::Hash(seed)
            .mix4(intfId.hash())
            .mix4(Nimb::Ip6Addr(addr.bytes()).hash())
            .mix1(virtualIp ? 1 : 0)
            .finish();
    }
    // "intfId=NAME;addr=ADDRESS;virtualIp=BOOL"
    std::string toStrep() const;

    friend bool operator==(IntfAddrEntryKey const&, IntfAddrEntryKey const&) = default;
    friend std::strong_ordering operator<=>(IntfAddrEntryKey const&,
                                            IntfAddrEntryKey const&) = default;
};

// "Value('IpLib::IntfAddrEntryKey', ** {...})"
std::string valueToStrep(IntfAddrEntryKey const& key);
// Reads the short form. Throws Zin::ParseError.
IntfAddrEntryKey fromStrep(std::type_identity<IntfAddrEntryKey>, std::string_view text);
std::ostream& operator<<(std::ostream& out, IntfAddrEntryKey const& key);

}  // namespace IpLib
