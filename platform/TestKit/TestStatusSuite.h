// The tests of the status of all VRFs, which are the same for both families. The test of a family
// instantiates them with the operations of its own (see TestStatusFixture.h): `all`, `has`, `get`,
// `set`, `del` and `delAll`, and `make` for the status of a VRF.
#pragma once

#include <gmock/gmock.h>

#include "TestKit/TestStatusFixture.h"

namespace TestKit {

template <class Family>
class StatusOfVrfs : public testing::Test {};
TYPED_TEST_SUITE_P(StatusOfVrfs);

TYPED_TEST_P(StatusOfVrfs, HoldsEachInOrderOfJoining) {
    StatusFixture<TypeParam> fixture;
    auto const red = fixture.make();
    fixture.set("red", red);
    fixture.set("blue", fixture.make());
    EXPECT_EQ(fixture.get("red"), red);
    EXPECT_EQ(fixture.get("green"), nullptr);
    EXPECT_TRUE(fixture.has("blue"));
    EXPECT_FALSE(fixture.has("green"));
    EXPECT_THAT(fixture.keys(), testing::ElementsAre("red", "blue"));
    EXPECT_THAT(fixture.events,
                testing::ElementsAre(fixture.present("red"), fixture.present("blue")));
}

TYPED_TEST_P(StatusOfVrfs, SettingTheSameStatusTellsNobodyAndAnotherOneReplacesIt) {
    StatusFixture<TypeParam> fixture;
    auto const first = fixture.make();
    auto const second = fixture.make();
    fixture.set("red", first);
    fixture.events.clear();
    fixture.set("red", first);
    EXPECT_THAT(fixture.events, testing::IsEmpty());
    fixture.set("red", second);
    EXPECT_EQ(fixture.get("red"), second);
    EXPECT_THAT(fixture.events, testing::ElementsAre(fixture.present("red")));
}

TYPED_TEST_P(StatusOfVrfs, SettingNullRemoves) {
    StatusFixture<TypeParam> fixture;
    fixture.set("red", fixture.make());
    fixture.events.clear();
    fixture.set("red", nullptr);
    fixture.set("red", nullptr);
    EXPECT_FALSE(fixture.has("red"));
    EXPECT_THAT(fixture.events, testing::ElementsAre(fixture.absent("red")));
}

TYPED_TEST_P(StatusOfVrfs, RemovingReturnsWhatWasThereAndTellsOnlyThen) {
    StatusFixture<TypeParam> fixture;
    auto const red = fixture.make();
    fixture.set("red", red);
    fixture.events.clear();
    EXPECT_EQ(fixture.del("blue"), nullptr);
    EXPECT_EQ(fixture.del("red"), red);
    EXPECT_EQ(fixture.del("red"), nullptr);
    EXPECT_THAT(fixture.events, testing::ElementsAre(fixture.absent("red")));
}

TYPED_TEST_P(StatusOfVrfs, RemovingAllTellsEachVrf) {
    StatusFixture<TypeParam> fixture;
    fixture.set("red", fixture.make());
    fixture.set("blue", fixture.make());
    fixture.events.clear();
    fixture.delAll();
    EXPECT_THAT(fixture.keys(), testing::IsEmpty());
    EXPECT_THAT(fixture.events,
                testing::ElementsAre(fixture.absent("red"), fixture.absent("blue")));
}

REGISTER_TYPED_TEST_SUITE_P(StatusOfVrfs, HoldsEachInOrderOfJoining,
                            SettingTheSameStatusTellsNobodyAndAnotherOneReplacesIt,
                            SettingNullRemoves, RemovingReturnsWhatWasThereAndTellsOnlyThen,
                            RemovingAllTellsEachVrf);

}  // namespace TestKit
