// The words behind a command that asks, in the grammar of the `ip` command: what the question is
// about, then keywords, each followed by its value, in any order.
//
//   intfaddr show 10.0.0.0/8 vrf red intf eth0 family 4
//   intfaddr lookup fe80::1%eth0
//   intfaddr lowest6 eth0 vrf red
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "intfaddr/answer/Question.h"

namespace IntfAddr {

// What may come without a keyword.
enum class Subject { none, intf, addr, addrOrPrefix };

struct Grammar {
    Subject subject = Subject::none;
    bool isNeeded = false;  // the subject
    // Of "vrf", "intf", "family" and "state".
    std::vector<std::string> keywords{};

    bool has(std::string const& keyword) const {
        return std::find(keywords.begin(), keywords.end(), keyword) != keywords.end();
    }
};

// In the terms of the request that asks for it. Throws BadQuestion, which names the word and what
// was expected.
Parameters parametersOf(Grammar const& grammar, std::vector<std::string> const& words);

// As it is shown to who asks for help: "[ADDR|PREFIX] [vrf NAME]".
std::string toText(Grammar const& grammar);

}  // namespace IntfAddr
