#include "intfaddr/config/Configuration.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

#include "Zin/Format.h"

namespace IntfAddr {

namespace {

std::optional<std::string> fileOf(std::optional<std::string> const& named,
                                  std::string const& elseFile) {
    // One that may not be looked for is not one that is not there.
    bool const lacksElse = ::access(elseFile.c_str(), F_OK) != 0 && errno == ENOENT;
    return named ? named : lacksElse ? std::nullopt : std::optional(elseFile);
}

}  // namespace

Configuration::Configuration(Given given, std::optional<std::string> const& file,
                             std::string const& elseFile)
    : given_(std::move(given)),
      file_(fileOf(file, elseFile)),
      config_(file_ ? readConfigFile(*file_, given_) : given_.config) {}

std::vector<std::string> Configuration::reload() {
    if (!file_) {
        return {"no configuration file is in use that could be read again"};
    }
    try {
        Config next = readConfigFile(*file_, given_);
        std::vector<std::string> lines;
        for (auto const& name : holdBack(config_, next)) {
            lines.push_back(fmt::format("{}: '{}' waits for a restart", *file_, name));
        }
        config_ = std::move(next);
        lines.push_back(fmt::format("{}: was read again", *file_));
        return lines;
    } catch (ConfigError const& error) {
        return {error.what(),
                fmt::format("{}: is not taken; the configuration stays as it was", *file_)};
    }
}

}  // namespace IntfAddr
