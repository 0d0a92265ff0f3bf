// An agent that publishes what it learns of interfaces, and somebody who follows what it publishes.
// It learns from its standard input:
//
//     device INTF up|down     there is a device, and that is its state
//     addr INTF PREFIX        an address is configured: the first one is the primary
//     noaddr INTF PREFIX      it is configured no more
//     gone INTF               the device has gone, with all that it had
//     restart                 the publisher ends, and another one begins
//     complete                the other one has been told all that there is by now
//     wait SECONDS            time passes; it stands still otherwise
//     rows                    prints the table, and what waits to come into it
//
// What a publisher owes to those who follow it:
//
//   - It is the only one that writes what it publishes.
//   - A device comes before its addresses. Addresses go first, then the status that had them, then
//     the device. A device that is down keeps both: it is there still.
//   - It tells news alone. A device that is put in once more counts as one that was made anew.
//   - What makes no sense is refused, by name, before any of it is published.
//   - A restart is nobody's business. What stands, stands until the new publisher knows better, and
//     differences alone are told.
#include <iostream>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Velk/Advance.h"
#include "Zin/Format.h"
#include "Zin/HashKey.h"
#include "router/Router.h"

namespace {

L3::VrfName const vrf = "default";

class Publisher {
public:
    // Takes over what is published already.
    explicit Publisher(Routing::Inputs& inputs) : inputs_(inputs) {
        if (!inputs_.ipStatus()->vrfIpIntfStatusHas(vrf)) {
            inputs_.ipVrfAdd(vrf).apply();
        }
        for (auto const& device : devices()->deviceIntfStatus()) {
            unheardOf_.insert(device.key);
            for (auto const& addr : addrsOf(device.key)) {
                unheardOfAddrs_.emplace(device.key, addr);
            }
        }
    }

    void device(Nimb::IntfId const& intf, Interface::OperStatus operStatus) {
        unheardOf_.erase(intf);
        auto const published = devices()->deviceIntfStatus(intf);
        if (!published || published->operStatus() != operStatus) {
            inputs_
                .kernelAdd(vrf, intf,
                           {.deviceName = std::string(intf.name()), .operStatus = operStatus})
                .apply();
        }
    }

    void addr(Nimb::IntfId const& intf, Nimb::IpAddrWithMask const& addr) {
        if (!devices()->deviceIntfStatusHas(intf)) {
            throw std::invalid_argument(fmt::format("{} has no device", intf));
        }
        unheardOfAddrs_.erase({intf, addr});
        auto const published = status(intf);
        if (!published) {
            inputs_.ipIntfAdd(vrf, intf, {.primary = addr}).apply();
        } else if (published->activeAddrWithMask() == none) {
            inputs_.ipPrimaryIs(vrf, intf, addr).apply();
        } else if (published->activeAddrWithMask() != addr) {
            inputs_.ipSecondaryAdd(vrf, intf, addr).apply();  // tells nobody of what is there
        }
    }
    void noAddr(Nimb::IntfId const& intf, Nimb::IpAddrWithMask const& addr) {
        unheardOfAddrs_.erase({intf, addr});
        auto const published = status(intf);
        if (published && published->activeAddrWithMask() == addr) {
            inputs_.ipPrimaryIs(vrf, intf, none).apply();
        } else {
            inputs_.ipSecondaryDel(vrf, intf, addr).apply();  // refuses what is not there
        }
    }

    void gone(Nimb::IntfId const& intf) {
        unheardOf_.erase(intf);
        for (auto const& addr : addrsOf(intf)) {
            noAddr(intf, addr);
        }
        if (status(intf)) {
            inputs_.ipIntfDel(vrf, intf).apply();
        }
        inputs_.kernelDel(vrf, intf).apply();
    }

    // All that there is has been heard of: what has not, is no more.
    void complete() {
        for (auto const& [intf, addr] : std::exchange(unheardOfAddrs_, {})) {
            noAddr(intf, addr);
        }
        for (auto const& intf : std::exchange(unheardOf_, {})) {
            gone(intf);
        }
    }

private:
    static inline Nimb::IpAddrWithMask const none{};

    Zin::Ptr<Interface::DeviceIntfStatusDir> devices() const {
        return inputs_.kniIntfStatusHelper()->deviceIntfStatusDir(vrf);
    }
    // Null where none is published.
    Zin::Ptr<Ip::IpIntfStatus> status(Nimb::IntfId const& intf) const {
        return inputs_.ipStatus()->vrfIpIntfStatus(vrf)->ipIntfStatus(intf);
    }
    std::vector<Nimb::IpAddrWithMask> addrsOf(Nimb::IntfId const& intf) const {
        std::vector<Nimb::IpAddrWithMask> addrs;
        if (auto const published = status(intf)) {
            for (auto const& secondary : published->secondaryActiveAddrWithMask()) {
                addrs.push_back(secondary.key);
            }
            if (published->activeAddrWithMask() != none) {
                addrs.push_back(published->activeAddrWithMask());
            }
        }
        return addrs;
    }

    Routing::Inputs& inputs_;
    // Published by somebody before.
    std::set<Nimb::IntfId> unheardOf_;
    std::set<std::pair<Nimb::IntfId, Nimb::IpAddrWithMask>> unheardOfAddrs_;
};

// Who follows what is published: the devices, the interfaces, and the addresses of each. It reads
// and never writes. What is there already is handled like what comes.
class Addresses final : public Ip::IpIntfStatus::Notifiee {
public:
    explicit Addresses(Zin::Ptr<Ip::IpIntfStatus const> const& status) {
        notifierIs(status);
        handleActiveAddrWithMask();
        for (auto const& secondary : status->secondaryActiveAddrWithMask()) {
            handleSecondaryActiveAddrWithMask(secondary.key);
        }
    }

private:
    void handleActiveAddrWithMask() override {
        auto const addr = notifier()->activeAddrWithMask();
        fmt::print("  {}: {}\n", notifier()->intfId(),
                   addr == Nimb::IpAddrWithMask() ? "no primary" : fmt::format("primary {}", addr));
    }
    void handleSecondaryActiveAddrWithMask(Nimb::IpAddrWithMask const& addr) override {
        fmt::print("  {}: {} secondary {}\n", notifier()->intfId(),
                   notifier()->secondaryActiveAddrWithMaskHas(addr) ? "also" : "no", addr);
    }
};

class Interfaces final : public Ip::VrfIpIntfStatus::Notifiee {
public:
    explicit Interfaces(Zin::Ptr<Ip::VrfIpIntfStatus const> const& status) {
        notifierIs(status);
        for (auto const& intf : status->ipIntfStatus()) {
            handleIpIntfStatus(intf.key);
        }
    }

private:
    // Another status of an interface is another entity, to be followed in its place.
    void handleIpIntfStatus(Nimb::IntfId const& intf) override {
        if (auto const status = notifier()->ipIntfStatus(intf)) {
            fmt::print("  {}: status\n", intf);
            addresses_.insert_or_assign(intf, std::make_unique<Addresses>(status));
        } else {
            fmt::print("  {}: no status\n", intf);
            addresses_.erase(intf);
        }
    }

    std::map<Nimb::IntfId, std::unique_ptr<Addresses>> addresses_;
};

class Devices final : public Interface::DeviceIntfStatusDir::Notifiee {
public:
    explicit Devices(Zin::Ptr<Interface::DeviceIntfStatusDir const> const& devices) {
        notifierIs(devices);
        for (auto const& device : devices->deviceIntfStatus()) {
            handleDeviceIntfStatus(device.key);
        }
    }

private:
    void handleDeviceIntfStatus(Nimb::IntfId const& intf) override {
        auto const device = notifier()->deviceIntfStatus(intf);
        fmt::print("  {}: {}\n", intf,
                   device ? "device " + toStrep(device->operStatus()) : "no device");
    }
};

void print(Routing::Router const& router) {
    for (auto const& row : router.rows(vrf)) {
        fmt::print("row {}/{} on {}\n", row.addr, row.prefixLength(), row.intfId);
    }
    for (auto const& deferred : router.deferredAddrs(vrf)) {
        fmt::print("{} on {} waits\n", deferred.addr, deferred.intfId);
    }
}

}  // namespace

int main() {
    Zin::hashKeyIs(Zin::drawnHashKey());
    // The status is the router's, and outlives each publisher.
    auto const clock = Zin::make<Zin::VirtualClock>();
    Routing::Router router({}, clock, std::make_unique<Velk::EveryNth>(0));
    router.managerStart().apply();
    router.tableAdd(vrf).apply();
    auto publisher = std::make_unique<Publisher>(router.inputs());
    Devices const devices(router.inputs().kniIntfStatusHelper()->deviceIntfStatusDir(vrf));
    Interfaces const interfaces(router.inputs().ipStatus()->vrfIpIntfStatus(vrf));

    for (std::string line; std::getline(std::cin, line);) {
        fmt::print("> {}\n", line);
        std::istringstream words(line);
        std::string command, intf, argument;
        words >> command >> intf >> argument;
        try {
            if (command == "device") {
                publisher->device(intf,
                                  fromStrep(std::type_identity<Interface::OperStatus>(), argument));
            } else if (command == "addr") {
                publisher->addr(intf, Nimb::IpAddrWithMask(argument));
            } else if (command == "noaddr") {
                publisher->noAddr(intf, Nimb::IpAddrWithMask(argument));
            } else if (command == "gone") {
                publisher->gone(intf);
            } else if (command == "restart") {
                publisher = std::make_unique<Publisher>(router.inputs());
            } else if (command == "complete") {
                publisher->complete();
            } else if (command == "wait") {
                Velk::advanceTo(*clock, *router.scheduler(), clock->now() + std::stod(intf));
            } else if (command == "rows") {
                print(router);
            } else {
                throw std::invalid_argument(fmt::format("'{}' is no command", command));
            }
        } catch (std::exception const& error) {
            fmt::print("refused: {}\n", error.what());
        }
    }
}
