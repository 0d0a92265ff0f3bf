#include "VirtualIp/VirtualIp6Status.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "testing/StatusRecorder.h"

namespace VirtualIp {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

VrfIpPair const red{"red", Nimb::Ip6Addr("2001:db8::1")};
VrfIpPair const blue{"blue", Nimb::Ip6Addr("2001:db8::1")};

struct Bench {
    std::vector<std::string> keys() const {
        std::vector<std::string> texts;
        for (auto const& member : status->virtualIp6()) {
            texts.push_back(member.key.toStrep());
        }
        return texts;
    }

    Zin::Ptr<VirtualIp6Status> const status = virtualIp6StatusFactory();
    Testing::Events events;
    Testing::Recorder<VirtualIp6Status> recorder{status, events};
};

TEST(VirtualIp6Status, HoldsTheAddressesOfAllVrfsInOrderOfJoining) {
    Bench bench;
    bench.status->virtualIp6Is(red);
    bench.status->virtualIp6Is(blue);
    EXPECT_TRUE(bench.status->virtualIp6Has(red));
    EXPECT_FALSE(bench.status->virtualIp6Has({"red", Nimb::Ip6Addr("2001:db8::2")}));
    EXPECT_THAT(bench.keys(), ElementsAre(red.toStrep(), blue.toStrep()));
}

TEST(VirtualIp6Status, TellsTheAddressThatComesOrGoesOnce) {
    Bench bench;
    bench.status->virtualIp6Is(red);
    bench.status->virtualIp6Is(red);
    bench.status->virtualIp6Del(blue);
    bench.status->virtualIp6Del(red);
    bench.status->virtualIp6Del(red);
    EXPECT_FALSE(bench.status->virtualIp6Has(red));
    EXPECT_THAT(bench.events, ElementsAre("virtualIp6 vrfName=red;addr=2001:db8::1 present",
                                          "virtualIp6 vrfName=red;addr=2001:db8::1 absent"));
}

TEST(VirtualIp6Status, RemovingAllTellsEachAddress) {
    Bench bench;
    bench.status->virtualIp6Is(red);
    bench.status->virtualIp6Is(blue);
    bench.events.clear();
    bench.status->virtualIp6DelAll();
    EXPECT_THAT(bench.keys(), IsEmpty());
    EXPECT_THAT(bench.events, ElementsAre("virtualIp6 vrfName=red;addr=2001:db8::1 absent",
                                          "virtualIp6 vrfName=blue;addr=2001:db8::1 absent"));
}

TEST(VirtualIp6Status, RemovingAllUnobservedEmptiesTheSet) {
    Bench bench;
    bench.status->virtualIp6Is(red);
    bench.recorder.notifierIs(nullptr);
    bench.events.clear();
    bench.status->virtualIp6DelAll();
    EXPECT_THAT(bench.keys(), IsEmpty());
    EXPECT_THAT(bench.events, IsEmpty());
}

}  // namespace
}  // namespace VirtualIp
