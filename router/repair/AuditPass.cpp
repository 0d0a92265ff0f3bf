#include "router/repair/AuditPass.h"

#include <utility>

#include "IpLib/IntfAddrVrfTableSm/AddressPlacement.h"
#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Zin/Format.h"

namespace Routing {

AuditPass::AuditPass(Router const& router, BookOf bookOf)
    : router_(router), bookOf_(std::move(bookOf)) {
    for (auto const& member : router.tables()->intfAddrVrfTable()) {
        toAudit_.push_back(member.key);
    }
    auto const& virtualIp = router.inputs().virtualIpStatus();
    virtualAddrs_.walk(virtualIp, virtualIp->virtualIp(), [this](auto const& member) {
        auditVirtual(member.key.vrfName(), member.key.addrWithMask().address());
    });
    auto const& virtualIp6 = router.inputs().virtualIp6Status();
    virtualAddrs_.walk(virtualIp6, virtualIp6->virtualIp6(), [this](auto const& member) {
        auditVirtual(member.key.vrfName(), member.key.addr());
    });
}

void AuditPass::dropVoid() {
    std::erase_if(audits_, [this](auto const& member) {
        auto const& [vrf, audit] = member;
        bool const isVoid = !audit->isStanding() || !bookOf_(vrf);
        if (isVoid && current_ == audit.get()) {
            current_ = nullptr;
        }
        return isVoid;
    });
}

bool AuditPass::step() {
    if (current_) {
        if (!current_->step()) {
            current_ = nullptr;
        }
        return true;
    }
    if (toAudit_.empty()) {
        return virtualAddrs_.step();
    }
    L3::VrfName const vrf = std::move(toAudit_.back());
    toAudit_.pop_back();
    if (auto* const book = bookOf_(vrf)) {
        book->auditBegins();
        auto& audit = audits_[vrf] = std::make_unique<Audit>(router_, vrf, *book);
        current_ = audit.get();
    }
    return true;
}

void AuditPass::auditVirtual(L3::VrfName const& vrf, Nimb::IpGenAddr const& addr) {
    auto const found = audits_.find(vrf);
    if (found != audits_.end()) {
        found->second->checkVirtual(addr);
    }
}

std::map<L3::VrfName, Zin::Seconds, VrfOrder> AuditPass::whole() const {
    std::map<L3::VrfName, Zin::Seconds, VrfOrder> whole;
    for (auto const& [vrf, audit] : audits_) {
        whole.emplace(vrf, audit->nextOverdue());
    }
    return whole;
}

}  // namespace Routing
