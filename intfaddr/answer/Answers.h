// Answers questions about the addresses of this machine: each path below /v1/ is one question, each
// answer a JSON document (docs/json.md).
//
//   /v1/addresses   what is published, and its place and state; of what a filter admits
//   /v1/lookup      who owns an address; where nobody does, the connected subnet that contains it
//   /v1/subnets     each connected subnet with its rows
//   /v1/lowest6     the row of the lowest IPv6 address of an interface
//   /v1/linklocal   the link-local row of an interface
//   /v1/explain     why an address is there, or is not (Explanation.h)
//   /v1/watch       the changes of the tables' rows as they happen, with `initial` the rows first;
//                   of what a filter admits (Watch.h)
//   /v1/state       a VRF as a scenario that makes it again (StateScenario.h)
//   /v1/status      how the agent fares
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
#include "intfaddr/http/Request.h"
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

    // 400 for a bad question, 404 for a path or a VRF that does not exist, 405 for another method
    // than GET and HEAD.
    Reply reply(Request const& request) const;

private:
    std::unique_ptr<Body> addresses(Filter const& filter) const;
    std::unique_ptr<Body> lookup(Filter const& filter) const;
    std::unique_ptr<Body> subnets(Filter const& filter) const;
    std::unique_ptr<Body> rowOfIntf(Filter const& filter, bool isLinkLocal) const;

    std::unique_ptr<Body> explain(Filter const& filter) const;
    std::unique_ptr<Body> state(Filter const& filter) const;
    std::unique_ptr<Body> status() const;

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
