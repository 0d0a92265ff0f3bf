#include "intfaddr/answer/Answers.h"

#include <unistd.h>

#include <algorithm>
#include <memory>
#include <set>
#include <utility>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Zin/Format.h"
#include "intfaddr/agent/ResidentMemory.h"
#include "intfaddr/answer/AddressList.h"
#include "intfaddr/answer/AnswerJson.h"
#include "intfaddr/answer/ExplanationList.h"
#include "intfaddr/answer/Question.h"
#include "intfaddr/answer/StateScenario.h"
#include "intfaddr/answer/SubnetList.h"
#include "intfaddr/answer/Watch.h"

namespace IntfAddr {

namespace {

// One step for each VRF.
Document::Step eachVrf(std::vector<L3::VrfName> vrfs,
                       std::function<void(L3::VrfName const&, Document::Items&)> each) {
    return [vrfs = std::move(vrfs), at = std::size_t{0},
            each = std::move(each)](Document::Items& items) mutable {
        if (at < vrfs.size()) {
            each(vrfs[at++], items);
        }
        return at < vrfs.size();
    };
}

// Of an interface.
ListedAddress listedRow(Routing::Router const& router, L3::VrfName const& vrf,
                        IpLib::IntfAddrEntry const& row) {
    IpLib::IntfAddrWithMaskKey const key{row.intfId(),
                                         {row.key().addr, row.subnet().prefixLength()}};
    return {.vrf = vrf,
            .intf = key.intfId,
            .addr = key.addrWithMask,
            .state = stateOf(router, vrf, key)};
}

void write(Document::Items& items, ListedAddress const& address) {
    ObjectText object(items.next());
    writeAddress(object, address);
    object.end();
}
void write(Document::Items& items, Json const& json) { items.next() += toLine(json); }

}  // namespace

Answers::Answers(Routing::Router const& router, Netlink::Feed const& feed, std::string from,
                 std::optional<Memory> memory, std::optional<AnsweringAgent> agent)
    : router_(router),
      feed_(feed),
      from_(std::move(from)),
      memory_(std::move(memory)),
      agent_(std::move(agent)) {}

void Answers::addTo(Routes& routes) const {
    using Names = std::set<std::string>;
    using Ask = std::unique_ptr<Body> (Answers::*)(Filter const&) const;
    auto const add = [this, &routes](std::string path, Names parameters, Names needed, Ask body) {
        routes.add({.method = "GET",
                    .path = std::move(path),
                    .parameters = std::move(parameters),
                    .needed = std::move(needed)},
                   [this, body](Request const&, Parameters const& given) {
                       return reply(given, [this, body](Filter const& filter) {
                           return Reply{.body = (this->*body)(filter)};
                       });
                   });
    };
    Names const ofAddresses{"address", "family", "interface", "prefix", "state"};
    for (std::string const of : {"/v1", "/v1/vrfs/{vrf}"}) {
        add(of + "/addresses", ofAddresses, {}, &Answers::addresses);
        add(of + "/subnets", {}, {}, &Answers::subnets);
    }
    add("/v1/vrfs", {}, {}, &Answers::vrfs);
    add("/v1/lookup", {"address", "interface", "vrf"}, {"address"}, &Answers::lookup);
    add("/v1/lowest6", {"interface", "vrf"}, {"interface"}, &Answers::lowest6);
    add("/v1/linklocal", {"interface", "vrf"}, {"interface"}, &Answers::linkLocal);
    add("/v1/explain", {"address", "interface", "vrf"}, {"address"}, &Answers::explain);
    routes.add({.method = "GET", .path = "/v1/vrfs/{vrf}/state"},
               [this](Request const&, Parameters const& given) {
                   return reply(given, [this](Filter const& filter) {
                       return Reply{.contentType = "application/x-ndjson", .body = state(filter)};
                   });
               });
    if (!agent_) {
        return;
    }
    add("/v1/status", {}, {}, &Answers::status);
    routes.add({.method = "GET", .path = "/healthz"},
               [this](Request const&, Parameters const&) { return health(); });
    Names ofWatch = ofAddresses;
    ofWatch.erase("state");
    ofWatch.insert({"initial", "vrf"});
    routes.add({.method = "GET", .path = "/v1/watch", .parameters = ofWatch},
               [this](Request const& request, Parameters given) {
                   bool const initial = takeFlag(given, "initial");
                   auto const made = [this, initial, &request](Filter const& filter) {
                       return Reply{
                           .contentType = Watch::contentType,
                           .body = std::make_unique<Watch>(agent_->changes, agent_->identity,
                                                           filter, initial, request.lastEventId)};
                   };
                   // Who comes back is told what went with its VRF.
                   return request.lastEventId ? made(filterOf(given)) : reply(given, made);
               });
}

Reply Answers::reply(Parameters const& given,
                     std::function<Reply(Filter const& filter)> const& made) const {
    Filter const filter = filterOf(given);
    bool const isThere = !filter.vrf || router_.tables()->intfAddrVrfTableHas(*filter.vrf);
    if (!isThere && unknown(filter).empty()) {
        return errorReply(404, fmt::format("there is no VRF '{}'", *filter.vrf));
    }
    return made(filter);
}

std::vector<L3::VrfName> Answers::vrfsOf(Filter const& filter) const {
    auto vrfs = router_.vrfs();
    std::erase_if(vrfs,
                  [&filter](L3::VrfName const& vrf) { return filter.vrf && vrf != *filter.vrf; });
    return vrfs;
}

Explainer::Unknown Answers::unknown(Filter const& filter) const {
    Explainer::Unknown found;
    if (!feed_.isStarted()) {
        found.emplace("the agent", "it has not read all of the kernel yet");
    }
    auto const vrfText = [](L3::VrfName const& vrf) { return fmt::format("VRF '{}'", vrf); };
    // A VRF that is not there may be a device of a namespace that could not be read.
    bool const isEverywhere = !filter.vrf || !router_.tables()->intfAddrVrfTableHas(*filter.vrf);
    if (isEverywhere) {
        found.merge(feed_.hidden());
    } else if (auto const why = feed_.unreadable(*filter.vrf)) {
        found.emplace(vrfText(*filter.vrf), *why);
    }
    for (auto const& [vrf, why] : feed_.stale()) {
        if (isEverywhere || *filter.vrf == vrf) {
            found.emplace(vrfText(vrf), why);
        }
    }
    for (auto const& vrf : agent_ ? vrfsOf(filter) : std::vector<L3::VrfName>()) {
        if (agent_->supervisor.degraded(vrf)) {
            found.emplace(vrfText(vrf), "an invariant failed, and its table is to be rebuilt");
        }
    }
    return found;
}

std::unique_ptr<Document> Answers::begun() const {
    auto document = std::make_unique<Document>();
    document->member("from", [from = from_] { return Json(from); });
    return document;
}

std::unique_ptr<Body> Answers::ended(std::unique_ptr<Document> document,
                                     Filter const& filter) const {
    document->member("notKnown", [this, filter] {
        Json list = Json::array();
        for (auto const& [what, why] : unknown(filter)) {
            list.push_back({{"what", what}, {"why", why}});
        }
        return list;
    });
    return document;
}

std::unique_ptr<Body> Answers::addresses(Filter const& filter) const {
    auto document = begun();
    document->member("vrfs", [names = vrfsOf(filter)] {
        Json list = Json::array();
        for (auto const& name : names) {
            list.push_back(name.text());
        }
        return list;
    });
    auto list = std::make_shared<AddressList>(router_, feed_, filter);
    document->list("addresses", [list](Document::Items& items) {
        return list->step([&items](ListedAddress const& address) { write(items, address); });
    });
    return ended(std::move(document), filter);
}

std::unique_ptr<Body> Answers::lookup(Filter const& filter) const {
    auto document = begun();
    auto const addr = *filter.addr;
    auto owners = std::make_shared<AddressList>(router_, feed_, filter, AddressList::What::rows);
    document->list("owners", [owners](Document::Items& items) {
        return owners->step([&items](ListedAddress const& address) { write(items, address); });
    });
    document->list("connected", eachVrf(vrfsOf(filter), [this, addr](L3::VrfName const& vrf,
                                                                     Document::Items& items) {
                       auto const table = router_.tables()->intfAddrVrfTable(vrf);
                       auto const set = table ? Routing::connectedSubnet(*table, addr) : nullptr;
                       if (set && Routing::ownersOf(*table, addr).empty()) {
                           write(items, Json{{"vrf", vrf.text()},
                                             {"subnet", set->subnet().toStrep()},
                                             {"interface", set->intfId().name()}});
                       }
                   }));
    return ended(std::move(document), filter);
}

std::unique_ptr<Body> Answers::subnets(Filter const& filter) const {
    auto document = begun();
    auto list = std::make_shared<SubnetList>(router_, filter.vrf);
    document->list("subnets", [list](Document::Items& items) { return list->step(items); });
    return ended(std::move(document), filter);
}

std::unique_ptr<Body> Answers::state(Filter const& filter) const {
    std::optional<StateScenario::Changes> changes;
    if (agent_) {
        changes.emplace(StateScenario::Changes{.operations = agent_->operations,
                                               .rows = agent_->supervisor.follower()});
    }
    return std::make_unique<StateScenario>(router_, *filter.vrf, std::move(changes),
                                           [this, filter] { return unknown(filter); });
}

std::unique_ptr<Body> Answers::vrfs(Filter const& filter) const {
    auto document = begun();
    listVrfs(*document);
    return ended(std::move(document), filter);
}

void Answers::listVrfs(Document& document) const {
    document.list("vrfs",
                  eachVrf(router_.vrfs(), [this](L3::VrfName const& vrf, Document::Items& items) {
                      auto const table = router_.tables()->intfAddrVrfTable(vrf);
                      auto const machine = router_.tableSm(vrf);
                      auto const backlog = machine ? machine->deferredIntfAddBacklog() : nullptr;
                      if (table) {
                          write(items, Json{{"vrf", vrf.text()},
                                            {"rows", table->intfAddrEntry().size()},
                                            {"waiting", backlog ? backlog->backlog().size() : 0}});
                      }
                  }));
}

Reply Answers::health() const {
    auto const isDegraded = [this](L3::VrfName const& vrf) {
        return agent_->supervisor.degraded(vrf);
    };
    std::string const state = !feed_.isStarted()                                ? "starting"
                              : std::ranges::any_of(router_.vrfs(), isDegraded) ? "degraded"
                              : !feed_.stale().empty()                          ? "stale"
                                                                                : "ok";
    auto document = begun();
    document->member("state", [state] { return Json(state); });
    return {.status = state == "ok" ? 200U : 503U, .body = ended(std::move(document), {})};
}

std::unique_ptr<Body> Answers::status(Filter const& filter) const {
    auto document = begun();
    auto const [up, longestStall] = agent_->times();
    document->member("version", [this] { return Json(agent_->version); })
        .member("agent", [this] { return Json(agent_->identity); })
        .member("process", [] { return Json(::getpid()); })
        .member("uptime", [up = up] { return Json(up); })
        .member("longestStall", [longestStall = longestStall] { return Json(longestStall); })
        .member("memory", [] { return Json(residentMemory()); })
        .member("watchers", [this] { return Json(agent_->changes.readers()); })
        .member("recording", [this] { return agent_->recordings.status(); });
    listVrfs(*document);
    document->member("namespaces", [this] {
        Json list = Json::array();
        for (auto const& [vrf, counts] : feed_.counts()) {
            list.push_back(
                {{"vrf", vrf.text()}, {"losses", counts.losses}, {"dumps", counts.dumps}});
        }
        return list;
    });
    document->member("rebuilds", [this] {
        Json list = Json::array();
        for (auto const& [why, count] : agent_->supervisor.repairsByReason()) {
            list.push_back({{"why", why}, {"count", count}});
        }
        return list;
    });
    document->member("leftOut", [this] {
        Json list = Json::array();
        for (auto const& [what, why] : feed_.leftOut()) {
            list.push_back({{"what", what}, {"why", why}});
        }
        return list;
    });
    return ended(std::move(document), filter);
}

std::unique_ptr<Body> Answers::lowest6(Filter const& filter) const {
    return rowOfIntf(filter, false);
}

std::unique_ptr<Body> Answers::linkLocal(Filter const& filter) const {
    return rowOfIntf(filter, true);
}

std::unique_ptr<Body> Answers::rowOfIntf(Filter const& filter, bool isLinkLocal) const {
    auto document = begun();
    document->list("addresses",
                   eachVrf(vrfsOf(filter), [this, intf = *filter.intf, isLinkLocal](
                                               L3::VrfName const& vrf, Document::Items& items) {
                       auto const table = router_.tables()->intfAddrVrfTable(vrf);
                       auto const row = !table        ? nullptr
                                        : isLinkLocal ? table->llIntfAddrEntryFromIntfId(intf)
                                                      : table->lowestV6IntfAddrEntry(intf);
                       if (row) {
                           write(items, listedRow(router_, vrf, *row));
                       }
                   }));
    return ended(std::move(document), filter);
}

std::unique_ptr<Body> Answers::explain(Filter const& filter) const {
    auto document = begun();
    document->member("address", [addr = *filter.addr] { return Json(addr.toStrep()); });
    auto list = std::make_shared<ExplanationList>(
        router_, feed_, Explainer(router_, memory_, unknown(filter)), filter);
    document->list("explanations", [list](Document::Items& items) {
        return list->step(
            [&items](Explanation const& explanation) { write(items, jsonOf(explanation)); });
    });
    document->member("history", [memory = memory_]() -> Json {
        if (!memory) {
            return nullptr;
        }
        return {{"begins", memory->recorder.history().begins()}, {"now", memory->now()}};
    });
    return ended(std::move(document), filter);
}

}  // namespace IntfAddr
