// Tells one reader of the changes of the tables as they happen, or of the tables as they stand and
// then of their changes; of what a filter admits. A stream of server-sent events (WHATWG HTML,
// "server-sent events"), each one JSON object, that a client whose connection broke may resume:
//
//   data: {"seq":17,"agent":A,"begin":"table"}            the table as it stands follows
//   data: {"seq":17,"agent":A,"vrf":...,"present":true}   a row stands, or has come
//   data: {"seq":17,"agent":A,"complete":true}            all that stands has been told
//
//   data: {"seq":18,"agent":A,"vrf":...,"present":false}  a row has gone
//   id: A.18
//
// `seq` is how many changes the agent's log had by then, whatever the reader's filter; that of a
// change is its number. `agent` is another one each time that an agent starts. Both together are
// the event's id (EventId.h).
//
//     begin "table", "anew" ──> walking ──complete──> following <── begin "changes", "resumed"
//              ^                   │                      │
//              '───too slow────────┴──────────────────────'
//
// A reader who names the last id that he had is told what changed since, each change once. Where
// that cannot be, what he knows is void, and he is told why and begins anew; so is one who reads so
// slowly that the log does not hold any more what he is to be told next. `lost` is how many changes
// that makes, where it is known.
//
// While rows are walked there are no ids, for half a walk cannot be resumed: who is cut off there
// comes again with what he had before, which is refused again. Where a filter admits little there
// are events of an id alone, so that the reader's last id stays in the log.
//
// A replica applies each event without error: a row that comes was not there, one that goes was.
// While the rows are walked, in the log's order, a change to one that the walk has passed is told,
// and one to a row before which it stands is not: the walk will find that as it is by then. So
// nothing is kept of a reader but three positions.
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
    static constexpr char const* contentType = "text/event-stream";

    // `lastEventId` is what a stranger sent.
    Watch(ChangeLog& log, std::string agent, Filter filter, bool initial,
          std::optional<std::string> lastEventId);

    Progress next(std::string& buffer) override;
    void onMore(std::function<void()> more) override { more_ = std::move(more); }

private:
    void begin();
    void resume(std::string const& lastEventId);
    void beginAt(std::uint64_t position, bool walks, Json const& how);
    void beginAnew(std::string const& why);
    void beginAnewBehind(std::uint64_t position);
    void tellChange(ChangeLog::Change const& change);
    void walk();
    void tellRow(ChangeLog::Row const& row, bool present);
    void tell(Json const& members);
    template <class Write>
    void tellEvent(Write const& writeMembers);
    bool isIdOld() const;
    void tellId();
    void wake();

    ChangeLog& log_;
    std::string const agent_;
    Filter const filter_;
    bool const initial_;
    std::optional<std::string> const lastEventId_;
    std::function<void()> more_ = [] {};
    bool waits_ = false;

    std::string* buffer_ = nullptr;
    std::optional<std::uint64_t> position_;  // none before it has begun
    std::uint64_t idPosition_ = 0;           // of the last id that was told
    bool walks_ = false;
    std::optional<ChangeLog::Place> place_;  // of the walk; none at its end
    ChangeLog::Reader const reader_;
};

}  // namespace IntfAddr
