// How addresses leave the table, over the whole machine of a VRF.

#include <gmock/gmock.h>

#include <functional>
#include <map>
#include <random>
#include <set>

#include "IpLib/IntfAddrVrfTableSm/TestMeddler.h"
#include "IpLib/IntfAddrVrfTableSm/TestSmFixture.h"
#include "Zin/Format.h"

namespace IpLib {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using TestKit::Meddler;
using TestKit::SmFixture;
using TestKit::Texts;

// An address that is published and has never come into the table.
struct Unadmitted : SmFixture {
    Unadmitted() {
        kernelDel("Ethernet1");
        ip("Ethernet1", "10.0.0.1/24");
        clear();
    }
};

TEST(AddressWithdrawal, AnAddressTakesItsRowItsIndexAndItsSetAlong) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.clear();
    fixture.ip("Ethernet1", "");
    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_THAT(fixture.rowsByAddr(), IsEmpty());
    EXPECT_THAT(fixture.sets(), IsEmpty());
    EXPECT_THAT(fixture.traceTexts(),
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
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    auto const set =
        fixture.table->intfAddrEntrySetFromSubnet(Nimb::IpGenAddrWithMask("10.0.0.1/24").prefix());
    TestKit::Recorder<IntfAddrEntrySet> const recorder(set, fixture.events);
    fixture.clear();
    fixture.ip("Ethernet1", "");
    EXPECT_THAT(
        fixture.events,
        ElementsAre("intfAddrEntry intfId=;addr=10.0.0.1;virtualIp=false;subnet=10.0.0.0/24 absent",
                    "intfAddrEntryFromAddr intfId=;addr=10.0.0.1;virtualIp=false absent",
                    "intfAddrEntry intfId=;addr=10.0.0.1;virtualIp=false absent",
                    "intfAddrEntrySetFromSubnet 10.0.0.0/24 absent"));
}

TEST(AddressWithdrawal, AnAddressThatWaitsIsOnlyTakenOutOfTheBacklog) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip("Ethernet2", "10.0.0.1/24");
    fixture.clear();
    fixture.ip("Ethernet2", "");
    EXPECT_THAT(fixture.deferred(), IsEmpty());
    EXPECT_THAT(fixture.traceTexts(),
                ElementsAre("8 handleIntfAddrWithMask ip 10.0.0.1 on Ethernet2 isPresent false "
                            "cleanupPresent false",
                            "9 removeIntfAddrWithMask removing deferred ip 10.0.0.1 on Ethernet2"));
    EXPECT_THAT(fixture.events, IsEmpty());
    EXPECT_THAT(fixture.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1"));
}

TEST(AddressWithdrawal, AnAddressThatNeverCameInChangesNothing) {
    Unadmitted fixture;
    fixture.ip("Ethernet1", "");
    EXPECT_THAT(fixture.traceTexts(),
                ElementsAre("8 handleIntfAddrWithMask ip 10.0.0.1 on Ethernet1 isPresent false "
                            "cleanupPresent false",
                            "9 removeIntfAddr ip 10.0.0.1 on Ethernet1 is not present",
                            "9 removeIntfAddr set for subnet 10.0.0.0/24 on Ethernet1 is not "
                            "present"));
    EXPECT_THAT(fixture.events, IsEmpty());
}

TEST(AddressWithdrawal, TheSetStaysWhileTheInterfaceHasAnotherAddressInTheSubnet) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.secondary("Ethernet1", "10.0.0.2/24");
    auto const set =
        fixture.table->intfAddrEntrySetFromSubnet(Nimb::IpGenAddrWithMask("10.0.0.1/24").prefix());
    fixture.ip("Ethernet1", "");
    EXPECT_THAT(fixture.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.2"));
    EXPECT_EQ(fixture.table->intfAddrEntrySetFromSubnet(set->subnet()), set);
    fixture.secondaryDel("Ethernet1", "10.0.0.2/24");
    EXPECT_THAT(fixture.sets(), IsEmpty());
}

TEST(AddressWithdrawal, WithdrawingTheLastPreferredAddressRemovesTheSubnet) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    fixture.ip6("Ethernet1", "2001:db8::2/64", true);
    fixture.ip6Del("Ethernet1", "2001:db8::1/64");
    EXPECT_THAT(fixture.sets(), IsEmpty());
    EXPECT_THAT(fixture.rows(), ElementsAre("2001:db8::2/64 Ethernet1"));
    EXPECT_THAT(fixture.rowsByAddr(), ElementsAre("2001:db8::2/64 Ethernet1"));

    // The deprecated one goes with its own address, and tolerates that its set has gone.
    fixture.clear();
    fixture.ip6Del("Ethernet1", "2001:db8::2/64");
    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_THAT(fixture.rowsByAddr(), IsEmpty());
    EXPECT_THAT(fixture.traceTexts(),
                AllOf(Contains("9 removeIntfAddr removing ip 2001:db8::2 on Ethernet1"),
                      Contains("9 removeIntfAddr set for subnet 2001:db8::/64 on Ethernet1 is not "
                               "present")));
}

TEST(AddressWithdrawal, ADeprecatedAddressWithoutItsSetMakesANewOneWhenItIsPreferredAgain) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    fixture.ip6("Ethernet1", "2001:db8::2/64", true);
    fixture.ip6Del("Ethernet1", "2001:db8::1/64");
    fixture.ip6("Ethernet1", "2001:db8::2/64", false);
    EXPECT_THAT(fixture.sets(), ElementsAre("2001:db8::/64 Ethernet1 2001:db8::2"));
}

TEST(AddressWithdrawal, ADeprecatedAddressLeavesTheSetToThePreferredOnes) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    fixture.ip6("Ethernet1", "2001:db8::2/64", true);
    fixture.ip6Del("Ethernet1", "2001:db8::2/64");
    EXPECT_THAT(fixture.rows(), ElementsAre("2001:db8::1/64 Ethernet1"));
    EXPECT_THAT(fixture.rowsByAddr(), ElementsAre("2001:db8::1/64 Ethernet1"));
    EXPECT_THAT(fixture.sets(), ElementsAre("2001:db8::/64 Ethernet1 2001:db8::1"));
}

TEST(AddressWithdrawal, TheLastDeprecatedAddressRemovesItsSet) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "2001:db8::1/64", true);
    fixture.ip6Del("Ethernet1", "2001:db8::1/64");
    EXPECT_THAT(fixture.sets(), IsEmpty());
}

TEST(AddressWithdrawal, PiecesThatAreMissingAreSkipped) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.secondary("Ethernet1", "10.0.1.1/24");
    auto const rowKey = IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1"));
    fixture.table->intfAddrEntryFromAddrDel(rowKey);
    fixture.table->intfAddrEntrySetFromSubnetDel(Nimb::IpGenAddrWithMask("10.0.1.1/24").prefix());
    fixture.clear();

    fixture.ip("Ethernet1", "");
    EXPECT_THAT(fixture.traceTexts(),
                AllOf(Contains("9 removeIntfAddr ip 10.0.0.1 on Ethernet1 is not present"),
                      Contains("9 removeIntfAddr removing set for subnet 10.0.0.0/24 on "
                               "Ethernet1")));
    fixture.secondaryDel("Ethernet1", "10.0.1.1/24");
    EXPECT_THAT(fixture.traceTexts(),
                AllOf(Contains("9 removeIntfAddr removing ip 10.0.1.1 on Ethernet1"),
                      Contains("9 removeIntfAddr set for subnet 10.0.1.0/24 on Ethernet1 is not "
                               "present")));
    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_THAT(fixture.rowsByAddr(), IsEmpty());
    EXPECT_THAT(fixture.sets(), IsEmpty());
}

TEST(AddressWithdrawal, NothingIsWithdrawnWhileTheInterfacesCleanupIsPending) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.clear();
    fixture.ipStatusDel("Ethernet1");
    EXPECT_THAT(fixture.traceTexts(),
                AllOf(Contains("8 handleIntfAddrWithMask ip 10.0.0.1 on Ethernet1 isPresent false "
                               "cleanupPresent true"),
                      Contains("8 handleIntfAddrWithMask deferring removal of ip 10.0.0.1 on "
                               "Ethernet1 as deferred cleanup is present")));
    EXPECT_THAT(fixture.events, IsEmpty());
    EXPECT_THAT(fixture.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1"));
}

TEST(AddressWithdrawal, APendingCleanupOfOneFamilyHoldsNothingOfTheOther) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    fixture.ipStatusDel("Ethernet1");
    fixture.ip6Del("Ethernet1", "2001:db8::1/64");
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
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
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    auto const rowKey = IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1"));
    fixture.table->intfAddrEntryFromAddrIs(intfAddrEntryFactory(
        {rowKey, "Ethernet2", Nimb::IpGenAddrWithMask("10.0.0.1/24").prefix()}));
    EXPECT_EQ(failureOf([&] { fixture.ip("Ethernet1", ""); }),
              "ip 10.0.0.1 on Ethernet1 has unexpected conflict on Ethernet2");
}

TEST(AddressWithdrawal, ASetOfAnotherInterfaceIsAnUnexpectedConflict) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.table->intfAddrEntrySetFromSubnetIs(
        intfAddrEntrySetFactory("Ethernet2", Nimb::IpGenAddrWithMask("10.0.0.1/24").prefix()));
    EXPECT_EQ(failureOf([&] { fixture.ip("Ethernet1", ""); }),
              "subnet 10.0.0.0/24 on Ethernet1 has unexpected conflict on Ethernet2");
}

// The notifications of a withdrawal, by what their text contains.
char const* const withdrawalSteps[] = {"subnet=10.0.0.0/24 absent", "virtualIp=false absent",
                                       "intfAddrEntrySetFromSubnet"};

TEST(AddressWithdrawal, AnObserverMayBringTheAddressBackAtAnyStep) {
    for (auto const* const step : withdrawalSteps) {
        SmFixture fixture;
        fixture.ip("Ethernet1", "10.0.0.1/24");
        Meddler const meddler(fixture, step, [&] { fixture.ip("Ethernet1", "10.0.0.1/24"); });
        fixture.ip("Ethernet1", "");
        ASSERT_TRUE(meddler.done());
        EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1")) << step;
        EXPECT_THAT(fixture.rowsByAddr(), ElementsAre("10.0.0.1/24 Ethernet1")) << step;
        EXPECT_THAT(fixture.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1")) << step;
    }
}

TEST(AddressWithdrawal, AnObserverMayPutAnotherAddressInItsPlaceAtAnyStep) {
    for (auto const* const step : withdrawalSteps) {
        SmFixture fixture;
        fixture.ip("Ethernet1", "10.0.0.1/24");
        Meddler const meddler(fixture, step, [&] { fixture.ip("Ethernet1", "10.0.0.2/24"); });
        fixture.ip("Ethernet1", "");
        ASSERT_TRUE(meddler.done());
        EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.2/24 Ethernet1")) << step;
        EXPECT_THAT(fixture.rowsByAddr(), ElementsAre("10.0.0.2/24 Ethernet1")) << step;
        EXPECT_THAT(fixture.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.2")) << step;
    }
}

TEST(AddressWithdrawal, AnObserverMayGiveTheAddressToAnotherInterfaceAtAnyStep) {
    for (auto const* const step : withdrawalSteps) {
        SmFixture fixture;
        fixture.ip("Ethernet1", "10.0.0.1/24");
        Meddler const meddler(fixture, step, [&] { fixture.ip("Ethernet2", "10.0.0.1/24"); });
        fixture.ip("Ethernet1", "");
        ASSERT_TRUE(meddler.done());
        // Until all is gone it waits.
        fixture.time.advance(2.0);
        EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet2")) << step;
        EXPECT_THAT(fixture.rowsByAddr(), ElementsAre("10.0.0.1/24 Ethernet2")) << step;
        EXPECT_THAT(fixture.sets(), ElementsAre("10.0.0.0/24 Ethernet2 10.0.0.1")) << step;
    }
}

TEST(AddressWithdrawal, AnObserverMayTakeTheMachineAwayAtAnyStep) {
    for (auto const* const step : withdrawalSteps) {
        SmFixture fixture;
        fixture.ip("Ethernet1", "10.0.0.1/24");
        Meddler const meddler(fixture, step, [&] { fixture.smDel(); });
        fixture.ip("Ethernet1", "");
        ASSERT_TRUE(meddler.done());
        EXPECT_THAT(fixture.rows(), IsEmpty()) << step;
        EXPECT_THAT(fixture.rowsByAddr(), IsEmpty()) << step;
        EXPECT_THAT(fixture.sets(), IsEmpty()) << step;
    }
}

TEST(AddressWithdrawal, AnObserverMayPublishTheAddressAgainAtAnyStepOfACleanup) {
    for (auto const* const step :
         {"subnet=10.0.0.0/24 absent", "intfAddrEntryFromAddr", "SetFromSubnet"}) {
        SmFixture fixture;
        fixture.ip("Ethernet1", "10.0.0.1/24");
        Meddler const meddler(fixture, step, [&] { fixture.ip("Ethernet1", "10.0.0.1/24"); });
        fixture.ipStatusDel("Ethernet1");
        fixture.time.advance(1.5);
        ASSERT_TRUE(meddler.done());
        EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1")) << step;
        EXPECT_THAT(fixture.rowsByAddr(), ElementsAre("10.0.0.1/24 Ethernet1")) << step;
        EXPECT_THAT(fixture.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1")) << step;
    }
}

TEST(AddressWithdrawal, AnObserverMayTakeTheMachineAwayAsATaskWritesTheTable) {
    for (auto const* const step : {"present", "intfAddrEntryFromAddr", "SetFromSubnet"}) {
        SmFixture fixture({.intfCleanupDelay = 0.5, .deferredIntfAddDelay = 1.0});
        fixture.ip("Ethernet1", "10.0.0.1/24");
        fixture.ip("Ethernet2", "10.0.0.1/24");
        fixture.ip("Ethernet3", "10.0.0.1/24");
        fixture.ip("Ethernet1", "");
        Meddler const meddler(fixture, step, [&] { fixture.smDel(); });
        fixture.time.advance(1.0);
        ASSERT_TRUE(meddler.done());
        EXPECT_EQ(fixture.time.scheduler()->nextExpiry(), Velk::never);
    }
    for (auto const* const step :
         {"subnet=10.0.0.0/24 absent", "intfAddrEntryFromAddr", "SetFromSubnet"}) {
        SmFixture fixture({.intfCleanupDelay = 0.5});
        fixture.ip("Ethernet1", "10.0.0.1/24");
        fixture.ip("Ethernet2", "10.0.1.1/24");
        fixture.ipStatusDel("Ethernet1");
        fixture.ipStatusDel("Ethernet2");
        Meddler const meddler(fixture, step, [&] { fixture.smDel(); });
        fixture.time.advance(0.5);
        ASSERT_TRUE(meddler.done());
        EXPECT_EQ(fixture.time.scheduler()->nextExpiry(), Velk::never);
    }
}

// Everything that must hold between the collections of a table that has no deprecated address.
void expectConsistent(SmFixture const& fixture) {
    EXPECT_EQ(fixture.rows(), fixture.rowsByAddr());
    std::map<std::string, std::set<std::string>> sets;
    Texts linkLocals;
    for (auto const& row : fixture.table->intfAddrEntry()) {
        if (row.key.key.addr.isV6LinkLocal()) {
            linkLocals.push_back(SmFixture::text(*row.value));
        } else {
            sets[fmt::format("{} {}", row.key.subnet, row.key.intfId)].insert(
                fmt::format(" {}", row.key.key.addr));
        }
    }
    std::sort(linkLocals.begin(), linkLocals.end());
    EXPECT_EQ(fixture.linkLocals(), linkLocals);
    std::size_t members = 0;
    for (auto const& set : fixture.table->intfAddrEntrySetFromSubnet()) {
        EXPECT_EQ(set.value->intfAddrEntry().size(),
                  sets[fmt::format("{} {}", set.key, set.value->intfId())].size());
        members += set.value->intfAddrEntry().size();
    }
    EXPECT_EQ(members + linkLocals.size(), fixture.table->intfAddrEntry().size());
    // Whatever is published is in the table or waits, never both.
    Texts accounted = fixture.deferred();
    auto const rows = fixture.rows();
    accounted.insert(accounted.end(), rows.begin(), rows.end());
    std::sort(accounted.begin(), accounted.end());
    EXPECT_EQ(accounted, fixture.published());
}

// Preferred addresses only, each with one prefix length; all interfaces are in the kernel.
TEST(AddressWithdrawal, TheTableIsConsistentThroughAnyChangesAndFairInTheEnd) {
    std::mt19937 random(11);
    auto const below = [&](std::uint32_t end) {
        return static_cast<std::uint32_t>(random() % end);
    };
    for (int round = 0; round < 40; ++round) {
        SmFixture fixture({}, below(3));
        for (int step = 0; step < 80; ++step) {
            Nimb::IntfId const intfId(fmt::format("Ethernet{}", below(3)));
            std::string const addr = fmt::format("10.0.{}.{}/24", below(2), 1 + below(2));
            std::string const addr6 = below(2) == 0
                                          ? fmt::format("2001:db8:{}::{}/64", below(2), below(2))
                                          : fmt::format("fe80::{}/64", below(3));
            switch (below(7)) {
                case 0:
                    fixture.ip(intfId, fmt::format("10.0.9.{}/24", below(2)));
                    break;
                case 1:
                    fixture.ip(intfId, "");
                    break;
                case 2:
                    fixture.secondary(intfId, addr);
                    break;
                case 3:
                    fixture.secondaryDel(intfId, addr);
                    break;
                case 4:
                    fixture.ip6(intfId, addr6);
                    break;
                case 5:
                    fixture.ip6Del(intfId, addr6);
                    break;
                default:
                    fixture.time.advance(0.5);
            }
            expectConsistent(fixture);
            ASSERT_FALSE(HasFailure()) << "round " << round << " step " << step;
        }
        // Nothing waits without a reason.
        fixture.time.advance(20.0);
        for (auto const& member : fixture.sm->deferredIntfAddBacklog()->backlog()) {
            auto const& address = member.key.addrWithMask;
            auto const set = fixture.table->intfAddrEntrySetFromSubnet(address.prefix());
            bool const reason = address.isV6LinkLocal()
                                    ? fixture.table->llIntfAddrEntryFromIntfIdHas(member.key.intfId)
                                    : set && set->intfId() != member.key.intfId;
            ASSERT_TRUE(reason) << SmFixture::text(member.key);
        }
    }
}

}  // namespace
}  // namespace IpLib
