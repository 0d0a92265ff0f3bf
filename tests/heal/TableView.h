// What one VRF has at one moment, as a reader finds it in the public collections, and what was
// published for it.
#pragma once

#include "Book.h"

namespace Healing {

struct TableView {
    using Row = IpLib::IntfAddrEntryContent;

    Book::Vrf const& book;
    std::map<std::pair<Nimb::IntfId, Book::Addr>, bool> published;  // whether deprecated
    IpLib::IntfAddrVrfTable const& table;
    IpLib::IntfAddrVrfTableSm const& machine;
    bool ignoresKernel = false;

    static bool isLinkLocal(Row const& row) {
        return !row.key.virtualIp && row.key.addr.isV6LinkLocal();
    }
    // What would be published for such a row.
    static std::pair<Nimb::IntfId, Book::Addr> source(Row const& row) {
        return {row.intfId, {row.key.addr, row.subnet.prefixLength()}};
    }
    // The row of a published address.
    static Row rowOf(Nimb::IntfId const& intfId, Book::Addr const& addr) {
        return {.key = {.intfId = addr.isV6LinkLocal() ? intfId : Nimb::IntfId(),
                        .addr = addr.address()},
                .intfId = intfId,
                .subnet = addr.prefix()};
    }
    bool hasDevice(Nimb::IntfId const& intfId) const {
        return ignoresKernel || book.devices.contains(intfId);
    }
};

}  // namespace Healing
