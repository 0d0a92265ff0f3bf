#include "Allocations.h"

#include <malloc.h>

#include <cstdlib>
#include <new>

namespace {

// Compilers take it for granted that operator new changes no plain variable.
bool volatile counts = false;
volatile std::size_t made = 0;
volatile std::size_t bytes = 0;  // may wrap: what was there before may go

std::size_t sizeOf(void* block) { return malloc_usable_size(block) + sizeof(std::size_t); }

void* counted(void* block) {
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    if (counts) {
        made = made + 1;
        bytes = bytes + sizeOf(block);
    }
    return block;
}

void giveBack(void* block) {
    if (counts && block != nullptr) {
        bytes = bytes - sizeOf(block);
    }
    std::free(block);
}

}  // namespace

namespace Bench {

Allocations::Allocations() {
    ::made = 0;
    ::bytes = 0;
    counts = true;
}
Allocations::~Allocations() { counts = false; }
std::size_t Allocations::made() const { return ::made; }
std::size_t Allocations::bytes() const { return ::bytes; }

}  // namespace Bench

// The others of the standard library come to these.
void* operator new(std::size_t size) { return counted(std::malloc(size)); }
void* operator new(std::size_t size, std::align_val_t alignment) {
    auto const unit = static_cast<std::size_t>(alignment);
    return counted(std::aligned_alloc(unit, (size + unit - 1) / unit * unit));
}
void operator delete(void* block) noexcept { giveBack(block); }
void operator delete(void* block, std::size_t) noexcept { giveBack(block); }
void operator delete(void* block, std::align_val_t) noexcept { giveBack(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { giveBack(block); }
