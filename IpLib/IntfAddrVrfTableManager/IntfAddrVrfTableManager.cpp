#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableManager.h"

#include <utility>

#include "Interface/Module.h"
#include "Ip/Module.h"
#include "Ip6/Module.h"
#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTableSm.h"
#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableSmManager.h"
#include "IpLib/IntfAddrVrfTableManager/Module.h"
#include "IpLib/IntfAddrVrfTableSm/Module.h"
#include "L3/Module.h"
#include "Nimb/Module.h"
#include "Pell/Module.h"
#include "Velk/Module.h"
#include "VirtualIp/Module.h"
#include "Zin/Module.h"
#include "Zin/Turn.h"

namespace IpLib {

Zin::ModuleRegistration const intfAddrVrfTableManagerModule{
    {.name = "IpLib::IntfAddrVrfTableManager",
     .dependsOn = {&Interface::module, &Ip::module, &Ip6::module, &intfAddrVrfTableSmModule,
                   &L3::module, &Nimb::module, &Pell::module, &Velk::module, &VirtualIp::module,
                   &Zin::module}}};

IntfAddrVrfTableManager::IntfAddrVrfTableManager(
    Zin::Ptr<Ip::Status const> ipStatus, Zin::Ptr<Ip6::Status const> ip6Status,
    Zin::Ptr<IntfAddrVrfTableSmAbstractFactory> smFactory,
    Zin::Ptr<AllIntfAddrVrfTable> allIntfAddrVrfTable)
    : ipStatus_(Zin::notNull("ipStatus", std::move(ipStatus))),
      ip6Status_(Zin::notNull("ip6Status", std::move(ip6Status))),
      smFactory_(Zin::notNull("smFactory", std::move(smFactory))),
      allIntfAddrVrfTable_(Zin::notNull("allIntfAddrVrfTable", std::move(allIntfAddrVrfTable))) {}

IntfAddrVrfTableManager::~IntfAddrVrfTableManager() = default;

// The tables are bound to their status before their machines start.
void IntfAddrVrfTableManager::handleInitialized() {
    allIntfAddrVrfTableSmIs(ipStatus_, ip6Status_, allIntfAddrVrfTable_);
    intfAddrVrfTableSmManagerIs(smFactory_, allIntfAddrVrfTable_);
}

void IntfAddrVrfTableManager::handleDestruction() {
    Zin::Turn turn;
    turn.run([this] { allIntfAddrVrfTableSmDel(); });
    turn.run([this] { intfAddrVrfTableSmManagerDel(); });
}

Zin::Ptr<AllIntfAddrVrfTableSm> const& IntfAddrVrfTableManager::allIntfAddrVrfTableSmIs(
    Zin::Ptr<Ip::Status const> const& ipStatus, Zin::Ptr<Ip6::Status const> const& ip6Status,
    Zin::Ptr<AllIntfAddrVrfTable> const& allIntfAddrVrfTable) {
    return allIntfAddrVrfTableSm_.is(ipStatus, ip6Status, allIntfAddrVrfTable);
}

Zin::Ptr<AllIntfAddrVrfTableSm> IntfAddrVrfTableManager::allIntfAddrVrfTableSmDel() {
    return allIntfAddrVrfTableSm_.del();
}

Zin::Ptr<IntfAddrVrfTableSmManager> const& IntfAddrVrfTableManager::intfAddrVrfTableSmManagerIs(
    Zin::Ptr<IntfAddrVrfTableSmAbstractFactory> const& smFactory,
    Zin::Ptr<AllIntfAddrVrfTable> const& allIntfAddrVrfTable) {
    return intfAddrVrfTableSmManager_.is(smFactory, allIntfAddrVrfTable);
}

Zin::Ptr<IntfAddrVrfTableSmManager> IntfAddrVrfTableManager::intfAddrVrfTableSmManagerDel() {
    return intfAddrVrfTableSmManager_.del();
}

void IntfAddrVrfTableManager::dumpState(Zin::Ptr<Velk::DumpContext const> const& context,
                                        std::uint32_t indent) const {
    if (auto const& sm = allIntfAddrVrfTableSm()) {
        sm->dumpState(context, indent);
    }
    if (auto const& manager = intfAddrVrfTableSmManager()) {
        manager->dumpState(context, indent);
    }
}

Zin::Ptr<IntfAddrVrfTableManager> intfAddrVrfTableManagerFactory(
    Zin::Ptr<Ip::Status const> const& ipStatus, Zin::Ptr<Ip6::Status const> const& ip6Status,
    Zin::Ptr<IntfAddrVrfTableSmAbstractFactory> const& smFactory,
    Zin::Ptr<AllIntfAddrVrfTable> const& allIntfAddrVrfTable) {
    return Zin::make<IntfAddrVrfTableManager>(ipStatus, ip6Status, smFactory, allIntfAddrVrfTable);
}

}  // namespace IpLib
