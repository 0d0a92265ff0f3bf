// For the tests of memory: counts what operator new hands out in a program, and has it fail where a
// test wants it to. A program that uses any of this has this operator new, also where a sanitizer
// brings one: AddressSanitizer still sees each block, as one of malloc.
#pragma once

#include <atomic>
#include <cstddef>

namespace Testing::Memory {

// Atomic, since compilers take it for granted that operator new changes no plain variable.
extern std::atomic<std::size_t> allocations;  // so far
extern std::atomic<std::size_t> blocks;       // in use
extern std::atomic<std::size_t> bytes;        // in use
extern std::atomic<std::size_t> untilFailure;

// While it lives, the allocation that comes after `allowed` others fails, and no other one.
class OneFailure {
public:
    explicit OneFailure(std::size_t allowed) : allowed_(allowed) { untilFailure = allowed; }
    ~OneFailure() { untilFailure = std::size_t(-1); }
    OneFailure(OneFailure const&) = delete;
    OneFailure& operator=(OneFailure const&) = delete;
    bool happened() const { return untilFailure > allowed_; }

private:
    std::size_t const allowed_;
};

}  // namespace Testing::Memory
