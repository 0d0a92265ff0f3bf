#include "IpLib/IntfAddrVrfTableTypes/TableChanges.h"

#include "IpLib/IntfAddrVrfTableTypes/IntfAddrVrfTable.h"

namespace IpLib {
namespace {

bool isWholeInterface(IntfAddrEntryContent const& scope) {
    return scope.key == IntfAddrEntryKey() && scope.subnet == Nimb::IpGenPrefix();
}

bool isInSubnet(IntfAddrEntryContent const& row) {
    return !row.key.virtualIp && !row.key.addr.isV6LinkLocal();
}

}  // namespace

bool SharesInTable::operator()(IntfAddrEntryContent const& a, IntfAddrEntryContent const& b) const {
    if (a.key.virtualIp || b.key.virtualIp) {
        return a.key == b.key;
    }
    if (a.intfId == b.intfId) {
        return true;
    }
    if (isWholeInterface(a)) {
        return !isWholeInterface(b) && holds(a.intfId, b);
    }
    if (isWholeInterface(b)) {
        return holds(b.intfId, a);
    }
    return a.key == b.key || (isInSubnet(a) && isInSubnet(b) && a.subnet == b.subnet);
}

bool SharesInTable::holds(Nimb::IntfId const& intfId, IntfAddrEntryContent const& row) const {
    if (!table_ || !isInSubnet(row)) {
        return false;
    }
    auto const present = table_->intfAddrEntryFromAddr(row.key);
    auto const set = table_->intfAddrEntrySetFromSubnet(row.subnet);
    return (present && present->intfId() == intfId) || (set && set->intfId() == intfId);
}

}  // namespace IpLib
