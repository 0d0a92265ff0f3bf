// Compares the table of one VRF, its indexes and what its machine has pending with what is
// published, step by step, and writes what is wrong into the VRF's book of faults.
//
// What the rules want is no fault: a deprecated row without a set, since deprecated rows do not
// hold a subnet; a link-local row that stands for its address with another prefix length; a
// deprecated link-local address, which is refused; and whatever a pending clean-up is about to
// take.
//
// A step is one row, one index entry or one published address, and none takes long; virtual
// addresses are published for all VRFs together, and looked at by whoever audits all of them
// (AuditPass.h). Between steps anything may change; where the table or its machine has been
// replaced, the audit is void. Outside of turns.
#pragma once

#include "IpLib/IntfAddrVrfTableSmTypes/IntfCleanupEntry.h"
#include "router/Published.h"
#include "router/Router.h"
#include "router/Steps.h"
#include "router/repair/FaultBook.h"

namespace Routing {

class Audit {
public:
    // Borrows both.
    Audit(Router const& router, L3::VrfName vrf, FaultBook& faults);
    Audit(Audit const&) = delete;
    Audit& operator=(Audit const&) = delete;

    // Returns whether there is more to do.
    bool step() { return steps_.step(); }
    // Whether the audit is not void; to be asked before it goes on where anything may have changed.
    bool isStanding() const;

    // Looks at a virtual address that is published; not one of the steps, since those of all VRFs
    // are published together.
    void checkVirtual(Nimb::IpGenAddr const& addr);

    // When a clean-up that is pending will be overdue; never where none is.
    Zin::Seconds nextOverdue() const { return nextOverdue_; }

private:
    void checkRow(IpLib::IntfAddrEntry const& row);
    void checkJustified(IpLib::IntfAddrEntry const& row);
    void checkSetOf(IpLib::IntfAddrEntry const& row);
    void checkAddressEntry(IpLib::IntfAddrEntryKey const& key, IpLib::IntfAddrEntry const& row);
    void checkSet(Nimb::IpGenPrefix const& subnet, IpLib::IntfAddrVrfTable::SetPtr const& set);
    void checkLinkLocalEntry(Nimb::IntfId const& intf, IpLib::IntfAddrEntry const& row);
    void checkPublished(IpLib::IntfAddrWithMaskKey const& key, bool deprecated);
    void checkWaiting(IpLib::IntfAddrWithMaskKey const& key);
    void checkCleanup(IpLib::IntfAddrVrfTableImpl::IntfCleanupEntry const& cleanup);

    bool isRow(IpLib::IntfAddrEntry const& row) const;
    bool isCleanupPending(IpLib::IntfAddrEntry const& row) const;
    bool isCleanupPending(Nimb::IntfId const& intf, Nimb::AddressFamily af) const;
    bool waits(IpLib::IntfAddrWithMaskKey const& key) const;
    void found(Fault const& fault);
    void found(Fault::Kind kind, IpLib::IntfAddrEntry const& row);
    Zin::Seconds now() const;

    Router const& router_;
    L3::VrfName const vrf_;
    FaultBook& faults_;
    Published const published_;
    // What is audited; there is no machine where it was refused.
    Zin::Ptr<IpLib::IntfAddrVrfTable> const table_;
    Zin::Ptr<IpLib::IntfAddrVrfTableSm> const machine_;
    Zin::Seconds nextOverdue_ = Velk::never;
    Steps steps_;
};

}  // namespace Routing
