// For the tests of memory: counts what operator new hands out in a program, and has it fail where a
// test wants it to. It serves every source file of the program as soon as one includes it.
#pragma once

#include <malloc.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace Zin::TestMemory {

// Atomic, since compilers take it for granted that operator new changes no plain variable.
inline std::atomic<std::size_t> allocations = 0;  // so far
inline std::atomic<std::size_t> blocks = 0;       // in use
inline std::atomic<std::size_t> bytes = 0;        // in use
inline std::atomic<std::size_t> untilFailure = std::size_t(-1);

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

// False in builds whose sanitizer brings an operator new of its own.
inline bool isCounted() {
    std::size_t const before = allocations;
    ::operator delete(::operator new(1));
    return allocations != before;
}

inline void* take(std::size_t alignment, std::size_t size) noexcept {
    void* block = nullptr;
    if (untilFailure-- != 0 && posix_memalign(&block, alignment, size) == 0) {
        ++allocations;
        ++blocks;
        bytes += malloc_usable_size(block);
    }
    return block;
}
inline void* takeOrThrow(std::size_t alignment, std::size_t size) {
    if (void* const block = take(alignment, size)) {
        return block;
    }
    throw std::bad_alloc();
}
inline void giveBack(void* block) noexcept {
    if (block != nullptr) {
        --blocks;
        bytes -= malloc_usable_size(block);
        std::free(block);
    }
}

}  // namespace Zin::TestMemory

// Weak, so that several files may include them, and that they give way to those of a sanitizer that
// brings its own.
[[gnu::weak]] void* operator new(std::size_t size) {
    return Zin::TestMemory::takeOrThrow(alignof(std::max_align_t), size);
}
[[gnu::weak]] void* operator new(std::size_t size, std::align_val_t alignment) {
    return Zin::TestMemory::takeOrThrow(std::size_t(alignment), size);
}
[[gnu::weak]] void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    return Zin::TestMemory::take(alignof(std::max_align_t), size);
}
[[gnu::weak]] void operator delete(void* block) noexcept { Zin::TestMemory::giveBack(block); }
[[gnu::weak]] void operator delete(void* block, std::size_t) noexcept {
    Zin::TestMemory::giveBack(block);
}
[[gnu::weak]] void operator delete(void* block, std::align_val_t) noexcept {
    Zin::TestMemory::giveBack(block);
}
[[gnu::weak]] void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
    Zin::TestMemory::giveBack(block);
}
