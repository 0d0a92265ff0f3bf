#include "Ip6/VrfIp6IntfStatus.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "testing/StatusRecorder.h"

namespace Ip6 {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Bench {
    std::vector<std::string> intfIds() const {
        std::vector<std::string> texts;
        for (auto const& member : status->intfStatus()) {
            texts.push_back(member.key.toStrep());
        }
        return texts;
    }

    Zin::Ptr<VrfIp6IntfStatus> const status = vrfIp6IntfStatusFactory();
    Testing::Events events;
    Testing::Recorder<VrfIp6IntfStatus> recorder{status, events};
};

TEST(VrfIp6IntfStatus, HoldsEachStatusUnderItsOwnInterfaceInOrderOfJoining) {
    Bench bench;
    auto const second = intfStatusFactory("Ethernet2");
    bench.status->intfStatusIs(second);
    bench.status->intfStatusIs(intfStatusFactory("Ethernet1"));
    EXPECT_EQ(bench.status->intfStatus("Ethernet2"), second);
    EXPECT_EQ(bench.status->intfStatus("Ethernet3"), nullptr);
    EXPECT_FALSE(bench.status->intfStatusHas("Ethernet3"));
    EXPECT_THAT(bench.intfIds(), ElementsAre("Ethernet2", "Ethernet1"));
    EXPECT_THAT(bench.events,
                ElementsAre("intfStatus Ethernet2 present", "intfStatus Ethernet1 present"));
}

TEST(VrfIp6IntfStatus, ReplacingAStatusIsTold) {
    Bench bench;
    auto const first = intfStatusFactory("Ethernet1");
    auto const second = intfStatusFactory("Ethernet1");
    bench.status->intfStatusIs(first);
    bench.events.clear();
    bench.status->intfStatusIs(second);
    EXPECT_EQ(bench.status->intfStatus("Ethernet1"), second);
    EXPECT_EQ(first->referenceCount(), 1u);
    EXPECT_THAT(bench.events, ElementsAre("intfStatus Ethernet1 present"));
}

TEST(VrfIp6IntfStatus, ANullStatusIsAnErrorAndChangesNothing) {
    Bench bench;
    try {
        bench.status->intfStatusIs(nullptr);
        FAIL() << "took a null pointer";
    } catch (Zin::NullArgumentError const& error) {
        EXPECT_EQ(error.attribute(), "intfStatus");
    }
    EXPECT_THAT(bench.intfIds(), IsEmpty());
    EXPECT_THAT(bench.events, IsEmpty());
}

TEST(VrfIp6IntfStatus, RemovingReturnsWhatWasThereAndTellsOnlyThen) {
    Bench bench;
    auto const status = intfStatusFactory("Ethernet1");
    bench.status->intfStatusIs(status);
    bench.events.clear();
    EXPECT_EQ(bench.status->intfStatusDel("Ethernet2"), nullptr);
    EXPECT_EQ(bench.status->intfStatusDel(status->intfId()), status);
    EXPECT_EQ(bench.status->intfStatusDel("Ethernet1"), nullptr);
    EXPECT_THAT(bench.events, ElementsAre("intfStatus Ethernet1 absent"));
}

TEST(VrfIp6IntfStatus, TheKeyOutlivesTheStatusThatItNames) {
    Bench bench;
    bench.status->intfStatusIs(intfStatusFactory("an-interface-with-quite-a-long-name"));
    bench.events.clear();
    bench.status->intfStatusDel(
        bench.status->intfStatus("an-interface-with-quite-a-long-name")->intfId());
    EXPECT_THAT(bench.events, ElementsAre("intfStatus an-interface-with-quite-a-long-name absent"));
}

TEST(VrfIp6IntfStatus, RemovingAllTellsEachInterface) {
    Bench bench;
    bench.status->intfStatusIs(intfStatusFactory("Ethernet2"));
    bench.status->intfStatusIs(intfStatusFactory("Ethernet1"));
    bench.events.clear();
    bench.status->intfStatusDelAll();
    EXPECT_THAT(bench.intfIds(), IsEmpty());
    EXPECT_THAT(bench.events,
                ElementsAre("intfStatus Ethernet2 absent", "intfStatus Ethernet1 absent"));
}

}  // namespace
}  // namespace Ip6
