// What the library is measured against: the least that has to be done to keep rows by content, by
// address and by subnet, done with the containers that one would take. A row is shared by three
// boost::unordered_flat_map, whose keys have 24 bytes, and by the std::set of its subnet. Nobody is
// told of anything, and nothing conflicts.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <compare>
#include <cstdint>
#include <memory>
#include <set>

#include "Population.h"

namespace Bench {

struct FloorKey {
    std::uint64_t high;
    std::uint64_t low;
    std::uint64_t other;
    friend bool operator==(FloorKey const&, FloorKey const&) = default;
    friend std::strong_ordering operator<=>(FloorKey const&, FloorKey const&) = default;
};

// Three words by two multiplications of 64 by 64 bits.
struct FloorHash {
    using is_avalanching = void;
    std::size_t operator()(FloorKey const& key) const {
        return mixed(mixed(key.high ^ 0x9e3779b97f4a7c15, key.low ^ 0xbf58476d1ce4e5b9) ^ key.other,
                     0xd6e8feb86659fd93);
    }

private:
    __extension__ using Wide = unsigned __int128;
    static std::uint64_t mixed(std::uint64_t a, std::uint64_t b) {
        Wide const product = static_cast<Wide>(a) * b;
        return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
    }
};

// Whoever adds an address or removes it knows all of it.
struct FloorRow {
    FloorKey address;
    FloorKey subnet;
    std::uint64_t intf;

    FloorKey content() const { return {address.high, address.low, intf << 16 | subnet.other}; }
};

template <class Family>
FloorRow floorRowOf(std::uint32_t number);
template <>
inline FloorRow floorRowOf<Ipv4>(std::uint32_t number) {
    std::uint64_t const value = Ipv4::value(number);
    return {{value, 0, 4}, {value & ~std::uint64_t{15}, 0, Ipv4::length << 8 | 4}, intfOf(number)};
}
template <>
inline FloorRow floorRowOf<Ipv6>(std::uint32_t number) {
    std::uint64_t const high = std::uint64_t{0x20010db800000000} | intfOf(number);
    return {
        {high, number % addressesEach + 1, 6}, {high, 0, Ipv6::length << 8 | 6}, intfOf(number)};
}

template <class Family>
class Floor {
public:
    using RowPtr = std::shared_ptr<FloorRow const>;

    void add(std::uint32_t number) {
        auto const row = std::make_shared<FloorRow const>(floorRowOf<Family>(number));
        byContent_.emplace(row->content(), row);
        byAddress_.emplace(row->address, row);
        bySubnet_[row->subnet].insert(row);
    }
    void del(std::uint32_t number) {
        FloorRow const row = floorRowOf<Family>(number);
        byContent_.erase(row.content());
        byAddress_.erase(row.address);
        auto const set = bySubnet_.find(row.subnet);
        set->second.erase(set->second.find(row.address));
        if (set->second.empty()) {
            bySubnet_.erase(set);
        }
    }
    bool contains(FloorKey const& address) const { return byAddress_.contains(address); }
    FloorRow const& row(FloorKey const& address) const { return *byAddress_.find(address)->second; }
    std::size_t rows() const { return byContent_.size(); }

private:
    struct ByAddress {
        using is_transparent = void;
        bool operator()(RowPtr const& a, RowPtr const& b) const { return a->address < b->address; }
        bool operator()(RowPtr const& a, FloorKey const& b) const { return a->address < b; }
        bool operator()(FloorKey const& a, RowPtr const& b) const { return a < b->address; }
    };

    boost::unordered_flat_map<FloorKey, RowPtr, FloorHash> byContent_;
    boost::unordered_flat_map<FloorKey, RowPtr, FloorHash> byAddress_;
    boost::unordered_flat_map<FloorKey, std::set<RowPtr, ByAddress>, FloorHash> bySubnet_;
};

}  // namespace Bench
