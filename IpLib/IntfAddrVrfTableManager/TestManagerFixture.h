// For the tests of the managers: the published status of a router, its directory of tables, virtual
// time, and the manager that runs it all; short ways to publish.
//
//     ManagerFixture fixture;
//     fixture.vrfIs("red");
//     fixture.managerIs();
//     fixture.ip("red", "Ethernet1", "10.0.0.1/24");
//     EXPECT_THAT(fixture.rows("red"), ElementsAre("10.0.0.1/24 Ethernet1"));
//
// The kernel has every interface that is mentioned.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Ip/Status.h"
#include "Ip6/Status.h"
#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTable.h"
#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableManager.h"
#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableSmFactory.h"
#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableSmManager.h"
#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "IpLib/IntfAddrVrfTableTestKit/TableRows.h"
#include "TestKit/VirtualTime.h"
#include "Zin/Format.h"

namespace TestKit {

using Texts = std::vector<std::string>;

// The index by address holds the rows that the table holds.
inline void expectConsistent(IpLib::IntfAddrVrfTable const& table) {
    std::set<IpLib::IntfAddrEntryContent> rows;
    std::set<IpLib::IntfAddrEntryContent> indexed;
    for (auto const& row : table.intfAddrEntry()) {
        rows.insert(row.key);
    }
    for (auto const& row : table.intfAddrEntryFromAddr()) {
        indexed.insert(row.value->content());
    }
    EXPECT_EQ(rows, indexed);
}

class ManagerFixture {
public:
    using Config = IpLib::IntfAddrVrfTableSmConfig;

    explicit ManagerFixture(Config const& smConfig = {}, std::uint32_t yieldEvery = 0)
        : config(smConfig), time(yieldEvery) {}

    void managerIs() {
        manager = IpLib::intfAddrVrfTableManagerFactory(ipStatus, ip6Status, factory, tables);
    }

    // The VRF's status of both families, and its table.
    void vrfIs(L3::VrfName const& vrf) {
        ipStatus->vrfIpIntfStatusIs(vrf, Ip::vrfIpIntfStatusFactory());
        ip6Status->vrfIp6IntfStatusIs(vrf, Ip6::vrfIp6IntfStatusFactory());
        tableIs(vrf);
    }
    void tableIs(L3::VrfName const& vrf) {
        tables->intfAddrVrfTableIs(vrf, IpLib::intfAddrVrfTableFactory());
    }
    Zin::Ptr<IpLib::IntfAddrVrfTable> table(L3::VrfName const& vrf) const {
        return tables->intfAddrVrfTable(vrf);
    }

    void ip(L3::VrfName const& vrf, Nimb::IntfId const& intfId, std::string_view addr) {
        kernelIs(vrf, intfId);
        auto const status = ipStatus->vrfIpIntfStatus(vrf);
        if (!status->ipIntfStatusHas(intfId)) {
            status->ipIntfStatusIs(Ip::ipIntfStatusFactory(intfId));
        }
        status->ipIntfStatus(intfId)->activeAddrWithMaskIs(Nimb::IpAddrWithMask(addr));
    }
    void ipDel(L3::VrfName const& vrf, Nimb::IntfId const& intfId) {
        ipStatus->vrfIpIntfStatus(vrf)->ipIntfStatusDel(intfId);
    }
    void ip6(L3::VrfName const& vrf, Nimb::IntfId const& intfId, std::string_view addr,
             bool deprecated = false) {
        kernelIs(vrf, intfId);
        auto const status = ip6Status->vrfIp6IntfStatus(vrf);
        if (!status->intfStatusHas(intfId)) {
            status->intfStatusIs(Ip6::intfStatusFactory(intfId));
        }
        status->intfStatus(intfId)->addrIs(Nimb::Ip6AddrWithMask(addr), {.deprecated = deprecated});
    }

    Zin::Ptr<IpLib::IntfAddrVrfTableSm> sm(L3::VrfName const& vrf) const {
        return manager->intfAddrVrfTableSmManager()->intfAddrVrfTableSm(vrf);
    }
    Texts rows(L3::VrfName const& vrf) const { return rowsOf(*table(vrf)); }
    // How often the factory uses the VRF's kernel interface directory.
    std::uint32_t uses(L3::VrfName const& vrf) const {
        return helper->uses(vrf, "IpLib::IntfAddrVrfTableSmFactory");
    }

    Config const config;
    VirtualTime time;
    Zin::Ptr<Ip::Status> ipStatus = Ip::statusFactory();
    Zin::Ptr<Ip6::Status> ip6Status = Ip6::statusFactory();
    Zin::Ptr<VirtualIp::VirtualIpStatus> virtualIp = VirtualIp::virtualIpStatusFactory();
    Zin::Ptr<VirtualIp::VirtualIp6Status> virtualIp6 = VirtualIp::virtualIp6StatusFactory();
    Zin::Ptr<Interface::KniIntfStatusHelper> helper = Interface::kniIntfStatusHelperFactory();
    Zin::Ptr<IpLib::AllIntfAddrVrfTable> tables = IpLib::allIntfAddrVrfTableFactory();
    Zin::Ptr<IpLib::IntfAddrVrfTableSmFactory> factory = IpLib::intfAddrVrfTableSmFactoryFactory(
        config, time.scheduler(), virtualIp, virtualIp6, helper);
    Zin::Ptr<IpLib::IntfAddrVrfTableManager> manager;

private:
    void kernelIs(L3::VrfName const& vrf, Nimb::IntfId const& intfId) {
        auto const dir = helper->deviceIntfStatusDir(vrf);
        if (!dir->deviceIntfStatusHas(intfId)) {
            dir->deviceIntfStatusIs(Interface::deviceIntfStatusFactory(
                intfId, std::string(intfId.name()), 1, Interface::OperStatus::up, true));
        }
    }
};

}  // namespace TestKit
