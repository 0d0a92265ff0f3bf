// For the tests of memory: counts what operator new hands out in a program, and has it fail where a
// test wants it to. A program that uses any of this has this operator new instead of the standard
// library's or AddressSanitizer's, which then sees each block as one of malloc. The runtime of
// clang's ThreadSanitizer allows no other operator new than its own: use g++'s.
#pragma once

#include <atomic>
#include <cstddef>

namespace TestMemory {

// Atomic, since compilers take it for granted that operator new changes no plain variable. Relaxed,
// or else each allocation would put the program's threads in an order, and hide their races.
class Count {
public:
    operator std::size_t() const { return count_.load(std::memory_order_relaxed); }
    void add(std::size_t count) { count_.fetch_add(count, std::memory_order_relaxed); }
    void subtract(std::size_t count) { count_.fetch_sub(count, std::memory_order_relaxed); }

private:
    std::atomic<std::size_t> count_ = 0;
};

extern Count allocations;  // so far
extern Count blocks;       // in use
extern Count bytes;        // in use

// The size of the largest single allocation since it was made; of one at a time.
class Largest {
public:
    Largest();
    std::size_t size() const;
};

// While it lives, the allocation that comes after `allowed` others fails, and no other one.
class OneFailure {
public:
    explicit OneFailure(std::size_t allowed);
    ~OneFailure();
    OneFailure(OneFailure const&) = delete;
    OneFailure& operator=(OneFailure const&) = delete;
    bool happened() const;

private:
    std::size_t const allowed_;
};

}  // namespace TestMemory
