// What may be wrong with a table: one fault, of one address or subnet.
#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrWithMaskKey.h"

namespace Routing {

struct Fault {
    // What is wrong.
    enum class Kind : std::uint8_t {
        unjustifiedRow,       // no status has the address
        rowWithoutDevice,     // its interface has no device
        lostAddress,          // published, and neither in the table nor waiting
        freeAddressWaits,     // it waits, though nothing in the table is in its way
        unpublishedWaits,     // nobody publishes it, and it waits
        rowsOfOneKey,         // another row is of the same address
        wrongAddressEntry,    // row and by-address entry disagree
        wrongSet,             // row and subnet's set disagree
        wrongLinkLocalEntry,  // row and link-local entry disagree
        emptySet,
        unjustifiedVirtual,  // a virtual address that is not published
        lostVirtual,         // a virtual address without its row
        overdueCleanup,
    };

    // Of a set: its subnet; of a clean-up: the unspecified address of its family, with length 0.
    Nimb::IpGenAddrWithMask addr{};
    Nimb::IntfId intf{};  // empty for a virtual address
    Kind kind{};

    // For people; and the kind alone, for counting.
    std::string toText() const;
    static std::string_view nameOf(Kind kind);

    // By address, so that all faults of an address or a subnet stand together.
    friend bool operator==(Fault const&, Fault const&) = default;
    friend std::strong_ordering operator<=>(Fault const&, Fault const&) = default;
};

}  // namespace Routing
