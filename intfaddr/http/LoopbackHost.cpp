#include "intfaddr/http/LoopbackHost.h"

#include <algorithm>

#include "Nimb/IpGenAddr.h"
#include "Zin/Errors.h"

namespace IntfAddr {

namespace {

bool isDigit(char byte) { return byte >= '0' && byte <= '9'; }

std::string_view withoutPort(std::string_view host) {
    auto const colon = host.rfind(':');
    return colon != std::string_view::npos && std::ranges::all_of(host.substr(colon + 1), isDigit)
               ? host.substr(0, colon)
               : host;
}

bool isLocalhost(std::string_view name) {
    constexpr std::string_view localhost = "localhost";
    if (name.ends_with('.')) {
        name.remove_suffix(1);
    }
    return std::ranges::equal(name, localhost, [](char byte, char letter) {
        return byte == letter || byte == letter - 'a' + 'A';
    });
}

bool isAddress4(std::string_view text) {
    try {
        return Nimb::Ip4Addr(text).bytes()[0] == 127;
    } catch (Zin::ParseError const&) {
        return false;
    }
}

}  // namespace

bool isLoopbackHost(std::string_view host) {
    if (host.starts_with('[')) {
        return host == "[::1]" || (host.starts_with("[::1]:") && withoutPort(host) == "[::1]");
    }
    auto const name = withoutPort(host);
    return isLocalhost(name) || isAddress4(name);
}

}  // namespace IntfAddr
