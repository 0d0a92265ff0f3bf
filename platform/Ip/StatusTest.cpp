#include "Ip/Status.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "TestKit/StatusRecorder.h"

namespace Ip {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Fixture {
    std::vector<std::string> vrfs() const {
        std::vector<std::string> texts;
        for (auto const& member : status->vrfIpIntfStatus()) {
            texts.push_back(member.key.toStrep());
        }
        return texts;
    }

    Zin::Ptr<Status> const status = statusFactory();
    TestKit::Events events;
    TestKit::Recorder<Status> recorder{status, events};
};

TEST(IpStatus, HoldsTheStatusOfEachVrfInOrderOfJoining) {
    Fixture fixture;
    auto const red = vrfIpIntfStatusFactory();
    fixture.status->vrfIpIntfStatusIs("red", red);
    fixture.status->vrfIpIntfStatusIs("blue", vrfIpIntfStatusFactory());
    EXPECT_EQ(fixture.status->vrfIpIntfStatus("red"), red);
    EXPECT_EQ(fixture.status->vrfIpIntfStatus("green"), nullptr);
    EXPECT_TRUE(fixture.status->vrfIpIntfStatusHas("blue"));
    EXPECT_FALSE(fixture.status->vrfIpIntfStatusHas("green"));
    EXPECT_THAT(fixture.vrfs(), ElementsAre("red", "blue"));
    EXPECT_THAT(fixture.events,
                ElementsAre("vrfIpIntfStatus red present", "vrfIpIntfStatus blue present"));
}

TEST(IpStatus, SettingTheSameStatusTellsNobodyAndAnotherOneReplacesIt) {
    Fixture fixture;
    auto const first = vrfIpIntfStatusFactory();
    auto const second = vrfIpIntfStatusFactory();
    fixture.status->vrfIpIntfStatusIs("red", first);
    fixture.events.clear();
    fixture.status->vrfIpIntfStatusIs("red", first);
    EXPECT_THAT(fixture.events, IsEmpty());
    fixture.status->vrfIpIntfStatusIs("red", second);
    EXPECT_EQ(fixture.status->vrfIpIntfStatus("red"), second);
    EXPECT_THAT(fixture.events, ElementsAre("vrfIpIntfStatus red present"));
}

TEST(IpStatus, SettingNullRemoves) {
    Fixture fixture;
    fixture.status->vrfIpIntfStatusIs("red", vrfIpIntfStatusFactory());
    fixture.events.clear();
    fixture.status->vrfIpIntfStatusIs("red", nullptr);
    fixture.status->vrfIpIntfStatusIs("red", nullptr);
    EXPECT_FALSE(fixture.status->vrfIpIntfStatusHas("red"));
    EXPECT_THAT(fixture.events, ElementsAre("vrfIpIntfStatus red absent"));
}

TEST(IpStatus, RemovingReturnsWhatWasThereAndTellsOnlyThen) {
    Fixture fixture;
    auto const red = vrfIpIntfStatusFactory();
    fixture.status->vrfIpIntfStatusIs("red", red);
    fixture.events.clear();
    EXPECT_EQ(fixture.status->vrfIpIntfStatusDel("blue"), nullptr);
    EXPECT_EQ(fixture.status->vrfIpIntfStatusDel("red"), red);
    EXPECT_EQ(fixture.status->vrfIpIntfStatusDel("red"), nullptr);
    EXPECT_THAT(fixture.events, ElementsAre("vrfIpIntfStatus red absent"));
}

TEST(IpStatus, RemovingAllTellsEachVrf) {
    Fixture fixture;
    fixture.status->vrfIpIntfStatusIs("red", vrfIpIntfStatusFactory());
    fixture.status->vrfIpIntfStatusIs("blue", vrfIpIntfStatusFactory());
    fixture.events.clear();
    fixture.status->vrfIpIntfStatusDelAll();
    EXPECT_THAT(fixture.vrfs(), IsEmpty());
    EXPECT_THAT(fixture.events,
                ElementsAre("vrfIpIntfStatus red absent", "vrfIpIntfStatus blue absent"));
}

}  // namespace
}  // namespace Ip
