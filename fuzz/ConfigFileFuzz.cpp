// Whatever a configuration file holds, it is read, or what is wrong is told with its line.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "RoundTrip.h"
#include "intfaddr/config/ConfigFile.h"

namespace {

// The input itself, or one that begins as a good file does: chance alone would hardly find a key.
std::string fileFrom(std::string_view input) {
    static constexpr std::string_view beginnings[] = {
        "",
        "events = ",
        "record = \"x\"\nlimit = ",
        "coalesce = ",
        "yield-every = ",
        "leave-out = [\"e*\"",
        "no-unnumbered = ",
        "changers = [\"root\", 7, ",
        "keep-virtual = true\n[virtual]\ndefault = [\"10.0.0.1\"]\nred = [\"",
        "[virtual]\n",
    };
    if (input.empty()) {
        return {};
    }
    auto const choice = static_cast<unsigned char>(input.front()) % std::size(beginnings);
    return std::string(beginnings[choice]) + std::string(input.substr(1));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    try {
        IntfAddr::readConfig(fileFrom(Fuzz::textOf(data, size)), "file");
    } catch (IntfAddr::ConfigError const& error) {
        std::string const where = "file:" + std::to_string(error.line()) + ": ";
        Fuzz::require(error.line() > 0 && std::string_view(error.what()).starts_with(where) &&
                      error.what() != where);
    }
    return 0;
}
