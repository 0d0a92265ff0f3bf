// An address with its prefix length on an interface. Sorts by interface, then by address-with-mask.
#pragma once

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>

#include "Nimb/IntfId.h"
#include "Nimb/IpGenAddrWithMask.h"
#include "Nimb/PrefixHash.h"
#include "Zin/Hash.h"
#include "Zin/Text.h"

namespace IpLib {

struct IntfAddrWithMaskKey {
    Nimb::IntfId intfId;                   // the interface that has the address
    Nimb::IpGenAddrWithMask addrWithMask;  // the address, and how long its subnet's prefix is

    bool isV6LinkLocal() const { return addrWithMask.isV6LinkLocal(); }

    std::uint32_t hash(std::uint32_t seed) const {
        std::uint8_t const length = addrWithMask.prefixLength();
        return Zin::Hash(seed)
            .mix4(intfId.hash())
            .mix4(Nimb::prefixHash(addrWithMask.address(), length))
            .mix1(length)  // which tells the addresses apart that share a prefixHash
            .finish();
    }
    // "intfId=NAME;addrWithMask=ADDRESS/LENGTH"
    std::string toStrep() const;

    friend bool operator==(IntfAddrWithMaskKey const&, IntfAddrWithMaskKey const&) = default;
    friend std::strong_ordering operator<=>(IntfAddrWithMaskKey const&,
                                            IntfAddrWithMaskKey const&) = default;
};

// "Value('IpLib::IntfAddrWithMaskKey', ** {...})", the one form that is read back. Reading throws
// Zin::ParseError, which names the attribute.
std::string valueToStrep(IntfAddrWithMaskKey const& key);
IntfAddrWithMaskKey readValue(std::type_identity<IntfAddrWithMaskKey>, Zin::TextReader& reader);
IntfAddrWithMaskKey fromStrep(std::type_identity<IntfAddrWithMaskKey>, std::string_view text);
std::ostream& operator<<(std::ostream& out, IntfAddrWithMaskKey const& key);

}  // namespace IpLib
