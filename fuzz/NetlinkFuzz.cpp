// Any datagram is read without harm, and changes a mirror into one that makes sense.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <span>

#include "RoundTrip.h"
#include "feeds/netlink/Mirror.h"
#include "feeds/netlink/Picture.h"
#include "feeds/netlink/TestMessages.h"

namespace {

using namespace Netlink;
using namespace Netlink::Messages;

Bytes address4(std::uint8_t last, unsigned flags, unsigned type = RTM_NEWADDR) {
    return message(type, addressInfo(AF_INET, 2, 24, flags) +
                             attribute(IFA_ADDRESS, ip4(192, 0, 2, last)) +
                             attribute(IFA_LOCAL, ip4(192, 0, 2, last)));
}

Bytes const& wellFormed() {
    static Bytes const datagram =
        message(RTM_NEWLINK,
                linkInfo(3) + name("red") +
                    attribute(IFLA_LINKINFO, attribute(IFLA_INFO_KIND, bytesOf("vrf")))) +
        message(RTM_NEWLINK, linkInfo(2) + name("eth0") +
                                 attribute(IFLA_OPERSTATE, bytesOf(std::uint8_t{6})) +
                                 attribute(IFLA_MASTER, bytesOf(std::uint32_t{3}))) +
        address4(1, 0) + address4(2, IFA_F_SECONDARY) + address4(1, 0, RTM_DELADDR) +
        message(RTM_NEWADDR, addressInfo(AF_INET6, 2, 64) +
                                 attribute(IFA_ADDRESS, ip6(0x20010db8, 1)) +
                                 attribute(IFA_FLAGS, bytesOf(std::uint32_t{IFA_F_DEPRECATED}))) +
        message(RTM_DELLINK, linkInfo(4)) + done();
    return datagram;
}

// The input says where a well-formed datagram is spoilt, and what follows it: chance alone would
// hardly find a header.
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

void checkPictures(Mirror const& mirror) {
    std::set<Nimb::IntfId> names;
    for (auto const& [ifIndex, one] : mirror.links()) {
        Fuzz::require(ifIndex != 0);
        auto const picture = pictureOf(mirror, ifIndex, {});
        if (picture.status) {
            Fuzz::require(names.insert(picture.status->intf).second);
            Fuzz::require(std::ranges::is_sorted(picture.status->ip.secondary));
        }
        for (auto const& address : picture.addresses) {
            Fuzz::require(Nimb::IpGenAddrWithMask(address.addr.toStrep()) == address.addr);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Mirror mirror;
    Skipped skipped;
    bool isDone = false;
    auto const datagram = spoilt(std::as_bytes(std::span(data, size)));
    readMessages(datagram, skipped, [&](Message const& told) {
        if (auto const* const change = std::get_if<Change>(&told.content)) {
            mirror.apply(*change);
        } else {
            isDone = isDone || std::holds_alternative<End>(told.content);
        }
    });
    if (size == 0) {
        Fuzz::require(isDone && mirror.links().size() == 2 && skipped == Skipped{});
        Fuzz::require(mirror.find(2)->ip4.list().size() == 1);
    }
    // Nothing is kept that the datagram is too short to tell.
    Fuzz::require(mirror.links().size() * sizeof(nlmsghdr) <= datagram.size());
    checkPictures(mirror);
    while (!mirror.links().empty()) {
        mirror.apply(LinkGone{mirror.links().begin()->first});
    }
    return 0;
}
