// The configuration of an agent that runs: what holds, whatever becomes of its file.
//
//   in     the command line; the file, when it begins and each time that it is to be read again
//   out    a Config that is whole: that of a bad file never holds, nor any part of it; and what is
//          to be told of that
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "intfaddr/config/ConfigFile.h"

namespace IntfAddr {

class Configuration {
public:
    // Read where no file is named, if it is there.
    static constexpr char const* systemFile = "/etc/intfaddr/intfaddr.toml";

    // Reads the file that is named. Throws ConfigError.
    explicit Configuration(Given given, std::optional<std::string> const& file = std::nullopt,
                           std::string const& elseFile = systemFile);

    Config const& config() const { return config_; }

    // Reads the file again. Returns the lines that the operator is to be told.
    std::vector<std::string> reload();

private:
    Given const given_;
    std::optional<std::string> const file_;
    Config config_;
};

}  // namespace IntfAddr
