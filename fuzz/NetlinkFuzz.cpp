// Any datagram is read without harm, and what is made of it is whole.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <system_error>

#include "RoundTrip.h"
#include "feeds/netlink/DumpReader.h"
#include "feeds/netlink/TestMessages.h"

namespace {

using namespace Netlink::Messages;

Bytes const& wellFormed() {
    static Bytes const datagram =
        link(2, "eth0") +
        message(RTM_NEWADDR, addressInfo(AF_INET, 2, 24) +
                                 attribute(IFA_ADDRESS, ip4(192, 0, 2, 1)) +
                                 attribute(IFA_LOCAL, ip4(192, 0, 2, 1))) +
        message(RTM_NEWADDR, addressInfo(AF_INET6, 2, 64) +
                                 attribute(IFA_ADDRESS, ip6(0x20010db8, 1)) +
                                 attribute(IFA_FLAGS, bytesOf(std::uint32_t{IFA_F_DEPRECATED}))) +
        done();
    return datagram;
}

// The input says where a well-formed datagram is spoilt, and what follows it: chance alone would
// hardly find a header that is an answer.
Bytes spoilt(std::span<std::byte const> input) {
    Bytes datagram = wellFormed();
    std::size_t const overlap = std::min(input.size(), datagram.size());
    std::ranges::transform(datagram.begin(),
                           datagram.begin() + static_cast<std::ptrdiff_t>(overlap), input.begin(),
                           input.end(), datagram.begin(), std::bit_xor<>());
    auto const rest = input.subspan(overlap);
    datagram.insert(datagram.end(), rest.begin(), rest.end());
    return datagram;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Netlink::Snapshot snapshot;
    Netlink::DumpReader reader(snapshot, sequence, port);
    try {
        reader.read(spoilt(std::as_bytes(std::span(data, size))));
    } catch (std::system_error const&) {  // the bytes may spell a refusal
    }
    if (size == 0) {
        Fuzz::require(reader.done() && snapshot.links.size() == 1 &&
                      snapshot.addresses.size() == 2 && snapshot.skipped == Netlink::Skipped{});
    }
    for (auto const& link : snapshot.links) {
        Fuzz::require(link.ifIndex != 0 && !link.name.empty());
    }
    for (auto const& address : snapshot.addresses) {
        Fuzz::require(address.ifIndex != 0);
        Fuzz::require(Nimb::IpGenAddrWithMask(address.addr.toStrep()) == address.addr);
    }
    return 0;
}
