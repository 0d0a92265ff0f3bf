#include "Interface/KniIntfStatusHelper.h"

#include <gmock/gmock.h>

#include "TestKit/StatusRecorder.h"

namespace Interface {
namespace {

using testing::ElementsAre;

TEST(KniIntfStatusHelper, EachVrfHasOneDirectoryFromItsFirstMention) {
    auto const helper = kniIntfStatusHelperFactory();
    auto const red = helper->acquire("red", "reader");
    ASSERT_NE(red, nullptr);
    EXPECT_EQ(helper->deviceIntfStatusDir("red"), red);
    EXPECT_EQ(helper->acquire("red", "another reader"), red);
    EXPECT_NE(helper->deviceIntfStatusDir("blue"), red);
}

TEST(KniIntfStatusHelper, ReadersHearOfWhatTheWriterReports) {
    auto const helper = kniIntfStatusHelperFactory();
    TestKit::Events events;
    TestKit::Recorder<DeviceIntfStatusDir> const recorder(helper->acquire("red", "reader"), events);
    helper->deviceIntfStatusDir("red")->deviceIntfStatusIs(
        deviceIntfStatusFactory("Ethernet1", "et1", 1, OperStatus::up, true));
    EXPECT_THAT(events, ElementsAre("deviceIntfStatus Ethernet1 present"));
}

TEST(KniIntfStatusHelper, CountsTheUsesOfEachRequesterAndVrf) {
    auto const helper = kniIntfStatusHelperFactory();
    helper->acquire("red", "reader");
    helper->acquire("red", "reader");
    helper->acquire("red", "another reader");
    helper->deviceIntfStatusDir("blue");
    EXPECT_EQ(helper->uses("red", "reader"), 2u);
    EXPECT_EQ(helper->uses("red", "another reader"), 1u);
    EXPECT_EQ(helper->uses("blue", "reader"), 0u);

    helper->release("red", "reader");
    EXPECT_EQ(helper->uses("red", "reader"), 1u);
    EXPECT_EQ(helper->uses("red", "another reader"), 1u);
}

TEST(KniIntfStatusHelper, ReleasingWhatIsNotInUseIsIgnored) {
    auto const helper = kniIntfStatusHelperFactory();
    helper->release("red", "reader");
    helper->acquire("red", "reader");
    helper->release("blue", "reader");
    helper->release("red", "another reader");
    EXPECT_EQ(helper->uses("red", "reader"), 1u);
    helper->release("red", "reader");
    helper->release("red", "reader");
    EXPECT_EQ(helper->uses("red", "reader"), 0u);
    helper->acquire("red", "reader");
    EXPECT_EQ(helper->uses("red", "reader"), 1u);
}

TEST(KniIntfStatusHelper, ADirectoryOutlivesItsUses) {
    auto const helper = kniIntfStatusHelperFactory();
    auto const dir = helper->deviceIntfStatusDir("red");
    dir->deviceIntfStatusIs(deviceIntfStatusFactory("Ethernet1", "et1", 1, OperStatus::up, true));
    helper->acquire("red", "reader");
    helper->release("red", "reader");
    EXPECT_EQ(helper->acquire("red", "reader"), dir);
    EXPECT_TRUE(dir->deviceIntfStatusHas("Ethernet1"));
}

}  // namespace
}  // namespace Interface
