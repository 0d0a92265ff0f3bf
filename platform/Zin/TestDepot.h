// For the tests of collections: an owner that has one of each kind, and an observer of it.
#pragma once

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Zin/Collection.h"
#include "Zin/Format.h"
#include "Zin/String.h"
#include "Zin/TestProbe.h"

namespace Zin {

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
        return built_.findOrMake(name, [&] { return make<Crate>(crateLife_, name); });
    }
    Ptr<Crate> builtDel(String const& name) { return built_.del(name); }

    // Pointers whose key is derived from the member.
    auto const& derived() const { return derived_; }
    void derivedIs(Ptr<Crate> const& crate) {
        derived_.put(notNull("derived", crate)->name(), crate);
    }
    Ptr<Crate> derivedDel(String const& name) { return derived_.del(name); }
    void derivedDelAll() { derived_.delAll(); }

    // Pointers under an explicit key.
    auto const& keyed() const { return keyed_; }
    void keyedIs(String const& key, Ptr<Crate> crate) { keyed_.setOrRemove(key, std::move(crate)); }
    Ptr<Crate> keyedDel(String const& key) { return keyed_.del(key); }

    // Values, keys alone, and a sorted one.
    auto const& number() const { return number_; }
    void numberIs(String const& key, int value) { number_.set(key, value); }
    int numberDel(String const& key) { return number_.del(key); }
    auto const& name() const { return name_; }
    void nameIs(String const& name) { name_.insert(name); }
    String nameDel(String const& name) { return name_.del(name); }
    void nameDelAll() { name_.delAll(); }
    auto const& sorted() const { return sorted_; }
    void sortedIs(String const& key, int value) { sorted_.set(key, value); }
    int sortedDel(String const& key) { return sorted_.del(key); }
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

}  // namespace Zin
