// Reads the kernel's answer to one dump request, datagram by datagram, into a snapshot.
//
//   in     datagrams, any bytes whatever
//   out    Snapshot: a link or an address for each message that tells one, a count for each that
//          does not
//
// Nothing in a datagram is fatal except the kernel's own word that it cannot answer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "feeds/netlink/Snapshot.h"

namespace Netlink {

class DumpReader {
public:
    // Takes only messages of this sequence number and port for answers.
    DumpReader(Snapshot& snapshot, std::uint32_t sequence, std::uint32_t port)
        : snapshot_(snapshot), sequence_(sequence), port_(port) {}

    // Throws std::system_error if the kernel answers with an error.
    void read(std::span<std::byte const> datagram);

    // Whether the dump's last message has been read.
    bool done() const { return done_; }
    // Whether what was dumped changed meanwhile, so that the dump may miss or repeat things.
    bool interrupted() const { return interrupted_; }

private:
    void readMessage(std::span<std::byte const> message);
    void readLink(std::span<std::byte const> payload);
    void readAddress(std::span<std::byte const> payload);
    void readEnd(std::span<std::byte const> payload);

    Snapshot& snapshot_;
    std::uint32_t const sequence_;
    std::uint32_t const port_;
    bool done_ = false;
    bool interrupted_ = false;
};

}  // namespace Netlink
