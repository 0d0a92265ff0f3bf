#include "Zin/Entity.h"

#include "Zin/Turn.h"

namespace Zin {
namespace {

std::atomic<std::uint32_t> entitiesMade{0};

std::uint32_t nextSerial() noexcept {
    if (threadSafePointers()) {
        return entitiesMade.fetch_add(1, std::memory_order_relaxed) + 1;
    }
    std::uint32_t const serial = entitiesMade.load(std::memory_order_relaxed) + 1;
    entitiesMade.store(serial, std::memory_order_relaxed);
    return serial;
}

}  // namespace

void threadSafePointersIs(bool on) noexcept {
    threadSafePointersSwitch.store(on, std::memory_order_relaxed);
}

Entity::Entity() noexcept : serial_(nextSerial()) {}

void Entity::hasNotificationActiveIs(bool active) { flagIs(notificationActiveBit, active); }

void Entity::initialize() {
    flagIs(notificationActiveBit, true);
    Turn turn;
    turn.run([this] { handleInitialized(); });
}

void Entity::retire() {
    if (retired()) {
        return;
    }
    flagIs(retiredBit, true);
    Turn turn;
    turn.run([this] { handleDestruction(); });
    turn.run([this] { hasNotificationActiveIs(false); });
}

void Entity::lastReferenceGone() noexcept {
    Turn::runInDestructor([this] { tearDownAndDelete(); });
}

void Entity::tearDownAndDelete() {
    // The end holds a reference of its own: what the teardown and the members' destructors call may
    // point at this entity again for a while. In the teardown also for good: then it lives on,
    // retired.
    addReference();
    if (!retired()) {
        retire();
        if ((subtractReference() & countMask) != 0) {
            return;
        }
        addReference();
    }
    delete this;
}

void Entity::flagIs(std::uint32_t bit, bool on) noexcept {
    if (!threadSafePointers()) {
        word_.store(on ? referenceWord() | bit : referenceWord() & ~bit, std::memory_order_relaxed);
    } else if (on) {
        word_.fetch_or(bit, std::memory_order_relaxed);
    } else {
        word_.fetch_and(~bit, std::memory_order_relaxed);
    }
}

}  // namespace Zin
