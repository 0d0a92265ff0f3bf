#include "intfaddr/history/AddressHistory.h"

#include <algorithm>
#include <string_view>
#include <tuple>
#include <utility>

#include "Zin/Format.h"

namespace IntfAddr {

namespace {

std::string detailOf(AddressEvent const& event) {
    return event.holder ? fmt::format("{} {}", event.holder->addrOrSubnet, event.holder->intfId)
                        : event.why;
}

}  // namespace

void AddressHistory::add(L3::VrfName const& vrf, Nimb::IpGenAddr const& addr,
                         AddressEvent const& event) {
    add(Key{.vrf = names_.name(vrf.bytes()), .intf = {}, .addr = addr}, event);
}

void AddressHistory::addOfInterface(L3::VrfName const& vrf, AddressEvent const& event) {
    add(Key{.vrf = names_.name(vrf.bytes()), .intf = names_.name(event.intf.name()), .addr = {}},
        event);
}

void AddressHistory::add(Key key, AddressEvent const& event) {
    Packed packed = pack(event);
    auto const subject = findOrMake(std::move(key));
    auto& events = subject->events;
    std::size_t const before = bytesOf(*subject);
    if (events.size() >= options_.perSubject) {
        subject->begins = std::max(subject->begins, events.front().at);
        events.erase(events.begin());
    }
    events.push_back(std::move(packed));
    bytes_ += bytesOf(*subject) - before;
    while (bytes() > options_.bytes) {
        dropOldest();
    }
}

AddressHistory::Subjects::iterator AddressHistory::findOrMake(Key key) {
    auto const found = byKey_.find(key);
    if (found != byKey_.end()) {
        subjects_.splice(subjects_.end(), subjects_, *found);
        return *found;
    }
    subjects_.push_back({.key = std::move(key), .events = {}, .begins = begins_});
    auto const made = std::prev(subjects_.end());
    try {
        byKey_.insert(made);
    } catch (...) {
        subjects_.erase(made);
        throw;
    }
    bytes_ += bytesOf(*made);
    return made;
}

void AddressHistory::dropOldest() {
    auto const oldest = subjects_.begin();
    for (Packed const& event : oldest->events) {
        begins_ = std::max(begins_, event.at);
    }
    bytes_ -= bytesOf(*oldest);
    byKey_.erase(oldest);
    subjects_.erase(oldest);
}

AddressHistory::Subject const* AddressHistory::find(L3::VrfName const& vrf,
                                                    Nimb::IntfId const& intf,
                                                    Nimb::IpGenAddr const& addr) const {
    auto vrfName = names_.find(vrf.bytes());
    auto intfName = names_.find(intf.name());
    if (!vrfName || !intfName) {
        return nullptr;
    }
    auto const found =
        byKey_.find(Key{.vrf = *std::move(vrfName), .intf = *std::move(intfName), .addr = addr});
    return found == byKey_.end() ? nullptr : &**found;
}

AddressHistory::Past AddressHistory::of(L3::VrfName const& vrf, Nimb::IpGenAddr const& addr,
                                        std::vector<Nimb::IntfId> const& interfaces) const {
    std::vector<Packed const*> found;
    Past past{.events = {}, .begins = begins_, .interfacesBegin = 0.0};
    std::set<Nimb::IntfId> named(interfaces.begin(), interfaces.end());
    if (auto const* const own = find(vrf, {}, addr)) {
        past.begins = own->begins;
        for (Packed const& event : own->events) {
            found.push_back(&event);
            named.insert(Nimb::IntfId(event.intf.text()));
        }
    }
    named.erase(Nimb::IntfId());
    for (Nimb::IntfId const& intf : named) {
        auto const* const its = find(vrf, intf, {});
        past.interfacesBegin = std::max(past.interfacesBegin, its ? its->begins : begins_);
        if (its) {
            for (Packed const& event : its->events) {
                if (!hasFamily(event.kind) ||
                    event.marks.ipv6 == (addr.family() == Nimb::AddressFamily::ipv6)) {
                    found.push_back(&event);
                }
            }
        }
    }
    std::ranges::sort(found, [](Packed const* a, Packed const* b) {
        return std::tuple(a->at, a->number) < std::tuple(b->at, b->number);
    });
    for (Packed const* const event : found) {
        past.events.push_back(unpack(*event));
    }
    return past;
}

AddressHistory::Packed AddressHistory::pack(AddressEvent const& event) {
    return {.at = event.at,
            .intf = names_.name(event.intf.name()),
            .detail = names_.name(detailOf(event)),
            .number = number_++,
            .kind = event.kind,
            .marks = event.marks,
            .prefixLength = event.prefixLength};
}

AddressEvent AddressHistory::unpack(Packed const& packed) {
    AddressEvent event{.at = packed.at,
                       .kind = packed.kind,
                       .marks = packed.marks,
                       .prefixLength = packed.prefixLength,
                       .intf = packed.intf.text()};
    auto const detail = packed.detail.text();
    if (event.kind != AddressEvent::Kind::deferred) {
        event.why = detail;
    } else if (auto const end = detail.find(' '); end != std::string_view::npos) {
        event.holder = Routing::Holder{Nimb::IpGenAddrWithMask(detail.substr(0, end)),
                                       Nimb::IntfId(detail.substr(end + 1))};
    }
    return event;
}

std::size_t AddressHistory::bytesOf(Subject const& subject) {
    constexpr std::size_t inList = 2 * sizeof(void*) + sizeof(Subject) + blockOverhead;
    constexpr std::size_t inSet = 4 * sizeof(void*) + sizeof(Subjects::iterator) + blockOverhead;
    return inList + inSet + blockOverhead + subject.events.capacity() * sizeof(Packed);
}

}  // namespace IntfAddr
