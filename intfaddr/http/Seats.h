// A number of seats, of which each is taken by one at a time, until he lets go of it.
//
// The seats outlive whoever has one.
#pragma once

#include <cstddef>
#include <memory>

namespace IntfAddr {

class Seats {
    struct GiveBack {
        void operator()(std::size_t* free) const { ++*free; }
    };

public:
    using Seat = std::unique_ptr<std::size_t, GiveBack>;

    explicit Seats(std::size_t number) : free_(number) {}
    Seats(Seats const&) = delete;
    Seats& operator=(Seats const&) = delete;

    // None where all are taken.
    Seat take() { return free_ == 0 ? Seat() : (--free_, Seat(&free_)); }

private:
    std::size_t free_;
};

}  // namespace IntfAddr
