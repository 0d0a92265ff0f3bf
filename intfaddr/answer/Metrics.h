// How the agent fares, in numbers, for a monitoring system:
//
//   GET /metrics   in the text format that Prometheus reads (Exposition.h)
//
// Labels are `vrf` and `interface` alone. Each VRF has its series, so there are as many as there
// are VRFs; of an interface there is one only where an address waits on it, and in each VRF of the
// one alone whose address has waited for the longest. What has no value yet has no sample.
//
//   in     rows that come and go, counted for as long as their VRF is there; all else is asked for
//          while the answer is made, in steps, so families may be of different moments
//
// Made before the router has tables. Borrows all that it is given; outlives its replies.
#pragma once

#include <cstdint>
#include <functional>
#include <map>

#include "intfaddr/answer/Answers.h"
#include "intfaddr/answer/Exposition.h"
#include "intfaddr/http/Traffic.h"

namespace IntfAddr {

class Metrics final : private Routing::TableFollower::Notifiee {
public:
    // In seconds since 1970.
    using UnixTime = std::function<double()>;

    Metrics(Routing::Router const& router, Netlink::Feed const& feed, Memory memory,
            AnsweringAgent agent, Traffic const& traffic, UnixTime unixTime);
    Metrics(Metrics const&) = delete;
    Metrics& operator=(Metrics const&) = delete;

    // Outlives the routes.
    void addTo(Routes& routes) const;

private:
    struct Changes {
        std::uint64_t come = 0;
        std::uint64_t gone = 0;
    };

    void handleReplacement(L3::VrfName const& vrf, Routing::TableDifference const&) override;
    void handleRow(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& row,
                   bool present) override;

    void addTables(Exposition& metrics) const;
    void addTrust(Exposition& metrics) const;
    void addRepairs(Exposition& metrics) const;
    void addKernel(Exposition& metrics) const;
    void addProcess(Exposition& metrics) const;
    void addTraffic(Exposition& metrics) const;

    // A family with a sample for each VRF.
    using OfVrf = std::function<double(L3::VrfName const& vrf)>;
    void addOfVrf(Exposition& metrics, char const* name, Exposition::Type type, char const* help,
                  OfVrf value) const;
    Changes changesOf(L3::VrfName const& vrf) const;

    Routing::Router const& router_;
    Netlink::Feed const& feed_;
    Memory const memory_;
    AnsweringAgent const agent_;
    Traffic const& traffic_;
    UnixTime const unixTime_;
    double const startTime_;
    std::map<L3::VrfName, Changes> changes_;
};

}  // namespace IntfAddr
