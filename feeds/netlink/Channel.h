// A conversation with the kernel's routing netlink, in the network namespace of the calling thread
// at the time of its opening.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace Netlink {

struct Received {
    std::size_t size = 0;      // the datagram's length, more than the buffer's where it was cut
    std::uint32_t sender = 0;  // its port; the kernel's is 0
};

class Channel {
public:
    virtual ~Channel() = default;

    // The port that answers name.
    virtual std::uint32_t port() const = 0;
    virtual void send(std::span<std::byte const> message) = 0;
    // Fills the buffer with the next datagram, whoever sent it.
    // Both throw std::system_error.
    virtual Received receive(std::span<std::byte> buffer) = 0;
};

std::unique_ptr<Channel> openChannel();

}  // namespace Netlink
