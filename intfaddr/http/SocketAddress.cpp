#include "intfaddr/http/SocketAddress.h"

#include <stdexcept>

#include "Zin/Format.h"

namespace IntfAddr {

SocketAddress::SocketAddress(std::string const& path) {
    constexpr std::size_t longest = sizeof address_.sun_path - 1;
    if (path.empty() || path.size() > longest) {
        throw std::runtime_error(fmt::format("'{}': the path of a socket has 1 to {} bytes, not {}",
                                             path, longest, path.size()));
    }
    address_.sun_family = AF_UNIX;
    path.copy(address_.sun_path, longest);
}

}  // namespace IntfAddr
