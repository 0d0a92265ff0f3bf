// Addresses, subnets and addresses with masks; plain addresses also against the system's reader.
#include <arpa/inet.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Nimb/AddressFamily.h"
#include "Nimb/Ip4Addr.h"
#include "Nimb/Ip6Addr.h"
#include "Nimb/Ip6AddrWithMask.h"
#include "Nimb/IpAddrWithMask.h"
#include "Nimb/IpGenAddr.h"
#include "Nimb/IpGenAddrWithMask.h"
#include "Nimb/IpGenPrefix.h"
#include "RoundTrip.h"

namespace {

template <class Addr>
void checkAgainstSystem(int family, std::string_view text) {
    auto bytes = Addr().bytes();
    bool const expected = text.find('\0') == std::string_view::npos &&
                          inet_pton(family, std::string(text).c_str(), bytes.data()) == 1;
    bool accepted = true;
    try {
        Fuzz::require(Zin::strepToValue<Addr>(text).bytes() == bytes);
    } catch (Zin::ParseError const&) {
        accepted = false;
    }
    Fuzz::require(accepted == expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string_view const text = Fuzz::textOf(data, size);
    Fuzz::checkRoundTrip<Nimb::AddressFamily>(text);
    Fuzz::checkRoundTrip<Nimb::Ip4Addr>(text);
    Fuzz::checkRoundTrip<Nimb::Ip6Addr>(text);
    Fuzz::checkRoundTrip<Nimb::IpGenAddr>(text);
    Fuzz::checkRoundTrip<Nimb::IpGenPrefix>(text);
    Fuzz::checkRoundTrip<Nimb::IpAddrWithMask>(text);
    Fuzz::checkRoundTrip<Nimb::Ip6AddrWithMask>(text);
    Fuzz::checkRoundTrip<Nimb::IpGenAddrWithMask>(text);
    checkAgainstSystem<Nimb::Ip4Addr>(AF_INET, text);
    checkAgainstSystem<Nimb::Ip6Addr>(AF_INET6, text);
    return 0;
}
