// Keeps a copy of the agent's tables by the events of a watch, and finds each that cannot be right.
//
//   in     events as they come, over one connection after the other, each of which resumes behind
//          the last event that came with an id
//   out    the rows; a Contradiction where an event does not follow from those before it
//
//     nothing ──table──> walking ──complete──> whole ──resumed, a change──> whole
//                        ^     │ cut off         │
//                        '─────┴──────anew───────'
//
// A row that comes was not there, one that goes was. Changes are numbered without a gap, also over
// resumptions. The agent may say `anew` only where the copy is further behind than what it keeps.
// What was walked when a connection broke is void.
#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>

namespace Load {

using Rows = std::set<std::string>;

// "VRF ADDRESS/LENGTH INTERFACE", of an event or of an address of a list.
std::string rowOf(nlohmann::json const& json);

class Contradiction : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class Replica {
public:
    // How many changes the agent keeps.
    static constexpr std::uint64_t kept = 32 * 1024;

    void apply(nlohmann::json const& event);

    bool isWhole() const { return position_ && !walk_; }
    Rows const& rows() const { return rows_; }
    std::size_t resumptions() const { return resumptions_; }
    std::size_t anew() const { return anew_; }

private:
    // Rows that come, which are of no use before all of them are there.
    struct Walk {
        std::uint64_t position;
        Rows rows;
    };

    void begin(nlohmann::json const& event);
    void complete(std::uint64_t seq);
    void change(nlohmann::json const& event);

    std::optional<std::string> agent_;
    std::optional<std::uint64_t> position_;  // of the last change that is in the rows
    Rows rows_;
    std::optional<Walk> walk_;
    std::size_t resumptions_ = 0;
    std::size_t anew_ = 0;
};

}  // namespace Load
