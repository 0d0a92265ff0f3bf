// What the managers make of inputs that are others, missing or refused, or that come and go while a
// machine is being made.

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <utility>

#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTableSm.h"
#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableSmManager.h"
#include "IpLib/IntfAddrVrfTableManager/TestManagerFixture.h"
#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Zin/Errors.h"

namespace IpLib {
namespace {

using TestKit::ManagerFixture;

TEST(ManagerInputs, AnyOtherInputBindsAllTablesAnew) {
    ManagerFixture fixture;
    fixture.vrfIs("red");
    fixture.vrfIs("blue");
    fixture.managerIs();
    auto const& manager = *fixture.manager;
    auto const otherIp6 = Ip6::statusFactory();
    otherIp6->vrfIp6IntfStatusIs("red", Ip6::vrfIp6IntfStatusFactory());
    otherIp6->vrfIp6IntfStatusIs("blue", Ip6::vrfIp6IntfStatusFactory());

    fixture.manager->allIntfAddrVrfTableSmIs(fixture.ipStatus, otherIp6, fixture.tables);
    for (auto const* const vrf : {"red", "blue"}) {
        EXPECT_EQ(fixture.table(vrf)->vrfIpIntfStatus(), fixture.ipStatus->vrfIpIntfStatus(vrf));
        EXPECT_EQ(fixture.table(vrf)->vrfIp6IntfStatus(), otherIp6->vrfIp6IntfStatus(vrf));
    }
    fixture.ip6Status->vrfIp6IntfStatusIs("red", Ip6::vrfIp6IntfStatusFactory());
    EXPECT_EQ(fixture.table("red")->vrfIp6IntfStatus(), otherIp6->vrfIp6IntfStatus("red"));

    auto const otherTables = allIntfAddrVrfTableFactory();
    otherTables->intfAddrVrfTableIs("red", intfAddrVrfTableFactory());
    otherTables->intfAddrVrfTableIs("blue", intfAddrVrfTableFactory());
    auto const present = manager.allIntfAddrVrfTableSm();
    fixture.manager->allIntfAddrVrfTableSmIs(fixture.ipStatus, otherIp6, otherTables);
    EXPECT_NE(manager.allIntfAddrVrfTableSm(), present);
    for (auto const* const vrf : {"red", "blue"}) {
        auto const table = otherTables->intfAddrVrfTable(vrf);
        EXPECT_EQ(table->vrfIpIntfStatus(), fixture.ipStatus->vrfIpIntfStatus(vrf));
        EXPECT_EQ(table->vrfIp6IntfStatus(), otherIp6->vrfIp6IntfStatus(vrf));
    }
}

// A fixture whose inputs may be taken away, one at a time.
template <class Input, class Make>
void expectRefusedWithout(Input ManagerFixture::*input, Make const& make) {
    ManagerFixture fixture;
    fixture.*input = nullptr;
    EXPECT_THROW(make(fixture), Zin::NullArgumentError);
}

TEST(ManagerInputs, NoneMayBeMissing) {
    auto const bind = [](ManagerFixture& fixture) {
        allIntfAddrVrfTableSmFactory(fixture.ipStatus, fixture.ip6Status, fixture.tables);
    };
    expectRefusedWithout(&ManagerFixture::ipStatus, bind);
    expectRefusedWithout(&ManagerFixture::ip6Status, bind);
    expectRefusedWithout(&ManagerFixture::tables, bind);

    auto const run = [](ManagerFixture& fixture) {
        intfAddrVrfTableSmManagerFactory(fixture.factory, fixture.tables);
    };
    expectRefusedWithout(&ManagerFixture::factory, run);
    expectRefusedWithout(&ManagerFixture::tables, run);

    auto const manage = [](ManagerFixture& fixture) { fixture.managerIs(); };
    expectRefusedWithout(&ManagerFixture::ipStatus, manage);
    expectRefusedWithout(&ManagerFixture::factory, manage);

    expectRefusedWithout(&ManagerFixture::helper, [](ManagerFixture& fixture) {
        intfAddrVrfTableSmFactoryFactory({}, fixture.time.scheduler(), nullptr, nullptr,
                                         fixture.helper);
    });
}

TEST(ManagerInputs, WhatWasUsedForARefusedMachineIsGivenBack) {
    ManagerFixture fixture;
    fixture.managerIs();
    L3::VrfName const tooLong(std::string(148, 'v'));
    EXPECT_THROW(fixture.tableIs(tooLong), Zin::RangeError);
    EXPECT_EQ(fixture.uses(tooLong), 1u);

    fixture.manager = nullptr;

    EXPECT_EQ(fixture.uses(tooLong), 0u);
}

// Does one thing, once, when a row of the table is added or removed.
class Observer final : public IntfAddrVrfTable::Notifiee {
public:
    Observer(Zin::Ptr<IntfAddrVrfTable> const& table, std::function<void()> then)
        : then_(std::move(then)) {
        notifierIs(table);
    }

private:
    void handleIntfAddrEntry(IntfAddrEntryContent const&) override {
        if (then_) {
            std::exchange(then_, nullptr)();
        }
    }

    std::function<void()> then_;
};

TEST(ManagerInputs, ATableThatIsTakenAwayAndPutBackWhileItsMachineIsMadeIsFilledByTheLaterOne) {
    ManagerFixture fixture({.intfCleanupDelay = 0.0});
    fixture.vrfIs("red");
    fixture.ip("red", "Ethernet1", "10.0.0.1/24");
    auto const table = fixture.table("red");
    Observer const observer(table, [&] {
        fixture.tables->intfAddrVrfTableDel("red");
        fixture.tables->intfAddrVrfTableIs("red", table);
    });

    fixture.managerIs();

    auto const sm = fixture.sm("red");
    ASSERT_TRUE(sm);
    EXPECT_FALSE(sm->retired());
    EXPECT_EQ(sm->intfAddrVrfTable(), table);
}

}  // namespace
}  // namespace IpLib
