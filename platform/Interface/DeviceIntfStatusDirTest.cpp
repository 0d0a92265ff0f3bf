#include "Interface/DeviceIntfStatusDir.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "testing/StatusRecorder.h"

namespace Interface {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Zin::Ptr<DeviceIntfStatus> device(char const* intfId) {
    return deviceIntfStatusFactory(intfId, intfId, 1, OperStatus::up, true);
}

struct Bench {
    std::vector<std::string> intfIds() const {
        std::vector<std::string> texts;
        for (auto const& member : dir->deviceIntfStatus()) {
            texts.push_back(member.key.toStrep());
        }
        return texts;
    }

    Zin::Ptr<DeviceIntfStatusDir> const dir = deviceIntfStatusDirFactory();
    Testing::Events events;
    Testing::Recorder<DeviceIntfStatusDir> recorder{dir, events};
};

TEST(DeviceIntfStatusDir, AnInterfaceIsPresentWhileItIsAMember) {
    Bench bench;
    auto const second = device("Ethernet2");
    bench.dir->deviceIntfStatusIs(second);
    bench.dir->deviceIntfStatusIs(device("Ethernet1"));
    EXPECT_EQ(bench.dir->deviceIntfStatus("Ethernet2"), second);
    EXPECT_EQ(bench.dir->deviceIntfStatus("Ethernet3"), nullptr);
    EXPECT_FALSE(bench.dir->deviceIntfStatusHas("Ethernet3"));
    EXPECT_THAT(bench.intfIds(), ElementsAre("Ethernet2", "Ethernet1"));
    EXPECT_EQ(bench.dir->deviceIntfStatusDel("Ethernet3"), nullptr);
    EXPECT_EQ(bench.dir->deviceIntfStatusDel("Ethernet2"), second);
    EXPECT_FALSE(bench.dir->deviceIntfStatusHas("Ethernet2"));
    EXPECT_THAT(bench.events, ElementsAre("deviceIntfStatus Ethernet2 present",
                                          "deviceIntfStatus Ethernet1 present",
                                          "deviceIntfStatus Ethernet2 absent"));
}

TEST(DeviceIntfStatusDir, ADeviceThatIsReportedAgainIsToldAgain) {
    Bench bench;
    auto const again = device("Ethernet1");
    bench.dir->deviceIntfStatusIs(device("Ethernet1"));
    bench.events.clear();
    bench.dir->deviceIntfStatusIs(again);
    EXPECT_EQ(bench.dir->deviceIntfStatus("Ethernet1"), again);
    EXPECT_THAT(bench.events, ElementsAre("deviceIntfStatus Ethernet1 present"));
}

TEST(DeviceIntfStatusDir, ANullStatusIsAnErrorAndChangesNothing) {
    Bench bench;
    try {
        bench.dir->deviceIntfStatusIs(nullptr);
        FAIL() << "took a null pointer";
    } catch (Zin::NullArgumentError const& error) {
        EXPECT_EQ(error.attribute(), "deviceIntfStatus");
    }
    EXPECT_THAT(bench.intfIds(), IsEmpty());
    EXPECT_THAT(bench.events, IsEmpty());
}

TEST(DeviceIntfStatusDir, RemovingAllTellsEachInterface) {
    Bench bench;
    bench.dir->deviceIntfStatusIs(device("Ethernet2"));
    bench.dir->deviceIntfStatusIs(device("Ethernet1"));
    bench.events.clear();
    bench.dir->deviceIntfStatusDelAll();
    EXPECT_THAT(bench.intfIds(), IsEmpty());
    EXPECT_THAT(bench.events, ElementsAre("deviceIntfStatus Ethernet2 absent",
                                          "deviceIntfStatus Ethernet1 absent"));
}

}  // namespace
}  // namespace Interface
