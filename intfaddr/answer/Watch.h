// Tells one reader of the changes of the tables as they happen, or of the tables as they stand and
// then of their changes; of what a filter admits. One JSON object a line:
//
//   {"seq":1,"agent":A,"begin":"table"}             or "changes": nothing is missed from here on
//   {"seq":2,"agent":A,"vrf":...,"present":true}    a row has come, or stands; false: it has gone
//   {"seq":3,"agent":A,"complete":true}             all that stands has been told
//   {"seq":4,"agent":A,"lost":70}                   he was too slow for that many changes
//   {"seq":5,"agent":A,"begin":"anew"}              what he knows is void: the table follows
//
// `seq` counts the lines of the reader, whatever his filter. `agent` is another one each time that
// an agent starts.
//
//     begin "table", "anew" ──> walking ──complete──> following <── begin "changes"
//              ^                   │                      │
//              '───────lost────────┴──────────────────────'
//
// A replica applies each line without error: a row that comes was not there, one that goes was.
// While the rows are walked, in the log's order, a change to one that the walk has passed is told,
// and one to a row before which it stands is not: the walk will find that as it is by then. So
// nothing is kept of a reader but two positions.
//
// Borrows the log.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "intfaddr/answer/ChangeLog.h"
#include "intfaddr/answer/Document.h"
#include "intfaddr/answer/Filter.h"

namespace IntfAddr {

class Watch final : public Body {
public:
    Watch(ChangeLog& log, std::string agent, Filter filter, bool initial);

    Progress next(std::string& buffer) override;
    void onMore(std::function<void()> more) override { more_ = std::move(more); }

private:
    void begin(char const* what, bool walks);
    void beginAnew();
    void tellChange(ChangeLog::Change const& change);
    void walk();
    void tellRow(ChangeLog::Row const& row, bool present);
    void tell(Json const& fields);
    void wake();

    ChangeLog& log_;
    std::string const agent_;
    Filter const filter_;
    bool const initial_;
    std::function<void()> more_ = [] {};
    bool waits_ = false;

    std::string* buffer_ = nullptr;
    std::uint64_t lines_ = 0;
    std::optional<std::uint64_t> position_;  // none before it has begun
    bool walks_ = false;
    std::optional<ChangeLog::Place> place_;  // of the walk; none at its end
    ChangeLog::Reader const reader_;
};

}  // namespace IntfAddr
