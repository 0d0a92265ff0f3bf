// What the agent may be asked, in the terms of a request for a path below /v1/: each parameter is
// checked, and named where it is wrong.
#pragma once

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
Parameters parametersOf(Filter const& filter);

// Throws BadQuestion.
Nimb::IpGenAddr addressOf(std::string const& text);

}  // namespace IntfAddr
