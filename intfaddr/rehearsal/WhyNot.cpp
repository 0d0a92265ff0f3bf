#include "intfaddr/rehearsal/WhyNot.h"

#include <algorithm>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

#include "Zin/Format.h"
#include "intfaddr/answer/AddressList.h"
#include "intfaddr/answer/AnswerJson.h"
#include "intfaddr/answer/Explanation.h"
#include "intfaddr/answer/Question.h"

namespace IntfAddr {

namespace {

using Nimb::AddressFamily;
using Routing::Operation;

// RFC 1122, section 3.2.1.3, and RFC 4291, sections 2.5.2 and 2.7: no interface has these.
void checkCanBeConfigured(Nimb::IpGenAddr const& addr) {
    static std::vector<std::pair<Nimb::IpGenPrefix, char const*>> const impossible{
        {Nimb::IpGenPrefix("0.0.0.0/8"), "of this host on this network"},
        {Nimb::IpGenPrefix("224.0.0.0/4"), "multicast"},
        {Nimb::IpGenPrefix("::/128"), "unspecified"},
        {Nimb::IpGenPrefix("ff00::/8"), "multicast"}};
    for (auto const& [prefix, what] : impossible) {
        if (addr.family() == prefix.family() &&
            Nimb::IpGenAddrWithMask(addr, prefix.prefixLength()).prefix() == prefix) {
            throw BadQuestion(
                fmt::format("'{}' is no address of an interface: it is {}", addr.toStrep(), what));
        }
    }
}

// As the kernel's messages would come to be published.
std::vector<Operation> operationsFor(Routing::Published const& published, L3::VrfName const& vrf,
                                     IpLib::IntfAddrWithMaskKey const& key) {
    auto const& [intf, addr] = key;
    if (addr.family() == AddressFamily::ipv6) {
        Nimb::Ip6AddrWithMask const address(addr.address().ip6(), addr.prefixLength());
        auto const vrfStatus = published.ip6Status();
        if (vrfStatus && vrfStatus->intfStatusHas(intf)) {
            return {Routing::Ip6AddrSet{vrf, intf, {.addr = address}}};
        }
        Routing::Ip6IntfAdd const status{vrf, intf, {{.addr = address}}};
        return vrfStatus ? std::vector<Operation>{status}
                         : std::vector<Operation>{Routing::Ip6VrfAdd{vrf}, status};
    }
    Nimb::IpAddrWithMask const address(addr.address().ip4(), addr.prefixLength());
    auto const vrfStatus = published.ipStatus();
    auto const status = vrfStatus ? vrfStatus->ipIntfStatus(intf) : nullptr;
    if (!status) {
        Routing::IpIntfAdd const made{vrf, intf, {.primary = address}};
        return vrfStatus ? std::vector<Operation>{made}
                         : std::vector<Operation>{Routing::IpVrfAdd{vrf}, made};
    }
    if (Routing::Published::hasPrimary(*status)) {
        return {Routing::IpSecondaryAdd{vrf, intf, address}};
    }
    return {Routing::IpUnnumberedIs{vrf, intf, {}}, Routing::IpPrimaryIs{vrf, intf, address}};
}

// Those that would not come about without it.
std::vector<Rehearsal::Change> changesBeside(std::vector<Rehearsal::Change> changes,
                                             std::vector<Rehearsal::Change> const& anyway) {
    auto const before = [](auto const& a, auto const& b) {
        return std::tie(a.at, a.present, a.row) < std::tie(b.at, b.present, b.row);
    };
    std::multiset<Rehearsal::Change, decltype(before)> others(anyway.begin(), anyway.end(), before);
    std::erase_if(changes, [&others](auto const& change) {
        auto const other = others.find(change);
        return other != others.end() && (others.erase(other), true);
    });
    return changes;
}

}  // namespace

Json jsonOf(Rehearsal::Change const& change) {
    Json json{{"at", change.at}, {"present", change.present}};
    json.update(jsonOf(change.vrf, change.row));
    return json;
}

Json whyNot(std::string_view state, L3::VrfName const& vrf, IpLib::IntfAddrWithMaskKey const& key) {
    checkCanBeConfigured(key.addrWithMask.address());
    Json answer;
    std::vector<Rehearsal::Change> changes;
    {
        Rehearsal rehearsal(state);
        auto& router = rehearsal.router();
        if (!router.tables()->intfAddrVrfTableHas(vrf)) {
            return nullptr;
        }
        auto const published = router.published(vrf);
        answer["already"] = published.deprecated(key).has_value();
        if (!published.deprecated(key)) {
            for (auto const& operation : operationsFor(published, vrf, key)) {
                rehearsal.apply(operation);
            }
        }
        auto const address = listed(router, vrf, *router.table(vrf), key);
        auto const told = Explainer(router, std::nullopt, {}).ofPlace(address);
        answer["address"] = jsonOf(address);
        answer["verdict"] = toStrep(told.verdict);
        answer["sentence"] = told.sentence;
        answer["reasons"] = told.reasons;
        rehearsal.goOnToTheEnd();
        changes = rehearsal.changes();
        answer["remarks"] = rehearsal.remarks();
    }
    // What is due anyway is told of by nobody here.
    bool const isLater =
        std::ranges::any_of(changes, [](auto const& change) { return change.at > 0.0; });
    if (isLater) {
        Rehearsal without(state);
        without.goOnToTheEnd();
        changes = changesBeside(std::move(changes), without.changes());
    }
    answer["changes"] = Json::array();
    for (auto const& change : changes) {
        answer["changes"].push_back(jsonOf(change));
    }
    return answer;
}

bool isAdmitted(Json const& answer) { return answer["address"]["place"] == toStrep(Place::table); }

}  // namespace IntfAddr
