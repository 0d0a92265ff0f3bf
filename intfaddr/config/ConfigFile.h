// Reads a configuration file, which is TOML: docs/intfaddr.toml has every key.
//
//   in     the text; what the command line says, which holds against the file
//   out    a Config; or what is wrong, with the line
//
// A key has the name of the option that it stands for. All of the file is checked, also what does
// not hold.
#pragma once

#include <cstddef>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "intfaddr/config/Config.h"

namespace IntfAddr {

// "FILE:LINE: what is wrong", naming the word; "FILE: ..." with line 0 for a file that cannot be
// read.
class ConfigError : public std::runtime_error {
public:
    ConfigError(std::string const& file, std::size_t line, std::string_view what);

    std::size_t line() const { return line_; }

private:
    std::size_t const line_;
};

// The command line, and the names of its options that were given.
struct Given {
    Config config{};
    std::set<std::string> names{};
};

// Throws ConfigError. `file` names it there.
Config readConfig(std::string_view text, std::string const& file, Given const& given = {});
Config readConfigFile(std::string const& path, Given const& given = {});

// Has `next` be as `running` where that cannot change while the agent runs. Returns the keys that
// would have changed.
std::vector<std::string> holdBack(Config const& running, Config& next);

}  // namespace IntfAddr
