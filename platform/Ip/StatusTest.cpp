#include "Ip/Status.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "testing/StatusRecorder.h"

namespace Ip {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Bench {
    std::vector<std::string> vrfs() const {
        std::vector<std::string> texts;
        for (auto const& member : status->vrfIpIntfStatus()) {
            texts.push_back(member.key.toStrep());
        }
        return texts;
    }

    Zin::Ptr<Status> const status = statusFactory();
    Testing::Events events;
    Testing::Recorder<Status> recorder{status, events};
};

TEST(IpStatus, HoldsTheStatusOfEachVrfInOrderOfJoining) {
    Bench bench;
    auto const red = vrfIpIntfStatusFactory();
    bench.status->vrfIpIntfStatusIs("red", red);
    bench.status->vrfIpIntfStatusIs("blue", vrfIpIntfStatusFactory());
    EXPECT_EQ(bench.status->vrfIpIntfStatus("red"), red);
    EXPECT_EQ(bench.status->vrfIpIntfStatus("green"), nullptr);
    EXPECT_TRUE(bench.status->vrfIpIntfStatusHas("blue"));
    EXPECT_FALSE(bench.status->vrfIpIntfStatusHas("green"));
    EXPECT_THAT(bench.vrfs(), ElementsAre("red", "blue"));
    EXPECT_THAT(bench.events,
                ElementsAre("vrfIpIntfStatus red present", "vrfIpIntfStatus blue present"));
}

TEST(IpStatus, SettingTheSameStatusTellsNobodyAndAnotherOneReplacesIt) {
    Bench bench;
    auto const first = vrfIpIntfStatusFactory();
    auto const second = vrfIpIntfStatusFactory();
    bench.status->vrfIpIntfStatusIs("red", first);
    bench.events.clear();
    bench.status->vrfIpIntfStatusIs("red", first);
    EXPECT_THAT(bench.events, IsEmpty());
    bench.status->vrfIpIntfStatusIs("red", second);
    EXPECT_EQ(bench.status->vrfIpIntfStatus("red"), second);
    EXPECT_THAT(bench.events, ElementsAre("vrfIpIntfStatus red present"));
}

TEST(IpStatus, SettingNullRemoves) {
    Bench bench;
    bench.status->vrfIpIntfStatusIs("red", vrfIpIntfStatusFactory());
    bench.events.clear();
    bench.status->vrfIpIntfStatusIs("red", nullptr);
    bench.status->vrfIpIntfStatusIs("red", nullptr);
    EXPECT_FALSE(bench.status->vrfIpIntfStatusHas("red"));
    EXPECT_THAT(bench.events, ElementsAre("vrfIpIntfStatus red absent"));
}

TEST(IpStatus, RemovingReturnsWhatWasThereAndTellsOnlyThen) {
    Bench bench;
    auto const red = vrfIpIntfStatusFactory();
    bench.status->vrfIpIntfStatusIs("red", red);
    bench.events.clear();
    EXPECT_EQ(bench.status->vrfIpIntfStatusDel("blue"), nullptr);
    EXPECT_EQ(bench.status->vrfIpIntfStatusDel("red"), red);
    EXPECT_EQ(bench.status->vrfIpIntfStatusDel("red"), nullptr);
    EXPECT_THAT(bench.events, ElementsAre("vrfIpIntfStatus red absent"));
}

TEST(IpStatus, RemovingAllTellsEachVrf) {
    Bench bench;
    bench.status->vrfIpIntfStatusIs("red", vrfIpIntfStatusFactory());
    bench.status->vrfIpIntfStatusIs("blue", vrfIpIntfStatusFactory());
    bench.events.clear();
    bench.status->vrfIpIntfStatusDelAll();
    EXPECT_THAT(bench.vrfs(), IsEmpty());
    EXPECT_THAT(bench.events,
                ElementsAre("vrfIpIntfStatus red absent", "vrfIpIntfStatus blue absent"));
}

}  // namespace
}  // namespace Ip
