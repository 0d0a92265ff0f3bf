// To whom a failure is thrown, and what it leaves behind.

#include <gmock/gmock.h>

#include <string>

#include "IpLib/IntfAddrVrfTableManager/ManagerBench.h"
#include "Pell/Assertion.h"
#include "Zin/Errors.h"

namespace IpLib {
namespace {

using ::testing::ElementsAre;
using Testing::expectConsistent;
using Testing::ManagerBench;

constexpr IntfAddrVrfTableSmConfig delayed;
constexpr IntfAddrVrfTableSmConfig atOnce{.intfCleanupDelay = 0.0, .deferredIntfAddDelay = 0.0};

// Somebody else has written to the table of VRF red: its row of Ethernet1's address is of
// Ethernet9, which the machine holds for impossible as it withdraws the address.
struct Spoilt : ManagerBench {
    explicit Spoilt(Config const& smConfig = delayed) : ManagerBench(smConfig) {
        vrfIs("red");
        vrfIs("blue");
        managerIs();
        ip("red", "Ethernet1", "10.0.0.1/24");
        ip("blue", "Ethernet1", "10.0.0.1/24");
        Nimb::IpGenAddrWithMask const addr("10.0.0.1/24");
        table("red")->intfAddrEntryFromAddrIs(intfAddrEntryFactory(
            {IntfAddrEntryKey::makeIpKey(addr.address()), "Ethernet9", addr.prefix()}));
    }

    // One VRF's machine is dropped with its table, and a fresh one runs on what is published.
    void expectRecovery() {
        Zin::Ptr<IntfAddrVrfTableSm> const old = sm("red");
        auto const replace = [&] { tableIs("red"); };
        if (config.intfCleanupDelay == 0.0) {
            EXPECT_THROW(replace(), Pell::AssertionError);  // the old one's teardown fails as well
        } else {
            replace();
        }
        EXPECT_NE(sm("red"), old);
        ip("red", "Ethernet1", "10.0.0.1/24");
        EXPECT_THAT(rows("red"), ElementsAre("10.0.0.1/24 Ethernet1"));
        EXPECT_THAT(rows("blue"), ElementsAre("10.0.0.1/24 Ethernet1"));
        expectConsistent(*table("red"));
    }

    Pell::ThrowOnAssertion const throwOnAssertion;
};

template <class Action>
std::string assertionOf(Action&& action) {
    try {
        action();
    } catch (Pell::AssertionError const& error) {
        return error.message();
    }
    return "nothing failed";
}

constexpr auto unexpectedConflict = "ip 10.0.0.1 on Ethernet1 has unexpected conflict on Ethernet9";

TEST(Failure, OfAMutatorIsThrownToItsCaller) {
    Spoilt bench;
    EXPECT_EQ(assertionOf([&] { bench.ip("red", "Ethernet1", "0.0.0.0/0"); }), unexpectedConflict);
    bench.expectRecovery();
}

TEST(Failure, OfATaskIsThrownToWhoRunsTheScheduler) {
    Spoilt bench;
    bench.ip("red", "Ethernet2", "10.0.0.2/24");
    bench.ip("blue", "Ethernet1", "10.0.0.2/24");
    bench.sm("red")->deferredIntfAddBacklog()->backlogIs(
        {"Ethernet7", Nimb::IpGenAddrWithMask("10.0.7.1/24")});
    EXPECT_EQ(assertionOf([&] { bench.time.advance(2.0); }),
              "intfId=Ethernet7;addrWithMask=10.0.7.1/24 missing in all collection");
    bench.time.advance(10.0);
    bench.ip("blue", "Ethernet1", "10.0.0.1/24");
    bench.ipDel("red", "Ethernet2");
    bench.time.advance(10.0);
    bench.expectRecovery();
}

TEST(Failure, OfATeardownIsThrownToWhoseTurnDropsTheManager) {
    Spoilt dropped(atOnce);
    EXPECT_EQ(assertionOf([&] {
                  Zin::Turn const turn;
                  dropped.manager = nullptr;
              }),
              unexpectedConflict);
    EXPECT_EQ(dropped.manager, nullptr);

    Spoilt retired(atOnce);
    EXPECT_EQ(assertionOf([&] { retired.manager->retire(); }), unexpectedConflict);

    Spoilt asked(atOnce);
    EXPECT_EQ(assertionOf([&] { asked.manager->intfAddrVrfTableSmManagerDel(); }),
              unexpectedConflict);
    EXPECT_EQ(asked.manager->intfAddrVrfTableSmManager(), nullptr);
    EXPECT_EQ(asked.uses("red"), 0u);
    EXPECT_EQ(asked.uses("blue"), 0u);
}

TEST(Failure, OfATeardownIsThrownToWhoTakesTheTableAway) {
    Spoilt bench(atOnce);
    EXPECT_EQ(assertionOf([&] { bench.tables->intfAddrVrfTableDel("red"); }), unexpectedConflict);
    EXPECT_EQ(bench.sm("red"), nullptr);
    EXPECT_EQ(bench.uses("red"), 0u);
    bench.tableIs("red");
    EXPECT_THAT(bench.rows("red"), ElementsAre("10.0.0.1/24 Ethernet1"));
}

// Drops the manager when it is told of a row.
class Dropper final : public IntfAddrVrfTable::Notifiee {
public:
    Dropper(ManagerBench& bench, L3::VrfName const& vrf) : bench_(bench) {
        notifierIs(bench.table(vrf));
    }

private:
    void handleIntfAddrEntry(IntfAddrEntryContent const&) override { bench_.manager = nullptr; }

    ManagerBench& bench_;
};

TEST(Failure, OfATeardownInAHandlerIsThrownToTheOutermostCaller) {
    Spoilt bench(atOnce);
    Dropper const dropper(bench, "blue");
    EXPECT_EQ(assertionOf([&] { bench.ip("blue", "Ethernet2", "10.0.2.1/24"); }),
              unexpectedConflict);
    EXPECT_EQ(bench.manager, nullptr);
}

TEST(Failure, OfAMachineLeavesItInAStateThatCanBeReplaced) {
    for (auto const& config : {delayed, atOnce}) {
        Spoilt bench(config);
        bench.expectRecovery();
    }
}

TEST(Failure, OfOneAddressLeavesTheOthersPublished) {
    ManagerBench bench;
    bench.vrfIs("red");
    bench.managerIs();
    EXPECT_THROW(bench.ip6("red", "Ethernet1", "fe80::1/64", true), Zin::RangeError);
    bench.ip6("red", "Ethernet1", "2001:db8::1/64");
    EXPECT_THAT(bench.rows("red"), ElementsAre("2001:db8::1/64 Ethernet1"));

    // A fresh machine meets it again.
    EXPECT_THROW(bench.tableIs("red"), Zin::RangeError);
    EXPECT_THAT(bench.rows("red"), ElementsAre("2001:db8::1/64 Ethernet1"));
    bench.ip6("red", "Ethernet1", "fe80::1/64");
    EXPECT_THAT(bench.rows("red"), ElementsAre("2001:db8::1/64 Ethernet1", "fe80::1/64 Ethernet1"));
}

TEST(Failure, AtTheStartKeepsTheManagerOnlyInATurn) {
    ManagerBench bench;
    bench.vrfIs("red");
    bench.vrfIs("blue");
    bench.ip6("red", "Ethernet1", "fe80::1/64", true);
    bench.ip("red", "Ethernet1", "10.0.0.1/24");
    bench.ip6("blue", "Ethernet1", "2001:db8::1/64");
    EXPECT_THROW(bench.managerIs(), Zin::RangeError);
    EXPECT_EQ(bench.manager, nullptr);
    EXPECT_EQ(bench.time.scheduler()->nextExpiry(), Velk::never);

    bench.tableIs("red");
    bench.tableIs("blue");
    auto const inATurn = [&] {
        Zin::Turn turn;
        bench.managerIs();
    };
    EXPECT_THROW(inATurn(), Zin::RangeError);
    ASSERT_NE(bench.manager, nullptr);
    EXPECT_THAT(bench.rows("red"), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(bench.rows("blue"), ElementsAre("2001:db8::1/64 Ethernet1"));
}

}  // namespace
}  // namespace IpLib
