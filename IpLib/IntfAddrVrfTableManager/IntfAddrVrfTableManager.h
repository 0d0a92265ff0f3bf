// The one object that an agent makes to run the library.
//
//   in     Ip::Status, Ip6::Status, AllIntfAddrVrfTable, and a factory of the VRFs' machines
//   out    every table of the directory bound to its VRF's status and filled, from the construction
//          on and for as long as the manager lives
//
// Whoever holds it owns it; the agent owns the directory and its tables, which stay as they are
// when the manager goes.
//
// Where the published status holds something that the library refuses, making the manager throws
// (see Zin::make) and there is none. An agent that wants the rest of its VRFs served all the same
// makes it inside a Zin::Turn: the manager is there by then, and the turn's end throws the error.
#pragma once

#include <cstdint>

#include "Zin/Child.h"

namespace Ip {
class Status;
}
namespace Ip6 {
class Status;
}
namespace Velk {
class DumpContext;
}

namespace IpLib {

class AllIntfAddrVrfTable;
class AllIntfAddrVrfTableSm;
class IntfAddrVrfTableSmAbstractFactory;
class IntfAddrVrfTableSmManager;

class IntfAddrVrfTableManager final : public Zin::Entity {
public:
    // A null argument raises Zin::NullArgumentError.
    IntfAddrVrfTableManager(Zin::Ptr<Ip::Status const> ipStatus,
                            Zin::Ptr<Ip6::Status const> ip6Status,
                            Zin::Ptr<IntfAddrVrfTableSmAbstractFactory> smFactory,
                            Zin::Ptr<AllIntfAddrVrfTable> allIntfAddrVrfTable);
    ~IntfAddrVrfTableManager() override;

    Zin::Ptr<Ip::Status const> const& ipStatus() const { return ipStatus_; }
    Zin::Ptr<Ip6::Status const> const& ip6Status() const { return ip6Status_; }
    Zin::Ptr<IntfAddrVrfTableSmAbstractFactory> const& smFactory() const { return smFactory_; }
    // The directory of the tables that it fills.
    Zin::Ptr<AllIntfAddrVrfTable> const& allIntfAddrVrfTable() const {
        return allIntfAddrVrfTable_;
    }

    // The two machines: Is keeps the one that has these very inputs, else makes another in its
    // place; Del returns the one that was removed, retired, or null.
    Zin::Ptr<AllIntfAddrVrfTableSm> const& allIntfAddrVrfTableSm() const {
        return allIntfAddrVrfTableSm_();
    }
    Zin::Ptr<AllIntfAddrVrfTableSm> const& allIntfAddrVrfTableSmIs(
        Zin::Ptr<Ip::Status const> const& ipStatus, Zin::Ptr<Ip6::Status const> const& ip6Status,
        Zin::Ptr<AllIntfAddrVrfTable> const& allIntfAddrVrfTable);
    Zin::Ptr<AllIntfAddrVrfTableSm> allIntfAddrVrfTableSmDel();
    Zin::Ptr<IntfAddrVrfTableSmManager> const& intfAddrVrfTableSmManager() const {
        return intfAddrVrfTableSmManager_();
    }
    Zin::Ptr<IntfAddrVrfTableSmManager> const& intfAddrVrfTableSmManagerIs(
        Zin::Ptr<IntfAddrVrfTableSmAbstractFactory> const& smFactory,
        Zin::Ptr<AllIntfAddrVrfTable> const& allIntfAddrVrfTable);
    Zin::Ptr<IntfAddrVrfTableSmManager> intfAddrVrfTableSmManagerDel();

    // What each machine knows, plans and waits for: those of all VRFs.
    void dumpState(Zin::Ptr<Velk::DumpContext const> const& context, std::uint32_t indent) const;

protected:
    void handleInitialized() override;
    void handleDestruction() override;

private:
    Zin::Ptr<Ip::Status const> const ipStatus_;
    Zin::Ptr<Ip6::Status const> const ip6Status_;
    Zin::Ptr<IntfAddrVrfTableSmAbstractFactory> const smFactory_;
    Zin::Ptr<AllIntfAddrVrfTable> const allIntfAddrVrfTable_;
    Zin::Child<AllIntfAddrVrfTableSm> allIntfAddrVrfTableSm_;
    Zin::Child<IntfAddrVrfTableSmManager> intfAddrVrfTableSmManager_;
};

Zin::Ptr<IntfAddrVrfTableManager> intfAddrVrfTableManagerFactory(
    Zin::Ptr<Ip::Status const> const& ipStatus, Zin::Ptr<Ip6::Status const> const& ip6Status,
    Zin::Ptr<IntfAddrVrfTableSmAbstractFactory> const& smFactory,
    Zin::Ptr<AllIntfAddrVrfTable> const& allIntfAddrVrfTable);

}  // namespace IpLib
