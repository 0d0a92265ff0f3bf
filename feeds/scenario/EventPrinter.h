// Prints each notification of the collections of every table that stands in the directory.
//
// Made before the library is started on the directory, it hears of each table, and of each change
// in a table, before the library does: what the library does about a change is printed after it.
// Goes inside a turn.
#pragma once

#include <map>
#include <memory>
#include <string_view>

#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTable.h"
#include "feeds/scenario/Output.h"

namespace Scenario {

// The line of one change: whether the key is in the table's collection of that name.
template <class Key>
OrderedJson eventJson(L3::VrfName const& vrf, std::string_view attribute, Key const& key,
                      bool present) {
    return {{"vrf", vrf.bytes()},
            {"attribute", attribute},
            {"key", key.toStrep()},
            {"present", present}};
}

template <class Key>
void printEvent(Output& output, L3::VrfName const& vrf, std::string_view attribute, Key const& key,
                bool present) {
    output.print("event", eventJson(vrf, attribute, key, present));
}

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
