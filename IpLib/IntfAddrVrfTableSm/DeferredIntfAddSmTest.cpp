#include "IpLib/IntfAddrVrfTableSm/DeferredIntfAddSm.h"

#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "TestKit/TraceRecorder.h"
#include "TestKit/VirtualTime.h"
#include "Tremlog/Ring.h"
#include "Zin/Errors.h"
#include "Zin/Format.h"

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

struct Fixture {
    explicit Fixture(int keys = 0, std::uint32_t yieldEvery = 0, Zin::Seconds delay = 2.0)
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

    TestKit::VirtualTime time;
    DeferredIntfAddSmConfig const config;
    Zin::Ptr<DeferredIntfAddBacklog> const backlog = deferredIntfAddBacklogFactory();
    Zin::Ptr<Parent> const parent = Zin::make<Parent>(backlog);
    Zin::Ptr<DeferredIntfAddSm> sm =
        deferredIntfAddSmFactory(config, parent, backlog, "blue", time.scheduler());
    TestKit::TraceRecorder traces{"DeferredIntfAddSm"};
};

TEST(DeferredIntfAddSm, ItsTaskBearsTheNameOfTheVrfAndThePriority) {
    Fixture fixture;
    EXPECT_EQ(fixture.task().taskName(), "DeferredIntfAdd-VRF-blue");
    EXPECT_EQ(fixture.task().taskPriority(), priority);
    EXPECT_EQ(fixture.task().taskScheduler(), fixture.time.scheduler());
    EXPECT_FALSE(fixture.task().taskScheduled());
    EXPECT_EQ(fixture.sm->bookmark(), std::nullopt);
    EXPECT_FALSE(fixture.sm->rescheduleWhenComplete());
}

TEST(DeferredIntfAddSm, KnowsWhatItWasBuiltFrom) {
    Fixture fixture;
    auto const scheduler = fixture.time.scheduler();
    EXPECT_EQ(fixture.sm->smConfig(), fixture.config);
    EXPECT_EQ(fixture.sm->parent(), fixture.parent);
    EXPECT_EQ(fixture.sm->backlog(), fixture.backlog);
    EXPECT_EQ(fixture.sm->vrfName(), "blue");
    EXPECT_EQ(fixture.sm->scheduler(), scheduler);
    EXPECT_TRUE(
        fixture.sm->builtFrom(fixture.config, fixture.parent, fixture.backlog, "blue", scheduler));
    EXPECT_FALSE(
        fixture.sm->builtFrom({1.0, priority}, fixture.parent, fixture.backlog, "blue", scheduler));
    EXPECT_FALSE(
        fixture.sm->builtFrom(fixture.config, nullptr, fixture.backlog, "blue", scheduler));
    EXPECT_FALSE(fixture.sm->builtFrom(fixture.config, fixture.parent, nullptr, "blue", scheduler));
    EXPECT_FALSE(
        fixture.sm->builtFrom(fixture.config, fixture.parent, fixture.backlog, "red", scheduler));
    EXPECT_FALSE(
        fixture.sm->builtFrom(fixture.config, fixture.parent, fixture.backlog, "blue", nullptr));
}

TEST(DeferredIntfAddSm, WithNothingWaitingARequestOnlyTracesTheCount) {
    Fixture fixture;
    fixture.sm->maybeScheduleTask();
    EXPECT_THAT(fixture.traceTexts(),
                ElementsAre("8 DeferredIntfAddSm::maybeScheduleTask backlog count is 0"));
    EXPECT_FALSE(fixture.task().taskScheduled());
    EXPECT_FALSE(fixture.sm->rescheduleWhenComplete());
}

TEST(DeferredIntfAddSm, ARequestArmsTheTaskForTheDelay) {
    Fixture fixture(2);
    fixture.sm->maybeScheduleTask();
    EXPECT_THAT(fixture.traceTexts(),
                ElementsAre("8 DeferredIntfAddSm::maybeScheduleTask backlog count is 2",
                            "8 DeferredIntfAddSm::maybeScheduleTask task is scheduled to run in 2 "
                            "seconds"));

    fixture.time.advanceTo(std::nextafter(12.0, 0.0));
    EXPECT_THAT(fixture.tries(), IsEmpty());
    fixture.time.advanceTo(12.0);
    EXPECT_THAT(fixture.tries(), ElementsAre("Ethernet1", "Ethernet2"));
}

TEST(DeferredIntfAddSm, ARequestLeavesAnEarlierExpiryAndBringsALaterOneForward) {
    Fixture fixture(1);
    fixture.task().scheduleTaskDelay(0.5);
    fixture.sm->maybeScheduleTask();
    EXPECT_EQ(fixture.task().currentExpirationTime(), 10.5);
    fixture.task().scheduleTaskDelay(60.0);
    fixture.sm->maybeScheduleTask();
    EXPECT_EQ(fixture.task().currentExpirationTime(), 12.0);
}

TEST(DeferredIntfAddSm, AZeroDelayTriesInTheNextRunOfTheScheduler) {
    Fixture fixture(1, 0, 0.0);
    fixture.sm->maybeScheduleTask();
    EXPECT_THAT(fixture.tries(), IsEmpty());
    fixture.time.advance(0.0);
    EXPECT_THAT(fixture.tries(), ElementsAre("Ethernet1"));
}

TEST(DeferredIntfAddSm, APassThatAdmitsAllCompletesTheWork) {
    Fixture fixture(3);
    fixture.sm->maybeScheduleTask();
    fixture.traceTexts();

    fixture.time.advance(2.0);
    EXPECT_THAT(fixture.tries(), ElementsAre("Ethernet1", "Ethernet2", "Ethernet3"));
    EXPECT_TRUE(fixture.backlog->backlog().empty());
    EXPECT_FALSE(fixture.task().taskScheduled());
    EXPECT_EQ(fixture.task().taskWorkPending(), 0u);
    EXPECT_EQ(fixture.task().taskWorkCount(), 3u);
    EXPECT_THAT(fixture.traceTexts(),
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
    Fixture fixture(2);
    fixture.parent->conflicts = true;
    fixture.sm->maybeScheduleTask();
    fixture.time.advance(2.0);
    EXPECT_THAT(fixture.tries(), ElementsAre("Ethernet1", "Ethernet2"));
    EXPECT_EQ(
        fixture.traceTexts().back(),
        "8 DeferredIntfAddSm::handleTaskRun idling timer with 2 items remaining in the backlog");
    EXPECT_FALSE(fixture.task().taskScheduled());
    EXPECT_EQ(fixture.task().taskWorkPending(), 2u);
    EXPECT_EQ(fixture.task().taskWorkCount(), 2u);
    EXPECT_THAT(Tremlog::messages().back(), "finished work with 2 backlog entries remaining");

    fixture.time.advance(100.0);
    EXPECT_THAT(fixture.tries(), IsEmpty());

    fixture.sm->maybeScheduleTask();
    fixture.time.advance(2.0);
    EXPECT_THAT(fixture.tries(), ElementsAre("Ethernet1", "Ethernet2"));
}

TEST(DeferredIntfAddSm, ARequestMadeWhileTheTaskIsArmedLeadsToOneMorePass) {
    Fixture fixture(1);
    fixture.parent->conflicts = true;
    fixture.sm->maybeScheduleTask();
    EXPECT_FALSE(fixture.sm->rescheduleWhenComplete());
    fixture.time.advance(1.0);
    fixture.sm->maybeScheduleTask();
    EXPECT_TRUE(fixture.sm->rescheduleWhenComplete());
    EXPECT_EQ(fixture.traceTexts().back(),
              "8 DeferredIntfAddSm::maybeScheduleTask task is scheduled to run in 1 seconds");

    fixture.time.advance(1.0);
    EXPECT_EQ(
        fixture.traceTexts().back(),
        "8 DeferredIntfAddSm::handleTaskRun rescheduling with 1 items remaining in the backlog");
    EXPECT_FALSE(fixture.sm->rescheduleWhenComplete());
    EXPECT_EQ(fixture.task().currentExpirationTime(), 14.0);

    fixture.time.advance(2.0);
    EXPECT_THAT(fixture.tries(), ElementsAre("Ethernet1", "Ethernet1"));
    EXPECT_FALSE(fixture.task().taskScheduled());
}

TEST(DeferredIntfAddSm, ARequestMadeInAPassLeadsToAnotherPass) {
    Fixture fixture(2);
    fixture.parent->conflicts = true;
    fixture.sm->maybeScheduleTask();
    fixture.parent->then = [&](IntfAddrWithMaskKey const&) {
        if (fixture.time.now() == 12.0) {
            fixture.sm->maybeScheduleTask();
        }
    };
    fixture.time.advance(100.0);
    EXPECT_THAT(fixture.tries(), ElementsAre("Ethernet1", "Ethernet2", "Ethernet1", "Ethernet2"));
    EXPECT_FALSE(fixture.task().taskScheduled());
}

TEST(DeferredIntfAddSm, APassThatGivesWayIsFollowedByAnotherIfThatWasAskedForWhileArmed) {
    Fixture fixture(2, 1);
    fixture.parent->conflicts = true;
    fixture.sm->maybeScheduleTask();
    ASSERT_EQ(fixture.time.scheduler()->runNext(12.0), true);
    fixture.sm->maybeScheduleTask();  // while it is armed for the rest of the pass
    EXPECT_EQ(fixture.task().currentExpirationTime(), fixture.time.now());
    fixture.time.advance(100.0);
    EXPECT_THAT(fixture.tries(), ElementsAre("Ethernet1", "Ethernet2", "Ethernet1", "Ethernet2"));
}

TEST(DeferredIntfAddSm, GivesWayBeforeEveryFurtherKeyAndGoesOnThere) {
    Fixture fixture(3, 1);
    fixture.parent->conflicts = true;
    fixture.sm->maybeScheduleTask();
    fixture.traceTexts();

    ASSERT_EQ(fixture.time.scheduler()->runNext(12.0), true);
    EXPECT_THAT(fixture.tries(), ElementsAre("Ethernet1"));
    EXPECT_EQ(fixture.sm->bookmark(), keyOf(2));
    EXPECT_EQ(fixture.task().currentExpirationTime(), fixture.time.now());
    EXPECT_EQ(fixture.task().taskWorkPending(), 3u);
    EXPECT_EQ(fixture.task().taskWorkCount(), 1u);
    EXPECT_THAT(
        fixture.traceTexts(),
        ElementsAre("8 DeferredIntfAddSm::handleTaskRun starting work with 3 backlog entries to be "
                    "processed",
                    "9 DeferredIntfAddSm::handleTaskRun bookmark hasValue false value "
                    "intfId=;addrWithMask=",
                    "8 DeferredIntfAddSm::handleTaskRun yielding at "
                    "intfId=Ethernet2;addrWithMask=10.0.0.2/24 with 3 items pending and 1 items "
                    "processed"));

    ASSERT_EQ(fixture.time.scheduler()->runNext(12.0), true);
    EXPECT_THAT(fixture.tries(), ElementsAre("Ethernet2"));
    EXPECT_THAT(fixture.traceTexts()[1],
                "9 DeferredIntfAddSm::handleTaskRun bookmark hasValue true value "
                "intfId=Ethernet2;addrWithMask=10.0.0.2/24");
    EXPECT_EQ(fixture.sm->bookmark(), keyOf(3));

    ASSERT_EQ(fixture.time.scheduler()->runNext(12.0), true);
    EXPECT_THAT(fixture.tries(), ElementsAre("Ethernet3"));
    EXPECT_EQ(fixture.sm->bookmark(), std::nullopt);
    EXPECT_FALSE(fixture.task().taskScheduled());
    EXPECT_EQ(fixture.task().taskWorkCount(), 3u);
    EXPECT_THAT(Tremlog::messages(),
                ElementsAre("starting work with 3 backlog entries to be processed",
                            "starting work with 3 backlog entries to be processed",
                            "starting work with 3 backlog entries to be processed",
                            "finished work with 3 backlog entries remaining"));
}

TEST(DeferredIntfAddSm, TheFirstKeyOfAPassIsHandledWithoutAsking) {
    Fixture fixture(5, 2);
    fixture.sm->maybeScheduleTask();
    ASSERT_EQ(fixture.time.scheduler()->runNext(12.0), true);
    // Asked before the second key (no) and before the third one (yes).
    EXPECT_THAT(fixture.tries(), ElementsAre("Ethernet1", "Ethernet2"));
    ASSERT_EQ(fixture.time.scheduler()->runNext(12.0), true);
    EXPECT_THAT(fixture.tries(), ElementsAre("Ethernet3", "Ethernet4"));
    ASSERT_EQ(fixture.time.scheduler()->runNext(12.0), true);
    EXPECT_THAT(fixture.tries(), ElementsAre("Ethernet5"));
}

TEST(DeferredIntfAddSm, ASingleKeyNeverGivesWay) {
    Fixture fixture(1, 1);
    fixture.sm->maybeScheduleTask();
    fixture.time.advance(2.0);
    EXPECT_EQ(fixture.traceTexts().back(), "8 DeferredIntfAddSm::handleTaskRun work complete");
}

TEST(DeferredIntfAddSm, ABookmarkThatHasLeftMeansFromTheBeginning) {
    Fixture fixture(3, 2);
    fixture.parent->conflicts = true;
    fixture.sm->maybeScheduleTask();
    ASSERT_EQ(fixture.time.scheduler()->runNext(12.0), true);
    ASSERT_EQ(fixture.sm->bookmark(), keyOf(3));
    fixture.tries();

    fixture.backlog->backlogDel(keyOf(3));
    ASSERT_EQ(fixture.time.scheduler()->runNext(12.0), true);
    EXPECT_THAT(fixture.tries(), ElementsAre("Ethernet1", "Ethernet2"));
    EXPECT_EQ(fixture.sm->bookmark(), std::nullopt);
}

TEST(DeferredIntfAddSm, ABookmarkMayOutliveAllKeys) {
    Fixture fixture(2, 1);
    fixture.parent->conflicts = true;
    fixture.sm->maybeScheduleTask();
    ASSERT_EQ(fixture.time.scheduler()->runNext(12.0), true);
    fixture.backlog->backlogDelAll();
    ASSERT_EQ(fixture.time.scheduler()->runNext(12.0), true);
    EXPECT_THAT(fixture.tries(), ElementsAre("Ethernet1"));
    EXPECT_EQ(fixture.traceTexts().back(), "8 DeferredIntfAddSm::handleTaskRun work complete");
}

TEST(DeferredIntfAddSm, KeysThatLeaveInAPassAreNotTried) {
    Fixture fixture(4);
    fixture.sm->maybeScheduleTask();
    fixture.parent->then = [&](IntfAddrWithMaskKey const& key) {
        if (key == keyOf(1)) {
            fixture.backlog->backlogDel(keyOf(2));
            fixture.backlog->backlogDel(keyOf(3));
        }
    };
    fixture.time.advance(2.0);
    EXPECT_THAT(fixture.tries(), ElementsAre("Ethernet1", "Ethernet4"));
}

TEST(DeferredIntfAddSm, KeysThatComeInAPassAreTriedInIt) {
    Fixture fixture(1);
    fixture.sm->maybeScheduleTask();
    fixture.parent->then = [&](IntfAddrWithMaskKey const& key) {
        if (key == keyOf(1)) {
            fixture.backlog->backlogIs(keyOf(2));
        }
    };
    fixture.time.advance(2.0);
    EXPECT_THAT(fixture.tries(), ElementsAre("Ethernet1", "Ethernet2"));
}

TEST(DeferredIntfAddSm, OutsideOfARunOfItsTaskNothingIsTried) {
    Fixture fixture(1);
    fixture.sm->handleTaskRun();
    EXPECT_THAT(fixture.tries(), IsEmpty());
    EXPECT_THAT(fixture.traceTexts(), IsEmpty());
}

TEST(DeferredIntfAddSm, AMutedMachineDoesNotRun) {
    Fixture fixture(1);
    fixture.sm->maybeScheduleTask();
    fixture.sm->hasNotificationActiveIs(false);
    fixture.time.advance(10.0);
    EXPECT_THAT(fixture.tries(), IsEmpty());
    fixture.sm->hasNotificationActiveIs(true);
    fixture.sm->maybeScheduleTask();
    fixture.time.advance(2.0);
    EXPECT_THAT(fixture.tries(), ElementsAre("Ethernet1"));
}

TEST(DeferredIntfAddSm, AMachineThatGoesIsNotRunAnyMore) {
    Fixture fixture(1);
    fixture.sm->maybeScheduleTask();
    fixture.sm = nullptr;
    EXPECT_EQ(fixture.time.scheduler()->nextExpiry(), Velk::never);
}

TEST(DeferredIntfAddSm, AMachineThatGoesInItsOwnPassStops) {
    Fixture fixture(3);
    fixture.sm->maybeScheduleTask();
    fixture.traceTexts();
    fixture.parent->then = [&](IntfAddrWithMaskKey const&) {
        fixture.sm->retire();  // as its owner does
        fixture.sm = nullptr;
    };
    fixture.time.advance(10.0);
    EXPECT_THAT(fixture.tries(), ElementsAre("Ethernet1"));
    EXPECT_EQ(fixture.traceTexts().size(), 2u);
    EXPECT_EQ(fixture.time.scheduler()->nextExpiry(), Velk::never);
}

TEST(DeferredIntfAddSm, ARetiredMachineIsAskedInVain) {
    Fixture fixture(1);
    fixture.sm->retire();
    fixture.sm->maybeScheduleTask();
    EXPECT_EQ(fixture.time.scheduler()->nextExpiry(), Velk::never);
}

TEST(DeferredIntfAddSm, DumpsItselfItsBookmarkAndItsTask) {
    Fixture fixture(2, 1, 2.75);
    fixture.parent->conflicts = true;
    auto const fresh = Velk::textDumpContextFactory(false, 10);
    fixture.sm->dumpState(fresh, 0);
    EXPECT_EQ(fresh->text(),
              "DeferredIntfSm VRF=blue with delay 2\n"
              "bookmark is \n"
              "  task DeferredIntfAdd-VRF-blue priority normal scheduled false work pending 0 work "
              "done 0\n");

    fixture.sm->maybeScheduleTask();
    ASSERT_EQ(fixture.time.scheduler()->runNext(13.0), true);
    auto const yielded = Velk::textDumpContextFactory(false, 10);
    fixture.sm->dumpState(yielded, 2);
    EXPECT_EQ(
        yielded->text(),
        "  DeferredIntfSm VRF=blue with delay 2\n"
        "  bookmark is intfId=Ethernet2;addrWithMask=10.0.0.2/24\n"
        "    task DeferredIntfAdd-VRF-blue priority normal scheduled true work pending 2 work "
        "done 1\n");
}

}  // namespace
}  // namespace IpLib::IntfAddrVrfTableImpl
