#include "IpLib/IntfAddrVrfTableSm/DelayedTaskSm.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>

#include "IpLib/IntfAddrVrfTableSm/DeferredIntfAddSm.h"
#include "IpLib/IntfAddrVrfTableSm/IntfCleanupSm.h"
#include "Velk/TaskScheduler.h"
#include "Velk/YieldPolicy.h"
#include "Zin/Clock.h"
#include "Zin/Errors.h"

namespace IpLib::IntfAddrVrfTableImpl {
namespace {

// `make(delay, scheduler)` makes a machine of either kind.
template <class Make>
void expectRefusals(Make const& make) {
    auto const scheduler = Velk::taskSchedulerFactory(Zin::make<Zin::VirtualClock>(),
                                                      std::make_unique<Velk::EveryNth>(0));
    for (Zin::Seconds const delay : {std::numeric_limits<Zin::Seconds>::infinity(),
                                     std::numeric_limits<Zin::Seconds>::quiet_NaN()}) {
        EXPECT_THROW(make(delay, scheduler), Zin::RangeError);
    }
    EXPECT_THROW(make(1.5, nullptr), Zin::NullArgumentError);
}

using Scheduler = Zin::Ptr<Velk::TaskScheduler>;

TEST(DelayedTaskSm, ACleanupWithADelayThatNeverPassesOrWithoutASchedulerIsRefused) {
    auto const backlog = intfCleanupBacklogFactory();
    expectRefusals([&](Zin::Seconds delay, Scheduler const& scheduler) {
        return intfCleanupSmFactory({delay, {}}, nullptr, backlog, "blue", scheduler);
    });
}

TEST(DelayedTaskSm, ADeferredAddWithADelayThatNeverPassesOrWithoutASchedulerIsRefused) {
    auto const backlog = deferredIntfAddBacklogFactory();
    expectRefusals([&](Zin::Seconds delay, Scheduler const& scheduler) {
        return deferredIntfAddSmFactory({delay, {}}, nullptr, backlog, "blue", scheduler);
    });
}

}  // namespace
}  // namespace IpLib::IntfAddrVrfTableImpl
