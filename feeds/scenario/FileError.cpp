#include "feeds/scenario/FileError.h"

#include <cstddef>

namespace Scenario {

std::string shortened(std::string_view text) {
    constexpr std::size_t most = 80;
    if (text.size() <= most) {
        return std::string(text);
    }
    std::size_t end = most;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80) {
        --end;
    }
    return std::string(text.substr(0, end)).append("...");
}

}  // namespace Scenario
