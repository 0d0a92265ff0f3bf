// The smallest program that follows the links and addresses of its network namespace into one
// table: what the sockets cost whoever follows them.
//
//     smallest WAIT      milliseconds to wait for more after each wake-up
//
// SIGUSR1 prints how many addresses it holds.
#include <libmnl/libmnl.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/container_hash/hash.hpp>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int receiveBuffer = 16 << 20;

struct Key {
    std::uint32_t ifIndex = 0;
    std::uint8_t family = 0;
    std::uint8_t prefixLength = 0;
    std::array<std::uint8_t, 16> local{};

    friend bool operator==(Key const&, Key const&) = default;
    friend std::size_t hash_value(Key const& key) {
        std::size_t seed = key.ifIndex;
        boost::hash_combine(seed, key.prefixLength);
        boost::hash_range(seed, key.local.begin(), key.local.end());
        return seed;
    }
};

struct Tables {
    boost::unordered_flat_map<Key, std::uint32_t> addresses{};  // and their flags
    boost::unordered_flat_map<std::uint32_t, std::string> links{};
};

[[noreturn]] void fail(char const* what) {
    std::perror(what);
    std::exit(70);
}

struct CloseSocket {
    void operator()(mnl_socket* socket) const { mnl_socket_close(socket); }
};
using Socket = std::unique_ptr<mnl_socket, CloseSocket>;

Socket openSocket(unsigned groups) {
    Socket socket(mnl_socket_open2(NETLINK_ROUTE, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!socket || mnl_socket_bind(socket.get(), groups, MNL_SOCKET_AUTOPID) < 0) {
        fail("netlink");
    }
    ::setsockopt(mnl_socket_get_fd(socket.get()), SOL_SOCKET, SO_RCVBUFFORCE, &receiveBuffer,
                 sizeof receiveBuffer);
    return socket;
}

template <class F>
void forEachAttribute(nlmsghdr const* message, unsigned offset, F each) {
    mnl_attr_parse(
        message, offset,
        [](nlattr const* attribute, void* data) {
            (*static_cast<F*>(data))(attribute);
            return MNL_CB_OK;
        },
        &each);
}

void handleLink(nlmsghdr const* message, Tables& tables) {
    auto const* const info = static_cast<ifinfomsg const*>(mnl_nlmsg_get_payload(message));
    auto const ifIndex = static_cast<std::uint32_t>(info->ifi_index);
    if (message->nlmsg_type == RTM_DELLINK) {
        tables.links.erase(ifIndex);
        return;
    }
    forEachAttribute(message, sizeof *info, [&](nlattr const* attribute) {
        if (mnl_attr_get_type(attribute) == IFLA_IFNAME) {
            tables.links.insert_or_assign(ifIndex, mnl_attr_get_str(attribute));
        }
    });
}

void handleAddress(nlmsghdr const* message, Tables& tables) {
    auto const* const info = static_cast<ifaddrmsg const*>(mnl_nlmsg_get_payload(message));
    Key key{.ifIndex = info->ifa_index,
            .family = info->ifa_family,
            .prefixLength = info->ifa_prefixlen};
    std::uint32_t flags = info->ifa_flags;
    forEachAttribute(message, sizeof *info, [&](nlattr const* attribute) {
        auto const type = mnl_attr_get_type(attribute);
        if (type == IFA_LOCAL || (type == IFA_ADDRESS && info->ifa_family == AF_INET6)) {
            std::memcpy(key.local.data(), mnl_attr_get_payload(attribute),
                        std::min<std::size_t>(mnl_attr_get_payload_len(attribute), 16));
        } else if (type == IFA_FLAGS) {
            flags = mnl_attr_get_u32(attribute);
        }
    });
    if (message->nlmsg_type == RTM_NEWADDR) {
        tables.addresses.insert_or_assign(key, flags);
    } else {
        tables.addresses.erase(key);
    }
}

// Returns whether this ended a dump.
bool handle(char const* data, std::size_t size, Tables& tables) {
    int left = static_cast<int>(size);
    for (auto const* message = reinterpret_cast<nlmsghdr const*>(data); mnl_nlmsg_ok(message, left);
         message = mnl_nlmsg_next(message, &left)) {
        switch (message->nlmsg_type) {
            case RTM_NEWLINK:
            case RTM_DELLINK:
                handleLink(message, tables);
                break;
            case RTM_NEWADDR:
            case RTM_DELADDR:
                handleAddress(message, tables);
                break;
            case NLMSG_DONE:
                return true;
            default:
                break;
        }
    }
    return false;
}

// Until it has been read empty. Returns whether a dump has ended.
bool readAll(Socket const& socket, std::vector<char>& buffer, Tables& tables) {
    while (true) {
        ssize_t const size =
            ::recv(mnl_socket_get_fd(socket.get()), buffer.data(), buffer.size(), 0);
        if (size < 0) {
            if (errno != EAGAIN) {
                fail("netlink: it has lost something");
            }
            return false;
        }
        if (handle(buffer.data(), static_cast<std::size_t>(size), tables)) {
            return true;
        }
    }
}

void dump(Socket const& socket, std::uint16_t type, std::vector<char>& buffer, Tables& tables) {
    alignas(nlmsghdr) std::array<char, 256> request{};
    nlmsghdr* const message = mnl_nlmsg_put_header(request.data());
    message->nlmsg_type = type;
    message->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    if (type == RTM_GETLINK) {
        mnl_nlmsg_put_extra_header(message, sizeof(ifinfomsg));
    } else {
        mnl_nlmsg_put_extra_header(message, sizeof(ifaddrmsg));
    }
    if (mnl_socket_sendto(socket.get(), message, message->nlmsg_len) < 0) {
        fail("netlink");
    }
    pollfd asked{.fd = mnl_socket_get_fd(socket.get()), .events = POLLIN, .revents = 0};
    do {
        ::poll(&asked, 1, -1);
    } while (!readAll(socket, buffer, tables));
}

}  // namespace

int main(int argc, char** argv) {
    std::chrono::milliseconds const wait(argc > 1 ? std::atoi(argv[1]) : 0);
    sigset_t signals{};
    sigemptyset(&signals);
    sigaddset(&signals, SIGUSR1);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    int const asks = ::signalfd(-1, &signals, SFD_CLOEXEC);

    Tables tables;
    std::vector<char> buffer(std::size_t{64} * 1024);
    Socket const notifications = openSocket(RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR);
    {
        Socket const dumps = openSocket(0);
        dump(dumps, RTM_GETLINK, buffer, tables);
        dump(dumps, RTM_GETADDR, buffer, tables);
    }
    std::array<pollfd, 2> asked{
        {{mnl_socket_get_fd(notifications.get()), POLLIN, 0}, {asks, POLLIN, 0}}};
    while (true) {
        ::poll(asked.data(), asked.size(), -1);
        if (asked[0].revents != 0) {
            if (wait.count() > 0) {
                std::this_thread::sleep_for(wait);
            }
            readAll(notifications, buffer, tables);
        }
        if (asked[1].revents != 0) {
            signalfd_siginfo info{};
            if (::read(asks, &info, sizeof info) > 0) {
                std::printf("%zu\n", tables.addresses.size());
                std::fflush(stdout);
            }
        }
    }
}
