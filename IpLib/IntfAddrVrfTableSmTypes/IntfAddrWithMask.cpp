#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrWithMask.h"

#include <utility>

#include "Zin/Errors.h"
#include "Zin/Format.h"

namespace IpLib {
IntfAddrWithMask::IntfAddrWithMask(IntfAddrWithMaskKey key, bool deprecated)
    : key_(std::move(key)), deprecated_(deprecated) {
    handleDeprecated();
}

void IntfAddrWithMask::handleDeprecated() const {
    if (!deprecated_) {
        return;
    }
    if (key_.addrWithMask.family() != Nimb::AddressFamily::ipv6) {
        throw Zin::RangeError("cannot deprecate non-IPv6 address");
    }
    if (isV6LinkLocal()) {
        throw Zin::RangeError("cannot deprecate IPv6 link-local address");
    }
}

std::string IntfAddrWithMask::toStrep() const {
    return fmt::format("{};deprecated={}", key_, deprecated_);
}

std::string valueToStrep(IntfAddrWithMask const& record) {
    using Zin::valueToStrep;
    return fmt::format("Value('IpLib::IntfAddrWithMask', ** {{'key': {}, 'deprecated': {}}})",
                       valueToStrep(record.key()), valueToStrep(record.deprecated()));
}

IntfAddrWithMask readValue(std::type_identity<IntfAddrWithMask>, Zin::TextReader& reader) {
    reader.literal("Value('IpLib::IntfAddrWithMask', ** {");
    reader.literal("'key': ");
    auto key = reader.read<IntfAddrWithMaskKey>("key");
    reader.literal(", 'deprecated': ");
    bool const deprecated = reader.read<bool>("deprecated");
    reader.literal("})");
    return IntfAddrWithMask(std::move(key), deprecated);
}

IntfAddrWithMask fromStrep(std::type_identity<IntfAddrWithMask> type, std::string_view text) {
    Zin::TextReader reader(text);
    IntfAddrWithMask record = readValue(type, reader);
    reader.end();
    return record;
}

std::ostream& operator<<(std::ostream& out, IntfAddrWithMask const& record) {
    return out << record.toStrep();
}

}  // namespace IpLib
