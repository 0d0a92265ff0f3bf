#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableSmManager.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "testing/TraceRecorder.h"
#include "testing/VirtualTime.h"

namespace IpLib {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Texts = std::vector<std::string>;

// Makes machines that have nothing but a table, and writes down what it is asked.
class Factory final : public IntfAddrVrfTableSmAbstractFactory {
public:
    Zin::Ptr<IntfAddrVrfTableSm> make(L3::VrfName const& vrf,
                                      Zin::Ptr<IntfAddrVrfTable> const& table) override {
        calls.push_back(fmt::format("make {}", vrf));
        if (beforeMake) {
            beforeMake(vrf);
        }
        if (makesNone) {
            return nullptr;
        }
        return intfAddrVrfTableSmFactory(vrf, vrf.nsName(), {}, time.scheduler(), nullptr, nullptr,
                                         nullptr, table);
    }
    void unmake(L3::VrfName const& vrf) override {
        calls.push_back(fmt::format("unmake {}", vrf));
        if (beforeUnmake) {
            beforeUnmake(vrf);
        }
    }

    Testing::VirtualTime time;
    Texts calls;
    bool makesNone = false;
    std::function<void(L3::VrfName const&)> beforeMake;
    std::function<void(L3::VrfName const&)> beforeUnmake;
};

struct Bench {
    void managerIs() { manager = intfAddrVrfTableSmManagerFactory(factory, tables); }
    void tableIs(L3::VrfName const& vrf) {
        tables->intfAddrVrfTableIs(vrf, intfAddrVrfTableFactory());
    }
    Texts calls() { return std::exchange(factory->calls, {}); }

    Zin::Ptr<Factory> const factory = Zin::make<Factory>();
    Zin::Ptr<AllIntfAddrVrfTable> const tables = allIntfAddrVrfTableFactory();
    Testing::TraceRecorder traces{"IntfAddrVrfTableSmManager"};
    Zin::Ptr<IntfAddrVrfTableSmManager> manager;
};

TEST(IntfAddrVrfTableSmManager, EveryTableThatIsThereFromTheStartGetsAMachine) {
    Bench bench;
    for (char const* const vrf : {"red", "blue", "green"}) {
        bench.tableIs(vrf);
    }
    bench.managerIs();
    EXPECT_THAT(bench.calls(), ElementsAre("make red", "make blue", "make green"));
    EXPECT_EQ(bench.manager->intfAddrVrfTableSm().size(), 3u);
    EXPECT_EQ(bench.manager->intfAddrVrfTableSm("red")->intfAddrVrfTable(),
              bench.tables->intfAddrVrfTable("red"));
    EXPECT_THAT(
        bench.traces.messages(),
        ElementsAre(
            "8 IntfAddrVrfTableSmManager::handleInitialized 3 tables",
            "8 IntfAddrVrfTableSmManager::handleIntfAddrVrfTable vrf red isTablePresent true",
            "8 IntfAddrVrfTableSmManager::handleIntfAddrVrfTable vrf blue isTablePresent true",
            "8 IntfAddrVrfTableSmManager::handleIntfAddrVrfTable vrf green isTablePresent true"));
}

TEST(IntfAddrVrfTableSmManager, ATableThatComesLaterGetsAMachine) {
    Bench bench;
    bench.managerIs();
    EXPECT_EQ(bench.manager->intfAddrVrfTableSm("red"), nullptr);
    bench.tableIs("red");
    EXPECT_THAT(bench.calls(), ElementsAre("make red"));
    EXPECT_EQ(bench.manager->intfAddrVrfTableSm("red")->vrfName(), "red");
}

TEST(IntfAddrVrfTableSmManager, ARemovedTableTakesItsMachineAndThenItsUses) {
    bool machineThere = true;  // written until the bench has gone
    Bench bench;
    bench.managerIs();
    bench.tableIs("red");
    bench.tableIs("blue");
    auto const sm = bench.manager->intfAddrVrfTableSm("red");
    bench.calls();
    bench.traces.clear();
    bench.factory->beforeUnmake = [&](auto const& vrf) {
        machineThere = bench.manager->intfAddrVrfTableSm(vrf) != nullptr;
    };

    bench.tables->intfAddrVrfTableDel("red");

    EXPECT_THAT(bench.calls(), ElementsAre("unmake red"));
    EXPECT_FALSE(machineThere);
    EXPECT_TRUE(sm->retired());
    EXPECT_EQ(bench.manager->intfAddrVrfTableSm().size(), 1u);
    EXPECT_THAT(bench.traces.messages(),
                ElementsAre("8 IntfAddrVrfTableSmManager::handleIntfAddrVrfTable vrf red "
                            "isTablePresent false"));
}

TEST(IntfAddrVrfTableSmManager, AVrfThatNeverHadATableIsUnmadeAllTheSame) {
    Bench bench;
    bench.managerIs();
    bench.manager->handleIntfAddrVrfTable("red");
    EXPECT_THAT(bench.calls(), ElementsAre("unmake red"));
}

TEST(IntfAddrVrfTableSmManager, AReplacedTableGetsAFreshMachineAndTheOldOneGoes) {
    Bench bench;
    bench.managerIs();
    bench.tableIs("red");
    auto old = bench.manager->intfAddrVrfTableSm("red");
    bench.tableIs("red");
    auto const fresh = bench.manager->intfAddrVrfTableSm("red");
    EXPECT_NE(fresh, old);
    EXPECT_EQ(fresh->intfAddrVrfTable(), bench.tables->intfAddrVrfTable("red"));
    EXPECT_TRUE(old->retired());
    EXPECT_EQ(old->referenceCount(), 1u);
    EXPECT_FALSE(fresh->retired());
    EXPECT_THAT(bench.calls(), ElementsAre("make red", "make red"));
}

TEST(IntfAddrVrfTableSmManager, EveryNotificationOfATableMakesAndOnlyItsRemovalUnmakes) {
    Bench bench;
    bench.managerIs();
    bench.tableIs("red");
    auto const first = bench.manager->intfAddrVrfTableSm("red");
    bench.manager->handleIntfAddrVrfTable("red");
    EXPECT_NE(bench.manager->intfAddrVrfTableSm("red"), first);
    bench.tables->intfAddrVrfTableDel("red");
    EXPECT_THAT(bench.calls(), ElementsAre("make red", "make red", "unmake red"));
}

TEST(IntfAddrVrfTableSmManager, KeepsMachinesByTheirVrf) {
    Bench bench;
    bench.managerIs();
    bench.tableIs("red");
    auto const sm = bench.manager->intfAddrVrfTableSm("red");
    bench.manager->intfAddrVrfTableSmIs("red", sm);
    EXPECT_FALSE(sm->retired());

    auto const another = bench.factory->make("red", intfAddrVrfTableFactory());
    bench.manager->intfAddrVrfTableSmIs("red", another);
    EXPECT_EQ(bench.manager->intfAddrVrfTableSm("red"), another);
    EXPECT_TRUE(bench.manager->intfAddrVrfTableSmHas("red"));
    EXPECT_TRUE(sm->retired());

    EXPECT_EQ(bench.manager->intfAddrVrfTableSmDel("red"), another);
    EXPECT_FALSE(bench.manager->intfAddrVrfTableSmHas("red"));
    EXPECT_TRUE(another->retired());
    EXPECT_EQ(bench.manager->intfAddrVrfTableSmDel("red"), nullptr);

    auto const third = bench.factory->make("red", intfAddrVrfTableFactory());
    bench.manager->intfAddrVrfTableSmIs("red", third);
    bench.manager->intfAddrVrfTableSmIs("red", nullptr);
    EXPECT_TRUE(third->retired());
    EXPECT_TRUE(bench.manager->intfAddrVrfTableSm().empty());

    bench.manager->intfAddrVrfTableSmIs("red", bench.factory->make("red", nullptr));
    bench.manager->intfAddrVrfTableSmIs("blue", bench.factory->make("blue", nullptr));
    bench.manager->intfAddrVrfTableSmDelAll();
    EXPECT_TRUE(bench.manager->intfAddrVrfTableSm().empty());
}

TEST(IntfAddrVrfTableSmManager, WhenItGoesItsMachinesGoAndAreUnmade) {
    Bench bench;
    bench.tableIs("red");
    bench.tableIs("blue");
    bench.managerIs();
    auto const red = bench.manager->intfAddrVrfTableSm("red");
    bench.calls();

    bench.manager = nullptr;
    EXPECT_THAT(bench.calls(), ElementsAre("unmake red", "unmake blue"));
    EXPECT_TRUE(red->retired());
    EXPECT_EQ(bench.tables->intfAddrVrfTable().size(), 2u);

    bench.traces.clear();
    bench.tableIs("green");
    bench.tables->intfAddrVrfTableDel("red");
    EXPECT_THAT(bench.calls(), IsEmpty());
    EXPECT_THAT(bench.traces.messages(), IsEmpty());
}

TEST(IntfAddrVrfTableSmManager, AMutedManagerMakesNothing) {
    Bench bench;
    bench.managerIs();
    bench.manager->hasNotificationActiveIs(false);
    bench.tableIs("red");
    EXPECT_THAT(bench.calls(), IsEmpty());
    bench.manager->hasNotificationActiveIs(true);
    bench.tableIs("red");
    EXPECT_THAT(bench.calls(), ElementsAre("make red"));
}

TEST(IntfAddrVrfTableSmManager, AFactoryThatMakesNoneLeavesTheVrfWithoutAMachine) {
    Bench bench;
    bench.managerIs();
    bench.tableIs("red");
    auto const old = bench.manager->intfAddrVrfTableSm("red");
    bench.factory->makesNone = true;
    bench.tableIs("red");
    EXPECT_EQ(bench.manager->intfAddrVrfTableSm("red"), nullptr);
    EXPECT_TRUE(old->retired());
}

TEST(IntfAddrVrfTableSmManager, AFactoryThatFailsForOneVrfServesTheOthers) {
    Bench bench;
    for (char const* const vrf : {"red", "blue", "green"}) {
        bench.tableIs(vrf);
    }
    bench.factory->beforeMake = [](auto const& vrf) {
        if (vrf == "blue") {
            throw std::runtime_error("no blue");
        }
    };
    auto const makeAll = [&] {
        Zin::Turn turn;
        bench.managerIs();
    };
    EXPECT_THROW(makeAll(), std::runtime_error);
    EXPECT_EQ(bench.manager->intfAddrVrfTableSm().size(), 2u);
    EXPECT_NE(bench.manager->intfAddrVrfTableSm("green"), nullptr);

    bench.factory->beforeMake = nullptr;
    bench.tableIs("blue");
    EXPECT_NE(bench.manager->intfAddrVrfTableSm("blue"), nullptr);
}

TEST(IntfAddrVrfTableSmManager, KnowsWhatItWasBuiltFrom) {
    Bench bench;
    bench.managerIs();
    EXPECT_EQ(bench.manager->smFactory(), bench.factory);
    EXPECT_EQ(bench.manager->allIntfAddrVrfTable(), bench.tables);
    EXPECT_TRUE(bench.manager->builtFrom(bench.factory, bench.tables));
    EXPECT_FALSE(bench.manager->builtFrom(Zin::make<Factory>(), bench.tables));
    EXPECT_FALSE(bench.manager->builtFrom(bench.factory, allIntfAddrVrfTableFactory()));
}

TEST(IntfAddrVrfTableSmManager, AMachineWhoseTableGoesWhileItIsMadeIsNotKept) {
    Bench bench;
    bench.managerIs();
    bench.factory->beforeMake = [&](auto const& vrf) { bench.tables->intfAddrVrfTableDel(vrf); };
    bench.tableIs("red");
    EXPECT_TRUE(bench.manager->intfAddrVrfTableSm().empty());
    EXPECT_THAT(bench.calls(), ElementsAre("make red", "unmake red"));
}

TEST(IntfAddrVrfTableSmManager, AMachineWhoseTableIsReplacedWhileItIsMadeGivesWay) {
    Bench bench;
    bench.managerIs();
    bench.factory->beforeMake = [&](auto const& vrf) {
        bench.factory->beforeMake = nullptr;
        bench.tableIs(vrf);
    };
    bench.tableIs("red");
    EXPECT_EQ(bench.manager->intfAddrVrfTableSm("red")->intfAddrVrfTable(),
              bench.tables->intfAddrVrfTable("red"));
    EXPECT_FALSE(bench.manager->intfAddrVrfTableSm("red")->retired());
    EXPECT_THAT(bench.calls(), ElementsAre("make red", "make red"));
}

TEST(IntfAddrVrfTableSmManager, AManagerThatGoesWhileItMakesAMachineGivesItBack) {
    Bench bench;
    bench.tableIs("blue");
    bench.managerIs();
    bench.calls();
    bench.factory->beforeMake = [&](auto const&) {
        bench.manager->retire();  // as its owner does
        bench.manager = nullptr;
    };
    bench.tableIs("red");
    EXPECT_THAT(bench.calls(), ElementsAre("make red", "unmake blue", "unmake red"));
}

}  // namespace
}  // namespace IpLib
