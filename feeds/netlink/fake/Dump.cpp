#include "feeds/netlink/fake/Dump.h"

#include <tuple>
#include <utility>

namespace Netlink::Fake {

using Messages::operator+;

Dump::Dump(Network& network, Faults& faults, unsigned type, unsigned family,
           Envelope const& envelope)
    : network_(network), faults_(faults), envelope_(envelope) {
    if (type == RTM_GETLINK) {
        sections_ = {{RTM_NEWLINK, AF_UNSPEC}};
    } else if (family == AF_UNSPEC) {
        sections_ = {{RTM_NEWADDR, AF_INET}, {RTM_NEWADDR, AF_INET6}};
    } else {
        sections_ = {{RTM_NEWADDR, family}};
    }
}

Bytes Dump::next(std::size_t limit, double now) {
    markInterrupted_ = markInterrupted_ || faults_.strikes(Fault::interruptDump);
    if (auto const error = faults_.strikes(Fault::failDump)) {
        done_ = true;
        return doneMessage(*error, envelope_);
    }
    Bytes datagram;
    while (section_ < sections_.size()) {
        // Looked at before the message is known to fit, which marks nothing.
        auto const before = std::pair(changesBefore_, markInterrupted_);
        Bytes const message = present(now);
        if (message.empty()) {
            endSection();
        } else if (!datagram.empty() && datagram.size() + message.size() > limit) {
            std::tie(changesBefore_, markInterrupted_) = before;
            return datagram;
        } else {
            datagram = std::move(datagram) + message;
            ++position_;
            addUnknownAttribute_ = false;
        }
    }
    Bytes const last = doneMessage(0, envelope());
    if (datagram.empty() || datagram.size() + last.size() <= limit) {
        done_ = true;
        return std::move(datagram) + last;
    }
    return datagram;
}

std::uint32_t Dump::changes() const {
    auto const& [type, family] = sections_[section_];
    if (type == RTM_NEWLINK) {
        return network_.linksListed;
    }
    return network_.linksListed + (family == AF_INET ? network_.ip4Changes : network_.ip6Changes);
}

Bytes Dump::present(double now) {
    auto const& [type, family] = sections_[section_];
    for (auto at = network_.links.lower_bound(ifIndex_); at != network_.links.end(); ++at) {
        auto const& [ifIndex, link] = *at;
        if (ifIndex != ifIndex_) {
            ifIndex_ = ifIndex;
            position_ = 0;
        }
        if (type == RTM_NEWLINK) {
            if (position_ == 0) {
                return linkMessage(type, link, envelope(), extra());
            }
            continue;
        }
        auto const& addresses = family == AF_INET ? link.ip4 : link.ip6;
        if (position_ < addresses.size()) {
            return addressMessage(type, ifIndex, addresses[position_], now, envelope(), extra());
        }
    }
    return {};
}

Envelope Dump::envelope() {
    bool interrupted = std::exchange(markInterrupted_, false);
    if (section_ < sections_.size()) {
        interrupted = interrupted || (changesBefore_ != 0 && changesBefore_ != changes());
        changesBefore_ = changes();
    }
    Envelope marked = envelope_;
    marked.flags |= interrupted ? NLM_F_DUMP_INTR : 0;
    return marked;
}

Bytes Dump::extra() {
    addUnknownAttribute_ = addUnknownAttribute_ || faults_.strikes(Fault::unknownAttribute);
    return addUnknownAttribute_ ? unknownAttribute() : Bytes();
}

void Dump::endSection() {
    // What changes between here and the end of this section, Linux does not notice either.
    ++section_;
    ifIndex_ = 0;
    position_ = 0;
    changesBefore_ = 0;
}

}  // namespace Netlink::Fake
