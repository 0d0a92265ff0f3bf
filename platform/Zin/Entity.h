// What every shared object is: reference-counted, observable, and torn down in two steps.
//
// Life of an entity:
//
//     make<T>(...)  constructed -> handleInitialized() -> alive
//     retire()      alive -> handleDestruction() -> retired: its input reactors deliver no more,
//                   and have left the lists of what they watched
//     last Ptr goes retire(), unless that has happened already, and then the destructor
//
// handleInitialized() and handleDestruction() run on a whole object, so they may call anything; the
// constructor and the destructor only build and release members. An owner that removes a child
// retires it at once, also where somebody on the stack still holds a pointer to it.
//
// The reference-count word holds the count and two flags: bit 29 says that notification is active,
// bit 31 that the entity is retired; the count is the word masked with 0x5fffffff.
#pragma once

#include <atomic>
#include <cstdint>

namespace Zin {

// Whether counts are changed by atomic read-modify-write. Off at the start; an agent that shares
// entities between threads turns it on before it makes any.
bool threadSafePointers() noexcept;
void threadSafePointersIs(bool on) noexcept;

class Entity {
public:
    // Of the reference-count word.
    static constexpr std::uint32_t notificationActiveBit = 1u << 29;
    static constexpr std::uint32_t retiredBit = 1u << 31;
    static constexpr std::uint32_t countMask = 0x5fffffff;

    Entity(Entity const&) = delete;
    Entity& operator=(Entity const&) = delete;
    // Runs inside a turn.
    virtual ~Entity() = default;

    // While notification is not active, the entity's changes are told to nobody. A machine passes
    // the flag on to its reactors.
    bool hasNotificationActive() const noexcept {
        return (referenceWord() & notificationActiveBit) != 0;
    }
    virtual void hasNotificationActiveIs(bool active);

    // Whether the teardown has begun: the entity is flagged for deletion.
    bool retired() const noexcept { return (referenceWord() & retiredBit) != 0; }
    // Flags the entity for deletion, runs handleDestruction(), and switches notification off, that
    // of its reactors too; once. A turn. The caller holds a pointer to it meanwhile.
    void retire();

    // How many pointers own it.
    std::uint32_t referenceCount() const noexcept { return referenceWord() & countMask; }
    // The count and both flags.
    std::uint32_t referenceWord() const noexcept { return word_.load(std::memory_order_relaxed); }
    // Numbers the entities of a process in the order of their making; how they are displayed.
    std::uint32_t serial() const noexcept { return serial_; }

    // For Ptr and make alone.
    void addReference() const noexcept;
    void dropReference() const noexcept;
    void initialize();

protected:
    Entity() noexcept;

    // The first and the last thing that a whole entity does. Both run inside a turn.
    virtual void handleInitialized() {}
    virtual void handleDestruction() {}

private:
    std::uint32_t subtractReference() const noexcept;
    void flagIs(std::uint32_t bit, bool on) noexcept;
    void lastReferenceGone() noexcept;
    void tearDownAndDelete();

    // Born with the reference that make hands to its Ptr.
    mutable std::atomic<std::uint32_t> word_{1};
    std::uint32_t const serial_;
};

[[gnu::visibility("default")]] inline std::atomic<bool> threadSafePointersSwitch{false};

inline bool threadSafePointers() noexcept {
    return threadSafePointersSwitch.load(std::memory_order_relaxed);
}

inline void Entity::addReference() const noexcept {
    if (threadSafePointers()) {
        word_.fetch_add(1, std::memory_order_relaxed);
    } else {
        word_.store(referenceWord() + 1, std::memory_order_relaxed);
    }
}

inline std::uint32_t Entity::subtractReference() const noexcept {
    if (threadSafePointers()) {
        return word_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    }
    std::uint32_t const word = referenceWord() - 1;
    word_.store(word, std::memory_order_relaxed);
    return word;
}

inline void Entity::dropReference() const noexcept {
    if ((subtractReference() & countMask) == 0) {
        const_cast<Entity*>(this)->lastReferenceGone();
    }
}

}  // namespace Zin
