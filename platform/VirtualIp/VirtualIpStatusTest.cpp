#include "VirtualIp/VirtualIpStatus.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "TestKit/StatusRecorder.h"

namespace VirtualIp {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

VrfIpWithMaskPair const red{"red", Nimb::IpAddrWithMask("10.0.0.1/24")};
VrfIpWithMaskPair const blue{"blue", Nimb::IpAddrWithMask("10.0.0.1/24")};

struct Fixture {
    std::vector<std::string> keys() const {
        std::vector<std::string> texts;
        for (auto const& member : status->virtualIp()) {
            texts.push_back(member.key.toStrep());
        }
        return texts;
    }

    Zin::Ptr<VirtualIpStatus> const status = virtualIpStatusFactory();
    TestKit::Events events;
    TestKit::Recorder<VirtualIpStatus> recorder{status, events};
};

TEST(VirtualIpStatus, HoldsTheAddressesOfAllVrfsInOrderOfJoining) {
    Fixture fixture;
    fixture.status->virtualIpIs(red);
    fixture.status->virtualIpIs(blue);
    EXPECT_TRUE(fixture.status->virtualIpHas(red));
    EXPECT_FALSE(fixture.status->virtualIpHas({"red", Nimb::IpAddrWithMask("10.0.0.1/25")}));
    EXPECT_THAT(fixture.keys(), ElementsAre(red.toStrep(), blue.toStrep()));
}

TEST(VirtualIpStatus, TellsTheAddressThatComesOrGoesOnce) {
    Fixture fixture;
    fixture.status->virtualIpIs(red);
    fixture.status->virtualIpIs(red);
    fixture.status->virtualIpDel(blue);
    fixture.status->virtualIpDel(red);
    fixture.status->virtualIpDel(red);
    EXPECT_FALSE(fixture.status->virtualIpHas(red));
    EXPECT_THAT(fixture.events,
                ElementsAre("virtualIp vrfName=red;addrWithMask=10.0.0.1/24 present",
                            "virtualIp vrfName=red;addrWithMask=10.0.0.1/24 absent"));
}

TEST(VirtualIpStatus, RemovingAllTellsEachAddress) {
    Fixture fixture;
    fixture.status->virtualIpIs(red);
    fixture.status->virtualIpIs(blue);
    fixture.events.clear();
    fixture.status->virtualIpDelAll();
    EXPECT_THAT(fixture.keys(), IsEmpty());
    EXPECT_THAT(fixture.events,
                ElementsAre("virtualIp vrfName=red;addrWithMask=10.0.0.1/24 absent",
                            "virtualIp vrfName=blue;addrWithMask=10.0.0.1/24 absent"));
}

TEST(VirtualIpStatus, RemovingAllUnobservedEmptiesTheSet) {
    Fixture fixture;
    fixture.status->virtualIpIs(red);
    fixture.recorder.notifierIs(nullptr);
    fixture.events.clear();
    fixture.status->virtualIpDelAll();
    EXPECT_THAT(fixture.keys(), IsEmpty());
    EXPECT_THAT(fixture.events, IsEmpty());
}

}  // namespace
}  // namespace VirtualIp
