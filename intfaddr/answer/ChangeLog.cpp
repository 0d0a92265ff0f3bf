#include "intfaddr/answer/ChangeLog.h"

#include <utility>

namespace IntfAddr {

ChangeLog::Reader::Reader(ChangeLog& log, std::function<void()> more)
    : log_(log), place_(log.readers_.insert(log.readers_.end(), std::move(more))) {
    log_.notifierIs(log_.follower_);
}

ChangeLog::Reader::~Reader() { log_.readers_.erase(place_); }

ChangeLog::ChangeLog(Routing::Router const& router, Zin::Ptr<Routing::TableFollower const> follower,
                     std::size_t limit)
    : router_(router), follower_(std::move(follower)), limit_(limit) {}

std::optional<ChangeLog::Place> ChangeLog::beginOf(L3::VrfName const* behind) const {
    for (auto const& vrf : router_.vrfs()) {
        if (!behind || Routing::VrfOrder()(*behind, vrf)) {
            return Place{.vrf = vrf};
        }
    }
    return std::nullopt;
}

void ChangeLog::walk(std::optional<Place>& place,
                     std::function<void(Row const&)> const& each) const {
    auto& [vrf, hash] = *place;
    auto const table = router_.tables()->intfAddrVrfTable(vrf);
    if (table && hash < table->intfAddrEntry().scanEnd) {
        hash = table->intfAddrEntry().scan(hash, [&each, &vrf = vrf](auto const& member) {
            each({vrf, member.key});
        });
    } else {
        place = beginOf(&vrf);
    }
}

bool ChangeLog::hasPassed(std::optional<Place> const& place, Row const& row) const {
    if (!place) {
        return true;
    }
    return row.vrf == place->vrf ? anyTable_->intfAddrEntry().hashOf(row.content) < place->hash
                                 : Routing::VrfOrder()(row.vrf, place->vrf);
}

void ChangeLog::handleRow(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& content,
                          bool present) {
    changes_.push_back({.row = {.vrf = vrf, .content = content}, .present = present});
    if (changes_.size() > limit_) {
        changes_.pop_front();
        ++first_;
    }
    for (auto const& more : readers_) {
        more();
    }
}

}  // namespace IntfAddr
