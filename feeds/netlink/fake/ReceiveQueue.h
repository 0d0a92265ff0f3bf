// What a netlink socket has received and nobody has read yet. Owned by its socket.
//
//   open --a datagram does not fit--> congested --read empty--> open
//
// What does not fit is lost, and so is all that comes while it is congested. The next read after a
// loss throws ENOBUFS, before what is queued. As in Linux, the first datagram of an empty queue
// fits whatever its size, and each takes the room of the buffer around it, too.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <vector>

#include "feeds/netlink/Kernel.h"

namespace Netlink::Fake {

struct Datagram {
    std::vector<std::byte> bytes;
    std::uint32_t sender = 0;  // its port
};

class ReceiveQueue {
public:
    // What a datagram takes of the limit besides its bytes.
    static constexpr std::size_t overhead = 768;

    explicit ReceiveQueue(std::size_t limit) : limit_(limit) {}

    std::size_t used() const { return used_; }
    std::size_t limit() const { return limit_; }
    bool empty() const { return datagrams_.empty() && !lossUntold_; }

    // False where the datagram was lost.
    bool push(Datagram datagram);
    // As if a datagram had not fitted.
    void overrun();
    // As Socket::receive().
    std::optional<Received> pop(std::span<std::byte> buffer);
    // Makes the next datagram longer than `size`, by something to be ignored in front of it.
    void stretch(std::size_t size);

private:
    static std::size_t room(Datagram const& datagram) { return datagram.bytes.size() + overhead; }
    void leaveCongestionIfEmpty();

    std::size_t const limit_;
    std::size_t used_ = 0;
    std::deque<Datagram> datagrams_;
    bool congested_ = false;
    bool lossUntold_ = false;
};

}  // namespace Netlink::Fake
