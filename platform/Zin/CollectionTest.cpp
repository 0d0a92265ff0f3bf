#include "Zin/Collection.h"

#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Zin/TestDepot.h"

namespace Zin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class EntityCollection : public Collections {};
class DerivedKeyCollection : public Collections {};
class ExplicitKeyCollection : public Collections {};
class ValueCollection : public Collections {};
class KeyCollection : public Collections {};
class SortedCollection : public Collections {};

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

TEST_F(EntityCollection, KeepsTheMemberThatCameWhileItMadeAnother) {
    observe();
    Ptr<Crate> inner;
    life_.onInitialized = [&, once = false](Entity&) mutable {
        if (!std::exchange(once, true)) {
            inner = depot_->builtIs("a");
        }
    };

    Ptr<Crate> const outer = depot_->builtIs("a");

    EXPECT_TRUE(inner);
    EXPECT_TRUE(outer == inner);
    EXPECT_TRUE(depot_->built()("a") == inner);
    EXPECT_EQ(life_.destroyed, 1);
    EXPECT_THAT(told(), ElementsAre("built a"));
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

    EXPECT_EQ(depot_->nameDel("a"), String("a"));
    EXPECT_EQ(depot_->nameDel("a"), String());
    EXPECT_FALSE(depot_->name().has("a"));
    EXPECT_THAT(told(), ElementsAre("name a"));
}

// A walk's key is the member's own, which goes with the member.
TEST_F(KeyCollection, RemovesUnderAKeyThatIsTheMembersOwn) {
    std::string const longName(100, 'n');
    depot_->nameIs(longName);
    observe();

    EXPECT_EQ(depot_->nameDel(depot_->name().map().begin()->key), String(longName));

    EXPECT_THAT(told(), ElementsAre("name " + longName));
}

TEST_F(ValueCollection, RemovesUnderAKeyThatIsTheMembersOwn) {
    std::string const longName(100, 'n');
    depot_->numberIs(longName, 1);
    observe();

    EXPECT_EQ(depot_->numberDel(depot_->number().map().begin()->key), 1);

    EXPECT_THAT(told(), ElementsAre("number " + longName));
}

TEST_F(SortedCollection, RemovesUnderAKeyThatIsTheMembersOwn) {
    std::string const longName(100, 'n');
    depot_->sortedIs(longName, 1);
    observe();

    EXPECT_EQ(depot_->sortedDel(depot_->sorted().map().begin()->key), 1);

    EXPECT_THAT(told(), ElementsAre("sorted " + longName));
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

}  // namespace
}  // namespace Zin
