#include "Zin/Reactor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Zin/TestLamp.h"

namespace Zin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Writes down what it hears of its lamp, through one reactor that falls silent when the machine is
// retired and one that goes on.
class Machine final : public TestProbe {
public:
    Machine(TestLife& life, Ptr<TestLamp const> lamp, std::vector<std::string>& heard,
            std::function<void()> act)
        : TestProbe(life),
          heard_(heard),
          act_(std::move(act)),
          reactor_(*this, lamp),
          lastingReactor_(*this, lamp) {}

    void handleLevel() {
        heard_.push_back("level");
        act_();
        // Still here, whatever became of it meanwhile.
        EXPECT_GT(referenceCount(), 0u);
    }
    void watchAlsoWhenRetired(Ptr<TestLamp const> lamp) {
        lastingReactor_.notifierIs(std::move(lamp));
    }
    void handleLastingLevel() { heard_.push_back("lasting level"); }

    void hasNotificationActiveIs(bool active) override {
        Entity::hasNotificationActiveIs(active);
        reactor_.hasNotificationActiveIs(active);
        lastingReactor_.hasNotificationActiveIs(active);
    }

private:
    class LevelReactor final : public Reactor<Machine, TestLamp> {
        using Reactor::Reactor;
        void handleLevel() override { forward<&Machine::handleLevel>(); }
    };
    class LastingReactor final : public Reactor<Machine, TestLamp> {
        using Reactor::Reactor;
        void handleLevel() override { forwardDuringTeardown<&Machine::handleLastingLevel>(); }
    };

    std::vector<std::string>& heard_;
    std::function<void()> const act_;
    LevelReactor reactor_;
    LastingReactor lastingReactor_;
};

class Reaction : public testing::Test {
protected:
    Ptr<Machine> makeMachine(std::function<void()> act = [] {}) {
        return make<Machine>(life_, lamp_, heard_, std::move(act));
    }

    TestLife lampLife_;
    TestLife life_;
    Ptr<TestLamp> lamp_ = make<TestLamp>(lampLife_);
    std::vector<std::string> heard_;
};

TEST_F(Reaction, RunsTheMachinesHandler) {
    Ptr<Machine> const machine = makeMachine();
    lamp_->levelIs(1);
    EXPECT_THAT(heard_, ElementsAre("level", "lasting level"));
}

TEST_F(Reaction, ToNothingIsNone) {
    Ptr<Machine> const machine = make<Machine>(life_, nullptr, heard_, [] {});
    lamp_->levelIs(1);
    EXPECT_THAT(heard_, IsEmpty());
}

TEST_F(Reaction, EndsWhenTheMachineIsRetiredAlthoughPointersToItRemain) {
    Ptr<Machine> const machine = makeMachine();
    machine->retire();
    lamp_->levelIs(1);
    EXPECT_THAT(heard_, IsEmpty());
}

TEST_F(Reaction, TakesARetiredMachineOffTheLampsListForGood) {
    Ptr<Machine> const machine = makeMachine();
    EXPECT_FALSE(lamp_->notifieeList().empty());

    machine->retire();
    EXPECT_TRUE(lamp_->notifieeList().empty());
    EXPECT_FALSE(machine->hasNotificationActive());

    machine->hasNotificationActiveIs(true);
    lamp_->levelIs(1);
    EXPECT_THAT(heard_, IsEmpty());

    machine->watchAlsoWhenRetired(lamp_);
    lamp_->levelIs(2);
    EXPECT_THAT(heard_, IsEmpty());
}

TEST_F(Reaction, EndsBeforeTheTeardownRuns) {
    life_.onTeardown = [&](Entity&) { lamp_->levelIs(1); };
    makeMachine() = nullptr;
    EXPECT_THAT(heard_, ElementsAre("lasting level"));
    EXPECT_EQ(life_.destroyed, 1);
}

TEST_F(Reaction, DoesNotReachAMachineThatIsRetiredDuringTheDelivery) {
    Ptr<Machine> machine;
    TestWatcher const first(lamp_, [&] { machine->retire(); });
    machine = makeMachine();

    lamp_->levelIs(1);

    EXPECT_THAT(heard_, IsEmpty());
}

TEST_F(Reaction, DoesNotReachAMachineWhoseLastPointerGoesDuringTheDelivery) {
    Ptr<Machine> machine;
    TestWatcher const first(lamp_, [&] { machine = nullptr; });
    machine = makeMachine();

    lamp_->levelIs(1);

    EXPECT_THAT(heard_, IsEmpty());
    EXPECT_EQ(life_.destroyed, 1);
}

TEST_F(Reaction, KeepsTheMachineInMemoryWhileItsHandlerRuns) {
    Ptr<Machine> machine;
    machine = makeMachine([&] {
        machine = nullptr;
        EXPECT_EQ(life_.destroyed, 0);
    });
    std::vector<int> alsoHeard;
    TestWatcher const after(lamp_, [&] { alsoHeard.push_back(life_.destroyed); });

    lamp_->levelIs(1);

    EXPECT_THAT(heard_, ElementsAre("level"));
    EXPECT_EQ(life_.destroyed, 1);
    EXPECT_THAT(alsoHeard, ElementsAre(1));
}

TEST_F(Reaction, KeepsTheLampOfAMachineThatGoesInItsHandlerUntilTheDeliveryEnds) {
    Ptr<Machine> machine;
    machine = makeMachine([&] {
        machine = nullptr;
        lamp_ = nullptr;
        EXPECT_EQ(lampLife_.destroyed, 0);
    });

    lamp_->levelIs(1);

    EXPECT_EQ(life_.destroyed, 1);
    EXPECT_EQ(lampLife_.destroyed, 1);
}

TEST_F(Reaction, StopsAndGoesOnWithTheMachinesNotification) {
    Ptr<Machine> const machine = makeMachine();

    machine->hasNotificationActiveIs(false);
    lamp_->levelIs(1);
    EXPECT_THAT(heard_, IsEmpty());

    machine->hasNotificationActiveIs(true);
    lamp_->levelIs(2);
    EXPECT_THAT(heard_, ElementsAre("level", "lasting level"));
}

TEST_F(Reaction, ThatFailsAndDropsItsMachineTellsTheMutatorsCaller) {
    Ptr<Machine> machine;
    machine = makeMachine([&] {
        machine = nullptr;
        throw std::runtime_error("handler failed");
    });

    EXPECT_THROW(lamp_->levelIs(1), std::runtime_error);

    EXPECT_EQ(life_.destroyed, 1);
    EXPECT_EQ(lamp_->level(), 1);
}

TEST_F(Reaction, ThatFailsGoesOnWithTheNextChange) {
    bool fails = true;
    Ptr<Machine> const machine = makeMachine([&] {
        if (fails) {
            throw std::runtime_error("handler failed");
        }
    });
    EXPECT_THROW(lamp_->levelIs(1), std::runtime_error);
    EXPECT_THAT(heard_, ElementsAre("level", "lasting level"));
    EXPECT_EQ(machine->referenceCount(), 1u);

    heard_.clear();
    fails = false;
    lamp_->levelIs(2);
    EXPECT_THAT(heard_, ElementsAre("level", "lasting level"));
}

}  // namespace
}  // namespace Zin
