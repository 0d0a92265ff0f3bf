#include "intfaddr/answer/Watch.h"

#include <utility>

#include "Zin/Format.h"
#include "intfaddr/answer/AnswerJson.h"
#include "intfaddr/answer/EventId.h"

namespace IntfAddr {

Watch::Watch(ChangeLog& log, std::string agent, Filter filter, bool initial,
             std::optional<std::string> lastEventId)
    : log_(log),
      agent_(std::move(agent)),
      filter_(std::move(filter)),
      initial_(initial),
      lastEventId_(std::move(lastEventId)),
      reader_(log, [this] { wake(); }) {}

// What has changed comes before the walk goes on, which finds the rows as they are.
Body::Progress Watch::next(std::string& buffer) {
    buffer_ = &buffer;
    if (!position_) {
        begin();
    } else if (*position_ < log_.first()) {
        beginAnewBehind(*position_);
    } else if (*position_ < log_.end()) {
        tellChange(log_.at((*position_)++));
    } else if (walks_) {
        walk();
    } else {
        waits_ = true;
        return Progress::waits;
    }
    if (isIdOld()) {
        tellId();
        buffer += '\n';
    }
    return Progress::more;
}

void Watch::begin() {
    if (lastEventId_) {
        resume(*lastEventId_);
    } else {
        beginAt(log_.end(), initial_, {{"begin", initial_ ? "table" : "changes"}});
    }
}

void Watch::resume(std::string const& lastEventId) {
    try {
        EventId const last{std::string_view(lastEventId)};
        if (last.agent() != agent_) {
            beginAnew("the last event is another agent's");
        } else if (last.position() > log_.end()) {
            beginAnew("the last event has not been yet");
        } else if (last.position() < log_.first()) {
            beginAnewBehind(last.position());
        } else {
            beginAt(last.position(), false, {{"begin", "resumed"}});
        }
    } catch (Zin::ParseError const& error) {
        beginAnew(fmt::format("the last event's id cannot be read: {}", error.what()));
    }
}

void Watch::beginAt(std::uint64_t position, bool walks, Json const& how) {
    position_ = position;
    walks_ = walks;
    place_ = log_.beginning();
    tell(how);
}

void Watch::beginAnew(std::string const& why) {
    beginAt(log_.end(), true, {{"begin", "anew"}, {"why", why}});
}

void Watch::beginAnewBehind(std::uint64_t position) {
    beginAt(log_.end(), true,
            {{"begin", "anew"},
             {"why", "more has changed than is kept"},
             {"lost", log_.end() - position}});
}

void Watch::tellChange(ChangeLog::Change const& change) {
    if (!walks_ || log_.hasPassed(place_, change.row)) {
        tellRow(change.row, change.present);
    }
}

void Watch::walk() {
    if (place_) {
        log_.walk(place_, [this](ChangeLog::Row const& row) { tellRow(row, true); });
    } else {
        walks_ = false;
        tell({{"complete", true}});
    }
}

void Watch::tellRow(ChangeLog::Row const& row, bool present) {
    auto const& content = row.content;
    if ((!filter_.vrf || *filter_.vrf == row.vrf) &&
        filter_.admits(content.intfId, content.key.addr)) {
        tellEvent([&row, present](ObjectText& event) {
            writeRow(event, row.vrf, row.content);
            event.flag("present", present);
        });
    }
}

void Watch::tell(Json const& members) {
    tellEvent([&members](ObjectText& event) {
        for (auto const& member : members.items()) {
            event.json(member.key(), member.value());
        }
    });
}

template <class Write>
void Watch::tellEvent(Write const& writeMembers) {
    if (!walks_) {
        tellId();
    }
    *buffer_ += "data: ";
    ObjectText event(*buffer_);
    event.number("seq", *position_).text("agent", agent_);
    writeMembers(event);
    event.end();
    *buffer_ += "\n\n";
}

// A reader who is cut off finds most of the log still to come, not what it is just about to drop.
bool Watch::isIdOld() const { return !walks_ && *position_ - idPosition_ > log_.limit() / 8; }

void Watch::tellId() {
    *buffer_ += fmt::format("id: {}\n", EventId(agent_, *position_));
    idPosition_ = *position_;
}

void Watch::wake() {
    if (std::exchange(waits_, false)) {
        more_();
    }
}

}  // namespace IntfAddr
