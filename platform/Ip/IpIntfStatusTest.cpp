#include "Ip/IpIntfStatus.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "TestKit/StatusRecorder.h"

namespace Ip {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Nimb::IpAddrWithMask addr(char const* text) { return Nimb::IpAddrWithMask(text); }

struct Fixture {
    std::vector<std::string> secondaries() const {
        std::vector<std::string> texts;
        for (auto const& member : status->secondaryActiveAddrWithMask()) {
            texts.push_back(member.key.toStrep());
        }
        return texts;
    }

    Zin::Ptr<IpIntfStatus> const status = ipIntfStatusFactory("Ethernet1");
    TestKit::Events events;
    TestKit::Recorder<IpIntfStatus> recorder{status, events};
};

TEST(IpIntfStatus, IsNumberedAndHasNoAddressAtFirst) {
    Fixture const fixture;
    EXPECT_EQ(fixture.status->intfId(), Nimb::IntfId("Ethernet1"));
    EXPECT_EQ(fixture.status->activeAddrWithMask(), addr("0.0.0.0/0"));
    EXPECT_TRUE(fixture.status->unnumberedIntfId().empty());
    EXPECT_THAT(fixture.secondaries(), IsEmpty());
    EXPECT_FALSE(fixture.status->secondaryActiveAddrWithMaskHas(addr("0.0.0.0/0")));
}

TEST(IpIntfStatus, TellsEachNewPrimaryAndOnlyThose) {
    Fixture fixture;
    fixture.status->activeAddrWithMaskIs(addr("0.0.0.0/0"));
    fixture.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    fixture.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    fixture.status->activeAddrWithMaskIs(addr("10.0.0.1/25"));
    fixture.status->activeAddrWithMaskIs(addr("0.0.0.0/0"));
    EXPECT_THAT(fixture.events,
                ElementsAre("activeAddrWithMask 10.0.0.1/24", "activeAddrWithMask 10.0.0.1/25",
                            "activeAddrWithMask 0.0.0.0/0"));
}

TEST(IpIntfStatus, TellsEachNewUnnumberedSourceAndOnlyThose) {
    Fixture fixture;
    fixture.status->unnumberedIntfIdIs("");
    fixture.status->unnumberedIntfIdIs("Loopback0");
    fixture.status->unnumberedIntfIdIs("Loopback0");
    EXPECT_EQ(fixture.status->unnumberedIntfId(), Nimb::IntfId("Loopback0"));
    fixture.status->unnumberedIntfIdIs("");
    EXPECT_THAT(fixture.events, ElementsAre("unnumberedIntfId Loopback0", "unnumberedIntfId "));
}

TEST(IpIntfStatus, KeepsSecondariesInAscendingOrder) {
    Fixture fixture;
    for (char const* text : {"10.0.2.1/24", "9.255.0.1/8", "10.0.2.1/16", "10.0.1.1/24"}) {
        fixture.status->secondaryActiveAddrWithMaskIs(addr(text));
    }
    EXPECT_THAT(fixture.secondaries(),
                ElementsAre("9.255.0.1/8", "10.0.1.1/24", "10.0.2.1/16", "10.0.2.1/24"));
}

TEST(IpIntfStatus, TellsTheSecondaryThatComesOrGoesOnce) {
    Fixture fixture;
    fixture.status->secondaryActiveAddrWithMaskIs(addr("10.0.1.1/24"));
    fixture.status->secondaryActiveAddrWithMaskIs(addr("10.0.1.1/24"));
    EXPECT_TRUE(fixture.status->secondaryActiveAddrWithMaskHas(addr("10.0.1.1/24")));
    EXPECT_FALSE(fixture.status->secondaryActiveAddrWithMaskHas(addr("10.0.1.1/25")));
    EXPECT_EQ(fixture.status->secondaryActiveAddrWithMaskDel(addr("10.0.1.1/25")),
              addr("0.0.0.0/0"));
    EXPECT_EQ(fixture.status->secondaryActiveAddrWithMaskDel(addr("10.0.1.1/24")),
              addr("10.0.1.1/24"));
    EXPECT_EQ(fixture.status->secondaryActiveAddrWithMaskDel(addr("10.0.1.1/24")),
              addr("0.0.0.0/0"));
    EXPECT_FALSE(fixture.status->secondaryActiveAddrWithMaskHas(addr("10.0.1.1/24")));
    EXPECT_THAT(fixture.events, ElementsAre("secondaryActiveAddrWithMask 10.0.1.1/24 present",
                                            "secondaryActiveAddrWithMask 10.0.1.1/24 absent"));
}

TEST(IpIntfStatus, RemovingAllSecondariesTellsEach) {
    Fixture fixture;
    fixture.status->secondaryActiveAddrWithMaskIs(addr("10.0.2.1/24"));
    fixture.status->secondaryActiveAddrWithMaskIs(addr("10.0.1.1/24"));
    fixture.events.clear();
    fixture.status->secondaryActiveAddrWithMaskDelAll();
    EXPECT_THAT(fixture.events, ElementsAre("secondaryActiveAddrWithMask 10.0.1.1/24 absent",
                                            "secondaryActiveAddrWithMask 10.0.2.1/24 absent"));
    EXPECT_THAT(fixture.secondaries(), IsEmpty());
}

TEST(IpIntfStatus, RemovingAllSecondariesUnobservedEmptiesTheSet) {
    Fixture fixture;
    fixture.status->secondaryActiveAddrWithMaskIs(addr("10.0.2.1/24"));
    fixture.recorder.notifierIs(nullptr);
    fixture.events.clear();
    fixture.status->secondaryActiveAddrWithMaskDelAll();
    EXPECT_THAT(fixture.events, IsEmpty());
    EXPECT_THAT(fixture.secondaries(), IsEmpty());
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
    Fixture fixture;
    ofPrimary.notifierIs(fixture.status);
    ofSource.notifierIs(fixture.status);
    ofSecondaries.notifierIs(fixture.status);

    fixture.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    fixture.status->unnumberedIntfIdIs("Loopback0");
    fixture.status->unnumberedIntfIdIs("Loopback1");
    fixture.status->secondaryActiveAddrWithMaskIs(addr("10.0.1.1/24"));
    fixture.status->secondaryActiveAddrWithMaskIs(addr("10.0.2.1/24"));
    fixture.status->secondaryActiveAddrWithMaskDelAll();

    EXPECT_EQ(ofPrimary.told, 1);
    EXPECT_EQ(ofSource.told, 2);
    EXPECT_EQ(ofSecondaries.told, 4);
}

}  // namespace
}  // namespace Ip
