#include "IpLib/IntfAddrVrfTableTypes/IntfAddrEntryKey.h"

#include "Zin/Format.h"

namespace IpLib {
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
