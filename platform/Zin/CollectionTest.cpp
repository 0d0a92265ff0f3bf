#include "Zin/Collection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Zin/String.h"
#include "Zin/TestProbe.h"

namespace Zin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A crate knows the name that it is filed under.
class Crate final : public TestProbe {
public:
    Crate(TestLife& life, String name) : TestProbe(life), name_(std::move(name)) {}
    String const& name() const { return name_; }

private:
    String const name_;
};

// Has a collection of each kind.
class Depot final : public Entity {
public:
    class Notifiee : public NotifieeOf<Depot> {
    public:
        virtual void handleBuilt(String const&) {}
        virtual void handleDerived(String const&) {}
        virtual void handleKeyed(String const&) {}
        virtual void handleNumber(String const&) {}
        virtual void handleName(String const&) {}
        virtual void handleSorted(String const&) {}
    };

    explicit Depot(TestLife& crateLife) : crateLife_(crateLife) {}

    // Entities built from a value.
    auto const& built() const { return built_; }
    Ptr<Crate> builtIs(String const& name) {
        return built_.isMade(name, [&] { return make<Crate>(crateLife_, name); });
    }
    Ptr<Crate> builtDel(String const& name) { return built_.del(name); }

    // Pointers whose key is derived from the member.
    auto const& derived() const { return derived_; }
    void derivedIs(Ptr<Crate> const& crate) {
        derived_.isMember(notNull("derived", crate)->name(), crate);
    }
    Ptr<Crate> derivedDel(String const& name) { return derived_.del(name); }
    void derivedDelAll() { derived_.delAll(); }

    // Pointers under an explicit key.
    auto const& keyed() const { return keyed_; }
    void keyedIs(String const& key, Ptr<Crate> crate) { keyed_.isPointer(key, std::move(crate)); }
    Ptr<Crate> keyedDel(String const& key) { return keyed_.del(key); }

    // Values, keys alone, and a sorted one.
    auto const& number() const { return number_; }
    void numberIs(String const& key, int value) { number_.isValue(key, value); }
    int numberDel(String const& key) { return number_.del(key); }
    auto const& name() const { return name_; }
    void nameIs(String const& name) { name_.isKey(name); }
    void nameDel(String const& name) { name_.delKey(name); }
    void nameDelAll() { name_.delAll(); }
    auto const& sorted() const { return sorted_; }
    void sortedIs(String const& key, int value) { sorted_.isValue(key, value); }
    void sortedDelAll() { sorted_.delAll(); }

    NotifieeList<Notifiee>& notifieeList() const { return notifieeList_; }

private:
    TestLife& crateLife_;
    mutable NotifieeList<Notifiee> notifieeList_;
    HashCollection<&Notifiee::handleBuilt, String, Ptr<Crate>> built_{*this, 1};
    HashCollection<&Notifiee::handleDerived, String, Ptr<Crate>> derived_{*this, 2};
    HashCollection<&Notifiee::handleKeyed, String, Ptr<Crate>> keyed_{*this, 3};
    HashCollection<&Notifiee::handleNumber, String, int> number_{*this, 4};
    HashCollection<&Notifiee::handleName, String, void> name_{*this, 5};
    OrderedCollection<&Notifiee::handleSorted, String, int> sorted_{*this};
};

// Writes down what it is told, and then does what the test wants.
class Observer final : public Depot::Notifiee {
public:
    explicit Observer(Ptr<Depot const> depot) { notifierIs(std::move(depot)); }

    std::vector<std::string> told;
    std::function<void(String const& key)> act = [](String const&) {};

private:
    void handleBuilt(String const& key) override { hear("built", key); }
    void handleDerived(String const& key) override { hear("derived", key); }
    void handleKeyed(String const& key) override { hear("keyed", key); }
    void handleNumber(String const& key) override { hear("number", key); }
    void handleName(String const& key) override { hear("name", key); }
    void handleSorted(String const& key) override { hear("sorted", key); }

    void hear(char const* attribute, String const& key) {
        told.push_back(fmt::format("{} {}", attribute, key));
        act(key);
    }
};

class Collections : public testing::Test {
protected:
    ~Collections() noexcept override = default;
    // What a test hung on them refers to its own variables.
    void TearDown() override { life_ = TestLife(); }

    void observe() { observer_ = std::make_unique<Observer>(depot_); }
    // What was told since the last time.
    std::vector<std::string> told() { return std::exchange(observer_->told, {}); }
    Ptr<Crate> makeCrate(char const* name) { return make<Crate>(life_, name); }

    TestLife life_;
    Ptr<Depot> depot_ = make<Depot>(life_);
    std::unique_ptr<Observer> observer_;
};

class EntityCollection : public Collections {};
class DerivedKeyCollection : public Collections {};
class ExplicitKeyCollection : public Collections {};
class ValueCollection : public Collections {};
class KeyCollection : public Collections {};
class SortedCollection : public Collections {};
class CollectionUnderChange : public Collections {};

TEST_F(EntityCollection, MakesAMemberOnceAndTellsOnce) {
    observe();

    Ptr<Crate> const first = depot_->builtIs("a");
    Ptr<Crate> const second = depot_->builtIs("a");

    EXPECT_TRUE(first == second);
    EXPECT_TRUE(first->hasNotificationActive());
    EXPECT_EQ(life_.initialized, 1);
    EXPECT_THAT(told(), ElementsAre("built a"));
}

TEST_F(EntityCollection, HasTheMemberByTheTimeItTells) {
    observe();
    bool there = false;
    observer_->act = [&](String const& key) { there = depot_->built()(key) != nullptr; };
    depot_->builtIs("a");
    EXPECT_TRUE(there);
}

TEST_F(EntityCollection, ReturnsTheMemberThatItRemoves) {
    Ptr<Crate> const crate = depot_->builtIs("a");
    observe();

    EXPECT_TRUE(depot_->builtDel("a") == crate);

    EXPECT_FALSE(depot_->built().has("a"));
    EXPECT_TRUE(depot_->built()("a") == nullptr);
    EXPECT_THAT(told(), ElementsAre("built a"));
}

TEST_F(EntityCollection, ReturnsNullAndTellsNobodyWhereThereIsNothingToRemove) {
    observe();
    EXPECT_TRUE(depot_->builtDel("a") == nullptr);
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(EntityCollection, StaysWithoutAMemberThatCannotBeMade) {
    observe();
    life_.onInitialized = [](Entity&) { throw std::runtime_error("cannot be made"); };

    EXPECT_THROW(depot_->builtIs("a"), std::runtime_error);

    EXPECT_FALSE(depot_->built().has("a"));
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(EntityCollection, ReturnsTheMemberThatAHandlerRemovedAtOnce) {
    observe();
    observer_->act = [&](String const& key) {
        if (depot_->built().has(key)) {
            depot_->builtDel(key);
        }
    };

    Ptr<Crate> const crate = depot_->builtIs("a");

    EXPECT_TRUE(crate);
    EXPECT_FALSE(depot_->built().has("a"));
    EXPECT_THAT(told(), ElementsAre("built a", "built a"));
}

TEST_F(DerivedKeyCollection, InsertsUnderTheMembersOwnKeyAndTells) {
    observe();
    Ptr<Crate> const crate = makeCrate("a");

    depot_->derivedIs(crate);

    EXPECT_TRUE(depot_->derived()("a") == crate);
    EXPECT_THAT(told(), ElementsAre("derived a"));
}

TEST_F(DerivedKeyCollection, ReplacesAMemberAndTellsAlsoWhereItIsTheSame) {
    Ptr<Crate> const first = makeCrate("a");
    Ptr<Crate> const second = makeCrate("a");
    depot_->derivedIs(first);
    observe();

    depot_->derivedIs(second);
    EXPECT_TRUE(depot_->derived()("a") == second);
    EXPECT_EQ(depot_->derived().map().size(), 1u);
    EXPECT_EQ(first->referenceCount(), 1u);
    EXPECT_THAT(told(), ElementsAre("derived a"));

    depot_->derivedIs(second);
    EXPECT_THAT(told(), ElementsAre("derived a"));
}

TEST_F(DerivedKeyCollection, RefusesNullAndNamesTheAttribute) {
    observe();
    try {
        depot_->derivedIs(nullptr);
        FAIL() << "took a null pointer";
    } catch (NullArgumentError const& error) {
        EXPECT_EQ(error.attribute(), "derived");
    }
    EXPECT_TRUE(depot_->derived().map().empty());
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(DerivedKeyCollection, LetsGoOfAReplacedMemberAfterTelling) {
    depot_->derivedIs(makeCrate("a"));
    observe();
    int destroyedWhenTold = -1;
    observer_->act = [&](String const&) { destroyedWhenTold = life_.destroyed; };

    depot_->derivedIs(makeCrate("a"));

    EXPECT_EQ(destroyedWhenTold, 0);
    EXPECT_EQ(life_.destroyed, 1);
}

TEST_F(DerivedKeyCollection, TellsTheKeyAlsoWhereAHandlerDestroysTheMemberThatHasIt) {
    observe();
    auto const second = std::make_unique<Observer>(depot_);
    observer_->act = [&](String const& key) { depot_->derivedDel(key); };
    Ptr<Crate> crate = makeCrate("a");
    {
        // The collection's pointer is the only one left while it tells.
        Crate& borrowed = *crate;
        Ptr<Crate> argument(&borrowed);
        crate = nullptr;
        observer_->act = [&, once = false](String const& key) mutable {
            if (!std::exchange(once, true)) {
                argument = nullptr;
                depot_->derivedDel(key);
            }
        };
        depot_->derivedIs(argument);
    }

    EXPECT_EQ(life_.destroyed, 1);
    EXPECT_THAT(second->told, ElementsAre("derived a", "derived a"));
}

TEST_F(ExplicitKeyCollection, InsertsReplacesAndTellsOfEachChange) {
    observe();
    Ptr<Crate> const first = makeCrate("x");
    Ptr<Crate> const second = makeCrate("y");

    depot_->keyedIs("a", first);
    EXPECT_TRUE(depot_->keyed()("a") == first);
    depot_->keyedIs("a", second);
    EXPECT_TRUE(depot_->keyed()("a") == second);

    EXPECT_THAT(told(), ElementsAre("keyed a", "keyed a"));
}

TEST_F(ExplicitKeyCollection, IgnoresThePointerThatItHas) {
    Ptr<Crate> const crate = makeCrate("x");
    depot_->keyedIs("a", crate);
    observe();

    depot_->keyedIs("a", crate);

    EXPECT_THAT(told(), IsEmpty());
    EXPECT_EQ(crate->referenceCount(), 2u);
}

TEST_F(ExplicitKeyCollection, TakesNullForARemoval) {
    depot_->keyedIs("a", makeCrate("x"));
    observe();

    depot_->keyedIs("a", nullptr);
    EXPECT_FALSE(depot_->keyed().has("a"));
    EXPECT_EQ(life_.destroyed, 1);
    EXPECT_THAT(told(), ElementsAre("keyed a"));

    depot_->keyedIs("a", nullptr);
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(ValueCollection, TellsOnlyOfOtherValues) {
    observe();
    depot_->numberIs("a", 1);
    depot_->numberIs("a", 1);
    EXPECT_THAT(told(), ElementsAre("number a"));
    depot_->numberIs("a", 2);
    EXPECT_THAT(told(), ElementsAre("number a"));
    EXPECT_EQ(depot_->number()("a"), 2);
}

TEST_F(ValueCollection, ReturnsWhatItRemovesAndTheDefaultForNothing) {
    depot_->numberIs("a", 5);
    observe();

    EXPECT_EQ(depot_->numberDel("a"), 5);
    EXPECT_EQ(depot_->numberDel("a"), 0);
    EXPECT_EQ(depot_->number()("a"), 0);

    EXPECT_THAT(told(), ElementsAre("number a"));
}

TEST_F(KeyCollection, TellsOfEachKeyThatComesOrGoes) {
    observe();
    depot_->nameIs("a");
    depot_->nameIs("a");
    EXPECT_TRUE(depot_->name().has("a"));
    EXPECT_THAT(told(), ElementsAre("name a"));

    depot_->nameDel("a");
    depot_->nameDel("a");
    EXPECT_FALSE(depot_->name().has("a"));
    EXPECT_THAT(told(), ElementsAre("name a"));
}

TEST_F(KeyCollection, RemovesAllOneByOneWhereItIsObserved) {
    depot_->nameIs("b");
    depot_->nameIs("a");
    observe();
    depot_->nameDelAll();
    EXPECT_TRUE(depot_->name().map().empty());
    EXPECT_THAT(told(), ElementsAre("name b", "name a"));
}

TEST_F(SortedCollection, IsWalkedAndRemovedInTheOrderOfItsKeys) {
    depot_->sortedIs("b", 1);
    depot_->sortedIs("c", 2);
    depot_->sortedIs("a", 3);
    observe();
    depot_->sortedDelAll();
    EXPECT_THAT(told(), ElementsAre("sorted a", "sorted b", "sorted c"));
    EXPECT_TRUE(depot_->sorted().map().empty());
}

TEST_F(DerivedKeyCollection, IsEmptiedInOneStepWhereNobodyObserves) {
    depot_->derivedIs(makeCrate("a"));
    depot_->derivedIs(makeCrate("b"));
    std::vector<std::uint32_t> sizes;
    life_.onTeardown = [&](Entity&) { sizes.push_back(depot_->derived().map().size()); };

    depot_->derivedDelAll();

    EXPECT_THAT(sizes, ElementsAre(0u, 0u));
    EXPECT_EQ(life_.destroyed, 2);
}

TEST_F(DerivedKeyCollection, IsEmptiedOneByOneWhereSomebodyObserves) {
    depot_->derivedIs(makeCrate("a"));
    depot_->derivedIs(makeCrate("b"));
    depot_->derivedIs(makeCrate("c"));
    observe();
    std::vector<std::uint32_t> sizes;
    observer_->act = [&](String const& key) {
        EXPECT_FALSE(depot_->derived().has(key));
        sizes.push_back(depot_->derived().map().size());
    };

    depot_->derivedDelAll();

    EXPECT_THAT(sizes, ElementsAre(2u, 1u, 0u));
    EXPECT_THAT(told(), ElementsAre("derived a", "derived b", "derived c"));
    EXPECT_EQ(life_.destroyed, 3);
}

TEST_F(CollectionUnderChange, KeepsWhatHandlersInsertDuringDelAll) {
    depot_->derivedIs(makeCrate("a"));
    depot_->derivedIs(makeCrate("b"));
    observe();
    observer_->act = [&](String const& key) {
        if (key == String("a") && !depot_->derived().has("new")) {
            depot_->derivedIs(makeCrate("new"));
        }
    };

    depot_->derivedDelAll();

    EXPECT_THAT(told(), ElementsAre("derived a", "derived new", "derived b"));
    EXPECT_TRUE(depot_->derived().has("new"));
    EXPECT_EQ(depot_->derived().map().size(), 1u);
}

TEST_F(CollectionUnderChange, TellsOnceOfAMemberThatAHandlerRemovesDuringDelAll) {
    depot_->derivedIs(makeCrate("a"));
    depot_->derivedIs(makeCrate("b"));
    depot_->derivedIs(makeCrate("c"));
    observe();
    observer_->act = [&](String const& key) {
        if (key == String("a")) {
            depot_->derivedDel("b");
        }
    };

    depot_->derivedDelAll();

    EXPECT_THAT(told(), ElementsAre("derived a", "derived b", "derived c"));
    EXPECT_TRUE(depot_->derived().map().empty());
}

TEST_F(CollectionUnderChange, FinishesDelAllAfterItsObserversHaveLeft) {
    depot_->derivedIs(makeCrate("a"));
    depot_->derivedIs(makeCrate("b"));
    observe();
    observer_->act = [&](String const&) { observer_->notifierIs(nullptr); };

    depot_->derivedDelAll();

    EXPECT_THAT(told(), ElementsAre("derived a"));
    EXPECT_TRUE(depot_->derived().map().empty());
}

TEST_F(CollectionUnderChange, FinishesDelAllAlthoughAHandlerFails) {
    depot_->derivedIs(makeCrate("a"));
    depot_->derivedIs(makeCrate("b"));
    observe();
    observer_->act = [](String const& key) { throw std::runtime_error(key.bytes()); };

    try {
        depot_->derivedDelAll();
        FAIL() << "nobody was told of the failure";
    } catch (std::runtime_error const& error) {
        EXPECT_STREQ(error.what(), "a");
    }

    EXPECT_THAT(told(), ElementsAre("derived a", "derived b"));
    EXPECT_TRUE(depot_->derived().map().empty());
    EXPECT_EQ(life_.destroyed, 2);
}

TEST_F(CollectionUnderChange, FinishesDelAllAlthoughTheOwnersLastPointerGoes) {
    depot_->derivedIs(makeCrate("a"));
    depot_->derivedIs(makeCrate("b"));
    depot_->derivedIs(makeCrate("c"));
    observe();
    observer_->act = [&](String const&) {
        depot_ = nullptr;
        observer_->notifierIs(nullptr);
    };

    depot_->derivedDelAll();

    EXPECT_THAT(told(), ElementsAre("derived a"));
    EXPECT_EQ(life_.destroyed, 3);
}

TEST_F(CollectionUnderChange, ReportsATeardownThatFailsWhileItIsEmptiedInOneStep) {
    depot_->derivedIs(makeCrate("a"));
    depot_->derivedIs(makeCrate("b"));
    life_.onTeardown = [](Entity&) { throw std::runtime_error("teardown failed"); };

    EXPECT_THROW(depot_->derivedDelAll(), std::runtime_error);

    EXPECT_TRUE(depot_->derived().map().empty());
    EXPECT_EQ(life_.destroyed, 2);
}

TEST_F(CollectionUnderChange, TellsInTheOrderOfTheChangesThatHandlersMake) {
    observe();
    observer_->act = [&](String const& key) {
        if (key == String("a") && !depot_->number().has("b")) {
            depot_->numberIs("b", 1);
            depot_->numberDel("a");
        }
    };
    depot_->numberIs("a", 1);
    EXPECT_THAT(told(), ElementsAre("number a", "number b", "number a"));
}

TEST_F(CollectionUnderChange, MayBeChangedByHandlersWhileSomebodyWalksIt) {
    for (char const* const name : {"a", "b", "c"}) {
        depot_->numberIs(name, 1);
    }
    observe();
    observer_->act = [&](String const& key) {
        if (key == String("a")) {
            depot_->numberDel("b");
            depot_->numberIs("d", 1);
        }
    };

    std::vector<std::string> walked;
    for (auto const& member : depot_->number().map()) {
        walked.push_back(member.key.bytes());
        depot_->numberDel(member.key);
    }

    EXPECT_THAT(walked, ElementsAre("a", "c", "d"));
    EXPECT_TRUE(depot_->number().map().empty());
}

TEST_F(CollectionUnderChange, IsWholeAfterAHandlerFailed) {
    observe();
    observer_->act = [](String const&) { throw RangeError("handler failed"); };

    EXPECT_THROW(depot_->numberIs("a", 1), RangeError);
    EXPECT_EQ(depot_->number()("a"), 1);
    EXPECT_THROW(depot_->numberDel("a"), RangeError);
    EXPECT_FALSE(depot_->number().has("a"));

    observer_->act = [](String const&) {};
    depot_->numberIs("a", 2);
    EXPECT_EQ(depot_->number()("a"), 2);
}

TEST_F(CollectionUnderChange, IsSilentWhileItsOwnersNotificationIsNotActive) {
    observe();
    depot_->hasNotificationActiveIs(false);
    depot_->numberIs("a", 1);
    depot_->derivedIs(makeCrate("b"));
    depot_->derivedDelAll();
    EXPECT_THAT(told(), IsEmpty());
    EXPECT_EQ(depot_->number()("a"), 1);
}

}  // namespace
}  // namespace Zin
