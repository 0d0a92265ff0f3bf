#include "load/Replica.h"

#include <gmock/gmock.h>

namespace Load {

namespace {

using Json = nlohmann::json;
using testing::ElementsAre;

Json event(std::uint64_t seq, Json fields) {
    fields["seq"] = seq;
    fields["agent"] = "a";
    return fields;
}
Json begin(std::uint64_t seq, std::string const& how) { return event(seq, {{"begin", how}}); }
Json anew(std::uint64_t seq, std::uint64_t lost) {
    return event(seq, {{"begin", "anew"}, {"why", "w"}, {"lost", lost}});
}
Json complete(std::uint64_t seq) { return event(seq, {{"complete", true}}); }
Json row(std::uint64_t seq, std::string const& address, bool present) {
    return event(seq, {{"vrf", "red"},
                       {"interface", nullptr},
                       {"address", address},
                       {"prefixLength", 32},
                       {"present", present}});
}

// One with 10.0.0.1, at 7.
struct ReplicaTest : testing::Test {
    ReplicaTest() {
        replica.apply(begin(7, "table"));
        replica.apply(row(7, "10.0.0.1", true));
        replica.apply(complete(7));
    }
    bool contradicts(Json const& one) {
        try {
            replica.apply(one);
            return false;
        } catch (Contradiction const&) {
            return true;
        }
    }

    Replica replica;
};

TEST_F(ReplicaTest, FollowsChangesOverABrokenConnection) {
    replica.apply(row(8, "10.0.0.2", true));
    replica.apply(begin(8, "resumed"));
    replica.apply(row(9, "10.0.0.1", false));

    EXPECT_THAT(replica.rows(), ElementsAre("red 10.0.0.2/32 -"));
    EXPECT_EQ(replica.resumptions(), 1U);
}

TEST_F(ReplicaTest, AMissedEventIsNoticed) { EXPECT_TRUE(contradicts(row(9, "10.0.0.2", true))); }

TEST_F(ReplicaTest, ANumberThatComesTwiceIsNoticed) {
    replica.apply(row(8, "10.0.0.2", true));
    EXPECT_TRUE(contradicts(row(8, "10.0.0.3", true)));
}

TEST_F(ReplicaTest, ARowThatComesTwiceIsNoticed) {
    EXPECT_TRUE(contradicts(row(8, "10.0.0.1", true)));
}

TEST_F(ReplicaTest, ARowThatGoesAndWasNotThereIsNoticed) {
    EXPECT_TRUE(contradicts(row(8, "10.0.0.2", false)));
}

TEST_F(ReplicaTest, AResumptionElsewhereIsNoticed) {
    EXPECT_TRUE(contradicts(begin(6, "resumed")));
    EXPECT_TRUE(contradicts(begin(8, "resumed")));
}

TEST_F(ReplicaTest, BeginningAgainWithoutReasonIsNoticed) {
    EXPECT_TRUE(contradicts(begin(7, "table")));
    EXPECT_TRUE(contradicts(begin(7, "changes")));
    EXPECT_TRUE(contradicts(anew(7 + Replica::kept, Replica::kept)));
}

TEST_F(ReplicaTest, BeginsAnewWhereTooMuchWasMissed) {
    replica.apply(anew(8 + Replica::kept, Replica::kept + 1));
    EXPECT_FALSE(replica.isWhole());
    replica.apply(row(8 + Replica::kept, "10.0.0.3", true));
    replica.apply(complete(8 + Replica::kept));

    EXPECT_TRUE(replica.isWhole());
    EXPECT_THAT(replica.rows(), ElementsAre("red 10.0.0.3/32 -"));
    EXPECT_EQ(replica.anew(), 1U);
}

TEST_F(ReplicaTest, AnotherAgentIsNoticed) {
    auto other = row(8, "10.0.0.2", true);
    other["agent"] = "b";
    EXPECT_TRUE(contradicts(other));
}

TEST(Replica, WhatWasWalkedWhenTheConnectionBrokeIsVoid) {
    Replica replica;
    replica.apply(begin(7, "table"));
    replica.apply(row(7, "10.0.0.1", true));
    EXPECT_FALSE(replica.isWhole());
    replica.apply(begin(8, "table"));
    replica.apply(row(8, "10.0.0.2", true));
    replica.apply(complete(8));

    EXPECT_THAT(replica.rows(), ElementsAre("red 10.0.0.2/32 -"));
}

TEST(Replica, WhileItWalksOnlyChangesBehindTheWalkAreTold) {
    Replica replica;
    replica.apply(begin(7, "table"));
    replica.apply(row(7, "10.0.0.1", true));
    replica.apply(row(10, "10.0.0.1", false));
    EXPECT_THROW(replica.apply(row(9, "10.0.0.3", true)), Contradiction);
    EXPECT_THROW(replica.apply(complete(9)), Contradiction);
    replica.apply(complete(12));
    replica.apply(row(13, "10.0.0.2", true));

    EXPECT_THAT(replica.rows(), ElementsAre("red 10.0.0.2/32 -"));
}

}  // namespace

}  // namespace Load
