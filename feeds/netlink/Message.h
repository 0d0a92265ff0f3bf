// What the kernel's routing netlink says of links and addresses, read from its datagrams.
//
//   in     datagrams, any bytes whatever
//   out    a Message for each message that says something to us, a count for each that does not
//
// Nothing in a datagram is fatal; nothing is read beyond it, and nothing kept that is larger.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <variant>

#include "Interface/OperStatus.h"
#include "Nimb/IntfId.h"
#include "Nimb/IpGenAddrWithMask.h"

namespace Netlink {

struct Link {
    enum class Kind : std::uint8_t { other, loopback, dummy, vrf };

    std::uint32_t ifIndex = 0;
    Nimb::IntfId name{};
    Interface::OperStatus operStatus = Interface::OperStatus::unknown;
    bool up = false;  // administratively
    std::uint32_t master =
        0;  // the index of the link that this one is a port or member of; 0: none
    Kind kind = Kind::other;

    friend bool operator==(Link const&, Link const&) = default;
};

struct Address {
    std::uint32_t ifIndex = 0;
    Nimb::IpGenAddr local{};
    // The other end's on a point-to-point link, else the local one. The prefix is the peer's.
    Nimb::IpGenAddr peer{};
    std::uint8_t prefixLength = 0;
    std::uint8_t scope = 0;   // greater is narrower (linux/rtnetlink.h)
    bool secondary = false;   // IPv4 alone
    bool deprecated = false;  // its preferred lifetime is over
    bool tentative = false;   // duplicate address detection still runs (RFC 4862 section 5.4)
    bool optimistic = false;  // and is expected to succeed, so that it is in use (RFC 4429)
    bool dadFailed = false;   // somebody else on the link has it

    Nimb::AddressFamily family() const { return local.family(); }
    // The local address in its subnet; alone where it does not lie in the peer's prefix.
    Nimb::IpGenAddrWithMask withMask() const;
    bool isHost() const { return withMask().prefixLength() == Nimb::maxPrefixLength(family()); }

    friend bool operator==(Address const&, Address const&) = default;
};

struct LinkIs {
    Link link;
};
struct LinkGone {
    std::uint32_t ifIndex;
};
struct AddressIs {
    Address address;
};
struct AddressGone {
    Address address;
};
// The answer to a request is complete, or there is none.
struct End {
    int error;  // errno; 0 for none
};
// The kernel says of itself that it lost messages.
struct Overrun {};

// What changes a mirror of the kernel.
using Change = std::variant<LinkIs, LinkGone, AddressIs, AddressGone>;

struct Message {
    // Of the request that it answers, or that led to it.
    std::uint32_t sequence = 0;
    std::uint32_t port = 0;
    // What is dumped has changed meanwhile, so that the dump may miss or repeat things.
    bool interrupted = false;
    std::variant<Change, End, Overrun> content{};
};

// What could not be used. What this program does not know yet (unknown) is normal with a kernel
// newer than it; the other counts mean that the picture may have holes.
struct Skipped {
    std::uint64_t shortMessages = 0;      // cut within a header or before the end of its fixed part
    std::uint64_t oversizedMessages = 0;  // longer than the datagram that brought them
    std::uint64_t malformedMessages = 0;  // with a broken or missing attribute
    std::uint64_t foreignMessages = 0;    // from another sender, or no answer to what was asked
    std::uint64_t unknownMessages = 0;
    std::uint64_t unknownAttributes = 0;

    std::uint64_t damaged() const { return shortMessages + oversizedMessages + malformedMessages; }

    friend bool operator==(Skipped const&, Skipped const&) = default;
};

void readMessages(std::span<std::byte const> datagram, Skipped& skipped,
                  std::function<void(Message const&)> const& handle);

}  // namespace Netlink
