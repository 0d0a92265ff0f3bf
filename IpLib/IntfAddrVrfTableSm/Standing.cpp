#include "IpLib/IntfAddrVrfTableSm/Standing.h"

namespace IpLib::IntfAddrVrfTableImpl {

Standing standingOf(IntfAddrVrfTable const& table, Place const& place) {
    Standing standing;
    if (place.isV6LinkLocal()) {
        standing.row = table.llIntfAddrEntryFromIntfId(place.intfId());
        if (standing.row && standing.row->key().addr != place.addr()) {
            standing.conflict = Standing::Conflict::withRow;
        }
        return standing;
    }
    standing.row = table.intfAddrEntryFromAddr(place.rowKey());
    standing.set = table.intfAddrEntrySetFromSubnet(place.subnet());
    if (standing.row && standing.row->content() != place.content) {
        standing.conflict = Standing::Conflict::withRow;
    } else if (standing.set && standing.set->intfId() != place.intfId()) {
        standing.conflict = Standing::Conflict::withSet;
    }
    return standing;
}

}  // namespace IpLib::IntfAddrVrfTableImpl
