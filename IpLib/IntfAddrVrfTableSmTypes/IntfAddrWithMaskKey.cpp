#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrWithMaskKey.h"

#include <fmt/format.h>

#include "Nimb/PrefixHash.h"
#include "Zin/Hash.h"

namespace IpLib {
std::uint32_t IntfAddrWithMaskKey::hash(std::uint32_t seed) const {
    std::uint8_t const length = addrWithMask.prefixLength();
    return Zin::Hash(seed)
        .mix4(intfId.hash())
        .mix4(Nimb::prefixHash(addrWithMask.address(), length))
        .mix1(length)  // which tells the addresses apart that share a prefixHash
        .finish();
}

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
