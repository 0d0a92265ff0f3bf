// What the agent may be asked, in the terms of a request for a path below /v1/: each parameter is
// checked, and named where it is wrong.
#pragma once

#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "intfaddr/answer/Filter.h"

namespace IntfAddr {

// Says what is wrong, and what was expected.
class BadQuestion : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

using Parameters = std::vector<std::pair<std::string, std::string>>;

// `vrf`, `interface`, `family` (4 or 6), `address` and `prefix`, each once; of these the `allowed`
// ones, and no others. Throws BadQuestion, also where the `needed` one is missing.
Filter filterOf(Parameters const& parameters, std::set<std::string> const& allowed,
                std::string const& needed = {});
Filter filterOf(Parameters const& parameters);
// Takes a parameter out; nothing where it is not given. One that is given twice is left once, which
// filterOf() refuses.
std::optional<std::string> takeValue(Parameters& parameters, std::string const& name);
// The same of one that is "true", also where it stands alone, or "false", as where it is not given.
// Throws BadQuestion.
bool takeFlag(Parameters& parameters, std::string const& name);

Parameters parametersOf(Filter const& filter);

// Throws BadQuestion.
Nimb::IpGenAddr addressOf(std::string const& text);

}  // namespace IntfAddr
