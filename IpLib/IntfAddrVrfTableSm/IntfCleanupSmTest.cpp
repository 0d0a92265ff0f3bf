#include "IpLib/IntfAddrVrfTableSm/IntfCleanupSm.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "Zin/Errors.h"
#include "testing/TraceRecorder.h"
#include "testing/VirtualTime.h"

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

struct Bench {
    explicit Bench(Zin::Seconds delay = 1.5, std::uint32_t yieldEvery = 0)
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
    Testing::VirtualTime time;
    IntfCleanupSmConfig const config;
    Zin::Ptr<IntfCleanupBacklog> const backlog = intfCleanupBacklogFactory();
    Zin::Ptr<Parent> const parent = Zin::make<Parent>(time.clock());
    Zin::Ptr<IntfCleanupSm> sm =
        intfCleanupSmFactory(config, parent, backlog, "blue", time.scheduler());
    Testing::TraceRecorder traces{"IntfCleanupSm"};
};

TEST(IntfCleanupSm, ItsTaskBearsTheNameOfTheVrfAndThePriority) {
    Bench bench;
    EXPECT_EQ(bench.sm->task()->taskName(), "IntfCleanup-VRF-blue");
    EXPECT_EQ(bench.sm->task()->taskPriority(), priority);
    EXPECT_EQ(bench.sm->task()->taskScheduler(), bench.time.scheduler());
    EXPECT_FALSE(bench.sm->task()->taskScheduled());
}

TEST(IntfCleanupSm, ATaskOfTheSameArgumentsIsKept) {
    Bench bench;
    auto const task = bench.sm->task();
    EXPECT_EQ(bench.sm->taskIs(bench.time.scheduler(), priority, "IntfCleanup-VRF-blue"), task);
    EXPECT_NE(bench.sm->taskIs(bench.time.scheduler(), priority, "another"), task);
    bench.sm->taskDel();
    EXPECT_EQ(bench.sm->task(), nullptr);
}

TEST(IntfCleanupSm, KnowsWhatItWasBuiltFrom) {
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

TEST(IntfCleanupSm, ARequestIsCarriedOutOnceTheDelayIsOverAndNotBefore) {
    Bench bench;
    bench.request("Ethernet1");

    bench.time.advanceTo(std::nextafter(11.5, 0.0));
    EXPECT_THAT(bench.cleanups(), IsEmpty());
    EXPECT_TRUE(bench.backlog->hasBacklog("Ethernet1", ipv4));

    bench.time.advanceTo(11.5);
    EXPECT_THAT(bench.cleanups(), ElementsAre("Ethernet1 IPv4 at 11.5"));
    EXPECT_FALSE(bench.backlog->hasBacklog("Ethernet1", ipv4));
    EXPECT_TRUE(bench.backlog->backlogQueue().empty());
    EXPECT_FALSE(bench.sm->task()->taskScheduled());
}

TEST(IntfCleanupSm, ARequestIsOutOfTheBacklogWhenItIsCarriedOut) {
    Bench bench;
    bool pending = true;
    bench.parent->then = [&] { pending = bench.backlog->hasBacklog("Ethernet1", ipv4); };
    bench.request("Ethernet1");
    bench.time.advance(1.5);
    EXPECT_FALSE(pending);
}

TEST(IntfCleanupSm, TellsOfAPassThatEmptiesTheQueue) {
    Bench bench;
    bench.request("Ethernet1");
    EXPECT_THAT(
        bench.traceTexts(),
        ElementsAre("8 IntfCleanupSm::maybeScheduleTask task is scheduled to run in 1.5 seconds"));

    bench.time.advance(1.5);
    EXPECT_THAT(bench.traceTexts(),
                ElementsAre("8 IntfCleanupSm::handleTaskRun starting backlog processing at 11.5 "
                            "with 1 items in queue",
                            "9 IntfCleanupSm::handleTaskRun backlog queue is empty"));
}

TEST(IntfCleanupSm, APassAheadOfTimeWaitsForTheRemainder) {
    Bench bench;
    bench.request("Ethernet1");
    bench.sm->task()->scheduleTaskDelay(1.0);
    bench.traceTexts();

    bench.time.advance(1.0);
    EXPECT_THAT(bench.cleanups(), IsEmpty());
    EXPECT_THAT(
        bench.traceTexts(),
        ElementsAre("8 IntfCleanupSm::handleTaskRun starting backlog processing at 11 "
                    "with 1 items in queue",
                    "8 IntfCleanupSm::handleTaskRun queue front cannot be processed for 0.5 "
                    "seconds"));
    EXPECT_EQ(bench.sm->task()->currentExpirationTime(), 11.5);
    EXPECT_EQ(bench.sm->task()->taskWorkPending(), 1u);

    bench.time.advance(0.5);
    EXPECT_THAT(bench.cleanups(), ElementsAre("Ethernet1 IPv4 at 11.5"));
}

TEST(IntfCleanupSm, RequestsAreCarriedOutInTheOrderInWhichTheyWereMade) {
    Bench bench;
    bench.request("Ethernet3");
    bench.request("Ethernet1");
    bench.time.advance(0.25);
    bench.request("Ethernet2");
    bench.time.advance(10.0);
    EXPECT_THAT(bench.cleanups(), ElementsAre("Ethernet3 IPv4 at 11.5", "Ethernet1 IPv4 at 11.5",
                                              "Ethernet2 IPv4 at 11.75"));
}

TEST(IntfCleanupSm, TheFamiliesOfAnInterfaceRunIndependently) {
    Bench bench;
    bench.request("Ethernet1", ipv6);
    bench.time.advance(0.5);
    bench.request("Ethernet1", ipv4);
    bench.time.advance(10.0);
    EXPECT_THAT(bench.cleanups(), ElementsAre("Ethernet1 IPv6 at 11.5", "Ethernet1 IPv4 at 12"));
}

TEST(IntfCleanupSm, ARequestLeavesAnEarlierExpiryAndBringsALaterOneForward) {
    Bench bench;
    bench.sm->task()->scheduleTaskDelay(0.5);
    bench.request("Ethernet1");
    EXPECT_EQ(bench.sm->task()->currentExpirationTime(), 10.5);
    EXPECT_THAT(
        bench.traceTexts(),
        ElementsAre("8 IntfCleanupSm::maybeScheduleTask task is scheduled to run in 0.5 seconds"));

    bench.sm->task()->scheduleTaskDelay(60.0);
    bench.request("Ethernet2");
    EXPECT_EQ(bench.sm->task()->currentExpirationTime(), 11.5);
}

TEST(IntfCleanupSm, WithoutATaskNothingIsScheduled) {
    Bench bench;
    bench.sm->taskDel();
    bench.request("Ethernet1");
    EXPECT_THAT(bench.traceTexts(), IsEmpty());
    EXPECT_EQ(bench.time.scheduler()->nextExpiry(), Velk::never);
}

TEST(IntfCleanupSm, OutsideOfARunOfItsTaskNothingIsProcessed) {
    Bench bench;
    bench.request("Ethernet1");
    bench.traceTexts();
    bench.sm->handleTaskRun();
    EXPECT_THAT(bench.traceTexts(), IsEmpty());
    EXPECT_EQ(bench.backlog->backlogQueue().size(), 1u);
}

TEST(IntfCleanupSm, AMutedMachineDoesNotRun) {
    Bench bench;
    bench.request("Ethernet1");
    bench.sm->hasNotificationActiveIs(false);
    bench.time.advance(10.0);
    EXPECT_THAT(bench.cleanups(), IsEmpty());

    bench.sm->hasNotificationActiveIs(true);
    bench.sm->maybeScheduleTask();
    bench.time.advance(1.5);
    EXPECT_THAT(bench.cleanups(), ElementsAre("Ethernet1 IPv4 at 21.5"));
}

TEST(IntfCleanupSm, WhatWasCarriedOutEarlyIsPassedOverWhenItIsDue) {
    Bench bench;
    bench.request("Ethernet1");
    bench.request("Ethernet2");
    bench.carryOutEarly("Ethernet1");
    EXPECT_EQ(bench.backlog->backlogQueue().size(), 2u);

    bench.time.advance(1.5);
    EXPECT_THAT(bench.cleanups(), ElementsAre("Ethernet2 IPv4 at 11.5"));
    EXPECT_TRUE(bench.backlog->backlogQueue().empty());
    EXPECT_EQ(bench.sm->task()->taskWorkCount(), 2u);
}

TEST(IntfCleanupSm, ALaterRequestIsCarriedOutAtItsOwnTime) {
    Bench bench;
    bench.request("Ethernet1");
    bench.carryOutEarly("Ethernet1");
    bench.time.advance(0.5);
    bench.request("Ethernet1");
    EXPECT_EQ(bench.backlog->backlogQueue().size(), 2u);

    bench.time.advanceTo(std::nextafter(12.0, 0.0));
    EXPECT_THAT(bench.cleanups(), IsEmpty());
    EXPECT_EQ(bench.backlog->backlogQueue().size(), 1u);
    bench.time.advanceTo(12.0);
    EXPECT_THAT(bench.cleanups(), ElementsAre("Ethernet1 IPv4 at 12"));
}

TEST(IntfCleanupSm, ALaterRequestOfTheSameInstantIsCarriedOutOnce) {
    Bench bench;
    bench.request("Ethernet1");
    bench.carryOutEarly("Ethernet1");
    bench.request("Ethernet1");
    bench.time.advance(10.0);
    EXPECT_THAT(bench.cleanups(), ElementsAre("Ethernet1 IPv4 at 11.5"));
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
    Bench bench;
    bench.parent->then = [&] {
        if (bench.time.now() < 12.0) {
            bench.request("Ethernet1");
        }
    };
    bench.request("Ethernet1");
    bench.time.advance(1.5);
    EXPECT_THAT(bench.cleanups(), ElementsAre("Ethernet1 IPv4 at 11.5"));
    bench.time.advance(10.0);
    EXPECT_THAT(bench.cleanups(), ElementsAre("Ethernet1 IPv4 at 13"));
}

TEST(IntfCleanupSm, GivesWayAfterEveryItemThatItIsToldTo) {
    Bench bench(1.5, 1);
    for (char const* const intfId : {"Ethernet1", "Ethernet2", "Ethernet3"}) {
        bench.request(intfId);
    }
    bench.carryOutEarly("Ethernet2");
    bench.traceTexts();

    bench.time.advance(1.5);
    EXPECT_THAT(bench.cleanups(), ElementsAre("Ethernet1 IPv4 at 11.5", "Ethernet3 IPv4 at 11.5"));
    EXPECT_THAT(
        bench.traceTexts(),
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
    EXPECT_EQ(bench.sm->task()->taskWorkCount(), 3u);
    EXPECT_FALSE(bench.sm->task()->taskScheduled());
}

TEST(IntfCleanupSm, WorkPendingAndWorkDoneAreThoseOfTheLastPassAndOfAll) {
    Bench bench(1.5, 2);
    for (char const* const intfId : {"Ethernet1", "Ethernet2", "Ethernet3"}) {
        bench.request(intfId);
    }
    std::vector<std::uint32_t> pending;
    bench.parent->then = [&] { pending.push_back(bench.sm->task()->taskWorkPending()); };

    bench.time.advance(1.5);
    EXPECT_THAT(pending, ElementsAre(0u, 0u, 1u));
    EXPECT_EQ(bench.sm->task()->taskWorkPending(), 0u);
    EXPECT_EQ(bench.sm->task()->taskWorkCount(), 3u);
}

TEST(IntfCleanupSm, ADelayThatIsNotPositiveMakesRequestsDueAtOnce) {
    Bench bench(-1.0);
    bench.request("Ethernet1");
    EXPECT_THAT(bench.cleanups(), IsEmpty());
    bench.time.advance(0.0);
    EXPECT_THAT(bench.cleanups(), ElementsAre("Ethernet1 IPv4 at 10"));
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
    Bench bench;
    bench.request("Ethernet1");
    bench.sm = nullptr;
    EXPECT_EQ(bench.time.scheduler()->nextExpiry(), Velk::never);
    bench.time.advance(10.0);
    EXPECT_THAT(bench.cleanups(), IsEmpty());
}

TEST(IntfCleanupSm, AMachineThatGoesInItsOwnPassStops) {
    Bench bench;
    bench.request("Ethernet1");
    bench.request("Ethernet2");
    bench.parent->then = [&] {
        bench.sm->retire();  // as its owner does
        bench.sm = nullptr;
    };
    bench.traceTexts();

    bench.time.advance(10.0);
    EXPECT_THAT(bench.cleanups(), ElementsAre("Ethernet1 IPv4 at 11.5"));
    EXPECT_THAT(bench.traceTexts(), ElementsAre(HasSubstr("starting backlog processing")));
    EXPECT_EQ(bench.time.scheduler()->nextExpiry(), Velk::never);
}

TEST(IntfCleanupSm, AQueuedRequestThatIsNotInTheBacklogFails) {
    Bench bench;
    bench.request("Ethernet1");
    auto const queued = bench.backlog->removeBacklog("Ethernet1", ipv4);
    EXPECT_EQ(
        bench.failure(1.5),
        fmt::format("invalid entry in backlog for Ethernet1 af IPv4 ptr null != ptr {}", queued));
    EXPECT_THAT(bench.cleanups(), IsEmpty());
}

TEST(IntfCleanupSm, AQueuedRequestInWhosePlaceAnotherOneIsPendingFails) {
    Bench bench;
    bench.request("Ethernet1");
    auto const queued = bench.backlog->removeBacklog("Ethernet1", ipv4);
    bench.request("Ethernet1");
    auto const pending = bench.backlog->getBacklog("Ethernet1", ipv4);
    EXPECT_EQ(bench.failure(1.5),
              fmt::format("invalid entry in backlog for Ethernet1 af IPv4 ptr {} != ptr {}",
                          pending, queued));
}

TEST(IntfCleanupSm, ARequestThatIsProcessedAndStillPendingFails) {
    Bench bench;
    bench.request("Ethernet1", ipv6);
    bench.backlog->getBacklog("Ethernet1", ipv6)->processedIs(true);
    EXPECT_EQ(bench.failure(1.5), "invalid backlog entry for Ethernet1 af IPv6");
}

TEST(IntfCleanupSm, ALaterRequestOfAnEarlierTimeFails) {
    Bench bench;
    bench.request("Ethernet1");
    bench.carryOutEarly("Ethernet1");
    bench.backlog->addBacklog("Ethernet1", ipv4, 7.5);
    EXPECT_EQ(bench.failure(1.5),
              "invalid backlog entry for Ethernet1 af IPv4 emplacementTime 7.5 < 10");
}

TEST(IntfCleanupSm, AHoleInTheQueueFails) {
    Bench bench;
    bench.backlog->backlogQueueEnq(nullptr);
    bench.sm->maybeScheduleTask();
    EXPECT_EQ(bench.failure(1.5),
              "task not rescheduled even though 1 items remain in the backlog queue");
}

TEST(IntfCleanupSm, DumpsItselfAndItsTask) {
    Bench bench(2.75);
    bench.request("Ethernet1");
    bench.request("Ethernet2");
    bench.sm->task()->scheduleTaskDelay(1.0);
    bench.time.advance(1.0);

    auto const plain = Velk::textDumpContextFactory(false, 10);
    bench.sm->dumpState(plain, 0);
    EXPECT_EQ(
        plain->text(),
        "IntfCleanupSm VRF=blue with delay 2\n"
        "  task IntfCleanup-VRF-blue priority normal scheduled true work pending 2 work done 0\n");

    bench.sm->taskDel();
    auto const indented = Velk::textDumpContextFactory(false, 10);
    bench.sm->dumpState(indented, 4);
    EXPECT_EQ(indented->text(), "    IntfCleanupSm VRF=blue with delay 2\n");
}

TEST(IntfCleanupSm, ADelayThatNeverPassesAndANullSchedulerAreRefused) {
    auto const backlog = intfCleanupBacklogFactory();
    auto const scheduler = Velk::taskSchedulerFactory(Zin::make<Zin::VirtualClock>(),
                                                      std::make_unique<Velk::EveryNth>(0));
    for (Zin::Seconds const delay : {std::numeric_limits<Zin::Seconds>::infinity(),
                                     std::numeric_limits<Zin::Seconds>::quiet_NaN()}) {
        EXPECT_THROW(intfCleanupSmFactory({delay, {}}, nullptr, backlog, "blue", scheduler),
                     Zin::RangeError);
    }
    EXPECT_THROW(intfCleanupSmFactory({1.5, {}}, nullptr, backlog, "blue", nullptr),
                 Zin::NullArgumentError);
}

}  // namespace
}  // namespace IpLib::IntfAddrVrfTableImpl
