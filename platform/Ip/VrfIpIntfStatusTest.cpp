#include "Ip/VrfIpIntfStatus.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "TestKit/StatusRecorder.h"

namespace Ip {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Fixture {
    std::vector<std::string> intfIds() const {
        std::vector<std::string> texts;
        for (auto const& member : status->ipIntfStatus()) {
            texts.push_back(member.key.toStrep());
        }
        return texts;
    }

    Zin::Ptr<VrfIpIntfStatus> const status = vrfIpIntfStatusFactory();
    TestKit::Events events;
    TestKit::Recorder<VrfIpIntfStatus> recorder{status, events};
};

TEST(VrfIpIntfStatus, HoldsEachStatusUnderItsOwnInterfaceInOrderOfJoining) {
    Fixture fixture;
    auto const second = ipIntfStatusFactory("Ethernet2");
    fixture.status->ipIntfStatusIs(second);
    fixture.status->ipIntfStatusIs(ipIntfStatusFactory("Ethernet1"));
    EXPECT_EQ(fixture.status->ipIntfStatus("Ethernet2"), second);
    EXPECT_EQ(fixture.status->ipIntfStatus("Ethernet3"), nullptr);
    EXPECT_FALSE(fixture.status->ipIntfStatusHas("Ethernet3"));
    EXPECT_THAT(fixture.intfIds(), ElementsAre("Ethernet2", "Ethernet1"));
    EXPECT_THAT(fixture.events,
                ElementsAre("ipIntfStatus Ethernet2 present", "ipIntfStatus Ethernet1 present"));
}

TEST(VrfIpIntfStatus, ReplacingAStatusIsTold) {
    Fixture fixture;
    auto const first = ipIntfStatusFactory("Ethernet1");
    auto const second = ipIntfStatusFactory("Ethernet1");
    fixture.status->ipIntfStatusIs(first);
    fixture.events.clear();
    fixture.status->ipIntfStatusIs(second);
    EXPECT_EQ(fixture.status->ipIntfStatus("Ethernet1"), second);
    EXPECT_EQ(first->referenceCount(), 1u);
    EXPECT_THAT(fixture.events, ElementsAre("ipIntfStatus Ethernet1 present"));
}

TEST(VrfIpIntfStatus, ANullStatusIsAnErrorAndChangesNothing) {
    Fixture fixture;
    try {
        fixture.status->ipIntfStatusIs(nullptr);
        FAIL() << "took a null pointer";
    } catch (Zin::NullArgumentError const& error) {
        EXPECT_EQ(error.attribute(), "ipIntfStatus");
    }
    EXPECT_THAT(fixture.intfIds(), IsEmpty());
    EXPECT_THAT(fixture.events, IsEmpty());
}

TEST(VrfIpIntfStatus, RemovingReturnsWhatWasThereAndTellsOnlyThen) {
    Fixture fixture;
    auto const status = ipIntfStatusFactory("Ethernet1");
    fixture.status->ipIntfStatusIs(status);
    fixture.events.clear();
    EXPECT_EQ(fixture.status->ipIntfStatusDel("Ethernet2"), nullptr);
    EXPECT_EQ(fixture.status->ipIntfStatusDel(status->intfId()), status);
    EXPECT_EQ(fixture.status->ipIntfStatusDel("Ethernet1"), nullptr);
    EXPECT_THAT(fixture.events, ElementsAre("ipIntfStatus Ethernet1 absent"));
}

TEST(VrfIpIntfStatus, TheKeyOutlivesTheStatusThatItNames) {
    Fixture fixture;
    fixture.status->ipIntfStatusIs(ipIntfStatusFactory("an-interface-with-quite-a-long-name"));
    fixture.events.clear();
    fixture.status->ipIntfStatusDel(
        fixture.status->ipIntfStatus("an-interface-with-quite-a-long-name")->intfId());
    EXPECT_THAT(fixture.events,
                ElementsAre("ipIntfStatus an-interface-with-quite-a-long-name absent"));
}

TEST(VrfIpIntfStatus, RemovingAllTellsEachInterface) {
    Fixture fixture;
    fixture.status->ipIntfStatusIs(ipIntfStatusFactory("Ethernet2"));
    fixture.status->ipIntfStatusIs(ipIntfStatusFactory("Ethernet1"));
    fixture.events.clear();
    fixture.status->ipIntfStatusDelAll();
    EXPECT_THAT(fixture.intfIds(), IsEmpty());
    EXPECT_THAT(fixture.events,
                ElementsAre("ipIntfStatus Ethernet2 absent", "ipIntfStatus Ethernet1 absent"));
}

}  // namespace
}  // namespace Ip
