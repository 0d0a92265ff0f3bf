// What the framework's own tests observe: a lamp with a level, and watchers of it that run the
// test's own handler.
#pragma once

#include <functional>
#include <utility>

#include "Zin/Attribute.h"
#include "Zin/TestProbe.h"

namespace Zin {

class TestLamp final : public TestProbe {
public:
    class Notifiee : public NotifieeOf<TestLamp> {
    public:
        virtual void handleLevel() {}
    };

    using TestProbe::TestProbe;

    int level() const { return level_(); }
    void levelIs(int level) { level_.is(level); }

    NotifieeList<Notifiee>& notifieeList() const { return notifieeList_; }

private:
    mutable NotifieeList<Notifiee> notifieeList_;
    Attribute<&Notifiee::handleLevel, int> level_{*this};
};

class TestWatcher final : public TestLamp::Notifiee {
public:
    TestWatcher(Ptr<TestLamp const> lamp, std::function<void()> handler)
        : handler_(std::move(handler)) {
        notifierIs(std::move(lamp));
    }
    void handleLevel() override {
        auto const handler = handler_;  // which may destroy this watcher
        handler();
    }

private:
    std::function<void()> const handler_;
};

}  // namespace Zin
