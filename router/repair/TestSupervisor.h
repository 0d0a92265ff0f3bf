// For tests: a router with a supervisor, on a clock that the test moves, and observers that meddle.
#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Zin/Format.h"
#include "router/repair/Supervisor.h"
#include "router/repair/TestRouter.h"

namespace Routing::TestSupervisor {

// The handler of assertions is a plain function.
inline Supervisor* theSupervisor = nullptr;

inline void handleFailure(Pell::AssertionFailure const& failure) {
    theSupervisor->handleFailure(failure);
    throw Pell::AssertionError(failure);
}

// A router with a supervisor, on a clock that the test moves; its owner installs the handler.
struct Fixture : RepairObserver {
    explicit Fixture(IpLib::IntfAddrVrfTableSmConfig const& config = {},
                     std::size_t recordedOperations = 1000)
        : router(config, clock, std::make_unique<Velk::EveryNth>(0)),
          supervisor(router, this, {.recordedOperations = recordedOperations}) {
        theSupervisor = &supervisor;
        handlerBefore = Pell::assertionHandlerIs(handleFailure);
        apply(router.managerStart());
    }
    ~Fixture() override { Pell::assertionHandlerIs(handlerBefore); }

    void apply(Effect const& effect) {
        supervisor.apply(effect);
        supervisor.repair();
    }
    Inputs& inputs() { return router.inputs(); }

    // With interface eth0 that publishes 10.0.0.1/24, and eth1 that publishes nothing.
    void vrf(L3::VrfName const& name) {
        apply(router.tableAdd(name));
        apply(inputs().ipVrfAdd(name));
        for (char const* const intf : {"eth0", "eth1"}) {
            apply(inputs().kernelAdd(name, intf, {}));
            apply(inputs().ipIntfAdd(name, intf, {}));
        }
        primary(name, "eth0", "10.0.0.1/24");
    }
    void primary(L3::VrfName const& name, char const* intf, char const* addr) {
        apply(inputs().ipPrimaryIs(name, intf, Nimb::IpAddrWithMask(addr)));
    }
    // An interface without a device publishes eth0's address and withdraws it: the first part is
    // harmless.
    void prepareFailure(L3::VrfName const& name) {
        apply(inputs().ipIntfAdd(name, "eth9", {.primary = Nimb::IpAddrWithMask("10.0.0.1/24")}));
    }
    Effect failure(L3::VrfName const& name) {
        return inputs().ipPrimaryIs(name, "eth9", Nimb::IpAddrWithMask("0.0.0.0/0"));
    }
    void fail(L3::VrfName const& name) {
        prepareFailure(name);
        apply(failure(name));
    }

    // Moves the clock, like a loop that audits each second.
    void advance(int seconds) {
        for (int second = 0; second < seconds; ++second) {
            clock->nowIs(clock->now() + 1.0);
            while (supervisor.runNextTask()) {
            }
            supervisor.repair();
            supervisor.audit();
        }
    }

    Texts rows(L3::VrfName const& name) {
        Texts texts;
        for (auto const& row : router.rows(name)) {
            texts.push_back(fmt::format("{}/{} {}", row.addr, row.prefixLength(), row.intfId));
        }
        return texts;
    }

    void handleRepair(Repair const& repair, std::vector<IpLib::IntfAddrEntryContent> const& added,
                      std::vector<IpLib::IntfAddrEntryContent> const& removed) override {
        repairs.push_back(fmt::format("{} {} +{} -{}: {}", repair.at, repair.vrf, added.size(),
                                      removed.size(), repair.why));
        if (onRepair) {
            onRepair();
        }
    }

    Zin::Ptr<Zin::VirtualClock> clock = Zin::make<Zin::VirtualClock>();
    Texts repairs;
    std::function<void()> onRepair;
    Router router;
    Supervisor supervisor;
    Pell::AssertionHandler handlerBefore = nullptr;
};

inline constexpr char conflict[] = "ip 10.0.0.1 on eth9 has unexpected conflict on eth0";

// Does something when it is told of a row.
class Meddler final : public TableFollower::Notifiee {
public:
    Meddler(Supervisor& supervisor, std::function<void(L3::VrfName const&, bool)> meddle)
        : meddle_(std::move(meddle)) {
        notifierIs(supervisor.follower());
    }
    void handleRow(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const&,
                   bool present) override {
        meddle_(vrf, present);
    }

private:
    std::function<void(L3::VrfName const&, bool)> const meddle_;
};

// Fails while a table is put into the directory of VRF red.
class Spoiler final : public IpLib::AllIntfAddrVrfTable::Notifiee {
public:
    explicit Spoiler(Router& router) { notifierIs(router.tables()); }

    bool spoils = false;

private:
    void handleIntfAddrVrfTable(L3::VrfName const& vrf) override {
        if (spoils && vrf == "red" && notifier()->intfAddrVrfTable(vrf)) {
            Zin::FaultDomain const domain("red");
            Zin::fail({.className = "Spoiler",
                       .condition = "!spoils",
                       .function = "handle",
                       .message = "spoilt"});
        }
    }
};

// Told of each change of the directory: whether the VRF has a table.
class DirectoryMeddler final : public IpLib::AllIntfAddrVrfTable::Notifiee {
public:
    DirectoryMeddler(Router& router, std::function<void(L3::VrfName const&, bool)> meddle)
        : meddle_(std::move(meddle)) {
        notifierIs(router.tables());
    }

private:
    void handleIntfAddrVrfTable(L3::VrfName const& vrf) override {
        meddle_(vrf, bool(notifier()->intfAddrVrfTable(vrf)));
    }

    std::function<void(L3::VrfName const&, bool)> const meddle_;
};

}  // namespace Routing::TestSupervisor
