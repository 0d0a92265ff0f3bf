#include "Operation.h"

#include <fmt/format.h>

#include <string_view>

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

std::string_view name(Kind kind) {
    switch (kind) {
        case Kind::managerStop:
            return "manager.stop";
        case Kind::managerStart:
            return "manager.start";
        case Kind::tableAdd:
            return "table.add";
        case Kind::tableDel:
            return "table.del";
        case Kind::ipVrfAdd:
            return "ip.vrf.add";
        case Kind::ipVrfDel:
            return "ip.vrf.del";
        case Kind::ip6VrfAdd:
            return "ip6.vrf.add";
        case Kind::ip6VrfDel:
            return "ip6.vrf.del";
        case Kind::ipIntfAdd:
            return "ip.intf.add";
        case Kind::ipIntfDel:
            return "ip.intf.del";
        case Kind::ipPrimary:
            return "ip.primary";
        case Kind::ipUnnumbered:
            return "ip.unnumbered";
        case Kind::ipSecondaryAdd:
            return "ip.secondary.add";
        case Kind::ipSecondaryDel:
            return "ip.secondary.del";
        case Kind::ip6IntfAdd:
            return "ip6.intf.add";
        case Kind::ip6IntfDel:
            return "ip6.intf.del";
        case Kind::ip6AddrSet:
            return "ip6.addr.set";
        case Kind::ip6AddrDel:
            return "ip6.addr.del";
        case Kind::kernelAdd:
            return "kernel.add";
        case Kind::kernelDel:
            return "kernel.del";
        case Kind::vipAdd:
            return "vip.add";
        case Kind::vipDel:
            return "vip.del";
        case Kind::vip6Add:
            return "vip6.add";
        case Kind::vip6Del:
            return "vip6.del";
        case Kind::advance:
            return "advance";
    }
    return "";
}

std::string member(std::string_view name, std::string_view value) {
    return fmt::format(R"(, "{}": "{}")", name, value);
}

std::string ipIntfMembers(Operation const& operation) {
    std::string secondary;
    for (std::size_t i = 1; i < operation.addrs.size(); ++i) {
        secondary += fmt::format(R"({}"{}")", i > 1 ? ", " : "", operation.addrs[i].addr);
    }
    return member("primary", ip(operation.addrs.at(0)).toStrep()) +
           (operation.source.empty() ? "" : member("unnumbered", operation.source.name())) +
           fmt::format(R"(, "secondary": [{}])", secondary);
}

std::string ip6IntfMembers(Operation const& operation) {
    std::string addrs;
    for (auto const& address : operation.addrs) {
        addrs += fmt::format(R"({}{{"addr": "{}", "deprecated": {}}})", addrs.empty() ? "" : ", ",
                             address.addr, address.deprecated);
    }
    return fmt::format(R"(, "addrs": [{}])", addrs);
}

// The members behind the operation's VRF and interface.
std::string details(Operation const& operation) {
    auto const& addrs = operation.addrs;
    switch (operation.kind) {
        case Kind::ipIntfAdd:
            return ipIntfMembers(operation);
        case Kind::ip6IntfAdd:
            return ip6IntfMembers(operation);
        case Kind::ipPrimary:
            return member("addr", ip(addrs.at(0)).toStrep());
        case Kind::ipUnnumbered:
            return member("source", operation.source.name());
        case Kind::ip6AddrSet:
            return member("addr", addrs.at(0).addr.toStrep()) +
                   fmt::format(R"(, "deprecated": {})", addrs.at(0).deprecated);
        case Kind::ipSecondaryAdd:
        case Kind::ipSecondaryDel:
        case Kind::ip6AddrDel:
        case Kind::vipAdd:
        case Kind::vipDel:
            return member("addr", addrs.at(0).addr.toStrep());
        case Kind::vip6Add:
        case Kind::vip6Del:
            return member("addr", addrs.at(0).addr.address().toStrep());
        case Kind::advance:
            return fmt::format(R"(, "seconds": {})", operation.seconds);
        default:
            return "";
    }
}

}  // namespace

Routing::Effect check(Operation const& operation, Scenario::Run& run) {
    auto& router = run.router();
    auto& inputs = router.inputs();
    auto const& [kind, at, vrf, intf, addrs, source, seconds] = operation;
    switch (kind) {
        case Kind::managerStop:
            return router.managerStop();
        case Kind::managerStart:
            return router.managerStart();
        case Kind::tableAdd:
            return router.tableAdd(vrf);
        case Kind::tableDel:
            return router.tableDel(vrf);
        case Kind::ipVrfAdd:
            return inputs.ipVrfAdd(vrf);
        case Kind::ipVrfDel:
            return inputs.ipVrfDel(vrf);
        case Kind::ip6VrfAdd:
            return inputs.ip6VrfAdd(vrf);
        case Kind::ip6VrfDel:
            return inputs.ip6VrfDel(vrf);
        case Kind::ipIntfAdd:
            return inputs.ipIntfAdd(vrf, intf, ipIntf(operation));
        case Kind::ipIntfDel:
            return inputs.ipIntfDel(vrf, intf);
        case Kind::ipPrimary:
            return inputs.ipPrimaryIs(vrf, intf, ip(addrs.at(0)));
        case Kind::ipUnnumbered:
            return inputs.ipUnnumberedIs(vrf, intf, source);
        case Kind::ipSecondaryAdd:
            return inputs.ipSecondaryAdd(vrf, intf, ip(addrs.at(0)));
        case Kind::ipSecondaryDel:
            return inputs.ipSecondaryDel(vrf, intf, ip(addrs.at(0)));
        case Kind::ip6IntfAdd:
            return inputs.ip6IntfAdd(vrf, intf, ip6Intf(operation));
        case Kind::ip6IntfDel:
            return inputs.ip6IntfDel(vrf, intf);
        case Kind::ip6AddrSet:
            return inputs.ip6AddrSet(vrf, intf, {ip6(addrs.at(0)), addrs.at(0).deprecated});
        case Kind::ip6AddrDel:
            return inputs.ip6AddrDel(vrf, intf, ip6(addrs.at(0)));
        case Kind::kernelAdd:
            return inputs.kernelAdd(vrf, intf, {});
        case Kind::kernelDel:
            return inputs.kernelDel(vrf, intf);
        case Kind::vipAdd:
            return inputs.vipAdd(vrf, ip(addrs.at(0)));
        case Kind::vipDel:
            return inputs.vipDel(vrf, ip(addrs.at(0)));
        case Kind::vip6Add:
            return inputs.vip6Add(vrf, addrs.at(0).addr.address().ip6());
        case Kind::vip6Del:
            return inputs.vip6Del(vrf, addrs.at(0).addr.address().ip6());
        case Kind::advance:
            break;
    }
    return [&run, span = seconds] { run.advanceTo(run.now() + span); };
}

std::string toLine(Operation const& operation) {
    return fmt::format(R"({{"op": "{}"{}{}{}{}}})", name(operation.kind),
                       operation.at ? fmt::format(R"(, "at": {})", *operation.at) : "",
                       operation.vrf.empty() ? "" : member("vrf", operation.vrf.bytes()),
                       operation.intf.empty() ? "" : member("intf", operation.intf.name()),
                       details(operation));
}

std::string toLine(Scenario::Config const& config) {
    auto const& machines = config.machines;
    return fmt::format(R"({{"op": "config", "intfCleanupDelay": {}, "deferredIntfAddDelay": {}, )"
                       R"("ignoreKernelInterfaceState": {}, "yieldEvery": {}}})",
                       machines.intfCleanupDelay, machines.deferredIntfAddDelay,
                       machines.ignoreKernelInterfaceState, config.yieldEvery);
}

}  // namespace Healing
