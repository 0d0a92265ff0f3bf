#include "feeds/netlink/Message.h"

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

Link::Kind kindOf(std::string_view name) {
    return name == "vrf"     ? Link::Kind::vrf
           : name == "dummy" ? Link::Kind::dummy
                             : Link::Kind::other;
}

std::optional<Nimb::IpGenAddr> takeAddress(unsigned family, Bytes bytes) {
    if (family == AF_INET) {
        auto const address = takeExactly<Nimb::Ip4Bytes>(bytes);
        return address ? std::optional<Nimb::IpGenAddr>(Nimb::Ip4Addr(*address)) : std::nullopt;
    }
    auto const address = takeExactly<Nimb::Ip6Bytes>(bytes);
    return address ? std::optional<Nimb::IpGenAddr>(Nimb::Ip6Addr(*address)) : std::nullopt;
}

class Reader {
public:
    Reader(Skipped& skipped, std::function<void(Message const&)> const& handle)
        : skipped_(skipped), handle_(handle) {}

    void read(Bytes message) {
        nlmsghdr const header = *take<nlmsghdr>(message);
        message_ = {.sequence = header.nlmsg_seq,
                    .port = header.nlmsg_pid,
                    .interrupted = (header.nlmsg_flags & NLM_F_DUMP_INTR) != 0};
        Bytes const payload = after(message, sizeof header);
        switch (header.nlmsg_type) {
            case RTM_NEWLINK:
            case RTM_DELLINK:
                return readLink(payload, header.nlmsg_type == RTM_NEWLINK);
            case RTM_NEWADDR:
            case RTM_DELADDR:
                return readAddress(payload, header.nlmsg_type == RTM_NEWADDR);
            case NLMSG_DONE:
                return readEnd(payload);
            case NLMSG_ERROR:
                return payload.size() < sizeof(nlmsgerr) ? skipShort() : readEnd(payload);
            case NLMSG_OVERRUN:
                return tell(Overrun());
            case NLMSG_NOOP:
                return;
            default:
                ++skipped_.unknownMessages;
        }
    }

private:
    void tell(std::variant<Change, End, Overrun> content) {
        message_.content = std::move(content);
        handle_(message_);
    }
    void skipShort() { ++skipped_.shortMessages; }

    // Both ends of a dump begin with a negative errno where it failed.
    void readEnd(Bytes payload) {
        constexpr int maxErrno = 4095;
        int const error = take<int>(payload).value_or(0);
        tell(End{-std::clamp(error, -maxErrno, 0)});
    }

    void readLink(Bytes payload, bool isThere) {
        auto const info = take<ifinfomsg>(payload);
        if (!info) {
            return skipShort();
        }
        if (info->ifi_index <= 0) {
            ++skipped_.malformedMessages;
            return;
        }
        auto const ifIndex = static_cast<std::uint32_t>(info->ifi_index);
        // Bridges tell of ports that come to them and leave; of a link itself only AF_UNSPEC does,
        // also what its master is.
        if (info->ifi_family != AF_UNSPEC) {
            return;
        }
        if (!isThere) {
            return tell(Change(LinkGone{ifIndex}));
        }
        Link link{.ifIndex = ifIndex, .up = (info->ifi_flags & IFF_UP) != 0};
        // Events of the radio come as messages that say nothing else of the link.
        bool isOfRadio = false;
        bool const wellFormed =
            forEachAttribute(after(payload, sizeof *info), [&](unsigned type, Bytes value) {
                isOfRadio = isOfRadio || type == IFLA_WIRELESS;
                return readLinkAttribute(type, value, link);
            });
        if (isOfRadio) {
            return;
        }
        if ((info->ifi_flags & IFF_LOOPBACK) != 0) {
            link.kind = Link::Kind::loopback;
        }
        if (wellFormed && !link.name.empty()) {
            tell(Change(LinkIs{link}));
        } else {
            ++skipped_.malformedMessages;
        }
    }

    bool readLinkAttribute(unsigned type, Bytes value, Link& link) {
        switch (type) {
            case IFLA_IFNAME:
                link.name = Nimb::IntfId(takeName(value));
                return true;
            case IFLA_OPERSTATE: {
                auto const operState = takeExactly<std::uint8_t>(value);
                link.operStatus = operStatusOf(operState.value_or(IF_OPER_UNKNOWN));
                return operState.has_value();
            }
            case IFLA_MASTER: {
                auto const master = takeExactly<std::uint32_t>(value);
                link.master = master.value_or(0);
                return master.has_value();
            }
            case IFLA_LINKINFO:
                return forEachAttribute(value, [&link](unsigned nested, Bytes nestedValue) {
                    if (nested == IFLA_INFO_KIND) {
                        link.kind = kindOf(takeName(nestedValue));
                    }
                    return true;
                });
            default:
                skipped_.unknownAttributes += type > IFLA_MAX ? 1 : 0;
                return true;
        }
    }

    void readAddress(Bytes payload, bool isThere) {
        auto const info = take<ifaddrmsg>(payload);
        if (!info) {
            return skipShort();
        }
        if (info->ifa_family != AF_INET && info->ifa_family != AF_INET6) {
            ++skipped_.unknownMessages;
            return;
        }
        Address address{.ifIndex = info->ifa_index,
                        .prefixLength = info->ifa_prefixlen,
                        .scope = info->ifa_scope};
        std::uint32_t flags = info->ifa_flags;
        // The preferred lifetime in seconds.
        std::uint32_t preferred = 1;
        bool const wellFormed = forEachAttribute(after(payload, sizeof *info), [&](unsigned type,
                                                                                   Bytes value) {
            return readAddressAttribute(type, value, info->ifa_family, address, flags, preferred);
        });
        using Nimb::AddressFamily;
        // On a point-to-point link IFA_ADDRESS is the peer's and IFA_LOCAL ours; elsewhere IPv6 has
        // IFA_ADDRESS alone.
        if (address.local.family() == AddressFamily::unset) {
            address.local = address.peer;
        } else if (address.peer.family() == AddressFamily::unset) {
            address.peer = address.local;
        }
        if (!wellFormed || address.family() == AddressFamily::unset || address.ifIndex == 0 ||
            address.prefixLength > Nimb::maxPrefixLength(address.family())) {
            ++skipped_.malformedMessages;
            return;
        }
        auto const has = [flags](std::uint32_t flag) { return (flags & flag) != 0; };
        // The same bit says "temporary" of an IPv6 address.
        address.secondary = info->ifa_family == AF_INET && has(IFA_F_SECONDARY);
        address.deprecated = has(IFA_F_DEPRECATED) || preferred == 0;
        address.tentative = has(IFA_F_TENTATIVE);
        address.optimistic = has(IFA_F_OPTIMISTIC);
        address.dadFailed = has(IFA_F_DADFAILED);
        tell(isThere ? Change(AddressIs{address}) : Change(AddressGone{address}));
    }

    bool readAddressAttribute(unsigned type, Bytes value, unsigned family, Address& address,
                              std::uint32_t& flags, std::uint32_t& preferred) {
        auto const readAddr = [&](Nimb::IpGenAddr& into) {
            auto const addr = takeAddress(family, value);
            into = addr.value_or(into);
            return addr.has_value();
        };
        switch (type) {
            case IFA_LOCAL:
                return readAddr(address.local);
            case IFA_ADDRESS:
                return readAddr(address.peer);
            case IFA_FLAGS: {
                auto const wide = takeExactly<std::uint32_t>(value);
                flags = wide.value_or(flags);
                return wide.has_value();
            }
            case IFA_CACHEINFO: {
                auto const cache = take<ifa_cacheinfo>(value);
                preferred = cache ? cache->ifa_prefered : preferred;
                return cache.has_value();
            }
            default:
                skipped_.unknownAttributes += type > IFA_MAX ? 1 : 0;
                return true;
        }
    }

    Skipped& skipped_;
    std::function<void(Message const&)> const& handle_;
    Message message_;
};

}  // namespace

Nimb::IpGenAddrWithMask Address::withMask() const {
    bool const lies = local.masked(prefixLength) == peer.masked(prefixLength);
    return {local, lies ? prefixLength : Nimb::maxPrefixLength(family())};
}

void readMessages(Bytes datagram, Skipped& skipped,
                  std::function<void(Message const&)> const& handle) {
    Reader reader(skipped, handle);
    while (!datagram.empty()) {
        auto const header = take<nlmsghdr>(datagram);
        if (!header || header->nlmsg_len < sizeof *header) {
            ++skipped.shortMessages;
            return;
        }
        if (header->nlmsg_len > datagram.size()) {
            ++skipped.oversizedMessages;
            return;
        }
        reader.read(datagram.first(header->nlmsg_len));
        datagram = after(datagram, header->nlmsg_len);
    }
}

}  // namespace Netlink
