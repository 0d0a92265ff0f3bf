#include "intfaddr/answer/AnswerJson.h"

namespace IntfAddr {

namespace {

Json nameOrNull(Nimb::IntfId const& intf) {
    return intf.empty() ? Json(nullptr) : Json(intf.name());
}

Json waitsFor(ListedAddress const& address) {
    if (!address.holder) {
        return nullptr;
    }
    auto const& [what, intf, isSubnet] = *address.holder;
    Json json;
    json[isSubnet ? "subnet" : "address"] =
        isSubnet ? what.prefix().toStrep() : what.address().toStrep();
    json["interface"] = intf.name();
    return json;
}

Json withoutPlace(ListedAddress const& address) {
    Json json;
    json["vrf"] = address.vrf.text();
    json["interface"] = nameOrNull(address.intf);
    json["address"] = address.addr.address().toStrep();
    json["prefixLength"] = address.addr.prefixLength();
    json["family"] = toStrep(address.addr.family());
    json["subnet"] = address.virtualIp ? Json(nullptr) : Json(address.addr.prefix().toStrep());
    json["virtual"] = address.virtualIp;
    return json;
}

}  // namespace

Json jsonOf(ListedAddress const& address) {
    Json json = withoutPlace(address);
    json["place"] = toStrep(address.place);
    json["state"] = toStrep(address.state);
    if (address.place == Place::waiting) {
        json["waitsFor"] = waitsFor(address);
    }
    if (address.place == Place::leftOut) {
        json["why"] = address.why;
    }
    return json;
}

Json jsonOf(L3::VrfName const& vrf, Routing::Row const& row, AddressState state) {
    return jsonOf(ListedAddress{.vrf = vrf,
                                .intf = row.intfId,
                                .addr = {row.addr, row.prefixLength()},
                                .virtualIp = row.virtualIp,
                                .state = state});
}

Json jsonOf(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& row) {
    auto const& [key, intf, subnet] = row;
    return withoutPlace({.vrf = vrf,
                         .intf = intf,
                         .addr = {key.addr, key.virtualIp ? Nimb::maxPrefixLength(key.addr.family())
                                                          : subnet.prefixLength()},
                         .virtualIp = key.virtualIp});
}

}  // namespace IntfAddr
