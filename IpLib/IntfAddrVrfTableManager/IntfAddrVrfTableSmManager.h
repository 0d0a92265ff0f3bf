// Runs one machine for each table of the directory.
//
//   in     AllIntfAddrVrfTable: the tables
//   out    a machine for each, made and unmade by the factory
//
// Every notification for a table that is there makes a fresh machine, which takes the place of the
// one before it; every one for a table that is not there unmakes, machine or no machine.
//
// Owned by IntfAddrVrfTableManager. When it goes, the machines go, and what they used is given
// back.
#pragma once

#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTable.h"
#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableSmAbstractFactory.h"
#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Pell/Traced.h"
#include "Zin/Children.h"
#include "Zin/Reactor.h"

namespace IpLib {

class IntfAddrVrfTableSmManager final : public Zin::Entity,
                                        private Pell::Traced<"IntfAddrVrfTableSmManager"> {
public:
    IntfAddrVrfTableSmManager(Zin::Ptr<IntfAddrVrfTableSmAbstractFactory> smFactory,
                              Zin::Ptr<AllIntfAddrVrfTable> allIntfAddrVrfTable);

    Zin::Ptr<IntfAddrVrfTableSmAbstractFactory> const& smFactory() const { return smFactory_; }
    Zin::Ptr<AllIntfAddrVrfTable> const& allIntfAddrVrfTable() const {
        return allIntfAddrVrfTable_;
    }
    bool builtFrom(Zin::Ptr<IntfAddrVrfTableSmAbstractFactory> const& smFactory,
                   Zin::Ptr<AllIntfAddrVrfTable> const& allIntfAddrVrfTable) const;

    auto const& intfAddrVrfTableSm() const { return intfAddrVrfTableSm_.map(); }
    // Null if there is none.
    Zin::Ptr<IntfAddrVrfTableSm> intfAddrVrfTableSm(L3::VrfName const& vrf) const {
        return intfAddrVrfTableSm_(vrf);
    }
    bool intfAddrVrfTableSmHas(L3::VrfName const& vrf) const {
        return intfAddrVrfTableSm().contains(vrf);
    }
    // The machine that is there already changes nothing, another one replaces it, null removes it.
    void intfAddrVrfTableSmIs(L3::VrfName const& vrf, Zin::Ptr<IntfAddrVrfTableSm> const& sm) {
        intfAddrVrfTableSm_.is(vrf, sm);
    }
    // Returns the machine that was removed, retired, or null.
    Zin::Ptr<IntfAddrVrfTableSm> intfAddrVrfTableSmDel(L3::VrfName const& vrf) {
        return intfAddrVrfTableSm_.del(vrf);
    }
    void intfAddrVrfTableSmDelAll() { intfAddrVrfTableSm_.delAll(); }

    void hasNotificationActiveIs(bool active) override;
    // The machines, in order of the VRFs' names.
    void dumpState(Zin::Ptr<Velk::DumpContext const> const& context, std::uint32_t indent) const;

    void handleIntfAddrVrfTable(L3::VrfName const& vrf);

protected:
    void handleInitialized() override;
    void handleDestruction() override;

private:
    class TableReactor final : public Zin::Reactor<IntfAddrVrfTableSmManager, AllIntfAddrVrfTable> {
    public:
        using Reactor::Reactor;

    private:
        void handleIntfAddrVrfTable(L3::VrfName const& vrf) override {
            forward<&IntfAddrVrfTableSmManager::handleIntfAddrVrfTable>(vrf);
        }
    };

    Zin::Ptr<IntfAddrVrfTableSmAbstractFactory> const smFactory_;
    Zin::Ptr<AllIntfAddrVrfTable> const allIntfAddrVrfTable_;
    Zin::Children<L3::VrfName, IntfAddrVrfTableSm> intfAddrVrfTableSm_{0x5ce07a19};
    TableReactor tableReactor_;
};

Zin::Ptr<IntfAddrVrfTableSmManager> intfAddrVrfTableSmManagerFactory(
    Zin::Ptr<IntfAddrVrfTableSmAbstractFactory> const& smFactory,
    Zin::Ptr<AllIntfAddrVrfTable> const& allIntfAddrVrfTable);

}  // namespace IpLib
