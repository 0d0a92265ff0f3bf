// The tests of the status of a VRF's interfaces, which are the same for both families. The test of
// a family instantiates them with the operations of its own (see TestStatusFixture.h): `all`,
// `has`, `get`, `set`, `del` and `delAll`, and `make` for the status of an interface.
#pragma once

#include <gmock/gmock.h>

#include "TestKit/TestStatusFixture.h"
#include "Zin/Errors.h"

namespace TestKit {

template <class Family>
class VrfIntfStatus : public testing::Test {};
TYPED_TEST_SUITE_P(VrfIntfStatus);

TYPED_TEST_P(VrfIntfStatus, HoldsEachStatusUnderItsOwnInterfaceInOrderOfJoining) {
    StatusFixture<TypeParam> fixture;
    auto const second = fixture.make("Ethernet2");
    fixture.set(second);
    fixture.set(fixture.make("Ethernet1"));
    EXPECT_EQ(fixture.get("Ethernet2"), second);
    EXPECT_EQ(fixture.get("Ethernet3"), nullptr);
    EXPECT_FALSE(fixture.has("Ethernet3"));
    EXPECT_THAT(fixture.keys(), testing::ElementsAre("Ethernet2", "Ethernet1"));
    EXPECT_THAT(fixture.events,
                testing::ElementsAre(fixture.present("Ethernet2"), fixture.present("Ethernet1")));
}

TYPED_TEST_P(VrfIntfStatus, ReplacingAStatusIsTold) {
    StatusFixture<TypeParam> fixture;
    auto const first = fixture.make("Ethernet1");
    auto const second = fixture.make("Ethernet1");
    fixture.set(first);
    fixture.events.clear();
    fixture.set(second);
    EXPECT_EQ(fixture.get("Ethernet1"), second);
    EXPECT_EQ(first->referenceCount(), 1u);
    EXPECT_THAT(fixture.events, testing::ElementsAre(fixture.present("Ethernet1")));
}

TYPED_TEST_P(VrfIntfStatus, ANullStatusIsAnErrorAndChangesNothing) {
    StatusFixture<TypeParam> fixture;
    try {
        fixture.set(nullptr);
        FAIL() << "took a null pointer";
    } catch (Zin::NullArgumentError const& error) {
        EXPECT_EQ(error.attribute(), fixture.attribute);
    }
    EXPECT_THAT(fixture.keys(), testing::IsEmpty());
    EXPECT_THAT(fixture.events, testing::IsEmpty());
}

TYPED_TEST_P(VrfIntfStatus, RemovingReturnsWhatWasThereAndTellsOnlyThen) {
    StatusFixture<TypeParam> fixture;
    auto const status = fixture.make("Ethernet1");
    fixture.set(status);
    fixture.events.clear();
    EXPECT_EQ(fixture.del("Ethernet2"), nullptr);
    EXPECT_EQ(fixture.del(status->intfId()), status);
    EXPECT_EQ(fixture.del("Ethernet1"), nullptr);
    EXPECT_THAT(fixture.events, testing::ElementsAre(fixture.absent("Ethernet1")));
}

TYPED_TEST_P(VrfIntfStatus, TheKeyOutlivesTheStatusThatItNames) {
    StatusFixture<TypeParam> fixture;
    fixture.set(fixture.make("an-interface-with-quite-a-long-name"));
    fixture.events.clear();
    fixture.del(fixture.get("an-interface-with-quite-a-long-name")->intfId());
    EXPECT_THAT(fixture.events,
                testing::ElementsAre(fixture.absent("an-interface-with-quite-a-long-name")));
}

TYPED_TEST_P(VrfIntfStatus, RemovingAllTellsEachInterface) {
    StatusFixture<TypeParam> fixture;
    fixture.set(fixture.make("Ethernet2"));
    fixture.set(fixture.make("Ethernet1"));
    fixture.events.clear();
    fixture.delAll();
    EXPECT_THAT(fixture.keys(), testing::IsEmpty());
    EXPECT_THAT(fixture.events,
                testing::ElementsAre(fixture.absent("Ethernet2"), fixture.absent("Ethernet1")));
}

REGISTER_TYPED_TEST_SUITE_P(VrfIntfStatus, HoldsEachStatusUnderItsOwnInterfaceInOrderOfJoining,
                            ReplacingAStatusIsTold, ANullStatusIsAnErrorAndChangesNothing,
                            RemovingReturnsWhatWasThereAndTellsOnlyThen,
                            TheKeyOutlivesTheStatusThatItNames, RemovingAllTellsEachInterface);

}  // namespace TestKit
