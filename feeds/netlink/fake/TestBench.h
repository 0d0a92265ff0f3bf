// A fake kernel with somebody who listens in its own namespace, for tests.
#pragma once

#include <string>
#include <vector>

#include "feeds/netlink/fake/FakeKernel.h"
#include "feeds/netlink/fake/MessageText.h"
#include "feeds/netlink/fake/RealKernel.h"

namespace Netlink::Fake {

using Lines = std::vector<std::string>;

inline Address address(char const* own) { return {.own = Nimb::IpGenAddrWithMask(own)}; }

struct Bench {
    Bench() {
        kernel.settings(home).linkLocal = false;
        sockets = kernel.openOwn(1U << 20, [this] { ++calls; });
    }

    // Of a dummy.
    Place addDummy(std::string const& name, std::uint32_t ifIndex = 0) {
        kernel.links().add(LinkKind::dummy, {home, name, ifIndex});
        return kernel.link(home, name)->place;
    }
    Place addVeth(std::string const& name, std::string const& peer) {
        kernel.links().addVeth({home, name}, {home, peer});
        return kernel.link(home, name)->place;
    }
    // What has been told since this was asked last.
    Lines told() { return receiveTexts(*sockets.notifications); }
    void forget() { told(); }
    Lines dump(std::uint16_t type) {
        sockets.dumps->send(dumpRequest(type));
        return receiveTexts(*sockets.dumps);
    }
    Lines addresses(Place place) {
        Lines all;
        auto const& link = kernel.links(place.network).at(place.ifIndex);
        for (auto const* const list : {&link.ip4, &link.ip6}) {
            for (auto const& one : *list) {
                all.emplace_back(one.own.text());
            }
        }
        return all;
    }

    FakeKernel kernel;
    NamespaceId const home = kernel.ownNamespace();
    NamespaceSockets sockets;
    int calls = 0;
};

}  // namespace Netlink::Fake
