#include "intfaddr/config/ListenAddress.h"

#include <charconv>
#include <optional>
#include <stdexcept>

#include "Zin/Errors.h"
#include "Zin/Format.h"

namespace IntfAddr {

namespace {

std::optional<Nimb::IpGenAddr> addressOf(std::string_view host) {
    try {
        if (host.starts_with('[') && host.ends_with(']')) {
            return Nimb::Ip6Addr(host.substr(1, host.size() - 2));
        }
        return Nimb::Ip4Addr(host);
    } catch (Zin::ParseError const&) {
        return std::nullopt;
    }
}

bool isLoopback(Nimb::IpGenAddr const& address) {
    return address == Nimb::IpGenAddr("::1") ||
           (address.family() == Nimb::AddressFamily::ipv4 && address.bytes()[0] == 127);
}

}  // namespace

ListenAddress readListenAddress(std::string_view text) {
    auto const colon = text.rfind(':');
    auto const host = text.substr(0, colon);
    auto const port = colon == std::string_view::npos ? "" : text.substr(colon + 1);
    auto const address = addressOf(host);
    std::uint16_t number = 0;
    auto const [end, error] = std::from_chars(port.data(), port.data() + port.size(), number);
    if (!address || error != std::errc() || end != port.data() + port.size()) {
        throw std::runtime_error(fmt::format(
            "'{}' is not expected: an address and a port is, as 127.0.0.1:9179 or [::1]:9179",
            text));
    }
    if (!isLoopback(*address)) {
        throw std::runtime_error(fmt::format(
            "'{}' is not an address of loopback: others than this machine's programs could ask",
            text));
    }
    return {.address = *address, .port = number};
}

}  // namespace IntfAddr
