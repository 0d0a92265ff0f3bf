#include "intfaddr/answer/ExplanationList.h"

#include <algorithm>
#include <utility>

namespace IntfAddr {

namespace {

// How many of the places that are not asked for are told.
constexpr std::size_t maxElsewhere = 5;

}  // namespace

// All places are listed, for where the address is says why it is not where it is looked for.
ExplanationList::ExplanationList(Routing::Router const& router, Netlink::Feed const& feed,
                                 Explainer explainer, Filter filter)
    : router_(router),
      explainer_(std::move(explainer)),
      filter_(std::move(filter)),
      places_(router, feed, {.addr = filter_.addr}),
      vrfs_(router.vrfs()),
      asked_(filter_.vrf ? std::vector{*filter_.vrf} : vrfs_) {
    std::ranges::reverse(vrfs_);
    std::ranges::reverse(asked_);
}

bool ExplanationList::step(Each const& each) {
    each_ = &each;
    if (places_.step([this](ListedAddress const& address) { tell(explainer_.ofPlace(address)); }) ||
        steps_.step()) {
        return true;
    }
    if (!vrfs_.empty()) {
        walkBorrowers(std::exchange(vrfs_.back(), {}));
        vrfs_.pop_back();
        return true;
    }
    if (!asked_.empty()) {
        tellAbsence(std::exchange(asked_.back(), {}));
        asked_.pop_back();
        return true;
    }
    if (!isAnythingTold_) {
        tellAbsence(std::nullopt);
    }
    return false;
}

void ExplanationList::walkBorrowers(L3::VrfName const& vrf) {
    if (auto const status = router_.published(vrf).ipStatus()) {
        steps_.walkPresent(status, status->ipIntfStatus(), [this, vrf](auto const& member) {
            Ip::IpIntfStatus const& intf = *member.value;
            if (!intf.unnumberedIntfId().empty() &&
                Nimb::IpGenAddr(intf.activeAddrWithMask().address()) == *filter_.addr) {
                tell(explainer_.ofBorrower(vrf, intf));
            }
        });
    }
}

void ExplanationList::tell(Explanation const& explanation) {
    bool const isAsked = (!filter_.vrf || *filter_.vrf == *explanation.vrf) &&
                         (!filter_.intf || *filter_.intf == explanation.intf);
    if (isAsked) {
        told_.insert(*explanation.vrf);
        isAnythingTold_ = true;
        (*each_)(explanation);
    } else if (elsewhere_.size() < maxElsewhere) {
        elsewhere_.push_back(explanation.sentence);
    }
}

void ExplanationList::tellAbsence(std::optional<L3::VrfName> const& vrf) {
    if (vrf && told_.contains(*vrf)) {
        return;
    }
    auto told = explainer_.ofAbsence(vrf, filter_.intf.value_or(Nimb::IntfId()), *filter_.addr);
    bool const isSilent = told.verdict == Verdict::none && told.events.empty();
    if (!vrf || filter_.vrf || !isSilent) {
        isAnythingTold_ = true;
        told.reasons.insert(told.reasons.begin(), elsewhere_.begin(), elsewhere_.end());
        (*each_)(told);
    }
}

}  // namespace IntfAddr
