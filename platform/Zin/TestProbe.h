// An entity for the framework's own tests: it counts the stations of its life and calls what the
// test hangs on them.
#pragma once

#include <functional>

#include "Zin/Entity.h"

namespace Zin {

// Outlives the probe; may be shared by several.
struct TestLife {
    int initialized = 0;
    int tornDown = 0;
    int destroyed = 0;
    std::function<void(Entity&)> onInitialized = [](Entity&) {};
    std::function<void(Entity&)> onTeardown = [](Entity&) {};
    std::function<void(Entity&)> onDestructor = [](Entity&) {};
};

class TestProbe : public Entity {
public:
    explicit TestProbe(TestLife& life) : life_(life) {}
    ~TestProbe() override {
        ++life_.destroyed;
        life_.onDestructor(*this);
    }

protected:
    void handleInitialized() override {
        ++life_.initialized;
        life_.onInitialized(*this);
    }
    void handleDestruction() override {
        ++life_.tornDown;
        life_.onTeardown(*this);
    }

private:
    TestLife& life_;
};

}  // namespace Zin
