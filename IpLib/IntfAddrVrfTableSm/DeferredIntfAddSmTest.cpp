#include "IpLib/IntfAddrVrfTableSm/DeferredIntfAddSm.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Tremlog/Ring.h"
#include "Zin/Errors.h"
#include "testing/TraceRecorder.h"
#include "testing/VirtualTime.h"

namespace IpLib::IntfAddrVrfTableImpl {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr auto priority = static_cast<Velk::TaskPriority>(3);

using Texts = std::vector<std::string>;

// "1" stands for 10.0.0.1/24 on Ethernet1, and so on.
IntfAddrWithMaskKey keyOf(int number) {
    return {Nimb::IntfId(fmt::format("Ethernet{}", number)),
            Nimb::IpGenAddrWithMask(fmt::format("10.0.0.{}/24", number))};
}

// Writes down what it is asked to try, then does something, and admits what is not in conflict.
class Parent final : public DeferredIntfAddParentInterface {
public:
    explicit Parent(Zin::Ptr<DeferredIntfAddBacklog> backlog) : backlog_(std::move(backlog)) {}

    void processDeferredIntfAdd(IntfAddrWithMaskKey const& key) override {
        tries.push_back(std::string(key.intfId.name()));
        if (then) {
            then(key);
        }
        if (!conflicts) {
            backlog_->backlogDel(key);
        }
    }

    Texts tries;
    bool conflicts = false;
    std::function<void(IntfAddrWithMaskKey const&)> then;

private:
    Zin::Ptr<DeferredIntfAddBacklog> const backlog_;
};

struct Bench {
    explicit Bench(int keys = 0, std::uint32_t yieldEvery = 0, Zin::Seconds delay = 2.0)
        : time(yieldEvery), config{delay, priority} {
        time.advanceTo(10.0);
        for (int number = 1; number <= keys; ++number) {
            backlog->backlogIs(keyOf(number));
        }
        Tremlog::clear();
    }

    Velk::TimerTask& task() const { return *sm->task(); }
    Texts tries() { return std::exchange(parent->tries, {}); }
    Texts traceTexts() {
        Texts texts = traces.messages();
        traces.clear();
        return texts;
    }

    Testing::VirtualTime time;
    DeferredIntfAddSmConfig const config;
    Zin::Ptr<DeferredIntfAddBacklog> const backlog = deferredIntfAddBacklogFactory();
    Zin::Ptr<Parent> const parent = Zin::make<Parent>(backlog);
    Zin::Ptr<DeferredIntfAddSm> sm =
        deferredIntfAddSmFactory(config, parent, backlog, "blue", time.scheduler());
    Testing::TraceRecorder traces{"DeferredIntfAddSm"};
};

TEST(DeferredIntfAddSm, ItsTaskBearsTheNameOfTheVrfAndThePriority) {
    Bench bench;
    EXPECT_EQ(bench.task().taskName(), "DeferredIntfAdd-VRF-blue");
    EXPECT_EQ(bench.task().taskPriority(), priority);
    EXPECT_EQ(bench.task().taskScheduler(), bench.time.scheduler());
    EXPECT_FALSE(bench.task().taskScheduled());
    EXPECT_EQ(bench.sm->bookmark(), std::nullopt);
    EXPECT_FALSE(bench.sm->rescheduleWhenComplete());
}

TEST(DeferredIntfAddSm, KnowsWhatItWasBuiltFrom) {
    Bench bench;
    auto const scheduler = bench.time.scheduler();
    EXPECT_EQ(bench.sm->smConfig(), bench.config);
    EXPECT_EQ(bench.sm->parent(), bench.parent);
    EXPECT_EQ(bench.sm->backlog(), bench.backlog);
    EXPECT_EQ(bench.sm->vrfName(), "blue");
    EXPECT_EQ(bench.sm->scheduler(), scheduler);
    EXPECT_TRUE(bench.sm->builtFrom(bench.config, bench.parent, bench.backlog, "blue", scheduler));
    EXPECT_FALSE(
        bench.sm->builtFrom({1.0, priority}, bench.parent, bench.backlog, "blue", scheduler));
    EXPECT_FALSE(bench.sm->builtFrom(bench.config, nullptr, bench.backlog, "blue", scheduler));
    EXPECT_FALSE(bench.sm->builtFrom(bench.config, bench.parent, nullptr, "blue", scheduler));
    EXPECT_FALSE(bench.sm->builtFrom(bench.config, bench.parent, bench.backlog, "red", scheduler));
    EXPECT_FALSE(bench.sm->builtFrom(bench.config, bench.parent, bench.backlog, "blue", nullptr));
}

TEST(DeferredIntfAddSm, WithNothingWaitingARequestOnlyTracesTheCount) {
    Bench bench;
    bench.sm->maybeScheduleTask();
    EXPECT_THAT(bench.traceTexts(),
                ElementsAre("8 DeferredIntfAddSm::maybeScheduleTask backlog count is 0"));
    EXPECT_FALSE(bench.task().taskScheduled());
    EXPECT_FALSE(bench.sm->rescheduleWhenComplete());
}

TEST(DeferredIntfAddSm, ARequestArmsTheTaskForTheDelay) {
    Bench bench(2);
    bench.sm->maybeScheduleTask();
    EXPECT_THAT(bench.traceTexts(),
                ElementsAre("8 DeferredIntfAddSm::maybeScheduleTask backlog count is 2",
                            "8 DeferredIntfAddSm::maybeScheduleTask task is scheduled to run in 2 "
                            "seconds"));

    bench.time.advanceTo(std::nextafter(12.0, 0.0));
    EXPECT_THAT(bench.tries(), IsEmpty());
    bench.time.advanceTo(12.0);
    EXPECT_THAT(bench.tries(), ElementsAre("Ethernet1", "Ethernet2"));
}

TEST(DeferredIntfAddSm, ARequestLeavesAnEarlierExpiryAndBringsALaterOneForward) {
    Bench bench(1);
    bench.task().scheduleTaskDelay(0.5);
    bench.sm->maybeScheduleTask();
    EXPECT_EQ(bench.task().currentExpirationTime(), 10.5);
    bench.task().scheduleTaskDelay(60.0);
    bench.sm->maybeScheduleTask();
    EXPECT_EQ(bench.task().currentExpirationTime(), 12.0);
}

TEST(DeferredIntfAddSm, AZeroDelayTriesInTheNextRunOfTheScheduler) {
    Bench bench(1, 0, 0.0);
    bench.sm->maybeScheduleTask();
    EXPECT_THAT(bench.tries(), IsEmpty());
    bench.time.advance(0.0);
    EXPECT_THAT(bench.tries(), ElementsAre("Ethernet1"));
}

TEST(DeferredIntfAddSm, APassThatAdmitsAllCompletesTheWork) {
    Bench bench(3);
    bench.sm->maybeScheduleTask();
    bench.traceTexts();

    bench.time.advance(2.0);
    EXPECT_THAT(bench.tries(), ElementsAre("Ethernet1", "Ethernet2", "Ethernet3"));
    EXPECT_TRUE(bench.backlog->backlog().empty());
    EXPECT_FALSE(bench.task().taskScheduled());
    EXPECT_EQ(bench.task().taskWorkPending(), 0u);
    EXPECT_EQ(bench.task().taskWorkCount(), 3u);
    EXPECT_THAT(bench.traceTexts(),
                ElementsAre("8 DeferredIntfAddSm::handleTaskRun starting work with 3 backlog "
                            "entries to be processed",
                            "9 DeferredIntfAddSm::handleTaskRun bookmark hasValue false value "
                            "intfId=;addrWithMask=",
                            "8 DeferredIntfAddSm::handleTaskRun work complete"));
    EXPECT_THAT(Tremlog::messages(),
                ElementsAre("starting work with 3 backlog entries to be processed",
                            "finished work with 0 backlog entries remaining"));
}

TEST(DeferredIntfAddSm, WithKeysStillInConflictTheTaskIdlesUntilItIsAskedAgain) {
    Bench bench(2);
    bench.parent->conflicts = true;
    bench.sm->maybeScheduleTask();
    bench.time.advance(2.0);
    EXPECT_THAT(bench.tries(), ElementsAre("Ethernet1", "Ethernet2"));
    EXPECT_EQ(
        bench.traceTexts().back(),
        "8 DeferredIntfAddSm::handleTaskRun idling timer with 2 items remaining in the backlog");
    EXPECT_FALSE(bench.task().taskScheduled());
    EXPECT_EQ(bench.task().taskWorkPending(), 2u);
    EXPECT_EQ(bench.task().taskWorkCount(), 2u);
    EXPECT_THAT(Tremlog::messages().back(), "finished work with 2 backlog entries remaining");

    bench.time.advance(100.0);
    EXPECT_THAT(bench.tries(), IsEmpty());

    bench.sm->maybeScheduleTask();
    bench.time.advance(2.0);
    EXPECT_THAT(bench.tries(), ElementsAre("Ethernet1", "Ethernet2"));
}

TEST(DeferredIntfAddSm, ARequestMadeWhileTheTaskIsArmedLeadsToOneMorePass) {
    Bench bench(1);
    bench.parent->conflicts = true;
    bench.sm->maybeScheduleTask();
    EXPECT_FALSE(bench.sm->rescheduleWhenComplete());
    bench.time.advance(1.0);
    bench.sm->maybeScheduleTask();
    EXPECT_TRUE(bench.sm->rescheduleWhenComplete());
    EXPECT_EQ(bench.traceTexts().back(),
              "8 DeferredIntfAddSm::maybeScheduleTask task is scheduled to run in 1 seconds");

    bench.time.advance(1.0);
    EXPECT_EQ(
        bench.traceTexts().back(),
        "8 DeferredIntfAddSm::handleTaskRun rescheduling with 1 items remaining in the backlog");
    EXPECT_FALSE(bench.sm->rescheduleWhenComplete());
    EXPECT_EQ(bench.task().currentExpirationTime(), 14.0);

    bench.time.advance(2.0);
    EXPECT_THAT(bench.tries(), ElementsAre("Ethernet1", "Ethernet1"));
    EXPECT_FALSE(bench.task().taskScheduled());
}

TEST(DeferredIntfAddSm, ARequestMadeInAPassLeadsToAnotherPass) {
    Bench bench(2);
    bench.parent->conflicts = true;
    bench.sm->maybeScheduleTask();
    bench.parent->then = [&](IntfAddrWithMaskKey const&) {
        if (bench.time.now() == 12.0) {
            bench.sm->maybeScheduleTask();
        }
    };
    bench.time.advance(100.0);
    EXPECT_THAT(bench.tries(), ElementsAre("Ethernet1", "Ethernet2", "Ethernet1", "Ethernet2"));
    EXPECT_FALSE(bench.task().taskScheduled());
}

TEST(DeferredIntfAddSm, APassThatGivesWayIsFollowedByAnotherIfThatWasAskedForWhileArmed) {
    Bench bench(2, 1);
    bench.parent->conflicts = true;
    bench.sm->maybeScheduleTask();
    ASSERT_EQ(bench.time.scheduler()->runNext(12.0), true);
    bench.sm->maybeScheduleTask();  // while it is armed for the rest of the pass
    EXPECT_EQ(bench.task().currentExpirationTime(), bench.time.now());
    bench.time.advance(100.0);
    EXPECT_THAT(bench.tries(), ElementsAre("Ethernet1", "Ethernet2", "Ethernet1", "Ethernet2"));
}

TEST(DeferredIntfAddSm, GivesWayBeforeEveryFurtherKeyAndGoesOnThere) {
    Bench bench(3, 1);
    bench.parent->conflicts = true;
    bench.sm->maybeScheduleTask();
    bench.traceTexts();

    ASSERT_EQ(bench.time.scheduler()->runNext(12.0), true);
    EXPECT_THAT(bench.tries(), ElementsAre("Ethernet1"));
    EXPECT_EQ(bench.sm->bookmark(), keyOf(2));
    EXPECT_EQ(bench.task().currentExpirationTime(), bench.time.now());
    EXPECT_EQ(bench.task().taskWorkPending(), 3u);
    EXPECT_EQ(bench.task().taskWorkCount(), 1u);
    EXPECT_THAT(
        bench.traceTexts(),
        ElementsAre("8 DeferredIntfAddSm::handleTaskRun starting work with 3 backlog entries to be "
                    "processed",
                    "9 DeferredIntfAddSm::handleTaskRun bookmark hasValue false value "
                    "intfId=;addrWithMask=",
                    "8 DeferredIntfAddSm::handleTaskRun yielding at "
                    "intfId=Ethernet2;addrWithMask=10.0.0.2/24 with 3 items pending and 1 items "
                    "processed"));

    ASSERT_EQ(bench.time.scheduler()->runNext(12.0), true);
    EXPECT_THAT(bench.tries(), ElementsAre("Ethernet2"));
    EXPECT_THAT(bench.traceTexts()[1],
                "9 DeferredIntfAddSm::handleTaskRun bookmark hasValue true value "
                "intfId=Ethernet2;addrWithMask=10.0.0.2/24");
    EXPECT_EQ(bench.sm->bookmark(), keyOf(3));

    ASSERT_EQ(bench.time.scheduler()->runNext(12.0), true);
    EXPECT_THAT(bench.tries(), ElementsAre("Ethernet3"));
    EXPECT_EQ(bench.sm->bookmark(), std::nullopt);
    EXPECT_FALSE(bench.task().taskScheduled());
    EXPECT_EQ(bench.task().taskWorkCount(), 3u);
    EXPECT_THAT(Tremlog::messages(),
                ElementsAre("starting work with 3 backlog entries to be processed",
                            "starting work with 3 backlog entries to be processed",
                            "starting work with 3 backlog entries to be processed",
                            "finished work with 3 backlog entries remaining"));
}

TEST(DeferredIntfAddSm, TheFirstKeyOfAPassIsHandledWithoutAsking) {
    Bench bench(5, 2);
    bench.sm->maybeScheduleTask();
    ASSERT_EQ(bench.time.scheduler()->runNext(12.0), true);
    // Asked before the second key (no) and before the third one (yes).
    EXPECT_THAT(bench.tries(), ElementsAre("Ethernet1", "Ethernet2"));
    ASSERT_EQ(bench.time.scheduler()->runNext(12.0), true);
    EXPECT_THAT(bench.tries(), ElementsAre("Ethernet3", "Ethernet4"));
    ASSERT_EQ(bench.time.scheduler()->runNext(12.0), true);
    EXPECT_THAT(bench.tries(), ElementsAre("Ethernet5"));
}

TEST(DeferredIntfAddSm, ASingleKeyNeverGivesWay) {
    Bench bench(1, 1);
    bench.sm->maybeScheduleTask();
    bench.time.advance(2.0);
    EXPECT_EQ(bench.traceTexts().back(), "8 DeferredIntfAddSm::handleTaskRun work complete");
}

TEST(DeferredIntfAddSm, ABookmarkThatHasLeftMeansFromTheBeginning) {
    Bench bench(3, 2);
    bench.parent->conflicts = true;
    bench.sm->maybeScheduleTask();
    ASSERT_EQ(bench.time.scheduler()->runNext(12.0), true);
    ASSERT_EQ(bench.sm->bookmark(), keyOf(3));
    bench.tries();

    bench.backlog->backlogDel(keyOf(3));
    ASSERT_EQ(bench.time.scheduler()->runNext(12.0), true);
    EXPECT_THAT(bench.tries(), ElementsAre("Ethernet1", "Ethernet2"));
    EXPECT_EQ(bench.sm->bookmark(), std::nullopt);
}

TEST(DeferredIntfAddSm, ABookmarkMayOutliveAllKeys) {
    Bench bench(2, 1);
    bench.parent->conflicts = true;
    bench.sm->maybeScheduleTask();
    ASSERT_EQ(bench.time.scheduler()->runNext(12.0), true);
    bench.backlog->backlogDelAll();
    ASSERT_EQ(bench.time.scheduler()->runNext(12.0), true);
    EXPECT_THAT(bench.tries(), ElementsAre("Ethernet1"));
    EXPECT_EQ(bench.traceTexts().back(), "8 DeferredIntfAddSm::handleTaskRun work complete");
}

TEST(DeferredIntfAddSm, KeysThatLeaveInAPassAreNotTried) {
    Bench bench(4);
    bench.sm->maybeScheduleTask();
    bench.parent->then = [&](IntfAddrWithMaskKey const& key) {
        if (key == keyOf(1)) {
            bench.backlog->backlogDel(keyOf(2));
            bench.backlog->backlogDel(keyOf(3));
        }
    };
    bench.time.advance(2.0);
    EXPECT_THAT(bench.tries(), ElementsAre("Ethernet1", "Ethernet4"));
}

TEST(DeferredIntfAddSm, KeysThatComeInAPassAreTriedInIt) {
    Bench bench(1);
    bench.sm->maybeScheduleTask();
    bench.parent->then = [&](IntfAddrWithMaskKey const& key) {
        if (key == keyOf(1)) {
            bench.backlog->backlogIs(keyOf(2));
        }
    };
    bench.time.advance(2.0);
    EXPECT_THAT(bench.tries(), ElementsAre("Ethernet1", "Ethernet2"));
}

TEST(DeferredIntfAddSm, OutsideOfARunOfItsTaskNothingIsTried) {
    Bench bench(1);
    bench.sm->handleTaskRun();
    EXPECT_THAT(bench.tries(), IsEmpty());
    EXPECT_THAT(bench.traceTexts(), IsEmpty());
}

TEST(DeferredIntfAddSm, AMutedMachineDoesNotRun) {
    Bench bench(1);
    bench.sm->maybeScheduleTask();
    bench.sm->hasNotificationActiveIs(false);
    bench.time.advance(10.0);
    EXPECT_THAT(bench.tries(), IsEmpty());
    bench.sm->hasNotificationActiveIs(true);
    bench.sm->maybeScheduleTask();
    bench.time.advance(2.0);
    EXPECT_THAT(bench.tries(), ElementsAre("Ethernet1"));
}

TEST(DeferredIntfAddSm, AMachineThatGoesIsNotRunAnyMore) {
    Bench bench(1);
    bench.sm->maybeScheduleTask();
    bench.sm = nullptr;
    EXPECT_EQ(bench.time.scheduler()->nextExpiry(), Velk::never);
}

TEST(DeferredIntfAddSm, AMachineThatGoesInItsOwnPassStops) {
    Bench bench(3);
    bench.sm->maybeScheduleTask();
    bench.traceTexts();
    bench.parent->then = [&](IntfAddrWithMaskKey const&) {
        bench.sm->retire();  // as its owner does
        bench.sm = nullptr;
    };
    bench.time.advance(10.0);
    EXPECT_THAT(bench.tries(), ElementsAre("Ethernet1"));
    EXPECT_EQ(bench.traceTexts().size(), 2u);
    EXPECT_EQ(bench.time.scheduler()->nextExpiry(), Velk::never);
}

TEST(DeferredIntfAddSm, ARetiredMachineIsAskedInVain) {
    Bench bench(1);
    bench.sm->retire();
    bench.sm->maybeScheduleTask();
    EXPECT_EQ(bench.time.scheduler()->nextExpiry(), Velk::never);
}

TEST(DeferredIntfAddSm, DumpsItselfItsBookmarkAndItsTask) {
    Bench bench(2, 1, 2.75);
    bench.parent->conflicts = true;
    auto const fresh = Velk::textDumpContextFactory(false, 10);
    bench.sm->dumpState(fresh, 0);
    EXPECT_EQ(fresh->text(),
              "DeferredIntfSm VRF=blue with delay 2\n"
              "bookmark is \n"
              "  task DeferredIntfAdd-VRF-blue priority normal scheduled false work pending 0 work "
              "done 0\n");

    bench.sm->maybeScheduleTask();
    ASSERT_EQ(bench.time.scheduler()->runNext(13.0), true);
    auto const yielded = Velk::textDumpContextFactory(false, 10);
    bench.sm->dumpState(yielded, 2);
    EXPECT_EQ(
        yielded->text(),
        "  DeferredIntfSm VRF=blue with delay 2\n"
        "  bookmark is intfId=Ethernet2;addrWithMask=10.0.0.2/24\n"
        "    task DeferredIntfAdd-VRF-blue priority normal scheduled true work pending 2 work "
        "done 1\n");
}

TEST(DeferredIntfAddSm, ADelayThatNeverPassesAndANullSchedulerAreRefused) {
    auto const backlog = deferredIntfAddBacklogFactory();
    auto const scheduler = Velk::taskSchedulerFactory(Zin::make<Zin::VirtualClock>(),
                                                      std::make_unique<Velk::EveryNth>(0));
    for (Zin::Seconds const delay : {std::numeric_limits<Zin::Seconds>::infinity(),
                                     std::numeric_limits<Zin::Seconds>::quiet_NaN()}) {
        EXPECT_THROW(deferredIntfAddSmFactory({delay, {}}, nullptr, backlog, "blue", scheduler),
                     Zin::RangeError);
    }
    EXPECT_THROW(deferredIntfAddSmFactory({1.5, {}}, nullptr, backlog, "blue", nullptr),
                 Zin::NullArgumentError);
}

}  // namespace
}  // namespace IpLib::IntfAddrVrfTableImpl
