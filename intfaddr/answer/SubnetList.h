// The subnets that interfaces are connected to, VRF by VRF in the order of their tables, each with
// its rows: as JSON, step by step. A step costs little, and between steps the tables may change: a
// subnet that goes meanwhile is listed as far as its rows were when they were come to.
#pragma once

#include <optional>
#include <vector>

#include "intfaddr/answer/Document.h"
#include "router/Router.h"
#include "router/Steps.h"

namespace IntfAddr {

class SubnetList {
public:
    // All VRFs where none is given. Borrows the router.
    SubnetList(Routing::Router const& router, std::optional<L3::VrfName> const& vrf);
    SubnetList(SubnetList const&) = delete;
    SubnetList& operator=(SubnetList const&) = delete;

    bool step(Document::Items& items);

private:
    using Rows = IpLib::IntfAddrEntrySet::Rows;

    // Returns whether there was one.
    bool writeRow(Rows const& rows, std::string& out);

    Routing::Router const& router_;
    std::vector<L3::VrfName> vrfs_;  // the next is the last
    Routing::Steps steps_;
    L3::VrfName vrf_;
    // Whose rows are being written: the usable ones, then the deprecated ones.
    IpLib::IntfAddrVrfTable::SetPtr set_;
    bool isDeprecated_ = false;
    std::optional<Rows::ConstIterator> row_;
};

}  // namespace IntfAddr
