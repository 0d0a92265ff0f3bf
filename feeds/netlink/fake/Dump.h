// The answer to one dump request, made datagram by datagram: each of what is there when its turn
// comes. It goes on where it stopped by interface index and by position on that interface, so a
// change meanwhile makes it repeat or miss something; messages after such a change say so, as far
// as Linux notices: a link that is only changed, not added or removed, interrupts nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "feeds/netlink/fake/Faults.h"
#include "feeds/netlink/fake/MessageWriter.h"
#include "feeds/netlink/fake/Network.h"

namespace Netlink::Fake {

class Dump {
public:
    // `type` is RTM_GETLINK or RTM_GETADDR, the latter of one family or of all (AF_UNSPEC).
    Dump(Network& network, Faults& faults, unsigned type, unsigned family,
         Envelope const& envelope);

    // The next datagram, no longer than the limit if it holds more than one message.
    Bytes next(std::size_t limit, double now);
    bool done() const { return done_; }

private:
    // One kind of object of one family. Each is checked for changes by itself.
    struct Section {
        unsigned type;
        unsigned family;
    };

    std::uint32_t changes() const;
    // The message of what stands at the present position, empty where nothing does any more.
    Bytes present(double now);
    Envelope envelope();
    Bytes extra();
    void endSection();

    Network& network_;
    Faults& faults_;
    Envelope const envelope_;
    std::vector<Section> sections_;
    std::size_t section_ = 0;
    std::uint32_t ifIndex_ = 0;
    std::size_t position_ = 0;  // among the addresses of that interface
    std::uint32_t changesBefore_ = 0;
    bool markInterrupted_ = false;
    bool addUnknownAttribute_ = false;
    bool done_ = false;
};

}  // namespace Netlink::Fake
