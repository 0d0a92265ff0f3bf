#include "Velk/YieldPolicy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace Velk {
namespace {

using testing::ElementsAre;

std::vector<bool> answers(YieldPolicy& policy, int questions) {
    std::vector<bool> answers;
    for (int i = 0; i < questions; ++i) {
        answers.push_back(policy.shouldYield());
    }
    return answers;
}

TEST(EveryNth, SaysYesToEveryNthQuestionOfARun) {
    EveryNth policy(3);
    policy.handleRunStarts();
    EXPECT_THAT(answers(policy, 7), ElementsAre(false, false, true, false, false, true, false));
}

TEST(EveryNth, CountsAnewInEachRun) {
    EveryNth policy(3);
    policy.handleRunStarts();
    EXPECT_THAT(answers(policy, 2), ElementsAre(false, false));
    policy.handleRunStarts();
    EXPECT_THAT(answers(policy, 3), ElementsAre(false, false, true));
}

TEST(EveryNth, NeverYieldsWithZero) {
    EveryNth policy(0);
    policy.handleRunStarts();
    EXPECT_THAT(answers(policy, 3), ElementsAre(false, false, false));
}

TEST(TimeSlice, IsUsedUpAtOnceIfItIsZero) {
    TimeSlice policy(0.0);
    policy.handleRunStarts();
    EXPECT_TRUE(policy.shouldYield());
}

TEST(TimeSlice, LastsAsLongAsItIs) {
    TimeSlice policy(3600.0);
    policy.handleRunStarts();
    EXPECT_FALSE(policy.shouldYield());
}

TEST(TimeSlice, IsUsedUpByTheTimeThatPassesAndWholeAgainInTheNextRun) {
    TimeSlice policy(0.01);
    policy.handleRunStarts();
    while (!policy.shouldYield()) {
    }
    EXPECT_TRUE(policy.shouldYield());

    // On a busy machine a slice may pass between two statements, but not every time.
    bool wholeAgain = false;
    for (int attempt = 0; attempt < 100 && !wholeAgain; ++attempt) {
        policy.handleRunStarts();
        wholeAgain = !policy.shouldYield();
    }
    EXPECT_TRUE(wholeAgain);
}

}  // namespace
}  // namespace Velk
