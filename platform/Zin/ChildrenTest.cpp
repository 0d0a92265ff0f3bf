#include "Zin/Children.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Zin/String.h"
#include "Zin/TestProbe.h"

namespace Zin {
namespace {

using testing::ElementsAre;

class OwnedChildren : public testing::Test {
protected:
    using Workers = Children<String, TestProbe>;

    // What a test hung on them refers to its own variables.
    void TearDown() override { life_ = TestLife(); }

    Ptr<TestProbe> add(char const* key) {
        Ptr<TestProbe> worker = make<TestProbe>(life_);
        workers_->is(key, worker);
        return worker;
    }
    std::vector<std::string> keys() const {
        std::vector<std::string> keys;
        for (auto const& member : workers_->map()) {
            keys.push_back(member.key.bytes());
        }
        return keys;
    }

    TestLife life_;
    std::unique_ptr<Workers> workers_ = std::make_unique<Workers>(1u);
};

TEST_F(OwnedChildren, AreFoundByKey) {
    Ptr<TestProbe> const worker = add("a");
    EXPECT_TRUE((*workers_)("a") == worker);
    EXPECT_TRUE((*workers_)("b") == nullptr);
}

TEST_F(OwnedChildren, StayWhereTheyAreGivenAgain) {
    Ptr<TestProbe> const worker = add("a");
    workers_->is("a", worker);
    EXPECT_FALSE(worker->retired());
    EXPECT_EQ(worker->referenceCount(), 2u);
}

TEST_F(OwnedChildren, AreRetiredWhenTheyAreReplacedWithTheirSuccessorInPlace) {
    Ptr<TestProbe> const first = add("a");
    bool successorThere = false;
    life_.onTeardown = [&](Entity&) { successorThere = (*workers_)("a") != first; };

    Ptr<TestProbe> const second = add("a");

    EXPECT_TRUE(first->retired());
    EXPECT_TRUE(successorThere);
    EXPECT_TRUE((*workers_)("a") == second);
}

TEST_F(OwnedChildren, AreReturnedRetiredWhenTheyAreRemoved) {
    Ptr<TestProbe> const worker = add("a");
    bool gone = false;
    life_.onTeardown = [&](Entity&) { gone = (*workers_)("a") == nullptr; };

    EXPECT_TRUE(workers_->del("a") == worker);

    EXPECT_TRUE(worker->retired());
    EXPECT_TRUE(gone);
    EXPECT_TRUE(workers_->del("a") == nullptr);
}

TEST_F(OwnedChildren, AreRemovedUnderAKeyThatIsTheMembersOwn) {
    std::string const longKey(100, 'k');
    Ptr<TestProbe> const worker = add(longKey.c_str());
    EXPECT_TRUE(workers_->del(workers_->map().begin()->key) == worker);
    EXPECT_TRUE(workers_->map().empty());
}

TEST_F(OwnedChildren, AreRemovedByNull) {
    Ptr<TestProbe> const worker = add("a");
    workers_->is("a", nullptr);
    EXPECT_TRUE(worker->retired());
    EXPECT_TRUE(workers_->map().empty());
}

TEST_F(OwnedChildren, GoInTheOrderInWhichTheyCameEachOutOfTheMapBeforeItsTeardown) {
    for (char const* const key : {"b", "c", "a"}) {
        add(key);
    }
    std::vector<std::vector<std::string>> left;
    life_.onTeardown = [&](Entity&) { left.push_back(keys()); };

    workers_->delAll();

    EXPECT_THAT(left, ElementsAre(ElementsAre("c", "a"), ElementsAre("a"), ElementsAre()));
    EXPECT_EQ(life_.destroyed, 3);
}

TEST_F(OwnedChildren, AreRetiredWithTheirOwnerAlthoughPointersToThemRemain) {
    Ptr<TestProbe> const worker = add("a");
    workers_.reset();
    EXPECT_TRUE(worker->retired());
    EXPECT_EQ(life_.destroyed, 0);
}

TEST_F(OwnedChildren, MayRemoveEachOtherInTheirTeardown) {
    for (char const* const key : {"a", "b", "c"}) {
        add(key);
    }
    life_.onTeardown = [&](Entity&) { workers_->del("b"); };

    workers_->delAll();

    EXPECT_EQ(life_.tornDown, 3);
    EXPECT_EQ(life_.destroyed, 3);
    EXPECT_TRUE(workers_->map().empty());
}

TEST_F(OwnedChildren, MayDestroyTheirOwnerInTheirTeardown) {
    for (char const* const key : {"a", "b", "c"}) {
        add(key);
    }
    life_.onTeardown = [&](Entity&) { workers_.reset(); };

    workers_->delAll();

    EXPECT_EQ(life_.destroyed, 3);
    EXPECT_EQ(workers_, nullptr);
}

TEST_F(OwnedChildren, AreAllRemovedAlthoughATeardownFails) {
    for (char const* const key : {"a", "b", "c"}) {
        add(key);
    }
    life_.onTeardown = [](Entity&) { throw std::runtime_error("teardown failed"); };

    EXPECT_THROW(workers_->delAll(), std::runtime_error);

    EXPECT_TRUE(workers_->map().empty());
    EXPECT_EQ(life_.destroyed, 3);
}

TEST_F(OwnedChildren, GoWithinTheTurnThatReplacesOrRemovesThem) {
    TestLife pieceLife;
    pieceLife.onTeardown = [](Entity&) { throw std::runtime_error("teardown failed"); };
    Ptr<TestProbe> piece = make<TestProbe>(pieceLife);
    life_.onDestructor = [&](Entity&) { piece = nullptr; };
    add("a");
    EXPECT_THROW(add("a"), std::runtime_error);
    EXPECT_EQ(pieceLife.destroyed, 1);

    piece = make<TestProbe>(pieceLife);
    EXPECT_THROW(workers_->is("a", nullptr), std::runtime_error);
    EXPECT_EQ(pieceLife.destroyed, 2);
}

TEST_F(OwnedChildren, WhoseTeardownFailsWhereNobodyCanBeToldEndTheProcess) {
    add("a");
    life_.onTeardown = [](Entity&) { throw std::runtime_error("teardown failed"); };
    EXPECT_DEATH(workers_.reset(), "assertion 'can throw' failed: teardown failed");
    life_.onTeardown = [](Entity&) {};
}

}  // namespace
}  // namespace Zin
