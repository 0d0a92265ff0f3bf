#include "Zin/HashKey.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace Zin {

HashKey drawnHashKey() {
    std::uint64_t draw = 0;
    if (::getentropy(&draw, sizeof draw) != 0) {
        throw std::system_error(errno, std::generic_category(), "drawing the hash key");
    }
    return HashKey(draw);
}

}  // namespace Zin
