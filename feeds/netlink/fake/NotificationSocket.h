// Brings the kernel's notifications, late or twice or not at all where a fault strikes.
#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <span>

#include "feeds/netlink/fake/MessageWriter.h"
#include "feeds/netlink/fake/QueuedSocket.h"

namespace Netlink::Fake {

class NotificationSocket final : public QueuedSocket {
public:
    using QueuedSocket::QueuedSocket;

    // Nobody sends anything here.
    void send(std::span<std::byte const> message) override;

    void notify(Bytes const& message, double now);
    // Comes behind the next address message, if that is of the same link and comes soon.
    void notifyLate(Bytes const& message, double now);
    void delayUntil(double time);
    // A notification is lost; what comes late was there before it.
    void lose(double now);

    // When it has to be looked at again.
    double nextArrival() const { return late_.empty() ? never : delayedUntil_; }
    void advanceTo(double now);

private:
    void arrive(Bytes const& message, double now);
    void releaseHeld(double now);

    std::optional<Bytes> held_;
    double delayedUntil_ = 0;
    std::deque<std::optional<Datagram>> late_;  // nothing for a loss
};

}  // namespace Netlink::Fake
