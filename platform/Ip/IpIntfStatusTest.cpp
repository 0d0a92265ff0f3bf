#include "Ip/IpIntfStatus.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "testing/StatusRecorder.h"

namespace Ip {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Nimb::IpAddrWithMask addr(char const* text) { return Nimb::IpAddrWithMask(text); }

struct Bench {
    std::vector<std::string> secondaries() const {
        std::vector<std::string> texts;
        for (auto const& member : status->secondaryActiveAddrWithMask()) {
            texts.push_back(member.key.toStrep());
        }
        return texts;
    }

    Zin::Ptr<IpIntfStatus> const status = ipIntfStatusFactory("Ethernet1");
    Testing::Events events;
    Testing::Recorder<IpIntfStatus> recorder{status, events};
};

TEST(IpIntfStatus, IsNumberedAndHasNoAddressAtFirst) {
    Bench const bench;
    EXPECT_EQ(bench.status->intfId(), Nimb::IntfId("Ethernet1"));
    EXPECT_EQ(bench.status->activeAddrWithMask(), addr("0.0.0.0/0"));
    EXPECT_TRUE(bench.status->unnumberedIntfId().empty());
    EXPECT_THAT(bench.secondaries(), IsEmpty());
    EXPECT_FALSE(bench.status->secondaryActiveAddrWithMaskHas(addr("0.0.0.0/0")));
}

TEST(IpIntfStatus, TellsEachNewPrimaryAndOnlyThose) {
    Bench bench;
    bench.status->activeAddrWithMaskIs(addr("0.0.0.0/0"));
    bench.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    bench.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    bench.status->activeAddrWithMaskIs(addr("10.0.0.1/25"));
    bench.status->activeAddrWithMaskIs(addr("0.0.0.0/0"));
    EXPECT_THAT(bench.events,
                ElementsAre("activeAddrWithMask 10.0.0.1/24", "activeAddrWithMask 10.0.0.1/25",
                            "activeAddrWithMask 0.0.0.0/0"));
}

TEST(IpIntfStatus, TellsEachNewUnnumberedSourceAndOnlyThose) {
    Bench bench;
    bench.status->unnumberedIntfIdIs("");
    bench.status->unnumberedIntfIdIs("Loopback0");
    bench.status->unnumberedIntfIdIs("Loopback0");
    EXPECT_EQ(bench.status->unnumberedIntfId(), Nimb::IntfId("Loopback0"));
    bench.status->unnumberedIntfIdIs("");
    EXPECT_THAT(bench.events, ElementsAre("unnumberedIntfId Loopback0", "unnumberedIntfId "));
}

TEST(IpIntfStatus, KeepsSecondariesInAscendingOrder) {
    Bench bench;
    for (char const* text : {"10.0.2.1/24", "9.255.0.1/8", "10.0.2.1/16", "10.0.1.1/24"}) {
        bench.status->secondaryActiveAddrWithMaskIs(addr(text));
    }
    EXPECT_THAT(bench.secondaries(),
                ElementsAre("9.255.0.1/8", "10.0.1.1/24", "10.0.2.1/16", "10.0.2.1/24"));
}

TEST(IpIntfStatus, TellsTheSecondaryThatComesOrGoesOnce) {
    Bench bench;
    bench.status->secondaryActiveAddrWithMaskIs(addr("10.0.1.1/24"));
    bench.status->secondaryActiveAddrWithMaskIs(addr("10.0.1.1/24"));
    EXPECT_TRUE(bench.status->secondaryActiveAddrWithMaskHas(addr("10.0.1.1/24")));
    EXPECT_FALSE(bench.status->secondaryActiveAddrWithMaskHas(addr("10.0.1.1/25")));
    bench.status->secondaryActiveAddrWithMaskDel(addr("10.0.1.1/25"));
    bench.status->secondaryActiveAddrWithMaskDel(addr("10.0.1.1/24"));
    bench.status->secondaryActiveAddrWithMaskDel(addr("10.0.1.1/24"));
    EXPECT_FALSE(bench.status->secondaryActiveAddrWithMaskHas(addr("10.0.1.1/24")));
    EXPECT_THAT(bench.events, ElementsAre("secondaryActiveAddrWithMask 10.0.1.1/24 present",
                                          "secondaryActiveAddrWithMask 10.0.1.1/24 absent"));
}

TEST(IpIntfStatus, RemovingAllSecondariesTellsEach) {
    Bench bench;
    bench.status->secondaryActiveAddrWithMaskIs(addr("10.0.2.1/24"));
    bench.status->secondaryActiveAddrWithMaskIs(addr("10.0.1.1/24"));
    bench.events.clear();
    bench.status->secondaryActiveAddrWithMaskDelAll();
    EXPECT_THAT(bench.events, ElementsAre("secondaryActiveAddrWithMask 10.0.1.1/24 absent",
                                          "secondaryActiveAddrWithMask 10.0.2.1/24 absent"));
    EXPECT_THAT(bench.secondaries(), IsEmpty());
}

TEST(IpIntfStatus, RemovingAllSecondariesUnobservedEmptiesTheSet) {
    Bench bench;
    bench.status->secondaryActiveAddrWithMaskIs(addr("10.0.2.1/24"));
    bench.recorder.notifierIs(nullptr);
    bench.events.clear();
    bench.status->secondaryActiveAddrWithMaskDelAll();
    EXPECT_THAT(bench.events, IsEmpty());
    EXPECT_THAT(bench.secondaries(), IsEmpty());
}

TEST(IpIntfStatus, AnObserverIsToldOnlyOfWhatItAsksFor) {
    struct OfPrimary final : IpIntfStatus::Notifiee {
        void handleActiveAddrWithMask() override { ++told; }
        int told = 0;
    } ofPrimary;
    struct OfSource final : IpIntfStatus::Notifiee {
        void handleUnnumberedIntfId() override { ++told; }
        int told = 0;
    } ofSource;
    struct OfSecondaries final : IpIntfStatus::Notifiee {
        void handleSecondaryActiveAddrWithMask(Nimb::IpAddrWithMask const&) override { ++told; }
        int told = 0;
    } ofSecondaries;
    Bench bench;
    ofPrimary.notifierIs(bench.status);
    ofSource.notifierIs(bench.status);
    ofSecondaries.notifierIs(bench.status);

    bench.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    bench.status->unnumberedIntfIdIs("Loopback0");
    bench.status->unnumberedIntfIdIs("Loopback1");
    bench.status->secondaryActiveAddrWithMaskIs(addr("10.0.1.1/24"));
    bench.status->secondaryActiveAddrWithMaskIs(addr("10.0.2.1/24"));
    bench.status->secondaryActiveAddrWithMaskDelAll();

    EXPECT_EQ(ofPrimary.told, 1);
    EXPECT_EQ(ofSource.told, 2);
    EXPECT_EQ(ofSecondaries.told, 4);
}

}  // namespace
}  // namespace Ip
