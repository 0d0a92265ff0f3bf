// The last changes of the kernel's interfaces in one VRF, kept to answer "when did this device
// go?".
//
//   in     changed(): an interface of the directory came, went, or was reported again
//   out    the last 256 of them, newest first, and how many there have been in all
//
// All places are allocated when the history is made, so that recording a change allocates nothing.
// Owned by the VRF's machine; read by its dump.
#pragma once

#include <array>
#include <cstddef>
#include <memory>

#include "Nimb/IntfId.h"
#include "Zin/Seconds.h"

namespace IpLib::IntfAddrVrfTableImpl {

class KniKernelHistory {
public:
    struct Change {
        Zin::Seconds time = 0.0;  // on the framework's clock
        Nimb::IntfId intfId{};
        bool isPresent = false;
    };

    static constexpr std::size_t capacity = 256;

    // Changes held, at most `capacity`.
    std::size_t size() const { return size_; }
    // Changes recorded so far.
    std::size_t count() const { return count_; }

    // Takes the place of the oldest one where all are taken.
    void changed(Zin::Seconds time, Nimb::IntfId const& intfId, bool isPresent) {
        newest_ = (newest_ + capacity - 1) % capacity;
        (*ring_)[newest_] = {.time = time, .intfId = intfId, .isPresent = isPresent};
        size_ += size_ < capacity ? 1 : 0;
        ++count_;
    }

    template <class Fn>
    void forEachNewestFirst(Fn&& fn) const {
        for (std::size_t i = 0; i < size_; ++i) {
            fn((*ring_)[(newest_ + i) % capacity]);
        }
    }

private:
    using Ring = std::array<Change, capacity>;

    // Filled from its end to its beginning: behind the newest change come the older ones.
    std::unique_ptr<Ring> const ring_ = std::make_unique<Ring>();
    std::size_t newest_ = 0;
    std::size_t size_ = 0;
    std::size_t count_ = 0;
};

}  // namespace IpLib::IntfAddrVrfTableImpl
