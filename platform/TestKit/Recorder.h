// What observers are told, written down in the order in which they are told it.
//
// Recorder<N> watches an entity of type N and adds a line to a list of events for each
// notification: the attribute, the key, and what the observer finds under it at that moment.
// Several recorders may share one list, which then shows the order among their entities too.
//
//     TestKit::Events events;
//     TestKit::Recorder<Ip::IpIntfStatus> const recorder(status, events);
//     status->activeAddrWithMaskIs(addr);
//     EXPECT_THAT(events, ElementsAre("activeAddrWithMask 10.0.0.1/24"));
//
// A type gets its recorder by a specialisation that derives from RecorderOf<N>.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Zin/Format.h"
#include "Zin/Notifiee.h"

namespace TestKit {

// In the order in which they were told.
using Events = std::vector<std::string>;

// Writes down what an entity of type N tells.
template <class N>
class Recorder;

// What all recorders have in common.
template <class N>
class RecorderOf : public N::Notifiee {
public:
    // Borrows `events`.
    RecorderOf(Zin::Ptr<N const> notifier, Events& events) : events_(events) {
        this->notifierIs(std::move(notifier));
    }

protected:
    // For the recorder of a type: the value of an attribute, or the key of a member and whether it
    // is there.
    template <class Value>
    void record(std::string_view attribute, Value const& value) {
        events_.push_back(fmt::format("{} {}", attribute, value));
    }
    template <class Key>
    void record(std::string_view attribute, Key const& key, bool present) {
        events_.push_back(fmt::format("{} {} {}", attribute, key, present ? "present" : "absent"));
    }

private:
    Events& events_;
};

}  // namespace TestKit
