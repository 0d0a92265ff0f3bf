// Publishes what the kernel of this machine has: the program's own network namespace as the VRF
// "default", each that is named ns-NAME as the VRF NAME, and each VRF device as a VRF: DEVICE in
// the own namespace, NAME/DEVICE in ns-NAME.
//
//   in     the kernel
//   out    batches of operations (Publication.h), each what has changed since the last; what is
//          left out and why; which VRFs are stale and why
//   timers when to look for namespaces again, and those of its followers
//
// Nothing is published before every namespace that was there at the start has been read whole, or
// cannot be read. One that comes later is published when it has been read whole. What cannot be
// read whole for ten seconds is published as far as it has been seen, and is stale. A namespace
// that goes is withdrawn at once, and none is kept alive.
//
// Owned by whoever runs the loop, who calls run() after each event, and when nextExpiry() has come.
// Borrows the kernel.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "feeds/netlink/Follower.h"
#include "feeds/netlink/Publication.h"

namespace Netlink {

class Feed {
public:
    // What the kernel notifies of a link or an address, on an interface of a VRF.
    using Told = std::function<void(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                                    Change const& change, Zin::Seconds now)>;
    struct Options {
        FollowerOptions follower{};
        Policy policy{};
        // Only what may belong to this VRF is read.
        std::optional<L3::VrfName> only{};
        // Whether namespaces that come and go are of interest.
        bool watches = true;
        // Whether those that come after the first publication are followed, which takes the right
        // to enter them; else they are left out.
        bool followsNew = true;
        // Called with all that is new, as it comes, and not with what dumps show. May be empty.
        Told told{};
    };
    using Publish = std::function<void(std::vector<Routing::Operation> const& operations)>;

    Feed(Kernel& kernel, Options options, Publish publish, Notice notice);
    ~Feed();
    Feed(Feed const&) = delete;
    Feed& operator=(Feed const&) = delete;

    // From now on, for each namespace (FollowerOptions).
    void coalesceIs(Zin::Seconds coalesce);

    Zin::Seconds nextExpiry() const;
    void run(Zin::Seconds now);

    // The first publication has been.
    bool isStarted() const { return isStarted_; }
    // Why the namespace of the VRF is not published; nothing where it is, or there is none.
    std::optional<std::string> unreadable(L3::VrfName const& vrf) const;
    // VRFs whose state cannot be trusted for the time being, and why.
    std::map<L3::VrfName, std::string> stale() const;
    // Of each namespace that is followed, under the VRF that it is.
    std::map<L3::VrfName, Follower::Counts> counts() const;
    // What would be a VRF, or belong to one, and is left out; and why. In the words of notices.
    std::map<std::string, std::string> leftOut() const;

    // Of these, what has addresses of which nobody is told.
    std::map<std::string, std::string> hidden() const;

    // The links, in an order that stays while they come and go; the first where none is given.
    std::optional<LinkRef> linkAfter(std::optional<LinkRef> const& link) const;
    // Each address of a link that belongs to a VRF, and whether it is published.
    using EachAddress = std::function<void(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                                           AddressPicture const& address)>;
    void forEachAddressOf(LinkRef const& link, EachAddress const& each) const;
    void forEachAddress(EachAddress const& each) const;

private:
    // One namespace that is followed.
    struct Space {
        std::optional<NamedNamespace> named;
        L3::VrfName vrf;
        std::unique_ptr<Follower> follower;
        bool isVrf = false;                   // to readers
        std::optional<Zin::Seconds> since{};  // when it was run first
    };

    // Why a namespace is none of its own.
    struct Refusal {
        std::string why;
        bool isKnown = false;  // it is followed all the same
    };

    bool isOwn(std::uint64_t number) const { return number == 0; }
    void follow(std::uint64_t number, std::optional<NamedNamespace> named, L3::VrfName const& vrf);
    // In order of their indexes.
    using EachDevice = std::function<void(std::uint64_t number, Space const& space, Link const&)>;
    void forEachVrfDevice(EachDevice const& each) const;
    void watch();
    void scan(Zin::Seconds now);
    void forgetGone(std::vector<NamedNamespace> const& there);
    void followNew(std::vector<NamedNamespace> const& there);
    // Why the name does not make a VRF; nothing where it does.
    std::optional<Refusal> refusal(NamedNamespace const& named) const;
    bool isWanted(L3::VrfName const& vrf) const;
    void tell(std::uint64_t number, Change const& change, Zin::Seconds now) const;
    void touchDevices(L3::VrfName const& vrf);

    bool canStart(Zin::Seconds now) const;
    static std::string whyUnread(Space const& space);
    static bool canPublish(Space const& space, Zin::Seconds now);
    void paint(std::uint64_t number, Space& space);
    LinkPicture pictureOf(std::uint64_t number, Space const& space, std::uint32_t ifIndex) const;
    void publish(Zin::Seconds now);
    // The VRF of a link; nothing where it is left out, which is told to whoever gives `refuse`.
    using Refuse = std::function<void(std::string const& name, std::string const& why)>;
    std::optional<L3::VrfName> vrfOf(std::uint64_t number, Space const& space,
                                     std::uint32_t ifIndex, Refuse const& refuse) const;
    void tellLeftOut(std::string const& name, std::string const& why);
    void tellOnce(std::string const& line);

    Kernel& kernel_;
    Options options_;
    Publish const publish_;
    Notice const notice_;

    NamespaceId own_;
    std::map<std::uint64_t, Space> spaces_;
    std::uint64_t nextNumber_ = 1;
    std::set<L3::VrfName> namespaceVrfs_;
    Publication publication_;
    std::map<std::string, Refusal> leftOutNamespaces_;
    std::optional<std::string> scanFailure_;
    std::set<std::string> told_;

    bool isWatching_ = false;
    bool mustScan_ = true;
    Zin::Seconds nextScan_ = Velk::never;
    bool isStarted_ = false;
    std::optional<Zin::Seconds> latestStart_;
};

}  // namespace Netlink
