// What one network namespace looked like to the kernel at one moment: its links and the addresses
// on them, in order of interface index; the addresses of one link stand in the kernel's order.
//
// Messages that cannot be used are left out and counted in `skipped`. What this program does not
// know yet (unknown) is normal with a kernel newer than it; the other counts mean that the picture
// may have holes.
#pragma once

#include <cstdint>
#include <vector>

#include "Interface/OperStatus.h"
#include "Nimb/IntfId.h"
#include "Nimb/IpGenAddrWithMask.h"

namespace Netlink {

struct Link {
    std::uint32_t ifIndex = 0;
    Nimb::IntfId name;
    Interface::OperStatus operStatus = Interface::OperStatus::unknown;
    // Administratively up.
    bool up = false;

    friend bool operator==(Link const&, Link const&) = default;
};

struct Address {
    std::uint32_t ifIndex = 0;
    Nimb::IpGenAddrWithMask addr;
    bool secondary = false;   // IPv4 alone
    bool deprecated = false;  // its preferred lifetime is over
    bool tentative = false;   // duplicate address detection still runs
    bool dadFailed = false;   // somebody else on the link has it

    friend bool operator==(Address const&, Address const&) = default;
};

struct Skipped {
    std::uint32_t shortMessages = 0;      // cut within a header or before the end of its fixed part
    std::uint32_t oversizedMessages = 0;  // longer than the datagram that brought them
    std::uint32_t malformedMessages = 0;  // with a broken or missing attribute
    std::uint32_t foreignMessages = 0;    // not an answer to what was asked
    std::uint32_t unknownMessages = 0;
    std::uint32_t unknownAttributes = 0;

    std::uint32_t damaged() const { return shortMessages + oversizedMessages + malformedMessages; }

    friend bool operator==(Skipped const&, Skipped const&) = default;
};

struct Snapshot {
    std::vector<Link> links{};
    std::vector<Address> addresses{};
    Skipped skipped{};
};

}  // namespace Netlink
