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

#include "intfaddr/http/Reply.h"
#include "intfaddr/http/Request.h"
#include "router/Router.h"

namespace IntfAddr {

class Dumps {
public:
    static constexpr std::uint32_t defaultMax = 100;
    static constexpr std::uint32_t linesOfVrf = 4000;

    explicit Dumps(Routing::Router const& router) : router_(router) {}

    // Text; 400 for a bad question, 404 for what does not exist, 405 for another method than GET
    // and HEAD.
    Reply reply(Request const& request) const;

private:
    Routing::Router const& router_;
};

}  // namespace IntfAddr
