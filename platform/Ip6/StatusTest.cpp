#include "Ip6/Status.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "testing/StatusRecorder.h"

namespace Ip6 {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Bench {
    std::vector<std::string> vrfs() const {
        std::vector<std::string> texts;
        for (auto const& member : status->vrfIp6IntfStatus()) {
            texts.push_back(member.key.toStrep());
        }
        return texts;
    }

    Zin::Ptr<Status> const status = statusFactory();
    Testing::Events events;
    Testing::Recorder<Status> recorder{status, events};
};

TEST(Ip6Status, HoldsTheStatusOfEachVrfInOrderOfJoining) {
    Bench bench;
    auto const red = vrfIp6IntfStatusFactory();
    bench.status->vrfIp6IntfStatusIs("red", red);
    bench.status->vrfIp6IntfStatusIs("blue", vrfIp6IntfStatusFactory());
    EXPECT_EQ(bench.status->vrfIp6IntfStatus("red"), red);
    EXPECT_EQ(bench.status->vrfIp6IntfStatus("green"), nullptr);
    EXPECT_TRUE(bench.status->vrfIp6IntfStatusHas("blue"));
    EXPECT_FALSE(bench.status->vrfIp6IntfStatusHas("green"));
    EXPECT_THAT(bench.vrfs(), ElementsAre("red", "blue"));
    EXPECT_THAT(bench.events,
                ElementsAre("vrfIp6IntfStatus red present", "vrfIp6IntfStatus blue present"));
}

TEST(Ip6Status, SettingTheSameStatusTellsNobodyAndAnotherOneReplacesIt) {
    Bench bench;
    auto const first = vrfIp6IntfStatusFactory();
    auto const second = vrfIp6IntfStatusFactory();
    bench.status->vrfIp6IntfStatusIs("red", first);
    bench.events.clear();
    bench.status->vrfIp6IntfStatusIs("red", first);
    EXPECT_THAT(bench.events, IsEmpty());
    bench.status->vrfIp6IntfStatusIs("red", second);
    EXPECT_EQ(bench.status->vrfIp6IntfStatus("red"), second);
    EXPECT_THAT(bench.events, ElementsAre("vrfIp6IntfStatus red present"));
}

TEST(Ip6Status, SettingNullRemoves) {
    Bench bench;
    bench.status->vrfIp6IntfStatusIs("red", vrfIp6IntfStatusFactory());
    bench.events.clear();
    bench.status->vrfIp6IntfStatusIs("red", nullptr);
    bench.status->vrfIp6IntfStatusIs("red", nullptr);
    EXPECT_FALSE(bench.status->vrfIp6IntfStatusHas("red"));
    EXPECT_THAT(bench.events, ElementsAre("vrfIp6IntfStatus red absent"));
}

TEST(Ip6Status, RemovingReturnsWhatWasThereAndTellsOnlyThen) {
    Bench bench;
    auto const red = vrfIp6IntfStatusFactory();
    bench.status->vrfIp6IntfStatusIs("red", red);
    bench.events.clear();
    EXPECT_EQ(bench.status->vrfIp6IntfStatusDel("blue"), nullptr);
    EXPECT_EQ(bench.status->vrfIp6IntfStatusDel("red"), red);
    EXPECT_EQ(bench.status->vrfIp6IntfStatusDel("red"), nullptr);
    EXPECT_THAT(bench.events, ElementsAre("vrfIp6IntfStatus red absent"));
}

TEST(Ip6Status, RemovingAllTellsEachVrf) {
    Bench bench;
    bench.status->vrfIp6IntfStatusIs("red", vrfIp6IntfStatusFactory());
    bench.status->vrfIp6IntfStatusIs("blue", vrfIp6IntfStatusFactory());
    bench.events.clear();
    bench.status->vrfIp6IntfStatusDelAll();
    EXPECT_THAT(bench.vrfs(), IsEmpty());
    EXPECT_THAT(bench.events,
                ElementsAre("vrfIp6IntfStatus red absent", "vrfIp6IntfStatus blue absent"));
}

}  // namespace
}  // namespace Ip6
