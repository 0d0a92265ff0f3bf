#include "router/repair/Fault.h"

#include "Zin/Format.h"

namespace Routing {

std::string_view Fault::nameOf(Kind kind) {
    switch (kind) {
        case Kind::unjustifiedRow:
            return "row that no status justifies";
        case Kind::rowWithoutDevice:
            return "row whose device is gone";
        case Kind::lostAddress:
            return "published address that is neither in the table nor waiting";
        case Kind::freeAddressWaits:
            return "address that waits though its way is free";
        case Kind::unpublishedWaits:
            return "address that waits though nobody publishes it";
        case Kind::rowsOfOneKey:
            return "two rows of one key";
        case Kind::wrongAddressEntry:
            return "row and by-address entry that disagree";
        case Kind::wrongSet:
            return "row and subnet set that disagree";
        case Kind::wrongLinkLocalEntry:
            return "row and link-local entry that disagree";
        case Kind::emptySet:
            return "empty subnet set";
        case Kind::unjustifiedVirtual:
            return "virtual row that is not published";
        case Kind::lostVirtual:
            return "virtual address without its row";
        case Kind::overdueCleanup:
            return "overdue clean-up";
    }
    return {};
}

std::string Fault::toText() const {
    return intf.empty() ? fmt::format("{}: {}", nameOf(kind), addr)
                        : fmt::format("{}: {} on {}", nameOf(kind), addr, intf);
}

}  // namespace Routing
