#include "feeds/netlink/DumpReader.h"

#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <string_view>
#include <system_error>
#include <type_traits>

namespace Netlink {

namespace {

using Bytes = std::span<std::byte const>;

// Datagrams promise no alignment.
template <class T>
std::optional<T> take(Bytes bytes) {
    static_assert(std::is_trivially_copyable_v<T>);
    if (bytes.size() < sizeof(T)) {
        return std::nullopt;
    }
    T value;
    std::memcpy(&value, bytes.data(), sizeof value);
    return value;
}

template <class T>
std::optional<T> takeExactly(Bytes bytes) {
    return bytes.size() == sizeof(T) ? take<T>(bytes) : std::nullopt;
}

Bytes after(Bytes bytes, std::size_t length) {
    return bytes.subspan(std::min(bytes.size(), std::size_t{NLMSG_ALIGN(length)}));
}

// Calls visit(type, payload) for each attribute; false as soon as one is broken or visit says so.
template <class Visit>
bool forEachAttribute(Bytes bytes, Visit visit) {
    while (!bytes.empty()) {
        auto const header = take<nlattr>(bytes);
        if (!header || header->nla_len < sizeof *header || header->nla_len > bytes.size()) {
            return false;
        }
        Bytes const payload = bytes.first(header->nla_len).subspan(sizeof *header);
        if (!visit(static_cast<unsigned>(header->nla_type & NLA_TYPE_MASK), payload)) {
            return false;
        }
        bytes = after(bytes, header->nla_len);
    }
    return true;
}

// The kernel ends names with a zero byte.
std::string_view takeName(Bytes bytes) {
    std::string_view const text(reinterpret_cast<char const*>(bytes.data()), bytes.size());
    return text.substr(0, text.find('\0'));
}

// By the kernel's numbers (linux/if.h), which are not those of RFC 2863.
Interface::OperStatus operStatusOf(std::uint8_t operState) {
    switch (operState) {
        case IF_OPER_NOTPRESENT:
            return Interface::OperStatus::notPresent;
        case IF_OPER_DOWN:
            return Interface::OperStatus::down;
        case IF_OPER_LOWERLAYERDOWN:
            return Interface::OperStatus::lowerLayerDown;
        case IF_OPER_TESTING:
            return Interface::OperStatus::testing;
        case IF_OPER_DORMANT:
            return Interface::OperStatus::dormant;
        case IF_OPER_UP:
            return Interface::OperStatus::up;
        default:
            return Interface::OperStatus::unknown;
    }
}

std::optional<Nimb::IpGenAddr> takeAddress(unsigned family, Bytes bytes) {
    if (family == AF_INET) {
        auto const address = takeExactly<Nimb::Ip4Bytes>(bytes);
        return address ? std::optional<Nimb::IpGenAddr>(Nimb::Ip4Addr(*address)) : std::nullopt;
    }
    auto const address = takeExactly<Nimb::Ip6Bytes>(bytes);
    return address ? std::optional<Nimb::IpGenAddr>(Nimb::Ip6Addr(*address)) : std::nullopt;
}

[[noreturn]] void fail(int error) {
    throw std::system_error(error, std::generic_category(), "the kernel refused a netlink dump");
}

}  // namespace

void DumpReader::read(Bytes datagram) {
    while (!datagram.empty()) {
        auto const header = take<nlmsghdr>(datagram);
        if (!header || header->nlmsg_len < sizeof *header) {
            ++snapshot_.skipped.shortMessages;
            return;
        }
        if (header->nlmsg_len > datagram.size()) {
            ++snapshot_.skipped.oversizedMessages;
            return;
        }
        readMessage(datagram.first(header->nlmsg_len));
        datagram = after(datagram, header->nlmsg_len);
    }
}

void DumpReader::readMessage(Bytes message) {
    nlmsghdr const header = *take<nlmsghdr>(message);
    Bytes const payload = after(message, sizeof header);
    if (header.nlmsg_seq != sequence_ || header.nlmsg_pid != port_) {
        ++snapshot_.skipped.foreignMessages;
        return;
    }
    if ((header.nlmsg_flags & NLM_F_DUMP_INTR) != 0) {
        interrupted_ = true;
    }
    switch (header.nlmsg_type) {
        case RTM_NEWLINK:
            readLink(payload);
            break;
        case RTM_NEWADDR:
            readAddress(payload);
            break;
        case NLMSG_DONE:
            done_ = true;
            readEnd(payload);
            break;
        case NLMSG_ERROR:
            if (payload.size() < sizeof(nlmsgerr)) {
                ++snapshot_.skipped.shortMessages;
            } else {
                readEnd(payload);
            }
            break;
        case NLMSG_OVERRUN:
            interrupted_ = true;
            break;
        case NLMSG_NOOP:
            break;
        default:
            ++snapshot_.skipped.unknownMessages;
    }
}

// Both ends of a dump begin with a negative errno where it failed.
void DumpReader::readEnd(Bytes payload) {
    if (auto const error = take<int>(payload); error && *error < 0) {
        constexpr int maxErrno = 4095;
        fail(-std::max(*error, -maxErrno));
    }
}

void DumpReader::readLink(Bytes payload) {
    auto const info = take<ifinfomsg>(payload);
    if (!info) {
        ++snapshot_.skipped.shortMessages;
        return;
    }
    Link link;
    link.ifIndex = static_cast<std::uint32_t>(info->ifi_index);
    link.up = (info->ifi_flags & IFF_UP) != 0;
    bool const wellFormed =
        forEachAttribute(after(payload, sizeof *info), [&](unsigned type, Bytes value) {
            if (type == IFLA_IFNAME) {
                link.name = Nimb::IntfId(takeName(value));
            } else if (type == IFLA_OPERSTATE) {
                auto const operState = takeExactly<std::uint8_t>(value);
                link.operStatus = operStatusOf(operState.value_or(IF_OPER_UNKNOWN));
                return operState.has_value();
            } else if (type > IFLA_MAX) {
                ++snapshot_.skipped.unknownAttributes;
            }
            return true;
        });
    if (wellFormed && info->ifi_index > 0 && !link.name.empty()) {
        snapshot_.links.push_back(link);
    } else {
        ++snapshot_.skipped.malformedMessages;
    }
}

void DumpReader::readAddress(Bytes payload) {
    auto const info = take<ifaddrmsg>(payload);
    if (!info) {
        ++snapshot_.skipped.shortMessages;
        return;
    }
    if (info->ifa_family != AF_INET && info->ifa_family != AF_INET6) {
        ++snapshot_.skipped.unknownMessages;
        return;
    }
    std::uint32_t flags = info->ifa_flags;
    // On a point-to-point link IFA_ADDRESS is the peer's and IFA_LOCAL ours; elsewhere IPv6 has
    // IFA_ADDRESS alone.
    std::optional<Nimb::IpGenAddr> local;
    std::optional<Nimb::IpGenAddr> address;
    bool const wellFormed =
        forEachAttribute(after(payload, sizeof *info), [&](unsigned type, Bytes value) {
            if (type == IFA_LOCAL) {
                local = takeAddress(info->ifa_family, value);
                return local.has_value();
            }
            if (type == IFA_ADDRESS) {
                address = takeAddress(info->ifa_family, value);
                return address.has_value();
            }
            if (type == IFA_FLAGS) {
                auto const wide = takeExactly<std::uint32_t>(value);
                flags = wide.value_or(flags);
                return wide.has_value();
            }
            if (type > IFA_MAX) {
                ++snapshot_.skipped.unknownAttributes;
            }
            return true;
        });
    auto const& own = local ? local : address;
    if (!wellFormed || !own || info->ifa_index == 0 ||
        info->ifa_prefixlen > Nimb::maxPrefixLength(own->family())) {
        ++snapshot_.skipped.malformedMessages;
        return;
    }
    auto const has = [flags](std::uint32_t flag) { return (flags & flag) != 0; };
    snapshot_.addresses.push_back({.ifIndex = info->ifa_index,
                                   .addr = Nimb::IpGenAddrWithMask(*own, info->ifa_prefixlen),
                                   // The same bit says "temporary" of an IPv6 address.
                                   .secondary = info->ifa_family == AF_INET && has(IFA_F_SECONDARY),
                                   .deprecated = has(IFA_F_DEPRECATED),
                                   .tentative = has(IFA_F_TENTATIVE),
                                   .dadFailed = has(IFA_F_DADFAILED)});
}

}  // namespace Netlink
