#include "TestKit/VirtualTime.h"

#include <memory>

namespace TestKit {

VirtualTime::VirtualTime(std::uint32_t yieldEvery)
    : clock_(Zin::make<Zin::VirtualClock>()),
      scheduler_(Velk::taskSchedulerFactory(clock_, std::make_unique<Velk::EveryNth>(yieldEvery))) {
}

}  // namespace TestKit
