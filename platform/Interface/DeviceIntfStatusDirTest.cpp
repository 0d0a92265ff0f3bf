#include "Interface/DeviceIntfStatusDir.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "TestKit/StatusRecorder.h"

namespace Interface {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Zin::Ptr<DeviceIntfStatus> device(char const* intfId) {
    return deviceIntfStatusFactory(intfId, intfId, 1, OperStatus::up, true);
}

struct Fixture {
    std::vector<std::string> intfIds() const {
        std::vector<std::string> texts;
        for (auto const& member : dir->deviceIntfStatus()) {
            texts.push_back(member.key.toStrep());
        }
        return texts;
    }

    Zin::Ptr<DeviceIntfStatusDir> const dir = deviceIntfStatusDirFactory();
    TestKit::Events events;
    TestKit::Recorder<DeviceIntfStatusDir> recorder{dir, events};
};

TEST(DeviceIntfStatusDir, AnInterfaceIsPresentWhileItIsAMember) {
    Fixture fixture;
    auto const second = device("Ethernet2");
    fixture.dir->deviceIntfStatusIs(second);
    fixture.dir->deviceIntfStatusIs(device("Ethernet1"));
    EXPECT_EQ(fixture.dir->deviceIntfStatus("Ethernet2"), second);
    EXPECT_EQ(fixture.dir->deviceIntfStatus("Ethernet3"), nullptr);
    EXPECT_FALSE(fixture.dir->deviceIntfStatusHas("Ethernet3"));
    EXPECT_THAT(fixture.intfIds(), ElementsAre("Ethernet2", "Ethernet1"));
    EXPECT_EQ(fixture.dir->deviceIntfStatusDel("Ethernet3"), nullptr);
    EXPECT_EQ(fixture.dir->deviceIntfStatusDel("Ethernet2"), second);
    EXPECT_FALSE(fixture.dir->deviceIntfStatusHas("Ethernet2"));
    EXPECT_THAT(fixture.events, ElementsAre("deviceIntfStatus Ethernet2 present",
                                            "deviceIntfStatus Ethernet1 present",
                                            "deviceIntfStatus Ethernet2 absent"));
}

TEST(DeviceIntfStatusDir, ADeviceThatIsReportedAgainIsToldAgain) {
    Fixture fixture;
    auto const again = device("Ethernet1");
    fixture.dir->deviceIntfStatusIs(device("Ethernet1"));
    fixture.events.clear();
    fixture.dir->deviceIntfStatusIs(again);
    EXPECT_EQ(fixture.dir->deviceIntfStatus("Ethernet1"), again);
    EXPECT_THAT(fixture.events, ElementsAre("deviceIntfStatus Ethernet1 present"));
}

TEST(DeviceIntfStatusDir, ANullStatusIsAnErrorAndChangesNothing) {
    Fixture fixture;
    try {
        fixture.dir->deviceIntfStatusIs(nullptr);
        FAIL() << "took a null pointer";
    } catch (Zin::NullArgumentError const& error) {
        EXPECT_EQ(error.attribute(), "deviceIntfStatus");
    }
    EXPECT_THAT(fixture.intfIds(), IsEmpty());
    EXPECT_THAT(fixture.events, IsEmpty());
}

TEST(DeviceIntfStatusDir, RemovingAllTellsEachInterface) {
    Fixture fixture;
    fixture.dir->deviceIntfStatusIs(device("Ethernet2"));
    fixture.dir->deviceIntfStatusIs(device("Ethernet1"));
    fixture.events.clear();
    fixture.dir->deviceIntfStatusDelAll();
    EXPECT_THAT(fixture.intfIds(), IsEmpty());
    EXPECT_THAT(fixture.events, ElementsAre("deviceIntfStatus Ethernet2 absent",
                                            "deviceIntfStatus Ethernet1 absent"));
}

}  // namespace
}  // namespace Interface
