#include "VirtualIp/VirtualIp6Status.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "TestKit/StatusRecorder.h"

namespace VirtualIp {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

VrfIpPair const red{"red", Nimb::Ip6Addr("2001:db8::1")};
VrfIpPair const blue{"blue", Nimb::Ip6Addr("2001:db8::1")};

struct Fixture {
    std::vector<std::string> keys() const {
        std::vector<std::string> texts;
        for (auto const& member : status->virtualIp6()) {
            texts.push_back(member.key.toStrep());
        }
        return texts;
    }

    Zin::Ptr<VirtualIp6Status> const status = virtualIp6StatusFactory();
    TestKit::Events events;
    TestKit::Recorder<VirtualIp6Status> recorder{status, events};
};

TEST(VirtualIp6Status, HoldsTheAddressesOfAllVrfsInOrderOfJoining) {
    Fixture fixture;
    fixture.status->virtualIp6Is(red);
    fixture.status->virtualIp6Is(blue);
    EXPECT_TRUE(fixture.status->virtualIp6Has(red));
    EXPECT_FALSE(fixture.status->virtualIp6Has({"red", Nimb::Ip6Addr("2001:db8::2")}));
    EXPECT_THAT(fixture.keys(), ElementsAre(red.toStrep(), blue.toStrep()));
}

TEST(VirtualIp6Status, TellsTheAddressThatComesOrGoesOnce) {
    Fixture fixture;
    fixture.status->virtualIp6Is(red);
    fixture.status->virtualIp6Is(red);
    fixture.status->virtualIp6Del(blue);
    fixture.status->virtualIp6Del(red);
    fixture.status->virtualIp6Del(red);
    EXPECT_FALSE(fixture.status->virtualIp6Has(red));
    EXPECT_THAT(fixture.events, ElementsAre("virtualIp6 vrfName=red;addr=2001:db8::1 present",
                                            "virtualIp6 vrfName=red;addr=2001:db8::1 absent"));
}

TEST(VirtualIp6Status, RemovingAllTellsEachAddress) {
    Fixture fixture;
    fixture.status->virtualIp6Is(red);
    fixture.status->virtualIp6Is(blue);
    fixture.events.clear();
    fixture.status->virtualIp6DelAll();
    EXPECT_THAT(fixture.keys(), IsEmpty());
    EXPECT_THAT(fixture.events, ElementsAre("virtualIp6 vrfName=red;addr=2001:db8::1 absent",
                                            "virtualIp6 vrfName=blue;addr=2001:db8::1 absent"));
}

TEST(VirtualIp6Status, RemovingAllUnobservedEmptiesTheSet) {
    Fixture fixture;
    fixture.status->virtualIp6Is(red);
    fixture.recorder.notifierIs(nullptr);
    fixture.events.clear();
    fixture.status->virtualIp6DelAll();
    EXPECT_THAT(fixture.keys(), IsEmpty());
    EXPECT_THAT(fixture.events, IsEmpty());
}

}  // namespace
}  // namespace VirtualIp
