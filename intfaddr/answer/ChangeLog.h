// The latest changes of the rows of all tables, in one log that any number of readers share, each
// with a position of his own in it; and the rows as they stand, in an order that lets a reader who
// walks them say of any row whether he has passed it.
//
//   in     the tables; the rows that come and go
//   out    changes, each with its position; the rows, some few at a time
//
// Nothing is kept before the first reader comes. The log holds the last `limit` changes, so who is
// slower falls out of it: his position is before first(). That is all that is kept, whatever
// readers do: rows are walked in their tables, VRF by VRF, and in one in the order of their hashes.
//
// A reader who walks reads all changes first: then the tables are as the end of the log leaves
// them.
//
// Borrows the router, outside whose operations its readers read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <optional>

#include "router/Router.h"
#include "router/repair/TableFollower.h"

namespace IntfAddr {

class ChangeLog final : private Routing::TableFollower::Notifiee {
public:
    static constexpr std::size_t defaultLimit = 32 * 1024;

    struct Row {
        L3::VrfName vrf;
        IpLib::IntfAddrEntryContent content;
    };
    struct Change {
        Row row;
        bool present;
    };
    // Where a walk is.
    struct Place {
        L3::VrfName vrf;
        std::uint64_t hash = 0;
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

    std::size_t limit() const { return limit_; }
    // The positions of the changes that it holds are those from first() to before end().
    std::uint64_t first() const { return first_; }
    std::uint64_t end() const { return first_ + changes_.size(); }
    Change const& at(std::uint64_t position) const {
        return changes_[static_cast<std::size_t>(position - first_)];
    }

    // Where a walk begins; nothing where there are no tables, as behind the last of them.
    std::optional<Place> beginning() const { return beginOf(nullptr); }
    // Calls `each` with the rows that stand there, none or some few, and goes on behind them.
    void walk(std::optional<Place>& place, std::function<void(Row const&)> const& each) const;
    // Whether a walk that is there has passed the row, or the place where it would stand.
    bool hasPassed(std::optional<Place> const& place, Row const& row) const;

    std::size_t readers() const { return readers_.size(); }

private:
    void handleRow(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& content,
                   bool present) override;
    // Of the table behind that VRF's.
    std::optional<Place> beginOf(L3::VrfName const* behind) const;

    Routing::Router const& router_;
    Zin::Ptr<Routing::TableFollower const> const follower_;
    std::size_t const limit_;
    // All tables have their rows in the same order of hashes.
    Zin::Ptr<IpLib::IntfAddrVrfTable const> const anyTable_ = IpLib::intfAddrVrfTableFactory();
    std::deque<Change> changes_;
    std::uint64_t first_ = 0;
    std::list<std::function<void()>> readers_;
};

}  // namespace IntfAddr
