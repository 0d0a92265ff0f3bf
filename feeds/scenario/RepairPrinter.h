// Prints each repair of a table: why, and the rows that it has brought and taken.
#pragma once

#include <vector>

#include "feeds/scenario/Output.h"
#include "router/repair/Supervisor.h"

namespace Scenario {

class RepairPrinter final : public Routing::RepairObserver {
public:
    explicit RepairPrinter(Output& output) : output_(output) {}

    void handleRepair(Routing::Repair const& repair,
                      std::vector<IpLib::IntfAddrEntryContent> const& added,
                      std::vector<IpLib::IntfAddrEntryContent> const& removed) override;

private:
    Output& output_;
};

}  // namespace Scenario
