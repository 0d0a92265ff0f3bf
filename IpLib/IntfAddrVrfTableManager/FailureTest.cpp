// To whom a failure is thrown, and what it leaves behind.

#include <gmock/gmock.h>

#include <string>

#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableSmManager.h"
#include "IpLib/IntfAddrVrfTableManager/TestManagerFixture.h"
#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Pell/Assertion.h"
#include "Zin/Errors.h"

namespace IpLib {
namespace {

using ::testing::ElementsAre;
using TestKit::expectConsistent;
using TestKit::ManagerFixture;

constexpr IntfAddrVrfTableSmConfig delayed;
constexpr IntfAddrVrfTableSmConfig atOnce{.intfCleanupDelay = 0.0, .deferredIntfAddDelay = 0.0};

// Somebody else has written to the table of VRF red: its row of Ethernet1's address is of
// Ethernet9, which the machine holds for impossible as it withdraws the address.
struct Spoilt : ManagerFixture {
    explicit Spoilt(Config const& smConfig = delayed) : ManagerFixture(smConfig) {
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
    Spoilt fixture;
    EXPECT_EQ(assertionOf([&] { fixture.ip("red", "Ethernet1", "0.0.0.0/0"); }),
              unexpectedConflict);
    fixture.expectRecovery();
}

TEST(Failure, OfATaskIsThrownToWhoRunsTheScheduler) {
    Spoilt fixture;
    fixture.ip("red", "Ethernet2", "10.0.0.2/24");
    fixture.ip("blue", "Ethernet1", "10.0.0.2/24");
    fixture.sm("red")->deferredIntfAddBacklog()->backlogIs(
        {"Ethernet7", Nimb::IpGenAddrWithMask("10.0.7.1/24")});
    EXPECT_EQ(assertionOf([&] { fixture.time.advance(2.0); }),
              "intfId=Ethernet7;addrWithMask=10.0.7.1/24 missing in all collection");
    fixture.time.advance(10.0);
    fixture.ip("blue", "Ethernet1", "10.0.0.1/24");
    fixture.ipDel("red", "Ethernet2");
    fixture.time.advance(10.0);
    fixture.expectRecovery();
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
    Spoilt fixture(atOnce);
    EXPECT_EQ(assertionOf([&] { fixture.tables->intfAddrVrfTableDel("red"); }), unexpectedConflict);
    EXPECT_EQ(fixture.sm("red"), nullptr);
    EXPECT_EQ(fixture.uses("red"), 0u);
    fixture.tableIs("red");
    EXPECT_THAT(fixture.rows("red"), ElementsAre("10.0.0.1/24 Ethernet1"));
}

// Drops the manager when it is told of a row.
class Dropper final : public IntfAddrVrfTable::Notifiee {
public:
    Dropper(ManagerFixture& fixture, L3::VrfName const& vrf) : fixture_(fixture) {
        notifierIs(fixture.table(vrf));
    }

private:
    void handleIntfAddrEntry(IntfAddrEntryContent const&) override { fixture_.manager = nullptr; }

    ManagerFixture& fixture_;
};

TEST(Failure, OfATeardownInAHandlerIsThrownToTheOutermostCaller) {
    Spoilt fixture(atOnce);
    Dropper const dropper(fixture, "blue");
    EXPECT_EQ(assertionOf([&] { fixture.ip("blue", "Ethernet2", "10.0.2.1/24"); }),
              unexpectedConflict);
    EXPECT_EQ(fixture.manager, nullptr);
}

TEST(Failure, OfAMachineLeavesItInAStateThatCanBeReplaced) {
    for (auto const& config : {delayed, atOnce}) {
        Spoilt fixture(config);
        fixture.expectRecovery();
    }
}

TEST(Failure, OfOneAddressLeavesTheOthersPublished) {
    ManagerFixture fixture;
    fixture.vrfIs("red");
    fixture.managerIs();
    EXPECT_THROW(fixture.ip6("red", "Ethernet1", "fe80::1/64", true), Zin::RangeError);
    fixture.ip6("red", "Ethernet1", "2001:db8::1/64");
    EXPECT_THAT(fixture.rows("red"), ElementsAre("2001:db8::1/64 Ethernet1"));

    // A fresh machine meets it again.
    EXPECT_THROW(fixture.tableIs("red"), Zin::RangeError);
    EXPECT_THAT(fixture.rows("red"), ElementsAre("2001:db8::1/64 Ethernet1"));
    fixture.ip6("red", "Ethernet1", "fe80::1/64");
    EXPECT_THAT(fixture.rows("red"),
                ElementsAre("2001:db8::1/64 Ethernet1", "fe80::1/64 Ethernet1"));
}

TEST(Failure, AtTheStartKeepsTheManagerOnlyInATurn) {
    ManagerFixture fixture;
    fixture.vrfIs("red");
    fixture.vrfIs("blue");
    fixture.ip6("red", "Ethernet1", "fe80::1/64", true);
    fixture.ip("red", "Ethernet1", "10.0.0.1/24");
    fixture.ip6("blue", "Ethernet1", "2001:db8::1/64");
    EXPECT_THROW(fixture.managerIs(), Zin::RangeError);
    EXPECT_EQ(fixture.manager, nullptr);
    EXPECT_EQ(fixture.time.scheduler()->nextExpiry(), Velk::never);

    fixture.tableIs("red");
    fixture.tableIs("blue");
    auto const inATurn = [&] {
        Zin::Turn turn;
        fixture.managerIs();
    };
    EXPECT_THROW(inATurn(), Zin::RangeError);
    ASSERT_NE(fixture.manager, nullptr);
    EXPECT_THAT(fixture.rows("red"), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(fixture.rows("blue"), ElementsAre("2001:db8::1/64 Ethernet1"));
}

// Whose each failure of `action` is told to be; the first one reaches the caller.
template <class Action>
TestKit::Texts domainsOf(Action&& action) {
    static TestKit::Texts domains;
    domains.clear();
    auto const before = Pell::assertionHandlerIs([](Pell::AssertionFailure const& failure) {
        domains.emplace_back(failure.domain);
        throw Pell::AssertionError(failure);
    });
    EXPECT_THROW(action(), Pell::AssertionError);
    Pell::assertionHandlerIs(before);
    return domains;
}

TEST(Failure, OfAChangeIsToldToBeOfItsVrf) {
    Spoilt fixture;
    EXPECT_THAT(domainsOf([&] { fixture.ip("red", "Ethernet1", "0.0.0.0/0"); }),
                ElementsAre("red"));
}

// Withdraws what VRF red has on Ethernet1 when it is told of a row.
class Withdrawer final : public IntfAddrVrfTable::Notifiee {
public:
    Withdrawer(ManagerFixture& fixture, L3::VrfName const& vrf) : fixture_(fixture) {
        notifierIs(fixture.table(vrf));
    }

private:
    void handleIntfAddrEntry(IntfAddrEntryContent const&) override {
        fixture_.ip("red", "Ethernet1", "0.0.0.0/0");
    }

    ManagerFixture& fixture_;
};

TEST(Failure, OfAChangeThatComesFromWithinOneOfAnotherVrfIsToldToBeOfItsOwn) {
    Spoilt fixture;
    Withdrawer const withdrawer(fixture, "blue");
    EXPECT_THAT(domainsOf([&] { fixture.ip("blue", "Ethernet2", "10.0.2.1/24"); }),
                ElementsAre("red"));
}

TEST(Failure, OfTheTaskThatAddsLaterIsToldToBeOfItsVrf) {
    Spoilt fixture;
    fixture.sm("red")->deferredIntfAddBacklog()->backlogIs(
        {"Ethernet7", Nimb::IpGenAddrWithMask("10.0.7.1/24")});
    EXPECT_THAT(domainsOf([&] {
                    fixture.sm("red")->deferredIntfAddSm()->maybeScheduleTask();
                    fixture.time.advance(2.0);
                }),
                ElementsAre("red"));
}

TEST(Failure, OfTheTaskThatCleansUpIsToldToBeOfItsVrf) {
    Spoilt fixture;
    fixture.ipDel("red", "Ethernet1");
    fixture.sm("red")->intfCleanupBacklog()->removeBacklog("Ethernet1", Nimb::AddressFamily::ipv4);
    EXPECT_THAT(domainsOf([&] { fixture.time.advance(1.5); }), ElementsAre("red"));
}

}  // namespace
}  // namespace IpLib
