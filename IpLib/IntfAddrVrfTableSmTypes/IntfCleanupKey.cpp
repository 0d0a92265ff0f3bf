#include "IpLib/IntfAddrVrfTableSmTypes/IntfCleanupKey.h"

#include "Zin/Format.h"

namespace IpLib::IntfAddrVrfTableImpl {
std::string valueToStrep(IntfCleanupKey const& key) {
    return fmt::format(
        "Value('IpLib::IntfAddrVrfTableImpl::IntfCleanupKey', ** {{'intfId': {}, 'af': {}}})",
        valueToStrep(key.intfId), valueToStrep(key.af));
}

IntfCleanupKey readValue(std::type_identity<IntfCleanupKey>, Zin::TextReader& reader) {
    IntfCleanupKey key;
    reader.literal("Value('IpLib::IntfAddrVrfTableImpl::IntfCleanupKey', ** {");
    reader.literal("'intfId': ");
    key.intfId = reader.read<Nimb::IntfId>("intfId");
    reader.literal(", 'af': ");
    key.af = reader.read<Nimb::AddressFamily>("af");
    reader.literal("})");
    return key;
}

IntfCleanupKey fromStrep(std::type_identity<IntfCleanupKey> type, std::string_view text) {
    Zin::TextReader reader(text);
    IntfCleanupKey key = readValue(type, reader);
    reader.end();
    return key;
}

std::ostream& operator<<(std::ostream& out, IntfCleanupKey const& key) {
    return out << valueToStrep(key);
}

}  // namespace IpLib::IntfAddrVrfTableImpl
