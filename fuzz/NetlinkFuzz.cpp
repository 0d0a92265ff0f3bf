// Any datagram is read without harm, and what is made of it is whole.
#include <cstddef>
#include <cstdint>
#include <span>
#include <system_error>

#include "RoundTrip.h"
#include "feeds/netlink/DumpReader.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Netlink::Snapshot snapshot;
    // Zeros, so that chance finds messages that count as answers.
    Netlink::DumpReader reader(snapshot, 0, 0);
    try {
        reader.read(std::as_bytes(std::span(data, size)));
    } catch (std::system_error const&) {  // the bytes may spell a refusal
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
