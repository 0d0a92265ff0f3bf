// One dump of a namespace, going on: asks for its links, then for its addresses, and collects what
// the kernel answers.
//
//   in     datagrams of the socket that it asks over
//   out    Dumped, whole or not: what it shows was there, but something may be missing or gone
//
// At most one dump at a time may use a socket.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "feeds/netlink/Kernel.h"
#include "feeds/netlink/Mirror.h"

namespace Netlink {

class Dump {
public:
    // `sequence` is the first of two numbers by which it knows its answers. Throws what send()
    // throws.
    Dump(Socket& socket, std::uint32_t sequence);

    // Throws what send() throws, as the second request follows the first answer.
    void read(std::span<std::byte const> datagram, Skipped& skipped);
    // A datagram has been lost or cut.
    void damage(std::string why);

    bool isDone() const { return done_; }
    // Nothing where the dump shows all there is; else what went wrong first.
    std::optional<std::string> const& flaw() const { return flaw_; }
    Dumped const& dumped() const { return dumped_; }

private:
    void ask(std::uint16_t type);
    void handle(Message const& message, Skipped& skipped);
    void handleEnd(int error);

    Socket& socket_;
    std::uint32_t sequence_;
    bool showsAddresses_ = false;  // the second answer
    bool done_ = false;
    std::optional<std::string> flaw_;
    Dumped dumped_;
};

}  // namespace Netlink
