#include "Nimb/AddressFamily.h"

namespace Nimb {

std::string_view toStrep(AddressFamily family) {
    switch (family) {
        case AddressFamily::ipv4:
            return "IPv4";
        case AddressFamily::ipv6:
            return "IPv6";
        case AddressFamily::unset:
            break;
    }
    return "";
}

AddressFamily fromStrep(std::type_identity<AddressFamily>, std::string_view text) {
    for (auto const family : {AddressFamily::unset, AddressFamily::ipv4, AddressFamily::ipv6}) {
        if (text == toStrep(family)) {
            return family;
        }
    }
    throw Zin::ParseError({}, 0, "IPv4 or IPv6");
}

}  // namespace Nimb
