// Each place where an address is or is kept out, explained, and each VRF that has none and has
// something to say of it; step by step, as the addresses are listed (AddressList.h).
//
// Borrows the router and the feed.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "intfaddr/answer/Explanation.h"

namespace IntfAddr {

class ExplanationList {
public:
    // Of the filter's address, in its VRF and on its interface where it has them.
    ExplanationList(Routing::Router const& router, Netlink::Feed const& feed, Explainer explainer,
                    Filter filter);
    ExplanationList(ExplanationList const&) = delete;
    ExplanationList& operator=(ExplanationList const&) = delete;

    using Each = std::function<void(Explanation const&)>;
    // Returns whether there is more to do.
    bool step(Each const& each);

private:
    void walkBorrowers(L3::VrfName const& vrf);
    void tell(Explanation const& explanation);
    void tellAbsence(std::optional<L3::VrfName> const& vrf);

    Routing::Router const& router_;
    Explainer const explainer_;
    Filter const filter_;
    AddressList places_;
    std::vector<L3::VrfName> vrfs_;   // whose borrowers are to be told; the next is the last
    std::vector<L3::VrfName> asked_;  // whose absence is to be told; the next is the last
    Routing::Steps steps_;
    Each const* each_ = nullptr;
    std::set<L3::VrfName> told_;
    bool isAnythingTold_ = false;
    // Places that are not asked for, as far as one wants to read of them.
    std::vector<std::string> elsewhere_;
};

}  // namespace IntfAddr
