#include "testing/memory/Memory.h"

#include <malloc.h>

#include <cstdlib>
#include <new>

namespace Testing::Memory {

std::atomic<std::size_t> allocations = 0;
std::atomic<std::size_t> blocks = 0;
std::atomic<std::size_t> bytes = 0;
std::atomic<std::size_t> untilFailure = std::size_t(-1);

namespace {

void* take(std::size_t alignment, std::size_t size) noexcept {
    void* block = nullptr;
    if (untilFailure-- != 0 && posix_memalign(&block, alignment, size) == 0) {
        ++allocations;
        ++blocks;
        bytes += malloc_usable_size(block);
    }
    return block;
}

void* takeOrThrow(std::size_t alignment, std::size_t size) {
    if (void* const block = take(alignment, size)) {
        return block;
    }
    throw std::bad_alloc();
}

void giveBack(void* block) noexcept {
    if (block != nullptr) {
        --blocks;
        bytes -= malloc_usable_size(block);
        std::free(block);
    }
}

}  // namespace
}  // namespace Testing::Memory

using namespace Testing::Memory;

void* operator new(std::size_t size) { return takeOrThrow(alignof(std::max_align_t), size); }
void* operator new(std::size_t size, std::align_val_t alignment) {
    return takeOrThrow(std::size_t(alignment), size);
}
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    return take(alignof(std::max_align_t), size);
}
void operator delete(void* block) noexcept { giveBack(block); }
void operator delete(void* block, std::size_t) noexcept { giveBack(block); }
void operator delete(void* block, std::align_val_t) noexcept { giveBack(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { giveBack(block); }
void operator delete(void* block, std::nothrow_t const&) noexcept { giveBack(block); }
