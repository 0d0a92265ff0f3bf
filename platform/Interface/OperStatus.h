// The operational state of an interface; its states and their numbers are those of ifOperStatus
// (RFC 2863 section 6).
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>

#include "Zin/Text.h"

namespace Interface {

enum class OperStatus : std::uint8_t {
    up = 1,
    down = 2,
    testing = 3,
    unknown = 4,
    dormant = 5,
    notPresent = 6,
    lowerLayerDown = 7,
};

// The names above; a number that is none of the states is displayed as it is, and never read.
std::string toStrep(OperStatus status);
OperStatus fromStrep(std::type_identity<OperStatus>, std::string_view text);

inline std::string valueToStrep(OperStatus status) { return Zin::quote(toStrep(status)); }
inline OperStatus readValue(std::type_identity<OperStatus>, Zin::TextReader& reader) {
    return reader.quotedValue<OperStatus>();
}
inline std::ostream& operator<<(std::ostream& out, OperStatus status) {
    return Zin::write(out, toStrep(status));
}

}  // namespace Interface
