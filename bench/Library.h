// The library and nothing else, with one VRF, its status of one family, and eight observers of the
// table, as benchmarks use it: whoever publishes an address finds it in the table when the call
// returns.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "Ip/Status.h"
#include "Ip6/Status.h"
#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTable.h"
#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableManager.h"
#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableSmFactory.h"
#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableSmManager.h"
#include "Population.h"
#include "Result.h"
#include "Velk/Advance.h"

namespace Bench {

// The delays that the library has where nobody says otherwise.
inline constexpr Zin::Seconds cleanupDelay = IpLib::IntfAddrVrfTableSmConfig().intfCleanupDelay;
inline constexpr Zin::Seconds deferredDelay =
    IpLib::IntfAddrVrfTableSmConfig().deferredIntfAddDelay;

class RowCounter final : public IpLib::IntfAddrVrfTable::Notifiee {
public:
    std::size_t told() const { return told_; }

private:
    void handleIntfAddrEntry(IpLib::IntfAddrEntryContent const&) override { ++told_; }
    std::size_t told_ = 0;
};

template <class Family>
class Library {
public:
    static constexpr char vrf[] = "default";

    // For that many addresses. No interface has status yet.
    explicit Library(std::uint32_t addresses) {
        statuses_.reserve(addresses / addressesEach);
        tables_->intfAddrVrfTableIs(vrf, table_);
        vrfStatusIs(vrfStatus_);
        for (auto& counter : counters_) {
            counter.notifierIs(table_);
        }
    }

    IpLib::IntfAddrVrfTable const& table() const { return *table_; }
    std::size_t rows() const { return table_->intfAddrEntry().size(); }
    Zin::Ptr<IpLib::IntfAddrVrfTableSm> machine() const {
        return manager_->intfAddrVrfTableSmManager()->intfAddrVrfTableSm(vrf);
    }

    // The status of the next interface, which is there from now on.
    void interfaceIs() {
        statuses_.push_back(Family::statusOf(static_cast<std::uint32_t>(statuses_.size())));
        Family::put(*vrfStatus_, statuses_.back());
    }
    // The same, with its addresses.
    void interfaceWithAddressesIs() {
        auto const intf = static_cast<std::uint32_t>(statuses_.size());
        statuses_.push_back(Family::statusOf(intf));
        for (std::uint32_t host = 0; host < addressesEach; ++host) {
            Family::add(*statuses_.back(), intf * addressesEach + host);
        }
        Family::put(*vrfStatus_, statuses_.back());
    }
    void add(std::uint32_t number) { Family::add(*statuses_[intfOf(number)], number); }
    void del(std::uint32_t number) { Family::del(*statuses_[intfOf(number)], number); }

    void putAll() {
        for (auto const& status : statuses_) {
            Family::put(*vrfStatus_, status);
        }
    }
    void takeAll() {
        for (auto const& status : statuses_) {
            Family::take(*vrfStatus_, status->intfId());
        }
    }
    void put(std::uint32_t intf) { put(statuses_[intf]); }
    void put(Zin::Ptr<typename Family::Status> const& status) { Family::put(*vrfStatus_, status); }
    void take(Nimb::IntfId const& intf) { Family::take(*vrfStatus_, intf); }

    // Lets time pass, with what is due meanwhile.
    void pass(Zin::Seconds seconds) {
        Velk::advanceTo(*clock_, *scheduler_, clock_->now() + seconds);
    }

    // So often has a row come or gone.
    void checkTold(std::size_t expected) const {
        for (auto const& counter : counters_) {
            check("rows that an observer was told of", counter.told(), expected);
        }
    }

private:
    void vrfStatusIs(Zin::Ptr<Ip::VrfIpIntfStatus> const& status) {
        ipStatus_->vrfIpIntfStatusIs(vrf, status);
    }
    void vrfStatusIs(Zin::Ptr<Ip6::VrfIp6IntfStatus> const& status) {
        ip6Status_->vrfIp6IntfStatusIs(vrf, status);
    }

    Zin::Ptr<Zin::VirtualClock> const clock_ = Zin::make<Zin::VirtualClock>();
    Zin::Ptr<Velk::TaskScheduler> const scheduler_ =
        Velk::taskSchedulerFactory(clock_, std::make_unique<Velk::EveryNth>(0));
    Zin::Ptr<Ip::Status> const ipStatus_ = Ip::statusFactory();
    Zin::Ptr<Ip6::Status> const ip6Status_ = Ip6::statusFactory();
    Zin::Ptr<IpLib::AllIntfAddrVrfTable> const tables_ = IpLib::allIntfAddrVrfTableFactory();
    Zin::Ptr<IpLib::IntfAddrVrfTable> const table_ = IpLib::intfAddrVrfTableFactory();
    Zin::Ptr<typename Family::VrfStatus> const vrfStatus_ = Zin::make<typename Family::VrfStatus>();
    std::vector<Zin::Ptr<typename Family::Status>> statuses_;
    Zin::Ptr<IpLib::IntfAddrVrfTableManager> const manager_ = IpLib::intfAddrVrfTableManagerFactory(
        ipStatus_, ip6Status_,
        IpLib::intfAddrVrfTableSmFactoryFactory({.ignoreKernelInterfaceState = true}, scheduler_,
                                                nullptr, nullptr,
                                                Interface::kniIntfStatusHelperFactory()),
        tables_);
    std::array<RowCounter, 8> counters_;
};

}  // namespace Bench
