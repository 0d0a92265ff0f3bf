// Who is told when a pointer leaves a container and the teardown that it sets off fails.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include "Zin/HashMap2018.h"
#include "Zin/LinkQueue.h"
#include "Zin/Ptr.h"
#include "Zin/RbTreeMap.h"
#include "Zin/TestNumber.h"
#include "Zin/TestProbe.h"
#include "Zin/Turn.h"

namespace Zin {
namespace {

using Probe = Ptr<TestProbe>;
using Map = HashMap2018<TestNumber, Probe>;
using Tree = RbTreeMap<int, Probe>;
using Queue = LinkQueue<Probe>;

struct TeardownFailed : std::runtime_error {
    TeardownFailed() : std::runtime_error("teardown failed") {}
};

template <class Container>
class PtrInContainer : public testing::Test {
protected:
    using Owned = std::unique_ptr<Container>;

    PtrInContainer() {
        life_.onTeardown = [](Entity&) { throw TeardownFailed(); };
    }

    // Two pointers.
    Owned filled() {
        Owned container;
        if constexpr (std::is_same_v<Container, Map>) {
            container = std::make_unique<Map>(1u);
        } else {
            container = std::make_unique<Container>();
        }
        for (int const number : {0, 1}) {
            if constexpr (std::is_same_v<Container, Queue>) {
                container->enq(make<TestProbe>(life_));
            } else {
                container->emplace({number}, make<TestProbe>(life_));
            }
        }
        return container;
    }

    // Every operation that lets pointers go.
    static std::vector<std::function<void(Owned&)>> operations() {
        std::vector<std::function<void(Owned&)>> all{[](Owned& owned) { owned->clear(); },
                                                     [](Owned& owned) { owned.reset(); }};
        if constexpr (std::is_same_v<Container, Queue>) {
            all.emplace_back([](Owned& owned) { owned->deq(); });
            all.emplace_back([](Owned& owned) { owned->take(0u); });
            all.emplace_back([](Owned& owned) { owned->take(owned->begin()); });
            all.emplace_back([](Owned& owned) { owned->replace(0, nullptr); });
        } else {
            all.emplace_back([](Owned& owned) { owned->erase({0}); });
            all.emplace_back([](Owned& owned) { owned->take({0}); });
        }
        return all;
    }

    TestLife life_;
};

using Containers = testing::Types<Map, Tree, Queue>;
TYPED_TEST_SUITE(PtrInContainer, Containers);

TYPED_TEST(PtrInContainer, LeavesItsFailureToTheEndOfTheTurnInWhichItGoes) {
    for (auto const& operation : this->operations()) {
        this->life_.destroyed = 0;
        bool wentOn = false;
        EXPECT_THROW(
            {
                Turn const turn;
                auto owned = this->filled();
                operation(owned);
                wentOn = this->life_.destroyed > 0;
            },
            TeardownFailed);
        EXPECT_TRUE(wentOn);
        EXPECT_EQ(this->life_.destroyed, 2);
    }
}

TYPED_TEST(PtrInContainer, TellsTheAssertionHandlerOutsideOfAnyTurnAndEndsTheProcess) {
    for (auto const& operation : this->operations()) {
        auto const outsideOfAnyTurn = [&] {
            auto owned = this->filled();
            operation(owned);
            owned.release();  // the operation alone is to end the process
        };
        EXPECT_DEATH(outsideOfAnyTurn(), "assertion 'can throw' failed: teardown failed");
    }
}

}  // namespace
}  // namespace Zin
