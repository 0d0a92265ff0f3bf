// For tests: operations as texts, what is told of them, and one of each.
//
//     OperationRecorder const recorder(inputs.effects());
//     inputs.ipVrfAdd("red").apply();
//     EXPECT_THAT(recorder.texts, ElementsAre("IpVrfAdd red"));
#pragma once

#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Zin/Format.h"
#include "router/Router.h"

namespace Routing {

inline std::string text(Nimb::IpAddrWithMask const& addr) { return addr.toStrep(); }
inline std::string text(Nimb::Ip6AddrWithMask const& addr) { return addr.toStrep(); }
inline std::string text(Nimb::Ip6Addr const& addr) { return addr.toStrep(); }
inline std::string text(Ip6IntfAddr const& addr) {
    return addr.addr.toStrep() + (addr.deprecated ? " deprecated" : "");
}

// Its name and all its fields.
inline std::string text(Operation const& operation) {
    constexpr std::array names{"ManagerStart", "ManagerStop",    "TableAdd",       "TableDel",
                               "IpVrfAdd",     "IpVrfDel",       "Ip6VrfAdd",      "Ip6VrfDel",
                               "IpIntfAdd",    "IpIntfDel",      "Ip6IntfAdd",     "Ip6IntfDel",
                               "IpPrimaryIs",  "IpUnnumberedIs", "IpSecondaryAdd", "IpSecondaryDel",
                               "Ip6AddrSet",   "Ip6AddrDel",     "KernelAdd",      "KernelDel",
                               "VipAdd",       "VipDel",         "Vip6Add",        "Vip6Del"};
    static_assert(names.size() == std::variant_size_v<Operation>);
    std::string all = names.at(operation.index());
    std::visit(
        [&all](auto const& op) {
            if constexpr (requires { op.vrf; }) {
                all += fmt::format(" {}", op.vrf);
            }
            if constexpr (requires { op.intf; }) {
                all += fmt::format(" {}", op.intf);
            }
            if constexpr (requires { op.addr; }) {
                all += fmt::format(" {}", text(op.addr));
            }
            if constexpr (requires { op.source; }) {
                all += fmt::format(" from '{}'", op.source);
            }
            if constexpr (requires { op.addressing; }) {
                all += fmt::format(" {} from '{}'", op.addressing.primary,
                                   op.addressing.unnumberedSource);
                for (auto const& addr : op.addressing.secondary) {
                    all += fmt::format(" {}", addr);
                }
            }
            if constexpr (requires { op.addrs; }) {
                for (auto const& addr : op.addrs) {
                    all += fmt::format(" {}", text(addr));
                }
            }
            if constexpr (requires { op.kernelIntf; }) {
                all += fmt::format(" {} {} {} {}", op.kernelIntf.deviceName, op.kernelIntf.ifIndex,
                                   toStrep(op.kernelIntf.operStatus), op.kernelIntf.active);
            }
        },
        operation);
    return all;
}

// Writes down each operation that it is told of.
class OperationRecorder final : public OperationObserver {
public:
    // Borrows the effects.
    explicit OperationRecorder(OperationEffects& effects) : effects_(effects) {
        effects_.observerAdd(*this);
    }
    ~OperationRecorder() override { effects_.observerDel(*this); }
    OperationRecorder(OperationRecorder const&) = delete;
    OperationRecorder& operator=(OperationRecorder const&) = delete;

    std::vector<Operation> operations;
    std::vector<std::string> texts;
    // Called before an operation is written down.
    std::function<void()> look = [] {};

private:
    void handleOperation(Operation const& operation) override {
        look();
        operations.push_back(operation);
        texts.push_back(text(operation));
    }

    OperationEffects& effects_;
};

// Each operation, in an order in which they make sense, with all its fields.
inline std::vector<Operation> everyOperation() {
    auto const ip = [](char const* text) { return Nimb::IpAddrWithMask(text); };
    auto const ip6 = [](char const* text) { return Nimb::Ip6AddrWithMask(text); };
    return {TableAdd{"red"},
            IpVrfAdd{"red"},
            Ip6VrfAdd{"red"},
            KernelAdd{"red",
                      "eth0",
                      {.deviceName = "et0",
                       .ifIndex = 4294967295,
                       .operStatus = Interface::OperStatus::down,
                       .active = false}},
            KernelAdd{"red", "eth1", {}},
            IpIntfAdd{"red",
                      "eth0",
                      {.primary = ip("10.0.0.1/24"),
                       .unnumberedSource = "lo",
                       .secondary = {ip("10.0.1.1/32"), ip("10.0.0.2/8")}}},
            IpIntfAdd{"red", "eth1", {}},
            IpPrimaryIs{"red", "eth1", ip("10.1.0.1/24")},
            IpPrimaryIs{"red", "eth1", {}},
            IpUnnumberedIs{"red", "eth1", "lo"},
            IpUnnumberedIs{"red", "eth1", {}},
            IpSecondaryAdd{"red", "eth1", ip("10.1.1.1/24")},
            IpSecondaryDel{"red", "eth1", ip("10.1.1.1/24")},
            Ip6IntfAdd{
                "red",
                "eth0",
                {{.addr = ip6("2001:db8::1/64"), .deprecated = true}, {.addr = ip6("fe80::1/64")}}},
            Ip6IntfAdd{"red", "eth1", {}},
            Ip6AddrSet{"red", "eth1", {.addr = ip6("2001:db8:1::1/128"), .deprecated = true}},
            Ip6AddrSet{"red", "eth1", {.addr = ip6("2001:db8:1::1/128")}},
            Ip6AddrDel{"red", "eth1", ip6("2001:db8:1::1/128")},
            VipAdd{"a VRF \"with\" signs \\ \n", ip("10.0.0.9/24")},
            VipDel{"a VRF \"with\" signs \\ \n", ip("10.0.0.9/24")},
            Vip6Add{"blue", Nimb::Ip6Addr("2001:db8::9")},
            Vip6Del{"blue", Nimb::Ip6Addr("2001:db8::9")},
            Ip6IntfDel{"red", "eth0"},
            IpIntfDel{"red", "eth0"},
            KernelDel{"red", "eth0"},
            ManagerStop{},
            ManagerStart{},
            Ip6VrfDel{"red"},
            IpVrfDel{"red"},
            TableDel{"red"}};
}

}  // namespace Routing
