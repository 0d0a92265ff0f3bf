// An interface goes while another one waits for its subnet; the rest is done by time.
#include <memory>

#include "Velk/YieldPolicy.h"
#include "Zin/Format.h"
#include "router/Router.h"

void runLoop(Zin::Ptr<Velk::TaskScheduler> const& scheduler);

int main() {
    Routing::Router router({.intfCleanupDelay = 0.05, .deferredIntfAddDelay = 0.1},
                           Zin::make<Zin::SteadyClock>(), std::make_unique<Velk::TimeSlice>(0.01));
    router.managerStart().apply();
    router.tableAdd("default").apply();
    auto& inputs = router.inputs();
    inputs.ipVrfAdd("default").apply();
    for (auto const* const intf : {"eth0", "eth1"}) {
        inputs.kernelAdd("default", intf, {}).apply();
    }
    inputs.ipIntfAdd("default", "eth0", {.primary = Nimb::IpAddrWithMask("192.0.2.1/24")}).apply();
    inputs.ipIntfAdd("default", "eth1", {.primary = Nimb::IpAddrWithMask("192.0.2.2/24")}).apply();
    inputs.ipIntfDel("default", "eth0").apply();
    runLoop(router.scheduler());
    for (auto const& row : router.rows("default")) {
        fmt::print("{} on {}\n", row.addr, row.intfId);
    }
}
