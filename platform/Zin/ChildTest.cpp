#include "Zin/Child.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>

#include "Zin/TestProbe.h"

namespace Zin {
namespace {

class Worker final : public TestProbe {
public:
    Worker(std::reference_wrapper<TestLife> life, std::string name)
        : TestProbe(life), name_(std::move(name)) {
        if (name_ == "nobody") {
            throw std::invalid_argument("cannot be constructed");
        }
    }
    bool builtFrom(std::reference_wrapper<TestLife>, std::string const& name) const {
        return name_ == name;
    }
    std::string const& name() const { return name_; }

private:
    std::string const name_;
};

class Boss final : public TestProbe {
public:
    Boss(TestLife& life, TestLife& workerLife) : TestProbe(life), workerLife_(workerLife) {}

    Ptr<Worker> const& worker() const { return worker_(); }
    Ptr<Worker> const& workerIs(std::string const& name) { return worker_.is(workerLife_, name); }
    Ptr<Worker> workerDel() { return worker_.del(); }

private:
    std::reference_wrapper<TestLife> const workerLife_;
    Child<Worker> worker_;
};

class OwnedChild : public testing::Test {
protected:
    // What a test hung on them refers to its own variables.
    void TearDown() override { life_ = TestLife(); }

    TestLife bossLife_;
    TestLife life_;
    Ptr<Boss> boss_ = make<Boss>(bossLife_, life_);
};

TEST_F(OwnedChild, IsMadeWithItsNotificationOn) {
    EXPECT_TRUE(boss_->worker() == nullptr);

    Ptr<Worker> const worker = boss_->workerIs("a");

    EXPECT_TRUE(worker->hasNotificationActive());
    EXPECT_TRUE(boss_->worker() == worker);
}

TEST_F(OwnedChild, IsKeptForTheSameInputs) {
    Ptr<Worker> const first = boss_->workerIs("a");
    EXPECT_TRUE(boss_->workerIs("a") == first);
    EXPECT_EQ(life_.initialized, 1);
    EXPECT_FALSE(first->retired());
}

TEST_F(OwnedChild, IsReplacedForOtherInputsAndRetiredAlthoughPointersToItRemain) {
    Ptr<Worker> const first = boss_->workerIs("a");
    bool successorThere = false;
    life_.onTeardown = [&](Entity&) { successorThere = boss_->worker() != first; };

    Ptr<Worker> const second = boss_->workerIs("b");

    EXPECT_TRUE(first->retired());
    EXPECT_TRUE(successorThere);
    EXPECT_FALSE(second->retired());
    EXPECT_TRUE(boss_->worker() == second);
}

TEST_F(OwnedChild, IsReturnedRetiredWhenItIsRemoved) {
    Ptr<Worker> const worker = boss_->workerIs("a");
    Ptr<Worker> const removed = boss_->workerDel();
    EXPECT_TRUE(removed == worker);
    EXPECT_TRUE(worker->retired());
    EXPECT_TRUE(boss_->worker() == nullptr);

    EXPECT_TRUE(boss_->workerDel() == nullptr);
}

TEST_F(OwnedChild, IsMadeAnewForTheInputsOfOneThatWasRemoved) {
    boss_->workerIs("a");
    boss_->workerDel();
    boss_->workerIs("a");
    EXPECT_EQ(life_.initialized, 2);
}

TEST_F(OwnedChild, IsRetiredWithItsOwner) {
    Ptr<Worker> const worker = boss_->workerIs("a");
    boss_ = nullptr;
    EXPECT_TRUE(worker->retired());
    EXPECT_EQ(life_.destroyed, 0);
    EXPECT_EQ(bossLife_.destroyed, 1);
}

TEST_F(OwnedChild, StaysWhereItsSuccessorCannotBeConstructed) {
    Ptr<Worker> const first = boss_->workerIs("a");

    EXPECT_THROW(boss_->workerIs("nobody"), std::invalid_argument);

    EXPECT_TRUE(boss_->worker() == first);
    EXPECT_FALSE(first->retired());
}

TEST_F(OwnedChild, WhoseStartFailsIsThereAllTheSame) {
    Ptr<Worker> const first = boss_->workerIs("a");
    life_.onInitialized = [](Entity&) { throw std::runtime_error("start failed"); };

    EXPECT_THROW(boss_->workerIs("b"), std::runtime_error);
    EXPECT_EQ(boss_->worker()->name(), "b");
    EXPECT_TRUE(first->retired());

    life_.onInitialized = [](Entity&) {};
    EXPECT_EQ(boss_->workerIs("c")->name(), "c");
    EXPECT_EQ(boss_->workerDel()->name(), "c");
}

TEST_F(OwnedChild, IsOneAlthoughItsOwnStartAsksForIt) {
    Ptr<Worker> found;
    life_.onInitialized = [&](Entity&) { found = boss_->workerIs("a"); };

    Ptr<Worker> const made = boss_->workerIs("a");

    EXPECT_TRUE(found == made);
    EXPECT_TRUE(boss_->worker() == made);
    EXPECT_EQ(life_.initialized, 1);
    EXPECT_EQ(life_.tornDown, 0);
}

TEST_F(OwnedChild, MayBeRemovedByItsOwnStart) {
    life_.onInitialized = [&](Entity&) { boss_->workerDel(); };

    EXPECT_TRUE(boss_->workerIs("a") == nullptr);

    EXPECT_EQ(life_.destroyed, 1);
}

TEST_F(OwnedChild, ThatFailsInItsTeardownIsReplacedAllTheSame) {
    boss_->workerIs("a");
    life_.onTeardown = [](Entity&) { throw std::runtime_error("teardown failed"); };

    EXPECT_THROW(boss_->workerIs("b"), std::runtime_error);

    EXPECT_TRUE(boss_->worker()->name() == "b");
    EXPECT_EQ(life_.destroyed, 1);
    EXPECT_THROW(boss_->workerDel(), std::runtime_error);
    EXPECT_TRUE(boss_->worker() == nullptr);
    EXPECT_EQ(life_.destroyed, 2);
}

TEST_F(OwnedChild, GoesWithinTheTurnThatReplacesItOrInWhichItRemovesItself) {
    TestLife pieceLife;
    pieceLife.onTeardown = [](Entity&) { throw std::runtime_error("teardown failed"); };
    Ptr<TestProbe> piece = make<TestProbe>(pieceLife);
    life_.onDestructor = [&](Entity&) { piece = nullptr; };
    boss_->workerIs("a");

    EXPECT_THROW(boss_->workerIs("b"), std::runtime_error);
    EXPECT_EQ(boss_->worker()->name(), "b");
    EXPECT_EQ(pieceLife.destroyed, 1);

    boss_->workerDel();
    piece = make<TestProbe>(pieceLife);
    life_.onInitialized = [&](Entity&) { boss_->workerDel(); };
    EXPECT_THROW(boss_->workerIs("c"), std::runtime_error);
    EXPECT_TRUE(boss_->worker() == nullptr);
    EXPECT_EQ(pieceLife.destroyed, 2);
}

TEST_F(OwnedChild, ThatFailsInItsTeardownTellsWhoseTurnDroppedItsOwner) {
    boss_->workerIs("a");
    life_.onTeardown = [](Entity&) { throw std::runtime_error("teardown failed"); };

    EXPECT_THROW(
        {
            Turn const turn;
            boss_ = nullptr;
        },
        std::runtime_error);

    EXPECT_EQ(life_.destroyed, 1);
    EXPECT_EQ(bossLife_.destroyed, 1);
}

TEST_F(OwnedChild, MayPointAtItsOwnerWhileItIsRetiredWithIt) {
    boss_->workerIs("a");
    Boss* const boss = boss_.get();
    life_.onTeardown = [boss](Entity&) { Ptr<Boss> const owner(boss); };

    boss_ = nullptr;

    EXPECT_EQ(bossLife_.destroyed, 1);
    EXPECT_EQ(life_.destroyed, 1);
}

TEST_F(OwnedChild, ThatFailsInItsTeardownWhereNobodyCanBeToldEndsTheProcess) {
    life_.onTeardown = [](Entity&) { throw std::runtime_error("teardown failed"); };
    auto const letGo = [this] {
        Child<Worker> worker;
        worker.is(std::ref(life_), std::string("a"));
    };
    EXPECT_DEATH(letGo(), "assertion 'can throw' failed: teardown failed");
}

}  // namespace
}  // namespace Zin
