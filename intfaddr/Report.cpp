#include "intfaddr/Report.h"

#include <algorithm>

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

bool hasRow(Report const& report) {
    return std::ranges::any_of(report, [](VrfReport const& one) { return !one.rows.empty(); });
}

}  // namespace IntfAddr
