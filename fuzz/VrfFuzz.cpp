// Names of VRFs, and virtual addresses of VRFs.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "L3/VrfName.h"
#include "RoundTrip.h"
#include "VirtualIp/VrfIpPair.h"
#include "VirtualIp/VrfIpWithMaskPair.h"

namespace {

// Tries `text` as it is, as the name and as the address of a well-formed text, so that the fuzzer
// need not find the fixed words.
template <class Pair>
void checkPair(std::string const& text, std::string const& field, std::string const& addr) {
    Fuzz::checkRoundTrip<Pair>(text);
    Fuzz::checkRoundTrip<Pair>("vrfName=" + text + ";" + field + "=" + addr);
    Fuzz::checkRoundTrip<Pair>("vrfName=red;" + field + "=" + text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const text(Fuzz::textOf(data, size));
    Fuzz::checkRoundTrip<L3::VrfName>(text);
    checkPair<VirtualIp::VrfIpPair>(text, "addr", "2001:db8::1");
    checkPair<VirtualIp::VrfIpWithMaskPair>(text, "addrWithMask", "10.0.0.1/24");

    // A VRF may have any name.
    Fuzz::checkPrintedForms(L3::VrfName(text));
    Fuzz::checkPrintedForms(VirtualIp::VrfIpPair(text, {}));
    Fuzz::checkPrintedForms(VirtualIp::VrfIpWithMaskPair(text, {}));
    return 0;
}
