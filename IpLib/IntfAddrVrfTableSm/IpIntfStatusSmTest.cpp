// What the machines of both families do alike: AfIntfStatusSmTest.cpp.

#include "IpLib/IntfAddrVrfTableSm/IpIntfStatusSm.h"

#include <gmock/gmock.h>

#include <random>
#include <set>
#include <utility>

#include "IpLib/IntfAddrVrfTableSm/TestAfParent.h"
#include "TestKit/TraceRecorder.h"
#include "Tremlog/Ring.h"
#include "Zin/Format.h"

namespace IpLib::IntfAddrVrfTableImpl {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

Nimb::IpAddrWithMask addr(std::string_view text) { return Nimb::IpAddrWithMask(text); }

struct Fixture {
    // The machine of the status, which is empty unless the test has filled it before.
    void start() {
        sm = ipIntfStatusSmFactory(status, parent, all);
        clear();
    }
    void clear() {
        events.clear();
        traces.clear();
        Tremlog::clear();
    }
    std::string dump(std::uint32_t indent) {
        auto const context = Velk::textDumpContextFactory(false, 100);
        sm->dumpState(context, indent);
        return context->text();
    }

    TestKit::TraceRecorder traces{"IpIntfStatusSm"};
    TestKit::Events events;
    Zin::Ptr<Ip::IpIntfStatus> const status = Ip::ipIntfStatusFactory("Ethernet1");
    Zin::Ptr<AllIntfAddrWithMask> const all = allIntfAddrWithMaskFactory();
    TestKit::Recorder<AllIntfAddrWithMask> const recorder{all, events};
    Zin::Ptr<TestKit::TestAfParent> const parent = Zin::make<TestKit::TestAfParent>(events);
    Zin::Ptr<IpIntfStatusSm> sm;
};

TEST(IpIntfStatusSm, PublishesThePrimaryAddressNotDeprecated) {
    Fixture fixture;
    fixture.start();
    fixture.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    EXPECT_THAT(fixture.events, ElementsAre("10.0.0.1/24 Ethernet1 present"));
    EXPECT_EQ(fixture.all->all().size(), 1u);
    EXPECT_EQ(fixture.all->all({"Ethernet1", addr("10.0.0.1/24")}),
              IntfAddrWithMask({"Ethernet1", addr("10.0.0.1/24")}, false));
    EXPECT_EQ(fixture.sm->maybeShadowPrimaryAddr(), Nimb::IpGenAddrWithMask("10.0.0.1/24"));
    EXPECT_EQ(fixture.sm->maybeShadowIsUnnumbered(), false);
}

TEST(IpIntfStatusSm, ChangingThePrimaryRemovesTheOldRowBeforeItAddsTheNewOne) {
    Fixture fixture;
    fixture.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    fixture.start();
    fixture.status->activeAddrWithMaskIs(addr("10.0.0.2/24"));
    EXPECT_THAT(fixture.events,
                ElementsAre("10.0.0.1/24 Ethernet1 absent", "10.0.0.2/24 Ethernet1 present"));
}

TEST(IpIntfStatusSm, ChangingThePrefixLengthAloneReplacesTheRow) {
    Fixture fixture;
    fixture.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    fixture.start();
    fixture.status->activeAddrWithMaskIs(addr("10.0.0.1/25"));
    EXPECT_THAT(fixture.events,
                ElementsAre("10.0.0.1/24 Ethernet1 absent", "10.0.0.1/25 Ethernet1 present"));
}

TEST(IpIntfStatusSm, ThePrimaryThatIsThereAlreadyTouchesNoRow) {
    Fixture fixture;
    fixture.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    fixture.start();
    fixture.sm->handlePrimaryAddr();
    EXPECT_THAT(fixture.events, IsEmpty());
    EXPECT_THAT(fixture.traces.messages(),
                ElementsAre("8 IpIntfStatusSm::handlePrimaryAddr 10.0.0.1/24 on Ethernet1 "
                            "isUnnumbered false",
                            "9 IpIntfStatusSm::handlePrimaryAddr nothing changed on Ethernet1"));
}

TEST(IpIntfStatusSm, NoPrimaryOnANumberedInterfaceIsNoChangeAndLeavesTheShadowUnset) {
    Fixture fixture;
    fixture.sm = ipIntfStatusSmFactory(fixture.status, fixture.parent, fixture.all);
    EXPECT_THAT(fixture.traces.messages(),
                AllOf(Contains("8 IpIntfStatusSm::handlePrimaryAddr 0.0.0.0/0 on Ethernet1 "
                               "isUnnumbered false"),
                      Contains("9 IpIntfStatusSm::handlePrimaryAddr nothing changed on "
                               "Ethernet1")));
    EXPECT_EQ(fixture.sm->maybeShadowPrimaryAddr(), std::nullopt);
    EXPECT_EQ(fixture.sm->maybeShadowIsUnnumbered(), std::nullopt);
    EXPECT_TRUE(fixture.all->all().empty());
}

TEST(IpIntfStatusSm, BecomingUnnumberedRemovesThePrimaryAndBecomingNumberedBringsItBack) {
    Fixture fixture;
    fixture.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    fixture.start();

    fixture.status->unnumberedIntfIdIs("Loopback0");
    EXPECT_THAT(fixture.events, ElementsAre("10.0.0.1/24 Ethernet1 absent"));
    EXPECT_THAT(fixture.traces.messages(),
                ElementsAre("8 IpIntfStatusSm::handlePrimaryAddr 10.0.0.1/24 on Ethernet1 "
                            "isUnnumbered true",
                            "3 IpIntfStatusSm::handlePrimaryAddr ignoring 10.0.0.1 on unnumbered "
                            "interface Ethernet1"));
    EXPECT_THAT(Tremlog::messages(),
                ElementsAre("ignoring 10.0.0.1 on unnumbered interface Ethernet1"));
    EXPECT_EQ(fixture.sm->maybeShadowPrimaryAddr(), Nimb::IpGenAddrWithMask("10.0.0.1/24"));
    EXPECT_EQ(fixture.sm->maybeShadowIsUnnumbered(), true);

    fixture.clear();
    fixture.status->unnumberedIntfIdIs({});
    EXPECT_THAT(fixture.events, ElementsAre("10.0.0.1/24 Ethernet1 present"));
    EXPECT_THAT(Tremlog::messages(), IsEmpty());
    EXPECT_EQ(fixture.sm->maybeShadowIsUnnumbered(), false);
}

TEST(IpIntfStatusSm, NoPrimaryOfAnUnnumberedInterfaceIsEverPublishedOrWithdrawn) {
    Fixture fixture;
    fixture.status->unnumberedIntfIdIs("Loopback0");
    fixture.start();
    fixture.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    fixture.status->activeAddrWithMaskIs(addr("10.0.0.2/24"));
    fixture.status->activeAddrWithMaskIs({});
    EXPECT_THAT(fixture.events, IsEmpty());
    EXPECT_THAT(Tremlog::messages(),
                ElementsAre("ignoring 10.0.0.1 on unnumbered interface Ethernet1",
                            "ignoring 10.0.0.2 on unnumbered interface Ethernet1"));
}

TEST(IpIntfStatusSm, AnotherUnnumberedSourceIsNoChange) {
    Fixture fixture;
    fixture.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    fixture.status->unnumberedIntfIdIs("Loopback0");
    fixture.start();
    fixture.status->unnumberedIntfIdIs("Loopback1");
    EXPECT_THAT(fixture.events, IsEmpty());
    EXPECT_THAT(fixture.traces.messages(),
                Contains("9 IpIntfStatusSm::handlePrimaryAddr nothing changed on Ethernet1"));
}

TEST(IpIntfStatusSm, ClearingThePrimaryRemovesTheRowAndEmptiesTheShadow) {
    Fixture fixture;
    fixture.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    fixture.start();
    fixture.status->activeAddrWithMaskIs(addr("0.0.0.0/0"));
    EXPECT_THAT(fixture.events, ElementsAre("10.0.0.1/24 Ethernet1 absent"));
    EXPECT_EQ(fixture.sm->maybeShadowPrimaryAddr(), std::nullopt);
    EXPECT_EQ(fixture.sm->maybeShadowIsUnnumbered(), false);
}

TEST(IpIntfStatusSm, ASecondaryComesAndGoesWithItsRow) {
    Fixture fixture;
    fixture.start();
    fixture.status->secondaryActiveAddrWithMaskIs(addr("10.0.1.1/24"));
    fixture.status->secondaryActiveAddrWithMaskDel(addr("10.0.1.1/24"));
    EXPECT_THAT(fixture.events,
                ElementsAre("10.0.1.1/24 Ethernet1 present", "10.0.1.1/24 Ethernet1 absent"));
    EXPECT_THAT(
        fixture.traces.messages(),
        ElementsAre("8 IpIntfStatusSm::handleSecondaryAddr 10.0.1.1/24 isPresent true on Ethernet1",
                    "8 IpIntfStatusSm::handleSecondaryAddr 10.0.1.1/24 isPresent false on "
                    "Ethernet1"));
}

TEST(IpIntfStatusSm, SecondariesArePublishedOnUnnumberedInterfacesToo) {
    Fixture fixture;
    fixture.status->unnumberedIntfIdIs("Loopback0");
    fixture.start();
    fixture.status->secondaryActiveAddrWithMaskIs(addr("10.0.1.1/24"));
    EXPECT_THAT(fixture.events, ElementsAre("10.0.1.1/24 Ethernet1 present"));
    fixture.status->unnumberedIntfIdIs({});
    EXPECT_THAT(fixture.events, ElementsAre("10.0.1.1/24 Ethernet1 present"));
}

TEST(IpIntfStatusSm, HandlingAllSecondariesAgainTouchesNoRow) {
    Fixture fixture;
    fixture.status->secondaryActiveAddrWithMaskIs(addr("10.0.1.1/24"));
    fixture.start();
    fixture.sm->handleAllSecondaryAddr();
    EXPECT_THAT(fixture.events, IsEmpty());
    EXPECT_THAT(fixture.traces.messages(),
                ElementsAre("8 IpIntfStatusSm::handleAllSecondaryAddr on Ethernet1",
                            "8 IpIntfStatusSm::handleSecondaryAddr 10.0.1.1/24 isPresent true on "
                            "Ethernet1"));
}

TEST(IpIntfStatusSm, DestructionDoesNotRemoveTheUnpublishedPrimaryOfAnUnnumberedInterface) {
    Fixture fixture;
    fixture.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    fixture.status->unnumberedIntfIdIs("Ethernet2");
    fixture.start();
    // Somebody else's row under the very key that the machine would have used.
    fixture.all->allIs(IntfAddrWithMask({"Ethernet1", addr("10.0.0.1/24")}));
    fixture.clear();

    fixture.sm = nullptr;
    EXPECT_THAT(fixture.events, ElementsAre("addDeferredCleanup Ethernet1 IPv4"));
}

// Answers the leaving of a row with another primary, once.
class Meddler final : public AllIntfAddrWithMask::Notifiee {
public:
    Meddler(Zin::Ptr<AllIntfAddrWithMask> const& all, std::function<void()> act)
        : act_(std::move(act)) {
        notifierIs(all);
    }

private:
    void handleAll(IntfAddrWithMaskKey const& key) override {
        if (!notifier()->allHas(key) && act_) {
            std::exchange(act_, nullptr)();
        }
    }

    std::function<void()> act_;
};

TEST(IpIntfStatusSm, APrimaryThatChangesOnceMoreWhileTheOldRowLeavesIsTheOneThatStands) {
    Fixture fixture;
    fixture.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    fixture.start();
    Meddler const meddler(fixture.all,
                          [&] { fixture.status->activeAddrWithMaskIs(addr("10.0.0.3/24")); });

    fixture.status->activeAddrWithMaskIs(addr("10.0.0.2/24"));
    EXPECT_THAT(fixture.events,
                ElementsAre("10.0.0.1/24 Ethernet1 absent", "10.0.0.3/24 Ethernet1 present"));
    EXPECT_EQ(fixture.all->all().size(), 1u);
}

TEST(IpIntfStatusSm, AnInterfaceThatBecomesUnnumberedWhileTheOldRowLeavesPublishesNoNewOne) {
    Fixture fixture;
    fixture.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    fixture.start();
    Meddler const meddler(fixture.all, [&] { fixture.status->unnumberedIntfIdIs("Loopback0"); });

    fixture.status->activeAddrWithMaskIs(addr("10.0.0.2/24"));
    EXPECT_THAT(fixture.events, ElementsAre("10.0.0.1/24 Ethernet1 absent"));
}

TEST(IpIntfStatusSm, APrimaryThatIsTakenBackWhileTheOldRowLeavesTakesNoSecondaryAlong) {
    Fixture fixture;
    fixture.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    fixture.status->secondaryActiveAddrWithMaskIs(addr("10.0.0.2/24"));
    fixture.start();
    Meddler const meddler(fixture.all, [&] { fixture.status->activeAddrWithMaskIs({}); });

    fixture.status->activeAddrWithMaskIs(addr("10.0.0.2/24"));
    EXPECT_THAT(fixture.events, ElementsAre("10.0.0.1/24 Ethernet1 absent"));
    EXPECT_EQ(fixture.sm->maybeShadowPrimaryAddr(), std::nullopt);
}

TEST(IpIntfStatusSm, APrimaryThatComesBackWhileItsRowLeavesStands) {
    Fixture fixture;
    fixture.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    fixture.start();
    Meddler const meddler(fixture.all,
                          [&] { fixture.status->activeAddrWithMaskIs(addr("10.0.0.1/24")); });

    fixture.status->activeAddrWithMaskIs({});
    EXPECT_THAT(fixture.events,
                ElementsAre("10.0.0.1/24 Ethernet1 absent", "10.0.0.1/24 Ethernet1 present"));
    EXPECT_EQ(fixture.sm->maybeShadowPrimaryAddr(), Nimb::IpGenAddrWithMask("10.0.0.1/24"));
}

TEST(IpIntfStatusSm, AMachineThatIsRetiredWhileTheOldRowLeavesPublishesNoNewOne) {
    Fixture fixture;
    fixture.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    fixture.start();
    Meddler const meddler(fixture.all, [&] { fixture.sm->retire(); });

    fixture.status->activeAddrWithMaskIs(addr("10.0.0.2/24"));
    EXPECT_TRUE(fixture.all->all().empty());
}

TEST(IpIntfStatusSm, WhatIsPublishedFollowsTheStatusThroughAnyChanges) {
    std::mt19937 random(7);
    auto const below = [&](std::uint32_t end) { return random() % end; };
    for (int round = 0; round < 50; ++round) {
        Fixture fixture;
        Nimb::IpAddrWithMask const none;
        Nimb::IpAddrWithMask primary = none;
        bool unnumbered = false;
        std::set<Nimb::IpAddrWithMask> secondaries;
        for (int step = 0; step < 60; ++step) {
            switch (below(5)) {
                case 0:
                    primary = addr(fmt::format("10.0.0.{}/{}", 1 + below(2), 24 + below(2)));
                    break;
                case 1:
                    primary = none;
                    break;
                case 2:
                    unnumbered = !unnumbered;
                    break;
                case 3:
                    secondaries.insert(addr(fmt::format("10.0.1.{}/24", below(3))));
                    break;
                default:
                    secondaries.erase(addr(fmt::format("10.0.1.{}/24", below(3))));
            }
            fixture.status->activeAddrWithMaskIs(primary);
            fixture.status->unnumberedIntfIdIs(unnumbered ? "Loopback0" : "");
            for (std::uint32_t i = 0; i < 3; ++i) {
                auto const secondary = addr(fmt::format("10.0.1.{}/24", i));
                if (secondaries.count(secondary) > 0) {
                    fixture.status->secondaryActiveAddrWithMaskIs(secondary);
                } else {
                    fixture.status->secondaryActiveAddrWithMaskDel(secondary);
                }
            }
            if (!fixture.sm && below(4) == 0) {
                fixture.sm = ipIntfStatusSmFactory(fixture.status, fixture.parent, fixture.all);
            }

            std::set<Nimb::IpGenAddrWithMask> expected;
            if (fixture.sm) {
                expected.insert(secondaries.begin(), secondaries.end());
                if (primary != none && !unnumbered) {
                    expected.insert(primary);
                }
            }
            std::set<Nimb::IpGenAddrWithMask> published;
            for (auto const& member : fixture.all->all()) {
                published.insert(member.key.addrWithMask);
            }
            ASSERT_EQ(published, expected);
        }
        fixture.sm = nullptr;
        ASSERT_TRUE(fixture.all->all().empty());
    }
}

TEST(IpIntfStatusSm, DumpShowsShadowAndStatus) {
    Fixture fixture;
    fixture.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    fixture.status->unnumberedIntfIdIs("Loopback0");
    fixture.status->secondaryActiveAddrWithMaskIs(addr("10.0.2.1/24"));
    fixture.status->secondaryActiveAddrWithMaskIs(addr("10.0.1.1/24"));
    fixture.start();
    EXPECT_EQ(fixture.dump(0),
              "IpIntfStatus intfId=Ethernet1\n"
              "maybeShadowPrimaryAddr 10.0.0.1/24\n"
              "maybeShadowIsUnnumbered true\n"
              "activeAddrWithMask 10.0.0.1/24\n"
              "unnumberedIntfId Loopback0\n"
              "secondaryActiveAddrWithMask count 2\n"
              "10.0.1.1/24\n"
              "10.0.2.1/24\n");
    EXPECT_EQ(fixture.dump(2),
              "  IpIntfStatus intfId=Ethernet1\n"
              "  maybeShadowPrimaryAddr 10.0.0.1/24\n"
              "  maybeShadowIsUnnumbered true\n"
              "  activeAddrWithMask 10.0.0.1/24\n"
              "  unnumberedIntfId Loopback0\n"
              "  secondaryActiveAddrWithMask count 2\n"
              "  10.0.1.1/24\n"
              "  10.0.2.1/24\n");
}

TEST(IpIntfStatusSm, DumpShowsAnUnsetShadow) {
    Fixture fixture;
    fixture.start();
    EXPECT_EQ(fixture.dump(0),
              "IpIntfStatus intfId=Ethernet1\n"
              "maybeShadowPrimaryAddr <None>\n"
              "maybeShadowIsUnnumbered <Nome>\n"
              "activeAddrWithMask 0.0.0.0/0\n"
              "unnumberedIntfId \n"
              "secondaryActiveAddrWithMask count 0\n");
}

}  // namespace
}  // namespace IpLib::IntfAddrVrfTableImpl
