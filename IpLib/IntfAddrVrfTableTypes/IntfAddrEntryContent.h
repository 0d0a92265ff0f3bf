// What a row of the address table says: its key, the interface that carries the address (empty for
// a virtual address) and the subnet that the address lies in. An immutable value; contents sort by
// key, then interface, then subnet.
#pragma once

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>

#include "IpLib/IntfAddrVrfTableTypes/IntfAddrEntryKey.h"
#include "Nimb/IntfId.h"
#include "Nimb/IpGenPrefix.h"
#include "Nimb/PrefixHash.h"
#include "Zin/Hash.h"

namespace IpLib {

struct IntfAddrEntryContent {
    IntfAddrEntryKey key;      // what the row is found by
    Nimb::IntfId intfId;       // that carries the address; empty for a virtual one
    Nimb::IpGenPrefix subnet;  // that the address lies in; unset for a virtual one

    std::uint32_t hash(std::uint32_t seed) const {
        return Zin::Hash(seed)
            .mix4(key.hash(0))
            .mix4(intfId.hash())
            .mix4(Nimb::prefixHash(subnet.address(), subnet.prefixLength()))
            .finish();
    }
    // The key's short form and ";subnet=PREFIX". The content's own interface is not part of it.
    std::string toStrep() const;

    friend bool operator==(IntfAddrEntryContent const&, IntfAddrEntryContent const&) = default;
    friend std::strong_ordering operator<=>(IntfAddrEntryContent const&,
                                            IntfAddrEntryContent const&) = default;
};

// "Value('IpLib::IntfAddrEntryContent', ** {...})"
std::string valueToStrep(IntfAddrEntryContent const& content);
// Reads the short form; the interface, which that leaves out, is the key's. Throws Zin::ParseError.
IntfAddrEntryContent fromStrep(std::type_identity<IntfAddrEntryContent>, std::string_view text);
std::ostream& operator<<(std::ostream& out, IntfAddrEntryContent const& content);

}  // namespace IpLib
