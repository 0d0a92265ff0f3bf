#include "Ip/VrfIpIntfStatus.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "testing/StatusRecorder.h"

namespace Ip {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Bench {
    std::vector<std::string> intfIds() const {
        std::vector<std::string> texts;
        for (auto const& member : status->ipIntfStatus()) {
            texts.push_back(member.key.toStrep());
        }
        return texts;
    }

    Zin::Ptr<VrfIpIntfStatus> const status = vrfIpIntfStatusFactory();
    Testing::Events events;
    Testing::Recorder<VrfIpIntfStatus> recorder{status, events};
};

TEST(VrfIpIntfStatus, HoldsEachStatusUnderItsOwnInterfaceInOrderOfJoining) {
    Bench bench;
    auto const second = ipIntfStatusFactory("Ethernet2");
    bench.status->ipIntfStatusIs(second);
    bench.status->ipIntfStatusIs(ipIntfStatusFactory("Ethernet1"));
    EXPECT_EQ(bench.status->ipIntfStatus("Ethernet2"), second);
    EXPECT_EQ(bench.status->ipIntfStatus("Ethernet3"), nullptr);
    EXPECT_FALSE(bench.status->ipIntfStatusHas("Ethernet3"));
    EXPECT_THAT(bench.intfIds(), ElementsAre("Ethernet2", "Ethernet1"));
    EXPECT_THAT(bench.events,
                ElementsAre("ipIntfStatus Ethernet2 present", "ipIntfStatus Ethernet1 present"));
}

TEST(VrfIpIntfStatus, ReplacingAStatusIsTold) {
    Bench bench;
    auto const first = ipIntfStatusFactory("Ethernet1");
    auto const second = ipIntfStatusFactory("Ethernet1");
    bench.status->ipIntfStatusIs(first);
    bench.events.clear();
    bench.status->ipIntfStatusIs(second);
    EXPECT_EQ(bench.status->ipIntfStatus("Ethernet1"), second);
    EXPECT_EQ(first->referenceCount(), 1u);
    EXPECT_THAT(bench.events, ElementsAre("ipIntfStatus Ethernet1 present"));
}

TEST(VrfIpIntfStatus, ANullStatusIsAnErrorAndChangesNothing) {
    Bench bench;
    try {
        bench.status->ipIntfStatusIs(nullptr);
        FAIL() << "took a null pointer";
    } catch (Zin::NullArgumentError const& error) {
        EXPECT_EQ(error.attribute(), "ipIntfStatus");
    }
    EXPECT_THAT(bench.intfIds(), IsEmpty());
    EXPECT_THAT(bench.events, IsEmpty());
}

TEST(VrfIpIntfStatus, RemovingReturnsWhatWasThereAndTellsOnlyThen) {
    Bench bench;
    auto const status = ipIntfStatusFactory("Ethernet1");
    bench.status->ipIntfStatusIs(status);
    bench.events.clear();
    EXPECT_EQ(bench.status->ipIntfStatusDel("Ethernet2"), nullptr);
    EXPECT_EQ(bench.status->ipIntfStatusDel(status->intfId()), status);
    EXPECT_EQ(bench.status->ipIntfStatusDel("Ethernet1"), nullptr);
    EXPECT_THAT(bench.events, ElementsAre("ipIntfStatus Ethernet1 absent"));
}

TEST(VrfIpIntfStatus, TheKeyOutlivesTheStatusThatItNames) {
    Bench bench;
    bench.status->ipIntfStatusIs(ipIntfStatusFactory("an-interface-with-quite-a-long-name"));
    bench.events.clear();
    bench.status->ipIntfStatusDel(
        bench.status->ipIntfStatus("an-interface-with-quite-a-long-name")->intfId());
    EXPECT_THAT(bench.events,
                ElementsAre("ipIntfStatus an-interface-with-quite-a-long-name absent"));
}

TEST(VrfIpIntfStatus, RemovingAllTellsEachInterface) {
    Bench bench;
    bench.status->ipIntfStatusIs(ipIntfStatusFactory("Ethernet2"));
    bench.status->ipIntfStatusIs(ipIntfStatusFactory("Ethernet1"));
    bench.events.clear();
    bench.status->ipIntfStatusDelAll();
    EXPECT_THAT(bench.intfIds(), IsEmpty());
    EXPECT_THAT(bench.events,
                ElementsAre("ipIntfStatus Ethernet2 absent", "ipIntfStatus Ethernet1 absent"));
}

}  // namespace
}  // namespace Ip
