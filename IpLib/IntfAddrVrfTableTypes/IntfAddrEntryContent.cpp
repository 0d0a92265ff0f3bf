#include "IpLib/IntfAddrVrfTableTypes/IntfAddrEntryContent.h"

#include "Zin/Format.h"
#include "Zin/Text.h"

namespace IpLib {
std::string IntfAddrEntryContent::toStrep() const {
    return fmt::format("{};subnet={}", key, subnet);
}

std::string valueToStrep(IntfAddrEntryContent const& content) {
    return fmt::format(
        "Value('IpLib::IntfAddrEntryContent', ** {{'key': {}, 'intfId': {}, 'subnet': {}}})",
        valueToStrep(content.key), valueToStrep(content.intfId), valueToStrep(content.subnet));
}

IntfAddrEntryContent fromStrep(std::type_identity<IntfAddrEntryContent>, std::string_view text) {
    Zin::TextReader reader(text);
    IntfAddrEntryContent content;
    content.key.intfId = reader.field<Nimb::IntfId>("intfId", "addr");
    content.key.addr = reader.field<Nimb::IpGenAddr>("addr", "virtualIp");
    content.key.virtualIp = reader.field<bool>("virtualIp", "subnet");
    content.subnet = reader.field<Nimb::IpGenPrefix>("subnet");
    reader.end();
    content.intfId = content.key.intfId;
    return content;
}

std::ostream& operator<<(std::ostream& out, IntfAddrEntryContent const& content) {
    return out << content.toStrep();
}

}  // namespace IpLib
