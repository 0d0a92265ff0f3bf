#include "feeds/netlink/fake/ReceiveQueue.h"

#include <linux/netlink.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "feeds/netlink/TestMessages.h"

namespace Netlink::Fake {

bool ReceiveQueue::push(Datagram datagram) {
    bool const fits = datagrams_.empty() || used_ + room(datagram) <= limit_;
    if (congested_ || !fits) {
        overrun();
        return false;
    }
    used_ += room(datagram);
    datagrams_.push_back(std::move(datagram));
    return true;
}

void ReceiveQueue::overrun() {
    // Told once of each congestion, however much is lost in it.
    lossUntold_ = lossUntold_ || !congested_;
    congested_ = true;
}

std::optional<Received> ReceiveQueue::pop(std::span<std::byte> buffer) {
    if (std::exchange(lossUntold_, false)) {
        leaveCongestionIfEmpty();
        throw std::system_error(ENOBUFS, std::generic_category(), "netlink receive");
    }
    if (datagrams_.empty()) {
        return std::nullopt;
    }
    Datagram const datagram = std::move(datagrams_.front());
    datagrams_.pop_front();
    used_ -= room(datagram);
    leaveCongestionIfEmpty();
    std::copy_n(datagram.bytes.begin(), std::min(buffer.size(), datagram.bytes.size()),
                buffer.begin());
    return Received{.size = datagram.bytes.size(), .sender = datagram.sender};
}

void ReceiveQueue::stretch(std::size_t size) {
    if (datagrams_.empty()) {
        return;
    }
    auto& bytes = datagrams_.front().bytes;
    auto const filler = Messages::message(NLMSG_NOOP, std::vector<std::byte>(size));
    bytes.insert(bytes.begin(), filler.begin(), filler.end());
    used_ += filler.size();
}

void ReceiveQueue::leaveCongestionIfEmpty() {
    if (datagrams_.empty()) {
        congested_ = false;
    }
}

}  // namespace Netlink::Fake
