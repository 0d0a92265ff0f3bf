// The writer of the table alone: the order of its writes, and observers that write the table
// themselves. What comes of it in the machine stands in AddressAdmissionTest,
// AddressWithdrawalTest, InterfaceCleanupsTest, LinkLocalTest and VirtualAddressesTest.
#include "IpLib/IntfAddrVrfTableSm/AddressPlacement.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <utility>
#include <vector>

#include "IpLib/IntfAddrVrfTableTestKit/TableRecorder.h"
#include "Pell/Assertion.h"

namespace IpLib::IntfAddrVrfTableImpl {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Owner final : public Zin::Entity {};

Place place(char const* intfId, char const* addr) {
    return Place({intfId, Nimb::IpGenAddrWithMask(addr)});
}

// Does one thing at the first notification, or after as many as are let pass.
class Writer final : public IntfAddrVrfTable::Notifiee {
public:
    Writer(Zin::Ptr<IntfAddrVrfTable> const& table, std::function<void()> act, int letPass = 0)
        : act_(std::move(act)), letPass_(letPass) {
        notifierIs(table);
    }

private:
    void handleIntfAddrEntry(IntfAddrEntryContent const&) override { write(); }
    void handleIntfAddrEntryFromAddr(IntfAddrEntryKey const&) override { write(); }
    void handleIntfAddrEntrySetFromSubnet(Nimb::IpGenPrefix const&) override { write(); }
    void handleLlIntfAddrEntryFromIntfId(Nimb::IntfId const&) override { write(); }
    void write() {
        if (act_ && letPass_-- == 0) {
            std::exchange(act_, nullptr)();
        }
    }

    std::function<void()> act_;
    int letPass_;
};

class AddressPlacementTest : public testing::Test {
protected:
    AddressPlacementTest() { deferred.backlog().make(); }

    void emptyTable() {
        table->intfAddrEntryFromAddrDelAll();
        table->intfAddrEntrySetFromSubnetDelAll();
        table->llIntfAddrEntryFromIntfIdDelAll();
        table->intfAddrEntryDelAll();
    }
    // What an observer that does `write` at a notification of `step` makes of that.
    void expectTouched(std::function<void()> const& write, std::function<void()> const& step,
                       int letPass = 0) {
        Pell::ThrowOnAssertion const throwOnAssertion;
        Writer const writer(table, write, letPass);
        try {
            step();
            ADD_FAILURE() << "nothing was said";
        } catch (Pell::AssertionError const& error) {
            EXPECT_THAT(error.message(), HasSubstr("an observer of the table has changed"));
        }
    }

    Zin::Ptr<Owner> owner = Zin::make<Owner>();
    Zin::Ptr<IntfAddrVrfTable> table = intfAddrVrfTableFactory();
    DeferredAdds deferred{*owner, table.get()};
    AddressPlacement placement{table.get(), deferred};
    TestKit::Events events;
    TestKit::Recorder<IntfAddrVrfTable> recorder{table, events};
};

TEST_F(AddressPlacementTest, WritesRowIndexAndSetInThisOrder) {
    placement.admit(place("Ethernet1", "10.0.0.1/24"), false);
    EXPECT_THAT(events, ElementsAre(HasSubstr("intfAddrEntry "), HasSubstr("FromAddr"),
                                    HasSubstr("SetFromSubnet")));
    events.clear();
    placement.withdraw(place("Ethernet1", "10.0.0.1/24"));
    EXPECT_THAT(events, ElementsAre(HasSubstr("intfAddrEntry "), HasSubstr("FromAddr"),
                                    HasSubstr("SetFromSubnet")));
}

TEST_F(AddressPlacementTest, PutsAnAddressInConflictIntoTheBacklogAndTakesItOutFromThere) {
    placement.admit(place("Ethernet1", "10.0.0.1/24"), false);
    events.clear();
    placement.admit(place("Ethernet2", "10.0.0.2/24"), false);
    EXPECT_TRUE(deferred.has(place("Ethernet2", "10.0.0.2/24").key));
    placement.withdraw(place("Ethernet2", "10.0.0.2/24"));
    EXPECT_FALSE(deferred.has(place("Ethernet2", "10.0.0.2/24").key));
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(AddressPlacementTest, AddressesThatComeToWaitKeepTheOrderOfTheirChanges) {
    placement.admit(place("Ethernet1", "10.0.0.1/24"), false);
    placement.admit(place("Ethernet4", "10.0.4.1/24"), false);
    auto const submit = [&](Place const& which) {
        table->changes().submit(*owner, which.content,
                                [this, which] { placement.admit(which, false); });
    };
    auto const older = place("Ethernet2", "10.0.0.2/24");
    auto const younger = place("Ethernet3", "10.0.4.2/24");
    auto const linkLocal = place("Ethernet5", "fe80::2/64");
    submit(place("Ethernet5", "fe80::1/64"));
    Writer const writer(table, [&] {
        submit(older);
        submit(younger);
        submit(linkLocal);
    });
    submit(place("Ethernet1", "10.0.0.3/24"));
    std::vector<IntfAddrWithMaskKey> keys;
    for (auto const& member : deferred.backlog().written()->backlog()) {
        keys.push_back(member.key);
    }
    EXPECT_THAT(keys, ElementsAre(older.key, younger.key, linkLocal.key));
}

TEST_F(AddressPlacementTest, AnObserverThatEmptiesTheTableDuringAnAdmissionFailsAnInvariant) {
    expectTouched([this] { emptyTable(); },
                  [this] { placement.admit(place("Ethernet1", "10.0.0.1/24"), false); });
    expectTouched([this] { emptyTable(); },
                  [this] { placement.admit(place("Ethernet1", "fe80::1/64"), false); });
    expectTouched([this] { emptyTable(); },
                  [this] { placement.addVirtual(Nimb::IpGenAddr("10.0.0.1")); });
}

// Whichever of its writes is undone before the last.
TEST_F(AddressPlacementTest, AnObserverThatTakesAwayWhatAnAdmissionWroteFailsAnInvariant) {
    auto const expectEachIsMissed = [this](IntfAddrEntryContent const& row,
                                           std::function<void()> const& admit) {
        emptyTable();
        expectTouched([&] { table->intfAddrEntryDel(row); }, admit);
        emptyTable();
        expectTouched([&] { table->intfAddrEntryFromAddrDel(row.key); }, admit, 1);
    };
    auto const global = place("Ethernet1", "10.0.0.1/24");
    expectEachIsMissed(global.content, [&] { placement.admit(global, false); });
    auto const linkLocal = place("Ethernet1", "fe80::1/64");
    expectEachIsMissed(linkLocal.content, [&] { placement.admit(linkLocal, false); });
    emptyTable();
    expectTouched([&] { table->llIntfAddrEntryFromIntfIdDel("Ethernet1"); },
                  [&] { placement.admit(linkLocal, false); }, 2);
    Nimb::IpGenAddr const virtualAddr("10.0.0.1");
    expectEachIsMissed(AddressPlacement::virtualRow(virtualAddr),
                       [&] { placement.addVirtual(virtualAddr); });
}

TEST_F(AddressPlacementTest, AnObserverThatReplacesASetDuringAnAdmissionFailsAnInvariant) {
    auto const other = intfAddrEntrySetFactory("Ethernet2", Nimb::IpGenPrefix("10.0.0.0/24"));
    expectTouched([&] { table->intfAddrEntrySetFromSubnetIs(other); },
                  [this] { placement.admit(place("Ethernet1", "10.0.0.1/24"), false); }, 2);
}

TEST_F(AddressPlacementTest, AnObserverThatReplacesASetDuringAWithdrawalFailsAnInvariant) {
    placement.admit(place("Ethernet1", "10.0.0.1/24"), false);
    auto const set = table->intfAddrEntrySetFromSubnet(Nimb::IpGenPrefix("10.0.0.0/24"));
    class SetWriter final : public IntfAddrEntrySet::Notifiee {
    public:
        explicit SetWriter(Zin::Ptr<IntfAddrVrfTable> const& table) : table_(table) {}

    private:
        void handleIntfAddrEntry(IntfAddrEntryKey const&) override {
            table_->intfAddrEntrySetFromSubnetIs(
                intfAddrEntrySetFactory("Ethernet2", Nimb::IpGenPrefix("10.0.0.0/24")));
        }
        Zin::Ptr<IntfAddrVrfTable> table_;
    };
    SetWriter writer(table);
    writer.notifierIs(set);
    expectTouched([] {}, [this] { placement.withdraw(place("Ethernet1", "10.0.0.1/24")); });
}

TEST_F(AddressPlacementTest, AnObserverThatTouchesRowsOfACleanupFailsAnInvariant) {
    auto const fill = [this] {
        emptyTable();
        placement.admit(place("Ethernet1", "10.0.0.1/24"), false);
        placement.admit(place("Ethernet1", "10.0.1.1/24"), false);
    };
    auto const cleanUp = [this] { placement.cleanUp({"Ethernet1", Nimb::AddressFamily::ipv4}); };
    fill();
    expectTouched([this] { emptyTable(); }, cleanUp);
    // The next row is given to another interface.
    fill();
    expectTouched(
        [this] {
            table->intfAddrEntryFromAddrIs(
                table->intfAddrEntryIs(place("Ethernet2", "10.0.1.1/24").content));
        },
        cleanUp);
    // So is the next set, or it is gone, as the first one leaves behind both rows.
    int const rowsAndIndexes = 4;
    fill();
    expectTouched([this] { table->intfAddrEntrySetFromSubnetDelAll(); }, cleanUp, rowsAndIndexes);
    fill();
    expectTouched(
        [this] {
            table->intfAddrEntrySetFromSubnetIs(
                intfAddrEntrySetFactory("Ethernet2", Nimb::IpGenPrefix("10.0.1.0/24")));
        },
        cleanUp, rowsAndIndexes);
}

TEST_F(AddressPlacementTest, WhatACleanupIsJustRemovingBelongsToItUntilItIsGone) {
    placement.admit(place("Ethernet1", "10.0.0.1/24"), false);
    IntfAddrEntryContent const other = place("Ethernet2", "10.0.0.1/16").content;
    IntfAddrEntryContent const neighbour = place("Ethernet2", "10.0.0.9/24").content;
    table->changes().submit(*owner, {{}, "Ethernet1", {}}, [&] {
        class Asker final : public IntfAddrVrfTable::Notifiee {
        public:
            std::function<void()> ask;

        private:
            void handleIntfAddrEntryFromAddr(IntfAddrEntryKey const&) override { ask(); }
            void handleIntfAddrEntrySetFromSubnet(Nimb::IpGenPrefix const&) override { ask(); }
        };
        Asker asker;
        asker.ask = [&] {
            for (auto const& scope : {other, neighbour}) {
                table->changes().submit(*owner, scope, [this] {
                    events.push_back(table->intfAddrEntry().empty() ? "free" : "held");
                });
            }
        };
        asker.notifierIs(table);
        placement.cleanUp({"Ethernet1", Nimb::AddressFamily::ipv4});
    });
    EXPECT_EQ(std::count(events.begin(), events.end(), "held"), 0);
    EXPECT_EQ(std::count(events.begin(), events.end(), "free"), 4);
}

}  // namespace
}  // namespace IpLib::IntfAddrVrfTableImpl
