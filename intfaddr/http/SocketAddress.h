// The address of a unix socket that has a path.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <string>

namespace IntfAddr {

class SocketAddress {
public:
    // Throws std::runtime_error for one that is empty or longer than 107 bytes.
    explicit SocketAddress(std::string const& path);

    sockaddr const* get() const { return reinterpret_cast<sockaddr const*>(&address_); }
    socklen_t size() const { return sizeof address_; }

private:
    sockaddr_un address_{};
};

}  // namespace IntfAddr
