#include "intfaddr/answer/AnswerJson.h"

#include <string>

namespace IntfAddr {

namespace {

void writeWaitsFor(ObjectText& object, ListedAddress const& address) {
    if (!address.holder) {
        object.null("waitsFor");
        return;
    }
    auto const& [what, intf, isSubnet] = *address.holder;
    ObjectText(object.open("waitsFor"))
        .word(isSubnet ? "subnet" : "address",
              isSubnet ? what.prefix().text() : what.address().text())
        .text("interface", intf.name())
        .end();
}

void writeWithoutPlace(ObjectText& object, ListedAddress const& address) {
    auto const& addr = address.addr;
    object.text("vrf", address.vrf.text());
    if (address.intf.empty()) {
        object.null("interface");
    } else {
        object.text("interface", address.intf.name());
    }
    object.word("address", addr.address().text())
        .number("prefixLength", addr.prefixLength())
        .word("family", toStrep(addr.family()));
    if (address.virtualIp) {
        object.null("subnet");
    } else {
        object.word("subnet", addr.prefix().text());
    }
    object.flag("virtual", address.virtualIp);
}

template <class Write>
Json jsonOfObject(Write const& write) {
    std::string text;
    ObjectText object(text);
    write(object);
    object.end();
    return Json::parse(text);
}

}  // namespace

void writeAddress(ObjectText& object, ListedAddress const& address) {
    writeWithoutPlace(object, address);
    object.word("place", toStrep(address.place)).word("state", toStrep(address.state));
    if (address.place == Place::waiting) {
        writeWaitsFor(object, address);
    }
    if (address.place == Place::leftOut) {
        object.text("why", address.why);
    }
}

void writeRow(ObjectText& object, L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& row) {
    auto const& [key, intf, subnet] = row;
    writeWithoutPlace(object,
                      {.vrf = vrf,
                       .intf = intf,
                       .addr = {key.addr, key.virtualIp ? Nimb::maxPrefixLength(key.addr.family())
                                                        : subnet.prefixLength()},
                       .virtualIp = key.virtualIp});
}

Json jsonOf(ListedAddress const& address) {
    return jsonOfObject([&address](ObjectText& object) { writeAddress(object, address); });
}

Json jsonOf(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& row) {
    return jsonOfObject([&vrf, &row](ObjectText& object) { writeRow(object, vrf, row); });
}

}  // namespace IntfAddr
