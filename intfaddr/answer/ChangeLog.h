// The latest changes of the rows of all tables, in one log that any number of readers share, each
// with a position of his own in it; and the rows as the log's end leaves them, sorted.
//
//   in     the tables; the rows that come and go
//   out    changes, each with its position; the row that follows a given one
//
//     idle --step()--> looking --all seen--> whole
//
// Nothing is looked at, and nothing is kept, before the first reader comes. Then what stands is
// looked at step by step, while it may change; the log is whole, and holds changes, from then on.
// It stays so when the last reader has gone, since who has watched once will do so again.
//
// Each change is one to the rows before: a row that is there does not come again, whatever becomes
// of its table. The log holds the last `limit` changes, so who is slower falls out of it: his
// position is before first(). That and the rows are all that is kept, whatever readers do.
//
// Borrows the router, outside whose operations its readers read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <optional>
#include <set>
#include <vector>

#include "router/Router.h"
#include "router/Steps.h"
#include "router/repair/TableFollower.h"

namespace IntfAddr {

class ChangeLog final : private Routing::TableFollower::Notifiee {
public:
    static constexpr std::size_t defaultLimit = 32 * 1024;

    struct Row {
        L3::VrfName vrf;
        IpLib::IntfAddrEntryContent content;

        friend bool operator<(Row const& a, Row const& b) {
            return a.vrf == b.vrf ? a.content < b.content : Routing::VrfOrder()(a.vrf, b.vrf);
        }
    };
    struct Change {
        Row row;
        bool present;
    };
    // Somebody who is told, while it lives, that there is something to be read. He only notes it.
    class Reader {
    public:
        Reader(ChangeLog& log, std::function<void()> more);
        ~Reader();
        Reader(Reader const&) = delete;
        Reader& operator=(Reader const&) = delete;

    private:
        ChangeLog& log_;
        std::list<std::function<void()>>::iterator const place_;
    };

    ChangeLog(Routing::Router const& router, Zin::Ptr<Routing::TableFollower const> follower,
              std::size_t limit = defaultLimit);
    ChangeLog(ChangeLog const&) = delete;
    ChangeLog& operator=(ChangeLog const&) = delete;

    // Before it is whole, readers take steps instead of changes.
    bool isWhole() const { return isWhole_; }
    void step();

    // The positions of the changes that it holds are those from first() to before end().
    std::uint64_t first() const { return first_; }
    std::uint64_t end() const { return first_ + changes_.size(); }
    Change const& at(std::uint64_t position) const {
        return changes_[static_cast<std::size_t>(position - first_)];
    }

    // The first one where none is given; null where there is no more.
    Row const* rowAfter(std::optional<Row> const& row) const;
    std::size_t readers() const { return readers_.size(); }

private:
    void handleReplacement(L3::VrfName const& vrf, Routing::TableDifference const&) override;
    void handleRow(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& content,
                   bool present) override;
    void walk(L3::VrfName const& vrf);
    void put(Change change);

    Routing::Router const& router_;
    Zin::Ptr<Routing::TableFollower const> const follower_;
    std::size_t const limit_;
    bool hasBegun_ = false;
    bool isWhole_ = false;
    // To be looked at still.
    std::vector<L3::VrfName> vrfs_;
    Routing::Steps steps_;
    std::set<Row> rows_;
    std::deque<Change> changes_;
    std::uint64_t first_ = 0;
    std::list<std::function<void()>> readers_;
};

}  // namespace IntfAddr
