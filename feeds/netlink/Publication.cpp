#include "feeds/netlink/Publication.h"

#include <algorithm>
#include <limits>

namespace Netlink {

namespace {

using namespace Routing;

// How many addresses of a family one operation brings, so that it fits on a line where it is
// recorded. The others follow one by one.
constexpr std::size_t maxTogether = 1000;

// Makes the operations for one link.
class Steps {
public:
    explicit Steps(std::vector<Operation>& operations) : operations_(operations) {}

    // All that stands and will not.
    void withdraw(PublishedLink const& was, PublishedLink const* is) {
        vrf_ = was.vrf;
        intf_ = was.status.intf;
        bool const stays = is && is->vrf == vrf_ && is->status.intf == intf_;
        static LinkStatus const nothing;
        LinkStatus const& now = stays ? is->status : nothing;
        withdrawIp4(was.status.ip, now.ip);
        withdrawIp6(was.status.ip6, now.ip6);
        if (!stays) {
            put(IpIntfDel{vrf_, intf_});
            put(Ip6IntfDel{vrf_, intf_});
            put(KernelDel{vrf_, intf_});
        }
    }

    // What stood as a primary or secondary address of its interface, and is to stand as the other:
    // it goes and comes at once, so that nobody gets its subnet meanwhile.
    void change(PublishedLink const& was, PublishedLink const& is) {
        vrf_ = is.vrf;
        intf_ = is.status.intf;
        if (was.vrf == vrf_ && was.status.intf == intf_) {
            changeIp4(was.status.ip, is.status.ip);
        }
    }

    // All else that is to stand and does not yet.
    void add(PublishedLink const* was, PublishedLink const& is) {
        vrf_ = is.vrf;
        intf_ = is.status.intf;
        bool const stays = was && was->vrf == vrf_ && was->status.intf == intf_;
        if (!stays || was->status.device != is.status.device) {
            put(KernelAdd{vrf_, intf_, is.status.device});
        }
        if (stays) {
            addIp4(was->status.ip, is.status.ip);
            addIp6(was->status.ip6, is.status.ip6);
            return;
        }
        LinkStatus first = is.status;
        first.ip.secondary.resize(std::min(first.ip.secondary.size(), maxTogether));
        first.ip6.resize(std::min(first.ip6.size(), maxTogether));
        put(IpIntfAdd{vrf_, intf_, first.ip});
        put(Ip6IntfAdd{vrf_, intf_, first.ip6});
        addIp4(first.ip, is.status.ip);
        addIp6(first.ip6, is.status.ip6);
    }

private:
    void put(Operation operation) { operations_.push_back(std::move(operation)); }

    static bool isSet(Nimb::IpAddrWithMask const& addr) { return addr != Nimb::IpAddrWithMask(); }
    static bool has(std::vector<Nimb::IpAddrWithMask> const& addrs,
                    Nimb::IpAddrWithMask const& addr) {
        return std::ranges::binary_search(addrs, addr);
    }
    // Its primary address was a secondary one, or is one now.
    static bool promotes(IpIntf const& was, IpIntf const& is) {
        return has(was.secondary, is.primary);
    }
    static bool demotes(IpIntf const& was, IpIntf const& is) {
        return has(is.secondary, was.primary);
    }

    void withdrawIp4(IpIntf const& was, IpIntf const& is) {
        if (was.primary != is.primary && isSet(was.primary)) {
            if (!demotes(was, is)) {
                put(IpPrimaryIs{vrf_, intf_, {}});
            }
        } else if (was.unnumberedSource.empty() && !is.unnumberedSource.empty()) {
            put(IpUnnumberedIs{vrf_, intf_, is.unnumberedSource});
        }
        for (auto const& addr : was.secondary) {
            if (!has(is.secondary, addr) && addr != is.primary) {
                put(IpSecondaryDel{vrf_, intf_, addr});
            }
        }
    }

    void changeIp4(IpIntf const& was, IpIntf const& is) {
        bool const promoted = promotes(was, is);
        bool const demoted = demotes(was, is);
        if (promoted) {
            put(IpSecondaryDel{vrf_, intf_, is.primary});
            primaryIs(was, is);
        } else if (demoted) {
            put(IpPrimaryIs{vrf_, intf_, {}});
        }
        if (demoted) {
            put(IpSecondaryAdd{vrf_, intf_, was.primary});
        }
    }

    void addIp4(IpIntf const& was, IpIntf const& is) {
        if (!promotes(was, is)) {
            primaryIs(was, is);
        }
        for (auto const& addr : is.secondary) {
            if (!has(was.secondary, addr) && addr != was.primary) {
                put(IpSecondaryAdd{vrf_, intf_, addr});
            }
        }
    }

    void primaryIs(IpIntf const& was, IpIntf const& is) {
        bool const isWithdrawn = was.primary == is.primary && was.unnumberedSource.empty();
        if (was.unnumberedSource != is.unnumberedSource && !isWithdrawn) {
            put(IpUnnumberedIs{vrf_, intf_, is.unnumberedSource});
        }
        if (was.primary != is.primary && isSet(is.primary)) {
            put(IpPrimaryIs{vrf_, intf_, is.primary});
        }
    }

    void withdrawIp6(std::vector<Ip6IntfAddr> const& was, std::vector<Ip6IntfAddr> const& is) {
        for (Ip6IntfAddr const& one : was) {
            if (!std::ranges::binary_search(is, one.addr, {}, &Ip6IntfAddr::addr)) {
                put(Ip6AddrDel{vrf_, intf_, one.addr});
            }
        }
    }

    void addIp6(std::vector<Ip6IntfAddr> const& was, std::vector<Ip6IntfAddr> const& is) {
        for (Ip6IntfAddr const& one : is) {
            auto const before = std::ranges::lower_bound(was, one.addr, {}, &Ip6IntfAddr::addr);
            if (before == was.end() || *before != one) {
                put(Ip6AddrSet{vrf_, intf_, one});
            }
        }
    }

    std::vector<Operation>& operations_;
    L3::VrfName vrf_;
    Nimb::IntfId intf_;
};

}  // namespace

void Publication::vrfIs(L3::VrfName const& vrf) { count(vrf, 1); }

void Publication::vrfDel(L3::VrfName const& vrf) { count(vrf, -1); }

void Publication::count(L3::VrfName const& vrf, int difference) {
    vrfs_[vrf].holders += difference;
    counted_.insert(vrf);
}

void Publication::set(LinkRef ref, std::optional<PublishedLink> link) {
    changed_.insert_or_assign(ref, std::move(link));
}

void Publication::setGone(std::uint64_t space) {
    LinkRef const first{.space = space, .ifIndex = 0};
    LinkRef const last{.space = space, .ifIndex = std::numeric_limits<std::uint32_t>::max()};
    changed_.erase(changed_.lower_bound(first), changed_.upper_bound(last));
    for (auto one = published_.lower_bound(first); one != published_.upper_bound(last); ++one) {
        changed_.emplace(one->first, std::nullopt);
    }
}

PublishedLink const* Publication::published(LinkRef ref) const {
    auto const found = published_.find(ref);
    return found == published_.end() ? nullptr : &found->second;
}

std::set<L3::VrfName> Publication::vrfsOf(std::uint64_t space) const {
    std::set<L3::VrfName> found;
    for (auto one = published_.lower_bound({.space = space, .ifIndex = 0});
         one != published_.end() && one->first.space == space; ++one) {
        found.insert(one->second.vrf);
    }
    return found;
}

void Publication::takeVrfs(std::vector<Operation>& operations) {
    for (auto const& vrf : counted_) {
        if (auto const& state = vrfs_.at(vrf); state.holders == 0) {
            if (state.isPublished) {
                operations.insert(operations.end(), {Ip6VrfDel{vrf}, IpVrfDel{vrf}, TableDel{vrf}});
            }
            vrfs_.erase(vrf);
        }
    }
    for (auto const& vrf : std::exchange(counted_, {})) {
        auto const found = vrfs_.find(vrf);
        if (found != vrfs_.end() && !std::exchange(found->second.isPublished, true)) {
            operations.insert(operations.end(), {TableAdd{vrf}, IpVrfAdd{vrf}, Ip6VrfAdd{vrf}});
        }
    }
}

std::vector<Operation> Publication::take() {
    std::erase_if(changed_, [this](auto const& change) {
        auto const* const was = published(change.first);
        return was ? change.second == *was : !change.second;
    });
    std::vector<Operation> operations;
    Steps steps(operations);
    for (auto const& [ref, is] : changed_) {
        if (auto const* const was = published(ref)) {
            steps.withdraw(*was, is ? &*is : nullptr);
            count(was->vrf, -1);
        }
        if (is) {
            count(is->vrf, 1);
        }
    }
    takeVrfs(operations);
    for (auto const& [ref, is] : changed_) {
        if (auto const* const was = published(ref); was && is) {
            steps.change(*was, *is);
        }
    }
    for (auto& [ref, is] : changed_) {
        if (is) {
            steps.add(published(ref), *is);
            published_.insert_or_assign(ref, *std::move(is));
        } else {
            published_.erase(ref);
        }
    }
    changed_.clear();
    return operations;
}

}  // namespace Netlink
