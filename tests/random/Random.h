// A stream of random numbers: always the same for one seed and number, on every machine.
//
// SplitMix64 (Steele, Lea, Flood: Fast Splittable Pseudorandom Number Generators, 2014).
#pragma once

#include <cstdint>
#include <iterator>

namespace RandomStatus {

class Random {
public:
    Random(std::uint64_t seed, std::uint64_t number) : state_(seed) {
        state_ = next() ^ number;
        state_ = next();  // or else one stream would be its neighbour, moved by one
    }

    std::uint64_t next() {
        std::uint64_t word = state_ += increment;
        word = (word ^ (word >> 30)) * 0xbf58476d1ce4e5b9;
        word = (word ^ (word >> 27)) * 0x94d049bb133111eb;
        return word ^ (word >> 31);
    }
    std::uint32_t below(std::uint32_t end) {
        return static_cast<std::uint32_t>((next() >> 32) * end >> 32);
    }
    bool isOneIn(std::uint32_t n) { return below(n) == 0; }
    template <class Items>
    auto const& oneOf(Items const& items) {
        return items[below(static_cast<std::uint32_t>(std::size(items)))];
    }

private:
    static constexpr std::uint64_t increment = 0x9e3779b97f4a7c15;
    std::uint64_t state_;
};

}  // namespace RandomStatus
