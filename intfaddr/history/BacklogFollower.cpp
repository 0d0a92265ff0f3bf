#include "intfaddr/history/BacklogFollower.h"

#include <utility>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Zin/Turn.h"

namespace IntfAddr {

void BacklogFollower::begin() {
    touchAll();
    isTelling_ = false;
    catchUp();
    isTelling_ = true;
}

void BacklogFollower::touchAll() {
    for (L3::VrfName const& vrf : router_.vrfs()) {
        touch(vrf);
    }
}

void BacklogFollower::handleRow(L3::VrfName const& vrf, Key const& key, bool present) {
    Zin::Seconds const now = router_.scheduler()->now();
    auto const known = known_.find(vrf);
    if (known == known_.end()) {
        return;
    }
    if (!present) {
        compareCleanup(vrf, {key.intfId, key.addrWithMask.family()}, now);
    } else if (known->second.deferred.has(key)) {
        known->second.deferred.del(key);
        observer_->handleDeferred(vrf, key, false, now);
        touch(vrf, key);
    }
}

void BacklogFollower::catchUp() {
    if (Zin::Turn::inProgress()) {
        return;  // what has touched something is not over
    }
    for (Touched const& touched : std::exchange(touched_, {})) {
        std::visit([&](auto const& what) { compare(touched, what); }, touched.what);
    }
    while (!due_.empty() && due_.front().at <= router_.scheduler()->now()) {
        Touched const touched = std::move(due_.front());
        due_.pop_front();
        compare(touched, std::get<IntfFamily>(touched.what));
    }
}

void BacklogFollower::note(L3::VrfName const& vrf, decltype(Touched::what) what) {
    touched_.push_back({.at = router_.scheduler()->now(), .vrf = vrf, .what = std::move(what)});
}

std::optional<BacklogFollower::Waiting> BacklogFollower::longestWaiting(
    L3::VrfName const& vrf) const {
    auto const known = known_.find(vrf);
    if (known == known_.end() || known->second.deferred.map().empty()) {
        return std::nullopt;
    }
    auto const first = known->second.deferred.map().begin();
    return Waiting{.key = (*first).key, .since = (*first).value};
}

Zin::Ptr<BacklogFollower::Deferred> BacklogFollower::deferredOf(L3::VrfName const& vrf) const {
    auto const sm = router_.tableSm(vrf);
    return sm ? sm->deferredIntfAddBacklog() : nullptr;
}

Zin::Ptr<BacklogFollower::Cleanups> BacklogFollower::cleanupsOf(L3::VrfName const& vrf) const {
    auto const sm = router_.tableSm(vrf);
    return sm ? sm->intfCleanupBacklog() : nullptr;
}

void BacklogFollower::compare(Touched const& touched, std::monostate) {
    std::vector<Key> keys;
    std::set<IntfFamily> cleanups = known_[touched.vrf].cleanups;
    for (auto const& member : known_[touched.vrf].deferred.map()) {
        keys.push_back(member.key);
    }
    if (auto const deferred = deferredOf(touched.vrf)) {
        for (auto const& member : deferred->backlog()) {
            keys.push_back(member.key);
        }
    }
    if (auto const pending = cleanupsOf(touched.vrf)) {
        for (auto const& member : pending->backlog()) {
            cleanups.insert(member.key);
        }
    }
    for (Key const& key : keys) {
        compare(touched, key);
    }
    for (IntfFamily const& whose : cleanups) {
        compareCleanup(touched.vrf, whose, touched.at);
    }
    if (!router_.tableSm(touched.vrf)) {
        known_.erase(touched.vrf);
    }
}

void BacklogFollower::compare(Touched const& touched, Key const& key) {
    auto const deferred = deferredOf(touched.vrf);
    auto& known = known_[touched.vrf].deferred;
    bool const waits = deferred && deferred->backlogHas(key);
    if (waits == known.has(key)) {
        return;
    }
    if (waits) {
        known.put(key, touched.at);
    } else {
        known.del(key);
    }
    if (isTelling_) {
        observer_->handleDeferred(touched.vrf, key, waits, touched.at);
    }
}

void BacklogFollower::compare(Touched const& touched, IntfFamily const& whose) {
    auto keys = known_[touched.vrf].deferred.index().keys(whose);
    if (auto const deferred = deferredOf(touched.vrf)) {
        auto const now = deferred->backlogKeysOf(whose);
        keys.insert(keys.end(), now.begin(), now.end());
    }
    for (Key const& key : keys) {
        compare(touched, key);
    }
    compareCleanup(touched.vrf, whose, touched.at);
}

void BacklogFollower::compareCleanup(L3::VrfName const& vrf, IntfFamily const& whose,
                                     Zin::Seconds at) {
    auto const cleanups = cleanupsOf(vrf);
    auto const pending = cleanups ? cleanups->getBacklog(whose.intfId, whose.af) : nullptr;
    auto& known = known_[vrf].cleanups;
    bool const changes = pending ? known.insert(whose).second : known.erase(whose) > 0;
    if (!changes) {
        return;
    }
    if (pending) {
        Zin::Seconds const due = pending->emplacementTime() + router_.config().intfCleanupDelay;
        due_.push_back({.at = due, .vrf = vrf, .what = whose});
    }
    if (isTelling_) {
        observer_->handleCleanup(vrf, whose, bool(pending), at);
    }
}

}  // namespace IntfAddr
