// What the agent may be asked, in the terms of a request for a path below /v1/: each parameter is
// checked, and named where it is wrong.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "intfaddr/answer/Filter.h"
#include "intfaddr/http/Target.h"

namespace IntfAddr {

// Says what is wrong, and what was expected.
class BadQuestion : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

using Parameters = std::vector<std::pair<std::string, std::string>>;

// That each is one of the `allowed`, and stands there once, and that none of the `needed` is
// missing. Throws BadQuestion.
void checkParameters(Parameters const& parameters, std::set<std::string> const& allowed,
                     std::set<std::string> const& needed = {});

// `vrf`, `interface`, `family` (4 or 6), `address`, `prefix` and `state`, each once, and no others.
// Throws BadQuestion.
Filter filterOf(Parameters const& parameters);

// Takes a parameter out; nothing where it is not given.
std::optional<std::string> takeValue(Parameters& parameters, std::string const& name);
struct Bounds {
    std::uint64_t least = 0;
    std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
};
// A number that a parameter of that name has. Throws BadQuestion.
std::uint64_t numberOf(std::string const& name, std::string const& text, Bounds const& bounds);
// The same of one that is "true", also where it stands alone, or "false", as where it is not given.
// Throws BadQuestion.
bool takeFlag(Parameters& parameters, std::string const& name);

Parameters parametersOf(Filter const& filter);

// The request for a list or an answer of that name. What is of one VRF alone stands below it.
Target targetOf(std::string const& name, Parameters parameters);

// Throws BadQuestion.
Nimb::IpGenAddr addressOf(std::string const& text);

}  // namespace IntfAddr
