#include "Zin/LinkQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <vector>

#include "TestMemory/TestMemory.h"
#include "Zin/TestLast.h"

namespace Zin {
namespace {

using testing::ElementsAre;

template <class Queue>
std::vector<int> members(Queue& queue) {
    std::vector<int> found;
    for (int const member : queue) {
        found.push_back(member);
    }
    return found;
}

std::unique_ptr<LinkQueue<int>> queueOf(std::initializer_list<int> numbers) {
    auto queue = std::make_unique<LinkQueue<int>>();
    for (int const number : numbers) {
        queue->enq(number);
    }
    return queue;
}

TEST(LinkQueue, GivesBackInTheOrderOfEntering) {
    auto const queue = queueOf({3, 1, 2});
    EXPECT_EQ(queue->size(), 3u);
    EXPECT_EQ(queue->front(), 3);
    EXPECT_EQ(queue->back(), 2);
    EXPECT_EQ(queue->deq(), 3);
    EXPECT_EQ(queue->deq(), 1);
    EXPECT_EQ(queue->deq(), 2);
    EXPECT_TRUE(queue->empty());
}

TEST(LinkQueue, GivesADefaultWhereThereIsNothing) {
    LinkQueue<std::unique_ptr<int>> queue;
    EXPECT_EQ(queue.deq(), nullptr);
    LinkQueue<std::shared_ptr<int>> const shared;
    EXPECT_EQ(shared.front(), nullptr);
    EXPECT_EQ(shared.back(), nullptr);
}

TEST(LinkQueue, ReplacesAndTakesByPosition) {
    auto const queue = queueOf({10, 11, 12, 13});
    EXPECT_TRUE(queue->replace(2, 22));
    EXPECT_EQ(queue->take(0u), 10);
    EXPECT_FALSE(queue->replace(3, 0));
    EXPECT_EQ(queue->take(3u), 0);
    EXPECT_THAT(members(*queue), ElementsAre(11, 22, 13));
    EXPECT_THAT(members(std::as_const(*queue)), ElementsAre(11, 22, 13));
}

TEST(LinkQueue, AWalkSurvivesWhatEntersAndLeaves) {
    auto const queue = queueOf({1, 2, 3});
    std::vector<int> walked;
    for (int const member : *queue) {
        walked.push_back(member);
        queue->deq();
        if (member <= 2) {
            queue->enq(member + 10);
        }
    }
    EXPECT_THAT(walked, ElementsAre(1, 2, 3, 11, 12));
    EXPECT_TRUE(queue->empty());
}

TEST(LinkQueue, TakingThroughAWalkLeavesItInTheGap) {
    auto const queue = queueOf({1, 2, 3, 4, 5});
    for (auto walk = queue->begin(); walk != queue->end(); ++walk) {
        if (*walk % 2 == 1) {
            EXPECT_EQ(queue->take(walk) % 2, 1);
        }
    }
    EXPECT_THAT(members(*queue), ElementsAre(2, 4));
}

TEST(LinkQueue, ClearingOrDestroyingTheQueuePutsWalksAtTheirEnd) {
    auto queue = queueOf({1, 2});
    auto walk = queue->begin();
    queue->clear();
    EXPECT_TRUE(walk == std::default_sentinel);
    queue->enq(3);
    EXPECT_FALSE(walk == std::default_sentinel);
    queue.reset();
    EXPECT_TRUE(walk == std::default_sentinel);
}

TEST(LinkQueueDeathTest, GoingOnPastTheEndStopsTheProcess) {
    auto const queue = queueOf({1});
    auto walk = queue->begin();
    ++walk;
    EXPECT_DEATH(++walk, "past its end");
}

TEST(LinkQueue, AMemberThatGoesMayChangeOrDestroyTheQueue) {
    auto queue = std::make_unique<LinkQueue<Last>>();
    std::vector<std::uint32_t> sizes;
    queue->enq(last([&] { queue->enq(Last()); }));
    queue->enq(last([&] { sizes.push_back(queue->size()); }));
    queue->clear();
    EXPECT_THAT(sizes, ElementsAre(1));
    EXPECT_EQ(queue->size(), 1u);

    queue->enq(last([&] { queue.reset(); }));
    auto* const itself = queue.get();
    itself->clear();
    EXPECT_EQ(queue, nullptr);
}

TEST(LinkQueue, IsLeftAsItWasByAnAllocationThatFails) {
    std::size_t const before = TestMemory::blocks;
    {
        LinkQueue<int> queue;
        queue.enq(1);
        {
            TestMemory::OneFailure const failure(0);
            EXPECT_THROW(queue.enq(2), std::bad_alloc);
        }
        EXPECT_THAT(members(queue), ElementsAre(1));
        queue.enq(3);
        EXPECT_THAT(members(queue), ElementsAre(1, 3));
    }
    EXPECT_EQ(TestMemory::blocks, before);
}

TEST(LinkQueue, AMemberIsOutOfTheQueueBeforeItGoes) {
    LinkQueue<Last> queue;
    std::vector<std::uint32_t> sizes;
    auto const noteSize = [&] { sizes.push_back(queue.size()); };
    for (int count = 0; count < 5; ++count) {
        queue.enq(last(noteSize));
    }
    queue.deq();
    queue.take(1u);
    queue.take(queue.begin());
    queue.replace(0, Last());
    queue.clear();
    EXPECT_THAT(sizes, ElementsAre(4, 3, 2, 2, 0));
}

}  // namespace
}  // namespace Zin
