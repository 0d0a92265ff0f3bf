// What has happened lately to each address of each VRF, and to the interfaces.
//
//   in     events, as they happen; time does not matter to it
//   out    of an address: its events and those of the interfaces that they name, oldest first, and
//          since when nothing of either is missing
//
// Bounded, whatever the events are: an address or an interface keeps the last `perSubject` of them,
// and together they take no more than `bytes` of memory, with what the allocator adds. Beyond that,
// what nothing has happened to for the longest goes, whole: so a flapping address costs others
// nothing but the room for its last few events, and of what is left nothing is missing in between.
//
// An event takes 32 bytes, and up to as much again where there is room for the next ones; an
// address or an interface some 180 more.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <set>
#include <vector>

#include "L3/VrfName.h"
#include "intfaddr/history/AddressEvent.h"
#include "intfaddr/history/NamePool.h"

namespace IntfAddr {

class AddressHistory {
public:
    struct Options {
        std::size_t perSubject = 64;
        std::size_t bytes = std::size_t{8} * 1024 * 1024;
    };
    struct Past {
        std::vector<AddressEvent> events{};
        // All that came later is there: of the address itself, and of the interfaces.
        Zin::Seconds begins = 0.0;
        Zin::Seconds interfacesBegin = 0.0;
    };

    AddressHistory() : AddressHistory(Options()) {}
    explicit AddressHistory(Options const& options) : options_(options) {}
    AddressHistory(AddressHistory const&) = delete;
    AddressHistory& operator=(AddressHistory const&) = delete;

    // What was until then is not known of anybody.
    void beginsAt(Zin::Seconds time) { begins_ = time; }

    // To an address; of the event's interface, which is the subject.
    void add(L3::VrfName const& vrf, Nimb::IpGenAddr const& addr, AddressEvent const& event);
    void addOfInterface(L3::VrfName const& vrf, AddressEvent const& event);

    // With what happened to `interfaces` too, whatever the address's own events name. What is of
    // the other family is left out.
    Past of(L3::VrfName const& vrf, Nimb::IpGenAddr const& addr,
            std::vector<Nimb::IntfId> const& interfaces = {}) const;

    // Nothing is known of what was until then of those who have no events.
    Zin::Seconds begins() const { return begins_; }
    std::size_t bytes() const { return bytes_ + names_.bytes(); }

private:
    struct Packed {
        Zin::Seconds at;
        NamePool::Name intf;
        NamePool::Name detail;  // the holder, or why
        std::uint32_t number;   // of those of one time, the lesser came first
        AddressEvent::Kind kind;
        AddressEvent::Marks marks;
        std::uint8_t prefixLength;
    };
    // Whose events they are: an address's, or an interface's where that is not set.
    struct Key {
        NamePool::Name vrf;
        NamePool::Name intf;
        Nimb::IpGenAddr addr;

        friend auto operator<=>(Key const&, Key const&) = default;
    };
    struct Subject {
        Key key;
        std::vector<Packed> events;
        Zin::Seconds begins;
    };
    using Subjects = std::list<Subject>;
    struct ByKey {
        using is_transparent = void;
        bool operator()(Subjects::iterator a, Subjects::iterator b) const {
            return a->key < b->key;
        }
        bool operator()(Subjects::iterator a, Key const& b) const { return a->key < b; }
        bool operator()(Key const& a, Subjects::iterator b) const { return a < b->key; }
    };

    void add(Key key, AddressEvent const& event);
    Subjects::iterator findOrMake(Key key);
    Subject const* find(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                        Nimb::IpGenAddr const& addr) const;
    void dropOldest();
    Packed pack(AddressEvent const& event);
    static AddressEvent unpack(Packed const& packed);
    static std::size_t bytesOf(Subject const& subject);

    Options const options_;
    mutable NamePool names_;  // a look-up takes a name for its time
    Subjects subjects_;       // what something has happened to last, last
    std::set<Subjects::iterator, ByKey> byKey_;
    std::size_t bytes_ = 0;  // but for names
    std::uint32_t number_ = 0;
    Zin::Seconds begins_ = 0.0;
};

}  // namespace IntfAddr
