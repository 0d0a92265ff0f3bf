#include "intfaddr/ask/Printable.h"

#include <cstddef>

namespace IntfAddr {

namespace {

// How many bytes the control character at the beginning of `text` has; 0: there is none.
std::size_t controlSize(std::string_view text) {
    auto const byte = [text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    if (byte(0) < 0x20 || byte(0) == 0x7f) {
        return 1;
    }
    bool const isC1 = byte(0) == 0xc2 && text.size() > 1 && byte(1) >= 0x80 && byte(1) <= 0x9f;
    return isC1 ? 2 : 0;
}

}  // namespace

std::string printable(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        std::size_t const control = controlSize(text);
        result += control > 0 ? '?' : text.front();
        text.remove_prefix(control > 0 ? control : 1);
    }
    return result;
}

}  // namespace IntfAddr
