#include "Ip6/Status.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "TestKit/StatusRecorder.h"

namespace Ip6 {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Fixture {
    std::vector<std::string> vrfs() const {
        std::vector<std::string> texts;
        for (auto const& member : status->vrfIp6IntfStatus()) {
            texts.push_back(member.key.toStrep());
        }
        return texts;
    }

    Zin::Ptr<Status> const status = statusFactory();
    TestKit::Events events;
    TestKit::Recorder<Status> recorder{status, events};
};

TEST(Ip6Status, HoldsTheStatusOfEachVrfInOrderOfJoining) {
    Fixture fixture;
    auto const red = vrfIp6IntfStatusFactory();
    fixture.status->vrfIp6IntfStatusIs("red", red);
    fixture.status->vrfIp6IntfStatusIs("blue", vrfIp6IntfStatusFactory());
    EXPECT_EQ(fixture.status->vrfIp6IntfStatus("red"), red);
    EXPECT_EQ(fixture.status->vrfIp6IntfStatus("green"), nullptr);
    EXPECT_TRUE(fixture.status->vrfIp6IntfStatusHas("blue"));
    EXPECT_FALSE(fixture.status->vrfIp6IntfStatusHas("green"));
    EXPECT_THAT(fixture.vrfs(), ElementsAre("red", "blue"));
    EXPECT_THAT(fixture.events,
                ElementsAre("vrfIp6IntfStatus red present", "vrfIp6IntfStatus blue present"));
}

TEST(Ip6Status, SettingTheSameStatusTellsNobodyAndAnotherOneReplacesIt) {
    Fixture fixture;
    auto const first = vrfIp6IntfStatusFactory();
    auto const second = vrfIp6IntfStatusFactory();
    fixture.status->vrfIp6IntfStatusIs("red", first);
    fixture.events.clear();
    fixture.status->vrfIp6IntfStatusIs("red", first);
    EXPECT_THAT(fixture.events, IsEmpty());
    fixture.status->vrfIp6IntfStatusIs("red", second);
    EXPECT_EQ(fixture.status->vrfIp6IntfStatus("red"), second);
    EXPECT_THAT(fixture.events, ElementsAre("vrfIp6IntfStatus red present"));
}

TEST(Ip6Status, SettingNullRemoves) {
    Fixture fixture;
    fixture.status->vrfIp6IntfStatusIs("red", vrfIp6IntfStatusFactory());
    fixture.events.clear();
    fixture.status->vrfIp6IntfStatusIs("red", nullptr);
    fixture.status->vrfIp6IntfStatusIs("red", nullptr);
    EXPECT_FALSE(fixture.status->vrfIp6IntfStatusHas("red"));
    EXPECT_THAT(fixture.events, ElementsAre("vrfIp6IntfStatus red absent"));
}

TEST(Ip6Status, RemovingReturnsWhatWasThereAndTellsOnlyThen) {
    Fixture fixture;
    auto const red = vrfIp6IntfStatusFactory();
    fixture.status->vrfIp6IntfStatusIs("red", red);
    fixture.events.clear();
    EXPECT_EQ(fixture.status->vrfIp6IntfStatusDel("blue"), nullptr);
    EXPECT_EQ(fixture.status->vrfIp6IntfStatusDel("red"), red);
    EXPECT_EQ(fixture.status->vrfIp6IntfStatusDel("red"), nullptr);
    EXPECT_THAT(fixture.events, ElementsAre("vrfIp6IntfStatus red absent"));
}

TEST(Ip6Status, RemovingAllTellsEachVrf) {
    Fixture fixture;
    fixture.status->vrfIp6IntfStatusIs("red", vrfIp6IntfStatusFactory());
    fixture.status->vrfIp6IntfStatusIs("blue", vrfIp6IntfStatusFactory());
    fixture.events.clear();
    fixture.status->vrfIp6IntfStatusDelAll();
    EXPECT_THAT(fixture.vrfs(), IsEmpty());
    EXPECT_THAT(fixture.events,
                ElementsAre("vrfIp6IntfStatus red absent", "vrfIp6IntfStatus blue absent"));
}

}  // namespace
}  // namespace Ip6
