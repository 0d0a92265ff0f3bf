#include "Operation.h"

#include <string_view>
#include <vector>

#include "Zin/Errors.h"
#include "Zin/Format.h"
#include "random/StatusChange.h"

namespace Nested {
namespace {

using Kind = Operation::Kind;
using RandomStatus::vrf;

constexpr char source[] = "Loopback0";

Nimb::IpAddrWithMask ip(Nimb::IpGenAddrWithMask const& addr) {
    return {addr.address().ip4(), addr.prefixLength()};
}

Nimb::Ip6AddrWithMask ip6(Nimb::IpGenAddrWithMask const& addr) {
    return {addr.address().ip6(), addr.prefixLength()};
}

bool isSet(Nimb::IpGenAddrWithMask const& addr) { return addr != Nimb::IpGenAddrWithMask(); }

Routing::IpIntf ipIntf(Operation const& operation) {
    Routing::IpIntf intf{.primary = ip(operation.addr)};
    if (isSet(operation.second)) {
        intf.secondary = {ip(operation.second)};
    }
    return intf;
}

std::vector<Routing::Ip6IntfAddr> ip6Addrs(Operation const& operation) {
    std::vector<Routing::Ip6IntfAddr> addrs;
    if (isSet(operation.addr)) {
        addrs.push_back({ip6(operation.addr), operation.flag});
    }
    if (isSet(operation.second)) {
        addrs.push_back({ip6(operation.second), false});
    }
    return addrs;
}

Routing::Effect check(Operation const& operation, Routing::Router& router,
                      Zin::VirtualClock& clock) {
    auto& inputs = router.inputs();
    auto const& intf = operation.intf;
    auto const& addr = operation.addr;
    bool const isIp6 = addr.family() == Nimb::AddressFamily::ipv6;
    switch (operation.kind) {
        case Kind::ipIntfAdd:
            return inputs.ipIntfAdd(vrf, intf, ipIntf(operation));
        case Kind::ipIntfDel:
            return inputs.ipIntfDel(vrf, intf);
        case Kind::ipPrimary:
            return inputs.ipPrimaryIs(vrf, intf, ip(addr));
        case Kind::ipUnnumbered:
            return inputs.ipUnnumberedIs(vrf, intf, operation.flag ? source : "");
        case Kind::ipSecondaryAdd:
            return inputs.ipSecondaryAdd(vrf, intf, ip(addr));
        case Kind::ipSecondaryDel:
            return inputs.ipSecondaryDel(vrf, intf, ip(addr));
        case Kind::ip6IntfAdd:
            return inputs.ip6IntfAdd(vrf, intf, ip6Addrs(operation));
        case Kind::ip6IntfDel:
            return inputs.ip6IntfDel(vrf, intf);
        case Kind::ip6AddrSet:
            return inputs.ip6AddrSet(vrf, intf, {ip6(addr), operation.flag});
        case Kind::ip6AddrDel:
            return inputs.ip6AddrDel(vrf, intf, ip6(addr));
        case Kind::kernelAdd:
            return inputs.kernelAdd(vrf, intf, {});
        case Kind::kernelDel:
            return inputs.kernelDel(vrf, intf);
        case Kind::vipAdd:
            return isIp6 ? inputs.vip6Add(vrf, addr.address().ip6()) : inputs.vipAdd(vrf, ip(addr));
        case Kind::vipDel:
            return isIp6 ? inputs.vip6Del(vrf, addr.address().ip6()) : inputs.vipDel(vrf, ip(addr));
        case Kind::managerStop:
            return router.managerStop();
        case Kind::managerStart:
            return router.managerStart();
        case Kind::advance:
            break;
    }
    return [&, seconds = operation.seconds] { RandomStatus::advance(seconds, router, clock); };
}

std::string_view name(Operation const& operation) {
    bool const isIp6 = operation.addr.family() == Nimb::AddressFamily::ipv6;
    switch (operation.kind) {
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
            return isIp6 ? "vip6.add" : "vip.add";
        case Kind::vipDel:
            return isIp6 ? "vip6.del" : "vip.del";
        case Kind::managerStop:
            return "manager.stop";
        case Kind::managerStart:
            return "manager.start";
        case Kind::advance:
            return "advance";
    }
    return "";
}

std::string member(std::string_view name, std::string_view value) {
    return fmt::format(R"(, "{}": "{}")", name, value);
}

// The members behind the operation's name, VRF and interface.
std::string details(Operation const& operation) {
    auto const& addr = operation.addr;
    switch (operation.kind) {
        case Kind::ipIntfAdd: {
            std::string text = member("primary", ip(addr).toStrep());
            if (isSet(operation.second)) {
                text += fmt::format(R"(, "secondary": ["{}"])", operation.second);
            }
            return text;
        }
        case Kind::ip6IntfAdd: {
            std::string text;
            for (auto const& [ip6Addr, deprecated] : ip6Addrs(operation)) {
                text += fmt::format(R"({}{{"addr": "{}", "deprecated": {}}})",
                                    text.empty() ? "" : ", ", ip6Addr, deprecated);
            }
            return fmt::format(R"(, "addrs": [{}])", text);
        }
        case Kind::ipUnnumbered:
            return member("source", operation.flag ? source : "");
        case Kind::ip6AddrSet:
            return fmt::format(R"({}, "deprecated": {})", member("addr", addr.toStrep()),
                               operation.flag);
        case Kind::ipPrimary:
            return member("addr", ip(addr).toStrep());
        case Kind::ipSecondaryAdd:
        case Kind::ipSecondaryDel:
        case Kind::ip6AddrDel:
            return member("addr", addr.toStrep());
        case Kind::vipAdd:
        case Kind::vipDel:
            return member("addr", addr.family() == Nimb::AddressFamily::ipv6
                                      ? addr.address().toStrep()
                                      : addr.toStrep());
        default:
            return "";
    }
}

}  // namespace

void apply(Operation const& operation, Routing::Router& router, Zin::VirtualClock& clock) {
    try {
        check(operation, router, clock).apply();
    } catch (Zin::Error const&) {
    }
}

bool replacesPrimary(Operation const& operation, Routing::Router& router) {
    if (operation.kind != Kind::ipPrimary || !isSet(operation.addr)) {
        return false;
    }
    auto const status = router.inputs().ipStatus()->vrfIpIntfStatus(vrf);
    auto const intf = status->ipIntfStatus(operation.intf);
    return intf && intf->activeAddrWithMask() != Nimb::IpAddrWithMask() &&
           intf->activeAddrWithMask() != ip(operation.addr);
}

std::string toLine(Operation const& operation) {
    if (operation.kind == Kind::advance) {
        return fmt::format(R"({{"op": "advance", "seconds": {}}})", operation.seconds);
    }
    if (operation.kind == Kind::managerStop || operation.kind == Kind::managerStart) {
        return fmt::format(R"({{"op": "{}"}})", name(operation));
    }
    return fmt::format(R"({{"op": "{}"{}{}{}}})", name(operation), member("vrf", vrf),
                       operation.intf.empty() ? "" : member("intf", operation.intf.name()),
                       details(operation));
}

}  // namespace Nested
