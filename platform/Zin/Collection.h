// A keyed collection attribute of an entity: the map, the telling of its changes, and an index that
// cannot disagree with it. An entity's named operations (x, xHas, xIs, xDel, xDelAll) are one-line
// forwarders to this.
//
//     Zin::HashCollection<&Notifiee::handleIntfAddrEntry, IntfAddrEntryContent,
//                         Zin::Ptr<IntfAddrEntry>> intfAddrEntry_{*this, salt};
//
// A change is made first, in whole, and then told with the key of the member; it is told before the
// mutator returns. Where it cannot be made (memory, copying a key), neither map nor index changes,
// and nobody is told. A value that leaves the collection goes after its leaving has been told: in
// the mutator's turn, unless that returns it (see Zin/Turn.h).
//
// Mutators have a copy of the key: what the caller's belongs to may go while the change is told.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>
#include <vector>

#include "Zin/Attribute.h"
#include "Zin/Errors.h"
#include "Zin/HashKey.h"
#include "Zin/HashMap2018.h"
#include "Zin/RbTreeMap.h"
#include "Zin/Turn.h"

namespace Zin {

// Tells the owner's observers that the member under a key has changed.
template <auto Handler>
class Teller {
    using Owner = typename HandlerOf<decltype(Handler)>::Owner;

public:
    explicit Teller(Owner& owner) : owner_(owner) {}
    // What a Collection asks: whether anybody observes the owner, what keeps the owner alive, and
    // to tell.
    bool observed() const { return !owner_.notifieeList().empty(); }
    Ptr<Owner const> owner() const { return Ptr<Owner const>(&owner_); }
    template <class Key>
    void tell(Key const& key) const {
        owner_.notifieeList().notify(owner_, Handler, key);
    }

private:
    Owner& owner_;
};

// Of a collection that nobody can observe.
struct Untold {
    // As a Teller's.
    static bool observed() { return false; }
    static std::nullptr_t owner() { return nullptr; }
    template <class Key>
    static void tell(Key const&) {}
};

// What a Collection asks of its index, which does nothing here.
struct NoIndex {
    // The map that members are kept in.
    template <class Map>
    using MapOf = Map;

    // The index of that map.
    template <class Map>
    struct Of {
        explicit Of(Map const&) {}
        // A member has come, is about to go, or to get another value; all are about to go.
        template <class Place>
        static void add(Place const&) {}
        template <class Place>
        static void remove(Place const&) {}
        template <class Place, class Value>
        static void replace(Place const&, Value const&) {}
        static void clear() {}
    };
};

template <class Tell, class PlainMap, class IndexKind = NoIndex>
class Collection {
public:
    // What the members are kept in and found by, and the type of their keys.
    using Map = typename IndexKind::template MapOf<PlainMap>;
    using Index = typename IndexKind::template Of<Map>;
    using Key = std::remove_cvref_t<decltype(std::declval<typename Map::Member const&>().key)>;

    // `args` make the map.
    template <class... MapArgs>
    explicit Collection(Tell tell, MapArgs&&... args)
        : tell_(tell), map_(std::forward<MapArgs>(args)...) {}

    // Queries. Walking the map while its collection changes is fine (see Zin/Walk.h).
    Map const& map() const { return map_; }
    Index const& index() const { return index_; }
    bool has(Key const& key) const { return map_.contains(key); }
    // How often a member has come, gone or got another value.
    std::uint32_t writes() const { return writes_; }
    // The value under the key; null, or the default value, where there is none.
    auto operator()(Key const& key) const {
        auto const* const value = map_.find(key);
        return value ? *value : std::remove_cvref_t<decltype(*value)>();
    }

    // Entities built from a value: the member under the key, made by `makeValue()` if there is none
    // yet. What puts one there while another is being made is heeded: the one there stays.
    template <class MakeValue>
    auto findOrMake(Key const key, MakeValue&& makeValue) {
        auto const hashed = map_.hashed(key);
        if (auto const* const value = map_.findHashed(hashed)) {
            return *value;
        }
        auto value = makeValue();
        {
            Turn const turn;
            auto const [place, inserted] = map_.enterHashed(hashed, value);
            if (inserted) {
                addToIndex(key, place);
                tell_.tell(key);
            } else {
                value = map_.valueAt(place);
            }
        }
        return value;
    }

    // Pointers whose key is derived from the member: inserts or replaces, and tells in any case.
    template <class Value>
    void put(Key const key, Value value) {
        Turn const turn;
        putOrSet<true>(key, std::move(value));
    }

    // Values, and pointers under an explicit key: inserts or replaces what is another value.
    template <class Value>
    void set(Key const key, Value value) {
        Turn const turn;
        putOrSet<false>(key, std::move(value));
    }

    // Pointers under an explicit key, where null stands for none.
    template <class Pointer>
    void setOrRemove(Key const& key, Pointer pointer) {
        Turn const turn;
        if (pointer) {
            set(key, std::move(pointer));
        } else {
            del(key);
        }
    }

    // Keys alone.
    void insert(Key const key) {
        auto const [place, inserted] = map_.enter(key);
        if (inserted) {
            addToIndex(key, place);
            tell_.tell(key);
        }
    }

    // Returns what was removed, the key where there are keys alone; null, or the default value,
    // where there was nothing.
    auto del(Key key) {
        bool found = false;
        auto const leave = [&](auto const& place) {
            index_.remove(place);
            found = true;
            ++writes_;
        };
        if constexpr (requires { map_.take(key); }) {
            auto value = map_.take(key, leave);
            if (found) {
                tell_.tell(key);
            }
            return value;
        } else {
            map_.erase(key, leave);
            if (!found) {
                return Key();
            }
            tell_.tell(key);
            return key;
        }
    }

    // Removes every member that is there now: in one step where nobody observes the owner, else one
    // at a time, each told.
    void delAll() {
        Turn turn;
        if (!tell_.observed()) {
            writes_ += map_.size();
            index_.clear();
            map_.clear();
            return;
        }
        // The collection stays until the last member has gone, whatever its observers do.
        [[maybe_unused]] auto const alive = tell_.owner();
        std::vector<Key> keys;
        keys.reserve(map_.size());
        for (auto const& member : map_) {
            keys.push_back(member.key);
        }
        for (Key& key : keys) {
            turn.run([&] { del(std::move(key)); });
        }
    }

private:
    template <bool alsoWhatIsTheSame, class Value>
    void putOrSet(Key const& key, Value value) {
        auto const [place, inserted] = map_.enter(key, value);
        if (inserted) {
            addToIndex(key, place);
        } else {
            auto& present = map_.valueAt(place);
            if (!alsoWhatIsTheSame && present == value) {
                return;
            }
            index_.replace(place, value);
            std::swap(present, value);
            ++writes_;
        }
        tell_.tell(key);
    }

    // Of a member that is new in the map; failing that, takes it out of the map.
    template <class Place>
    void addToIndex(Key const& key, Place const& place) {
        try {
            index_.add(place);
            ++writes_;
        } catch (...) {
            map_.erase(key);
            throw;
        }
    }

    Tell tell_;
    std::uint32_t writes_ = 0;
    Map map_;
    [[no_unique_address]] Index index_{map_};
};

// `KeyOf` gives the key of a value, if the map is to read it there (see Zin/MapMember.h).
template <auto Handler, class Key, class Value, class Index = NoIndex, class KeyOf = void>
class HashCollection
    : public Collection<Teller<Handler>, HashMap2018<Key, Value, KeyHash<Key>, KeyOf>, Index> {
public:
    // `salt` is the collection's own: it is mixed into the process-wide hash seed.
    HashCollection(typename HandlerOf<decltype(Handler)>::Owner& owner, std::uint32_t salt)
        : HashCollection::Collection(Teller<Handler>(owner), hashSeed() ^ salt) {}
};

// Walked in the order of its keys. `KeyOf` as above.
template <auto Handler, class Key, class Value, class KeyOf = void>
class OrderedCollection : public Collection<Teller<Handler>, RbTreeMap<Key, Value, KeyOf>> {
public:
    explicit OrderedCollection(typename HandlerOf<decltype(Handler)>::Owner& owner)
        : OrderedCollection::Collection(Teller<Handler>(owner)) {}
};

// Throws the null mutator-argument error for `attribute` if the pointer is null.
template <class Pointer>
Pointer notNull(std::string_view attribute, Pointer pointer) {
    if (!pointer) {
        throw NullArgumentError(attribute);
    }
    return pointer;
}

}  // namespace Zin
