// What `intfaddr show` has to say: for each VRF its rows and the addresses that wait. How it is
// written is the business of TextReport and JsonReport.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "router/Router.h"

namespace IntfAddr {

struct VrfReport {
    L3::VrfName vrf;
    std::vector<Routing::Row> rows;
    std::vector<Routing::DeferredAddr> deferred;
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

// Whether the report has a row.
bool hasRow(Report const& report);

}  // namespace IntfAddr
