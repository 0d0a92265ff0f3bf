#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTableSm.h"

#include <utility>

#include "IpLib/IntfAddrVrfTableTypes/SortedMembers.h"
#include "Velk/Dump.h"
#include "Zin/ForEachKey.h"
#include "Zin/Turn.h"

namespace IpLib {
namespace {

std::uint32_t interfaceCount(IntfAddrVrfTable const& table) {
    auto const& ip = table.vrfIpIntfStatus();
    auto const& ip6 = table.vrfIp6IntfStatus();
    std::uint32_t count = ip ? ip->ipIntfStatus().size() : 0;
    if (ip6) {
        for (auto const& [intfId, status] : ip6->intfStatus()) {
            count += ip && ip->ipIntfStatusHas(intfId) ? 0 : 1;
        }
    }
    return count;
}

}  // namespace

AllIntfAddrVrfTableSm::AllIntfAddrVrfTableSm(Zin::Ptr<Ip::Status const> ipStatus,
                                             Zin::Ptr<Ip6::Status const> ip6Status,
                                             Zin::Ptr<AllIntfAddrVrfTable> allIntfAddrVrfTable)
    : allIntfAddrVrfTable_(Zin::notNull("allIntfAddrVrfTable", std::move(allIntfAddrVrfTable))),
      ipReactor_(*this, Zin::notNull("ipStatus", std::move(ipStatus))),
      ip6Reactor_(*this, Zin::notNull("ip6Status", std::move(ip6Status))),
      tableReactor_(*this, allIntfAddrVrfTable_) {}

bool AllIntfAddrVrfTableSm::builtFrom(
    Zin::Ptr<Ip::Status const> const& ipStatus, Zin::Ptr<Ip6::Status const> const& ip6Status,
    Zin::Ptr<AllIntfAddrVrfTable> const& allIntfAddrVrfTable) const {
    return ipReactor_.notifier() == ipStatus && ip6Reactor_.notifier() == ip6Status &&
           allIntfAddrVrfTable_ == allIntfAddrVrfTable;
}

void AllIntfAddrVrfTableSm::hasNotificationActiveIs(bool active) {
    Entity::hasNotificationActiveIs(active);
    ipReactor_.hasNotificationActiveIs(active);
    ip6Reactor_.hasNotificationActiveIs(active);
    tableReactor_.hasNotificationActiveIs(active);
}

void AllIntfAddrVrfTableSm::handleInitialized() {
    trace8("{} tables", allIntfAddrVrfTable_->intfAddrVrfTable().size());
    Zin::forEachKey(allIntfAddrVrfTable_->intfAddrVrfTable(),
                    [this](auto const& vrf) { handleIntfAddrVrfTable(vrf); });
}

void AllIntfAddrVrfTableSm::handleVrfIpIntfStatus(L3::VrfName const& vrf) {
    auto const table = allIntfAddrVrfTable_->intfAddrVrfTable(vrf);
    trace8("vrf {} isTablePresent {}", vrf, static_cast<bool>(table));
    if (table) {
        table->vrfIpIntfStatusIs(ipReactor_.notifier()->vrfIpIntfStatus(vrf));
    }
}

void AllIntfAddrVrfTableSm::handleVrfIp6IntfStatus(L3::VrfName const& vrf) {
    auto const table = allIntfAddrVrfTable_->intfAddrVrfTable(vrf);
    trace8("vrf {} isTablePresent {}", vrf, static_cast<bool>(table));
    if (table) {
        table->vrfIp6IntfStatusIs(ip6Reactor_.notifier()->vrfIp6IntfStatus(vrf));
    }
}

void AllIntfAddrVrfTableSm::handleIntfAddrVrfTable(L3::VrfName const& vrf) {
    auto const table = allIntfAddrVrfTable_->intfAddrVrfTable(vrf);
    trace8("vrf {} isTablePresent {}", vrf, static_cast<bool>(table));
    if (table) {
        Zin::Turn turn;
        turn.run([&] { table->vrfIpIntfStatusIs(ipReactor_.notifier()->vrfIpIntfStatus(vrf)); });
        turn.run([&] { table->vrfIp6IntfStatusIs(ip6Reactor_.notifier()->vrfIp6IntfStatus(vrf)); });
    }
}

void AllIntfAddrVrfTableSm::dumpState(Zin::Ptr<Velk::DumpContext const> const& context,
                                      std::uint32_t indent) const {
    std::uint32_t const member = indent + 2;
    auto const& tables = allIntfAddrVrfTable_->intfAddrVrfTable();
    Velk::dumpLine(context, indent, "AllIntfAddrVrfTableSm\n");
    Velk::dumpLine(context, member, "has {} vrfs\n", tables.size());
    Velk::dumpList(context, member, sortedMembers(tables), tables.size(), [&](auto const* table) {
        Velk::dumpLine(context, member, "vrf {} has {} interfaces\n", table->key,
                       interfaceCount(*table->value));
    });
}

Zin::Ptr<AllIntfAddrVrfTableSm> allIntfAddrVrfTableSmFactory(
    Zin::Ptr<Ip::Status const> const& ipStatus, Zin::Ptr<Ip6::Status const> const& ip6Status,
    Zin::Ptr<AllIntfAddrVrfTable> const& allIntfAddrVrfTable) {
    return Zin::make<AllIntfAddrVrfTableSm>(ipStatus, ip6Status, allIntfAddrVrfTable);
}

}  // namespace IpLib
