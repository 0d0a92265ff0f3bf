// An address that is effectively on an interface, with its deprecated state (RFC 4862): the working
// row that the per-interface machines publish. Only an IPv6 address that is not link-local can be
// deprecated; a record cannot be built otherwise.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>

#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrWithMaskKey.h"

namespace IpLib {

class IntfAddrWithMask {
public:
    IntfAddrWithMask() = default;
    // Throws Zin::RangeError if `deprecated` is true for an address that cannot be deprecated.
    explicit IntfAddrWithMask(IntfAddrWithMaskKey key, bool deprecated = false);

    IntfAddrWithMaskKey const& key() const { return key_; }
    bool deprecated() const { return deprecated_; }
    bool isV6LinkLocal() const { return key_.isV6LinkLocal(); }
    // The check of `deprecated`, which building a record runs: throws Zin::RangeError.
    void handleDeprecated() const;

    // Whether the record differs from the default one.
    explicit operator bool() const { return *this != IntfAddrWithMask(); }

    // The key's short form and ";deprecated=BOOL".
    std::string toStrep() const;

    friend bool operator==(IntfAddrWithMask const&, IntfAddrWithMask const&) = default;

private:
    IntfAddrWithMaskKey key_;
    bool deprecated_ = false;
};

// "Value('IpLib::IntfAddrWithMask', ** {...})", the one form that is read back. Reading throws
// Zin::ParseError, which names the attribute, and Zin::RangeError as building a record does.
std::string valueToStrep(IntfAddrWithMask const& record);
IntfAddrWithMask readValue(std::type_identity<IntfAddrWithMask>, Zin::TextReader& reader);
IntfAddrWithMask fromStrep(std::type_identity<IntfAddrWithMask>, std::string_view text);
std::ostream& operator<<(std::ostream& out, IntfAddrWithMask const& record);

}  // namespace IpLib
