#include "Operation.h"

#include <optional>

#include "Zin/Format.h"
#include "feeds/scenario/OperationWriter.h"
#include "router/EffectOf.h"

namespace Healing {
namespace {

using Kind = Operation::Kind;

Nimb::IpAddrWithMask ip(Address const& address) {
    return {address.addr.address().ip4(), address.addr.prefixLength()};
}

Nimb::Ip6AddrWithMask ip6(Address const& address) {
    return {address.addr.address().ip6(), address.addr.prefixLength()};
}

Routing::IpIntf ipIntf(Operation const& operation) {
    Routing::IpIntf intf{.primary = ip(operation.addrs.at(0)),
                         .unnumberedSource = operation.source};
    for (std::size_t i = 1; i < operation.addrs.size(); ++i) {
        intf.secondary.push_back(ip(operation.addrs[i]));
    }
    return intf;
}

std::vector<Routing::Ip6IntfAddr> ip6Intf(Operation const& operation) {
    std::vector<Routing::Ip6IntfAddr> addrs;
    for (auto const& address : operation.addrs) {
        addrs.push_back({ip6(address), address.deprecated});
    }
    return addrs;
}

// Nothing where time passes.
std::optional<Routing::Operation> routingOf(Operation const& operation) {
    auto const& [kind, at, vrf, intf, addrs, source, seconds] = operation;
    switch (kind) {
        case Kind::managerStop:
            return Routing::ManagerStop{};
        case Kind::managerStart:
            return Routing::ManagerStart{};
        case Kind::tableAdd:
            return Routing::TableAdd{vrf};
        case Kind::tableDel:
            return Routing::TableDel{vrf};
        case Kind::ipVrfAdd:
            return Routing::IpVrfAdd{vrf};
        case Kind::ipVrfDel:
            return Routing::IpVrfDel{vrf};
        case Kind::ip6VrfAdd:
            return Routing::Ip6VrfAdd{vrf};
        case Kind::ip6VrfDel:
            return Routing::Ip6VrfDel{vrf};
        case Kind::ipIntfAdd:
            return Routing::IpIntfAdd{vrf, intf, ipIntf(operation)};
        case Kind::ipIntfDel:
            return Routing::IpIntfDel{vrf, intf};
        case Kind::ipPrimary:
            return Routing::IpPrimaryIs{vrf, intf, ip(addrs.at(0))};
        case Kind::ipUnnumbered:
            return Routing::IpUnnumberedIs{vrf, intf, source};
        case Kind::ipSecondaryAdd:
            return Routing::IpSecondaryAdd{vrf, intf, ip(addrs.at(0))};
        case Kind::ipSecondaryDel:
            return Routing::IpSecondaryDel{vrf, intf, ip(addrs.at(0))};
        case Kind::ip6IntfAdd:
            return Routing::Ip6IntfAdd{vrf, intf, ip6Intf(operation)};
        case Kind::ip6IntfDel:
            return Routing::Ip6IntfDel{vrf, intf};
        case Kind::ip6AddrSet:
            return Routing::Ip6AddrSet{vrf, intf, {ip6(addrs.at(0)), addrs.at(0).deprecated}};
        case Kind::ip6AddrDel:
            return Routing::Ip6AddrDel{vrf, intf, ip6(addrs.at(0))};
        case Kind::kernelAdd:
            return Routing::KernelAdd{vrf, intf, {}};
        case Kind::kernelDel:
            return Routing::KernelDel{vrf, intf};
        case Kind::vipAdd:
            return Routing::VipAdd{vrf, ip(addrs.at(0))};
        case Kind::vipDel:
            return Routing::VipDel{vrf, ip(addrs.at(0))};
        case Kind::vip6Add:
            return Routing::Vip6Add{vrf, addrs.at(0).addr.address().ip6()};
        case Kind::vip6Del:
            return Routing::Vip6Del{vrf, addrs.at(0).addr.address().ip6()};
        case Kind::advance:
            break;
    }
    return std::nullopt;
}

}  // namespace

Routing::Effect check(Operation const& operation, Scenario::Run& run) {
    if (auto const value = routingOf(operation)) {
        return effectOf(run.router(), *value);
    }
    return [&run, span = operation.seconds] { run.advanceTo(run.now() + span); };
}

std::string toLine(Operation const& operation) {
    auto const value = routingOf(operation);
    auto line = value ? Scenario::lineOf(*value)
                      : Scenario::OrderedJson{{"op", "advance"}, {"seconds", operation.seconds}};
    if (operation.at) {
        line["at"] = *operation.at;
    }
    return line.dump();
}

std::string toLine(Scenario::Config const& config) {
    auto const& machines = config.machines;
    return fmt::format(R"({{"op": "config", "intfCleanupDelay": {}, "deferredIntfAddDelay": {}, )"
                       R"("ignoreKernelInterfaceState": {}, "yieldEvery": {}}})",
                       machines.intfCleanupDelay, machines.deferredIntfAddDelay,
                       machines.ignoreKernelInterfaceState, config.yieldEvery);
}

}  // namespace Healing
