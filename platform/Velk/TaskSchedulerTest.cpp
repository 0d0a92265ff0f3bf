#include "Velk/TaskScheduler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <new>
#include <random>
#include <stdexcept>

#include "Pell/Assertion.h"
#include "TestMemory/TestMemory.h"
#include "Velk/TestTasks.h"
#include "Zin/Errors.h"
#include "Zin/Format.h"
#include "Zin/Turn.h"

namespace Velk {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class TaskSchedulers : public TestTasks {};

TEST_F(TaskSchedulers, TellWhenTheNextTaskIsToRun) {
    EXPECT_EQ(scheduler_->nextExpiry(), never);
    add("a")->scheduleTaskDelay(2.0);
    EXPECT_EQ(scheduler_->nextExpiry(), 2.0);
    add("b")->scheduleTaskDelay(1.0);
    EXPECT_EQ(scheduler_->nextExpiry(), 1.0);
    runAt(1.0);
    EXPECT_EQ(scheduler_->nextExpiry(), 2.0);
    runAt(2.0);
    EXPECT_EQ(scheduler_->nextExpiry(), never);
}

TEST_F(TaskSchedulers, HaveNothingDueWhereNothingIsArmed) {
    EXPECT_FALSE(scheduler_->nextExpiry() <= scheduler_->now());
    EXPECT_FALSE(scheduler_->runNext(never));
}

TEST_F(TaskSchedulers, NeverRunATaskThatIsArmedForNever) {
    add("a")->scheduleTaskDelay(never);
    EXPECT_EQ(scheduler_->nextExpiry(), never);
    EXPECT_FALSE(scheduler_->runNext(never));
    EXPECT_TRUE(task("a").taskScheduled());
}

TEST_F(TaskSchedulers, TellForHowLongPollMaySleep) {
    EXPECT_EQ(scheduler_->pollTimeout(), -1);

    add("a")->scheduleTaskDelay(1.5);
    EXPECT_EQ(scheduler_->pollTimeout(), 1500);
    clock_->nowIs(1.4995);
    EXPECT_EQ(scheduler_->pollTimeout(), 1);
    clock_->nowIs(1.5);
    EXPECT_EQ(scheduler_->pollTimeout(), 0);
    clock_->nowIs(9.0);
    EXPECT_EQ(scheduler_->pollTimeout(), 0);

    task("a").scheduleTaskDelay(1e300);
    EXPECT_EQ(scheduler_->pollTimeout(), std::numeric_limits<int>::max());
    task("a").scheduleTaskDelay(never);
    EXPECT_EQ(scheduler_->pollTimeout(), -1);
    destroy("a");
    EXPECT_EQ(scheduler_->pollTimeout(), -1);
}

// Writes down when the next task is to run, each time that it is told.
class TestSleeper final : public TaskScheduler::Notifiee {
public:
    explicit TestSleeper(Zin::Ptr<TaskScheduler const> scheduler) {
        notifierIs(std::move(scheduler));
    }
    std::vector<Zin::Seconds> heard;

private:
    void handleNextExpiry() override { heard.push_back(notifier()->nextExpiry()); }
};

TEST_F(TaskSchedulers, TellTheirObserversWhenTheNextExpiryChanges) {
    TestSleeper sleeper(scheduler_);

    add("a")->scheduleTaskDelay(2.0);
    add("b")->scheduleTaskDelay(3.0);
    EXPECT_THAT(sleeper.heard, ElementsAre(2.0));
    task("b").scheduleTaskDelay(1.0);
    task("a").unschedule();
    EXPECT_THAT(sleeper.heard, ElementsAre(2.0, 1.0));
    runAt(1.0);
    EXPECT_THAT(sleeper.heard, ElementsAre(2.0, 1.0, never));

    task("a").scheduleTaskDelay(1.0);
    destroy("a");
    EXPECT_THAT(sleeper.heard, ElementsAre(2.0, 1.0, never, 2.0, never));
}

TEST_F(TaskSchedulers, RefuseToBeMadeWithoutAClockOrAPolicyAndTasksWithoutAScheduler) {
    auto const refused = [](auto const& make) {
        try {
            make();
        } catch (Zin::NullArgumentError const& error) {
            return error.attribute();
        }
        return std::string("nothing");
    };
    EXPECT_EQ(refused([] { taskSchedulerFactory(nullptr, std::make_unique<EveryNth>(1)); }),
              "clock");
    EXPECT_EQ(refused([&] { taskSchedulerFactory(clock_, nullptr); }), "yieldPolicy");
    EXPECT_EQ(refused([] { timerTaskFactory(nullptr, TaskPriority::normal, "a"); }), "scheduler");
}

TEST_F(TaskSchedulers, GoOnAfterATaskThatFailed) {
    bool fails = true;
    add("a", [&] {
        task("a").scheduleTaskDelay(1.0);
        if (fails) {
            throw std::runtime_error("a failed");
        }
        EXPECT_TRUE(task("a").taskCurrentlyRunning());
    });
    add("b");
    task("a").scheduleTask();
    task("b").scheduleTask();

    EXPECT_THROW(scheduler_->run(), std::runtime_error);
    EXPECT_FALSE(task("a").taskCurrentlyRunning());
    EXPECT_FALSE(Zin::Turn::inProgress());

    fails = false;
    EXPECT_THAT(runAt(0.0), ElementsAre("b"));
    EXPECT_THAT(runAt(1.0), ElementsAre("a"));
    EXPECT_THAT(runAt(2.0), ElementsAre("a"));
}

TEST_F(TaskSchedulers, RunTasksInTheOrderOfTheirExpiry) {
    add("c")->scheduleTaskDelay(3.0);
    add("a")->scheduleTaskDelay(1.0);
    add("b")->scheduleTaskDelay(2.0);
    add("d")->scheduleTaskDelay(4.0);
    EXPECT_THAT(runAt(3.0), ElementsAre("a", "b", "c"));
    EXPECT_THAT(runAt(4.0), ElementsAre("d"));
}

TEST_F(TaskSchedulers, RunTasksOfOneInstantInTheOrderInWhichTheyWereArmed) {
    add("a");
    add("b");
    add("c");
    for (char const* const name : {"c", "a", "b"}) {
        task(name).scheduleTaskDelay(1.0);
    }
    EXPECT_THAT(runAt(1.0), ElementsAre("c", "a", "b"));
}

TEST_F(TaskSchedulers, PutATaskThatIsArmedAnewBehindTheOthersOfItsInstant) {
    for (char const* const name : {"a", "b", "c"}) {
        add(name)->scheduleTaskDelay(1.0);
    }
    task("a").scheduleTaskDelay(1.0);
    EXPECT_THAT(runAt(1.0), ElementsAre("b", "c", "a"));
}

TEST_F(TaskSchedulers, LeaveATaskThatIsArmedMeanwhileToTheNextCall) {
    add("a", [&] { task("a").scheduleTask(); });
    add("b", [&] { task("d").scheduleTaskDelay(-1.0); });
    add("c");
    add("d");
    for (char const* const name : {"a", "b", "c"}) {
        task(name).scheduleTask();
    }
    EXPECT_THAT(runAt(0.0), ElementsAre("a", "b", "c"));
    EXPECT_THAT(runAt(0.0), ElementsAre("a", "d"));
    EXPECT_THAT(runAt(0.0), ElementsAre("a"));
}

TEST_F(TaskSchedulers, RunWhatIsDueAlsoWhereAnEarlierRunTookTime) {
    add("a", [&] {
        clock_->nowIs(5.0);
        task("c").scheduleTask();
    });
    add("b");
    add("c");
    task("a").scheduleTaskDelay(1.0);
    task("b").scheduleTaskDelay(1.0);
    // What has become due since the call began waits for the next one, too.
    add("late")->scheduleTaskDelay(2.0);
    EXPECT_THAT(runAt(1.0), ElementsAre("a", "b"));
    EXPECT_THAT(runAt(5.0), ElementsAre("late", "c"));
}

TEST_F(TaskSchedulers, DoNotRunATaskThatAnotherPutOff) {
    add("a", [&] { task("b").scheduleTaskDelay(1.0); });
    add("b");
    add("c");
    for (char const* const name : {"a", "b", "c"}) {
        task(name).scheduleTask();
    }
    EXPECT_THAT(runAt(0.0), ElementsAre("a", "c"));
    EXPECT_THAT(runAt(1.0), ElementsAre("b"));
}

TEST_F(TaskSchedulers, DoNotRunATaskThatAnotherDestroyed) {
    add("a", [&] { destroy("b"); });
    add("b");
    add("c");
    for (char const* const name : {"a", "b", "c"}) {
        task(name).scheduleTask();
    }
    EXPECT_THAT(runAt(0.0), ElementsAre("a", "c"));
}

TEST_F(TaskSchedulers, OutliveATaskThatIsDestroyedInItsOwnRun) {
    add("a", [&] { destroy("a"); });
    add("b");
    task("a").scheduleTask();
    task("b").scheduleTask();
    EXPECT_THAT(runAt(0.0), ElementsAre("a", "b"));
    EXPECT_FALSE(jobs_.contains("a"));
}

TEST_F(TaskSchedulers, ForgetATaskThatArmsItselfAndIsThenDestroyedInItsRun) {
    add("a", [&] {
        task("a").scheduleTask();
        destroy("a");
    });
    task("a").scheduleTask();
    EXPECT_THAT(runAt(0.0), ElementsAre("a"));
    EXPECT_EQ(scheduler_->nextExpiry(), never);
}

TEST_F(TaskSchedulers, MayGoInTheRunOfTheirLastTask) {
    add("a", [&] {
        jobs_.clear();
        scheduler_ = nullptr;
    });
    add("b");
    task("a").scheduleTask();
    task("b").scheduleTask();

    EXPECT_EQ(scheduler_->run(), 1u);

    EXPECT_THAT(ran_, ElementsAre("a"));
    EXPECT_EQ(clock_->referenceCount(), 1u);
}

TEST_F(TaskSchedulers, ThrowWhatATaskThrowsAndLeaveTheOthersArmed) {
    add("a", [] { throw std::runtime_error("a failed"); });
    add("b");
    add("c");
    for (char const* const name : {"a", "b", "c"}) {
        task(name).scheduleTask();
    }

    EXPECT_THROW(scheduler_->run(), std::runtime_error);

    EXPECT_THAT(ran_, ElementsAre("a"));
    EXPECT_FALSE(task("a").taskScheduled());
    EXPECT_FALSE(task("a").taskCurrentlyRunning());
    EXPECT_TRUE(task("b").taskScheduled());
    EXPECT_THAT(runAt(0.0), ElementsAre("b", "c"));
}

TEST_F(TaskSchedulers, RunEachTaskAsATurnOfItsOwn) {
    std::vector<std::uint64_t> turns;
    add("a", [&] { turns.push_back(Zin::Turn::id()); })->scheduleTask();
    add("b", [&] { turns.push_back(Zin::Turn::id()); })->scheduleTask();
    runAt(0.0);
    ASSERT_EQ(turns.size(), 2u);
    EXPECT_NE(turns[0], 0u);
    EXPECT_NE(turns[0], turns[1]);
}

TEST_F(TaskSchedulers, RunTheirFirstTaskAloneWhereAskedTo) {
    add("a")->scheduleTaskDelay(1.0);
    add("b")->scheduleTaskDelay(2.0);
    EXPECT_FALSE(scheduler_->runNext(0.5));
    EXPECT_TRUE(scheduler_->runNext(2.0));
    EXPECT_THAT(ran_, ElementsAre("a"));
    EXPECT_FALSE(scheduler_->runNext(1.5));
    EXPECT_TRUE(scheduler_->runNext(2.0));
    EXPECT_FALSE(scheduler_->runNext(1e9));
    EXPECT_THAT(ran_, ElementsAre("a", "b"));
}

TEST_F(TaskSchedulers, KnowWhichTaskRuns) {
    add("a", [&] {
        EXPECT_TRUE(task("a").taskCurrentlyRunning());
        EXPECT_FALSE(task("b").taskCurrentlyRunning());
    });
    add("b", [&] {
        EXPECT_TRUE(task("b").taskCurrentlyRunning());
        EXPECT_FALSE(task("a").taskCurrentlyRunning());
    });
    task("a").scheduleTask();
    task("b").scheduleTask();
    EXPECT_THAT(runAt(0.0), ElementsAre("a", "b"));
    EXPECT_FALSE(task("a").taskCurrentlyRunning());
    EXPECT_FALSE(task("b").taskCurrentlyRunning());
}

TEST_F(TaskSchedulers, RefuseToRunATaskWithinATurn) {
    Pell::ThrowOnAssertion const throws;
    auto const withinATurn = [](auto const& step) {
        Zin::Turn turn;
        turn.run(step);
    };
    add("a", [&] { scheduler_->run(); });
    add("b", [&] { scheduler_->runNext(0.0); });
    add("c");
    for (char const* const name : {"a", "b", "c"}) {
        task(name).scheduleTask();
    }

    EXPECT_THROW(withinATurn([this] { scheduler_->run(); }), Pell::AssertionError);
    EXPECT_THROW(withinATurn([this] { scheduler_->runNext(0.0); }), Pell::AssertionError);
    EXPECT_THAT(ran_, ElementsAre());
    // The run of a task is one.
    EXPECT_THROW(scheduler_->run(), Pell::AssertionError);
    EXPECT_THAT(ran_, ElementsAre("a"));
    EXPECT_THROW(scheduler_->run(), Pell::AssertionError);
    EXPECT_THAT(ran_, ElementsAre("a", "b"));
    EXPECT_THAT(runAt(0.0), ElementsAre("c"));
}

TEST_F(TaskSchedulers, LeaveATaskAsItIsWhereMemoryToArmItIsLacking) {
    TimerTask& first = *add("a");
    {
        TestMemory::OneFailure const failure(0);
        EXPECT_THROW(first.scheduleTaskDelay(1.0), std::bad_alloc);
    }
    EXPECT_FALSE(first.taskScheduled());
    EXPECT_EQ(first.currentExpirationTime(), 0.0);

    first.scheduleTaskDelay(1.0);
    {
        TestMemory::OneFailure const failure(0);
        EXPECT_NO_THROW(first.scheduleTaskDelay(2.0)) << "arming anew takes no memory";
    }
    EXPECT_THAT(runAt(1.0), IsEmpty());
    EXPECT_THAT(runAt(2.0), ElementsAre("a"));
}

TEST_F(TaskSchedulers, TimeTasksByTheSystemsClockToo) {
    auto const scheduler =
        taskSchedulerFactory(Zin::make<Zin::SteadyClock>(), std::make_unique<TimeSlice>(0.01));
    auto const timer = timerTaskFactory(scheduler, TaskPriority::normal, "steady");
    Zin::Seconds ranAt = 0.0;
    TestRunner const runner(timer, [&] { ranAt = scheduler->now(); });

    timer->scheduleTaskDelay(0.001);
    while (scheduler->run() == 0) {
    }

    EXPECT_GE(ranAt, timer->currentExpirationTime());
}

// A plain list of what is armed, to compare with.
struct Armed {
    std::string name;
    Zin::Seconds expiry;
};

class TaskSchedulersAtRandom : public TestTasks, public testing::WithParamInterface<unsigned> {};

TEST_P(TaskSchedulersAtRandom, RunWhatAPlainListOfArmedTasksSays) {
    std::mt19937 random(GetParam());
    auto const pick = [&](unsigned below) {
        return std::uniform_int_distribution<unsigned>(0, below - 1)(random);
    };
    std::vector<Armed> armed;  // in the order of arming
    for (unsigned i = 0; i < 10; ++i) {
        add(fmt::format("task{}", i));
    }

    for (int step = 0; step < 2000; ++step) {
        std::string const name = fmt::format("task{}", pick(10));
        Zin::Seconds const now = clock_->now();
        unsigned const what = pick(4);
        if (what < 3) {
            Zin::Seconds const expiry = now + pick(4);
            auto const found = std::ranges::find(armed, name, &Armed::name);
            bool const isLowest = what == 2;
            if (isLowest) {
                task(name).scheduleTaskLowestDelay(expiry - now);
            } else {
                task(name).scheduleTaskDelay(expiry - now);
            }
            if (!isLowest || found == armed.end() || expiry < found->expiry) {
                std::erase_if(armed, [&](Armed const& one) { return one.name == name; });
                armed.push_back({name, expiry});
            }
        } else {
            Zin::Seconds const time = now + pick(3);
            std::vector<Armed> due;
            std::ranges::copy_if(armed, std::back_inserter(due),
                                 [&](Armed const& one) { return one.expiry <= time; });
            std::ranges::stable_sort(due, {}, &Armed::expiry);
            std::erase_if(armed, [&](Armed const& one) { return one.expiry <= time; });
            std::vector<std::string> expected;
            std::ranges::transform(due, std::back_inserter(expected), &Armed::name);
            ASSERT_EQ(runAt(time), expected) << "step " << step;
        }
        auto const first = std::ranges::min_element(armed, {}, &Armed::expiry);
        ASSERT_EQ(scheduler_->nextExpiry(), first == armed.end() ? never : first->expiry);
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, TaskSchedulersAtRandom, testing::Values(1u, 2u, 3u));

}  // namespace
}  // namespace Velk
