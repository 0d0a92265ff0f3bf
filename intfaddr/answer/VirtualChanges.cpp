#include "intfaddr/answer/VirtualChanges.h"

#include <fmt/format.h>

#include "intfaddr/answer/Document.h"
#include "intfaddr/answer/Question.h"

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
        VirtualAddress const address{.vrf = filter.vrf.value_or("default"), .addr = *filter.addr};
        // Of a VRF that has gone what is there can go too.
        if (!addresses_.has(address) && !router_.tables()->intfAddrVrfTableHas(address.vrf)) {
            return errorReply(404, fmt::format("there is no VRF '{}'", address.vrf));
        }
        return adds ? add(address) : del(address);
    } catch (BadQuestion const& error) {
        return errorReply(400, error.what());
    }
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
