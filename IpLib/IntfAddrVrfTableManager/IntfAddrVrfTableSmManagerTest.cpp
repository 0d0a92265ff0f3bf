#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableSmManager.h"

#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Pell/Assertion.h"
#include "TestKit/TraceRecorder.h"
#include "TestKit/VirtualTime.h"
#include "Zin/Format.h"

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

    TestKit::VirtualTime time;
    Texts calls;
    bool makesNone = false;
    std::function<void(L3::VrfName const&)> beforeMake;
    std::function<void(L3::VrfName const&)> beforeUnmake;
};

struct Fixture {
    void managerIs() { manager = intfAddrVrfTableSmManagerFactory(factory, tables); }
    void tableIs(L3::VrfName const& vrf) {
        tables->intfAddrVrfTableIs(vrf, intfAddrVrfTableFactory());
    }
    Texts calls() { return std::exchange(factory->calls, {}); }

    Zin::Ptr<Factory> const factory = Zin::make<Factory>();
    Zin::Ptr<AllIntfAddrVrfTable> const tables = allIntfAddrVrfTableFactory();
    TestKit::TraceRecorder traces{"IntfAddrVrfTableSmManager"};
    Zin::Ptr<IntfAddrVrfTableSmManager> manager;
};

TEST(IntfAddrVrfTableSmManager, EveryTableThatIsThereFromTheStartGetsAMachine) {
    Fixture fixture;
    for (char const* const vrf : {"red", "blue", "green"}) {
        fixture.tableIs(vrf);
    }
    fixture.managerIs();
    EXPECT_THAT(fixture.calls(), ElementsAre("make red", "make blue", "make green"));
    EXPECT_EQ(fixture.manager->intfAddrVrfTableSm().size(), 3u);
    EXPECT_EQ(fixture.manager->intfAddrVrfTableSm("red")->intfAddrVrfTable(),
              fixture.tables->intfAddrVrfTable("red"));
    EXPECT_THAT(
        fixture.traces.messages(),
        ElementsAre(
            "8 IntfAddrVrfTableSmManager::handleInitialized 3 tables",
            "8 IntfAddrVrfTableSmManager::handleIntfAddrVrfTable vrf red isTablePresent true",
            "8 IntfAddrVrfTableSmManager::handleIntfAddrVrfTable vrf blue isTablePresent true",
            "8 IntfAddrVrfTableSmManager::handleIntfAddrVrfTable vrf green isTablePresent true"));
}

TEST(IntfAddrVrfTableSmManager, ATableThatComesLaterGetsAMachine) {
    Fixture fixture;
    fixture.managerIs();
    EXPECT_EQ(fixture.manager->intfAddrVrfTableSm("red"), nullptr);
    fixture.tableIs("red");
    EXPECT_THAT(fixture.calls(), ElementsAre("make red"));
    EXPECT_EQ(fixture.manager->intfAddrVrfTableSm("red")->vrfName(), "red");
}

TEST(IntfAddrVrfTableSmManager, ARemovedTableTakesItsMachineAndThenItsUses) {
    bool machineThere = true;  // written until the fixture has gone
    Fixture fixture;
    fixture.managerIs();
    fixture.tableIs("red");
    fixture.tableIs("blue");
    auto const sm = fixture.manager->intfAddrVrfTableSm("red");
    fixture.calls();
    fixture.traces.clear();
    fixture.factory->beforeUnmake = [&](auto const& vrf) {
        machineThere = fixture.manager->intfAddrVrfTableSm(vrf) != nullptr;
    };

    fixture.tables->intfAddrVrfTableDel("red");

    EXPECT_THAT(fixture.calls(), ElementsAre("unmake red"));
    EXPECT_FALSE(machineThere);
    EXPECT_TRUE(sm->retired());
    EXPECT_EQ(fixture.manager->intfAddrVrfTableSm().size(), 1u);
    EXPECT_THAT(fixture.traces.messages(),
                ElementsAre("8 IntfAddrVrfTableSmManager::handleIntfAddrVrfTable vrf red "
                            "isTablePresent false"));
}

TEST(IntfAddrVrfTableSmManager, AVrfThatNeverHadATableIsUnmadeAllTheSame) {
    Fixture fixture;
    fixture.managerIs();
    fixture.manager->handleIntfAddrVrfTable("red");
    EXPECT_THAT(fixture.calls(), ElementsAre("unmake red"));
}

TEST(IntfAddrVrfTableSmManager, AReplacedTableGetsAFreshMachineAndTheOldOneGoes) {
    Fixture fixture;
    fixture.managerIs();
    fixture.tableIs("red");
    auto old = fixture.manager->intfAddrVrfTableSm("red");
    fixture.tableIs("red");
    auto const fresh = fixture.manager->intfAddrVrfTableSm("red");
    EXPECT_NE(fresh, old);
    EXPECT_EQ(fresh->intfAddrVrfTable(), fixture.tables->intfAddrVrfTable("red"));
    EXPECT_TRUE(old->retired());
    EXPECT_EQ(old->referenceCount(), 1u);
    EXPECT_FALSE(fresh->retired());
    EXPECT_THAT(fixture.calls(), ElementsAre("make red", "make red"));
}

TEST(IntfAddrVrfTableSmManager, EveryNotificationOfATableMakesAndOnlyItsRemovalUnmakes) {
    Fixture fixture;
    fixture.managerIs();
    fixture.tableIs("red");
    auto const first = fixture.manager->intfAddrVrfTableSm("red");
    fixture.manager->handleIntfAddrVrfTable("red");
    EXPECT_NE(fixture.manager->intfAddrVrfTableSm("red"), first);
    fixture.tables->intfAddrVrfTableDel("red");
    EXPECT_THAT(fixture.calls(), ElementsAre("make red", "make red", "unmake red"));
}

TEST(IntfAddrVrfTableSmManager, KeepsMachinesByTheirVrf) {
    Fixture fixture;
    fixture.managerIs();
    fixture.tableIs("red");
    auto const sm = fixture.manager->intfAddrVrfTableSm("red");
    fixture.manager->intfAddrVrfTableSmIs("red", sm);
    EXPECT_FALSE(sm->retired());

    auto const another = fixture.factory->make("red", intfAddrVrfTableFactory());
    fixture.manager->intfAddrVrfTableSmIs("red", another);
    EXPECT_EQ(fixture.manager->intfAddrVrfTableSm("red"), another);
    EXPECT_TRUE(fixture.manager->intfAddrVrfTableSmHas("red"));
    EXPECT_TRUE(sm->retired());

    EXPECT_EQ(fixture.manager->intfAddrVrfTableSmDel("red"), another);
    EXPECT_FALSE(fixture.manager->intfAddrVrfTableSmHas("red"));
    EXPECT_TRUE(another->retired());
    EXPECT_EQ(fixture.manager->intfAddrVrfTableSmDel("red"), nullptr);

    auto const third = fixture.factory->make("red", intfAddrVrfTableFactory());
    fixture.manager->intfAddrVrfTableSmIs("red", third);
    fixture.manager->intfAddrVrfTableSmIs("red", nullptr);
    EXPECT_TRUE(third->retired());
    EXPECT_TRUE(fixture.manager->intfAddrVrfTableSm().empty());

    fixture.manager->intfAddrVrfTableSmIs("red", fixture.factory->make("red", nullptr));
    fixture.manager->intfAddrVrfTableSmIs("blue", fixture.factory->make("blue", nullptr));
    fixture.manager->intfAddrVrfTableSmDelAll();
    EXPECT_TRUE(fixture.manager->intfAddrVrfTableSm().empty());
}

TEST(IntfAddrVrfTableSmManager, WhenItGoesItsMachinesGoAndAreUnmade) {
    Fixture fixture;
    fixture.tableIs("red");
    fixture.tableIs("blue");
    fixture.managerIs();
    auto const red = fixture.manager->intfAddrVrfTableSm("red");
    fixture.calls();

    fixture.manager = nullptr;
    EXPECT_THAT(fixture.calls(), ElementsAre("unmake red", "unmake blue"));
    EXPECT_TRUE(red->retired());
    EXPECT_EQ(fixture.tables->intfAddrVrfTable().size(), 2u);

    fixture.traces.clear();
    fixture.tableIs("green");
    fixture.tables->intfAddrVrfTableDel("red");
    EXPECT_THAT(fixture.calls(), IsEmpty());
    EXPECT_THAT(fixture.traces.messages(), IsEmpty());
}

TEST(IntfAddrVrfTableSmManager, AMutedManagerMakesNothing) {
    Fixture fixture;
    fixture.managerIs();
    fixture.manager->hasNotificationActiveIs(false);
    fixture.tableIs("red");
    EXPECT_THAT(fixture.calls(), IsEmpty());
    fixture.manager->hasNotificationActiveIs(true);
    fixture.tableIs("red");
    EXPECT_THAT(fixture.calls(), ElementsAre("make red"));
}

TEST(IntfAddrVrfTableSmManager, AFactoryThatMakesNoneLeavesTheVrfWithoutAMachine) {
    Fixture fixture;
    fixture.managerIs();
    fixture.tableIs("red");
    auto const old = fixture.manager->intfAddrVrfTableSm("red");
    fixture.factory->makesNone = true;
    fixture.tableIs("red");
    EXPECT_EQ(fixture.manager->intfAddrVrfTableSm("red"), nullptr);
    EXPECT_TRUE(old->retired());
}

TEST(IntfAddrVrfTableSmManager, AFactoryThatFailsForOneVrfServesTheOthers) {
    Fixture fixture;
    for (char const* const vrf : {"red", "blue", "green"}) {
        fixture.tableIs(vrf);
    }
    fixture.factory->beforeMake = [](auto const& vrf) {
        if (vrf == "blue") {
            throw std::runtime_error("no blue");
        }
    };
    auto const makeAll = [&] {
        Zin::Turn turn;
        fixture.managerIs();
    };
    EXPECT_THROW(makeAll(), std::runtime_error);
    EXPECT_EQ(fixture.manager->intfAddrVrfTableSm().size(), 2u);
    EXPECT_NE(fixture.manager->intfAddrVrfTableSm("green"), nullptr);

    fixture.factory->beforeMake = nullptr;
    fixture.tableIs("blue");
    EXPECT_NE(fixture.manager->intfAddrVrfTableSm("blue"), nullptr);
}

TEST(IntfAddrVrfTableSmManager, KnowsWhatItWasBuiltFrom) {
    Fixture fixture;
    fixture.managerIs();
    EXPECT_EQ(fixture.manager->smFactory(), fixture.factory);
    EXPECT_EQ(fixture.manager->allIntfAddrVrfTable(), fixture.tables);
    EXPECT_TRUE(fixture.manager->builtFrom(fixture.factory, fixture.tables));
    EXPECT_FALSE(fixture.manager->builtFrom(Zin::make<Factory>(), fixture.tables));
    EXPECT_FALSE(fixture.manager->builtFrom(fixture.factory, allIntfAddrVrfTableFactory()));
}

TEST(IntfAddrVrfTableSmManager, AMachineWhoseTableGoesWhileItIsMadeIsNotKept) {
    Fixture fixture;
    fixture.managerIs();
    fixture.factory->beforeMake = [&](auto const& vrf) {
        fixture.tables->intfAddrVrfTableDel(vrf);
    };
    fixture.tableIs("red");
    EXPECT_TRUE(fixture.manager->intfAddrVrfTableSm().empty());
    EXPECT_THAT(fixture.calls(), ElementsAre("make red", "unmake red"));
}

TEST(IntfAddrVrfTableSmManager, AMachineWhoseTableIsReplacedWhileItIsMadeGivesWay) {
    Fixture fixture;
    fixture.managerIs();
    fixture.factory->beforeMake = [&](auto const& vrf) {
        fixture.factory->beforeMake = nullptr;
        fixture.tableIs(vrf);
    };
    fixture.tableIs("red");
    EXPECT_EQ(fixture.manager->intfAddrVrfTableSm("red")->intfAddrVrfTable(),
              fixture.tables->intfAddrVrfTable("red"));
    EXPECT_FALSE(fixture.manager->intfAddrVrfTableSm("red")->retired());
    EXPECT_THAT(fixture.calls(), ElementsAre("make red", "make red"));
}

TEST(IntfAddrVrfTableSmManager, AManagerThatGoesWhileItMakesAMachineGivesItBack) {
    Fixture fixture;
    fixture.tableIs("blue");
    fixture.managerIs();
    fixture.calls();
    fixture.factory->beforeMake = [&](auto const&) {
        fixture.manager->retire();  // as its owner does
        fixture.manager = nullptr;
    };
    fixture.tableIs("red");
    EXPECT_THAT(fixture.calls(), ElementsAre("make red", "unmake blue", "unmake red"));
}

TEST(IntfAddrVrfTableSmManager, WhatFailsInMakingAndUnmakingIsToldToBeOfTheVrf) {
    static Texts domains;
    domains.clear();
    auto const before = Pell::assertionHandlerIs([](Pell::AssertionFailure const& failure) {
        domains.emplace_back(failure.domain);
        throw Pell::AssertionError(failure);
    });
    {
        Fixture fixture;
        fixture.factory->beforeMake = [](auto const&) {
            Zin::fail({"Factory", "can make", "make", "it cannot"});
        };
        fixture.factory->beforeUnmake = [](auto const&) {
            Zin::fail({"Factory", "can unmake", "unmake", "it cannot"});
        };
        fixture.managerIs();
        EXPECT_THROW(fixture.tableIs("red"), Pell::AssertionError);
        EXPECT_THROW(fixture.tableIs("blue"), Pell::AssertionError);
        EXPECT_THAT(domains, ElementsAre("red", "blue"));

        domains.clear();
        EXPECT_THROW(fixture.tables->intfAddrVrfTableDel("red"), Pell::AssertionError);
        EXPECT_THROW(fixture.manager->retire(), Pell::AssertionError);
        EXPECT_THAT(domains, ElementsAre("red", "blue"));
    }
    Pell::assertionHandlerIs(before);
}

}  // namespace
}  // namespace IpLib
