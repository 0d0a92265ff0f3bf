// What the environment says of a random test.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>

namespace RandomStatus {

inline std::uint64_t number(char const* name, std::uint64_t otherwise) {
    char const* const text = std::getenv(name);
    return text ? std::stoull(text) : otherwise;
}

}  // namespace RandomStatus
