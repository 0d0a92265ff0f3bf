// Why an address is there, or is not: one sentence that answers, the reasons behind it, and what
// has happened lately.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "intfaddr/answer/AddressList.h"
#include "intfaddr/answer/Document.h"
#include "intfaddr/history/HistoryRecorder.h"

namespace IntfAddr {

enum class Verdict {
    owned,
    leaving,    // its row stands until its interface is cleaned up
    waiting,    // behind another one
    noDevice,   // it is published, and the kernel does not have its interface
    borrowed,   // by an unnumbered interface; the lender has it
    tentative,  // duplicate address detection still runs
    duplicate,  // somebody else on the link has it
    repeated,   // its interface has it already, with another peer or prefix length
    leftOut,    // by the configuration
    refused,    // no table takes it
    missing,    // nothing is in its way, and the table lacks it: an audit will find that
    connected,  // nobody has it, and an interface is connected to its subnet
    none,
    notKnown,  // what could have it cannot be read
};

std::string_view toStrep(Verdict verdict);

struct Explanation {
    // Nothing where no VRF has anything to say.
    std::optional<L3::VrfName> vrf{};
    Nimb::IntfId intf{};  // empty: on none
    Verdict verdict = Verdict::none;
    std::string sentence{};
    std::vector<std::string> reasons{};
    // In seconds since the agent began; nothing where it is not remembered.
    std::optional<Zin::Seconds> since{};
    // Oldest first.
    std::vector<AddressEvent> events{};
};

Json jsonOf(Explanation const& explanation);

// What an agent remembers. Outlives whoever asks it.
struct Memory {
    HistoryRecorder const& recorder;
    // In seconds since the agent began. The router's clock stands still while nothing happens.
    std::function<Zin::Seconds()> now;
};

// Explains one address, from what is there at the moment.
class Explainer {
public:
    // VRFs and others that cannot be trusted, and why.
    using Unknown = std::map<std::string, std::string>;

    // Borrows the router. Without memory nothing is said of times.
    Explainer(Routing::Router const& router, std::optional<Memory> memory, Unknown unknown);

    // Of one place where it is.
    Explanation ofPlace(ListedAddress const& address) const;
    Explanation ofBorrower(L3::VrfName const& vrf, Ip::IpIntfStatus const& borrower) const;

    // Where it has no place: in the VRF, on the interface, if one is given.
    Explanation ofAbsence(std::optional<L3::VrfName> const& vrf, Nimb::IntfId const& intf,
                          Nimb::IpGenAddr const& addr) const;

private:
    using Key = IpLib::IntfAddrWithMaskKey;

    void explainRow(ListedAddress const& address, Explanation& told) const;
    void explainLeaving(ListedAddress const& address, Explanation& told) const;
    void explainWaiting(ListedAddress const& address, Explanation& told) const;
    void explainNoDevice(ListedAddress const& address, Explanation& told) const;
    void explainLeftOut(ListedAddress const& address, Explanation& told) const;
    void explainUnpublished(ListedAddress const& address, Explanation& told) const;

    Explanation begun(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                      Nimb::IpGenAddr const& addr) const;
    // What is said of any place.
    Explanation ended(Explanation told) const;
    void tellOfRebuild(Explanation& told) const;
    void tellOfNextTry(L3::VrfName const& vrf, Explanation& told) const;
    void tellWhenSeen(Zin::Seconds begins, Explanation& told) const;

    std::string roleOf(L3::VrfName const& vrf, Key const& key) const;
    // When the clean-up was requested; nothing where none was.
    std::optional<Zin::Seconds> cleanupOf(L3::VrfName const& vrf,
                                          IpLib::IntfFamily const& whose) const;
    std::string cleanupIn(Zin::Seconds requested) const;
    std::optional<std::string> whyUnknown(std::optional<L3::VrfName> const& vrf) const;
    std::string ago(Zin::Seconds at) const;
    std::string forSince(Explanation const& told) const;
    Zin::Seconds now() const { return memory_ ? memory_->now() : router_.scheduler()->now(); }

    Routing::Router const& router_;
    std::optional<Memory> const memory_;
    Unknown const unknown_;
};

}  // namespace IntfAddr
