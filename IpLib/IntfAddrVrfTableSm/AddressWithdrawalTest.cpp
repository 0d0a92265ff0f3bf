// How addresses leave the table, over the whole machine of a VRF.

#include <gmock/gmock.h>

#include <functional>
#include <map>
#include <random>
#include <set>

#include "IpLib/IntfAddrVrfTableSm/SmBench.h"
#include "IpLib/IntfAddrVrfTableSm/TestMeddler.h"

namespace IpLib {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using Testing::Meddler;
using Testing::SmBench;
using Testing::Texts;

// An address that is published and has never come into the table.
struct Unadmitted : SmBench {
    Unadmitted() {
        kernelDel("Ethernet1");
        ip("Ethernet1", "10.0.0.1/24");
        clear();
    }
};

TEST(AddressWithdrawal, AnAddressTakesItsRowItsIndexAndItsSetAlong) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.clear();
    bench.ip("Ethernet1", "");
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.rowsByAddr(), IsEmpty());
    EXPECT_THAT(bench.sets(), IsEmpty());
    EXPECT_THAT(bench.traceTexts(),
                ElementsAre("8 handleIntfAddrWithMask ip 10.0.0.1 on Ethernet1 isPresent false "
                            "cleanupPresent false",
                            "8 handleIntfAddrEntry ip 10.0.0.1 on Ethernet1 isVirtual false "
                            "isPresent false",
                            "9 removeIntfAddr removing ip 10.0.0.1 on Ethernet1",
                            "9 removeIntfAddr removing ip 10.0.0.1 with subnet 10.0.0.0/24 on "
                            "Ethernet1 from set",
                            "9 removeIntfAddr removing set for subnet 10.0.0.0/24 on Ethernet1"));
    EXPECT_THAT(Tremlog::messages(), IsEmpty());
}

TEST(AddressWithdrawal, RemovesRowThenIndexThenSet) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    auto const set =
        bench.table->intfAddrEntrySetFromSubnet(Nimb::IpGenAddrWithMask("10.0.0.1/24").prefix());
    Testing::Recorder<IntfAddrEntrySet> const recorder(set, bench.events);
    bench.clear();
    bench.ip("Ethernet1", "");
    EXPECT_THAT(
        bench.events,
        ElementsAre("intfAddrEntry intfId=;addr=10.0.0.1;virtualIp=false;subnet=10.0.0.0/24 absent",
                    "intfAddrEntryFromAddr intfId=;addr=10.0.0.1;virtualIp=false absent",
                    "intfAddrEntry intfId=;addr=10.0.0.1;virtualIp=false absent",
                    "intfAddrEntrySetFromSubnet 10.0.0.0/24 absent"));
}

TEST(AddressWithdrawal, AnAddressThatWaitsIsOnlyTakenOutOfTheBacklog) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip("Ethernet2", "10.0.0.1/24");
    bench.clear();
    bench.ip("Ethernet2", "");
    EXPECT_THAT(bench.deferred(), IsEmpty());
    EXPECT_THAT(bench.traceTexts(),
                ElementsAre("8 handleIntfAddrWithMask ip 10.0.0.1 on Ethernet2 isPresent false "
                            "cleanupPresent false",
                            "9 removeIntfAddrWithMask removing deferred ip 10.0.0.1 on Ethernet2"));
    EXPECT_THAT(bench.events, IsEmpty());
    EXPECT_THAT(bench.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1"));
}

TEST(AddressWithdrawal, AnAddressThatNeverCameInChangesNothing) {
    Unadmitted bench;
    bench.ip("Ethernet1", "");
    EXPECT_THAT(bench.traceTexts(),
                ElementsAre("8 handleIntfAddrWithMask ip 10.0.0.1 on Ethernet1 isPresent false "
                            "cleanupPresent false",
                            "9 removeIntfAddr ip 10.0.0.1 on Ethernet1 is not present",
                            "9 removeIntfAddr set for subnet 10.0.0.0/24 on Ethernet1 is not "
                            "present"));
    EXPECT_THAT(bench.events, IsEmpty());
}

TEST(AddressWithdrawal, TheSetStaysWhileTheInterfaceHasAnotherAddressInTheSubnet) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.secondary("Ethernet1", "10.0.0.2/24");
    auto const set =
        bench.table->intfAddrEntrySetFromSubnet(Nimb::IpGenAddrWithMask("10.0.0.1/24").prefix());
    bench.ip("Ethernet1", "");
    EXPECT_THAT(bench.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.2"));
    EXPECT_EQ(bench.table->intfAddrEntrySetFromSubnet(set->subnet()), set);
    bench.secondaryDel("Ethernet1", "10.0.0.2/24");
    EXPECT_THAT(bench.sets(), IsEmpty());
}

TEST(AddressWithdrawal, WithdrawingTheLastPreferredAddressRemovesTheSubnet) {
    SmBench bench;
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.ip6("Ethernet1", "2001:db8::2/64", true);
    bench.ip6Del("Ethernet1", "2001:db8::1/64");
    EXPECT_THAT(bench.sets(), IsEmpty());
    EXPECT_THAT(bench.rows(), ElementsAre("2001:db8::2/64 Ethernet1"));
    EXPECT_THAT(bench.rowsByAddr(), ElementsAre("2001:db8::2/64 Ethernet1"));

    // The deprecated one goes with its own address, and tolerates that its set has gone.
    bench.clear();
    bench.ip6Del("Ethernet1", "2001:db8::2/64");
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.rowsByAddr(), IsEmpty());
    EXPECT_THAT(bench.traceTexts(),
                AllOf(Contains("9 removeIntfAddr removing ip 2001:db8::2 on Ethernet1"),
                      Contains("9 removeIntfAddr set for subnet 2001:db8::/64 on Ethernet1 is not "
                               "present")));
}

TEST(AddressWithdrawal, ADeprecatedAddressWithoutItsSetMakesANewOneWhenItIsPreferredAgain) {
    SmBench bench;
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.ip6("Ethernet1", "2001:db8::2/64", true);
    bench.ip6Del("Ethernet1", "2001:db8::1/64");
    bench.ip6("Ethernet1", "2001:db8::2/64", false);
    EXPECT_THAT(bench.sets(), ElementsAre("2001:db8::/64 Ethernet1 2001:db8::2"));
}

TEST(AddressWithdrawal, ADeprecatedAddressLeavesTheSetToThePreferredOnes) {
    SmBench bench;
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.ip6("Ethernet1", "2001:db8::2/64", true);
    bench.ip6Del("Ethernet1", "2001:db8::2/64");
    EXPECT_THAT(bench.rows(), ElementsAre("2001:db8::1/64 Ethernet1"));
    EXPECT_THAT(bench.rowsByAddr(), ElementsAre("2001:db8::1/64 Ethernet1"));
    EXPECT_THAT(bench.sets(), ElementsAre("2001:db8::/64 Ethernet1 2001:db8::1"));
}

TEST(AddressWithdrawal, TheLastDeprecatedAddressRemovesItsSet) {
    SmBench bench;
    bench.ip6("Ethernet1", "2001:db8::1/64", true);
    bench.ip6Del("Ethernet1", "2001:db8::1/64");
    EXPECT_THAT(bench.sets(), IsEmpty());
}

TEST(AddressWithdrawal, PiecesThatAreMissingAreSkipped) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.secondary("Ethernet1", "10.0.1.1/24");
    auto const rowKey = IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1"));
    bench.table->intfAddrEntryFromAddrDel(rowKey);
    bench.table->intfAddrEntrySetFromSubnetDel(Nimb::IpGenAddrWithMask("10.0.1.1/24").prefix());
    bench.clear();

    bench.ip("Ethernet1", "");
    EXPECT_THAT(bench.traceTexts(),
                AllOf(Contains("9 removeIntfAddr ip 10.0.0.1 on Ethernet1 is not present"),
                      Contains("9 removeIntfAddr removing set for subnet 10.0.0.0/24 on "
                               "Ethernet1")));
    bench.secondaryDel("Ethernet1", "10.0.1.1/24");
    EXPECT_THAT(bench.traceTexts(),
                AllOf(Contains("9 removeIntfAddr removing ip 10.0.1.1 on Ethernet1"),
                      Contains("9 removeIntfAddr set for subnet 10.0.1.0/24 on Ethernet1 is not "
                               "present")));
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.rowsByAddr(), IsEmpty());
    EXPECT_THAT(bench.sets(), IsEmpty());
}

TEST(AddressWithdrawal, NothingIsWithdrawnWhileTheInterfacesCleanupIsPending) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.clear();
    bench.ipStatusDel("Ethernet1");
    EXPECT_THAT(bench.traceTexts(),
                AllOf(Contains("8 handleIntfAddrWithMask ip 10.0.0.1 on Ethernet1 isPresent false "
                               "cleanupPresent true"),
                      Contains("8 handleIntfAddrWithMask deferring removal of ip 10.0.0.1 on "
                               "Ethernet1 as deferred cleanup is present")));
    EXPECT_THAT(bench.events, IsEmpty());
    EXPECT_THAT(bench.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1"));
}

TEST(AddressWithdrawal, APendingCleanupOfOneFamilyHoldsNothingOfTheOther) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.ipStatusDel("Ethernet1");
    bench.ip6Del("Ethernet1", "2001:db8::1/64");
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

std::string failureOf(std::function<void()> const& act) {
    try {
        act();
    } catch (Pell::AssertionError const& error) {
        EXPECT_EQ(error.className(), "IntfAddrVrfTableSm");
        EXPECT_EQ(error.function(), "removeIntfAddr");
        return error.message();
    }
    return "nothing failed";
}

TEST(AddressWithdrawal, AnIndexEntryOfAnotherInterfaceIsAnUnexpectedConflict) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    auto const rowKey = IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1"));
    bench.table->intfAddrEntryFromAddrIs(intfAddrEntryFactory(
        {rowKey, "Ethernet2", Nimb::IpGenAddrWithMask("10.0.0.1/24").prefix()}));
    EXPECT_EQ(failureOf([&] { bench.ip("Ethernet1", ""); }),
              "ip 10.0.0.1 on Ethernet1 has unexpected conflict on Ethernet2");
}

TEST(AddressWithdrawal, ASetOfAnotherInterfaceIsAnUnexpectedConflict) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.table->intfAddrEntrySetFromSubnetIs(
        intfAddrEntrySetFactory("Ethernet2", Nimb::IpGenAddrWithMask("10.0.0.1/24").prefix()));
    EXPECT_EQ(failureOf([&] { bench.ip("Ethernet1", ""); }),
              "subnet 10.0.0.0/24 on Ethernet1 has unexpected conflict on Ethernet2");
}

// The notifications of a withdrawal, by what their text contains.
char const* const withdrawalSteps[] = {"subnet=10.0.0.0/24 absent", "virtualIp=false absent",
                                       "intfAddrEntrySetFromSubnet"};

TEST(AddressWithdrawal, AnObserverMayBringTheAddressBackAtAnyStep) {
    for (auto const* const step : withdrawalSteps) {
        SmBench bench;
        bench.ip("Ethernet1", "10.0.0.1/24");
        Meddler const meddler(bench, step, [&] { bench.ip("Ethernet1", "10.0.0.1/24"); });
        bench.ip("Ethernet1", "");
        ASSERT_TRUE(meddler.done());
        EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1")) << step;
        EXPECT_THAT(bench.rowsByAddr(), ElementsAre("10.0.0.1/24 Ethernet1")) << step;
        EXPECT_THAT(bench.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1")) << step;
    }
}

TEST(AddressWithdrawal, AnObserverMayPutAnotherAddressInItsPlaceAtAnyStep) {
    for (auto const* const step : withdrawalSteps) {
        SmBench bench;
        bench.ip("Ethernet1", "10.0.0.1/24");
        Meddler const meddler(bench, step, [&] { bench.ip("Ethernet1", "10.0.0.2/24"); });
        bench.ip("Ethernet1", "");
        ASSERT_TRUE(meddler.done());
        EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.2/24 Ethernet1")) << step;
        EXPECT_THAT(bench.rowsByAddr(), ElementsAre("10.0.0.2/24 Ethernet1")) << step;
        EXPECT_THAT(bench.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.2")) << step;
    }
}

TEST(AddressWithdrawal, AnObserverMayGiveTheAddressToAnotherInterfaceAtAnyStep) {
    for (auto const* const step : withdrawalSteps) {
        SmBench bench;
        bench.ip("Ethernet1", "10.0.0.1/24");
        Meddler const meddler(bench, step, [&] { bench.ip("Ethernet2", "10.0.0.1/24"); });
        bench.ip("Ethernet1", "");
        ASSERT_TRUE(meddler.done());
        // Until all is gone it waits.
        bench.time.advance(2.0);
        EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet2")) << step;
        EXPECT_THAT(bench.rowsByAddr(), ElementsAre("10.0.0.1/24 Ethernet2")) << step;
        EXPECT_THAT(bench.sets(), ElementsAre("10.0.0.0/24 Ethernet2 10.0.0.1")) << step;
    }
}

TEST(AddressWithdrawal, AnObserverMayTakeTheMachineAwayAtAnyStep) {
    for (auto const* const step : withdrawalSteps) {
        SmBench bench;
        bench.ip("Ethernet1", "10.0.0.1/24");
        Meddler const meddler(bench, step, [&] { bench.smDel(); });
        bench.ip("Ethernet1", "");
        ASSERT_TRUE(meddler.done());
        EXPECT_THAT(bench.rows(), IsEmpty()) << step;
        EXPECT_THAT(bench.rowsByAddr(), IsEmpty()) << step;
        EXPECT_THAT(bench.sets(), IsEmpty()) << step;
    }
}

TEST(AddressWithdrawal, AnObserverMayPublishTheAddressAgainAtAnyStepOfACleanup) {
    for (auto const* const step :
         {"subnet=10.0.0.0/24 absent", "intfAddrEntryFromAddr", "SetFromSubnet"}) {
        SmBench bench;
        bench.ip("Ethernet1", "10.0.0.1/24");
        Meddler const meddler(bench, step, [&] { bench.ip("Ethernet1", "10.0.0.1/24"); });
        bench.ipStatusDel("Ethernet1");
        bench.time.advance(1.5);
        ASSERT_TRUE(meddler.done());
        EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1")) << step;
        EXPECT_THAT(bench.rowsByAddr(), ElementsAre("10.0.0.1/24 Ethernet1")) << step;
        EXPECT_THAT(bench.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1")) << step;
    }
}

TEST(AddressWithdrawal, AnObserverMayTakeTheMachineAwayAsATaskWritesTheTable) {
    for (auto const* const step : {"present", "intfAddrEntryFromAddr", "SetFromSubnet"}) {
        SmBench bench({.intfCleanupDelay = 0.5, .deferredIntfAddDelay = 1.0});
        bench.ip("Ethernet1", "10.0.0.1/24");
        bench.ip("Ethernet2", "10.0.0.1/24");
        bench.ip("Ethernet3", "10.0.0.1/24");
        bench.ip("Ethernet1", "");
        Meddler const meddler(bench, step, [&] { bench.smDel(); });
        bench.time.advance(1.0);
        ASSERT_TRUE(meddler.done());
        EXPECT_EQ(bench.time.scheduler()->nextExpiry(), Velk::never);
    }
    for (auto const* const step :
         {"subnet=10.0.0.0/24 absent", "intfAddrEntryFromAddr", "SetFromSubnet"}) {
        SmBench bench({.intfCleanupDelay = 0.5});
        bench.ip("Ethernet1", "10.0.0.1/24");
        bench.ip("Ethernet2", "10.0.1.1/24");
        bench.ipStatusDel("Ethernet1");
        bench.ipStatusDel("Ethernet2");
        Meddler const meddler(bench, step, [&] { bench.smDel(); });
        bench.time.advance(0.5);
        ASSERT_TRUE(meddler.done());
        EXPECT_EQ(bench.time.scheduler()->nextExpiry(), Velk::never);
    }
}

// Everything that must hold between the collections of a table that has no deprecated address.
void expectConsistent(SmBench const& bench) {
    EXPECT_EQ(bench.rows(), bench.rowsByAddr());
    std::map<std::string, std::set<std::string>> sets;
    Texts linkLocals;
    for (auto const& row : bench.table->intfAddrEntry()) {
        if (row.key.key.addr.isV6LinkLocal()) {
            linkLocals.push_back(SmBench::text(*row.value));
        } else {
            sets[fmt::format("{} {}", row.key.subnet, row.key.intfId)].insert(
                fmt::format(" {}", row.key.key.addr));
        }
    }
    std::sort(linkLocals.begin(), linkLocals.end());
    EXPECT_EQ(bench.linkLocals(), linkLocals);
    std::size_t members = 0;
    for (auto const& set : bench.table->intfAddrEntrySetFromSubnet()) {
        EXPECT_EQ(set.value->intfAddrEntry().size(),
                  sets[fmt::format("{} {}", set.key, set.value->intfId())].size());
        members += set.value->intfAddrEntry().size();
    }
    EXPECT_EQ(members + linkLocals.size(), bench.table->intfAddrEntry().size());
    // Whatever is published is in the table or waits, never both.
    Texts accounted = bench.deferred();
    auto const rows = bench.rows();
    accounted.insert(accounted.end(), rows.begin(), rows.end());
    std::sort(accounted.begin(), accounted.end());
    EXPECT_EQ(accounted, bench.published());
}

// Preferred addresses only, each with one prefix length; all interfaces are in the kernel.
TEST(AddressWithdrawal, TheTableIsConsistentThroughAnyChangesAndFairInTheEnd) {
    std::mt19937 random(11);
    auto const below = [&](std::uint32_t end) {
        return static_cast<std::uint32_t>(random() % end);
    };
    for (int round = 0; round < 40; ++round) {
        SmBench bench({}, below(3));
        for (int step = 0; step < 80; ++step) {
            Nimb::IntfId const intfId(fmt::format("Ethernet{}", below(3)));
            std::string const addr = fmt::format("10.0.{}.{}/24", below(2), 1 + below(2));
            std::string const addr6 = below(2) == 0
                                          ? fmt::format("2001:db8:{}::{}/64", below(2), below(2))
                                          : fmt::format("fe80::{}/64", below(3));
            switch (below(7)) {
                case 0:
                    bench.ip(intfId, fmt::format("10.0.9.{}/24", below(2)));
                    break;
                case 1:
                    bench.ip(intfId, "");
                    break;
                case 2:
                    bench.secondary(intfId, addr);
                    break;
                case 3:
                    bench.secondaryDel(intfId, addr);
                    break;
                case 4:
                    bench.ip6(intfId, addr6);
                    break;
                case 5:
                    bench.ip6Del(intfId, addr6);
                    break;
                default:
                    bench.time.advance(0.5);
            }
            expectConsistent(bench);
            ASSERT_FALSE(HasFailure()) << "round " << round << " step " << step;
        }
        // Nothing waits without a reason.
        bench.time.advance(20.0);
        for (auto const& member : bench.sm->deferredIntfAddBacklog()->backlog()) {
            auto const& address = member.key.addrWithMask;
            auto const set = bench.table->intfAddrEntrySetFromSubnet(address.prefix());
            bool const reason = address.isV6LinkLocal()
                                    ? bench.table->llIntfAddrEntryFromIntfIdHas(member.key.intfId)
                                    : set && set->intfId() != member.key.intfId;
            ASSERT_TRUE(reason) << SmBench::text(member.key);
        }
    }
}

}  // namespace
}  // namespace IpLib
