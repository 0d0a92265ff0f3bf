#include "intfaddr/answer/Watch.h"

#include <utility>

#include "intfaddr/answer/AnswerJson.h"

namespace IntfAddr {

Watch::Watch(ChangeLog& log, std::string agent, Filter filter, bool initial)
    : log_(log),
      agent_(std::move(agent)),
      filter_(std::move(filter)),
      initial_(initial),
      reader_(log, [this] { wake(); }) {}

// What has changed comes before the walk goes on, which finds the rows as they are.
Body::Progress Watch::next(std::string& buffer) {
    buffer_ = &buffer;
    if (!position_) {
        begin(initial_ ? "table" : "changes", initial_);
    } else if (*position_ < log_.first()) {
        beginAnew();
    } else if (*position_ < log_.end()) {
        tellChange(log_.at((*position_)++));
    } else if (walks_) {
        walk();
    } else {
        waits_ = true;
        return Progress::waits;
    }
    return Progress::more;
}

void Watch::begin(char const* what, bool walks) {
    position_ = log_.end();
    walks_ = walks;
    place_ = log_.beginning();
    tell({{"begin", what}});
}

void Watch::beginAnew() {
    tell({{"lost", log_.end() - *position_}});
    begin("anew", true);
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
        Json json = jsonOf(row.vrf, content);
        json["present"] = present;
        tell(json);
    }
}

void Watch::tell(Json const& fields) {
    Json line{{"seq", ++lines_}, {"agent", agent_}};
    line.update(fields);
    *buffer_ += toLine(line) + "\n";
}

void Watch::wake() {
    if (std::exchange(waits_, false)) {
        more_();
    }
}

}  // namespace IntfAddr
