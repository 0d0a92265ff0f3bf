#include "Ip6/VrfIp6IntfStatus.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "TestKit/StatusRecorder.h"

namespace Ip6 {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Fixture {
    std::vector<std::string> intfIds() const {
        std::vector<std::string> texts;
        for (auto const& member : status->intfStatus()) {
            texts.push_back(member.key.toStrep());
        }
        return texts;
    }

    Zin::Ptr<VrfIp6IntfStatus> const status = vrfIp6IntfStatusFactory();
    TestKit::Events events;
    TestKit::Recorder<VrfIp6IntfStatus> recorder{status, events};
};

TEST(VrfIp6IntfStatus, HoldsEachStatusUnderItsOwnInterfaceInOrderOfJoining) {
    Fixture fixture;
    auto const second = intfStatusFactory("Ethernet2");
    fixture.status->intfStatusIs(second);
    fixture.status->intfStatusIs(intfStatusFactory("Ethernet1"));
    EXPECT_EQ(fixture.status->intfStatus("Ethernet2"), second);
    EXPECT_EQ(fixture.status->intfStatus("Ethernet3"), nullptr);
    EXPECT_FALSE(fixture.status->intfStatusHas("Ethernet3"));
    EXPECT_THAT(fixture.intfIds(), ElementsAre("Ethernet2", "Ethernet1"));
    EXPECT_THAT(fixture.events,
                ElementsAre("intfStatus Ethernet2 present", "intfStatus Ethernet1 present"));
}

TEST(VrfIp6IntfStatus, ReplacingAStatusIsTold) {
    Fixture fixture;
    auto const first = intfStatusFactory("Ethernet1");
    auto const second = intfStatusFactory("Ethernet1");
    fixture.status->intfStatusIs(first);
    fixture.events.clear();
    fixture.status->intfStatusIs(second);
    EXPECT_EQ(fixture.status->intfStatus("Ethernet1"), second);
    EXPECT_EQ(first->referenceCount(), 1u);
    EXPECT_THAT(fixture.events, ElementsAre("intfStatus Ethernet1 present"));
}

TEST(VrfIp6IntfStatus, ANullStatusIsAnErrorAndChangesNothing) {
    Fixture fixture;
    try {
        fixture.status->intfStatusIs(nullptr);
        FAIL() << "took a null pointer";
    } catch (Zin::NullArgumentError const& error) {
        EXPECT_EQ(error.attribute(), "intfStatus");
    }
    EXPECT_THAT(fixture.intfIds(), IsEmpty());
    EXPECT_THAT(fixture.events, IsEmpty());
}

TEST(VrfIp6IntfStatus, RemovingReturnsWhatWasThereAndTellsOnlyThen) {
    Fixture fixture;
    auto const status = intfStatusFactory("Ethernet1");
    fixture.status->intfStatusIs(status);
    fixture.events.clear();
    EXPECT_EQ(fixture.status->intfStatusDel("Ethernet2"), nullptr);
    EXPECT_EQ(fixture.status->intfStatusDel(status->intfId()), status);
    EXPECT_EQ(fixture.status->intfStatusDel("Ethernet1"), nullptr);
    EXPECT_THAT(fixture.events, ElementsAre("intfStatus Ethernet1 absent"));
}

TEST(VrfIp6IntfStatus, TheKeyOutlivesTheStatusThatItNames) {
    Fixture fixture;
    fixture.status->intfStatusIs(intfStatusFactory("an-interface-with-quite-a-long-name"));
    fixture.events.clear();
    fixture.status->intfStatusDel(
        fixture.status->intfStatus("an-interface-with-quite-a-long-name")->intfId());
    EXPECT_THAT(fixture.events,
                ElementsAre("intfStatus an-interface-with-quite-a-long-name absent"));
}

TEST(VrfIp6IntfStatus, RemovingAllTellsEachInterface) {
    Fixture fixture;
    fixture.status->intfStatusIs(intfStatusFactory("Ethernet2"));
    fixture.status->intfStatusIs(intfStatusFactory("Ethernet1"));
    fixture.events.clear();
    fixture.status->intfStatusDelAll();
    EXPECT_THAT(fixture.intfIds(), IsEmpty());
    EXPECT_THAT(fixture.events,
                ElementsAre("intfStatus Ethernet2 absent", "intfStatus Ethernet1 absent"));
}

}  // namespace
}  // namespace Ip6
