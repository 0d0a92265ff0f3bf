#include "intfaddr/answer/VirtualChanges.h"

#include <fmt/format.h>

#include "intfaddr/answer/Document.h"
#include "intfaddr/answer/Question.h"

namespace IntfAddr {

namespace {

using Routing::Operation;

Operation operationOf(L3::VrfName const& vrf, Nimb::IpGenAddr const& addr, bool adds) {
    if (addr.family() == Nimb::AddressFamily::ipv6) {
        return adds ? Operation(Routing::Vip6Add{vrf, addr.ip6()})
                    : Operation(Routing::Vip6Del{vrf, addr.ip6()});
    }
    Nimb::IpAddrWithMask const alone(addr.ip4(), Nimb::maxPrefixLength(addr.family()));
    return adds ? Operation(Routing::VipAdd{vrf, alone}) : Operation(Routing::VipDel{vrf, alone});
}

}  // namespace

VirtualChanges::VirtualChanges(Routing::Router const& router, Rights const& rights, Apply apply)
    : router_(router), rights_(rights), apply_(std::move(apply)) {}

Reply VirtualChanges::reply(Request const& request) const {
    bool const adds = request.method == "PUT";
    if (!adds && request.method != "DELETE") {
        return errorReply(405,
                          fmt::format("{} is not possible: PUT and DELETE are", request.method));
    }
    if (!rights_.mayChange(request.peer)) {
        return refusal();
    }
    try {
        auto const filter = filterOf(request.target.query, {"address", "vrf"}, "address");
        L3::VrfName const vrf = filter.vrf.value_or("default");
        if (!router_.tables()->intfAddrVrfTableHas(vrf)) {
            return errorReply(404, fmt::format("there is no VRF '{}'", vrf));
        }
        bool const changes = router_.published(vrf).hasVirtual(*filter.addr) != adds;
        if (changes) {
            apply_({operationOf(vrf, *filter.addr, adds)});
        }
        return textReply(200, toLine(Json{{"changed", changes}}) + "\n");
    } catch (BadQuestion const& error) {
        return errorReply(400, error.what());
    }
}

}  // namespace IntfAddr
