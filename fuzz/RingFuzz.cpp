// Any bytes in the place of a ring's are read without harm, and give no more than a ring holds.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "Nimb/IntfId.h"
#include "Nimb/IpGenAddrWithMask.h"
#include "RoundTrip.h"
#include "Tremlog/Record.h"

namespace {

using namespace Tremlog;

// With records of many kinds.
Image const& wellFormed() {
    static auto* const image = [] {
        auto* const made = new Image();
        ring.moveTo(*made, "fuzz");
        Nimb::IpGenAddrWithMask const address("2001:db8::1/64");
        record<"{} of {:>9} on {} is {}">(address, address.address(), Nimb::IntfId("eth0"),
                                          Nimb::AddressFamily::ipv6);
        record<"{:.3f} {:#x} {} {} {}">(1.5, 255U, true, 'c', "text");
        return made;
    }();
    return *image;
}

}  // namespace

// The input says where a well-formed ring is spoilt: of each four bytes, three say where in the
// first 4 KiB of one of its parts, which have all that is used, and the last what comes there.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    auto const image = std::make_unique<Image>(wellFormed());
    auto* const bytes = reinterpret_cast<std::byte*>(image.get());
    constexpr std::size_t parts[] = {0, offsetof(Image, formats), offsetof(Image, slots)};
    for (; size >= 4; size -= 4, data += 4) {
        std::size_t const offset = data[1] | std::size_t{data[2] & 15U} << 8;
        bytes[parts[data[0] % 3] + offset] = std::byte(data[3]);
    }
    if (faultOf(image->header).empty()) {
        Fuzz::require(entriesOf(*image, "<unfinished>").size() <= Image::slotCount);
    }
    return 0;
}
