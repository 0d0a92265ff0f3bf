#include "PlainRules.h"

#include <functional>

#include "StatusChange.h"
#include "Zin/Format.h"

namespace RandomStatus {
namespace {

struct Wanted {
    Nimb::IntfId intf;
    Nimb::IpGenAddrWithMask addr;
    bool deprecated;
};

void forEachWanted(Routing::Router& router, std::function<void(Wanted const&)> const& take) {
    if (auto const status = router.inputs().ipStatus()->vrfIpIntfStatus(vrf)) {
        for (auto const& member : status->ipIntfStatus()) {
            auto const& intf = *member.value;
            if (intf.activeAddrWithMask() != Nimb::IpAddrWithMask() &&
                intf.unnumberedIntfId().empty()) {
                take({intf.intfId(), intf.activeAddrWithMask(), false});
            }
            for (auto const& secondary : intf.secondaryActiveAddrWithMask()) {
                take({intf.intfId(), secondary.key, false});
            }
        }
    }
    if (auto const status = router.inputs().ip6Status()->vrfIp6IntfStatus(vrf)) {
        for (auto const& member : status->intfStatus()) {
            for (auto const& addr : member.value->addr()) {
                take({member.key, addr.key, addr.value.deprecated});
            }
        }
    }
}

std::string line(Nimb::IpGenAddr const& addr, Nimb::IpGenPrefix const& subnet,
                 Nimb::IntfId const& intf) {
    return fmt::format("{} in {} on {}", addr, subnet, intf);
}

std::string line(IpLib::IntfAddrEntry const& row) {
    return line(row.key().addr, row.subnet(), row.intfId());
}

std::set<std::string> expected(Routing::Router& router,
                               std::function<bool(Wanted const&)> const& belongs) {
    std::set<std::string> lines;
    forEachWanted(router, [&](Wanted const& wanted) {
        if (belongs(wanted)) {
            lines.insert(line(wanted.addr.address(), wanted.addr.prefix(), wanted.intf));
        }
    });
    return lines;
}

}  // namespace

std::set<std::string> expectedRows(Routing::Router& router) {
    return expected(router, [](Wanted const&) { return true; });
}

std::set<std::string> rows(Routing::Router const& router) {
    std::set<std::string> lines;
    auto const table = router.table(vrf);
    for (auto const& member : table->intfAddrEntry()) {
        lines.insert(line(*member.value));
    }
    return lines;
}

std::set<std::string> indexedRows(Routing::Router const& router) {
    std::set<std::string> lines;
    auto const table = router.table(vrf);
    for (auto const& member : table->intfAddrEntryFromAddr()) {
        lines.insert(line(*member.value));
    }
    return lines;
}

std::set<std::string> expectedSetRows(Routing::Router& router) {
    return expected(router, [](Wanted const& wanted) {
        return !wanted.addr.isV6LinkLocal() && !wanted.deprecated;
    });
}

std::set<std::string> setRows(Routing::Router const& router) {
    std::set<std::string> lines;
    auto const table = router.table(vrf);
    for (auto const& set : table->intfAddrEntrySetFromSubnet()) {
        for (auto const& member : set.value->intfAddrEntry()) {
            lines.insert(line(member.key.addr, set.key, set.value->intfId()));
        }
    }
    return lines;
}

std::set<std::string> expectedDeprecatedRows(Routing::Router& router) {
    return expected(router, [](Wanted const& wanted) { return wanted.deprecated; });
}

std::set<std::string> deprecatedSetRows(Routing::Router const& router) {
    std::set<std::string> lines;
    auto const table = router.table(vrf);
    for (auto const& set : table->intfAddrEntrySetFromSubnet()) {
        for (auto const& member : set.value->deprecatedIntfAddrEntry()) {
            lines.insert(line(member.key.addr, set.key, set.value->intfId()));
        }
    }
    return lines;
}

std::set<std::string> expectedLinkLocals(Routing::Router& router) {
    return expected(router, [](Wanted const& wanted) { return wanted.addr.isV6LinkLocal(); });
}

std::set<std::string> linkLocals(Routing::Router const& router) {
    std::set<std::string> lines;
    auto const table = router.table(vrf);
    for (auto const& member : table->llIntfAddrEntryFromIntfId()) {
        lines.insert(line(member.value->key().addr, member.value->subnet(), member.key));
    }
    return lines;
}

}  // namespace RandomStatus
