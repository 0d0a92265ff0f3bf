// The JSON of scenario files, and of what a run prints.
#pragma once

#include <cstddef>
#include <string_view>

#include <nlohmann/json.hpp>

namespace Scenario {

// What is read.
using Json = nlohmann::json;
// What is printed: members keep their order. Not for what is read, since looking up one of very
// many members takes long.
using OrderedJson = nlohmann::ordered_json;

inline constexpr std::size_t maxDepth = 8;

// Reads one object. Throws LineError where the text is anything else, is not UTF-8, gives a member
// twice, holds a number that no double holds, or nests objects and arrays deeper than `maxDepth`.
Json readObject(std::string_view text);

}  // namespace Scenario
