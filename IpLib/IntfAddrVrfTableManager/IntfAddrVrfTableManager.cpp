#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableManager.h"

#include <utility>

#include "Zin/Registry.h"
#include "Zin/Turn.h"

namespace IpLib {
namespace {

Zin::ModuleRegistration const module{
    {.name = "IpLib::IntfAddrVrfTableManager",
     .dependsOn = {"Interface", "Ip", "Ip6", "IpLib::IntfAddrVrfTableSm", "L3", "Nimb", "Pell",
                   "Velk", "VirtualIp", "Zin"}}};

Zin::TypeRegistration const registration{{
    .name = "IpLib::IntfAddrVrfTableManager",
    .attributes = {{"ipStatus", "Ip::Status"},
                   {"ip6Status", "Ip6::Status"},
                   {"smFactory", "IpLib::IntfAddrVrfTableSmAbstractFactory"},
                   {"allIntfAddrVrfTable", "IpLib::AllIntfAddrVrfTable"},
                   {"allIntfAddrVrfTableSm", "IpLib::AllIntfAddrVrfTableSm"},
                   {"intfAddrVrfTableSmManager", "IpLib::IntfAddrVrfTableSmManager"}},
}};

}  // namespace

IntfAddrVrfTableManager::IntfAddrVrfTableManager(
    Zin::Ptr<Ip::Status const> ipStatus, Zin::Ptr<Ip6::Status const> ip6Status,
    Zin::Ptr<IntfAddrVrfTableSmAbstractFactory> smFactory,
    Zin::Ptr<AllIntfAddrVrfTable> allIntfAddrVrfTable)
    : ipStatus_(Zin::notNull("ipStatus", std::move(ipStatus))),
      ip6Status_(Zin::notNull("ip6Status", std::move(ip6Status))),
      smFactory_(Zin::notNull("smFactory", std::move(smFactory))),
      allIntfAddrVrfTable_(Zin::notNull("allIntfAddrVrfTable", std::move(allIntfAddrVrfTable))) {}

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
    return allIntfAddrVrfTableSm_.is(allIntfAddrVrfTableSmFactory, ipStatus, ip6Status,
                                     allIntfAddrVrfTable);
}

Zin::Ptr<IntfAddrVrfTableSmManager> const& IntfAddrVrfTableManager::intfAddrVrfTableSmManagerIs(
    Zin::Ptr<IntfAddrVrfTableSmAbstractFactory> const& smFactory,
    Zin::Ptr<AllIntfAddrVrfTable> const& allIntfAddrVrfTable) {
    return intfAddrVrfTableSmManager_.is(intfAddrVrfTableSmManagerFactory, smFactory,
                                         allIntfAddrVrfTable);
}

Zin::Ptr<IntfAddrVrfTableManager> intfAddrVrfTableManagerFactory(
    Zin::Ptr<Ip::Status const> const& ipStatus, Zin::Ptr<Ip6::Status const> const& ip6Status,
    Zin::Ptr<IntfAddrVrfTableSmAbstractFactory> const& smFactory,
    Zin::Ptr<AllIntfAddrVrfTable> const& allIntfAddrVrfTable) {
    return Zin::make<IntfAddrVrfTableManager>(ipStatus, ip6Status, smFactory, allIntfAddrVrfTable);
}

}  // namespace IpLib
