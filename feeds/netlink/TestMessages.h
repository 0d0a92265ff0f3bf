// Kernel messages made by hand, for tests of what reads them.
#pragma once

#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

namespace Netlink::Messages {

constexpr std::uint32_t sequence = 7;
constexpr std::uint32_t port = 4321;

using Bytes = std::vector<std::byte>;

template <class T>
Bytes bytesOf(T const& value) {
    Bytes bytes(sizeof value);
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

inline Bytes bytesOf(std::string_view text) {
    auto const bytes = std::as_bytes(std::span(text));
    return Bytes(bytes.begin(), bytes.end());
}

inline Bytes operator+(Bytes left, Bytes const& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

inline Bytes padded(Bytes bytes) {
    bytes.resize(NLMSG_ALIGN(bytes.size()));
    return bytes;
}

inline Bytes attribute(unsigned type, Bytes const& value) {
    nlattr const header{.nla_len = static_cast<std::uint16_t>(sizeof(nlattr) + value.size()),
                        .nla_type = static_cast<std::uint16_t>(type)};
    return padded(bytesOf(header) + value);
}

struct Envelope {
    std::uint16_t flags = NLM_F_MULTI;
    std::uint32_t sequence = Messages::sequence;
    std::uint32_t port = Messages::port;
};

inline Bytes message(unsigned type, Bytes const& payload, Envelope envelope = {}) {
    nlmsghdr const header{
        .nlmsg_len = static_cast<std::uint32_t>(sizeof(nlmsghdr) + payload.size()),
        .nlmsg_type = static_cast<std::uint16_t>(type),
        .nlmsg_flags = envelope.flags,
        .nlmsg_seq = envelope.sequence,
        .nlmsg_pid = envelope.port};
    return padded(bytesOf(header) + payload);
}

inline Bytes linkInfo(int ifIndex, unsigned flags = IFF_UP) {
    ifinfomsg info{};
    info.ifi_family = AF_UNSPEC;
    info.ifi_index = ifIndex;
    info.ifi_flags = flags;
    return bytesOf(info);
}

inline Bytes name(std::string_view text) {
    return attribute(IFLA_IFNAME, bytesOf(text) + Bytes(1));
}

inline Bytes link(int ifIndex, std::string_view linkName, Envelope envelope = {}) {
    return message(
        RTM_NEWLINK,
        linkInfo(ifIndex) + name(linkName) + attribute(IFLA_OPERSTATE, bytesOf(std::uint8_t{6})),
        envelope);
}

inline Bytes addressInfo(unsigned family, unsigned ifIndex, unsigned prefixLength,
                         unsigned flags = 0) {
    ifaddrmsg info{};
    info.ifa_family = static_cast<std::uint8_t>(family);
    info.ifa_prefixlen = static_cast<std::uint8_t>(prefixLength);
    info.ifa_flags = static_cast<std::uint8_t>(flags);
    info.ifa_index = ifIndex;
    return bytesOf(info);
}

inline Bytes ip4(std::uint8_t a, std::uint8_t b, std::uint8_t c, std::uint8_t d) {
    return {std::byte{a}, std::byte{b}, std::byte{c}, std::byte{d}};
}

// PREFIX::LAST, the prefix being the address's first 32 bits.
inline Bytes ip6(std::uint32_t prefix, std::uint8_t last) {
    Bytes bytes(16);
    for (unsigned i = 0; i < 4; ++i) {
        bytes[i] = static_cast<std::byte>(prefix >> (24 - 8 * i) & 0xff);
    }
    bytes[15] = std::byte{last};
    return bytes;
}

inline Bytes done(Envelope envelope = {}) { return message(NLMSG_DONE, bytesOf(0), envelope); }

}  // namespace Netlink::Messages
