#include "TestMemory/TestMemory.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace TestMemory {

Count allocations;
Count blocks;
Count bytes;

namespace {

constexpr std::size_t never = std::size_t(-1);
std::atomic<std::size_t> untilFailure = never;
std::atomic<std::size_t> largest = 0;

void noteSize(std::size_t size) {
    std::size_t known = largest.load(std::memory_order_relaxed);
    while (known < size && !largest.compare_exchange_weak(known, size, std::memory_order_relaxed)) {
    }
}

bool fails() { return untilFailure.fetch_sub(1, std::memory_order_relaxed) == 0; }

void* take(std::size_t size, std::align_val_t alignment) noexcept {
    void* block = nullptr;
    if (fails() ||
        posix_memalign(&block, std::max(std::size_t(alignment), sizeof(void*)), size) != 0) {
        return nullptr;
    }
    allocations.add(1);
    blocks.add(1);
    bytes.add(malloc_usable_size(block));
    noteSize(size);
    return block;
}

void giveBack(void* block) noexcept {
    if (block != nullptr) {
        blocks.subtract(1);
        bytes.subtract(malloc_usable_size(block));
        std::free(block);
    }
}

constexpr std::align_val_t ordinary{alignof(std::max_align_t)};

}  // namespace

Largest::Largest() { largest = 0; }
std::size_t Largest::size() const { return largest; }

OneFailure::OneFailure(std::size_t allowed) : allowed_(allowed) { untilFailure = allowed; }
OneFailure::~OneFailure() { untilFailure = never; }
bool OneFailure::happened() const { return untilFailure > allowed_; }

}  // namespace TestMemory

using namespace TestMemory;

// All of them: where one is a sanitizer's, its blocks are not ours to give back.
void* operator new(std::size_t size, std::align_val_t alignment) {
    if (void* const block = take(size, alignment)) {
        return block;
    }
    throw std::bad_alloc();
}
void* operator new(std::size_t size) { return operator new(size, ordinary); }
void* operator new[](std::size_t size) { return operator new(size, ordinary); }
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return operator new(size, alignment);
}
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    return take(size, ordinary);
}
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept {
    return take(size, ordinary);
}
void* operator new(std::size_t size, std::align_val_t alignment, std::nothrow_t const&) noexcept {
    return take(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment, std::nothrow_t const&) noexcept {
    return take(size, alignment);
}

void operator delete(void* block) noexcept { giveBack(block); }
void operator delete[](void* block) noexcept { giveBack(block); }
void operator delete(void* block, std::size_t) noexcept { giveBack(block); }
void operator delete[](void* block, std::size_t) noexcept { giveBack(block); }
void operator delete(void* block, std::align_val_t) noexcept { giveBack(block); }
void operator delete[](void* block, std::align_val_t) noexcept { giveBack(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { giveBack(block); }
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept { giveBack(block); }
void operator delete(void* block, std::nothrow_t const&) noexcept { giveBack(block); }
void operator delete[](void* block, std::nothrow_t const&) noexcept { giveBack(block); }
void operator delete(void* block, std::align_val_t, std::nothrow_t const&) noexcept {
    giveBack(block);
}
void operator delete[](void* block, std::align_val_t, std::nothrow_t const&) noexcept {
    giveBack(block);
}
