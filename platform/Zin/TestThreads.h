// For the tests of what threads share: two of them, while pointers are thread-safe.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "Zin/Entity.h"

namespace Zin {

class TwoThreads : public testing::Test {
protected:
    void SetUp() override { threadSafePointersIs(true); }
    void TearDown() override { threadSafePointersIs(false); }

    // Both run `work(thread)` at the same time.
    template <class Work>
    static void together(Work work) {
        std::atomic<int> ready{0};
        auto const start = [&](int thread) {
            ++ready;
            while (ready < 2) {
                std::this_thread::yield();
            }
            work(thread);
        };
        std::thread other(start, 1);
        start(0);
        other.join();
    }
};

}  // namespace Zin
