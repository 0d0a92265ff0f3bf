// Answers questions about the addresses of this machine: each path is one question, each answer a
// JSON document (docs/json.md).
//
//   /v1/vrfs        the VRFs, and how much is in each
//   /v1/addresses   what is published, and its place and state; of what a filter admits
//   /v1/lookup      who owns an address; where nobody does, the connected subnet that contains it
//   /v1/subnets     each connected subnet with its rows
//   /v1/lowest6     the row of the lowest IPv6 address of an interface
//   /v1/linklocal   the link-local row of an interface
//   /v1/explain     why an address is there, or is not (Explanation.h)
//   /v1/watch       the changes of the tables' rows as they happen, with `initial` the rows first;
//                   of what a filter admits (Watch.h)
//   /v1/vrfs/{vrf}/addresses, /v1/vrfs/{vrf}/subnets
//                   the same of one VRF
//   /v1/vrfs/{vrf}/state
//                   that VRF as a scenario that makes it again (StateScenario.h)
//   /v1/status      how the agent fares
//   /healthz        whether its answers can be relied on: "starting", "degraded" (a VRF is to be
//                   rebuilt), "stale" (a namespace is not known as it is now), each a 503, or "ok"
//
// What is watched and how an agent fares can be asked only of who runs. Each names what is not
// known: what could hold the answer, and could not be read. A document is made while it is sent,
// from what is there then.
//
// Borrows the router and the feed. Outlives its replies.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "feeds/netlink/Feed.h"
#include "intfaddr/answer/ChangeLog.h"
#include "intfaddr/answer/Document.h"
#include "intfaddr/answer/Explanation.h"
#include "intfaddr/answer/Filter.h"
#include "intfaddr/answer/Recordings.h"
#include "intfaddr/answer/Routes.h"
#include "router/Router.h"
#include "router/repair/Supervisor.h"

namespace IntfAddr {

// What an agent that runs has to answer with, beside its tables.
struct AnsweringAgent {
    // Another one each time that an agent starts.
    std::string identity;
    ChangeLog& changes;
    Routing::OperationEffects& operations;
    Routing::Supervisor const& supervisor;
    Recordings const& recordings;
    std::string version;
    struct Times {
        Zin::Seconds up = 0.0;
        // Without a look at what came in.
        Zin::Seconds longestStall = 0.0;
    };
    std::function<Times()> times;
};

class Answers {
public:
    // `from` tells who answers: "agent", or "kernel" for a single look, which has neither.
    Answers(Routing::Router const& router, Netlink::Feed const& feed, std::string from,
            std::optional<Memory> memory = std::nullopt,
            std::optional<AnsweringAgent> agent = std::nullopt);

    // A VRF that does not exist is a 404. Outlives the routes.
    void addTo(Routes& routes) const;

private:
    Reply reply(Parameters const& given,
                std::function<Reply(Filter const& filter)> const& made) const;

    std::unique_ptr<Body> addresses(Filter const& filter) const;
    std::unique_ptr<Body> lookup(Filter const& filter) const;
    std::unique_ptr<Body> subnets(Filter const& filter) const;
    std::unique_ptr<Body> lowest6(Filter const& filter) const;
    std::unique_ptr<Body> linkLocal(Filter const& filter) const;
    std::unique_ptr<Body> rowOfIntf(Filter const& filter, bool isLinkLocal) const;
    std::unique_ptr<Body> explain(Filter const& filter) const;
    std::unique_ptr<Body> state(Filter const& filter) const;
    std::unique_ptr<Body> vrfs(Filter const& filter) const;
    std::unique_ptr<Body> status(Filter const& filter) const;
    Reply health() const;

    void listVrfs(Document& document) const;
    std::unique_ptr<Document> begun() const;
    // Ends with what is not known.
    std::unique_ptr<Body> ended(std::unique_ptr<Document> document, Filter const& filter) const;
    Explainer::Unknown unknown(Filter const& filter) const;
    std::vector<L3::VrfName> vrfsOf(Filter const& filter) const;

    Routing::Router const& router_;
    Netlink::Feed const& feed_;
    std::string const from_;
    std::optional<Memory> const memory_;
    std::optional<AnsweringAgent> const agent_;
};

}  // namespace IntfAddr
