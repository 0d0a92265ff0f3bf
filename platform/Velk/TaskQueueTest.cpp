#include "Velk/TaskQueue.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <map>
#include <random>
#include <utility>

#include "TestMemory/TestMemory.h"

namespace Velk {
namespace {

struct TestTask {
    std::uint32_t queuePlace_ = 0;
};

TEST(TaskQueue, HasTheFirstByExpiryThenByArmingInFrontWhateverComesAndGoes) {
    std::mt19937 random(2018);
    std::array<TestTask, 200> tasks;
    std::map<std::pair<Zin::Seconds, std::uint64_t>, std::size_t> naive;
    std::array<std::pair<Zin::Seconds, std::uint64_t>, 200> armed{};  // last
    TaskQueue<TestTask> queue;
    for (std::uint64_t arming = 1; arming < 20'000; ++arming) {
        std::size_t const task = random() % tasks.size();
        ASSERT_EQ(tasks[task].queuePlace_ != 0, naive.contains(armed[task]));
        if (tasks[task].queuePlace_ != 0) {
            naive.erase(armed[task]);
        }
        if (random() % (arming / 5'000 % 2 == 0 ? 4 : 2) != 0) {
            armed[task] = {static_cast<double>(random() % 50), arming};
            naive.emplace(armed[task], task);
            queue.put({armed[task].first, arming, &tasks[task]});
        } else if (tasks[task].queuePlace_ != 0) {
            queue.remove(tasks[task]);
            ASSERT_EQ(tasks[task].queuePlace_, 0U);
        }
        ASSERT_EQ(queue.empty(), naive.empty());
        if (!naive.empty()) {
            ASSERT_EQ(queue.first().task, &tasks[naive.begin()->second]);
            ASSERT_EQ(queue.first().arming, naive.begin()->first.second);
        }
    }
}

TEST(TaskQueue, IsLeftAsItWasWhereMemoryIsLacking) {
    std::array<TestTask, 100> tasks;
    TaskQueue<TestTask> queue;
    int lacking = 0;
    for (std::size_t task = 0; task < tasks.size(); ++task) {
        try {
            TestMemory::OneFailure const failure(0);
            queue.put({-static_cast<double>(task), task, &tasks[task]});
        } catch (std::bad_alloc const&) {
            ++lacking;
            ASSERT_EQ(tasks[task].queuePlace_, 0U);
            ASSERT_TRUE(queue.empty() || queue.first().task == &tasks[task - 1]);
            queue.put({-static_cast<double>(task), task, &tasks[task]});
        }
        ASSERT_EQ(queue.first().task, &tasks[task]);
    }
    EXPECT_GT(lacking, 3);
}

}  // namespace
}  // namespace Velk
