#include "intfaddr/Report.h"

#include <algorithm>
#include <map>
#include <string>

namespace IntfAddr {

Report makeReport(Routing::Router const& router, Question const& question) {
    Report report;
    for (auto const& vrf : question.vrf ? std::vector{*question.vrf} : router.vrfs()) {
        VrfReport one{
            .vrf = vrf,
            .rows = question.addr ? router.ownersOf(vrf, *question.addr) : router.rows(vrf),
            .deferred = router.deferredAddrs(vrf)};
        if (question.addr) {
            std::erase_if(one.deferred, [&question](Routing::DeferredAddr const& deferred) {
                return deferred.addr.address() != *question.addr;
            });
        }
        report.push_back(std::move(one));
    }
    return report;
}

void addFromFeed(Report& report, Netlink::Feed const& feed,
                 std::optional<Nimb::IpGenAddr> const& addr) {
    std::map<L3::VrfName, VrfReport*> vrfs;
    for (VrfReport& one : report) {
        vrfs.emplace(one.vrf, &one);
    }
    feed.forEachAddress([&](L3::VrfName const& vrf, Nimb::IntfId const& intf,
                            Netlink::AddressPicture const& address) {
        auto const one = vrfs.find(vrf);
        if (one != vrfs.end() && address.place != Netlink::Place::published &&
            (!addr || address.addr.address() == *addr)) {
            one->second->unpublished.push_back(
                {.addr = address.addr, .intfId = intf, .why = std::string(toStrep(address.place))});
        }
    });
    for (auto const& [vrf, why] : feed.stale()) {
        if (auto const one = vrfs.find(vrf); one != vrfs.end()) {
            one->second->stale = why;
        }
    }
}

bool hasRow(Report const& report) {
    return std::ranges::any_of(report, [](VrfReport const& one) { return !one.rows.empty(); });
}

}  // namespace IntfAddr
