// A report with a row and a waiting address of every kind, for tests of how reports are written.
#pragma once

#include "intfaddr/Report.h"

namespace IntfAddr {

inline Routing::Row row(char const* addrWithMask, Nimb::IntfId const& intf,
                        bool deprecated = false) {
    Nimb::IpGenAddrWithMask const value(addrWithMask);
    return {.addr = value.address(),
            .intfId = intf,
            .deprecated = deprecated,
            .subnet = value.prefix()};
}

inline Routing::Row virtualRow(char const* addr) {
    return {.addr = Nimb::IpGenAddr(addr), .virtualIp = true};
}

inline Report everyKind() {
    Nimb::IpGenAddrWithMask const subnet("192.0.2.0/24");
    return {{.vrf = "default",
             .rows = {row("192.0.2.2/24", "eth0"), virtualRow("192.0.2.9"),
                      row("2001:db8::1/64", "eth0", true), row("fe80::1/64", "eth0"),
                      virtualRow("fe80::9")},
             .deferred = {{.addr = Nimb::IpGenAddrWithMask("192.0.2.3/24"),
                           .intfId = "eth1",
                           .holder = Routing::Holder{subnet, "eth0"}},
                          {.addr = Nimb::IpGenAddrWithMask("2001:db8::2/64"), .intfId = "eth1"}}},
            {.vrf = "red", .rows = {}, .deferred = {}}};
}

}  // namespace IntfAddr
