#include "feeds/netlink/fake/MessageText.h"

#include <arpa/inet.h>
#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <system_error>

namespace Netlink::Fake {

namespace {

using View = std::span<std::byte const>;
using Attributes = std::map<unsigned, View>;

template <class T>
T as(View bytes) {
    T value{};
    std::memcpy(&value, bytes.data(), std::min(sizeof value, bytes.size()));
    return value;
}

View behind(View bytes, std::size_t length) {
    return bytes.subspan(std::min(bytes.size(), std::size_t{NLMSG_ALIGN(length)}));
}

Attributes attributesOf(View bytes) {
    Attributes attributes;
    while (bytes.size() >= sizeof(nlattr)) {
        auto const header = as<nlattr>(bytes);
        if (header.nla_len < sizeof header || header.nla_len > bytes.size()) {
            break;
        }
        attributes[header.nla_type & NLA_TYPE_MASK] =
            bytes.first(header.nla_len).subspan(sizeof header);
        bytes = behind(bytes, header.nla_len);
    }
    return attributes;
}

std::string string(View bytes) { return reinterpret_cast<char const*>(bytes.data()); }

std::string addressText(int family, View bytes) {
    char text[INET6_ADDRSTRLEN] = {};
    ::inet_ntop(family, bytes.data(), text, sizeof text);
    return text;
}

std::string hex(std::uint32_t value) {
    char text[16] = {};
    std::snprintf(text, sizeof text, "%x", value);
    return text;
}

std::string lifetimeText(char const* name, std::uint32_t seconds) {
    return seconds == UINT32_MAX ? "" : std::string(name) + std::to_string(seconds);
}

std::string linkText(View payload) {
    auto const info = as<ifinfomsg>(payload);
    auto const attributes = attributesOf(behind(payload, sizeof info));
    std::string text = ' ' + std::to_string(info.ifi_index);
    for (auto const& [type, value] : attributes) {
        switch (type) {
            case IFLA_IFNAME:
                text += ' ' + string(value);
                text += (info.ifi_flags & IFF_UP) != 0 ? " up" : "";
                text += (info.ifi_flags & IFF_RUNNING) != 0 ? " running" : "";
                break;
            case IFLA_OPERSTATE:
                text += " state " + std::to_string(as<std::uint8_t>(value));
                break;
            case IFLA_MASTER:
                text += " master " + std::to_string(as<std::uint32_t>(value));
                break;
            case IFLA_LINKINFO:
                if (auto const nested = attributesOf(value); nested.contains(IFLA_INFO_KIND)) {
                    text += " kind " + string(nested.at(IFLA_INFO_KIND));
                }
                break;
            default:
                break;
        }
    }
    return text;
}

std::string addressMessageText(View payload) {
    auto const info = as<ifaddrmsg>(payload);
    auto attributes = attributesOf(behind(payload, sizeof info));
    bool const hasLocal = attributes.contains(IFA_LOCAL);
    View const own = attributes[hasLocal ? IFA_LOCAL : IFA_ADDRESS];
    View const far = attributes[IFA_ADDRESS];
    auto const flags =
        attributes.contains(IFA_FLAGS) ? as<std::uint32_t>(attributes[IFA_FLAGS]) : info.ifa_flags;
    std::string text = ' ' + std::to_string(info.ifa_index) + ' ' +
                       addressText(info.ifa_family, own) + '/' + std::to_string(info.ifa_prefixlen);
    if (hasLocal && addressText(info.ifa_family, far) != addressText(info.ifa_family, own)) {
        text += " peer " + addressText(info.ifa_family, far);
    }
    text += info.ifa_scope != 0 ? " scope " + std::to_string(info.ifa_scope) : "";
    text += " flags " + hex(flags);
    if (attributes.contains(IFA_LABEL)) {
        text += " label " + string(attributes[IFA_LABEL]);
    }
    if (attributes.contains(IFA_CACHEINFO)) {
        auto const lifetimes = as<ifa_cacheinfo>(attributes[IFA_CACHEINFO]);
        text += lifetimeText(" preferred ", lifetimes.ifa_prefered);
        text += lifetimeText(" valid ", lifetimes.ifa_valid);
    }
    return text;
}

std::string errorText(View payload) {
    int const error = as<int>(payload);
    return error == 0 ? "" : " errno " + std::to_string(-error);
}

std::string bodyText(nlmsghdr const& header, View payload) {
    bool const bridge = as<std::uint8_t>(payload) == AF_BRIDGE;
    switch (header.nlmsg_type) {
        case RTM_NEWLINK:
            return (bridge ? "bridge-NEWLINK" : "NEWLINK") + linkText(payload);
        case RTM_DELLINK:
            return (bridge ? "bridge-DELLINK" : "DELLINK") + linkText(payload);
        case RTM_NEWADDR:
            return "NEWADDR" + addressMessageText(payload);
        case RTM_DELADDR:
            return "DELADDR" + addressMessageText(payload);
        case NLMSG_DONE:
            return "DONE" + errorText(payload);
        case NLMSG_ERROR:
            return "ERROR" + errorText(payload);
        default:
            return "type " + std::to_string(header.nlmsg_type);
    }
}

}  // namespace

std::vector<std::string> messageTexts(View datagram) {
    std::vector<std::string> texts;
    while (datagram.size() >= sizeof(nlmsghdr)) {
        auto const header = as<nlmsghdr>(datagram);
        if (header.nlmsg_len < sizeof header || header.nlmsg_len > datagram.size()) {
            break;
        }
        View const message = datagram.first(header.nlmsg_len);
        std::string text = (header.nlmsg_flags & NLM_F_DUMP_INTR) != 0 ? "interrupted " : "";
        if ((header.nlmsg_flags & NLM_F_MULTI) == 0 && header.nlmsg_pid != 0) {
            text += std::to_string(header.nlmsg_pid) + '/' + std::to_string(header.nlmsg_seq) + ' ';
        }
        texts.push_back(text + bodyText(header, behind(message, sizeof header)));
        datagram = behind(datagram, header.nlmsg_len);
    }
    return texts;
}

std::vector<std::string> receiveTexts(Socket& socket, std::size_t bufferSize) {
    std::vector<std::string> texts;
    std::vector<std::byte> buffer(bufferSize);
    for (bool more = true; more;) {
        try {
            auto const received = socket.receive(buffer);
            more = received.has_value();
            if (more && received->size > buffer.size()) {
                texts.push_back("truncated");
            } else if (more) {
                for (auto const& text : messageTexts(View(buffer).first(received->size))) {
                    texts.push_back((received->sender != 0 ? "stranger: " : "") + text);
                }
            }
        } catch (std::system_error const& error) {
            texts.push_back(error.code().value() == ENOBUFS ? "ENOBUFS" : error.what());
        }
    }
    return texts;
}

}  // namespace Netlink::Fake
