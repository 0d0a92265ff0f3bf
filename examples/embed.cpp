// An agent in miniature: it publishes one interface, lets the library fill the table, and reads it.
#include <poll.h>

#include "Interface/DeviceIntfStatus.h"
#include "Ip/Status.h"
#include "Ip6/Status.h"
#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTable.h"
#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableManager.h"
#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableSmFactory.h"
#include "Velk/TaskScheduler.h"
#include "Zin/Format.h"
#include "Zin/HashKey.h"

int main() {
    // Addresses come from strangers: nobody is to choose some that hash alike. Comes first of all.
    Zin::hashKeyIs(Zin::drawnHashKey());
    // What agents publish, and the tables that they read.
    auto const ip = Ip::statusFactory();
    auto const ip6 = Ip6::statusFactory();
    auto const kernel = Interface::kniIntfStatusHelperFactory();
    auto const tables = IpLib::allIntfAddrVrfTableFactory();
    // The library. It brings no thread and no loop: the scheduler runs when you call it.
    auto const scheduler = Velk::taskSchedulerFactory(Zin::make<Zin::SteadyClock>(),
                                                      std::make_unique<Velk::TimeSlice>(0.01));
    IpLib::IntfAddrVrfTableSmConfig const config{.intfCleanupDelay = 0.05};  // seconds
    auto const manager = IpLib::intfAddrVrfTableManagerFactory(
        ip, ip6,
        IpLib::intfAddrVrfTableSmFactoryFactory(config, scheduler, nullptr, nullptr, kernel),
        tables);
    tables->intfAddrVrfTableIs("default", IpLib::intfAddrVrfTableFactory());

    // Publish an interface: the table is up to date when the last line returns.
    kernel->deviceIntfStatusDir("default")->deviceIntfStatusIs(
        Interface::deviceIntfStatusFactory("eth0", "eth0", 2, Interface::OperStatus::up, true));
    auto const eth0 = Ip::ipIntfStatusFactory("eth0");
    eth0->activeAddrWithMaskIs(Nimb::IpAddrWithMask("192.0.2.1/24"));
    auto const vrfStatus = Ip::vrfIpIntfStatusFactory();
    vrfStatus->ipIntfStatusIs(eth0);
    ip->vrfIpIntfStatusIs("default", vrfStatus);

    for (auto const& row : tables->intfAddrVrfTable("default")->intfAddrEntry()) {
        fmt::print("{} is on {}\n", row.key.key.addr, row.value->intfId());
    }

    // Take it away: its row goes once the clean-up delay has passed. This is all of an event loop
    // that has no descriptors of its own: it sleeps until something is due, and runs it.
    ip->vrfIpIntfStatusDel("default");
    while (scheduler->pollTimeout() >= 0) {
        poll(nullptr, 0, scheduler->pollTimeout());
        scheduler->run();
    }
    fmt::print("{} rows are left\n", tables->intfAddrVrfTable("default")->intfAddrEntry().size());
}
