// The addresses that come and go: those of 198.18.0.0/15, which are for such measures (RFC 2544).
#pragma once

#include <fmt/format.h>

#include <cstddef>
#include <string>

namespace Load {

inline constexpr std::size_t addressCount = 1000;
// Comes when all else has come: who knows of it knows of all.
inline constexpr std::size_t lastAddress = addressCount;

inline std::string addressOf(std::size_t number) {
    return fmt::format("198.18.{}.{}", number / 256, number % 256);
}

inline std::string targetOf(std::string const& path, std::size_t number) {
    return fmt::format("/v1/{}?vrf=default&address={}", path, addressOf(number));
}

}  // namespace Load
