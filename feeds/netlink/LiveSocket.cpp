#include "feeds/netlink/LiveSocket.h"

#include <libmnl/libmnl.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <system_error>

namespace Netlink {

namespace {

[[noreturn]] void failSocket(char const* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

struct CloseSocket {
    void operator()(mnl_socket* socket) const { mnl_socket_close(socket); }
};

class LiveSocket final : public Socket {
public:
    explicit LiveSocket(unsigned groups)
        : socket_(mnl_socket_open2(NETLINK_ROUTE, SOCK_NONBLOCK | SOCK_CLOEXEC)) {
        if (!socket_ || mnl_socket_bind(socket_.get(), groups, MNL_SOCKET_AUTOPID) < 0) {
            failSocket("cannot open a netlink socket");
        }
    }

    void watch(Loop& loop, Readable const& readable) {
        watch_ = loop.watch(descriptor(), Loop::Event::readable, readable);
    }

    // Returns what the kernel grants.
    std::size_t receiveBufferIs(std::size_t bytes) {
        int const wanted =
            static_cast<int>(std::min(bytes, std::size_t{std::numeric_limits<int>::max() / 2}));
        if (::setsockopt(descriptor(), SOL_SOCKET, SO_RCVBUFFORCE, &wanted, sizeof wanted) < 0 &&
            ::setsockopt(descriptor(), SOL_SOCKET, SO_RCVBUF, &wanted, sizeof wanted) < 0) {
            failSocket("cannot set the netlink socket's receive buffer");
        }
        int granted = 0;
        socklen_t size = sizeof granted;
        if (::getsockopt(descriptor(), SOL_SOCKET, SO_RCVBUF, &granted, &size) < 0) {
            failSocket("cannot read the netlink socket's receive buffer");
        }
        // The kernel doubles what it is told, for its own needs.
        return static_cast<std::size_t>(granted) / 2;
    }

    std::uint32_t port() const override { return mnl_socket_get_portid(socket_.get()); }

    void send(std::span<std::byte const> message) override {
        if (mnl_socket_sendto(socket_.get(), message.data(), message.size()) < 0) {
            failSocket("cannot send to the kernel");
        }
    }

    std::optional<Received> receive(std::span<std::byte> buffer) override {
        while (true) {
            sockaddr_nl sender{};
            socklen_t senderSize = sizeof sender;
            ssize_t const size = ::recvfrom(descriptor(), buffer.data(), buffer.size(), MSG_TRUNC,
                                            reinterpret_cast<sockaddr*>(&sender), &senderSize);
            if (size >= 0) {
                return Received{.size = static_cast<std::size_t>(size), .sender = sender.nl_pid};
            }
            if (errno == EAGAIN) {
                watch_->again();
                return std::nullopt;
            }
            if (errno != EINTR) {
                failSocket("cannot receive from the kernel");
            }
        }
    }

private:
    int descriptor() const { return mnl_socket_get_fd(socket_.get()); }

    std::unique_ptr<mnl_socket, CloseSocket> socket_;
    std::unique_ptr<Watch> watch_;  // goes first
};

}  // namespace

std::unique_ptr<Socket> openNotifications(Loop& loop, Readable const& readable,
                                          std::size_t receiveBuffer, std::size_t& granted) {
    auto socket =
        std::make_unique<LiveSocket>(RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR);
    granted = socket->receiveBufferIs(receiveBuffer);
    socket->watch(loop, readable);
    return socket;
}

std::unique_ptr<Socket> openDumps(Loop& loop, Readable const& readable) {
    auto socket = std::make_unique<LiveSocket>(0);
    socket->watch(loop, readable);
    return socket;
}

}  // namespace Netlink
