#include "Book.h"

namespace Healing {
namespace {

using Kind = Operation::Kind;

bool isSet(Book::Addr const& addr) { return addr != Book::Addr(); }

void giveBack(Book::Vrf& vrf) {
    if (vrf.kernelUses > 0) {
        --vrf.kernelUses;
    }
}

}  // namespace

Book::Vrf const& Book::vrf(L3::VrfName const& name) const {
    static Vrf const empty;
    auto const found = vrfs_.find(name);
    return found == vrfs_.end() ? empty : found->second;
}

bool Book::accepts(Operation const& operation) const {
    if (operation.at && *operation.at < now_) {
        return false;
    }
    auto const& vrf = this->vrf(operation.vrf);
    switch (operation.kind) {
        case Kind::managerStop:
            return managerRuns_;
        case Kind::managerStart:
            return !managerRuns_;
        case Kind::tableDel:
            return vrf.hasTable;
        case Kind::kernelDel:
            return vrf.devices.contains(operation.intf);
        case Kind::vipDel:
        case Kind::vip6Del:
            return vrf.virtualAddrs.contains(operation.addrs.at(0).addr);
        case Kind::ipVrfDel:
        case Kind::ipIntfAdd:
            return vrf.ip.has_value();
        case Kind::ip6VrfDel:
        case Kind::ip6IntfAdd:
            return vrf.ip6.has_value();
        case Kind::ipIntfDel:
        case Kind::ipPrimary:
        case Kind::ipUnnumbered:
        case Kind::ipSecondaryAdd:
        case Kind::ipSecondaryDel:
            return vrf.ip && acceptsOfIp(operation);
        case Kind::ip6IntfDel:
        case Kind::ip6AddrSet:
        case Kind::ip6AddrDel:
            return vrf.ip6 && acceptsOfIp6(operation);
        case Kind::tableAdd:
        case Kind::ipVrfAdd:
        case Kind::ip6VrfAdd:
        case Kind::kernelAdd:
        case Kind::vipAdd:
        case Kind::vip6Add:
        case Kind::advance:
            break;
    }
    return true;
}

bool Book::acceptsOfIp(Operation const& operation) const {
    auto const& intfs = *vrf(operation.vrf).ip;
    auto const found = intfs.find(operation.intf);
    return found != intfs.end() && (operation.kind != Kind::ipSecondaryDel ||
                                    found->second.secondary.contains(operation.addrs.at(0).addr));
}

bool Book::acceptsOfIp6(Operation const& operation) const {
    auto const& intfs = *vrf(operation.vrf).ip6;
    auto const found = intfs.find(operation.intf);
    return found != intfs.end() && (operation.kind != Kind::ip6AddrDel ||
                                    found->second.contains(operation.addrs.at(0).addr));
}

void Book::note(Operation const& operation) {
    now_ = operation.at.value_or(now_);
    if (operation.kind == Kind::advance) {
        now_ += operation.seconds;
        return;
    }
    if (operation.kind == Kind::managerStop || operation.kind == Kind::managerStart) {
        noteManager(operation.kind == Kind::managerStart);
        return;
    }
    auto& vrf = vrfs_[operation.vrf];
    switch (operation.kind) {
        case Kind::tableAdd:
            vrf.hasTable = true;
            vrf.kernelUses += managerRuns_;
            break;
        case Kind::tableDel:
            vrf.hasTable = false;
            if (managerRuns_) {
                giveBack(vrf);
            }
            break;
        case Kind::ipVrfAdd:
            vrf.ip.emplace();
            break;
        case Kind::ipVrfDel:
            vrf.ip.reset();
            break;
        case Kind::ip6VrfAdd:
            vrf.ip6.emplace();
            break;
        case Kind::ip6VrfDel:
            vrf.ip6.reset();
            break;
        case Kind::kernelAdd:
            vrf.devices.insert(operation.intf);
            break;
        case Kind::kernelDel:
            vrf.devices.erase(operation.intf);
            break;
        case Kind::vipAdd:
        case Kind::vip6Add:
            vrf.virtualAddrs.insert(operation.addrs.at(0).addr);
            break;
        case Kind::vipDel:
        case Kind::vip6Del:
            vrf.virtualAddrs.erase(operation.addrs.at(0).addr);
            break;
        default:
            noteOfIp(vrf, operation);
            noteOfIp6(vrf, operation);
    }
}

void Book::noteOfIp(Vrf& vrf, Operation const& operation) {
    auto const& addrs = operation.addrs;
    switch (operation.kind) {
        case Kind::ipIntfAdd: {
            auto& intf = (*vrf.ip)[operation.intf];
            intf = {.primary = addrs.at(0).addr, .source = operation.source};
            for (std::size_t i = 1; i < addrs.size(); ++i) {
                intf.secondary.insert(addrs[i].addr);
            }
            break;
        }
        case Kind::ipIntfDel:
            vrf.ip->erase(operation.intf);
            break;
        case Kind::ipPrimary:
            vrf.ip->at(operation.intf).primary = addrs.at(0).addr;
            break;
        case Kind::ipUnnumbered:
            vrf.ip->at(operation.intf).source = operation.source;
            break;
        case Kind::ipSecondaryAdd:
            vrf.ip->at(operation.intf).secondary.insert(addrs.at(0).addr);
            break;
        case Kind::ipSecondaryDel:
            vrf.ip->at(operation.intf).secondary.erase(addrs.at(0).addr);
            break;
        default:
            break;
    }
}

void Book::noteOfIp6(Vrf& vrf, Operation const& operation) {
    auto const& addrs = operation.addrs;
    switch (operation.kind) {
        case Kind::ip6IntfAdd: {
            auto& intf = (*vrf.ip6)[operation.intf];
            intf.clear();
            for (auto const& [addr, deprecated] : addrs) {
                intf[addr] = deprecated;
            }
            break;
        }
        case Kind::ip6IntfDel:
            vrf.ip6->erase(operation.intf);
            break;
        case Kind::ip6AddrSet:
            vrf.ip6->at(operation.intf)[addrs.at(0).addr] = addrs.at(0).deprecated;
            break;
        case Kind::ip6AddrDel:
            vrf.ip6->at(operation.intf).erase(addrs.at(0).addr);
            break;
        default:
            break;
    }
}

void Book::noteManager(bool runs) {
    managerRuns_ = runs;
    for (auto& [name, vrf] : vrfs_) {
        if (!vrf.hasTable) {
            continue;
        }
        if (runs) {
            ++vrf.kernelUses;
        } else {
            giveBack(vrf);
        }
    }
}

std::map<std::pair<Nimb::IntfId, Book::Addr>, bool> publishedAddrs(Book::Vrf const& vrf) {
    std::map<std::pair<Nimb::IntfId, Book::Addr>, bool> addrs;
    if (vrf.ip) {
        for (auto const& [intfId, intf] : *vrf.ip) {
            if (isSet(intf.primary) && intf.source.empty()) {
                addrs[{intfId, intf.primary}] = false;
            }
            for (auto const& addr : intf.secondary) {
                addrs[{intfId, addr}] = false;
            }
        }
    }
    if (vrf.ip6) {
        for (auto const& [intfId, intf] : *vrf.ip6) {
            for (auto const& [addr, deprecated] : intf) {
                addrs[{intfId, addr}] = deprecated;
            }
        }
    }
    return addrs;
}

}  // namespace Healing
