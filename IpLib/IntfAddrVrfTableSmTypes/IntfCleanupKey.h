// Whose clean-up is pending: one address family of one interface. Sorts by interface, then family.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>

#include "IpLib/IntfAddrVrfTableTypes/IntfFamily.h"
#include "Zin/Text.h"

namespace IpLib::IntfAddrVrfTableImpl {

struct IntfCleanupKey : IntfFamily {
    friend bool operator==(IntfCleanupKey const&, IntfCleanupKey const&) = default;
    friend std::strong_ordering operator<=>(IntfCleanupKey const&, IntfCleanupKey const&) = default;
};

// "Value('IpLib::IntfAddrVrfTableImpl::IntfCleanupKey', ** {...})", the one form that is read back.
// Reading throws Zin::ParseError, which names the attribute.
std::string valueToStrep(IntfCleanupKey const& key);
IntfCleanupKey readValue(std::type_identity<IntfCleanupKey>, Zin::TextReader& reader);
IntfCleanupKey fromStrep(std::type_identity<IntfCleanupKey>, std::string_view text);
std::ostream& operator<<(std::ostream& out, IntfCleanupKey const& key);

}  // namespace IpLib::IntfAddrVrfTableImpl
