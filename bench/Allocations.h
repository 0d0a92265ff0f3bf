// Counts what the program allocates, while it is asked to: it has an operator new of its own, which
// else does what malloc does.
#pragma once

#include <cstddef>

namespace Bench {

// From its construction on. One at a time.
class Allocations {
public:
    Allocations();
    ~Allocations();
    Allocations(Allocations const&) = delete;
    Allocations& operator=(Allocations const&) = delete;

    // Made so far.
    std::size_t made() const;
    // More in use than before: malloc_usable_size and the eight bytes of malloc's own, for each.
    std::size_t bytes() const;
};

}  // namespace Bench
