#include "feeds/scenario/EventPrinter.h"

#include <string_view>
#include <utility>

namespace Scenario {

using IpLib::AllIntfAddrVrfTable;
using IpLib::IntfAddrVrfTable;

class EventPrinter::TableEvents final : public IntfAddrVrfTable::Notifiee {
public:
    TableEvents(L3::VrfName vrf, Zin::Ptr<IntfAddrVrfTable const> table, Output& output)
        : vrf_(std::move(vrf)), output_(output) {
        notifierIs(std::move(table));
    }

private:
    void handleIntfAddrEntry(IpLib::IntfAddrEntryContent const& content) override {
        print("intfAddrEntry", content, notifier()->intfAddrEntryHas(content));
    }
    void handleIntfAddrEntryFromAddr(IpLib::IntfAddrEntryKey const& key) override {
        print("intfAddrEntryFromAddr", key, notifier()->intfAddrEntryFromAddrHas(key));
    }
    void handleIntfAddrEntrySetFromSubnet(Nimb::IpGenPrefix const& subnet) override {
        print("intfAddrEntrySetFromSubnet", subnet,
              notifier()->intfAddrEntrySetFromSubnetHas(subnet));
    }
    void handleLlIntfAddrEntryFromIntfId(Nimb::IntfId const& intfId) override {
        print("llIntfAddrEntryFromIntfId", intfId,
              notifier()->llIntfAddrEntryFromIntfIdHas(intfId));
    }

    template <class Key>
    void print(std::string_view attribute, Key const& key, bool present) {
        printEvent(output_, vrf_, attribute, key, present);
    }

    L3::VrfName const vrf_;
    Output& output_;
};

EventPrinter::EventPrinter(Zin::Ptr<AllIntfAddrVrfTable const> tables, Output& output)
    : output_(output) {
    notifierIs(std::move(tables));
}

EventPrinter::~EventPrinter() = default;

void EventPrinter::handleIntfAddrVrfTable(L3::VrfName const& vrf) {
    events_.erase(vrf);
    if (auto table = notifier()->intfAddrVrfTable(vrf)) {
        events_.emplace(vrf, std::make_unique<TableEvents>(vrf, std::move(table), output_));
    }
}

}  // namespace Scenario
