#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrWithMaskKey.h"

#include "Zin/Format.h"

namespace IpLib {
std::string IntfAddrWithMaskKey::toStrep() const {
    return fmt::format("intfId={};addrWithMask={}", intfId, addrWithMask);
}

std::string valueToStrep(IntfAddrWithMaskKey const& key) {
    return fmt::format(
        "Value('IpLib::IntfAddrWithMaskKey', ** {{'intfId': {}, 'addrWithMask': {}}})",
        valueToStrep(key.intfId), valueToStrep(key.addrWithMask));
}

IntfAddrWithMaskKey readValue(std::type_identity<IntfAddrWithMaskKey>, Zin::TextReader& reader) {
    IntfAddrWithMaskKey key;
    reader.literal("Value('IpLib::IntfAddrWithMaskKey', ** {");
    reader.literal("'intfId': ");
    key.intfId = reader.read<Nimb::IntfId>("intfId");
    reader.literal(", 'addrWithMask': ");
    key.addrWithMask = reader.read<Nimb::IpGenAddrWithMask>("addrWithMask");
    reader.literal("})");
    return key;
}

IntfAddrWithMaskKey fromStrep(std::type_identity<IntfAddrWithMaskKey> type, std::string_view text) {
    Zin::TextReader reader(text);
    IntfAddrWithMaskKey key = readValue(type, reader);
    reader.end();
    return key;
}

std::ostream& operator<<(std::ostream& out, IntfAddrWithMaskKey const& key) {
    return out << key.toStrep();
}

}  // namespace IpLib
