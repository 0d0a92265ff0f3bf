// Adds and removes virtual addresses, for whoever may:
//
//   PUT     /v1/virtual?vrf=NAME&address=ADDR
//   DELETE  /v1/virtual?vrf=NAME&address=ADDR
//
// Answers {"changed": true}, or false where it was so already. The VRF is "default" where none is
// named; it has to exist. Virtual addresses go with the agent.
#pragma once

#include <functional>
#include <vector>

#include "intfaddr/answer/Rights.h"
#include "intfaddr/http/Reply.h"
#include "intfaddr/http/Request.h"
#include "router/Router.h"

namespace IntfAddr {

class VirtualChanges {
public:
    using Apply = std::function<void(std::vector<Routing::Operation> const& operations)>;

    // Borrows the router and the rights.
    VirtualChanges(Routing::Router const& router, Rights const& rights, Apply apply);

    // 403 for who has no right to, 400 for a bad question, 404 for a VRF that
    // does not exist.
    Reply reply(Request const& request) const;

private:
    Routing::Router const& router_;
    Rights const& rights_;
    Apply const apply_;
};

}  // namespace IntfAddr
