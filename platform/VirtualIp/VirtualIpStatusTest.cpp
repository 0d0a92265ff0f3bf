#include "VirtualIp/VirtualIpStatus.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "testing/StatusRecorder.h"

namespace VirtualIp {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

VrfIpWithMaskPair const red{"red", Nimb::IpAddrWithMask("10.0.0.1/24")};
VrfIpWithMaskPair const blue{"blue", Nimb::IpAddrWithMask("10.0.0.1/24")};

struct Bench {
    std::vector<std::string> keys() const {
        std::vector<std::string> texts;
        for (auto const& member : status->virtualIp()) {
            texts.push_back(member.key.toStrep());
        }
        return texts;
    }

    Zin::Ptr<VirtualIpStatus> const status = virtualIpStatusFactory();
    Testing::Events events;
    Testing::Recorder<VirtualIpStatus> recorder{status, events};
};

TEST(VirtualIpStatus, HoldsTheAddressesOfAllVrfsInOrderOfJoining) {
    Bench bench;
    bench.status->virtualIpIs(red);
    bench.status->virtualIpIs(blue);
    EXPECT_TRUE(bench.status->virtualIpHas(red));
    EXPECT_FALSE(bench.status->virtualIpHas({"red", Nimb::IpAddrWithMask("10.0.0.1/25")}));
    EXPECT_THAT(bench.keys(), ElementsAre(red.toStrep(), blue.toStrep()));
}

TEST(VirtualIpStatus, TellsTheAddressThatComesOrGoesOnce) {
    Bench bench;
    bench.status->virtualIpIs(red);
    bench.status->virtualIpIs(red);
    bench.status->virtualIpDel(blue);
    bench.status->virtualIpDel(red);
    bench.status->virtualIpDel(red);
    EXPECT_FALSE(bench.status->virtualIpHas(red));
    EXPECT_THAT(bench.events, ElementsAre("virtualIp vrfName=red;addrWithMask=10.0.0.1/24 present",
                                          "virtualIp vrfName=red;addrWithMask=10.0.0.1/24 absent"));
}

TEST(VirtualIpStatus, RemovingAllTellsEachAddress) {
    Bench bench;
    bench.status->virtualIpIs(red);
    bench.status->virtualIpIs(blue);
    bench.events.clear();
    bench.status->virtualIpDelAll();
    EXPECT_THAT(bench.keys(), IsEmpty());
    EXPECT_THAT(bench.events,
                ElementsAre("virtualIp vrfName=red;addrWithMask=10.0.0.1/24 absent",
                            "virtualIp vrfName=blue;addrWithMask=10.0.0.1/24 absent"));
}

TEST(VirtualIpStatus, RemovingAllUnobservedEmptiesTheSet) {
    Bench bench;
    bench.status->virtualIpIs(red);
    bench.recorder.notifierIs(nullptr);
    bench.events.clear();
    bench.status->virtualIpDelAll();
    EXPECT_THAT(bench.keys(), IsEmpty());
    EXPECT_THAT(bench.events, IsEmpty());
}

}  // namespace
}  // namespace VirtualIp
