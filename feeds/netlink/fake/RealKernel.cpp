#include "feeds/netlink/fake/RealKernel.h"

#include <fcntl.h>
#include <linux/veth.h>
#include <poll.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <future>
#include <optional>
#include <span>
#include <string_view>
#include <system_error>
#include <utility>

namespace Netlink::Fake {

namespace {

using Messages::attribute;
using Messages::bytesOf;
using Messages::operator+;

[[noreturn]] void failWith(char const* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

int checked(int result, char const* what) { return result < 0 ? (failWith(what), result) : result; }

Bytes linkHeader(std::uint32_t ifIndex, unsigned flags = 0, unsigned change = 0) {
    ifinfomsg info{};
    info.ifi_index = static_cast<int>(ifIndex);
    info.ifi_flags = flags;
    info.ifi_change = change;
    return bytesOf(info);
}

Bytes bytesOfAddress(Nimb::IpGenAddr const& address) {
    Bytes bytes = bytesOf(address.bytes());
    bytes.resize(address.family() == Nimb::AddressFamily::ipv4 ? 4 : 16);
    return bytes;
}

std::uint32_t asked(double lifetime) {
    return lifetime == forever ? UINT32_MAX : static_cast<std::uint32_t>(lifetime);
}

}  // namespace

Bytes dumpRequest(std::uint16_t type, std::uint32_t sequence) {
    Envelope const envelope{.flags = NLM_F_REQUEST | NLM_F_DUMP, .sequence = sequence, .port = 0};
    Bytes const skipStatistics =
        attribute(IFLA_EXT_MASK, bytesOf(std::uint32_t{RTEXT_FILTER_SKIP_STATS}));
    return type == RTM_GETLINK ? Messages::message(type, linkHeader(0) + skipStatistics, envelope)
                               : Messages::message(type, bytesOf(ifaddrmsg{}), envelope);
}

class RealKernel::RouteSocket final : public Socket {
public:
    explicit RouteSocket(unsigned groups)
        : file_(checked(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE), "socket")) {
        sockaddr_nl address{};
        address.nl_family = AF_NETLINK;
        address.nl_groups = groups;
        socklen_t size = sizeof address;
        auto* const general = reinterpret_cast<sockaddr*>(&address);
        checked(::bind(file_, general, size), "bind");
        checked(::getsockname(file_, general, &size), "getsockname");
        port_ = address.nl_pid;
    }
    ~RouteSocket() override { ::close(file_); }

    std::uint32_t port() const override { return port_; }
    void send(std::span<std::byte const> message) override {
        checked(static_cast<int>(::send(file_, message.data(), message.size(), 0)), "send");
    }
    std::optional<Received> receive(std::span<std::byte> buffer) override {
        sockaddr_nl sender{};
        socklen_t size = sizeof sender;
        auto const length =
            ::recvfrom(file_, buffer.data(), buffer.size(), MSG_DONTWAIT | MSG_TRUNC,
                       reinterpret_cast<sockaddr*>(&sender), &size);
        if (length < 0 && errno == EAGAIN) {
            return std::nullopt;
        }
        checked(static_cast<int>(length), "recvfrom");
        return Received{.size = static_cast<std::size_t>(length), .sender = sender.nl_pid};
    }
    bool wait(int milliseconds) const {
        pollfd watched{.fd = file_, .events = POLLIN, .revents = 0};
        return ::poll(&watched, 1, milliseconds) > 0;
    }

private:
    int const file_;
    std::uint32_t port_ = 0;
};

// A setting of the namespace in which it was opened, from wherever it is written.
class RealKernel::Setting {
public:
    explicit Setting(char const* path) : file_(checked(::open(path, O_WRONLY | O_CLOEXEC), path)) {}
    Setting(Setting const&) = delete;
    Setting& operator=(Setting const&) = delete;
    ~Setting() { ::close(file_); }

    void set(bool on) const {
        checked(static_cast<int>(::pwrite(file_, on ? "1" : "0", 1, 0)), "setting");
    }

private:
    int const file_;
};

// That of the thread which makes it.
struct RealKernel::Namespace {
    Namespace() { Setting("/proc/sys/net/ipv6/conf/default/addr_gen_mode").set(true); }
    ~Namespace() { ::close(file); }
    Namespace(Namespace const&) = delete;
    Namespace& operator=(Namespace const&) = delete;

    int const file = checked(::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC), "namespace");
    RouteSocket requests{0};
    RouteSocket dumps{0};
    RouteSocket notifications{RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR};
    Setting promoteSecondaries{"/proc/sys/net/ipv4/conf/all/promote_secondaries"};
    Setting keepAddrOnDown{"/proc/sys/net/ipv6/conf/all/keep_addr_on_down"};
};

RealKernel::RealKernel() {
    // In a thread, which does not come back from there.
    std::async(std::launch::async, [this] {
        for (auto& one : namespaces_) {
            checked(::unshare(CLONE_NEWNET), "unshare");
            one = std::make_unique<Namespace>();
        }
    }).get();
}

RealKernel::~RealKernel() = default;

bool RealKernel::has(LinkKind kind) {
    Operation operation{.kind = Operation::Kind::addLink,
                        .place = {.ifIndex = 99},
                        .name = "probe",
                        .linkKind = kind};
    auto const first = [](NamespaceId) { return std::size_t{0}; };
    if (perform(operation, first) != 0) {
        return false;
    }
    operation.kind = Operation::Kind::removeLink;
    return perform(operation, first) == 0;
}

Requester RealKernel::nextRequester(std::size_t network) const {
    return {.port = namespaces_[network]->requests.port(), .sequence = sequence_ + 1};
}

int RealKernel::perform(Operation const& wanted,
                        std::function<std::size_t(NamespaceId)> const& indexOf) {
    using Kind = Operation::Kind;
    std::size_t const network = indexOf(wanted.place.network);
    std::size_t const other = indexOf(wanted.otherPlace.network);
    auto const change = [&](Bytes const& attributes) {
        return changeLink(network, wanted.place.ifIndex, 0, 0, attributes);
    };
    auto const name = [&] { return wanted.name.empty() ? Bytes() : Messages::name(wanted.name); };
    switch (wanted.kind) {
        case Kind::addLink:
            return addLink(wanted, network, other);
        case Kind::removeLink:
            return request(network, RTM_DELLINK, 0, linkHeader(wanted.place.ifIndex));
        case Kind::setUp:
            return changeLink(network, wanted.place.ifIndex, IFF_UP, IFF_UP, {});
        case Kind::setDown:
            return changeLink(network, wanted.place.ifIndex, 0, IFF_UP, {});
        case Kind::rename:
            return change(name());
        case Kind::moveLink:
            return change(attribute(IFLA_NET_NS_FD, bytesOf(namespaces_[other]->file)) + name());
        case Kind::setMaster:
            return change(attribute(IFLA_MASTER, bytesOf(wanted.otherPlace.ifIndex)));
        case Kind::addAddress:
            return changeAddress(network, RTM_NEWADDR, NLM_F_CREATE | NLM_F_EXCL, wanted);
        case Kind::replaceAddress:
            return changeAddress(network, RTM_NEWADDR, NLM_F_CREATE | NLM_F_REPLACE, wanted);
        case Kind::removeAddress:
            return changeAddress(network, RTM_DELADDR, 0, wanted);
        case Kind::promoteSecondaries:
            namespaces_[network]->promoteSecondaries.set(wanted.on);
            return 0;
        case Kind::keepAddrOnDown:
            namespaces_[network]->keepAddrOnDown.set(wanted.on);
            return 0;
        default:
            return EOPNOTSUPP;
    }
}

Socket& RealKernel::notifications(std::size_t network) {
    return namespaces_[network]->notifications;
}

Socket& RealKernel::dumps(std::size_t network) { return namespaces_[network]->dumps; }

bool RealKernel::waitFor(Socket& socket, int milliseconds) {
    return static_cast<RouteSocket&>(socket).wait(milliseconds);
}

int RealKernel::request(std::size_t network, unsigned type, unsigned flags, Bytes const& payload) {
    RouteSocket& socket = namespaces_[network]->requests;
    Envelope const envelope{.flags = static_cast<std::uint16_t>(NLM_F_REQUEST | NLM_F_ACK | flags),
                            .sequence = ++sequence_,
                            .port = 0};
    socket.send(Messages::message(type, payload, envelope));
    std::array<std::byte, 8192> buffer{};
    while (!socket.receive(buffer)) {
        socket.wait(-1);
    }
    int error = 0;
    std::memcpy(&error, buffer.data() + NLMSG_HDRLEN, sizeof error);
    return -error;
}

int RealKernel::addLink(Operation const& wanted, std::size_t network, std::size_t other) {
    static std::string_view constexpr kinds[] = {"loopback", "veth", "dummy", "bridge", "vrf"};
    Bytes info = attribute(IFLA_INFO_KIND,
                           bytesOf(kinds[static_cast<std::size_t>(wanted.linkKind)]) + Bytes(1));
    if (wanted.linkKind == LinkKind::veth) {
        Bytes const peer = linkHeader(wanted.otherPlace.ifIndex) +
                           Messages::name(wanted.otherName) +
                           attribute(IFLA_NET_NS_FD, bytesOf(namespaces_[other]->file));
        info = info + attribute(IFLA_INFO_DATA | NLA_F_NESTED,
                                attribute(VETH_INFO_PEER | NLA_F_NESTED, peer));
    }
    return request(network, RTM_NEWLINK, NLM_F_CREATE | NLM_F_EXCL,
                   linkHeader(wanted.place.ifIndex) + Messages::name(wanted.name) +
                       attribute(IFLA_LINKINFO | NLA_F_NESTED, info));
}

int RealKernel::changeLink(std::size_t network, std::uint32_t ifIndex, unsigned flags,
                           unsigned change, Bytes const& attributes) {
    return request(network, RTM_NEWLINK, 0, linkHeader(ifIndex, flags, change) + attributes);
}

int RealKernel::changeAddress(std::size_t network, unsigned type, unsigned flags,
                              Operation const& wanted) {
    Address const& address = wanted.address;
    ifaddrmsg header{};
    header.ifa_family = static_cast<std::uint8_t>(address.family());
    header.ifa_prefixlen = address.own.prefixLength();
    header.ifa_scope = address.scope;
    header.ifa_index = wanted.place.ifIndex;
    ifa_cacheinfo const lifetimes{.ifa_prefered = asked(address.preferred),
                                  .ifa_valid = asked(address.valid),
                                  .cstamp = 0,
                                  .tstamp = 0};
    return request(network, type, flags,
                   bytesOf(header) + attribute(IFA_LOCAL, bytesOfAddress(address.own.address())) +
                       attribute(IFA_ADDRESS, bytesOfAddress(address.farEnd())) +
                       attribute(IFA_FLAGS, bytesOf(address.flags)) +
                       attribute(IFA_CACHEINFO, bytesOf(lifetimes)));
}

}  // namespace Netlink::Fake
