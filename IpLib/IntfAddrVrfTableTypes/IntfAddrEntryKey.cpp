#include "IpLib/IntfAddrVrfTableTypes/IntfAddrEntryKey.h"

#include <fmt/format.h>

#include "Nimb/Ip6Addr.h"
#include "Zin/Registry.h"

namespace IpLib {
namespace {

Zin::TypeRegistration const registration{{
    .name = "IpLib::IntfAddrEntryKey",
    .attributes = {{"intfId", "Nimb::IntfId"}, {"addr", "Nimb::IpGenAddr"}, {"virtualIp", "bool"}},
}};

}  // namespace

std::uint32_t IntfAddrEntryKey::hash(std::uint32_t seed) const {
    // The sixteen bytes alone, whatever the family: equality tells families apart.
    return Zin::Hash(seed)
        .mix4(intfId.hash())
        .mix4(Nimb::Ip6Addr(addr.bytes()).hash())
        .mix1(virtualIp ? 1 : 0)
        .finish();
}

std::string IntfAddrEntryKey::toStrep() const {
    return fmt::format("intfId={};addr={};virtualIp={}", intfId, addr, virtualIp);
}

std::string valueToStrep(IntfAddrEntryKey const& key) {
    using Zin::valueToStrep;
    return fmt::format(
        "Value('IpLib::IntfAddrEntryKey', ** {{'intfId': {}, 'addr': {}, 'virtualIp': {}}})",
        valueToStrep(key.intfId), valueToStrep(key.addr), valueToStrep(key.virtualIp));
}

IntfAddrEntryKey fromStrep(std::type_identity<IntfAddrEntryKey>, std::string_view text) {
    Zin::TextReader reader(text);
    IntfAddrEntryKey key;
    key.intfId = reader.field<Nimb::IntfId>("intfId", "addr");
    key.addr = reader.field<Nimb::IpGenAddr>("addr", "virtualIp");
    key.virtualIp = reader.field<bool>("virtualIp");
    reader.end();
    return key;
}

std::ostream& operator<<(std::ostream& out, IntfAddrEntryKey const& key) {
    return out << key.toStrep();
}

}  // namespace IpLib
