// Adds and removes virtual addresses, for whoever may:
//
//   PUT     /v1/virtual?vrf=NAME&address=ADDR
//   DELETE  /v1/virtual?vrf=NAME&address=ADDR
//
// Answers {"changed": true}, or false where it was so already. The VRF is "default" where none is
// named; it has to exist where an address is to come. One that the configuration has is not
// removed.
#pragma once

#include "intfaddr/answer/Rights.h"
#include "intfaddr/answer/Routes.h"
#include "intfaddr/answer/VirtualAddresses.h"
#include "router/Router.h"

namespace IntfAddr {

class VirtualChanges {
public:
    // Borrows all of them.
    VirtualChanges(Routing::Router const& router, Rights const& rights,
                   VirtualAddresses& addresses);

    // 403 for who has no right to, 404 for a VRF that does not exist, 409 for an address that is
    // to go and is configured. Outlives the routes.
    void addTo(Routes& routes) const;

private:
    Reply reply(bool adds, Filter const& filter) const;
    Reply add(VirtualAddress const& address) const;
    Reply del(VirtualAddress const& address) const;

    Routing::Router const& router_;
    Rights const& rights_;
    VirtualAddresses& addresses_;
};

}  // namespace IntfAddr
