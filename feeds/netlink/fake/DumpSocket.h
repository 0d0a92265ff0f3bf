// Takes dump requests and brings their answers. A datagram is made when the one before has been
// read, the first one when the request comes.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>

#include "feeds/netlink/fake/Dump.h"
#include "feeds/netlink/fake/QueuedSocket.h"

namespace Netlink::Fake {

// What is arbitrary about a dump, and which time it is for it. Owned by the kernel.
struct DumpConditions {
    double now = 0;
    std::size_t datagramLimit = 4096;
};

class DumpSocket final : public QueuedSocket {
public:
    DumpSocket(Faults& faults, Options options, Network& network, DumpConditions const& conditions);

    void send(std::span<std::byte const> message) override;

private:
    void wasRead() override;
    void answer(nlmsghdr const& request, unsigned family);
    void continueDump();
    void pushStrayReplies();

    Network& network_;
    DumpConditions const& conditions_;
    std::optional<Dump> dump_;
};

}  // namespace Netlink::Fake
