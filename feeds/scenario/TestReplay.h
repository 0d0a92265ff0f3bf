// For tests: replays a scenario that is written down line by line.
//
//     auto const run = replayed({R"({"op":"snapshot"})"});
//     EXPECT_EQ(run.outcome, Outcome::completed);
//     EXPECT_THAT(run.printed, ElementsAre(R"({"t":0.0,"snapshot":{}})"));
#pragma once

#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "feeds/scenario/Replayer.h"

namespace Scenario {

using Lines = std::vector<std::string>;

struct Replayed {
    // Nothing where the file is wrong: then `error` says what, and in which line.
    std::optional<Outcome> outcome;
    Lines printed;
    std::string error;
    std::uint64_t errorLine = 0;
};

inline Replayed replayedText(std::string const& text, Options const& options = {}) {
    std::istringstream in(text);
    std::stringstream out;
    Replayed result;
    try {
        result.outcome = replay(in, out, options);
    } catch (FileError const& error) {
        result.error = error.what();
        result.errorLine = error.line();
    }
    for (std::string line; std::getline(out, line);) {
        result.printed.push_back(line);
    }
    return result;
}

inline Replayed replayed(Lines const& lines, Options const& options = {}) {
    std::string text;
    for (std::string const& line : lines) {
        text += line + '\n';
    }
    return replayedText(text, options);
}

// Entities are numbered through the life of a process: here they are all alike.
inline Lines withoutSerials(Lines lines) {
    for (std::string& line : lines) {
        line = std::regex_replace(line, std::regex("entity#[0-9]+"), "entity#");
    }
    return lines;
}

// VRF red with a table and status of both families, and interfaces eth0 and eth1 that the kernel
// has, without addresses.
inline Lines const& preparation() {
    static Lines const lines{
        R"({"op":"table.add","vrf":"red"})",
        R"({"op":"ip.vrf.add","vrf":"red"})",
        R"({"op":"ip6.vrf.add","vrf":"red"})",
        R"({"op":"kernel.add","vrf":"red","intf":"eth0"})",
        R"({"op":"kernel.add","vrf":"red","intf":"eth1"})",
        R"({"op":"ip.intf.add","vrf":"red","intf":"eth0"})",
        R"({"op":"ip.intf.add","vrf":"red","intf":"eth1"})",
        R"({"op":"ip6.intf.add","vrf":"red","intf":"eth0"})",
        R"({"op":"ip6.intf.add","vrf":"red","intf":"eth1"})",
    };
    return lines;
}

// The same with some more behind it.
inline Lines prepared(Lines const& more) {
    Lines lines = preparation();
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

}  // namespace Scenario
