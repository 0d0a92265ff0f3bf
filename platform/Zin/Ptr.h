// Zin::Ptr<T>: a pointer that co-owns the entity it points at. Null by default. One word.
//
// Dropping the last pointer tears the entity down (see Entity), and never throws: what fails in
// that teardown within a turn leaves with the turn. Outside of any turn nobody can be told, which
// ends the process (Zin::failUnthrown), save for an error while an exception is on its way, which
// is counted and traced as the turn's others are. Who wants to be told drops the pointer inside a
// Zin::Turn, or retires the entity first.
//
// Following a null pointer is a mistake: an assertion that names the type in debug builds.
#pragma once

#include <concepts>
#include <cstddef>
#include <string_view>
#include <utility>

#include "Zin/Entity.h"
#include "Zin/Turn.h"

namespace Zin {

namespace Detail {
// `function` is the text of a function of Ptr<T>, from which it takes T's name.
[[noreturn]] void failNull(std::string_view function);
}  // namespace Detail

template <class T>
class Ptr {
public:
    // Null.
    constexpr Ptr() noexcept = default;
    constexpr Ptr(std::nullptr_t) noexcept {}
    // Co-owns the entity from now on, or is null where that is.
    explicit Ptr(T* entity) noexcept : entity_(entity) { add(); }
    Ptr(Ptr const& other) noexcept : entity_(other.entity_) { add(); }
    Ptr(Ptr&& other) noexcept : entity_(std::exchange(other.entity_, nullptr)) {}
    // Of a type that converts to T, such as one derived from it, or T where this is const.
    template <class U>
    requires std::convertible_to<U*, T*> Ptr(Ptr<U> const& other)
    noexcept : entity_(other.get()) { add(); }
    template <class U>
    requires std::convertible_to<U*, T*> Ptr(Ptr<U>&& other)
    noexcept : entity_(other.release()) {}
    ~Ptr() {
        if (entity_) {
            entity_->dropReference();
        }
    }
    // By value: the old entity goes only after this pointer has left it.
    Ptr& operator=(Ptr other) noexcept {
        std::swap(entity_, other.entity_);
        return *this;
    }

    // Takes over the reference that `entity` was born with.
    static Ptr adopt(T* entity) noexcept {
        Ptr ptr;
        ptr.entity_ = entity;
        return ptr;
    }
    // Gives the reference away: this pointer is null, the count unchanged.
    T* release() noexcept { return std::exchange(entity_, nullptr); }

    // Null, or the entity, which this pointer goes on owning.
    T* get() const noexcept { return entity_; }
    // The entity, which there must be.
    T& operator*() const { return *followed(); }
    T* operator->() const { return followed(); }
    // Whether there is an entity.
    explicit operator bool() const noexcept { return entity_ != nullptr; }

    template <class U>
    bool operator==(Ptr<U> const& other) const noexcept {
        return entity_ == other.get();
    }
    bool operator==(std::nullptr_t) const noexcept { return entity_ == nullptr; }

private:
    T* followed() const {
#ifndef NDEBUG
        if (!entity_) {
            Detail::failNull(__PRETTY_FUNCTION__);
        }
#endif
        return entity_;
    }
    void add() const noexcept {
        if (entity_) {
            entity_->addReference();
        }
    }

    T* entity_ = nullptr;
};

// Makes an entity: constructs it, switches its notification on and runs its handleInitialized().
// Outside of turns what fails there is thrown from here, and the entity is gone; its teardown is
// part of the same turn.
template <class T, class... Args>
Ptr<T> make(Args&&... args) {
    Ptr<T> entity = Ptr<T>::adopt(new T(std::forward<Args>(args)...));
    {
        Turn const turn;
        entity->initialize();
        if (Turn::endsInFailure()) {
            entity->retire();
        }
    }
    return entity;
}

}  // namespace Zin
