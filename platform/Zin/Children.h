// The machines that another machine owns, by key. A child that is replaced or removed is retired at
// once (see Entity), its successor being there already; so are the children of an owner that goes
// away. The map is whole whenever a child's teardown looks at it.
#pragma once

#include <cstdint>
#include <utility>

#include "Zin/HashKey.h"
#include "Zin/HashMap2018.h"
#include "Zin/Ptr.h"
#include "Zin/Turn.h"

namespace Zin {

template <class Key, class T>
class Children {
public:
    // `salt` is the collection's own: it is mixed into the process-wide hash seed.
    explicit Children(std::uint32_t salt) : children_(hashSeed() ^ salt) {}
    Children(Children const&) = delete;
    Children& operator=(Children const&) = delete;
    ~Children() {
        Turn::runInDestructor([this] { delAll(); });
    }

    // Walking it while children come and go is fine (see Zin/Walk.h).
    HashMap2018<Key, Ptr<T>> const& map() const { return children_; }
    // The child under the key; null if there is none.
    Ptr<T> operator()(Key const& key) const {
        auto const* const child = children_.find(key);
        return child ? *child : nullptr;
    }

    // The same child changes nothing; another one takes its place; null removes it.
    void is(Key const& key, Ptr<T> child) {
        Turn const turn;
        if (!child) {
            del(key);
            return;
        }
        auto const [present, inserted] = children_.emplace(key, child);
        if (!inserted && present != child) {
            Ptr<T> const old = std::exchange(present, std::move(child));
            old->retire();
        }
    }

    // Makes a child under a key that has none. It is in the map before it initialises itself, so
    // that whoever looks for it meanwhile finds it, and may remove it.
    template <class... Args>
    Ptr<T> make(Key const& key, Args&&... args) {
        Ptr<T> child = Ptr<T>::adopt(new T(std::forward<Args>(args)...));
        children_.emplace(key, child);
        child->initialize();
        return child;
    }

    // Returns the child that was removed, retired; null if there was none.
    Ptr<T> del(Key const& key) {
        Ptr<T> child = children_.take(key);
        if (child) {
            child->retire();
        }
        return child;
    }

    // In the order in which they came.
    void delAll() {
        Turn turn;
        for (auto const& member : children_) {
            Key const key = member.key;
            turn.run([&] { del(key); });
        }
    }

private:
    HashMap2018<Key, Ptr<T>> children_;
};

}  // namespace Zin
