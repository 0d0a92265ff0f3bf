#include "VirtualIp/VrfIpWithMaskPair.h"

#include "Zin/Format.h"
#include "Zin/Hash.h"

namespace VirtualIp {

std::uint32_t VrfIpWithMaskPair::hash(std::uint32_t seed) const {
    return Zin::Hash(seed).mix4(vrfName_.hash()).mix4(addrWithMask_.hash()).finish();
}

std::string VrfIpWithMaskPair::toStrep() const {
    return fmt::format("vrfName={};addrWithMask={}", vrfName_, addrWithMask_);
}

std::string valueToStrep(VrfIpWithMaskPair const& pair) {
    return fmt::format(
        "Value('VirtualIp::VrfIpWithMaskPair', ** {{'vrfName': {}, 'addrWithMask': {}}})",
        valueToStrep(pair.vrfName()), valueToStrep(pair.addrWithMask()));
}

VrfIpWithMaskPair fromStrep(std::type_identity<VrfIpWithMaskPair>, std::string_view text) {
    Zin::TextReader reader(text);
    auto const vrfName = reader.field<L3::VrfName>("vrfName", "addrWithMask");
    auto const addrWithMask = reader.field<Nimb::IpAddrWithMask>("addrWithMask");
    reader.end();
    return {vrfName, addrWithMask};
}

VrfIpWithMaskPair readValue(std::type_identity<VrfIpWithMaskPair>, Zin::TextReader& reader) {
    reader.literal("Value('VirtualIp::VrfIpWithMaskPair', ** {'vrfName': ");
    auto const vrfName = reader.read<L3::VrfName>("vrfName");
    reader.literal(", 'addrWithMask': ");
    auto const addrWithMask = reader.read<Nimb::IpAddrWithMask>("addrWithMask");
    reader.literal("})");
    return {vrfName, addrWithMask};
}

}  // namespace VirtualIp
