#include "IpLib/IntfAddrVrfTableSm/IntfCleanupSm.h"

#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "TestKit/TraceRecorder.h"
#include "TestKit/VirtualTime.h"
#include "Zin/Errors.h"
#include "Zin/Format.h"

namespace IpLib::IntfAddrVrfTableImpl {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr auto ipv4 = Nimb::AddressFamily::ipv4;
constexpr auto ipv6 = Nimb::AddressFamily::ipv6;
constexpr auto priority = static_cast<Velk::TaskPriority>(3);

using Texts = std::vector<std::string>;

// Writes down what it is asked to clean up, and then does something.
class Parent final : public IntfCleanupParentInterface {
public:
    explicit Parent(Zin::Ptr<Zin::Clock const> clock) : clock_(std::move(clock)) {}

    void processCleanupIntf(Nimb::IntfId const& intfId, Nimb::AddressFamily af) override {
        cleanups.push_back(fmt::format("{} {} at {}", intfId, af, clock_->now()));
        if (then) {
            then();
        }
    }

    Texts cleanups;
    std::function<void()> then;

private:
    Zin::Ptr<Zin::Clock const> const clock_;
};

struct Fixture {
    explicit Fixture(Zin::Seconds delay = 1.5, std::uint32_t yieldEvery = 0)
        : time(yieldEvery), config{delay, priority} {
        time.advanceTo(10.0);
        traces.clear();
    }

    // What the VRF's machine does when an interface's status goes.
    void request(char const* intfId, Nimb::AddressFamily af = ipv4) {
        backlog->addBacklog(intfId, af, time.now());
        sm->maybeScheduleTask();
    }
    // What it does when the status comes back.
    void carryOutEarly(char const* intfId, Nimb::AddressFamily af = ipv4) {
        backlog->removeBacklog(intfId, af)->processedIs(true);
    }
    Texts cleanups() { return std::exchange(parent->cleanups, {}); }
    Texts traceTexts() {
        Texts texts = traces.messages();
        traces.clear();
        return texts;
    }
    // The message of the assertion that fails as time goes on.
    std::string failure(Zin::Seconds seconds) {
        try {
            time.advance(seconds);
        } catch (Pell::AssertionError const& error) {
            EXPECT_EQ(error.className(), "IntfCleanupSm");
            return error.message();
        }
        return "nothing failed";
    }

    Pell::ThrowOnAssertion const throwOnAssertion;
    TestKit::VirtualTime time;
    IntfCleanupSmConfig const config;
    Zin::Ptr<IntfCleanupBacklog> const backlog = intfCleanupBacklogFactory();
    Zin::Ptr<Parent> const parent = Zin::make<Parent>(time.clock());
    Zin::Ptr<IntfCleanupSm> sm =
        intfCleanupSmFactory(config, parent, backlog, "blue", time.scheduler());
    TestKit::TraceRecorder traces{"IntfCleanupSm"};
};

TEST(IntfCleanupSm, ItsTaskBearsTheNameOfTheVrfAndThePriority) {
    Fixture fixture;
    EXPECT_EQ(fixture.sm->task()->taskName(), "IntfCleanup-VRF-blue");
    EXPECT_EQ(fixture.sm->task()->taskPriority(), priority);
    EXPECT_EQ(fixture.sm->task()->taskScheduler(), fixture.time.scheduler());
    EXPECT_FALSE(fixture.sm->task()->taskScheduled());
}

TEST(IntfCleanupSm, ATaskOfTheSameArgumentsIsKept) {
    Fixture fixture;
    auto const task = fixture.sm->task();
    EXPECT_EQ(fixture.sm->taskIs(fixture.time.scheduler(), priority, "IntfCleanup-VRF-blue"), task);
    EXPECT_NE(fixture.sm->taskIs(fixture.time.scheduler(), priority, "another"), task);
    fixture.sm->taskDel();
    EXPECT_EQ(fixture.sm->task(), nullptr);
}

TEST(IntfCleanupSm, KnowsWhatItWasBuiltFrom) {
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

TEST(IntfCleanupSm, ARequestIsCarriedOutOnceTheDelayIsOverAndNotBefore) {
    Fixture fixture;
    fixture.request("Ethernet1");

    fixture.time.advanceTo(std::nextafter(11.5, 0.0));
    EXPECT_THAT(fixture.cleanups(), IsEmpty());
    EXPECT_TRUE(fixture.backlog->hasBacklog("Ethernet1", ipv4));

    fixture.time.advanceTo(11.5);
    EXPECT_THAT(fixture.cleanups(), ElementsAre("Ethernet1 IPv4 at 11.5"));
    EXPECT_FALSE(fixture.backlog->hasBacklog("Ethernet1", ipv4));
    EXPECT_TRUE(fixture.backlog->backlogQueue().empty());
    EXPECT_FALSE(fixture.sm->task()->taskScheduled());
}

TEST(IntfCleanupSm, ARequestIsOutOfTheBacklogWhenItIsCarriedOut) {
    Fixture fixture;
    bool pending = true;
    fixture.parent->then = [&] { pending = fixture.backlog->hasBacklog("Ethernet1", ipv4); };
    fixture.request("Ethernet1");
    fixture.time.advance(1.5);
    EXPECT_FALSE(pending);
}

TEST(IntfCleanupSm, TellsOfAPassThatEmptiesTheQueue) {
    Fixture fixture;
    fixture.request("Ethernet1");
    EXPECT_THAT(
        fixture.traceTexts(),
        ElementsAre("8 IntfCleanupSm::maybeScheduleTask task is scheduled to run in 1.5 seconds"));

    fixture.time.advance(1.5);
    EXPECT_THAT(fixture.traceTexts(),
                ElementsAre("8 IntfCleanupSm::handleTaskRun starting backlog processing at 11.5 "
                            "with 1 items in queue",
                            "9 IntfCleanupSm::handleTaskRun backlog queue is empty"));
}

TEST(IntfCleanupSm, APassAheadOfTimeWaitsForTheRemainder) {
    Fixture fixture;
    fixture.request("Ethernet1");
    fixture.sm->task()->scheduleTaskDelay(1.0);
    fixture.traceTexts();

    fixture.time.advance(1.0);
    EXPECT_THAT(fixture.cleanups(), IsEmpty());
    EXPECT_THAT(
        fixture.traceTexts(),
        ElementsAre("8 IntfCleanupSm::handleTaskRun starting backlog processing at 11 "
                    "with 1 items in queue",
                    "8 IntfCleanupSm::handleTaskRun queue front cannot be processed for 0.5 "
                    "seconds"));
    EXPECT_EQ(fixture.sm->task()->currentExpirationTime(), 11.5);
    EXPECT_EQ(fixture.sm->task()->taskWorkPending(), 1u);

    fixture.time.advance(0.5);
    EXPECT_THAT(fixture.cleanups(), ElementsAre("Ethernet1 IPv4 at 11.5"));
}

TEST(IntfCleanupSm, RequestsAreCarriedOutInTheOrderInWhichTheyWereMade) {
    Fixture fixture;
    fixture.request("Ethernet3");
    fixture.request("Ethernet1");
    fixture.time.advance(0.25);
    fixture.request("Ethernet2");
    fixture.time.advance(10.0);
    EXPECT_THAT(fixture.cleanups(), ElementsAre("Ethernet3 IPv4 at 11.5", "Ethernet1 IPv4 at 11.5",
                                                "Ethernet2 IPv4 at 11.75"));
}

TEST(IntfCleanupSm, TheFamiliesOfAnInterfaceRunIndependently) {
    Fixture fixture;
    fixture.request("Ethernet1", ipv6);
    fixture.time.advance(0.5);
    fixture.request("Ethernet1", ipv4);
    fixture.time.advance(10.0);
    EXPECT_THAT(fixture.cleanups(), ElementsAre("Ethernet1 IPv6 at 11.5", "Ethernet1 IPv4 at 12"));
}

TEST(IntfCleanupSm, ARequestLeavesAnEarlierExpiryAndBringsALaterOneForward) {
    Fixture fixture;
    fixture.sm->task()->scheduleTaskDelay(0.5);
    fixture.request("Ethernet1");
    EXPECT_EQ(fixture.sm->task()->currentExpirationTime(), 10.5);
    EXPECT_THAT(
        fixture.traceTexts(),
        ElementsAre("8 IntfCleanupSm::maybeScheduleTask task is scheduled to run in 0.5 seconds"));

    fixture.sm->task()->scheduleTaskDelay(60.0);
    fixture.request("Ethernet2");
    EXPECT_EQ(fixture.sm->task()->currentExpirationTime(), 11.5);
}

TEST(IntfCleanupSm, WithoutATaskNothingIsScheduled) {
    Fixture fixture;
    fixture.sm->taskDel();
    fixture.request("Ethernet1");
    EXPECT_THAT(fixture.traceTexts(), IsEmpty());
    EXPECT_EQ(fixture.time.scheduler()->nextExpiry(), Velk::never);
}

TEST(IntfCleanupSm, OutsideOfARunOfItsTaskNothingIsProcessed) {
    Fixture fixture;
    fixture.request("Ethernet1");
    fixture.traceTexts();
    fixture.sm->handleTaskRun();
    EXPECT_THAT(fixture.traceTexts(), IsEmpty());
    EXPECT_EQ(fixture.backlog->backlogQueue().size(), 1u);
}

TEST(IntfCleanupSm, AMutedMachineDoesNotRun) {
    Fixture fixture;
    fixture.request("Ethernet1");
    fixture.sm->hasNotificationActiveIs(false);
    fixture.time.advance(10.0);
    EXPECT_THAT(fixture.cleanups(), IsEmpty());

    fixture.sm->hasNotificationActiveIs(true);
    fixture.sm->maybeScheduleTask();
    fixture.time.advance(1.5);
    EXPECT_THAT(fixture.cleanups(), ElementsAre("Ethernet1 IPv4 at 21.5"));
}

TEST(IntfCleanupSm, WhatWasCarriedOutEarlyIsPassedOverWhenItIsDue) {
    Fixture fixture;
    fixture.request("Ethernet1");
    fixture.request("Ethernet2");
    fixture.carryOutEarly("Ethernet1");
    EXPECT_EQ(fixture.backlog->backlogQueue().size(), 2u);

    fixture.time.advance(1.5);
    EXPECT_THAT(fixture.cleanups(), ElementsAre("Ethernet2 IPv4 at 11.5"));
    EXPECT_TRUE(fixture.backlog->backlogQueue().empty());
    EXPECT_EQ(fixture.sm->task()->taskWorkCount(), 2u);
}

TEST(IntfCleanupSm, ALaterRequestIsCarriedOutAtItsOwnTime) {
    Fixture fixture;
    fixture.request("Ethernet1");
    fixture.carryOutEarly("Ethernet1");
    fixture.time.advance(0.5);
    fixture.request("Ethernet1");
    EXPECT_EQ(fixture.backlog->backlogQueue().size(), 2u);

    fixture.time.advanceTo(std::nextafter(12.0, 0.0));
    EXPECT_THAT(fixture.cleanups(), IsEmpty());
    EXPECT_EQ(fixture.backlog->backlogQueue().size(), 1u);
    fixture.time.advanceTo(12.0);
    EXPECT_THAT(fixture.cleanups(), ElementsAre("Ethernet1 IPv4 at 12"));
}

TEST(IntfCleanupSm, ALaterRequestOfTheSameInstantIsCarriedOutOnce) {
    Fixture fixture;
    fixture.request("Ethernet1");
    fixture.carryOutEarly("Ethernet1");
    fixture.request("Ethernet1");
    fixture.time.advance(10.0);
    EXPECT_THAT(fixture.cleanups(), ElementsAre("Ethernet1 IPv4 at 11.5"));
}

TEST(IntfCleanupSm, APassKeepsTheTimeAtWhichItStarted) {
    auto const clock = Zin::make<Zin::VirtualClock>();
    auto const scheduler = Velk::taskSchedulerFactory(clock, std::make_unique<Velk::EveryNth>(0));
    auto const parent = Zin::make<Parent>(clock);
    auto const backlog = intfCleanupBacklogFactory();
    auto const sm = intfCleanupSmFactory({1.0, priority}, parent, backlog, "blue", scheduler);
    backlog->addBacklog("Ethernet1", ipv4, 0.0);
    backlog->addBacklog("Ethernet2", ipv4, 0.5);
    sm->maybeScheduleTask();
    parent->then = [&] { clock->nowIs(20.0); };

    clock->nowIs(1.0);
    scheduler->run();
    EXPECT_THAT(parent->cleanups, ElementsAre("Ethernet1 IPv4 at 1"));
    EXPECT_EQ(sm->task()->currentExpirationTime(), 20.5);
}

TEST(IntfCleanupSm, RequestsOfAPassWaitForTheirOwnTime) {
    Fixture fixture;
    fixture.parent->then = [&] {
        if (fixture.time.now() < 12.0) {
            fixture.request("Ethernet1");
        }
    };
    fixture.request("Ethernet1");
    fixture.time.advance(1.5);
    EXPECT_THAT(fixture.cleanups(), ElementsAre("Ethernet1 IPv4 at 11.5"));
    fixture.time.advance(10.0);
    EXPECT_THAT(fixture.cleanups(), ElementsAre("Ethernet1 IPv4 at 13"));
}

TEST(IntfCleanupSm, GivesWayAfterEveryItemThatItIsToldTo) {
    Fixture fixture(1.5, 1);
    for (char const* const intfId : {"Ethernet1", "Ethernet2", "Ethernet3"}) {
        fixture.request(intfId);
    }
    fixture.carryOutEarly("Ethernet2");
    fixture.traceTexts();

    fixture.time.advance(1.5);
    EXPECT_THAT(fixture.cleanups(),
                ElementsAre("Ethernet1 IPv4 at 11.5", "Ethernet3 IPv4 at 11.5"));
    EXPECT_THAT(
        fixture.traceTexts(),
        ElementsAre(
            "8 IntfCleanupSm::handleTaskRun starting backlog processing at 11.5 with 3 items in "
            "queue",
            "8 IntfCleanupSm::handleTaskRun yielding with 2 items remaining",
            "8 IntfCleanupSm::handleTaskRun starting backlog processing at 11.5 with 2 items in "
            "queue",
            "8 IntfCleanupSm::handleTaskRun yielding with 1 items remaining",
            "8 IntfCleanupSm::handleTaskRun starting backlog processing at 11.5 with 1 items in "
            "queue",
            "8 IntfCleanupSm::handleTaskRun yielding with 0 items remaining",
            "8 IntfCleanupSm::handleTaskRun starting backlog processing at 11.5 with 0 items in "
            "queue",
            "9 IntfCleanupSm::handleTaskRun backlog queue is empty"));
    EXPECT_EQ(fixture.sm->task()->taskWorkCount(), 3u);
    EXPECT_FALSE(fixture.sm->task()->taskScheduled());
}

TEST(IntfCleanupSm, WorkPendingAndWorkDoneAreThoseOfTheLastPassAndOfAll) {
    Fixture fixture(1.5, 2);
    for (char const* const intfId : {"Ethernet1", "Ethernet2", "Ethernet3"}) {
        fixture.request(intfId);
    }
    std::vector<std::uint32_t> pending;
    fixture.parent->then = [&] { pending.push_back(fixture.sm->task()->taskWorkPending()); };

    fixture.time.advance(1.5);
    EXPECT_THAT(pending, ElementsAre(0u, 0u, 1u));
    EXPECT_EQ(fixture.sm->task()->taskWorkPending(), 0u);
    EXPECT_EQ(fixture.sm->task()->taskWorkCount(), 3u);
}

TEST(IntfCleanupSm, ADelayThatIsNotPositiveMakesRequestsDueAtOnce) {
    Fixture fixture(-1.0);
    fixture.request("Ethernet1");
    EXPECT_THAT(fixture.cleanups(), IsEmpty());
    fixture.time.advance(0.0);
    EXPECT_THAT(fixture.cleanups(), ElementsAre("Ethernet1 IPv4 at 10"));
}

TEST(IntfCleanupSm, RoundingNeitherHurriesARequestNorMakesItsTaskSpin) {
    std::mt19937_64 random(1);
    for (int i = 0; i < 2000; ++i) {
        double const scale = std::pow(10.0, static_cast<double>(random() % 16) - 4.0);
        double const delay = std::pow(10.0, static_cast<double>(random() % 8) - 6.0) *
                             std::generate_canonical<double, 53>(random);
        auto const clock = Zin::make<Zin::VirtualClock>();
        auto const scheduler =
            Velk::taskSchedulerFactory(clock, std::make_unique<Velk::EveryNth>(0));
        auto const parent = Zin::make<Parent>(clock);
        auto const backlog = intfCleanupBacklogFactory();
        auto const sm = intfCleanupSmFactory({delay, priority}, parent, backlog, "blue", scheduler);
        double const start = scale * std::generate_canonical<double, 53>(random);
        clock->nowIs(start);
        backlog->addBacklog("Ethernet1", ipv4, start);
        sm->maybeScheduleTask();

        std::uint32_t passes = 0;
        while (scheduler->nextExpiry() < Velk::never) {
            ASSERT_EQ(scheduler->run(), 0u) << "a task runs while the clock stands still";
            clock->nowIs(scheduler->nextExpiry());
            ASSERT_LE(++passes, 3u) << start << " " << delay;
            ASSERT_EQ(scheduler->run(), 1u);
        }
        ASSERT_THAT(parent->cleanups.size(), 1u);
        ASSERT_GE(clock->now() - start, delay);
    }
}

TEST(IntfCleanupSm, AMachineThatGoesDropsWhatIsPending) {
    Fixture fixture;
    fixture.request("Ethernet1");
    fixture.sm = nullptr;
    EXPECT_EQ(fixture.time.scheduler()->nextExpiry(), Velk::never);
    fixture.time.advance(10.0);
    EXPECT_THAT(fixture.cleanups(), IsEmpty());
}

TEST(IntfCleanupSm, AMachineThatGoesInItsOwnPassStops) {
    Fixture fixture;
    fixture.request("Ethernet1");
    fixture.request("Ethernet2");
    fixture.parent->then = [&] {
        fixture.sm->retire();  // as its owner does
        fixture.sm = nullptr;
    };
    fixture.traceTexts();

    fixture.time.advance(10.0);
    EXPECT_THAT(fixture.cleanups(), ElementsAre("Ethernet1 IPv4 at 11.5"));
    EXPECT_THAT(fixture.traceTexts(), ElementsAre(HasSubstr("starting backlog processing")));
    EXPECT_EQ(fixture.time.scheduler()->nextExpiry(), Velk::never);
}

TEST(IntfCleanupSm, AQueuedRequestThatIsNotInTheBacklogFails) {
    Fixture fixture;
    fixture.request("Ethernet1");
    auto const queued = fixture.backlog->removeBacklog("Ethernet1", ipv4);
    EXPECT_EQ(
        fixture.failure(1.5),
        fmt::format("invalid entry in backlog for Ethernet1 af IPv4 ptr null != ptr {}", queued));
    EXPECT_THAT(fixture.cleanups(), IsEmpty());
}

TEST(IntfCleanupSm, AQueuedRequestInWhosePlaceAnotherOneIsPendingFails) {
    Fixture fixture;
    fixture.request("Ethernet1");
    auto const queued = fixture.backlog->removeBacklog("Ethernet1", ipv4);
    fixture.request("Ethernet1");
    auto const pending = fixture.backlog->getBacklog("Ethernet1", ipv4);
    EXPECT_EQ(fixture.failure(1.5),
              fmt::format("invalid entry in backlog for Ethernet1 af IPv4 ptr {} != ptr {}",
                          pending, queued));
}

TEST(IntfCleanupSm, ARequestThatIsProcessedAndStillPendingFails) {
    Fixture fixture;
    fixture.request("Ethernet1", ipv6);
    fixture.backlog->getBacklog("Ethernet1", ipv6)->processedIs(true);
    EXPECT_EQ(fixture.failure(1.5), "invalid backlog entry for Ethernet1 af IPv6");
}

TEST(IntfCleanupSm, ALaterRequestOfAnEarlierTimeFails) {
    Fixture fixture;
    fixture.request("Ethernet1");
    fixture.carryOutEarly("Ethernet1");
    fixture.backlog->addBacklog("Ethernet1", ipv4, 7.5);
    EXPECT_EQ(fixture.failure(1.5),
              "invalid backlog entry for Ethernet1 af IPv4 emplacementTime 7.5 < 10");
}

TEST(IntfCleanupSm, AHoleInTheQueueFails) {
    Fixture fixture;
    fixture.backlog->backlogQueueEnq(nullptr);
    fixture.sm->maybeScheduleTask();
    EXPECT_EQ(fixture.failure(1.5),
              "task not rescheduled even though 1 items remain in the backlog queue");
}

TEST(IntfCleanupSm, DumpsItselfAndItsTask) {
    Fixture fixture(2.75);
    fixture.request("Ethernet1");
    fixture.request("Ethernet2");
    fixture.sm->task()->scheduleTaskDelay(1.0);
    fixture.time.advance(1.0);

    auto const plain = Velk::textDumpContextFactory(false, 10);
    fixture.sm->dumpState(plain, 0);
    EXPECT_EQ(
        plain->text(),
        "IntfCleanupSm VRF=blue with delay 2\n"
        "  task IntfCleanup-VRF-blue priority normal scheduled true work pending 2 work done 0\n");

    fixture.sm->taskDel();
    auto const indented = Velk::textDumpContextFactory(false, 10);
    fixture.sm->dumpState(indented, 4);
    EXPECT_EQ(indented->text(), "    IntfCleanupSm VRF=blue with delay 2\n");
}

}  // namespace
}  // namespace IpLib::IntfAddrVrfTableImpl
