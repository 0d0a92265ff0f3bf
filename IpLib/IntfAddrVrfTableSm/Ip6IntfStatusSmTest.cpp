#include "IpLib/IntfAddrVrfTableSm/Ip6IntfStatusSm.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "IpLib/IntfAddrVrfTableSm/TestAfParent.h"
#include "Zin/Errors.h"
#include "testing/TraceRecorder.h"

namespace IpLib::IntfAddrVrfTableImpl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StrEq;

struct Bench {
    void start() {
        sm = ip6IntfStatusSmFactory(status, parent, all);
        clear();
    }
    void clear() {
        events.clear();
        traces.clear();
    }
    void addrIs(std::string_view text, bool deprecated = false) {
        status->addrIs(Nimb::Ip6AddrWithMask(text), {.deprecated = deprecated});
    }
    void addrDel(std::string_view text) { status->addrDel(Nimb::Ip6AddrWithMask(text)); }
    std::string dump(std::uint32_t indent, bool verbose = false, std::uint32_t maxEntries = 100) {
        auto const context = Velk::textDumpContextFactory(verbose, maxEntries);
        sm->dumpState(context, indent);
        return context->text();
    }

    Testing::TraceRecorder traces{"Ip6IntfStatusSm"};
    Testing::Events events;
    Zin::Ptr<Ip6::IntfStatus> const status = Ip6::intfStatusFactory("Ethernet1");
    Zin::Ptr<AllIntfAddrWithMask> const all = allIntfAddrWithMaskFactory();
    Testing::Recorder<AllIntfAddrWithMask> const recorder{all, events};
    Zin::Ptr<Testing::TestAfParent> const parent = Zin::make<Testing::TestAfParent>(events);
    Zin::Ptr<Ip6IntfStatusSm> sm;
};

TEST(Ip6IntfStatusSm, SettlesAPendingCleanupThenPublishesTheAddressesInTheirOrder) {
    Bench bench;
    bench.addrIs("2001:db8::2/64");
    bench.addrIs("2001:db8::1/64", true);

    bench.sm = ip6IntfStatusSmFactory(bench.status, bench.parent, bench.all);
    EXPECT_EQ(bench.sm->intfId(), Nimb::IntfId("Ethernet1"));
    EXPECT_EQ(bench.sm->afIntfStatusParent(), bench.parent);
    EXPECT_EQ(bench.sm->allIntfAddrWithMask(), bench.all);
    EXPECT_THAT(bench.events, ElementsAre("processPendingDeferredCleanup Ethernet1 IPv6",
                                          "2001:db8::2/64 Ethernet1 present",
                                          "2001:db8::1/64 Ethernet1 deprecated"));
    EXPECT_THAT(bench.traces.messages(),
                ElementsAre("8 Ip6IntfStatusSm::handleInitialized on Ethernet1",
                            "8 Ip6IntfStatusSm::handleAllAddr on Ethernet1",
                            "8 Ip6IntfStatusSm::handleAddr 2001:db8::2/64 on Ethernet1 isPresent "
                            "true isDeprecated false",
                            "8 Ip6IntfStatusSm::handleAddr 2001:db8::1/64 on Ethernet1 isPresent "
                            "true isDeprecated true"));
}

TEST(Ip6IntfStatusSm, AnAddressIsOneRowThatFollowsItsDeprecation) {
    Bench bench;
    bench.start();
    bench.addrIs("2001:db8::1/64");
    EXPECT_THAT(bench.events, ElementsAre("2001:db8::1/64 Ethernet1 present"));

    bench.clear();
    bench.addrIs("2001:db8::1/64", true);
    EXPECT_THAT(bench.events, ElementsAre("2001:db8::1/64 Ethernet1 deprecated"));
    EXPECT_EQ(bench.all->all().size(), 1u);

    bench.clear();
    bench.addrIs("2001:db8::1/64", false);
    EXPECT_THAT(bench.events, ElementsAre("2001:db8::1/64 Ethernet1 present"));

    bench.clear();
    bench.addrDel("2001:db8::1/64");
    EXPECT_THAT(bench.events, ElementsAre("2001:db8::1/64 Ethernet1 absent"));
    EXPECT_TRUE(bench.all->all().empty());
    EXPECT_THAT(bench.traces.messages(),
                ElementsAre("8 Ip6IntfStatusSm::handleAddr 2001:db8::1/64 on Ethernet1 isPresent "
                            "false isDeprecated false"));
}

TEST(Ip6IntfStatusSm, LinkLocalAddressesArePublishedLikeAnyOther) {
    Bench bench;
    bench.start();
    bench.addrIs("fe80::1/64");
    EXPECT_THAT(bench.events, ElementsAre("fe80::1/64 Ethernet1 present"));
}

TEST(Ip6IntfStatusSm, AddressesOfOnePrefixHaveTheirOwnRows) {
    Bench bench;
    bench.start();
    bench.addrIs("2001:db8::1/64");
    bench.addrIs("2001:db8::2/64");
    EXPECT_EQ(bench.all->all().size(), 2u);
}

TEST(Ip6IntfStatusSm, ADeprecatedLinkLocalAddressIsRefusedAndItsRowStaysAsItWas) {
    Bench bench;
    bench.addrIs("fe80::1/64");
    bench.start();
    try {
        bench.addrIs("fe80::1/64", true);
        FAIL() << "accepted";
    } catch (Zin::RangeError const& error) {
        EXPECT_THAT(error.what(), StrEq("cannot deprecate IPv6 link-local address"));
    }
    EXPECT_THAT(bench.events, IsEmpty());
    EXPECT_FALSE(bench.all->all({"Ethernet1", Nimb::Ip6AddrWithMask("fe80::1/64")}).deprecated());
    EXPECT_THAT(bench.traces.messages(),
                ElementsAre("8 Ip6IntfStatusSm::handleAddr fe80::1/64 on Ethernet1 isPresent true "
                            "isDeprecated true"));

    bench.addrDel("fe80::1/64");
    EXPECT_THAT(bench.events, ElementsAre("fe80::1/64 Ethernet1 absent"));
}

TEST(Ip6IntfStatusSm, ADeprecatedLinkLocalAddressKeepsNoOtherFromBeingPublished) {
    Bench bench;
    bench.addrIs("2001:db8::1/64");
    bench.addrIs("fe80::1/64", true);
    bench.addrIs("2001:db8::2/64");
    {
        // Within the turn of whoever publishes the status, the machine stands all the same.
        auto const make = [&] {
            Zin::Turn turn;
            turn.run(
                [&] { bench.sm = ip6IntfStatusSmFactory(bench.status, bench.parent, bench.all); });
        };
        EXPECT_THROW(make(), Zin::RangeError);
    }
    EXPECT_THAT(bench.events, ElementsAre("processPendingDeferredCleanup Ethernet1 IPv6",
                                          "2001:db8::1/64 Ethernet1 present",
                                          "2001:db8::2/64 Ethernet1 present"));
    ASSERT_TRUE(bench.sm);

    bench.clear();
    bench.addrIs("fe80::1/64", false);
    EXPECT_THAT(bench.events, ElementsAre("fe80::1/64 Ethernet1 present"));
}

TEST(Ip6IntfStatusSm, DestructionRequestsTheCleanupThenRemovesEveryRow) {
    Bench bench;
    bench.addrIs("2001:db8::1/64");
    bench.addrIs("fe80::1/64");
    bench.addrIs("2001:db8::2/64", true);
    bench.start();
    bench.sm = nullptr;
    EXPECT_THAT(bench.events,
                ElementsAre("addDeferredCleanup Ethernet1 IPv6", "2001:db8::1/64 Ethernet1 absent",
                            "fe80::1/64 Ethernet1 absent", "2001:db8::2/64 Ethernet1 absent"));
    EXPECT_THAT(bench.traces.messages(),
                ElementsAre("8 Ip6IntfStatusSm::handleDestruction on Ethernet1"));
}

TEST(Ip6IntfStatusSm, AFailingParentKeepsNoRowFromBeingRemoved) {
    Bench bench;
    bench.addrIs("2001:db8::1/64");
    bench.addrIs("2001:db8::2/64");
    bench.start();
    bench.parent->onAddDeferredCleanup = [] { throw std::runtime_error("no clean-up"); };
    EXPECT_THROW(bench.sm->retire(), std::runtime_error);
    EXPECT_TRUE(bench.all->all().empty());
}

TEST(Ip6IntfStatusSm, ARetiredMachineHandlesNothing) {
    Bench bench;
    bench.start();
    bench.sm->retire();
    bench.clear();
    bench.addrIs("2001:db8::1/64");
    bench.sm->handleAddr(Nimb::Ip6AddrWithMask("2001:db8::1/64"));
    bench.sm->handleAllAddr();
    EXPECT_THAT(bench.events, IsEmpty());
    EXPECT_THAT(bench.traces.messages(), IsEmpty());
}

TEST(Ip6IntfStatusSm, AMutedMachineMissesWhatHappensUntilItHandlesAllAgain) {
    Bench bench;
    bench.start();
    bench.sm->hasNotificationActiveIs(false);
    bench.addrIs("2001:db8::1/64");
    EXPECT_THAT(bench.events, IsEmpty());
    bench.sm->hasNotificationActiveIs(true);
    bench.sm->handleAllAddr();
    EXPECT_THAT(bench.events, ElementsAre("2001:db8::1/64 Ethernet1 present"));
}

TEST(Ip6IntfStatusSm, DumpShowsTheAddresses) {
    Bench bench;
    bench.addrIs("2001:db8::2/64");
    bench.addrIs("fe80::1/64");
    bench.start();
    EXPECT_EQ(bench.dump(0),
              "Ip6IntfStatus intfId=Ethernet1\n"
              "addr count 2\n"
              "2001:db8::2/64\n"
              "fe80::1/64\n");
    EXPECT_EQ(bench.dump(2),
              "  Ip6IntfStatus intfId=Ethernet1\n"
              "  addr count 2\n"
              "  2001:db8::2/64\n"
              "  fe80::1/64\n");
}

TEST(Ip6IntfStatusSm, DumpCutsLongListsUnlessItIsVerbose) {
    Bench bench;
    bench.addrIs("2001:db8::1/64");
    bench.addrIs("2001:db8::2/64");
    bench.start();
    EXPECT_EQ(bench.dump(2, false, 1),
              "  Ip6IntfStatus intfId=Ethernet1\n"
              "  addr count 2\n"
              "  -- The following list will be truncated, use verbose option to display all 2 "
              "entries --\n"
              "  2001:db8::1/64\n"
              "  -- This list has been truncated, use verbose option to display all 2 entries "
              "--\n");
    EXPECT_EQ(bench.dump(0, true, 1),
              "Ip6IntfStatus intfId=Ethernet1\n"
              "addr count 2\n"
              "2001:db8::1/64\n"
              "2001:db8::2/64\n");
}

}  // namespace
}  // namespace IpLib::IntfAddrVrfTableImpl
