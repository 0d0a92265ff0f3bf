// A conversation with the kernel's routing netlink, in the network namespace of the calling thread
// at the time of its opening.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace Netlink {

class Channel {
public:
    virtual ~Channel() = default;

    // The port that answers name.
    virtual std::uint32_t port() const = 0;
    virtual void send(std::span<std::byte const> message) = 0;
    // Fills the buffer with the next datagram and returns that datagram's length, which is more
    // than the buffer's where it was cut.
    // Both throw std::system_error.
    virtual std::size_t receive(std::span<std::byte> buffer) = 0;
};

std::unique_ptr<Channel> openChannel();

}  // namespace Netlink
