#include "Judge.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "Zin/Format.h"

namespace Simulated {
namespace {

// What is missing or too much in `there`.
template <class Keys>
void compare(std::string_view what, Keys const& wanted, Keys const& there, Faults& faults) {
    for (auto const& key : wanted) {
        if (!there.contains(key)) {
            faults.add("not published", "{} {}", what, key);
        }
    }
    for (auto const& key : there) {
        if (!wanted.contains(key)) {
            faults.add("published wrongly", "{} {}", what, key);
        }
    }
}

template <class Map>
auto keysOf(Map const& map) {
    std::set<std::remove_cvref_t<decltype(map.begin()->first)>> keys;
    for (auto const& [key, value] : map) {
        keys.insert(key);
    }
    return keys;
}

template <class Members>
auto memberKeysOf(Members const& members) {
    std::set<std::remove_cvref_t<decltype(members.begin()->key)>> keys;
    for (auto const& member : members) {
        keys.insert(member.key);
    }
    return keys;
}

class StatusJudge {
public:
    StatusJudge(L3::VrfName const& vrf, WantedVrf const& wanted, Routing::Router& router,
                Faults& faults)
        : vrf_(vrf), wanted_(wanted), router_(router), faults_(faults) {}

    void judge() {
        auto const& inputs = router_.inputs();
        auto const ip = inputs.ipStatus()->vrfIpIntfStatus(vrf_);
        auto const ip6 = inputs.ip6Status()->vrfIp6IntfStatus(vrf_);
        auto const devices = inputs.kniIntfStatusHelper()->deviceIntfStatusDir(vrf_);
        if (!ip || !ip6 || !router_.tables()->intfAddrVrfTable(vrf_)) {
            faults_.add("not published", "VRF {}", vrf_);
            return;
        }
        auto const wanted = keysOf(wanted_.intfs);
        auto const label = [this](std::string_view what) {
            return fmt::format("{}: {}", vrf_, what);
        };
        compare(label("IPv4 interface"), wanted, memberKeysOf(ip->ipIntfStatus()), faults_);
        compare(label("IPv6 interface"), wanted, memberKeysOf(ip6->intfStatus()), faults_);
        compare(label("device"), wanted, memberKeysOf(devices->deviceIntfStatus()), faults_);
        for (auto const& [intf, one] : wanted_.intfs) {
            if (auto const status = ip->ipIntfStatus(intf)) {
                judgeIp(one, *status);
            }
            if (auto const status = ip6->intfStatus(intf)) {
                judgeIp6(one, *status);
            }
            if (auto const device = devices->deviceIntfStatus(intf)) {
                judgeDevice(one, *device);
            }
        }
    }

private:
    void judgeIp(WantedIntf const& wanted, Ip::IpIntfStatus const& status) {
        auto const& intf = status.intfId();
        auto const primary = status.activeAddrWithMask();
        std::set<Nimb::IpAddrWithMask> addrs;
        for (auto const& member : status.secondaryActiveAddrWithMask()) {
            addrs.insert(member.key);
        }
        if (addrs.contains(primary)) {
            faults_.add("published twice", "{}: {} on {}", vrf_, primary, intf);
        }
        if (primary != Nimb::IpAddrWithMask()) {
            addrs.insert(primary);
        }
        bool const isPrimary = wanted.primaries.contains(primary) ||
                               (wanted.primaries.empty() && primary == Nimb::IpAddrWithMask());
        if (!isPrimary) {
            faults_.add("wrong primary", "{}: {} on {}", vrf_, primary, intf);
        }
        compare(fmt::format("{}: on {}", vrf_, intf),
                std::set<Nimb::IpAddrWithMask>(wanted.ip4.begin(), wanted.ip4.end()), addrs,
                faults_);
        auto const& source = status.unnumberedIntfId();
        if (wanted.lenders.empty() ? !source.empty() : !wanted.lenders.contains(source)) {
            faults_.add("wrong lender", "{}: '{}' of {}", vrf_, source, intf);
        }
    }

    void judgeIp6(WantedIntf const& wanted, Ip6::IntfStatus const& status) {
        auto missing = keysOf(wanted.ip6);
        auto there = memberKeysOf(status.addr());
        for (auto const& addr : wanted.untold) {
            missing.erase(addr);
            there.erase(addr);
        }
        compare(fmt::format("{}: on {}", vrf_, status.intfId()), missing, there, faults_);
        for (auto const& member : status.addr()) {
            auto const found = wanted.ip6.find(member.key);
            if (found != wanted.ip6.end() && found->second &&
                *found->second != member.value.deprecated) {
                faults_.add("wrongly deprecated", "{}: {} on {} is published as deprecated: {}",
                            vrf_, member.key, status.intfId(), member.value.deprecated);
            }
        }
    }

    void judgeDevice(WantedIntf const& wanted, Interface::DeviceIntfStatus const& device) {
        if (device.ifIndex() != wanted.ifIndex || device.active() != wanted.up ||
            device.operStatus() != wanted.operStatus ||
            device.deviceName() != device.intfId().name()) {
            faults_.add("wrong device", "{}: {} is {} of index {}, up {}, status {}", vrf_,
                        device.intfId(), device.deviceName(), device.ifIndex(), device.active(),
                        static_cast<int>(device.operStatus()));
        }
    }

    L3::VrfName const& vrf_;
    WantedVrf const& wanted_;
    Routing::Router& router_;
    Faults& faults_;
};

// One address as it is to stand in a table.
struct Entry {
    Nimb::IntfId intf;
    Nimb::IpGenAddrWithMask addr;
    bool mayBeMissing = false;
};

std::vector<Entry> entriesOf(WantedVrf const& vrf) {
    std::vector<Entry> entries;
    for (auto const& [intf, one] : vrf.intfs) {
        // What is borrowed is published by the lender.
        if (one.lenders.empty()) {
            for (auto const& addr :
                 std::set<Nimb::IpAddrWithMask>(one.ip4.begin(), one.ip4.end())) {
                entries.push_back({intf, addr});
            }
        }
        for (auto const& [addr, deprecated] : one.ip6) {
            entries.push_back({intf, addr, one.untold.contains(addr)});
        }
    }
    return entries;
}

// Only what is alone with its address and its subnet has a right to be in the table at any rate.
bool isUndisputed(Entry const& entry, std::vector<Entry> const& all) {
    return std::ranges::all_of(all, [&entry](Entry const& other) {
        if (entry.addr.isV6LinkLocal()) {
            // An interface has one.
            return other.intf != entry.intf || other.addr == entry.addr ||
                   !other.addr.isV6LinkLocal();
        }
        return other.intf == entry.intf || (other.addr.address() != entry.addr.address() &&
                                            other.addr.prefix() != entry.addr.prefix());
    });
}

}  // namespace

void judgeStatus(Wanted const& wanted, Routing::Router& router, std::set<L3::VrfName> const& stale,
                 Faults& faults) {
    for (auto const& [vrf, one] : wanted) {
        // Before a namespace had that name, a device of the own one may have had it.
        bool const maySucceed = vrf == one.home && stale.contains("default");
        if (!stale.contains(one.home) && !maySucceed) {
            StatusJudge(vrf, one, router, faults).judge();
        }
    }
    std::set<L3::VrfName> there;
    auto const& inputs = router.inputs();
    for (auto const& vrf : router.vrfs()) {
        there.insert(vrf);
    }
    there.merge(memberKeysOf(inputs.ipStatus()->vrfIpIntfStatus()));
    there.merge(memberKeysOf(inputs.ip6Status()->vrfIp6IntfStatus()));
    for (auto const& vrf : there) {
        L3::VrfName const home(vrf.bytes().substr(0, vrf.bytes().find('/')));
        if (!wanted.contains(vrf) && !stale.contains(home) && !stale.contains("default")) {
            faults.add("published wrongly", "VRF {}", vrf);
        }
    }
}

void judgeOrder(Wanted const& wanted, Netlink::Feed const& feed, Faults& faults) {
    std::map<std::pair<L3::VrfName, Nimb::IntfId>, std::vector<Nimb::IpAddrWithMask>> told;
    feed.forEachAddress([&told](auto const& vrf, auto const& intf, auto const& address) {
        if (address.addr.family() == Nimb::AddressFamily::ipv4) {
            told[{vrf, intf}].emplace_back(address.addr.address().ip4(),
                                           address.addr.prefixLength());
        }
    });
    for (auto const& [vrf, one] : wanted) {
        for (auto const& [intf, wantedIntf] : one.intfs) {
            if (auto const& there = told[{vrf, intf}]; there != wantedIntf.ip4) {
                faults.add("wrong order", "{}: on {}: {}, not {}", vrf, intf, fmt::join(there, " "),
                           fmt::join(wantedIntf.ip4, " "));
            }
        }
    }
}

void judgeTables(Wanted const& wanted, Routing::Router& router, Faults& faults) {
    for (auto const& vrf : router.vrfs()) {
        auto const found = wanted.find(vrf);
        if (found == wanted.end()) {
            continue;  // said of the status already
        }
        auto const entries = entriesOf(found->second);
        std::set<std::pair<Nimb::IntfId, Nimb::IpGenAddr>> rows;
        for (auto const& member : router.table(vrf)->intfAddrEntry()) {
            auto const& content = member.key;
            rows.emplace(content.intfId, content.key.addr);
            bool const isWanted = std::ranges::any_of(entries, [&content](Entry const& entry) {
                return entry.intf == content.intfId && entry.addr.address() == content.key.addr &&
                       entry.addr.prefix() == content.subnet;
            });
            if (!isWanted) {
                faults.add("wrong row", "{}: {} on {}", vrf, content, content.intfId);
            }
        }
        for (Entry const& entry : entries) {
            if (!entry.mayBeMissing && isUndisputed(entry, entries) &&
                !rows.contains({entry.intf, entry.addr.address()})) {
                faults.add("missing row", "{}: {} on {}", vrf, entry.addr, entry.intf);
            }
        }
    }
}

}  // namespace Simulated
