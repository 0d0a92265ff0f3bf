// What is published, and the operations that turn it into what is to be published: differences
// alone.
//
//   in     the VRFs that there are; what is to be published for each link, and in which VRF
//   out    operations, in an order in which readers miss nothing that is there all the time
//
// All that goes is withdrawn before anything comes, over all VRFs and interfaces: an address that
// is still held when it comes elsewhere has to wait, and one that is a primary and a secondary
// address of its interface at once is lost when either goes. What goes with its interface is
// withdrawn address by address, since what is withdrawn with its status stands for a while. What
// only changes between primary and secondary comes first, so that nobody else gets its place.
//
// Nothing is published until take() hands the operations out: whoever takes them carries them out.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "L3/VrfName.h"
#include "feeds/netlink/Picture.h"
#include "router/Operation.h"

namespace Netlink {

// A link of a namespace; whoever publishes numbers its namespaces.
struct LinkRef {
    std::uint64_t space = 0;
    std::uint32_t ifIndex = 0;

    friend auto operator<=>(LinkRef const&, LinkRef const&) = default;
};

struct PublishedLink {
    L3::VrfName vrf{};
    LinkStatus status{};

    friend bool operator==(PublishedLink const&, PublishedLink const&) = default;
};

class Publication {
public:
    // A VRF is there while it has an interface, or while this says so.
    void vrfIs(L3::VrfName const& vrf);
    void vrfDel(L3::VrfName const& vrf);

    // What is to be published for a link; nothing: it is not.
    void set(LinkRef ref, std::optional<PublishedLink> link);
    // All links of the namespace are gone.
    void setGone(std::uint64_t space);

    // What has been taken for a link last; null for nothing.
    // Those in which links of a namespace are published.
    std::set<L3::VrfName> vrfsOf(std::uint64_t space) const;
    PublishedLink const* published(LinkRef ref) const;

    std::vector<Routing::Operation> take();

private:
    using Links = std::map<LinkRef, PublishedLink>;

    void count(L3::VrfName const& vrf, int difference);
    // Those that go, then those that come.
    void takeVrfs(std::vector<Routing::Operation>& operations);

    Links published_;
    std::map<LinkRef, std::optional<PublishedLink>> changed_;
    struct Vrf {
        int holders = 0;
        bool isPublished = false;
    };
    std::map<L3::VrfName, Vrf> vrfs_;
    std::set<L3::VrfName> counted_;  // since the last time
};

}  // namespace Netlink
