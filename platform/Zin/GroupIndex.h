// An index of a Collection: its keys by a group that each member belongs to, such as the rows of
// one interface. It is part of the collection and written by the collection's own mutators, so the
// two cannot disagree: a change that throws (memory, a copy of a key) leaves both as they were.
//
//     struct InterfaceOf {
//         IntfAndFamily operator()(IntfAddrEntryKey const&, Zin::Ptr<IntfAddrEntry const> const&);
//     };
//     Zin::HashCollection<..., Zin::GroupIndex<InterfaceOf, IntfAndFamily, IntfAddrEntryKey>>
#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "Zin/HashKey.h"
#include "Zin/HashMap2018.h"

namespace Zin {

template <class GroupOf, class Group, class Key>
class GroupIndex {
public:
    // The keys of the group as they stand now, in the order in which they joined it: a copy, which
    // the caller may walk while it changes the collection.
    std::vector<Key> keys(Group const& group) const {
        std::vector<Key> keys;
        if (auto const* const members = groups_.find(group)) {
            keys.reserve((*members)->size());
            for (auto const& member : **members) {
                keys.push_back(member.key);
            }
        }
        return keys;
    }

    // For the collection alone; `member` is the key and, where there is one, the value.
    template <class... Value>
    void add(Key const& key, Value const&... value) {
        join(GroupOf()(key, value...), key);
    }
    template <class... Value>
    void remove(Key const& key, Value const&... value) {
        leave(GroupOf()(key, value...), key);
    }
    // The member gets another value; within its group the key keeps its place.
    template <class Value>
    void replace(Key const& key, Value const& former, Value const& value) {
        Group const from = GroupOf()(key, former);
        Group const to = GroupOf()(key, value);
        if (!(from == to)) {
            join(to, key);
            leave(from, key);
        }
    }
    void clear() { groups_.clear(); }

private:
    using Keys = HashSet2018<Key>;

    void join(Group const& group, Key const& key) {
        if (auto* const members = groups_.find(group)) {
            (*members)->insert(key);
        } else {
            auto first = std::make_unique<Keys>(hashSeed() ^ keySalt);
            first->insert(key);
            groups_.emplace(group, std::move(first));
        }
    }
    void leave(Group const& group, Key const& key) {
        auto& members = **groups_.find(group);
        members.erase(key);
        if (members.empty()) {
            groups_.erase(group);
        }
    }

    static constexpr std::uint32_t groupSalt = 0x6d0f3b57;
    static constexpr std::uint32_t keySalt = 0x1c9e24a3;

    HashMap2018<Group, std::unique_ptr<Keys>> groups_{hashSeed() ^ groupSalt};
};

}  // namespace Zin
