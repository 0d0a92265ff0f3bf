// What one network namespace looks like to the kernel: its links by index, and the addresses on
// them.
//
//   in     changes, as notifications tell them; what dumps show
//   out    links and addresses; which links are to be looked at again, because what is published
//          for them may have changed
//
// An address may come before its link, and is kept until that comes. A link takes its addresses
// with it. Names are unique in a namespace: a link that is told to have the name of another one
// takes it from that, which is nameless until it is told of again.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <utility>
#include <variant>
#include <vector>

#include "feeds/netlink/Ip4Addresses.h"
#include "feeds/netlink/Message.h"

namespace Netlink {

struct MirroredLink {
    // Nothing while only its addresses have been told.
    std::optional<Link> link{};
    Ip4Addresses ip4{};
    std::map<Nimb::IpGenAddr, Address> ip6{};
};

// What a dump has shown, in the kernel's order.
struct Dumped {
    std::vector<Link> links{};
    std::vector<Address> addresses{};
};

class Mirror {
public:
    using Links = std::map<std::uint32_t, MirroredLink>;

    Links const& links() const { return links_; }
    // Null where there is none.
    MirroredLink const* find(std::uint32_t ifIndex) const;

    // The VRF device that the link belongs to: the first on the way up its masters, beginning with
    // itself. Null where there is none; nothing where the masters go in a circle.
    std::optional<Link const*> vrfDevice(std::uint32_t ifIndex) const;
    // Whether a change that brings something brings what is there already, as it is.
    bool shows(Change const& change) const;
    // The indexes of all VRF devices.
    std::set<std::uint32_t> const& vrfDevices() const { return vrfDevices_; }
    // The interfaces from which others may borrow the address: it stands alone on them (/32), and
    // they are there to carry such addresses.
    std::vector<Link const*> lenders(Nimb::IpGenAddr const& addr) const;

    void apply(Change const& change);
    // All there is: what is not in it is gone.
    void replace(Dumped const& dumped);
    // Something of what there is: nothing goes.
    void add(Dumped const& dumped);
    // Forgets what links are and what is on them, but not which there have been: those that
    // replace() does not find are to be looked at again then, as those that it finds. Allocates
    // nothing, and may be called where apply(), replace() or add() has thrown.
    void startOver();

    // The links to be looked at again since the last time.
    std::set<std::uint32_t> takeTouched() { return std::exchange(touched_, {}); }
    // With all that belongs to it.
    void touch(std::uint32_t ifIndex);

private:
    void handle(LinkIs const& change) { set(change.link); }
    void handle(LinkGone const& change) { remove(change.ifIndex); }
    void handle(AddressIs const& change) { set(change.address); }
    void handle(AddressGone const& change);

    void set(Link const& link);
    void remove(std::uint32_t ifIndex);
    void set(Address const& address);
    void replaceAddresses(std::uint32_t ifIndex, std::vector<Address> const& ip4,
                          std::map<Nimb::IpGenAddr, Address> ip6);
    void eraseIfEmpty(Links::iterator one);

    void nameIs(Link const& link);
    void forget(Link const& link);
    void noteHost(Address const& address);
    void forgetHost(Address const& address);
    // Those that may borrow the address of this link.
    void touchBorrowers(MirroredLink const& lender, Address const& address);

    Links links_;
    std::map<Nimb::IntfId, std::uint32_t> byName_;
    std::map<std::uint32_t, std::set<std::uint32_t>> portsOf_;
    std::set<std::uint32_t> vrfDevices_;
    // Where an IPv4 address stands alone.
    std::map<Nimb::IpGenAddr, std::multiset<std::uint32_t>> hosts_;
    std::set<std::uint32_t> touched_;
};

}  // namespace Netlink
