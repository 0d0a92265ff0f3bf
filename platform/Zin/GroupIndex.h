// An index of a Collection: its keys by a group that each member belongs to, such as the rows of
// one interface. It is part of the collection and written by the collection's own mutators, so the
// two cannot disagree: a change that throws (memory, a copy of a key) leaves both as they were.
//
// The members of a group are threaded through the map: each keeps the places of its neighbours.
//
//     struct InterfaceOf {
//         IntfAndFamily operator()(IntfAddrEntryKey const&, Zin::Ptr<IntfAddrEntry const> const&);
//     };
//     Zin::HashCollection<..., Zin::GroupIndex<InterfaceOf, IntfAndFamily, IntfAddrEntryKey>>
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "Zin/HashKey.h"
#include "Zin/HashMap2018.h"

namespace Zin {

template <class GroupOf, class Group, class Key>
class GroupIndex {
    // The neighbours of a member in its group; 0 for none.
    struct Links {
        Slot previous = 0;
        Slot next = 0;
    };

public:
    // For the collection alone: its map, whose members have links.
    template <class Map>
    using MapOf = typename Map::template Keeping<Links>;

    // The index of such a map, which the collection gives as index().
    template <class Map>
    class Of {
    public:
        explicit Of(Map const& map) : map_(map) {}

        // The keys of the group as they stand now, in the order in which they joined it: a copy,
        // which the caller may walk while it changes the collection.
        std::vector<Key> keys(Group const& group) const {
            std::vector<Key> keys;
            if (auto const* const ends = groups_.find(group)) {
                keys.reserve(ends->size);
                for (Slot slot = ends->first; slot != 0; slot = map_.keptAt(slot).next) {
                    keys.push_back(map_.memberAt(slot).key);
                }
            }
            return keys;
        }

        // For the collection alone: a member has come, is about to go, or to get another value.
        void add(Slot slot) { join(groups_.emplace(groupOf(slot)).value, slot); }
        void remove(Slot slot) { leave(groupOf(slot), slot); }
        // Within its group the key keeps its place.
        template <class Value>
        void replace(Slot slot, Value const& value) {
            Group const from = groupOf(slot);
            Group const to = GroupOf()(map_.memberAt(slot).key, value);
            if (!(from == to)) {
                Ends& ends = groups_.emplace(to).value;
                leave(from, slot);
                join(ends, slot);
            }
        }
        void clear() { groups_.clear(); }

    protected:
        Map const& map_;  // the collection's

    private:
        struct Ends {
            Slot first = 0;
            Slot last = 0;
            std::uint32_t size = 0;
        };

        Group groupOf(Slot slot) const {
            auto const& member = map_.memberAt(slot);
            if constexpr (requires { member.value; }) {
                return GroupOf()(member.key, member.value);
            } else {
                return GroupOf()(member.key);
            }
        }
        void join(Ends& ends, Slot slot) {
            map_.keptAt(slot) = {ends.last, 0};
            (ends.last == 0 ? ends.first : map_.keptAt(ends.last).next) = slot;
            ends.last = slot;
            ++ends.size;
        }
        void leave(Group const& group, Slot slot) {
            Ends& ends = *groups_.find(group);
            Links const links = map_.keptAt(slot);
            (links.previous == 0 ? ends.first : map_.keptAt(links.previous).next) = links.next;
            (links.next == 0 ? ends.last : map_.keptAt(links.next).previous) = links.previous;
            if (--ends.size == 0) {
                groups_.erase(group);
            }
        }

        static constexpr std::uint32_t groupSalt = 0x6d0f3b57;

        HashMap2018<Group, Ends> groups_{hashSeed() ^ groupSalt};
    };
};

}  // namespace Zin
