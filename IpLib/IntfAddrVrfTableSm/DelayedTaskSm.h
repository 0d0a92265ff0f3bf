// What the two machines of a VRF that put work off have in common: what they are made of, and the
// timer task that calls them when the time has come.
//
// A machine makes its task when it is initialised, under a name of its own; the task goes with it.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "IpLib/IntfAddrVrfTableSmTypes/FiniteDelays.h"
#include "L3/VrfName.h"
#include "Velk/OwnedTask.h"
#include "Zin/Collection.h"

namespace IpLib::IntfAddrVrfTableImpl {

template <class Config, class Parent, class Backlog>
class DelayedTaskSm : public Zin::Entity {
public:
    // A delay that is not finite raises Zin::RangeError, a null scheduler Zin::NullArgumentError.
    DelayedTaskSm(Config const& smConfig, Zin::Ptr<Parent> parent, Zin::Ptr<Backlog> backlog,
                  L3::VrfName vrfName, Zin::Ptr<Velk::TaskScheduler> scheduler)
        : smConfig_(withFiniteDelays(smConfig)),
          parent_(std::move(parent)),
          backlog_(std::move(backlog)),
          vrfName_(std::move(vrfName)),
          scheduler_(Zin::notNull("scheduler", std::move(scheduler))) {}

    Config const& smConfig() const { return smConfig_; }
    Zin::Ptr<Parent> const& parent() const { return parent_; }
    Zin::Ptr<Backlog> const& backlog() const { return backlog_; }
    L3::VrfName const& vrfName() const { return vrfName_; }
    Zin::Ptr<Velk::TaskScheduler> const& scheduler() const { return scheduler_; }
    // Null where there is no task.
    Zin::Ptr<Velk::TimerTask> const& task() const { return task_(); }
    bool builtFrom(Config const& smConfig, Zin::Ptr<Parent> const& parent,
                   Zin::Ptr<Backlog> const& backlog, L3::VrfName const& vrfName,
                   Zin::Ptr<Velk::TaskScheduler> const& scheduler) const {
        return smConfig_ == smConfig && parent_ == parent && backlog_ == backlog &&
               vrfName_ == vrfName && scheduler_ == scheduler;
    }

    void hasNotificationActiveIs(bool active) override {
        Entity::hasNotificationActiveIs(active);
        task_.hasNotificationActiveIs(active);
    }

    Zin::Ptr<Velk::TimerTask> const& taskIs(Zin::Ptr<Velk::TaskScheduler> const& scheduler,
                                            Velk::TaskPriority priority, std::string const& name) {
        return task_.is(scheduler, priority, name);
    }
    void taskDel() { task_.del(); }

    // One pass over the backlog.
    virtual void handleTaskRun() = 0;

protected:
    void handleDestruction() override { taskDel(); }

    void dumpTask(Zin::Ptr<Velk::DumpContext const> const& context, std::uint32_t indent) const {
        if (task()) {
            task()->dumpState(context, indent + 2);
        }
    }

    Config const smConfig_;
    Zin::Ptr<Parent> const parent_;
    Zin::Ptr<Backlog> const backlog_;
    L3::VrfName const vrfName_;
    Zin::Ptr<Velk::TaskScheduler> const scheduler_;

private:
    Velk::OwnedTask<DelayedTaskSm> task_{*this};
};

}  // namespace IpLib::IntfAddrVrfTableImpl
