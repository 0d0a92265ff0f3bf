#include "VirtualIp/VrfIpPair.h"

#include "Zin/Format.h"
#include "Zin/Hash.h"

namespace VirtualIp {

std::uint32_t VrfIpPair::hash(std::uint32_t seed) const {
    return Zin::Hash(seed).mix4(vrfName_.hash()).mix4(addr_.hash()).finish();
}

std::string VrfIpPair::toStrep() const {
    return fmt::format("vrfName={};addr={}", vrfName_, addr_);
}

std::string valueToStrep(VrfIpPair const& pair) {
    return fmt::format("Value('VirtualIp::VrfIpPair', ** {{'vrfName': {}, 'addr': {}}})",
                       valueToStrep(pair.vrfName()), valueToStrep(pair.addr()));
}

VrfIpPair fromStrep(std::type_identity<VrfIpPair>, std::string_view text) {
    Zin::TextReader reader(text);
    auto const vrfName = reader.field<L3::VrfName>("vrfName", "addr");
    auto const addr = reader.field<Nimb::Ip6Addr>("addr");
    reader.end();
    return {vrfName, addr};
}

VrfIpPair readValue(std::type_identity<VrfIpPair>, Zin::TextReader& reader) {
    reader.literal("Value('VirtualIp::VrfIpPair', ** {'vrfName': ");
    auto const vrfName = reader.read<L3::VrfName>("vrfName");
    reader.literal(", 'addr': ");
    auto const addr = reader.read<Nimb::Ip6Addr>("addr");
    reader.literal("})");
    return {vrfName, addr};
}

}  // namespace VirtualIp
