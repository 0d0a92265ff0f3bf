#include "intfaddr/answer/ChangeLog.h"

#include <utility>

namespace IntfAddr {

ChangeLog::Reader::Reader(ChangeLog& log, std::function<void()> more)
    : log_(log), place_(log.readers_.insert(log.readers_.end(), std::move(more))) {}

ChangeLog::Reader::~Reader() { log_.readers_.erase(place_); }

ChangeLog::ChangeLog(Routing::Router const& router, Zin::Ptr<Routing::TableFollower const> follower,
                     std::size_t limit)
    : router_(router), follower_(std::move(follower)), limit_(limit) {}

void ChangeLog::step() {
    if (!std::exchange(hasBegun_, true)) {
        notifierIs(follower_);
        vrfs_ = router_.vrfs();
    }
    if (steps_.step()) {
        return;
    }
    if (vrfs_.empty()) {
        isWhole_ = true;
    } else {
        L3::VrfName const vrf = vrfs_.back();
        vrfs_.pop_back();
        walk(vrf);
    }
}

ChangeLog::Row const* ChangeLog::rowAfter(std::optional<Row> const& row) const {
    auto const found = row ? rows_.upper_bound(*row) : rows_.begin();
    return found == rows_.end() ? nullptr : &*found;
}

// What both tables have is not told.
void ChangeLog::handleReplacement(L3::VrfName const& vrf, Routing::TableDifference const&) {
    if (!isWhole_) {
        vrfs_.push_back(vrf);
    }
}

void ChangeLog::handleRow(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& content,
                          bool present) {
    Row const row{.vrf = vrf, .content = content};
    bool const isNews = present ? rows_.insert(row).second : rows_.erase(row) > 0;
    if (isNews && isWhole_) {
        put({.row = row, .present = present});
    }
}

// The table may have been replaced since the walk began.
void ChangeLog::walk(L3::VrfName const& vrf) {
    if (auto const table = router_.tables()->intfAddrVrfTable(vrf)) {
        steps_.walkPresent(table, table->intfAddrEntry(), [this, vrf](auto const& member) {
            auto const current = router_.tables()->intfAddrVrfTable(vrf);
            if (current && current->intfAddrEntryHas(member.key)) {
                rows_.insert({.vrf = vrf, .content = member.key});
            }
        });
    }
}

void ChangeLog::put(Change change) {
    changes_.push_back(std::move(change));
    if (changes_.size() > limit_) {
        changes_.pop_front();
        ++first_;
    }
    for (auto const& more : readers_) {
        more();
    }
}

}  // namespace IntfAddr
