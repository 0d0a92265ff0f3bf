// What is known of an IPv6 address on an interface besides the address.
#pragma once

namespace Ip6 {

struct AddressInfo {
    // Past its preferred lifetime (RFC 4862 section 5.5.4): still valid, not for new connections.
    bool deprecated = false;

    friend bool operator==(AddressInfo const&, AddressInfo const&) = default;
};

}  // namespace Ip6
