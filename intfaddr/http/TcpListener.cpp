#include "intfaddr/http/TcpListener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "Zin/Format.h"

namespace IntfAddr {

namespace {

std::string nameOf(Nimb::IpGenAddr const& address, std::uint16_t port) {
    auto const text = fmt::to_string(address);
    return address.family() == Nimb::AddressFamily::ipv6 ? fmt::format("[{}]:{}", text, port)
                                                         : fmt::format("{}:{}", text, port);
}

union SocketName {
    sockaddr any;
    sockaddr_in ip4;
    sockaddr_in6 ip6;
};

SocketName socketName(Nimb::IpGenAddr const& address, std::uint16_t port) {
    SocketName name{};
    if (address.family() == Nimb::AddressFamily::ipv6) {
        name.ip6 = {};
        name.ip6.sin6_family = AF_INET6;
        name.ip6.sin6_port = htons(port);
        std::ranges::copy(address.bytes(), std::begin(name.ip6.sin6_addr.s6_addr));
    } else {
        name.ip4 = {};
        name.ip4.sin_family = AF_INET;
        name.ip4.sin_port = htons(port);
        auto const bytes = address.ip4().bytes();
        std::ranges::copy(bytes, reinterpret_cast<unsigned char*>(&name.ip4.sin_addr.s_addr));
    }
    return name;
}

Netlink::Descriptor listening(Nimb::IpGenAddr const& address, std::uint16_t port) {
    auto const name = socketName(address, port);
    Netlink::Descriptor socket(
        ::socket(name.any.sa_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    // What is left of its predecessor's connections does not keep it from its port; and no piece of
    // a reply waits until the one before it has been taken. Its connections take that over.
    int const yes = 1;
    socklen_t const size =
        name.any.sa_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
    if (!socket || ::setsockopt(socket.number(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) != 0 ||
        ::setsockopt(socket.number(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes) != 0 ||
        ::bind(socket.number(), &name.any, size) != 0 ||
        ::listen(socket.number(), SOMAXCONN) != 0) {
        throw std::runtime_error(fmt::format("{}: cannot be listened at: {}", nameOf(address, port),
                                             std::generic_category().message(errno)));
    }
    return socket;
}

std::uint16_t portOf(int socket) {
    SocketName name{};
    socklen_t size = sizeof name;
    ::getsockname(socket, &name.any, &size);
    return ntohs(name.any.sa_family == AF_INET6 ? name.ip6.sin6_port : name.ip4.sin_port);
}

}  // namespace

TcpListener::TcpListener(Nimb::IpGenAddr const& address, std::uint16_t port)
    : socket_(listening(address, port)), name_(nameOf(address, portOf(socket_.number()))) {}

}  // namespace IntfAddr
