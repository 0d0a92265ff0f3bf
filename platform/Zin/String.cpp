#include "Zin/String.h"

#include <fmt/format.h>

#include "Zin/Errors.h"

namespace Zin {

void checkStringBytes(std::size_t bytes, std::uint32_t maxLength, std::string_view limitText) {
    if (bytes > maxLength) {
        throw RangeError(fmt::format("Zin::String::bytes > {} not allowed", limitText));
    }
}

}  // namespace Zin
