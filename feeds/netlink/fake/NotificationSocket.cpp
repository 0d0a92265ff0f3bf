#include "feeds/netlink/fake/NotificationSocket.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

namespace Netlink::Fake {

namespace {

bool isNewAddress(Bytes const& message) {
    nlmsghdr header;
    std::memcpy(&header, message.data(), sizeof header);
    return header.nlmsg_type == RTM_NEWADDR;
}

}  // namespace

void NotificationSocket::send(std::span<std::byte const>) {
    throw std::system_error(EOPNOTSUPP, std::generic_category(), "netlink send");
}

void NotificationSocket::notify(Bytes const& message, double now) {
    if (!held_ || !isNewAddress(message)) {
        releaseHeld(now);
    }
    arrive(message, now);
    releaseHeld(now);
}

void NotificationSocket::notifyLate(Bytes const& message, double now) {
    releaseHeld(now);
    held_ = message;
}

void NotificationSocket::delayUntil(double time) { delayedUntil_ = std::max(delayedUntil_, time); }

void NotificationSocket::lose(double now) {
    if (now < delayedUntil_ || !late_.empty()) {
        late_.push_back(std::nullopt);
    } else {
        overrun();
    }
}

void NotificationSocket::advanceTo(double now) {
    releaseHeld(now);
    if (now >= delayedUntil_) {
        for (auto& datagram : std::exchange(late_, {})) {
            if (datagram) {
                push(*std::move(datagram));
            } else {
                overrun();
            }
        }
    }
}

void NotificationSocket::arrive(Bytes const& message, double now) {
    if (faults().strikes(Fault::loseNotification)) {
        lose(now);
        return;
    }
    if (faults().strikes(Fault::delayNotifications)) {
        delayUntil(now + faults().delay());
    }
    pushStrangers();
    int const times = faults().strikes(Fault::duplicate) ? 2 : 1;
    for (int i = 0; i < times; ++i) {
        if (now < delayedUntil_ || !late_.empty()) {
            late_.push_back(Datagram{.bytes = message});
        } else {
            push({.bytes = message});
        }
    }
}

void NotificationSocket::releaseHeld(double now) {
    if (auto const message = std::exchange(held_, std::nullopt)) {
        arrive(*message, now);
    }
}

}  // namespace Netlink::Fake
