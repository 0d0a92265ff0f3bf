#include "intfaddr/answer/SubnetList.h"

#include <algorithm>
#include <utility>

#include "intfaddr/answer/ObjectText.h"

namespace IntfAddr {

SubnetList::SubnetList(Routing::Router const& router, std::optional<L3::VrfName> const& vrf)
    : router_(router), vrfs_(router.vrfs()) {
    if (vrf) {
        std::erase_if(vrfs_, [&vrf](L3::VrfName const& one) { return one != *vrf; });
    }
    std::ranges::reverse(vrfs_);
}

bool SubnetList::step(Document::Items& items) {
    if (set_) {
        auto const& rows = isDeprecated_ ? set_->deprecatedIntfAddrEntry() : set_->intfAddrEntry();
        if (writeRow(rows, items.more())) {
            return true;
        }
        row_.reset();
        items.more() += isDeprecated_ ? "]}" : "],\"deprecated\":[";
        if (std::exchange(isDeprecated_, !isDeprecated_)) {
            set_ = nullptr;
        }
        return true;
    }
    if (steps_.step()) {
        if (set_) {
            ObjectText(items.next())
                .text("vrf", vrf_.text())
                .word("subnet", set_->subnet().text())
                .text("interface", set_->intfId().name())
                .open("addresses") += '[';
        }
        return true;
    }
    if (vrfs_.empty()) {
        return false;
    }
    vrf_ = vrfs_.back();
    vrfs_.pop_back();
    if (auto const table = router_.tables()->intfAddrVrfTable(vrf_)) {
        steps_.walkPresent(table, table->intfAddrEntrySetFromSubnet(),
                           [this](auto const& member) { set_ = member.value; });
    }
    return true;
}

bool SubnetList::writeRow(Rows const& rows, std::string& out) {
    bool const isFirst = !row_;
    if (isFirst) {
        row_ = rows.begin();
    } else {
        ++*row_;
    }
    if (*row_ == rows.end()) {
        return false;
    }
    out += isFirst ? "\"" : ",\"";
    (out += (**row_).key.addr.text()) += '"';
    return true;
}

}  // namespace IntfAddr
