#include "load/Truth.h"

#include <gtest/gtest.h>

namespace Load {

namespace {

Interval between(int began, int ended) {
    return {Time(std::chrono::milliseconds(began)), Time(std::chrono::milliseconds(ended))};
}

constexpr Truth::Allowed there{.there = true, .notThere = false};
constexpr Truth::Allowed notThere{.there = false, .notThere = true};
constexpr Truth::Allowed either{.there = true, .notThere = true};

TEST(Truth, WhatWasNeverChangedIsNotThere) { EXPECT_EQ(Truth().during(between(1, 2)), notThere); }

TEST(Truth, AChangeHoldsOnceItIsAnsweredAndNotBeforeItWasAskedFor) {
    Truth truth;
    truth.add(between(10, 20), true);
    truth.add(between(30, 40), false);

    EXPECT_EQ(truth.during(between(1, 9)), notThere);
    EXPECT_EQ(truth.during(between(21, 29)), there);
    EXPECT_EQ(truth.during(between(41, 99)), notThere);
}

TEST(Truth, WhileAChangeGoesOnEitherIsAllowed) {
    Truth truth;
    truth.add(between(10, 20), true);

    EXPECT_EQ(truth.during(between(1, 11)), either);
    EXPECT_EQ(truth.during(between(12, 13)), either);
    EXPECT_EQ(truth.during(between(19, 30)), either);
    EXPECT_EQ(truth.during(between(1, 30)), either);
}

TEST(Truth, WhatIsAnsweredInTheSameMomentMayHaveBeenBeforeOrAfter) {
    Truth truth;
    truth.add(between(10, 20), true);

    EXPECT_EQ(truth.during(between(1, 10)), either);
    EXPECT_EQ(truth.during(between(20, 30)), either);
}

TEST(Truth, AChangeThatCameAndWentDuringTheQuestionMayHaveBeenSeen) {
    Truth truth;
    truth.add(between(10, 11), true);
    truth.add(between(12, 13), false);

    EXPECT_EQ(truth.during(between(5, 20)), either);
    EXPECT_EQ(truth.during(between(14, 20)), notThere);
}

TEST(Truth, AChangeWhoseAnswerNeverCameMayHappenAtAnyTime) {
    Truth truth;
    truth.add(between(10, 11), true);
    truth.add({between(20, 20).began, Time::max()}, false);

    EXPECT_EQ(truth.during(between(15, 16)), there);
    EXPECT_EQ(truth.during(between(500, 501)), either);
}

}  // namespace

}  // namespace Load
