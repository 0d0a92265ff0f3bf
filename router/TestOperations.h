// For tests: operations as texts, what is told of them, and how to do them again.
//
//     OperationRecorder const recorder(inputs.effects());
//     inputs.ipVrfAdd("red").apply();
//     EXPECT_THAT(recorder.texts, ElementsAre("IpVrfAdd red"));
#pragma once

#include <fmt/format.h>

#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

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
        effects_.observerIs(this);
    }
    ~OperationRecorder() override { effects_.observerIs(nullptr); }
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

// Does an operation to a router.
class Doing {
public:
    explicit Doing(Router& router) : router_(router) {}

    Effect operator()(ManagerStart const&) { return router_.managerStart(); }
    Effect operator()(ManagerStop const&) { return router_.managerStop(); }
    Effect operator()(TableAdd const& op) { return router_.tableAdd(op.vrf); }
    Effect operator()(TableDel const& op) { return router_.tableDel(op.vrf); }
    Effect operator()(IpVrfAdd const& op) { return inputs_.ipVrfAdd(op.vrf); }
    Effect operator()(IpVrfDel const& op) { return inputs_.ipVrfDel(op.vrf); }
    Effect operator()(Ip6VrfAdd const& op) { return inputs_.ip6VrfAdd(op.vrf); }
    Effect operator()(Ip6VrfDel const& op) { return inputs_.ip6VrfDel(op.vrf); }
    Effect operator()(IpIntfAdd const& op) {
        return inputs_.ipIntfAdd(op.vrf, op.intf, op.addressing);
    }
    Effect operator()(IpIntfDel const& op) { return inputs_.ipIntfDel(op.vrf, op.intf); }
    Effect operator()(Ip6IntfAdd const& op) {
        return inputs_.ip6IntfAdd(op.vrf, op.intf, op.addrs);
    }
    Effect operator()(Ip6IntfDel const& op) { return inputs_.ip6IntfDel(op.vrf, op.intf); }
    Effect operator()(IpPrimaryIs const& op) {
        return inputs_.ipPrimaryIs(op.vrf, op.intf, op.addr);
    }
    Effect operator()(IpUnnumberedIs const& op) {
        return inputs_.ipUnnumberedIs(op.vrf, op.intf, op.source);
    }
    Effect operator()(IpSecondaryAdd const& op) {
        return inputs_.ipSecondaryAdd(op.vrf, op.intf, op.addr);
    }
    Effect operator()(IpSecondaryDel const& op) {
        return inputs_.ipSecondaryDel(op.vrf, op.intf, op.addr);
    }
    Effect operator()(Ip6AddrSet const& op) { return inputs_.ip6AddrSet(op.vrf, op.intf, op.addr); }
    Effect operator()(Ip6AddrDel const& op) { return inputs_.ip6AddrDel(op.vrf, op.intf, op.addr); }
    Effect operator()(KernelAdd const& op) {
        return inputs_.kernelAdd(op.vrf, op.intf, op.kernelIntf);
    }
    Effect operator()(KernelDel const& op) { return inputs_.kernelDel(op.vrf, op.intf); }
    Effect operator()(VipAdd const& op) { return inputs_.vipAdd(op.vrf, op.addr); }
    Effect operator()(VipDel const& op) { return inputs_.vipDel(op.vrf, op.addr); }
    Effect operator()(Vip6Add const& op) { return inputs_.vip6Add(op.vrf, op.addr); }
    Effect operator()(Vip6Del const& op) { return inputs_.vip6Del(op.vrf, op.addr); }

private:
    Router& router_;
    Inputs& inputs_ = router_.inputs();
};

inline Effect effectOf(Router& router, Operation const& operation) {
    return std::visit(Doing(router), operation);
}

}  // namespace Routing
