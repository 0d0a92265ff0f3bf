#include "router/repair/Timeline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <utility>

#include "Velk/TimerTask.h"
#include "Zin/Format.h"
#include "router/repair/TestSupervisor.h"

namespace Routing {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using namespace TestSupervisor;

struct Moved : Fixture {
    explicit Moved(Audits audits = Audits::atFullSeconds)
        : timeline(router, supervisor, clock, audits,
                   [this](Zin::Error const& error) { texts.emplace_back(error.what()); }) {
        onRepair = [this] { texts.push_back(repairs.back()); };
    }

    // An audit finds that the address is not in its index.
    void breakTable(L3::VrfName const& name) {
        router.table(name)->intfAddrEntryFromAddrDel(
            IpLib::IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1")));
    }

    // What is told, in its order.
    Texts texts;
    Timeline timeline;
};

// A task that writes down its runs.
class Task final : Velk::TimerTask::Notifiee {
public:
    Task(
        Moved& moved, Zin::Seconds delay, std::function<void()> work = [] {})
        : moved_(moved), work_(std::move(work)) {
        task_ = Velk::timerTaskFactory(moved.router.scheduler(), Velk::TaskPriority::normal, "t");
        notifierIs(task_);
        task_->scheduleTaskDelay(delay);
    }

private:
    void handleTaskRun() override {
        moved_.texts.push_back(fmt::format("{} task", moved_.clock->now()));
        work_();
    }

    Moved& moved_;
    std::function<void()> const work_;
    Zin::Ptr<Velk::TimerTask> task_;
};

TEST(Timeline, AtOneTimeComeTasksThenRebuildsThenTheAudit) {
    Moved moved;
    moved.vrf("blue");
    moved.vrf("red");
    moved.fail("red");
    moved.timeline.advanceTo(0.5);
    moved.breakTable("blue");
    moved.timeline.advanceTo(4.0);
    moved.prepareFailure("red");
    moved.timeline.apply(moved.failure("red"));
    moved.texts.clear();
    Task const task(moved, 1.0);

    moved.timeline.advanceTo(4.75);
    EXPECT_THAT(moved.texts, IsEmpty());
    moved.timeline.advanceTo(5.0);
    EXPECT_THAT(moved.texts, ElementsAre("5 task", StartsWith("5 red +0 -0: ip 10.0.0.1"),
                                         StartsWith("5 blue +0 -0: row and by-address entry")));
}

TEST(Timeline, MakesOneStepAtATimeAndStandsAtItsTime) {
    Moved moved;
    moved.timeline.advanceTo(1.0);  // nothing is wrong, so that no audit is a step
    Task const first(moved, 1.0);
    Task const second(moved, 1.0);
    Task const third(moved, 2.0);

    EXPECT_EQ(moved.timeline.nextStep(), 2.0);
    EXPECT_TRUE(moved.timeline.advanceToNextStep(3.5));
    EXPECT_EQ(moved.timeline.now(), 2.0);
    EXPECT_EQ(moved.timeline.nextStep(), 2.0);
    EXPECT_TRUE(moved.timeline.advanceToNextStep(3.5));
    EXPECT_TRUE(moved.timeline.advanceToNextStep(3.5));  // an audit, as tasks have run
    EXPECT_EQ(moved.timeline.now(), 2.0);
    EXPECT_TRUE(moved.timeline.advanceToNextStep(3.5));
    EXPECT_EQ(moved.timeline.now(), 3.0);
    EXPECT_TRUE(moved.timeline.advanceToNextStep(3.5));
    EXPECT_FALSE(moved.timeline.advanceToNextStep(3.5));
    EXPECT_EQ(moved.timeline.now(), 3.5);
    EXPECT_EQ(moved.timeline.nextStep(), Velk::never);
    EXPECT_THAT(moved.texts, ElementsAre("2 task", "2 task", "3 task"));
}

TEST(Timeline, WhatFailsInAnOperationIsRebuiltWithItOrIsTheNextStep) {
    Moved moved;
    moved.vrf("red");
    moved.prepareFailure("red");
    moved.timeline.apply(moved.failure("red"));
    EXPECT_THAT(moved.texts, ElementsAre(StartsWith("0 red ")));

    // Again within a minute.
    moved.prepareFailure("red");
    moved.timeline.advanceTo(10.0);
    moved.timeline.apply(moved.failure("red"));
    EXPECT_EQ(moved.timeline.nextStep(), 11.0);
    moved.timeline.advanceTo(11.0);
    EXPECT_THAT(moved.texts, ElementsAre(StartsWith("0 red "), StartsWith("11 red ")));
}

TEST(Timeline, AuditsAtFullSecondsAreStepsUnlessNothingIsWrong) {
    Moved moved;
    moved.vrf("red");
    moved.timeline.advanceTo(2.25);
    EXPECT_EQ(moved.timeline.nextStep(), Velk::never);

    moved.breakTable("red");
    moved.prepareFailure("red");
    EXPECT_EQ(moved.timeline.nextStep(), 3.0);
    moved.timeline.advanceTo(6.75);
    EXPECT_THAT(moved.texts, IsEmpty());
    EXPECT_EQ(moved.timeline.nextStep(), 7.0);
    moved.timeline.advanceTo(7.0);
    EXPECT_THAT(moved.texts, ElementsAre(StartsWith("7 red +0 -0: row and by-address entry")));
}

// One that needs a single slice finds and repairs at the times of a whole one.
TEST(Timeline, AuditsInSlicesBeginAtFullSeconds) {
    Moved moved(Audits::inSlices);
    moved.vrf("red");
    moved.timeline.advanceTo(2.25);
    EXPECT_EQ(moved.timeline.nextStep(), 3.0);

    moved.breakTable("red");
    moved.prepareFailure("red");
    moved.timeline.advanceTo(6.75);
    EXPECT_THAT(moved.texts, IsEmpty());
    moved.timeline.advanceTo(7.0);
    EXPECT_THAT(moved.texts, ElementsAre(StartsWith("7 red +0 -0: row and by-address entry")));
    EXPECT_EQ(moved.timeline.nextStep(), 8.0);
}

TEST(Timeline, WhatIsRefusedIsToldBeforeTheRepairsAndTimeGoesOn) {
    Moved moved;
    moved.vrf("red");
    moved.prepareFailure("red");
    moved.timeline.apply(Effect([&] {
        moved.supervisor.apply(moved.failure("red"));
        throw Zin::RangeError("refused");
    }));
    Task const task(moved, 1.0, [] { throw Zin::RangeError("refused by a task"); });
    Task const next(moved, 1.0);
    moved.timeline.advanceTo(3.0);

    EXPECT_EQ(moved.timeline.now(), 3.0);
    EXPECT_THAT(moved.texts, ElementsAre("refused", StartsWith("0 red "), "1 task",
                                         "refused by a task", "1 task"));
}

}  // namespace
}  // namespace Routing
