#include "intfaddr/answer/VirtualChanges.h"

#include <string>

#include "Zin/Format.h"

namespace IntfAddr {

namespace {

Reply done(bool changed, bool isKept = true) {
    Json answer{{"changed", changed}};
    if (!isKept) {
        answer["kept"] = false;
    }
    return textReply(200, toLine(answer) + "\n");
}

}  // namespace

VirtualChanges::VirtualChanges(Routing::Router const& router, Rights const& rights,
                               VirtualAddresses& addresses)
    : router_(router), rights_(rights), addresses_(addresses) {}

void VirtualChanges::addTo(Routes& routes) const {
    for (std::string const method : {"PUT", "DELETE"}) {
        routes.add({.method = method,
                    .path = "/v1/virtual",
                    .parameters = std::set<std::string>{"address", "vrf"},
                    .needed = {"address"}},
                   [this](Request const& request, Parameters const& given) {
                       return rights_.mayChange(request.peer)
                                  ? reply(request.method == "PUT", filterOf(given))
                                  : refusal();
                   });
    }
}

Reply VirtualChanges::reply(bool adds, Filter const& filter) const {
    VirtualAddress const address{.vrf = filter.vrf.value_or("default"), .addr = *filter.addr};
    // Of a VRF that has gone what is there can go too.
    if (!addresses_.has(address) && !router_.tables()->intfAddrVrfTableHas(address.vrf)) {
        return errorReply(404, fmt::format("there is no VRF '{}'", address.vrf));
    }
    return adds ? add(address) : del(address);
}

Reply VirtualChanges::add(VirtualAddress const& address) const {
    if (addresses_.has(address)) {
        return done(false);
    }
    return done(true, addresses_.add(address));
}

Reply VirtualChanges::del(VirtualAddress const& address) const {
    if (addresses_.isConfigured(address)) {
        return errorReply(409, fmt::format("{} of VRF '{}' is configured: take it out of the "
                                           "configuration, and send SIGHUP",
                                           address.addr, address.vrf));
    }
    if (!addresses_.has(address)) {
        return done(false);
    }
    return done(true, addresses_.del(address));
}

}  // namespace IntfAddr
