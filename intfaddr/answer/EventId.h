// What an event of a watch (Watch.h) is known by, so that a client may say which one he had last:
// the agent that told it, and how many changes of its tables were told by then. A value, one word:
//
//   AGENT.POSITION      "18f3a2b4c-2f1.17"
//
// AGENT is of letters, digits and '-'; POSITION is a number as it is printed. Clients send what
// they like: another text throws Zin::ParseError.
#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

#include "Zin/Text.h"

namespace IntfAddr {

class EventId : public Zin::TextValue<EventId> {
public:
    EventId(std::string agent, std::uint64_t position);
    explicit EventId(std::string_view text);

    std::string const& agent() const { return agent_; }
    std::uint64_t position() const { return position_; }
    std::string text() const;

    friend auto operator<=>(EventId const&, EventId const&) = default;

private:
    std::string agent_;
    std::uint64_t position_;
};

}  // namespace IntfAddr
