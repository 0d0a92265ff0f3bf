#include "feeds/scenario/FileError.h"

namespace Scenario {

std::string shortened(std::string_view text, std::size_t most) {
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
