#include "intfaddr/answer/Metrics.h"

#include <memory>
#include <utility>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Zin/Format.h"
#include "intfaddr/agent/ResidentMemory.h"

namespace IntfAddr {

namespace {

using Samples = Exposition::Samples;
using Type = Exposition::Type;

// Some KiB.
constexpr std::size_t samplesOfStep = 32;

template <class Number>
double number(Number value) {
    return static_cast<double>(value);
}

// Calls `write` with each item of what `take` returns when it begins.
template <class Take, class Write>
Exposition::Step listed(Take take, Write write) {
    using List = decltype(take());
    return [take = std::move(take), write = std::move(write), list = std::shared_ptr<List>(),
            at = typename List::const_iterator()](Samples& samples) mutable {
        if (!list) {
            list = std::make_shared<List>(take());
            at = list->cbegin();
        }
        for (std::size_t i = 0; i < samplesOfStep && at != list->cend(); ++i, ++at) {
            write(samples, *at);
        }
        return at != list->cend();
    };
}

}  // namespace

Metrics::Metrics(Routing::Router const& router, Netlink::Feed const& feed, Memory memory,
                 AnsweringAgent agent, Traffic const& traffic, UnixTime unixTime)
    : router_(router),
      feed_(feed),
      memory_(std::move(memory)),
      agent_(std::move(agent)),
      traffic_(traffic),
      unixTime_(std::move(unixTime)),
      startTime_(unixTime_() - agent_.times().up) {
    notifierIs(agent_.supervisor.follower());
}

void Metrics::addTo(Routes& routes) const {
    routes.add({.method = "GET", .path = "/metrics"}, [this](Request const&, Parameters const&) {
        auto metrics = std::make_unique<Exposition>();
        addTables(*metrics);
        addTrust(*metrics);
        addRepairs(*metrics);
        addKernel(*metrics);
        addProcess(*metrics);
        addTraffic(*metrics);
        return Reply{.contentType = Exposition::contentType, .body = std::move(metrics)};
    });
}

void Metrics::handleReplacement(L3::VrfName const& vrf, Routing::TableDifference const&) {
    if (!router_.tables()->intfAddrVrfTableHas(vrf)) {
        changes_.erase(vrf);
    }
}

// Those of a VRF that has gone are told as well.
void Metrics::handleRow(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const&, bool present) {
    if (router_.tables()->intfAddrVrfTableHas(vrf)) {
        auto& [come, gone] = changes_[vrf];
        ++(present ? come : gone);
    }
}

Metrics::Changes Metrics::changesOf(L3::VrfName const& vrf) const {
    auto const found = changes_.find(vrf);
    return found == changes_.end() ? Changes() : found->second;
}

void Metrics::addOfVrf(Exposition& metrics, char const* name, Type type, char const* help,
                       OfVrf value) const {
    metrics.family(
        name, type, help,
        listed([this] { return router_.vrfs(); },
               [this, value = std::move(value)](Samples& samples, L3::VrfName const& vrf) {
                   if (router_.tables()->intfAddrVrfTableHas(vrf)) {
                       samples.add({{"vrf", vrf.text()}}, value(vrf));
                   }
               }));
}

void Metrics::addTables(Exposition& metrics) const {
    addOfVrf(
        metrics, "intfaddr_rows", Type::gauge, "Rows of the VRF's table.",
        [this](auto const& vrf) { return number(router_.table(vrf)->intfAddrEntry().size()); });
    addOfVrf(metrics, "intfaddr_rows_added_total", Type::counter,
             "Rows that have come into the VRF's table.",
             [this](auto const& vrf) { return number(changesOf(vrf).come); });
    addOfVrf(metrics, "intfaddr_rows_removed_total", Type::counter,
             "Rows that have left the VRF's table.",
             [this](auto const& vrf) { return number(changesOf(vrf).gone); });
    addOfVrf(metrics, "intfaddr_waiting_addresses", Type::gauge,
             "Addresses of the VRF that wait for others to go.", [this](auto const& vrf) {
                 auto const machine = router_.tableSm(vrf);
                 auto const waiting = machine ? machine->deferredIntfAddBacklog() : nullptr;
                 return waiting ? number(waiting->backlog().size()) : 0.0;
             });
    metrics.family(
        "intfaddr_waiting_longest_seconds", Type::gauge,
        "For how long the address waits that has waited for the longest in the VRF, on its "
        "interface; none where no address waits.",
        listed([this] { return router_.vrfs(); },
               [this](Samples& samples, L3::VrfName const& vrf) {
                   if (auto const longest = memory_.recorder.longestWaiting(vrf)) {
                       samples.add({{"vrf", vrf.text()}, {"interface", longest->key.intfId.text()}},
                                   memory_.now() - longest->since);
                   }
               }));
    addOfVrf(metrics, "intfaddr_pending_cleanups", Type::gauge,
             "Interfaces of the VRF whose rows are to go, of each family, when their time is over.",
             [this](auto const& vrf) {
                 auto const machine = router_.tableSm(vrf);
                 auto const pending = machine ? machine->intfCleanupBacklog() : nullptr;
                 return pending ? number(pending->backlog().size()) : 0.0;
             });
}

void Metrics::addTrust(Exposition& metrics) const {
    metrics.value(
        "intfaddr_started", Type::gauge,
        "Whether the agent has read the kernel, or tried to for ten seconds, and publishes.",
        [this] { return feed_.isStarted() ? 1.0 : 0.0; });
    metrics.family("intfaddr_vrf_stale", Type::gauge,
                   "Whether the VRF is not known as it is in the kernel now.",
                   listed(
                       [this] {
                           std::map<L3::VrfName, bool> list;
                           for (auto const& vrf : router_.vrfs()) {
                               list.emplace(vrf, false);
                           }
                           for (auto const& [vrf, why] : feed_.stale()) {
                               list[vrf] = true;
                           }
                           return list;
                       },
                       [](Samples& samples, auto const& item) {
                           samples.add({{"vrf", item.first.text()}}, item.second ? 1.0 : 0.0);
                       }));
    addOfVrf(metrics, "intfaddr_vrf_degraded", Type::gauge,
             "Whether an invariant of the VRF failed, and its table stands still until it is "
             "rebuilt.",
             [this](auto const& vrf) { return agent_.supervisor.degraded(vrf) ? 1.0 : 0.0; });
}

void Metrics::addRepairs(Exposition& metrics) const {
    using Counts = Routing::Supervisor::Counts;
    auto const add = [this, &metrics](char const* name, char const* help,
                                      std::uint64_t Counts::*count) {
        metrics.value(name, Type::counter, help,
                      [this, count] { return number(agent_.supervisor.counts().*count); });
    };
    add("intfaddr_rebuilds_after_failure_total",
        "Rebuilds of a VRF's table because an invariant failed.", &Counts::afterFailures);
    add("intfaddr_rebuilds_after_audit_total",
        "Rebuilds of a VRF's table because of what an audit found.", &Counts::afterAudits);
    add("intfaddr_faults_rebuilt_in_vain_total",
        "Faults that an audit found again after a rebuild.", &Counts::inVain);
    metrics.value("intfaddr_audit_last_completed_timestamp_seconds", Type::gauge,
                  "When the last audit of all VRFs was over, in seconds since 1970.",
                  [this]() -> std::optional<double> {
                      auto const at = agent_.supervisor.auditedAt();
                      return at ? std::optional(unixTime_() - (memory_.now() - *at)) : std::nullopt;
                  });
    add("intfaddr_task_runs_total", "Runs of tasks that were due.", &Counts::tasks);
    metrics.value("intfaddr_longest_stall_seconds", Type::gauge,
                  "The longest time since the start without a look at what came in.",
                  [this] { return agent_.times().longestStall; });
}

void Metrics::addKernel(Exposition& metrics) const {
    using Counts = Netlink::Follower::Counts;
    auto const add = [this, &metrics](char const* name, char const* help,
                                      std::uint64_t Counts::*count) {
        metrics.family(
            name, Type::counter, help,
            listed([this] { return feed_.counts(); },
                   [count](Samples& samples, auto const& item) {
                       samples.add({{"vrf", item.first.text()}}, number(item.second.*count));
                   }));
    };
    add("intfaddr_kernel_losses_total",
        "How often notifications or dumps of the VRF's namespace were lost.", &Counts::losses);
    add("intfaddr_kernel_dumps_total", "How many dumps of the VRF's namespace have been begun.",
        &Counts::dumps);
}

void Metrics::addProcess(Exposition& metrics) const {
    metrics
        .value("process_start_time_seconds", Type::gauge,
               "When the agent began, in seconds since 1970.", [this] { return startTime_; })
        .value("process_resident_memory_bytes", Type::gauge, "Memory that the agent takes.",
               [] { return number(residentMemory()); });
}

void Metrics::addTraffic(Exposition& metrics) const {
    metrics
        .value("intfaddr_watchers", Type::gauge, "Clients that are told of changes.",
               [this] { return number(agent_.changes.readers()); })
        .value("intfaddr_http_clients", Type::gauge, "Clients that are connected.",
               [this] { return number(traffic_.clients); })
        .value("intfaddr_http_clients_refused_total", Type::counter,
               "Clients that were refused because there were too many.",
               [this] { return number(traffic_.refusedClients); })
        .value("intfaddr_http_readers_dropped_total", Type::counter,
               "Clients that were let go because they did not read what they had asked for.",
               [this] { return number(traffic_.droppedReaders); })
        .value("intfaddr_http_requests_total", Type::counter,
               "Requests, those included that were refused.",
               [this] { return number(traffic_.requests); })
        .family("intfaddr_http_request_duration_seconds", Type::histogram,
                "Time from a request's last byte to its reply's; streams of changes are left out.",
                [this](Samples& samples) {
                    auto const& times = traffic_.times;
                    std::uint64_t upToHere = 0;
                    for (std::size_t i = 0; i < times.bounds.size(); ++i) {
                        upToHere += times.buckets[i];
                        samples.add({{"le", fmt::format("{}", times.bounds[i])}}, number(upToHere),
                                    "_bucket");
                    }
                    samples.add({{"le", "+Inf"}}, number(times.count), "_bucket");
                    samples.add({}, times.sum, "_sum");
                    samples.add({}, number(times.count), "_count");
                    return false;
                });
}

}  // namespace IntfAddr
