// One audit of all tables of a router, step by step (Audit.h).
//
//     AuditPass pass(router, bookOf);
//     while (pass.step()) {
//     }
//
// The books of faults are those of the VRFs that are to be audited. Between steps anything may
// change: a VRF whose table or machine is replaced, or that has no book any more, is left to the
// next pass (dropVoid). Virtual addresses are looked at last, for all VRFs at once.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "router/repair/Audit.h"

namespace Routing {

class AuditPass {
public:
    // Null where the VRF is not to be audited, or not any more.
    using BookOf = std::function<FaultBook*(L3::VrfName const&)>;

    // Of the tables that are there now. Borrows the router.
    AuditPass(Router const& router, BookOf bookOf);
    AuditPass(AuditPass const&) = delete;
    AuditPass& operator=(AuditPass const&) = delete;

    // To be called before a step where anything may have changed since the last one.
    void dropVoid();
    // Returns whether there is more to do.
    bool step();

    // The VRFs that have been audited whole, after the last step, and when the next clean-up of
    // each that is pending will be overdue.
    std::map<L3::VrfName, Zin::Seconds, VrfOrder> whole() const;

private:
    using Audits = std::map<L3::VrfName, std::unique_ptr<Audit>, VrfOrder>;

    void auditVirtual(L3::VrfName const& vrf, Nimb::IpGenAddr const& addr);

    Router const& router_;
    BookOf const bookOf_;
    std::vector<L3::VrfName> toAudit_;
    Audits audits_;  // begun; not void
    Audit* current_ = nullptr;
    Steps virtualAddrs_;
};

}  // namespace Routing
