#include "feeds/scenario/OperationWriter.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "Zin/Format.h"
#include "feeds/scenario/FileError.h"
#include "feeds/scenario/Operations.h"

namespace Scenario {

namespace {

using namespace Routing;

OrderedJson line(std::string_view op, L3::VrfName const& vrf) {
    return {{"op", op}, {"vrf", vrf.bytes()}};
}

OrderedJson line(std::string_view op, L3::VrfName const& vrf, Nimb::IntfId const& intf) {
    return {{"op", op}, {"vrf", vrf.bytes()}, {"intf", intf.name()}};
}

template <class Addr>
OrderedJson with(OrderedJson line, std::string_view name, Addr const& addr) {
    line[name] = addr.toStrep();
    return line;
}

OrderedJson with(OrderedJson line, Ip6IntfAddr const& addr) {
    line["addr"] = addr.addr.toStrep();
    line["deprecated"] = addr.deprecated;
    return line;
}

struct Writer {
    OrderedJson operator()(ManagerStart const&) const { return {{"op", "manager.start"}}; }
    OrderedJson operator()(ManagerStop const&) const { return {{"op", "manager.stop"}}; }
    OrderedJson operator()(TableAdd const& op) const { return line("table.add", op.vrf); }
    OrderedJson operator()(TableDel const& op) const { return line("table.del", op.vrf); }
    OrderedJson operator()(IpVrfAdd const& op) const { return line("ip.vrf.add", op.vrf); }
    OrderedJson operator()(IpVrfDel const& op) const { return line("ip.vrf.del", op.vrf); }
    OrderedJson operator()(Ip6VrfAdd const& op) const { return line("ip6.vrf.add", op.vrf); }
    OrderedJson operator()(Ip6VrfDel const& op) const { return line("ip6.vrf.del", op.vrf); }
    OrderedJson operator()(IpIntfAdd const& op) const {
        OrderedJson secondary = OrderedJson::array();
        for (auto const& addr : op.addressing.secondary) {
            secondary.push_back(addr.toStrep());
        }
        OrderedJson made = line("ip.intf.add", op.vrf, op.intf);
        made["primary"] = op.addressing.primary.toStrep();
        made["unnumbered"] = op.addressing.unnumberedSource.name();
        made["secondary"] = std::move(secondary);
        return made;
    }
    OrderedJson operator()(IpIntfDel const& op) const {
        return line("ip.intf.del", op.vrf, op.intf);
    }
    OrderedJson operator()(Ip6IntfAdd const& op) const {
        OrderedJson made = line("ip6.intf.add", op.vrf, op.intf);
        OrderedJson& addrs = made["addrs"] = OrderedJson::array();
        for (auto const& addr : op.addrs) {
            addrs.push_back(with(OrderedJson::object(), addr));
        }
        return made;
    }
    OrderedJson operator()(Ip6IntfDel const& op) const {
        return line("ip6.intf.del", op.vrf, op.intf);
    }
    OrderedJson operator()(IpPrimaryIs const& op) const {
        return with(line("ip.primary", op.vrf, op.intf), "addr", op.addr);
    }
    OrderedJson operator()(IpUnnumberedIs const& op) const {
        OrderedJson made = line("ip.unnumbered", op.vrf, op.intf);
        made["source"] = op.source.name();
        return made;
    }
    OrderedJson operator()(IpSecondaryAdd const& op) const {
        return with(line("ip.secondary.add", op.vrf, op.intf), "addr", op.addr);
    }
    OrderedJson operator()(IpSecondaryDel const& op) const {
        return with(line("ip.secondary.del", op.vrf, op.intf), "addr", op.addr);
    }
    OrderedJson operator()(Ip6AddrSet const& op) const {
        return with(line("ip6.addr.set", op.vrf, op.intf), op.addr);
    }
    OrderedJson operator()(Ip6AddrDel const& op) const {
        return with(line("ip6.addr.del", op.vrf, op.intf), "addr", op.addr);
    }
    OrderedJson operator()(KernelAdd const& op) const {
        OrderedJson made = line("kernel.add", op.vrf, op.intf);
        made["deviceName"] = op.kernelIntf.deviceName;
        made["ifIndex"] = op.kernelIntf.ifIndex;
        made["operStatus"] = toStrep(op.kernelIntf.operStatus);
        made["active"] = op.kernelIntf.active;
        return made;
    }
    OrderedJson operator()(KernelDel const& op) const {
        return line("kernel.del", op.vrf, op.intf);
    }
    OrderedJson operator()(VipAdd const& op) const {
        return with(line("vip.add", op.vrf), "addr", op.addr);
    }
    OrderedJson operator()(VipDel const& op) const {
        return with(line("vip.del", op.vrf), "addr", op.addr);
    }
    OrderedJson operator()(Vip6Add const& op) const {
        return with(line("vip6.add", op.vrf), "addr", op.addr);
    }
    OrderedJson operator()(Vip6Del const& op) const {
        return with(line("vip6.del", op.vrf), "addr", op.addr);
    }
};

}  // namespace

OrderedJson lineOf(Routing::Operation const& operation) { return std::visit(Writer(), operation); }

OrderedJson lineOf(Routing::RecordedOperation const& recorded) {
    OrderedJson line = lineOf(recorded.operation);
    if (recorded.at) {
        line["at"] = *recorded.at;
    }
    return line;
}

OrderedJson configLine(Config const& config) {
    return {{"op", configOp},
            {"intfCleanupDelay", config.machines.intfCleanupDelay},
            {"deferredIntfAddDelay", config.machines.deferredIntfAddDelay},
            {"ignoreKernelInterfaceState", config.machines.ignoreKernelInterfaceState},
            {"taskPriority", static_cast<std::uint32_t>(config.machines.taskPriority)},
            {"yieldEvery", config.yieldEvery}};
}

std::string textOf(OrderedJson const& line) {
    return line.dump(-1, ' ', false, OrderedJson::error_handler_t::replace) + '\n';
}

std::string nameIn(std::string_view name) {
    return Json::parse(textOf(std::string(name))).get<std::string>();
}

std::string commentLine(std::string_view text) {
    constexpr std::size_t longest = 1000;
    // What JSON escapes, the quotes apart, is all that could harm.
    std::string const quoted = OrderedJson(shortened(text, longest))
                                   .dump(-1, ' ', true, OrderedJson::error_handler_t::replace);
    return fmt::format("# {}\n", std::string_view(quoted).substr(1, quoted.size() - 2));
}

void writeScenario(std::ostream& out, Config const& config, Routing::Recording const& recording) {
    out << textOf(configLine(config));
    for (std::size_t i = 0; i < recording.size(); ++i) {
        out << textOf(lineOf(recording[i]));
    }
}

}  // namespace Scenario
