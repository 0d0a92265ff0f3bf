// Keeps a copy of a table: the rows that are there first, then each change. What comes between is
// told, too, since rows are read and the subscription is made in one step.
#include <map>

#include "Interface/DeviceIntfStatus.h"
#include "Ip/Status.h"
#include "Ip6/Status.h"
#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTable.h"
#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableManager.h"
#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableSmFactory.h"
#include "Velk/TaskScheduler.h"
#include "Zin/Format.h"
#include "Zin/HashKey.h"

namespace {

// A row says what it is in one notification, whether it has come, changed or gone: the table knows.
// Notifications are told within the change of the table; what takes long, or changes the router, is
// better done later, from what is noted here.
class Copy final : public IpLib::IntfAddrVrfTable::Notifiee {
public:
    explicit Copy(Zin::Ptr<IpLib::IntfAddrVrfTable> const& table) {
        notifierIs(table);
        for (auto const& row : table->intfAddrEntry()) {
            handleIntfAddrEntry(row.key);
        }
    }

    std::map<IpLib::IntfAddrEntryContent, Nimb::IntfId> const& rows() const { return rows_; }

private:
    void handleIntfAddrEntry(IpLib::IntfAddrEntryContent const& content) override {
        if (auto const row = notifier()->intfAddrEntry(content)) {
            rows_.insert_or_assign(content, row->intfId());
            fmt::print("+ {} on {}\n", content.key.addr, row->intfId());
        } else if (rows_.erase(content) > 0) {
            fmt::print("- {}\n", content.key.addr);
        }
    }

    std::map<IpLib::IntfAddrEntryContent, Nimb::IntfId> rows_;
};

}  // namespace

int main() {
    Zin::hashKeyIs(Zin::drawnHashKey());
    auto const ip = Ip::statusFactory();
    auto const ip6 = Ip6::statusFactory();
    auto const kernel = Interface::kniIntfStatusHelperFactory();
    auto const tables = IpLib::allIntfAddrVrfTableFactory();
    // Time that a test decides about.
    auto const clock = Zin::make<Zin::VirtualClock>();
    auto const scheduler = Velk::taskSchedulerFactory(clock, std::make_unique<Velk::EveryNth>(0));
    auto const manager = IpLib::intfAddrVrfTableManagerFactory(
        ip, ip6, IpLib::intfAddrVrfTableSmFactoryFactory({}, scheduler, nullptr, nullptr, kernel),
        tables);
    tables->intfAddrVrfTableIs("default", IpLib::intfAddrVrfTableFactory());
    auto const vrfStatus = Ip::vrfIpIntfStatusFactory();
    ip->vrfIpIntfStatusIs("default", vrfStatus);
    auto const publish = [&](char const* intf, char const* addr) {
        kernel->deviceIntfStatusDir("default")->deviceIntfStatusIs(
            Interface::deviceIntfStatusFactory(intf, intf, 2, Interface::OperStatus::up, true));
        auto const status = Ip::ipIntfStatusFactory(intf);
        status->activeAddrWithMaskIs(Nimb::IpAddrWithMask(addr));
        vrfStatus->ipIntfStatusIs(status);
    };

    publish("eth0", "192.0.2.1/24");
    Copy const copy(tables->intfAddrVrfTable("default"));
    publish("eth1", "198.51.100.1/24");
    publish("eth2", "192.0.2.2/24");  // waits: the subnet is eth0's
    vrfStatus->ipIntfStatusDel("eth0");
    for (int seconds = 0; seconds < 5; ++seconds) {
        clock->nowIs(clock->now() + 1);
        while (scheduler->runNext(clock->now())) {
        }
    }
    fmt::print("{} rows\n", copy.rows().size());
}
