#include "IpLib/IntfAddrVrfTableSm/IpIntfStatusSm.h"

#include <gmock/gmock.h>

#include <random>
#include <set>
#include <stdexcept>
#include <utility>

#include "IpLib/IntfAddrVrfTableSm/TestAfParent.h"
#include "Tremlog/Ring.h"
#include "testing/TraceRecorder.h"

namespace IpLib::IntfAddrVrfTableImpl {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

Nimb::IpAddrWithMask addr(std::string_view text) { return Nimb::IpAddrWithMask(text); }

struct Bench {
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
    std::string dump(std::uint32_t indent, bool verbose = false, std::uint32_t maxEntries = 100) {
        auto const context = Velk::textDumpContextFactory(verbose, maxEntries);
        sm->dumpState(context, indent);
        return context->text();
    }

    Testing::TraceRecorder traces{"IpIntfStatusSm"};
    Testing::Events events;
    Zin::Ptr<Ip::IpIntfStatus> const status = Ip::ipIntfStatusFactory("Ethernet1");
    Zin::Ptr<AllIntfAddrWithMask> const all = allIntfAddrWithMaskFactory();
    Testing::Recorder<AllIntfAddrWithMask> const recorder{all, events};
    Zin::Ptr<Testing::TestAfParent> const parent = Zin::make<Testing::TestAfParent>(events);
    Zin::Ptr<IpIntfStatusSm> sm;
};

TEST(IpIntfStatusSm, SettlesAPendingCleanupThenPublishesThePrimaryThenTheSecondariesInOrder) {
    Bench bench;
    bench.status->secondaryActiveAddrWithMaskIs(addr("10.0.2.1/24"));
    bench.status->secondaryActiveAddrWithMaskIs(addr("10.0.1.1/24"));
    bench.status->activeAddrWithMaskIs(addr("10.0.9.1/24"));

    bench.sm = ipIntfStatusSmFactory(bench.status, bench.parent, bench.all);
    EXPECT_EQ(bench.sm->intfId(), Nimb::IntfId("Ethernet1"));
    EXPECT_EQ(bench.sm->afIntfStatusParent(), bench.parent);
    EXPECT_EQ(bench.sm->allIntfAddrWithMask(), bench.all);
    EXPECT_THAT(
        bench.events,
        ElementsAre("processPendingDeferredCleanup Ethernet1 IPv4", "10.0.9.1/24 Ethernet1 present",
                    "10.0.1.1/24 Ethernet1 present", "10.0.2.1/24 Ethernet1 present"));
    EXPECT_THAT(
        bench.traces.messages(),
        ElementsAre("8 IpIntfStatusSm::handleInitialized on Ethernet1",
                    "8 IpIntfStatusSm::handlePrimaryAddr 10.0.9.1/24 on Ethernet1 isUnnumbered "
                    "false",
                    "8 IpIntfStatusSm::handleAllSecondaryAddr on Ethernet1",
                    "8 IpIntfStatusSm::handleSecondaryAddr 10.0.1.1/24 isPresent true on Ethernet1",
                    "8 IpIntfStatusSm::handleSecondaryAddr 10.0.2.1/24 isPresent true on "
                    "Ethernet1"));
}

TEST(IpIntfStatusSm, PublishesThePrimaryAddressNotDeprecated) {
    Bench bench;
    bench.start();
    bench.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    EXPECT_THAT(bench.events, ElementsAre("10.0.0.1/24 Ethernet1 present"));
    EXPECT_EQ(bench.all->all().size(), 1u);
    EXPECT_EQ(bench.all->all({"Ethernet1", addr("10.0.0.1/24")}),
              IntfAddrWithMask({"Ethernet1", addr("10.0.0.1/24")}, false));
    EXPECT_EQ(bench.sm->maybeShadowPrimaryAddr(), Nimb::IpGenAddrWithMask("10.0.0.1/24"));
    EXPECT_EQ(bench.sm->maybeShadowIsUnnumbered(), false);
}

TEST(IpIntfStatusSm, ChangingThePrimaryRemovesTheOldRowBeforeItAddsTheNewOne) {
    Bench bench;
    bench.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    bench.start();
    bench.status->activeAddrWithMaskIs(addr("10.0.0.2/24"));
    EXPECT_THAT(bench.events,
                ElementsAre("10.0.0.1/24 Ethernet1 absent", "10.0.0.2/24 Ethernet1 present"));
}

TEST(IpIntfStatusSm, ChangingThePrefixLengthAloneReplacesTheRow) {
    Bench bench;
    bench.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    bench.start();
    bench.status->activeAddrWithMaskIs(addr("10.0.0.1/25"));
    EXPECT_THAT(bench.events,
                ElementsAre("10.0.0.1/24 Ethernet1 absent", "10.0.0.1/25 Ethernet1 present"));
}

TEST(IpIntfStatusSm, ThePrimaryThatIsThereAlreadyTouchesNoRow) {
    Bench bench;
    bench.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    bench.start();
    bench.sm->handlePrimaryAddr();
    EXPECT_THAT(bench.events, IsEmpty());
    EXPECT_THAT(bench.traces.messages(),
                ElementsAre("8 IpIntfStatusSm::handlePrimaryAddr 10.0.0.1/24 on Ethernet1 "
                            "isUnnumbered false",
                            "9 IpIntfStatusSm::handlePrimaryAddr nothing changed on Ethernet1"));
}

TEST(IpIntfStatusSm, NoPrimaryOnANumberedInterfaceIsNoChangeAndLeavesTheShadowUnset) {
    Bench bench;
    bench.sm = ipIntfStatusSmFactory(bench.status, bench.parent, bench.all);
    EXPECT_THAT(bench.traces.messages(),
                AllOf(Contains("8 IpIntfStatusSm::handlePrimaryAddr 0.0.0.0/0 on Ethernet1 "
                               "isUnnumbered false"),
                      Contains("9 IpIntfStatusSm::handlePrimaryAddr nothing changed on "
                               "Ethernet1")));
    EXPECT_EQ(bench.sm->maybeShadowPrimaryAddr(), std::nullopt);
    EXPECT_EQ(bench.sm->maybeShadowIsUnnumbered(), std::nullopt);
    EXPECT_TRUE(bench.all->all().empty());
}

TEST(IpIntfStatusSm, BecomingUnnumberedRemovesThePrimaryAndBecomingNumberedBringsItBack) {
    Bench bench;
    bench.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    bench.start();

    bench.status->unnumberedIntfIdIs("Loopback0");
    EXPECT_THAT(bench.events, ElementsAre("10.0.0.1/24 Ethernet1 absent"));
    EXPECT_THAT(bench.traces.messages(),
                ElementsAre("8 IpIntfStatusSm::handlePrimaryAddr 10.0.0.1/24 on Ethernet1 "
                            "isUnnumbered true",
                            "3 IpIntfStatusSm::handlePrimaryAddr ignoring 10.0.0.1 on unnumbered "
                            "interface Ethernet1"));
    EXPECT_THAT(Tremlog::messages(),
                ElementsAre("ignoring 10.0.0.1 on unnumbered interface Ethernet1"));
    EXPECT_EQ(bench.sm->maybeShadowPrimaryAddr(), Nimb::IpGenAddrWithMask("10.0.0.1/24"));
    EXPECT_EQ(bench.sm->maybeShadowIsUnnumbered(), true);

    bench.clear();
    bench.status->unnumberedIntfIdIs({});
    EXPECT_THAT(bench.events, ElementsAre("10.0.0.1/24 Ethernet1 present"));
    EXPECT_THAT(Tremlog::messages(), IsEmpty());
    EXPECT_EQ(bench.sm->maybeShadowIsUnnumbered(), false);
}

TEST(IpIntfStatusSm, NoPrimaryOfAnUnnumberedInterfaceIsEverPublishedOrWithdrawn) {
    Bench bench;
    bench.status->unnumberedIntfIdIs("Loopback0");
    bench.start();
    bench.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    bench.status->activeAddrWithMaskIs(addr("10.0.0.2/24"));
    bench.status->activeAddrWithMaskIs({});
    EXPECT_THAT(bench.events, IsEmpty());
    EXPECT_THAT(Tremlog::messages(),
                ElementsAre("ignoring 10.0.0.1 on unnumbered interface Ethernet1",
                            "ignoring 10.0.0.2 on unnumbered interface Ethernet1"));
}

TEST(IpIntfStatusSm, AnotherUnnumberedSourceIsNoChange) {
    Bench bench;
    bench.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    bench.status->unnumberedIntfIdIs("Loopback0");
    bench.start();
    bench.status->unnumberedIntfIdIs("Loopback1");
    EXPECT_THAT(bench.events, IsEmpty());
    EXPECT_THAT(bench.traces.messages(),
                Contains("9 IpIntfStatusSm::handlePrimaryAddr nothing changed on Ethernet1"));
}

TEST(IpIntfStatusSm, ClearingThePrimaryRemovesTheRowAndEmptiesTheShadow) {
    Bench bench;
    bench.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    bench.start();
    bench.status->activeAddrWithMaskIs(addr("0.0.0.0/0"));
    EXPECT_THAT(bench.events, ElementsAre("10.0.0.1/24 Ethernet1 absent"));
    EXPECT_EQ(bench.sm->maybeShadowPrimaryAddr(), std::nullopt);
    EXPECT_EQ(bench.sm->maybeShadowIsUnnumbered(), false);
}

TEST(IpIntfStatusSm, ASecondaryComesAndGoesWithItsRow) {
    Bench bench;
    bench.start();
    bench.status->secondaryActiveAddrWithMaskIs(addr("10.0.1.1/24"));
    bench.status->secondaryActiveAddrWithMaskDel(addr("10.0.1.1/24"));
    EXPECT_THAT(bench.events,
                ElementsAre("10.0.1.1/24 Ethernet1 present", "10.0.1.1/24 Ethernet1 absent"));
    EXPECT_THAT(
        bench.traces.messages(),
        ElementsAre("8 IpIntfStatusSm::handleSecondaryAddr 10.0.1.1/24 isPresent true on Ethernet1",
                    "8 IpIntfStatusSm::handleSecondaryAddr 10.0.1.1/24 isPresent false on "
                    "Ethernet1"));
}

TEST(IpIntfStatusSm, SecondariesArePublishedOnUnnumberedInterfacesToo) {
    Bench bench;
    bench.status->unnumberedIntfIdIs("Loopback0");
    bench.start();
    bench.status->secondaryActiveAddrWithMaskIs(addr("10.0.1.1/24"));
    EXPECT_THAT(bench.events, ElementsAre("10.0.1.1/24 Ethernet1 present"));
    bench.status->unnumberedIntfIdIs({});
    EXPECT_THAT(bench.events, ElementsAre("10.0.1.1/24 Ethernet1 present"));
}

TEST(IpIntfStatusSm, HandlingAllSecondariesAgainTouchesNoRow) {
    Bench bench;
    bench.status->secondaryActiveAddrWithMaskIs(addr("10.0.1.1/24"));
    bench.start();
    bench.sm->handleAllSecondaryAddr();
    EXPECT_THAT(bench.events, IsEmpty());
    EXPECT_THAT(bench.traces.messages(),
                ElementsAre("8 IpIntfStatusSm::handleAllSecondaryAddr on Ethernet1",
                            "8 IpIntfStatusSm::handleSecondaryAddr 10.0.1.1/24 isPresent true on "
                            "Ethernet1"));
}

TEST(IpIntfStatusSm, DestructionRequestsTheCleanupThenRemovesEveryRow) {
    Bench bench;
    bench.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    bench.status->secondaryActiveAddrWithMaskIs(addr("10.0.2.1/24"));
    bench.status->secondaryActiveAddrWithMaskIs(addr("10.0.1.1/24"));
    bench.start();

    bench.sm = nullptr;
    EXPECT_THAT(bench.events,
                ElementsAre("addDeferredCleanup Ethernet1 IPv4", "10.0.0.1/24 Ethernet1 absent",
                            "10.0.1.1/24 Ethernet1 absent", "10.0.2.1/24 Ethernet1 absent"));
    EXPECT_THAT(bench.traces.messages(),
                ElementsAre("8 IpIntfStatusSm::handleDestruction on Ethernet1"));
}

TEST(IpIntfStatusSm, DestructionDoesNotRemoveTheUnpublishedPrimaryOfAnUnnumberedInterface) {
    Bench bench;
    bench.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    bench.status->unnumberedIntfIdIs("Ethernet2");
    bench.start();
    // Somebody else's row under the very key that the machine would have used.
    bench.all->allIs(IntfAddrWithMask({"Ethernet1", addr("10.0.0.1/24")}));
    bench.clear();

    bench.sm = nullptr;
    EXPECT_THAT(bench.events, ElementsAre("addDeferredCleanup Ethernet1 IPv4"));
}

TEST(IpIntfStatusSm, AFailingParentKeepsNoRowFromBeingRemoved) {
    Bench bench;
    bench.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    bench.status->secondaryActiveAddrWithMaskIs(addr("10.0.1.1/24"));
    bench.start();
    bench.parent->onAddDeferredCleanup = [] { throw std::runtime_error("no clean-up"); };
    EXPECT_THROW(bench.sm->retire(), std::runtime_error);
    EXPECT_TRUE(bench.all->all().empty());
}

TEST(IpIntfStatusSm, ARetiredMachineHandlesNothing) {
    Bench bench;
    bench.start();
    bench.sm->retire();
    bench.clear();
    bench.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    bench.status->secondaryActiveAddrWithMaskIs(addr("10.0.1.1/24"));
    bench.sm->handlePrimaryAddr();
    bench.sm->handleSecondaryAddr(addr("10.0.1.1/24"));
    bench.sm->handleAllSecondaryAddr();
    EXPECT_THAT(bench.events, IsEmpty());
    EXPECT_THAT(bench.traces.messages(), IsEmpty());
    bench.sm = nullptr;
    EXPECT_THAT(bench.events, IsEmpty());
}

TEST(IpIntfStatusSm, AMutedMachineMissesWhatHappens) {
    Bench bench;
    bench.start();
    bench.sm->hasNotificationActiveIs(false);
    bench.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    EXPECT_THAT(bench.events, IsEmpty());
    bench.sm->hasNotificationActiveIs(true);
    bench.status->activeAddrWithMaskIs(addr("10.0.0.2/24"));
    EXPECT_THAT(bench.events, ElementsAre("10.0.0.2/24 Ethernet1 present"));
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
    Bench bench;
    bench.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    bench.start();
    Meddler const meddler(bench.all,
                          [&] { bench.status->activeAddrWithMaskIs(addr("10.0.0.3/24")); });

    bench.status->activeAddrWithMaskIs(addr("10.0.0.2/24"));
    EXPECT_THAT(bench.events,
                ElementsAre("10.0.0.1/24 Ethernet1 absent", "10.0.0.3/24 Ethernet1 present"));
    EXPECT_EQ(bench.all->all().size(), 1u);
}

TEST(IpIntfStatusSm, APrimaryThatComesBackWhileItsRowLeavesStands) {
    Bench bench;
    bench.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    bench.start();
    Meddler const meddler(bench.all,
                          [&] { bench.status->activeAddrWithMaskIs(addr("10.0.0.1/24")); });

    bench.status->activeAddrWithMaskIs({});
    EXPECT_THAT(bench.events,
                ElementsAre("10.0.0.1/24 Ethernet1 absent", "10.0.0.1/24 Ethernet1 present"));
    EXPECT_EQ(bench.sm->maybeShadowPrimaryAddr(), Nimb::IpGenAddrWithMask("10.0.0.1/24"));
}

TEST(IpIntfStatusSm, AMachineThatIsRetiredWhileTheOldRowLeavesPublishesNoNewOne) {
    Bench bench;
    bench.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    bench.start();
    Meddler const meddler(bench.all, [&] { bench.sm->retire(); });

    bench.status->activeAddrWithMaskIs(addr("10.0.0.2/24"));
    EXPECT_TRUE(bench.all->all().empty());
}

TEST(IpIntfStatusSm, WhatIsPublishedFollowsTheStatusThroughAnyChanges) {
    std::mt19937 random(7);
    auto const below = [&](std::uint32_t end) { return random() % end; };
    for (int round = 0; round < 50; ++round) {
        Bench bench;
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
            bench.status->activeAddrWithMaskIs(primary);
            bench.status->unnumberedIntfIdIs(unnumbered ? "Loopback0" : "");
            for (std::uint32_t i = 0; i < 3; ++i) {
                auto const secondary = addr(fmt::format("10.0.1.{}/24", i));
                if (secondaries.count(secondary) > 0) {
                    bench.status->secondaryActiveAddrWithMaskIs(secondary);
                } else {
                    bench.status->secondaryActiveAddrWithMaskDel(secondary);
                }
            }
            if (!bench.sm && below(4) == 0) {
                bench.sm = ipIntfStatusSmFactory(bench.status, bench.parent, bench.all);
            }

            std::set<Nimb::IpGenAddrWithMask> expected;
            if (bench.sm) {
                expected.insert(secondaries.begin(), secondaries.end());
                if (primary != none && !unnumbered) {
                    expected.insert(primary);
                }
            }
            std::set<Nimb::IpGenAddrWithMask> published;
            for (auto const& member : bench.all->all()) {
                published.insert(member.key.addrWithMask);
            }
            ASSERT_EQ(published, expected);
        }
        bench.sm = nullptr;
        ASSERT_TRUE(bench.all->all().empty());
    }
}

TEST(IpIntfStatusSm, DumpShowsShadowAndStatus) {
    Bench bench;
    bench.status->activeAddrWithMaskIs(addr("10.0.0.1/24"));
    bench.status->unnumberedIntfIdIs("Loopback0");
    bench.status->secondaryActiveAddrWithMaskIs(addr("10.0.2.1/24"));
    bench.status->secondaryActiveAddrWithMaskIs(addr("10.0.1.1/24"));
    bench.start();
    EXPECT_EQ(bench.dump(0),
              "IpIntfStatus intfId=Ethernet1\n"
              "maybeShadowPrimaryAddr 10.0.0.1/24\n"
              "maybeShadowIsUnnumbered true\n"
              "activeAddrWithMask 10.0.0.1/24\n"
              "unnumberedIntfId Loopback0\n"
              "secondaryActiveAddrWithMask count 2\n"
              "10.0.1.1/24\n"
              "10.0.2.1/24\n");
    EXPECT_EQ(bench.dump(2),
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
    Bench bench;
    bench.start();
    EXPECT_EQ(bench.dump(0),
              "IpIntfStatus intfId=Ethernet1\n"
              "maybeShadowPrimaryAddr <None>\n"
              "maybeShadowIsUnnumbered <Nome>\n"
              "activeAddrWithMask 0.0.0.0/0\n"
              "unnumberedIntfId \n"
              "secondaryActiveAddrWithMask count 0\n");
}

TEST(IpIntfStatusSm, DumpCutsLongListsUnlessItIsVerbose) {
    Bench bench;
    for (auto const* const text : {"10.0.1.1/24", "10.0.2.1/24", "10.0.3.1/24"}) {
        bench.status->secondaryActiveAddrWithMaskIs(addr(text));
    }
    bench.start();
    std::string const head =
        "  IpIntfStatus intfId=Ethernet1\n"
        "  maybeShadowPrimaryAddr <None>\n"
        "  maybeShadowIsUnnumbered <Nome>\n"
        "  activeAddrWithMask 0.0.0.0/0\n"
        "  unnumberedIntfId \n"
        "  secondaryActiveAddrWithMask count 3\n";
    EXPECT_EQ(bench.dump(2, false, 2),
              head +
                  "  -- The following list will be truncated, use verbose option to display all 3 "
                  "entries --\n"
                  "  10.0.1.1/24\n"
                  "  10.0.2.1/24\n"
                  "  -- This list has been truncated, use verbose option to display all 3 entries "
                  "--\n");
    std::string const whole = head + "  10.0.1.1/24\n  10.0.2.1/24\n  10.0.3.1/24\n";
    EXPECT_EQ(bench.dump(2, true, 2), whole);
    EXPECT_EQ(bench.dump(2, false, 3), whole);
}

}  // namespace
}  // namespace IpLib::IntfAddrVrfTableImpl
