// Prints each notification of the collections of every table that stands in the directory.
//
// Made before the library is started on the directory, it hears of each table, and of each change
// in a table, before the library does: what the library does about a change is printed after it.
// Goes inside a turn.
#pragma once

#include <map>
#include <memory>

#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTable.h"
#include "feeds/scenario/Output.h"

namespace Scenario {

class EventPrinter final : public IpLib::AllIntfAddrVrfTable::Notifiee {
public:
    // The directory is empty yet.
    EventPrinter(Zin::Ptr<IpLib::AllIntfAddrVrfTable const> tables, Output& output);
    ~EventPrinter() override;

private:
    class TableEvents;

    void handleIntfAddrVrfTable(L3::VrfName const& vrf) override;

    Output& output_;
    std::map<L3::VrfName, std::unique_ptr<TableEvents>> events_;
};

}  // namespace Scenario
