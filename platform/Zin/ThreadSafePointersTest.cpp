#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "Zin/Ptr.h"
#include "Zin/TestThreads.h"

namespace Zin {
namespace {

class Counted final : public Entity {
public:
    explicit Counted(std::atomic<int>& destroyed) : destroyed_(destroyed) {}
    ~Counted() override {
        // Brings the threads into no order, or else their races would not show.
        destroyed_.fetch_add(1, std::memory_order_relaxed);
    }

private:
    std::atomic<int>& destroyed_;
};

class ThreadSafePointers : public TwoThreads {
protected:
    std::atomic<int> destroyed_{0};
};

TEST_F(ThreadSafePointers, LoseNoCountWhenTwoThreadsCopyAndDropThem) {
    Ptr<Counted> const shared = make<Counted>(destroyed_);

    together([&](int) {
        for (int i = 0; i < 100'000; ++i) {
            Ptr<Counted> const copy = shared;
            Ptr<Entity> const another = copy;
        }
    });

    EXPECT_EQ(shared->referenceWord(), Entity::notificationActiveBit | 1u);
    EXPECT_EQ(destroyed_, 0);
}

TEST_F(ThreadSafePointers, DestroyEachEntityOnceWhicheverThreadDropsTheLastOne) {
    constexpr int count = 20'000;
    std::vector<Ptr<Counted>> pointers[2];
    for (int i = 0; i < count; ++i) {
        pointers[0].push_back(make<Counted>(destroyed_));
        pointers[1].push_back(pointers[0].back());
    }

    together([&](int thread) {
        for (Ptr<Counted>& pointer : pointers[thread]) {
            pointer = nullptr;
        }
    });

    EXPECT_EQ(destroyed_, count);
}

TEST_F(ThreadSafePointers, NumberEachEntityDifferentlyWhicheverThreadMakesIt) {
    constexpr int count = 10'000;
    std::vector<std::uint32_t> serials[2];

    together([&](int thread) {
        for (int i = 0; i < count; ++i) {
            serials[thread].push_back(make<Counted>(destroyed_)->serial());
        }
    });

    std::vector<bool> seen(2 * count, false);
    std::uint32_t const first = std::min(serials[0].front(), serials[1].front());
    for (auto const& list : serials) {
        for (std::uint32_t const serial : list) {
            ASSERT_LT(serial - first, seen.size());
            EXPECT_FALSE(seen[serial - first]);
            seen[serial - first] = true;
        }
    }
}

}  // namespace
}  // namespace Zin
