// What the tables and the machines of each VRF write about themselves, as text, for whoever looks
// for a mistake in them:
//
//   GET /v1/dump/tables     rows and indexes
//   GET /v1/dump/machines   inputs, kernel history, tables, working rows
//
// with `vrf` of one VRF alone; a list that a dump shortens has at most `max` entries (100), with
// `verbose` as many as there are. One VRF is written at a time, and the loop waits for that: so a
// VRF's part ends after `linesOfVrf` lines, and says so.
//
// Borrows the router, and outlives its replies.
#pragma once

#include <cstdint>

#include "intfaddr/answer/Routes.h"
#include "router/Router.h"

namespace IntfAddr {

class Dumps {
public:
    static constexpr std::uint32_t defaultMax = 100;
    static constexpr std::uint32_t linesOfVrf = 4000;

    explicit Dumps(Routing::Router const& router) : router_(router) {}

    // Answers with text. Outlives the routes.
    void addTo(Routes& routes) const;

    struct Wanted {
        bool machines = false;
        bool verbose = false;
        std::uint32_t max = defaultMax;
    };

private:
    Reply reply(Wanted const& wanted, Filter const& filter) const;

    Routing::Router const& router_;
};

}  // namespace IntfAddr
