#include "testing/VirtualTime.h"

#include <memory>

namespace Testing {

VirtualTime::VirtualTime(std::uint32_t yieldEvery)
    : clock_(Zin::make<Zin::VirtualClock>()),
      scheduler_(Velk::taskSchedulerFactory(clock_, std::make_unique<Velk::EveryNth>(yieldEvery))) {
}

void VirtualTime::advanceTo(Zin::Seconds time) {
    for (auto expiry = scheduler_->nextExpiry(); expiry && *expiry <= time;
         expiry = scheduler_->nextExpiry()) {
        clock_->nowIs(*expiry);
        scheduler_->runNext(*expiry);
    }
    clock_->nowIs(time);
}

}  // namespace Testing
