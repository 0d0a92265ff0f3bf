// The working records and the keys of clean-ups, in their value forms.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrWithMask.h"
#include "IpLib/IntfAddrVrfTableSmTypes/IntfCleanupKey.h"
#include "OneForm.h"

using IpLib::IntfAddrWithMask;
using IpLib::IntfAddrWithMaskKey;
using IpLib::IntfAddrVrfTableImpl::IntfCleanupKey;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string_view const text = Fuzz::textOf(data, size);
    auto const print = [](auto const& value) { return valueToStrep(value); };
    Fuzz::checkTexts<IntfAddrWithMaskKey>(text, "Value('IpLib::IntfAddrWithMaskKey', ** {",
                                          ", 'addrWithMask': '10.0.0.1/24'})", print);
    Fuzz::checkTexts<IntfAddrWithMask>(
        text, "Value('IpLib::IntfAddrWithMask', ** {'key': ", ", 'deprecated': true})", print);
    Fuzz::checkTexts<IntfAddrWithMask>(
        text,
        "Value('IpLib::IntfAddrWithMask', ** {'key': Value('IpLib::IntfAddrWithMaskKey', ** "
        "{'intfId': 'Ethernet1', 'addrWithMask': '",
        "'}), 'deprecated': true})", print);
    Fuzz::checkTexts<IntfCleanupKey>(
        text, "Value('IpLib::IntfAddrVrfTableImpl::IntfCleanupKey', ** {'intfId': ", "})", print);

    // An interface may have any name.
    Nimb::IntfId const intfId(text);
    Fuzz::checkForm(IntfAddrWithMask(IntfAddrWithMaskKey{intfId, {}}), print);
    Fuzz::checkForm(IntfCleanupKey{{intfId, Nimb::AddressFamily::ipv6}}, print);
    return 0;
}
