// Walks: iterators of collections that may change, or go away, while somebody walks through them.
//
// A walk is the iterator that a collection's begin() returns; the collection keeps a list of its
// live walks (Walks) and tells them what leaves. A walk stands
//
//   on a member;
//   in a gap: the member it stood on has left. Going on leads to the member that followed. In a gap
//     that nothing follows the walk equals its end, and may still go on once;
//   at its end, where going on is a mistake that stops the process, as is reading a member anywhere
//     but on one.
//
// So a loop that always goes on (range-for does) may remove any member, the one it stands on
// included, and clear or destroy the collection. Members that are added behind the place where the
// walk stands are reached.
//
// A collection offers to Walk, as a friend: `Position`, `Member`, what it shows of a member
// (`Shown`, `ShownConst`: a reference, or a view by value), `nowhere()`, `after(position)` (the
// first position after nowhere(), nowhere() after the last) and `memberAt(position)`.
#pragma once

#include <cstddef>
#include <iterator>
#include <type_traits>
#include <utility>

#include "Zin/Fail.h"

namespace Zin {

// The live walks of one collection; a plain intrusive list, so a walk costs no allocation.
// Internal to the collections.
template <class Position>
class Walks {
public:
    class Place;

    Walks() = default;
    Walks(Walks const&) = delete;
    Walks& operator=(Walks const&) = delete;
    // What still walks is then at its end.
    ~Walks() {
        while (first_ != nullptr) {
            first_->toGap({});
            first_->leaveList();
        }
    }

    bool any() const noexcept { return first_ != nullptr; }

    // The member at `gone` is about to leave; `gap` is the position that is left there, which leads
    // to the member that follows.
    void handleGone(Position const& gone, Position const& gap) {
        for (Place* place = first_; place != nullptr; place = place->next_) {
            if (place->at_ == gone) {
                place->toGap(gap);
            }
        }
    }

    // All members are about to leave; `gapOf(position)` is what is left where one stood.
    template <class GapOf>
    void handleAllGone(GapOf const& gapOf) {
        for (Place* place = first_; place != nullptr; place = place->next_) {
            place->toGap(gapOf(place->at_));
        }
    }

private:
    Place* first_ = nullptr;
};

// Where one walk stands: on the member at `at_`, in a gap that `at_` stands for, or at the end.
template <class Position>
class Walks<Position>::Place {
protected:
    // What a walk stands on.
    enum class Stand : unsigned char { onMember, inGap, atEnd };

    Place() = default;
    Place(Walks& walks, Position const& at, Stand stand) : at_(at), stand_(stand) {
        joinList(&walks.first_);
    }
    Place(Place const& that) : at_(that.at_), stand_(that.stand_) { joinBeside(that); }
    Place& operator=(Place const& that) {
        if (this != &that) {
            leaveList();
            at_ = that.at_;
            stand_ = that.stand_;
            joinBeside(that);
        }
        return *this;
    }
    ~Place() { leaveList(); }

    // Whether the collection still exists.
    bool attached() const noexcept { return link_ != nullptr; }

    Position at_{};
    Stand stand_ = Stand::atEnd;

private:
    friend class Walks;

    void toGap(Position gap) {  // copied as a whole, or not at all
        at_ = std::move(gap);
        if (stand_ == Stand::onMember) {
            stand_ = Stand::inGap;
        }
    }
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
// The list does hold the address of a local walk, and loses it when the walk is destroyed.
#pragma GCC diagnostic ignored "-Wdangling-pointer"
#endif
    void joinList(Place** link) noexcept {
        next_ = *link;
        link_ = link;
        *link = this;
        if (next_ != nullptr) {
            next_->link_ = &next_;
        }
    }
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif
    void joinBeside(Place const& that) noexcept {
        if (that.attached()) {
            joinList(that.link_);
        }
    }
    void leaveList() noexcept {
        if (attached()) {
            *link_ = next_;
            if (next_ != nullptr) {
                next_->link_ = link_;
            }
            link_ = nullptr;
        }
    }

    Place* next_ = nullptr;
    Place** link_ = nullptr;  // what points to this place: the list's head or a place's next_
};

// Collection is const where the walk only reads.
template <class Collection>
class Walk : private Walks<typename Collection::Position>::Place {
    using Position = typename Collection::Position;
    using Place = typename Walks<Position>::Place;
    using Stand = typename Place::Stand;

public:
    // What the standard library asks of iterators.
    using iterator_category = std::forward_iterator_tag;
    using value_type = typename Collection::Member;
    using difference_type = std::ptrdiff_t;
    using reference =
        std::conditional_t<std::is_const_v<Collection>, typename Collection::ShownConst,
                           typename Collection::Shown>;
    // A view is pointed at by itself.
    using pointer = std::conditional_t<std::is_reference_v<reference>,
                                       std::remove_reference_t<reference>*, reference>;

    // The end of every collection.
    Walk() = default;
    Walk(Collection& collection, Position const& at)
        : Place(collection.walks_, at, at == collection.nowhere() ? Stand::atEnd : Stand::onMember),
          collection_(&collection) {}

    // The member that it stands on, which must be one.
    reference operator*() const { return collection_->memberAt(position()); }
    pointer operator->() const {
        if constexpr (std::is_reference_v<reference>) {
            return &**this;
        } else {
            return **this;
        }
    }

    // Goes on; not from the end.
    Walk& operator++() {
        if (this->stand_ == Stand::atEnd) {
            fail({.className = "Walk",
                  .condition = "iter_",
                  .function = "operator++",
                  .message = "a walk goes on past its end"});
        }
        Position const next = following();
        this->at_ = next;
        this->stand_ = isNowhere(next) ? Stand::atEnd : Stand::onMember;
        return *this;
    }
    Walk operator++(int) {
        Walk before = *this;
        ++*this;
        return before;
    }

    friend bool operator==(Walk const& walk, std::default_sentinel_t) {
        return walk.stand_ != Stand::onMember &&
               (walk.stand_ == Stand::atEnd || walk.isNowhere(walk.following()));
    }

    friend bool operator==(Walk const& a, Walk const& b) {
        if (a == std::default_sentinel || b == std::default_sentinel) {
            return a == std::default_sentinel && b == std::default_sentinel;
        }
        if (a.stand_ != b.stand_) {
            return false;
        }
        return a.stand_ == Stand::onMember ? a.at_ == b.at_ : a.following() == b.following();
    }

    // Where the member stands that the walk is on; for the collection's use.
    Position const& position() const {
        if (this->stand_ != Stand::onMember) {
            fail({.className = "Walk",
                  .condition = "iter_",
                  .function = "position",
                  .message = "a walk reads a member where it stands on none"});
        }
        return this->at_;
    }

private:
    Position following() const {
        return this->attached() ? collection_->after(this->at_) : Position{};
    }
    bool isNowhere(Position const& position) const {
        return !this->attached() || position == collection_->nowhere();
    }

    Collection* collection_ = nullptr;
};

}  // namespace Zin
