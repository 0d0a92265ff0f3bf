// What `intfaddr show` has to say: for each VRF its rows and the addresses that wait. How it is
// written is the business of TextReport and JsonReport.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "feeds/netlink/Feed.h"
#include "router/Router.h"

namespace IntfAddr {

// An address that the kernel has and that is not published, and why not.
struct Unpublished {
    Nimb::IpGenAddrWithMask addr;
    Nimb::IntfId intfId;
    std::string why;
};

struct VrfReport {
    L3::VrfName vrf;
    std::vector<Routing::Row> rows;
    std::vector<Routing::DeferredAddr> deferred;
    std::vector<Unpublished> unpublished{};
    // Why what is known of the VRF cannot be relied on for the time being.
    std::optional<std::string> stale{};
};

using Report = std::vector<VrfReport>;

// What is asked for: everything, or one VRF, or one address, or one address in one VRF.
struct Question {
    std::optional<L3::VrfName> vrf{};
    std::optional<Nimb::IpGenAddr> addr{};
};

// Throws Routing::OperationError if the VRF does not exist.
Report makeReport(Routing::Router const& router, Question const& question);

// What the feed knows of the VRFs in the report, and the router does not; of one address, or of
// all.
void addFromFeed(Report& report, Netlink::Feed const& feed,
                 std::optional<Nimb::IpGenAddr> const& addr = std::nullopt);

// Whether the report has a row.
bool hasRow(Report const& report);

}  // namespace IntfAddr
