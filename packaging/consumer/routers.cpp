// Published status and tables held together: one address, published and looked up.

#include <memory>

#include "Velk/YieldPolicy.h"
#include "Zin/Clock.h"
#include "Zin/Format.h"
#include "router/Router.h"

int main() {
    Routing::Router router({}, Zin::make<Zin::SteadyClock>(),
                           std::make_unique<Velk::TimeSlice>(0.01));
    router.managerStart().apply();
    auto& inputs = router.inputs();
    inputs.ipVrfAdd("default").apply();
    router.tableAdd("default").apply();
    inputs.kernelAdd("default", "eth0", {.operStatus = Interface::OperStatus::up}).apply();
    inputs.ipIntfAdd("default", "eth0", {.primary = Nimb::IpAddrWithMask("192.0.2.1/24")}).apply();
    for (auto const& row : router.table("default")->intfAddrEntry()) {
        fmt::print("{} is on {}\n", row.key.key.addr, row.value->intfId());
    }
}
