// The family of an address: IPv4 or IPv6, or unset where there is no address.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>

#include "Zin/Text.h"

namespace Nimb {

// In the order in which families sort.
enum class AddressFamily : std::uint8_t { unset = 0, ipv4 = 1, ipv6 = 2 };

// How many bits an address of the family has; 0 for unset.
constexpr std::uint8_t maxPrefixLength(AddressFamily family) {
    return family == AddressFamily::ipv4 ? 32 : family == AddressFamily::ipv6 ? 128 : 0;
}

// "IPv4", "IPv6", "" for unset.
std::string_view toStrep(AddressFamily family);
AddressFamily fromStrep(std::type_identity<AddressFamily>, std::string_view text);

inline std::string valueToStrep(AddressFamily family) { return Zin::quote(toStrep(family)); }
inline AddressFamily readValue(std::type_identity<AddressFamily>, Zin::TextReader& reader) {
    return reader.quotedValue<AddressFamily>();
}
inline std::ostream& operator<<(std::ostream& out, AddressFamily family) {
    return Zin::write(out, toStrep(family));
}

}  // namespace Nimb
