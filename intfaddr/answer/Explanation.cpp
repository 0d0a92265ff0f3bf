#include "intfaddr/answer/Explanation.h"

#include <algorithm>
#include <array>
#include <tuple>
#include <utility>

#include "IpLib/IntfAddrVrfTableSm/AddressPlacement.h"
#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "IpLib/IntfAddrVrfTableSm/Place.h"
#include "Zin/Format.h"

namespace IntfAddr {

namespace {

using Kind = AddressEvent::Kind;

std::string inVrf(L3::VrfName const& vrf) { return fmt::format("VRF '{}'", vrf); }

std::string lasting(Zin::Seconds duration) {
    return fmt::format("{:.1f} s", std::max(duration, 0.0));
}

bool isOfInterface(AddressEvent const& event) { return event.kind >= Kind::statusCame; }

// The last of those events; null where there is none.
template <class Is>
AddressEvent const* lastOf(std::vector<AddressEvent> const& events, Is const& is) {
    auto const found = std::find_if(events.rbegin(), events.rend(), is);
    return found == events.rend() ? nullptr : &*found;
}

auto isKind(Kind kind) {
    return [kind](AddressEvent const& event) { return event.kind == kind; };
}

IpLib::IntfAddrEntryContent rowOf(ListedAddress const& address) {
    using namespace IpLib::IntfAddrVrfTableImpl;
    return address.virtualIp
               ? AddressPlacement::virtualRow(address.addr.address())
               : IpLib::IntfAddrVrfTableImpl::Place({address.intf, address.addr}).content;
}

}  // namespace

std::string_view toStrep(Verdict verdict) {
    static constexpr std::array<std::string_view, 14> names{
        "owned",    "leaving",  "waiting", "no-device", "borrowed",  "tentative", "duplicate",
        "repeated", "left-out", "refused", "missing",   "connected", "none",      "not-known"};
    return names.at(static_cast<std::size_t>(verdict));
}

Json jsonOf(Explanation const& explanation) {
    Json json;
    json["vrf"] = explanation.vrf ? Json(explanation.vrf->text()) : Json(nullptr);
    json["interface"] = explanation.intf.empty() ? Json(nullptr) : Json(explanation.intf.name());
    json["verdict"] = toStrep(explanation.verdict);
    json["sentence"] = explanation.sentence;
    json["reasons"] = explanation.reasons;
    if (explanation.since) {
        json["since"] = *explanation.since;
    }
    json["events"] = Json::array();
    for (AddressEvent const& event : explanation.events) {
        json["events"].push_back({{"at", event.at}, {"text", textOf(event)}});
    }
    return json;
}

Explainer::Explainer(Routing::Router const& router, std::optional<Memory> memory, Unknown unknown)
    : router_(router), memory_(std::move(memory)), unknown_(std::move(unknown)) {}

Explanation Explainer::ofPlace(ListedAddress const& address) const {
    auto told = begun(address.vrf, address.intf, address.addr.address());
    switch (address.place) {
        case Place::table:
            explainRow(address, told);
            break;
        case Place::waiting:
            explainWaiting(address, told);
            break;
        case Place::noDevice:
            explainNoDevice(address, told);
            break;
        case Place::leftOut:
            if (address.left) {
                explainLeftOut(address, told);
            } else {
                explainUnpublished(address, told);
            }
            break;
    }
    return ended(std::move(told));
}

Explanation Explainer::ofBorrower(L3::VrfName const& vrf, Ip::IpIntfStatus const& borrower) const {
    auto const addr = Nimb::IpGenAddrWithMask(borrower.activeAddrWithMask());
    auto const& lender = borrower.unnumberedIntfId();
    auto told = begun(vrf, borrower.intfId(), addr.address());
    told.verdict = Verdict::borrowed;
    told.sentence = fmt::format("{} of {} is unnumbered: it borrows {} from {}.", told.intf,
                                inVrf(vrf), addr, lender);
    told.reasons.push_back(fmt::format(
        "A borrowed address has no row of its own: what {} publishes of it stands for both.",
        lender));
    return ended(std::move(told));
}

Explanation Explainer::ofAbsence(std::optional<L3::VrfName> const& vrf, Nimb::IntfId const& intf,
                                 Nimb::IpGenAddr const& addr) const {
    auto told = vrf ? begun(*vrf, intf, addr) : Explanation{.intf = intf};
    auto const where = vrf ? inVrf(*vrf) : std::string("any VRF");
    if (auto const why = whyUnknown(vrf)) {
        told.verdict = Verdict::notKnown;
        told.sentence = fmt::format("Whether {} of {} has {} is not known.",
                                    intf.empty() ? "an interface" : intf.toStrep(), where, addr);
        told.reasons.push_back(*why + ".");
    } else {
        told.sentence = intf.empty() ? fmt::format("No interface of {} has {}.", where, addr)
                                     : fmt::format("{} of {} has no {}.", intf, where, addr);
    }
    auto const table = vrf ? router_.tables()->intfAddrVrfTable(*vrf) : nullptr;
    if (auto const set = table ? Routing::connectedSubnet(*table, addr) : nullptr) {
        told.verdict = told.verdict == Verdict::none ? Verdict::connected : told.verdict;
        told.reasons.push_back(
            fmt::format("It is in {}, which is connected to {}.", set->subnet(), set->intfId()));
    }
    if (memory_) {
        auto const& history = memory_->recorder.history();
        tellWhenSeen(vrf ? history.of(*vrf, addr).begins : history.begins(), told);
    }
    return told;
}

Explanation Explainer::begun(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                             Nimb::IpGenAddr const& addr) const {
    Explanation told{.vrf = vrf, .intf = intf};
    if (memory_) {
        told.events = memory_->recorder.history().of(vrf, addr, {intf}).events;
        std::erase_if(told.events,
                      [&intf](auto const& event) { return !intf.empty() && event.intf != intf; });
    }
    return told;
}

Explanation Explainer::ended(Explanation told) const {
    tellOfRebuild(told);
    if (auto const why = whyUnknown(told.vrf)) {
        told.reasons.push_back(fmt::format("This is as it was seen last: {}.", *why));
    }
    return told;
}

void Explainer::explainRow(ListedAddress const& address, Explanation& told) const {
    auto const& [vrf, intf, addr] = std::tie(address.vrf, address.intf, address.addr);
    auto const isPublished = address.state != AddressState::invalid;
    if (!address.virtualIp && (!isPublished || cleanupOf(vrf, {intf, addr.family()}))) {
        return explainLeaving(address, told);
    }
    told.verdict = Verdict::owned;
    if (memory_) {
        told.since = memory_->recorder.since().of(vrf, rowOf(address));
    }
    if (address.virtualIp) {
        told.sentence = fmt::format("{} is a virtual address of {}{}.", addr.address(), inVrf(vrf),
                                    forSince(told));
        told.reasons.emplace_back(
            "It is published as one: it is on no interface, and in nobody's way.");
        return;
    }
    told.sentence = fmt::format("{} is owned by {} of {}, as {}{}.", addr, intf, inVrf(vrf),
                                roleOf(vrf, {intf, addr}), forSince(told));
    if (addr.isV6LinkLocal()) {
        told.reasons.push_back(fmt::format(
            "Of the link-local addresses of {} it came first, and a table has one of them.", intf));
    } else if (*router_.published(vrf).deprecated({intf, addr})) {
        told.reasons.push_back(
            fmt::format("It is deprecated: it has its row, and does not keep others out of {}.",
                        addr.prefix()));
    } else {
        told.reasons.push_back(
            fmt::format("{} publishes it, and has its subnet {} too.", intf, addr.prefix()));
    }
    if (address.state == AddressState::inaccessible) {
        told.reasons.push_back(
            fmt::format("The device of {} is down, which takes no row away.", intf));
    }
}

void Explainer::explainLeaving(ListedAddress const& address, Explanation& told) const {
    auto const& [vrf, intf, addr] = std::tie(address.vrf, address.intf, address.addr);
    auto const cleanup = cleanupOf(vrf, {intf, addr.family()});
    told.verdict = Verdict::leaving;
    told.sentence = fmt::format("{} is still owned by {} of {}{}.", addr, intf, inVrf(vrf),
                                cleanup ? ", until it is cleaned up " + cleanupIn(*cleanup) : "");
    if (cleanup) {
        told.since = memory_ ? cleanup : std::nullopt;
        auto const published = router_.published(vrf);
        auto const what = published.hasDevice(intf)
                              ? fmt::format("The {} status of {}", toStrep(addr.family()), intf)
                              : fmt::format("The device of {}", intf);
        told.reasons.push_back(fmt::format("{} has gone, {} ago.", what, ago(*cleanup)));
        told.reasons.push_back(
            fmt::format("Rows stand {} longer than that, so that a short flap disturbs nobody.",
                        lasting(router_.config().intfCleanupDelay)));
    } else {
        told.reasons.push_back(fmt::format(
            "{} does not publish it any more, and nothing is to take its row away: an audit of "
            "the table will find that.",
            intf));
    }
}

void Explainer::explainWaiting(ListedAddress const& address, Explanation& told) const {
    auto const& [vrf, intf, addr] = std::tie(address.vrf, address.intf, address.addr);
    told.verdict = Verdict::waiting;
    auto const* const deferred =
        lastOf(told.events, [length = addr.prefixLength()](AddressEvent const& event) {
            return event.kind == Kind::deferred && event.prefixLength == length;
        });
    told.since = deferred ? std::optional(deferred->at) : std::nullopt;
    if (!address.holder) {
        told.sentence = fmt::format("{} of {} waits on {}, for its next try alone{}.", addr,
                                    inVrf(vrf), intf, forSince(told));
        told.reasons.emplace_back("Nobody is in its way any more.");
        return tellOfNextTry(vrf, told);
    }
    auto const& [what, holder, isSubnet] = *address.holder;
    if (isSubnet) {
        told.sentence = fmt::format("{} of {} waits on {}, behind {}, which is connected to {}{}.",
                                    addr, inVrf(vrf), intf, what.prefix(), holder, forSince(told));
        told.reasons.push_back(fmt::format("A subnet is of one interface, and {} was in {} first.",
                                           holder, what.prefix()));
    } else {
        told.sentence = fmt::format("{} of {} waits on {}, behind {} on {}{}.", addr, inVrf(vrf),
                                    intf, what, holder, forSince(told));
        told.reasons.push_back(
            holder != intf
                ? fmt::format("An address is of one interface, and {} had it first.", holder)
            : addr.isV6LinkLocal()
                ? fmt::format("A table has one link-local address of an interface, and {} came "
                              "first.",
                              what.address())
                : fmt::format("{} has it with another prefix length still.", intf));
    }
    if (auto const cleanup = cleanupOf(vrf, {holder, addr.family()})) {
        told.reasons.push_back(
            fmt::format("What {} has is cleaned up {}.", holder, cleanupIn(*cleanup)));
    }
    told.reasons.push_back(
        isSubnet ? fmt::format("It can come once {} has no address in {} any more, but deprecated "
                               "ones.",
                               holder, what.prefix())
                 : fmt::format("It can come once {} has left {}.", what, holder));
    tellOfNextTry(vrf, told);
}

void Explainer::tellOfNextTry(L3::VrfName const& vrf, Explanation& told) const {
    auto const& trying = router_.tableSm(vrf)->deferredIntfAddSm();
    auto const& task = trying->task();
    told.reasons.push_back(
        memory_ && task->taskScheduled()
            ? fmt::format("The next try is in {}.", lasting(task->currentExpirationTime() - now()))
            : fmt::format("It is tried again {} after a row has left the table.",
                          lasting(router_.config().deferredIntfAddDelay)));
}

void Explainer::explainNoDevice(ListedAddress const& address, Explanation& told) const {
    auto const& intf = address.intf;
    told.verdict = Verdict::noDevice;
    auto const* const went = lastOf(told.events, isKind(Kind::deviceWent));
    told.since = went ? std::optional(went->at) : std::nullopt;
    told.sentence = fmt::format("{} is published on {} of {}, for which the kernel has no device.",
                                address.addr, intf, inVrf(address.vrf));
    if (went) {
        told.reasons.push_back(fmt::format("The device of {} went {} ago.", intf, ago(went->at)));
    } else if (memory_) {
        auto const past =
            memory_->recorder.history().of(address.vrf, address.addr.address(), {intf});
        told.reasons.push_back(fmt::format("{} has had no device since the history begins, {} ago.",
                                           intf, ago(past.interfacesBegin)));
    }
    told.reasons.emplace_back("It comes into the table when the device does.");
}

void Explainer::explainLeftOut(ListedAddress const& address, Explanation& told) const {
    auto const& [vrf, intf, addr] = std::tie(address.vrf, address.intf, address.addr);
    auto const lastTold = [&](auto const& is) {
        auto const* const event = lastOf(told.events, is);
        told.since = event ? std::optional(event->at) : std::nullopt;
    };
    switch (*address.left) {
        case Netlink::Place::tentative:
            told.verdict = Verdict::tentative;
            lastTold([](auto const& event) { return event.marks.tentative; });
            told.sentence = fmt::format("{} is tentative on {} of {}{}.", addr, intf, inVrf(vrf),
                                        forSince(told));
            told.reasons.emplace_back(
                "Duplicate address detection has not ended, and it is published when that has "
                "found nobody else with it.");
            break;
        case Netlink::Place::duplicate:
            told.verdict = Verdict::duplicate;
            lastTold([](auto const& event) { return event.marks.duplicate; });
            told.sentence =
                fmt::format("{} is a duplicate on {} of {}: its detection failed{}.", addr, intf,
                            inVrf(vrf), told.since ? fmt::format(" {} ago", ago(*told.since)) : "");
            told.reasons.emplace_back(
                "Somebody else on the link has it, so that it is not published.");
            break;
        case Netlink::Place::repeated:
            told.verdict = Verdict::repeated;
            told.sentence = fmt::format("{} is on {} of {} already, with another peer.", addr, intf,
                                        inVrf(vrf));
            told.reasons.emplace_back("Whatever its peers, a table has an address once.");
            break;
        default:
            told.verdict = Verdict::leftOut;
            told.sentence =
                fmt::format("{} is left out, with all that {} of {} has.", addr, intf, inVrf(vrf));
            told.reasons.emplace_back("The configuration leaves interfaces of that name out.");
    }
}

void Explainer::explainUnpublished(ListedAddress const& address, Explanation& told) const {
    auto const& [vrf, intf, addr] = std::tie(address.vrf, address.intf, address.addr);
    if (address.lack == Lack::refused) {
        told.verdict = Verdict::refused;
        told.sentence =
            fmt::format("{} is refused on {} of {}: it is deprecated.", addr, intf, inVrf(vrf));
        told.reasons.emplace_back(
            "A table cannot carry that of a link-local address, and has it when it is preferred "
            "again.");
    } else if (address.lack == Lack::repeated) {
        auto const linkLocal = router_.table(vrf)->llIntfAddrEntryFromIntfId(intf);
        told.verdict = Verdict::repeated;
        told.sentence = fmt::format("{} is on {} of {} already, with prefix length {}.", addr, intf,
                                    inVrf(vrf), linkLocal->subnet().prefixLength());
        told.reasons.emplace_back(
            "Whatever its prefix length, a link-local address is one address.");
    } else {
        told.verdict = Verdict::missing;
        told.sentence = fmt::format("{} is published on {} of {}, and missing in the table.", addr,
                                    intf, inVrf(vrf));
        told.reasons.emplace_back(
            "Nothing keeps it out. An audit finds what stays so, and has the table rebuilt.");
    }
}

void Explainer::tellOfRebuild(Explanation& told) const {
    auto const& events = told.events;
    auto const rebuilt = std::find_if(events.rbegin(), events.rend(), isKind(Kind::rebuilt));
    if (rebuilt == events.rend()) {
        return;
    }
    // The row was told of before the rebuild was.
    auto const row = std::find_if(rebuilt, events.rend(), [](AddressEvent const& event) {
        return event.kind == Kind::admitted || event.kind == Kind::left;
    });
    bool const isLost = row != events.rend() && row->kind == Kind::left;
    told.reasons.push_back(fmt::format("A rebuild of the table {} it {} ago: {}.",
                                       isLost ? "took" : "brought", ago(rebuilt->at),
                                       rebuilt->why));
    if (isLost && told.verdict == Verdict::owned) {
        told.reasons.push_back(fmt::format("It is back{}.", forSince(told)));
    }
}

void Explainer::tellWhenSeen(Zin::Seconds begins, Explanation& told) const {
    auto const& events = told.events;
    auto const* gone = lastOf(events, isKind(Kind::left));
    gone = gone ? gone : lastOf(events, [](auto const& one) { return !isOfInterface(one); });
    if (!gone) {
        told.reasons.push_back(
            fmt::format("It has not been seen since the history begins, {} ago.", ago(begins)));
        return;
    }
    told.since = gone->at;
    told.reasons.push_back(fmt::format("It {} {} ago.", textOf(*gone), ago(gone->at)));
    std::vector<AddressEvent> const before(events.data(), gone);
    auto const* const cause = lastOf(before, [](auto const& event) {
        return event.kind == Kind::withdrawn || event.kind == Kind::statusWent ||
               event.kind == Kind::deviceWent;
    });
    if (cause) {
        told.reasons.push_back(fmt::format("Before, {} {} {} ago.",
                                           isOfInterface(*cause) ? "its interface's" : "it",
                                           textOf(*cause), ago(cause->at)));
    }
    tellOfRebuild(told);
}

std::string Explainer::roleOf(L3::VrfName const& vrf, Key const& key) const {
    auto const published = router_.published(vrf);
    if (key.isV6LinkLocal()) {
        return "its link-local address";
    }
    if (key.addrWithMask.family() == Nimb::AddressFamily::ipv6) {
        return *published.deprecated(key) ? "a deprecated IPv6 address" : "an IPv6 address";
    }
    auto const status = published.ipStatus()->ipIntfStatus(key.intfId);
    bool const isPrimary =
        Routing::Published::hasPrimary(*status) &&
        Nimb::IpGenAddrWithMask(status->activeAddrWithMask()) == key.addrWithMask;
    return isPrimary ? "its primary address" : "a secondary address";
}

std::optional<Zin::Seconds> Explainer::cleanupOf(L3::VrfName const& vrf,
                                                 IpLib::IntfFamily const& whose) const {
    auto const machine = router_.tableSm(vrf);
    auto const backlog = machine ? machine->intfCleanupBacklog() : nullptr;
    auto const requested = backlog ? backlog->getBacklog(whose.intfId, whose.af) : nullptr;
    return requested ? std::optional(requested->emplacementTime()) : std::nullopt;
}

std::string Explainer::cleanupIn(Zin::Seconds requested) const {
    return "in " + lasting(requested + router_.config().intfCleanupDelay - now());
}

std::optional<std::string> Explainer::whyUnknown(std::optional<L3::VrfName> const& vrf) const {
    if (!vrf) {
        std::string all;
        for (auto const& [what, why] : unknown_) {
            all += fmt::format("{}{}: {}", all.empty() ? "" : "; ", what, why);
        }
        return all.empty() ? std::nullopt : std::optional(all);
    }
    for (auto const& what : {inVrf(*vrf), std::string("the agent")}) {
        if (auto const found = unknown_.find(what); found != unknown_.end()) {
            return found->second;
        }
    }
    return std::nullopt;
}

std::string Explainer::ago(Zin::Seconds at) const { return lasting(now() - at); }

std::string Explainer::forSince(Explanation const& told) const {
    return told.since ? fmt::format(", for {} now", ago(*told.since)) : "";
}

}  // namespace IntfAddr
