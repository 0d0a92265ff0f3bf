#include "intfaddr/rehearsal/Reduction.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <set>
#include <utility>

#include "intfaddr/answer/AddressList.h"
#include "intfaddr/answer/AnswerJson.h"

namespace IntfAddr {

namespace {

using Clock = std::chrono::steady_clock;
using Lines = std::vector<std::string>;

// What the answers of an agent and of its copy have in common: a copy knows of no kernel's states.
std::string standing(Json const& address) {
    Json const place{address["interface"], address["address"], address["prefixLength"],
                     address["virtual"],   address["place"],   address.value("waitsFor", Json())};
    return toLine(place);
}

bool isPublished(Json const& address) { return address["place"] != toStrep(Place::leftOut); }

class Reducer {
public:
    Reducer(L3::VrfName vrf, Nimb::IpGenAddr addr, Json const& wanted,
            std::chrono::nanoseconds most)
        : vrf_(std::move(vrf)), addr_(addr), end_(Clock::now() + most) {
        for (auto const& address : wanted) {
            if (isPublished(address)) {
                wanted_.insert(standing(address));
                concern(address["interface"]);
                if (address.contains("waitsFor") && !address["waitsFor"].is_null()) {
                    concern(address["waitsFor"]["interface"]);
                }
            }
        }
    }

    Reduced reduce(std::string_view state) {
        auto const all = concerning(state);
        Reduced result;
        std::ranges::copy_if(all, std::back_inserter(result.lines),
                             [this](auto const& line) { return isNear(line); });
        result.isSame = isSame(result.lines);
        if (!result.isSame) {
            result = {.lines = all, .isSame = isSame(all)};
        }
        for (std::size_t size = result.lines.size() / 2; result.isSame && size > 0; size /= 2) {
            leaveOut(result.lines, size);
        }
        return result;
    }

private:
    void concern(Json const& intf) {
        if (intf.is_string()) {
            intfs_.insert(intf.get<std::string>());
        }
    }

    Lines concerning(std::string_view state) const {
        Lines lines;
        Scenario::forEachLine(state, [this, &lines](std::string_view line) {
            if (concerns(Scenario::Json::parse(line))) {
                lines.emplace_back(line);
            }
        });
        return lines;
    }
    bool concerns(Scenario::Json const& line) const {
        auto const op = line["op"].get<std::string>();
        if (op.starts_with("vip")) {
            return Nimb::IpGenAddrWithMask(withLength(line["addr"])).address() == addr_;
        }
        return !line.contains("intf") || intfs_.contains(line["intf"].get<std::string>());
    }
    // An interface may have very many addresses, of which few have a say: to try which ones would
    // take more time than there is. Only one that is link-local stands in the way of such a one.
    bool isNear(std::string const& text) const {
        auto const line = Scenario::Json::parse(text);
        if (!line.contains("addr") || addr_.isV6LinkLocal()) {
            return true;
        }
        Nimb::IpGenAddrWithMask const addr(withLength(line["addr"]));
        return addr.family() == addr_.family() &&
               Nimb::IpGenAddrWithMask(addr_, addr.prefixLength()).prefix() == addr.prefix();
    }
    static std::string withLength(std::string addr) {
        return addr.find('/') == addr.npos ? addr + "/128" : addr;
    }

    // Each run of `size` lines that may go, from the last to the first. The first line of all
    // configures, and stays.
    void leaveOut(Lines& lines, std::size_t size) const {
        for (std::size_t at = lines.size(); at > 1 && Clock::now() < end_;) {
            std::size_t const begin = at > size + 1 ? at - size : 1;
            Lines fewer(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(begin));
            fewer.insert(fewer.end(), lines.begin() + static_cast<std::ptrdiff_t>(at), lines.end());
            if (isSame(fewer)) {
                lines = std::move(fewer);
            }
            at = begin;
        }
    }

    bool isSame(Lines const& lines) const {
        std::string state;
        for (auto const& line : lines) {
            state += line + '\n';
        }
        Rehearsal rehearsal(state);
        return rehearsal.leftOut() == 0 && placesIn(rehearsal.router()) == wanted_;
    }

    std::multiset<std::string> placesIn(Routing::Router const& router) const {
        std::multiset<std::string> places;
        auto const table = router.tables()->intfAddrVrfTable(vrf_);
        if (!table) {
            return places;
        }
        std::set<IpLib::IntfAddrWithMaskKey> keys;
        for (auto const& row : Routing::ownersOf(*table, addr_)) {
            if (row.virtualIp) {
                places.insert(standing(jsonOf({.vrf = vrf_,
                                               .intf = {},
                                               .addr = {row.addr, row.prefixLength()},
                                               .virtualIp = true})));
            } else {
                keys.insert({row.intfId, {row.addr, row.prefixLength()}});
            }
        }
        router.published(vrf_).forEach([&](IpLib::IntfAddrWithMaskKey const& key, bool) {
            if (key.addrWithMask.address() == addr_) {
                keys.insert(key);
            }
        });
        for (auto const& key : keys) {
            auto const address = jsonOf(listed(router, vrf_, *table, key));
            if (isPublished(address)) {
                places.insert(standing(address));
            }
        }
        return places;
    }

    L3::VrfName const vrf_;
    Nimb::IpGenAddr const addr_;
    Clock::time_point const end_;
    std::multiset<std::string> wanted_;
    std::set<std::string> intfs_;
};

}  // namespace

Reduced reduced(std::string_view state, L3::VrfName const& vrf, Nimb::IpGenAddr const& addr,
                Json const& wanted, std::chrono::nanoseconds most) {
    return Reducer(vrf, addr, wanted, most).reduce(state);
}

}  // namespace IntfAddr
