#include "feeds/netlink/Channel.h"

#include <libmnl/libmnl.h>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <system_error>

namespace Netlink {

namespace {

// The kernel answers at once; a longer silence is a fault that must not hang the program.
constexpr timeval answerTimeout{.tv_sec = 10, .tv_usec = 0};

[[noreturn]] void fail(char const* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

struct CloseSocket {
    void operator()(mnl_socket* socket) const { mnl_socket_close(socket); }
};

class KernelChannel final : public Channel {
public:
    KernelChannel() : socket_(mnl_socket_open(NETLINK_ROUTE)) {
        if (!socket_ || mnl_socket_bind(socket_.get(), 0, MNL_SOCKET_AUTOPID) < 0) {
            fail("cannot open a netlink socket");
        }
        if (::setsockopt(mnl_socket_get_fd(socket_.get()), SOL_SOCKET, SO_RCVTIMEO, &answerTimeout,
                         sizeof answerTimeout) < 0) {
            fail("cannot set the netlink socket's timeout");
        }
    }

    std::uint32_t port() const override { return mnl_socket_get_portid(socket_.get()); }

    void send(std::span<std::byte const> message) override {
        if (mnl_socket_sendto(socket_.get(), message.data(), message.size()) < 0) {
            fail("cannot send to the kernel");
        }
    }

    Received receive(std::span<std::byte> buffer) override {
        while (true) {
            sockaddr_nl sender{};
            socklen_t senderSize = sizeof sender;
            ssize_t const size =
                ::recvfrom(mnl_socket_get_fd(socket_.get()), buffer.data(), buffer.size(),
                           MSG_TRUNC, reinterpret_cast<sockaddr*>(&sender), &senderSize);
            if (size >= 0) {
                return {.size = static_cast<std::size_t>(size), .sender = sender.nl_pid};
            }
            if (errno != EINTR) {
                fail("cannot receive from the kernel");
            }
        }
    }

private:
    std::unique_ptr<mnl_socket, CloseSocket> socket_;
};

}  // namespace

std::unique_ptr<Channel> openChannel() { return std::make_unique<KernelChannel>(); }

}  // namespace Netlink
