// Clean-up of what an interface has in the table, over the whole machine of a VRF.

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "IpLib/IntfAddrVrfTableSm/SmBench.h"

namespace IpLib {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using Testing::SmBench;
using Testing::Texts;
using ::testing::UnorderedElementsAre;

constexpr auto ipv4 = Nimb::AddressFamily::ipv4;
constexpr auto ipv6 = Nimb::AddressFamily::ipv6;

constexpr IntfAddrVrfTableSmConfig atOnce{.intfCleanupDelay = 0.0};

// The traces of the machine that speak of clean-ups.
Texts cleanupTraces(SmBench const& bench) {
    Texts texts;
    for (auto const& text : bench.traceTexts()) {
        if (text.find("clean") != std::string::npos || text.find("Cleanup") != std::string::npos) {
            texts.push_back(text);
        }
    }
    return texts;
}

std::string failureOf(std::function<void()> const& step) {
    try {
        step();
    } catch (Pell::AssertionError const& error) {
        EXPECT_EQ(error.className(), "IntfAddrVrfTableSm");
        return error.message();
    }
    return "nothing failed";
}

TEST(InterfaceCleanup, RowsOfAVanishedInterfaceStayForTheDelayAndNotLonger) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.secondary("Ethernet1", "10.0.0.2/24");
    bench.ip("Ethernet2", "10.0.1.1/24");
    bench.time.advanceTo(10.0);

    bench.ipStatusDel("Ethernet1");
    EXPECT_THAT(bench.published(), ElementsAre("10.0.1.1/24 Ethernet2"));
    bench.time.advanceTo(std::nextafter(11.5, 0.0));
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "10.0.0.2/24 Ethernet1",
                                          "10.0.1.1/24 Ethernet2"));

    bench.time.advanceTo(11.5);
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.1.1/24 Ethernet2"));
    EXPECT_THAT(bench.rowsByAddr(), ElementsAre("10.0.1.1/24 Ethernet2"));
    EXPECT_THAT(bench.sets(), ElementsAre("10.0.1.0/24 Ethernet2 10.0.1.1"));
}

TEST(InterfaceCleanup, TellsOfEachRequest) {
    SmBench bench;
    bench.time.advanceTo(10.0);
    bench.clear();
    bench.sm->addDeferredCleanup("Ethernet1", ipv4);
    bench.sm->addDeferredCleanup("Ethernet1", ipv4);
    bench.sm->addDeferredCleanup("Ethernet1", ipv6);
    EXPECT_THAT(bench.traceTexts(),
                ElementsAre("9 addDeferredCleanup cleanup deferred for Ethernet1 af IPv4 at 10",
                            "9 addDeferredCleanup cleanup already pending for Ethernet1 IPv4",
                            "9 addDeferredCleanup cleanup deferred for Ethernet1 af IPv6 at 10"));
    EXPECT_THAT(bench.tracesOf("IntfCleanupSm"),
                ElementsAre("8 maybeScheduleTask task is scheduled to run in 1.5 seconds",
                            "8 maybeScheduleTask task is scheduled to run in 1.5 seconds"));
    EXPECT_EQ(bench.sm->intfCleanupBacklog()->backlogQueue().size(), 2u);
}

TEST(InterfaceCleanup, TellsOfAllThatItRemoves) {
    SmBench bench;
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.ip6("Ethernet1", "2001:db8::2/64", true);
    bench.ip6("Ethernet1", "fe80::1/64");
    bench.ip6("Ethernet2", "2001:db8:1::2/64");
    bench.ip6("Ethernet1", "2001:db8:1::1/64");
    ASSERT_THAT(bench.deferred(), ElementsAre("2001:db8:1::1/64 Ethernet1"));
    bench.clear();

    bench.sm->processCleanupIntf("Ethernet1", ipv6);

    EXPECT_THAT(
        cleanupTraces(bench),
        ElementsAre("8 processCleanupIntf cleaning up Ethernet1 for address-family IPv6",
                    "9 processCleanupIntf cleaning up ip 2001:db8::1 on Ethernet1",
                    "9 processCleanupIntf cleaning up ip 2001:db8::2 on Ethernet1",
                    "9 processCleanupIntf cleaning up ip fe80::1 on Ethernet1",
                    "9 processCleanupIntf cleaning up subnet 2001:db8::/64 on Ethernet1",
                    "9 processCleanupIntf cleaning up ipv6 link-local address on Ethernet1",
                    "9 processCleanupIntf removing deferred ip 2001:db8:1::1 on Ethernet1"));
    EXPECT_THAT(Tremlog::messages(),
                ElementsAre("cleaning up Ethernet1 for address-family IPv6",
                            "cleaning up ip 2001:db8::1 on Ethernet1",
                            "cleaning up ip 2001:db8::2 on Ethernet1",
                            "cleaning up ip fe80::1 on Ethernet1",
                            "removing deferred ip 2001:db8:1::1 on Ethernet1"));
    EXPECT_THAT(bench.rows(), ElementsAre("2001:db8:1::2/64 Ethernet2"));
    EXPECT_THAT(bench.rowsByAddr(), ElementsAre("2001:db8:1::2/64 Ethernet2"));
    EXPECT_THAT(bench.sets(), ElementsAre("2001:db8:1::/64 Ethernet2 2001:db8:1::2"));
    EXPECT_THAT(bench.linkLocals(), IsEmpty());
    EXPECT_THAT(bench.deferred(), IsEmpty());
}

TEST(InterfaceCleanup, RemovesIndexesBeforeRowsAndSetsBeforeWhatIsLeftInThem) {
    SmBench bench;
    // A row that stands in its set alone.
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.secondary("Ethernet1", "10.0.0.2/24");
    bench.table->intfAddrEntryFromAddrDel(IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.2")));
    bench.clear();

    bench.sm->processCleanupIntf("Ethernet1", ipv4);

    EXPECT_THAT(
        bench.events,
        ElementsAre("intfAddrEntryFromAddr intfId=;addr=10.0.0.1;virtualIp=false absent",
                    "intfAddrEntry intfId=;addr=10.0.0.1;virtualIp=false;subnet=10.0.0.0/24 absent",
                    "intfAddrEntrySetFromSubnet 10.0.0.0/24 absent",
                    "intfAddrEntry intfId=;addr=10.0.0.2;virtualIp=false;subnet=10.0.0.0/24 "
                    "absent"));
    EXPECT_THAT(bench.rows(), IsEmpty());
}

TEST(InterfaceCleanup, ADeprecatedRowThatStandsInItsSetAloneGoesToo) {
    SmBench bench;
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.ip6("Ethernet1", "2001:db8::2/64", true);
    bench.table->intfAddrEntryFromAddrDelAll();
    bench.sm->processCleanupIntf("Ethernet1", ipv6);
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.sets(), IsEmpty());
}

TEST(InterfaceCleanup, ADeprecatedRowThatHasLostItsSetGoesToo) {
    SmBench bench;
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.ip6("Ethernet1", "2001:db8::2/64", true);
    bench.ip6Del("Ethernet1", "2001:db8::1/64");
    ASSERT_THAT(bench.sets(), IsEmpty());
    ASSERT_THAT(bench.rows(), ElementsAre("2001:db8::2/64 Ethernet1"));

    bench.ip6StatusDel("Ethernet1");
    bench.time.advance(1.5);
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.rowsByAddr(), IsEmpty());
}

TEST(InterfaceCleanup, WithoutADelayAnInterfaceIsCleanedUpAtOnce) {
    SmBench bench(atOnce);
    EXPECT_EQ(bench.sm->intfCleanupBacklog(), nullptr);
    EXPECT_EQ(bench.sm->intfCleanupSm(), nullptr);
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip("Ethernet2", "10.0.0.2/24");
    bench.clear();

    bench.ipStatusDel("Ethernet1");
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(
        cleanupTraces(bench),
        AllOf(
            Contains("9 addDeferredCleanup cleaning up for Ethernet1 af IPv4 immediately").Times(1),
            Contains("8 processCleanupIntf cleaning up Ethernet1 for address-family IPv4")
                .Times(1)));
    EXPECT_THAT(bench.deferred(), ElementsAre("10.0.0.2/24 Ethernet2"));
    bench.time.advance(2.0);
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.2/24 Ethernet2"));
}

TEST(InterfaceCleanup, WithoutADelayNothingIsEverPending) {
    SmBench bench(atOnce);
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.clear();
    bench.sm->processPendingDeferredCleanup("Ethernet1", ipv4);
    EXPECT_THAT(bench.traceTexts(), IsEmpty());
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(InterfaceCleanup, WithANegativeDelayTheNextRunOfTheSchedulerCleansUp) {
    SmBench bench({.intfCleanupDelay = -1.0});
    ASSERT_NE(bench.sm->intfCleanupBacklog(), nullptr);
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ipStatusDel("Ethernet1");
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
    bench.time.advance(0.0);
    EXPECT_THAT(bench.rows(), IsEmpty());
}

TEST(InterfaceCleanup, ARepeatedRequestDoesNotPutTheCleanUpOff) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.time.advanceTo(10.0);
    bench.ipStatusDel("Ethernet1");
    bench.time.advanceTo(11.0);
    bench.clear();
    bench.sm->addDeferredCleanup("Ethernet1", ipv4);
    EXPECT_THAT(bench.traceTexts(),
                ElementsAre("9 addDeferredCleanup cleanup already pending for Ethernet1 IPv4"));
    bench.time.advanceTo(11.5);
    EXPECT_THAT(bench.rows(), IsEmpty());
}

TEST(InterfaceCleanup, WithNothingPendingThereIsNothingToCarryOut) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.clear();
    bench.sm->processPendingDeferredCleanup("Ethernet1", ipv4);
    EXPECT_THAT(bench.traceTexts(), IsEmpty());
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(InterfaceCleanup, AnInterfaceThatComesBackIsCleanedUpAtOnceAndNotASecondTime) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.secondary("Ethernet1", "10.0.1.1/24");
    bench.time.advanceTo(10.0);
    bench.ipStatusDel("Ethernet1");
    auto const entry = bench.sm->intfCleanupBacklog()->getBacklog("Ethernet1", ipv4);
    ASSERT_NE(entry, nullptr);
    bench.time.advanceTo(11.0);
    bench.clear();

    bench.ip("Ethernet1", "10.0.0.1/24");
    EXPECT_TRUE(entry->processed());
    EXPECT_THAT(
        cleanupTraces(bench),
        AllOf(Contains(
                  "9 processPendingDeferredCleanup cleaning up for Ethernet1 af IPv4 immediately")
                  .Times(1),
              Contains("8 processCleanupIntf cleaning up Ethernet1 for address-family IPv4")
                  .Times(1)));
    // What is still published is there again, the other address is gone.
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(bench.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1"));

    bench.clear();
    bench.time.advanceTo(20.0);
    EXPECT_THAT(bench.events, IsEmpty());
    EXPECT_THAT(cleanupTraces(bench), IsEmpty());
    EXPECT_TRUE(bench.sm->intfCleanupBacklog()->backlogQueue().empty());
}

TEST(InterfaceCleanup, AnInterfaceThatGoesAgainIsCleanedUpInItsOwnTime) {
    SmBench bench;
    bench.time.advanceTo(10.0);
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ipStatusDel("Ethernet1");
    bench.time.advanceTo(10.5);
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.time.advanceTo(11.0);
    bench.ipStatusDel("Ethernet1");
    EXPECT_EQ(bench.sm->intfCleanupBacklog()->backlogQueue().size(), 2u);

    bench.time.advanceTo(std::nextafter(12.5, 0.0));
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_EQ(bench.sm->intfCleanupBacklog()->backlogQueue().size(), 1u);
    bench.time.advanceTo(12.5);
    EXPECT_THAT(bench.rows(), IsEmpty());
}

TEST(InterfaceCleanup, TheFamiliesGoIndependentlyAndOnlyIpv6TakesTheLinkLocalAddress) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.ip6("Ethernet1", "fe80::1/64");
    bench.time.advanceTo(10.0);
    bench.ipStatusDel("Ethernet1");
    bench.time.advanceTo(10.5);
    bench.ip6StatusDel("Ethernet1");

    bench.time.advanceTo(11.5);
    EXPECT_THAT(bench.rows(), ElementsAre("2001:db8::1/64 Ethernet1", "fe80::1/64 Ethernet1"));
    EXPECT_THAT(bench.linkLocals(), ElementsAre("fe80::1/64 Ethernet1"));

    bench.time.advanceTo(12.0);
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.rowsByAddr(), IsEmpty());
    EXPECT_THAT(bench.linkLocals(), IsEmpty());
}

TEST(InterfaceCleanup, AnAddressWithdrawnWhileACleanUpIsPendingGoesWithIt) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.clear();
    bench.ipStatusDel("Ethernet1");
    EXPECT_THAT(bench.traceTexts(),
                Contains("8 handleIntfAddrWithMask deferring removal of ip 10.0.0.1 on Ethernet1 "
                         "as deferred cleanup is present"));
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(InterfaceCleanup, AnAddressThatWaitsForAVanishedInterfaceGetsItsTurn) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ipStatusDel("Ethernet1");
    bench.ip("Ethernet2", "10.0.0.1/24");
    EXPECT_THAT(bench.deferred(), ElementsAre("10.0.0.1/24 Ethernet2"));

    bench.time.advance(1.5);
    EXPECT_THAT(bench.rows(), IsEmpty());
    bench.time.advance(2.0);
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet2"));
    EXPECT_THAT(bench.deferred(), IsEmpty());
}

TEST(InterfaceCleanup, AWaitingAddressOfAVanishedInterfaceIsDroppedWithIt) {
    SmBench bench({.deferredIntfAddDelay = 2.0});
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip("Ethernet2", "10.0.0.1/24");
    bench.ipStatusDel("Ethernet2");
    EXPECT_THAT(bench.deferred(), ElementsAre("10.0.0.1/24 Ethernet2"));

    bench.clear();
    bench.time.advance(1.5);
    EXPECT_THAT(bench.deferred(), IsEmpty());
    EXPECT_THAT(bench.traceTexts(),
                Contains("9 processCleanupIntf removing deferred ip 10.0.0.1 on Ethernet2"));
    EXPECT_THAT(Tremlog::messages(), Contains("removing deferred ip 10.0.0.1 on Ethernet2"));
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(InterfaceCleanup, AWaitingLinkLocalAddressOfAVanishedInterfaceIsDroppedWithIt) {
    SmBench bench;
    bench.ip6("Ethernet1", "fe80::1/64");
    bench.ip6("Ethernet1", "fe80::2/64");
    bench.ip6StatusDel("Ethernet1");
    bench.time.advance(10.0);
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.linkLocals(), IsEmpty());
    EXPECT_THAT(bench.deferred(), IsEmpty());
}

// The next try comes before the clean-up of the interface that went: nobody wants the address, and
// it still waits.
TEST(InterfaceCleanup, ATryBeforeTheCleanUpFailsAndTheCleanUpComesAllTheSame) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip("Ethernet2", "10.0.0.1/24");
    bench.time.advance(1.0);
    bench.ipStatusDel("Ethernet2");
    EXPECT_EQ(failureOf([&] { bench.time.advance(1.0); }),
              "intfId=Ethernet2;addrWithMask=10.0.0.1/24 missing in all collection");
    bench.time.advance(0.5);
    EXPECT_THAT(bench.deferred(), IsEmpty());
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(InterfaceCleanup, AManyFoldCleanUpGivesWayAndFinishes) {
    SmBench bench({}, 1);
    for (int i = 0; i < 20; ++i) {
        bench.ip(fmt::format("Ethernet{}", i), fmt::format("10.0.{}.1/24", i));
    }
    for (int i = 0; i < 20; ++i) {
        bench.ipStatusDel(fmt::format("Ethernet{}", i));
    }
    bench.clear();
    bench.time.advance(1.5);
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.sets(), IsEmpty());
    EXPECT_THAT(bench.tracesOf("IntfCleanupSm"), Contains(HasSubstr("yielding with")).Times(20));
    EXPECT_EQ(bench.sm->intfCleanupSm()->task()->taskWorkCount(), 20u);
}

TEST(InterfaceCleanup, AMachineThatGoesLeavesTheRowsOfWhatIsPending) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ipStatusDel("Ethernet1");
    bench.smDel();
    bench.time.advance(10.0);
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(InterfaceCleanup, ARequestThatIsProcessedAndStillPendingFails) {
    SmBench bench;
    bench.sm->addDeferredCleanup("Ethernet1", ipv6);
    bench.sm->intfCleanupBacklog()->getBacklog("Ethernet1", ipv6)->processedIs(true);
    EXPECT_EQ(failureOf([&] { bench.sm->addDeferredCleanup("Ethernet1", ipv6); }),
              "backlog contains entry for Ethernet1 af IPv6 that was already processed");
}

TEST(InterfaceCleanup, ARequestWithoutATaskMachineFails) {
    SmBench bench;
    bench.sm->intfCleanupSmDel();
    EXPECT_EQ(failureOf([&] { bench.sm->addDeferredCleanup("Ethernet1", ipv4); }),
              "no intfCleanupSm when there is a delay 1.5");
}

// Observers may do anything while a clean-up tells of what it removes.
class Meddler final : public IntfAddrVrfTable::Notifiee {
public:
    explicit Meddler(SmBench& bench, std::function<void()> step) : step_(std::move(step)) {
        notifierIs(bench.table);
    }

private:
    void handleIntfAddrEntryFromAddr(IntfAddrEntryKey const&) override { meddle(); }
    void handleIntfAddrEntry(IntfAddrEntryContent const&) override { meddle(); }
    void handleIntfAddrEntrySetFromSubnet(Nimb::IpGenPrefix const&) override { meddle(); }
    void meddle() {
        if (auto const step = std::exchange(step_, nullptr)) {
            step();
        }
    }

    std::function<void()> step_;
};

TEST(InterfaceCleanup, ATableThatIsEmptiedDuringACleanUpIsNoProblem) {
    SmBench bench;
    for (char const* const addr : {"10.0.0.1/24", "10.0.0.2/24", "10.0.1.1/24"}) {
        bench.secondary("Ethernet1", addr);
    }
    Meddler const meddler(bench, [&] {
        bench.table->intfAddrEntryFromAddrDelAll();
        bench.table->intfAddrEntrySetFromSubnetDelAll();
        bench.table->intfAddrEntryDelAll();
    });
    bench.ipStatusDel("Ethernet1");
    bench.time.advance(1.5);
    EXPECT_THAT(bench.rows(), IsEmpty());
}

// The same rule as a plain walk of all that there is.
struct PlainWalk {
    std::set<IntfAddrEntryContent> rows;
    std::set<IntfAddrEntryKey> rowsByAddr;
    std::set<Nimb::IpGenPrefix> sets;
    std::set<Nimb::IntfId> linkLocals;
    std::set<IntfAddrWithMaskKey> deferred;

    explicit PlainWalk(SmBench const& bench) {
        for (auto const& row : bench.table->intfAddrEntry()) {
            rows.insert(row.key);
        }
        for (auto const& row : bench.table->intfAddrEntryFromAddr()) {
            rowsByAddr.insert(row.key);
        }
        for (auto const& set : bench.table->intfAddrEntrySetFromSubnet()) {
            sets.insert(set.key);
        }
        for (auto const& row : bench.table->llIntfAddrEntryFromIntfId()) {
            linkLocals.insert(row.key);
        }
        for (auto const& key : bench.sm->deferredIntfAddBacklog()->backlog()) {
            deferred.insert(key.key);
        }
    }

    void cleanUp(SmBench const& bench, Nimb::IntfId const& intfId, Nimb::AddressFamily af) {
        for (auto const& member : bench.table->intfAddrEntryFromAddr()) {
            if (member.key.addr.family() == af && member.value->intfId() == intfId) {
                rowsByAddr.erase(member.key);
                rows.erase(member.value->content());
            }
        }
        for (auto const& member : bench.table->intfAddrEntrySetFromSubnet()) {
            if (member.key.family() == af && member.value->intfId() == intfId) {
                sets.erase(member.key);
                for (auto const& row : member.value->intfAddrEntry()) {
                    rows.erase(row.value->content());
                }
                for (auto const& row : member.value->deprecatedIntfAddrEntry()) {
                    rows.erase(row.value->content());
                }
            }
        }
        if (af == ipv6) {
            linkLocals.erase(intfId);
        }
        std::erase_if(deferred, [&](auto const& key) {
            return key.addrWithMask.family() == af && key.intfId == intfId;
        });
    }

    friend bool operator==(PlainWalk const&, PlainWalk const&) = default;
};

// A table of any content, consistent or not: rows here and there, in sets of their own interface or
// another, deprecated or not, and keys that wait.
void fillAtRandom(SmBench& bench, std::mt19937& random) {
    auto const below = [&](std::uint_fast32_t end) { return random() % end; };
    auto& table = *bench.table;
    for (auto left = below(30); left > 0; --left) {
        Nimb::IntfId const intfId(below(8) == 0 ? "" : fmt::format("Ethernet{}", below(3)));
        std::string const text =
            below(2) == 0
                ? fmt::format("10.0.{}.{}/24", below(3), 1 + below(3))
                : fmt::format("{}::{}/64", below(3) == 0 ? "fe80" : "2001:db8", 1 + below(5));
        Nimb::IpGenAddrWithMask const addr(text);
        auto const key = addr.isV6LinkLocal() ? IntfAddrEntryKey::makeLlKey(addr.address(), intfId)
                                              : IntfAddrEntryKey{{}, addr.address(), below(8) == 0};
        auto const row = table.intfAddrEntryIs({key, intfId, addr.prefix()});
        if (below(5) > 0) {
            table.intfAddrEntryFromAddrIs(row);
        }
        if (addr.isV6LinkLocal()) {
            table.llIntfAddrEntryFromIntfIdIs(row);
        }
        if (below(5) > 0) {
            if (!table.intfAddrEntrySetFromSubnetHas(addr.prefix())) {
                table.intfAddrEntrySetFromSubnetIs(intfAddrEntrySetFactory(intfId, addr.prefix()));
            }
            auto const set = table.intfAddrEntrySetFromSubnet(addr.prefix());
            if (below(3) == 0) {
                set->deprecatedIntfAddrEntryIs(row);
            } else {
                set->intfAddrEntryIs(row);
            }
        }
        if (below(5) == 0) {
            table.intfAddrEntryDel({key, intfId, addr.prefix()});
        }
        if (below(2) == 0) {
            bench.sm->deferredIntfAddBacklog()->backlogIs({intfId, addr});
        }
    }
}

TEST(InterfaceCleanup, RemovesWhatAPlainWalkOfTheTableRemovesAndNothingElse) {
    std::mt19937 random(1);
    std::size_t removed = 0;
    std::size_t kept = 0;
    for (int i = 0; i < 500; ++i) {
        SmBench bench;
        fillAtRandom(bench, random);
        for (int cleanups = 0; cleanups < 3; ++cleanups) {
            Nimb::IntfId const intfId(fmt::format("Ethernet{}", random() % 4));
            auto const af = random() % 2 == 0 ? ipv4 : ipv6;
            PlainWalk expected(bench);
            std::size_t const before = expected.rows.size();
            expected.cleanUp(bench, intfId, af);
            removed += before - expected.rows.size();
            kept += expected.rows.size();

            bench.sm->processCleanupIntf(intfId, af);

            ASSERT_EQ(PlainWalk(bench), expected) << i << " " << intfId;
        }
    }
    EXPECT_GT(removed, 500u);
    EXPECT_GT(kept, 500u);
}

}  // namespace
}  // namespace IpLib
