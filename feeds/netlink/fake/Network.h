// One network namespace: its links with their addresses, and who listens to what becomes of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "feeds/netlink/Kernel.h"
#include "feeds/netlink/fake/Link.h"

namespace Netlink::Fake {

class NotificationSocket;

// What an administrator sets for a whole namespace (sysctl).
struct NamespaceSettings {
    bool promoteSecondaries = false;
    bool keepAddrOnDown = false;  // permanent IPv6 addresses that are not link-local
    bool linkLocal = true;        // an interface that comes up makes itself an IPv6 address
    double dadTime = 1;           // seconds that duplicate address detection takes
};

struct Network {
    NamespaceId id;
    NamespaceSettings settings{};
    std::map<std::uint32_t, Link> links{};
    // Of a dump that runs meanwhile they tell that it was interrupted. Never 0.
    std::uint32_t linksListed = 1;
    std::uint32_t ip4Changes = 1;
    std::uint32_t ip6Changes = 1;
    std::vector<NotificationSocket*> listeners{};
    // Of both kinds. They keep the namespace alive.
    std::size_t openSockets = 0;

    Link* find(std::uint32_t ifIndex) {
        auto const found = links.find(ifIndex);
        return found == links.end() ? nullptr : &found->second;
    }
    Link* find(std::string const& name) {
        for (auto& [ifIndex, link] : links) {
            if (link.name == name) {
                return &link;
            }
        }
        return nullptr;
    }
    std::uint32_t freeIfIndex() const {
        std::uint32_t ifIndex = 1;
        while (links.contains(ifIndex)) {
            ++ifIndex;
        }
        return ifIndex;
    }
};

}  // namespace Netlink::Fake
