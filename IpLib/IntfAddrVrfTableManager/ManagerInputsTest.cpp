// What the managers make of inputs that are others, missing or refused, or that come and go while a
// machine is being made.

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <utility>

#include "IpLib/IntfAddrVrfTableManager/ManagerBench.h"
#include "Zin/Errors.h"

namespace IpLib {
namespace {

using Testing::ManagerBench;

TEST(ManagerInputs, AnyOtherInputBindsAllTablesAnew) {
    ManagerBench bench;
    bench.vrfIs("red");
    bench.vrfIs("blue");
    bench.managerIs();
    auto const& manager = *bench.manager;
    auto const otherIp6 = Ip6::statusFactory();
    otherIp6->vrfIp6IntfStatusIs("red", Ip6::vrfIp6IntfStatusFactory());
    otherIp6->vrfIp6IntfStatusIs("blue", Ip6::vrfIp6IntfStatusFactory());

    bench.manager->allIntfAddrVrfTableSmIs(bench.ipStatus, otherIp6, bench.tables);
    for (auto const* const vrf : {"red", "blue"}) {
        EXPECT_EQ(bench.table(vrf)->vrfIpIntfStatus(), bench.ipStatus->vrfIpIntfStatus(vrf));
        EXPECT_EQ(bench.table(vrf)->vrfIp6IntfStatus(), otherIp6->vrfIp6IntfStatus(vrf));
    }
    bench.ip6Status->vrfIp6IntfStatusIs("red", Ip6::vrfIp6IntfStatusFactory());
    EXPECT_EQ(bench.table("red")->vrfIp6IntfStatus(), otherIp6->vrfIp6IntfStatus("red"));

    auto const otherTables = allIntfAddrVrfTableFactory();
    otherTables->intfAddrVrfTableIs("red", intfAddrVrfTableFactory());
    otherTables->intfAddrVrfTableIs("blue", intfAddrVrfTableFactory());
    auto const present = manager.allIntfAddrVrfTableSm();
    bench.manager->allIntfAddrVrfTableSmIs(bench.ipStatus, otherIp6, otherTables);
    EXPECT_NE(manager.allIntfAddrVrfTableSm(), present);
    for (auto const* const vrf : {"red", "blue"}) {
        auto const table = otherTables->intfAddrVrfTable(vrf);
        EXPECT_EQ(table->vrfIpIntfStatus(), bench.ipStatus->vrfIpIntfStatus(vrf));
        EXPECT_EQ(table->vrfIp6IntfStatus(), otherIp6->vrfIp6IntfStatus(vrf));
    }
}

// A bench whose inputs may be taken away, one at a time.
template <class Input, class Make>
void expectRefusedWithout(Input ManagerBench::*input, Make const& make) {
    ManagerBench bench;
    bench.*input = nullptr;
    EXPECT_THROW(make(bench), Zin::NullArgumentError);
}

TEST(ManagerInputs, NoneMayBeMissing) {
    auto const bind = [](ManagerBench& bench) {
        allIntfAddrVrfTableSmFactory(bench.ipStatus, bench.ip6Status, bench.tables);
    };
    expectRefusedWithout(&ManagerBench::ipStatus, bind);
    expectRefusedWithout(&ManagerBench::ip6Status, bind);
    expectRefusedWithout(&ManagerBench::tables, bind);

    auto const run = [](ManagerBench& bench) {
        intfAddrVrfTableSmManagerFactory(bench.factory, bench.tables);
    };
    expectRefusedWithout(&ManagerBench::factory, run);
    expectRefusedWithout(&ManagerBench::tables, run);

    auto const manage = [](ManagerBench& bench) { bench.managerIs(); };
    expectRefusedWithout(&ManagerBench::ipStatus, manage);
    expectRefusedWithout(&ManagerBench::factory, manage);

    expectRefusedWithout(&ManagerBench::helper, [](ManagerBench& bench) {
        intfAddrVrfTableSmFactoryFactory({}, bench.time.scheduler(), nullptr, nullptr,
                                         bench.helper);
    });
}

TEST(ManagerInputs, WhatWasUsedForARefusedMachineIsGivenBack) {
    ManagerBench bench;
    bench.managerIs();
    L3::VrfName const tooLong(std::string(148, 'v'));
    EXPECT_THROW(bench.tableIs(tooLong), Zin::RangeError);
    EXPECT_EQ(bench.uses(tooLong), 1u);

    bench.manager = nullptr;

    EXPECT_EQ(bench.uses(tooLong), 0u);
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
    ManagerBench bench({.intfCleanupDelay = 0.0});
    bench.vrfIs("red");
    bench.ip("red", "Ethernet1", "10.0.0.1/24");
    auto const table = bench.table("red");
    Observer const observer(table, [&] {
        bench.tables->intfAddrVrfTableDel("red");
        bench.tables->intfAddrVrfTableIs("red", table);
    });

    bench.managerIs();

    auto const sm = bench.sm("red");
    ASSERT_TRUE(sm);
    EXPECT_FALSE(sm->retired());
    EXPECT_EQ(sm->intfAddrVrfTable(), table);
}

}  // namespace
}  // namespace IpLib
