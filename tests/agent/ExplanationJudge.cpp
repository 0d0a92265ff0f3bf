#include "ExplanationJudge.h"

#include <algorithm>
#include <string>
#include <vector>

#include "Zin/Format.h"
#include "intfaddr/answer/Answers.h"

namespace Simulated {
namespace {

using IntfAddr::Json;
using Texts = std::vector<std::string>;

// What is to be told of each address: "VRF INTERFACE VERDICT", and behind whom it waits, of those
// who may be in its way any.
struct Truth {
    std::string place;
    Texts holders{};
};
using Truths = std::map<Nimb::IpGenAddr, std::vector<Truth>>;

std::string behind(Nimb::IpGenAddrWithMask const& addr, Nimb::IntfId const& intf) {
    return fmt::format(", behind {} on {}", addr, intf);
}

class Stand {
public:
    Stand(L3::VrfName const& vrf, IpLib::IntfAddrVrfTable const& table, Truths& truths)
        : vrf_(vrf), table_(table), truths_(truths) {}

    void add(Nimb::IntfId const& intf, WantedIntf const& one) {
        std::set<Nimb::IpAddrWithMask> seen;
        for (auto const& addr : one.ip4) {
            if (!seen.insert(addr).second) {
                addAs("repeated", intf, addr.address());
            } else if (!one.lenders.empty()) {
                addLender(intf, addr);
            } else {
                addPublished(intf, addr);
            }
        }
        for (auto const& [addr, deprecated] : one.ip6) {
            addPublished(intf, addr);
        }
        for (auto const& [addr, isDuplicate] : one.keptBack) {
            addAs(isDuplicate ? "duplicate" : "tentative", intf, addr.address());
        }
    }

private:
    void addAs(std::string_view verdict, Nimb::IntfId const& intf, Nimb::IpGenAddr const& addr,
               Texts holders = {}) {
        truths_[addr].push_back({fmt::format("{} {} {}", vrf_, intf, verdict), std::move(holders)});
    }

    void addLender(Nimb::IntfId const& intf, Nimb::IpGenAddrWithMask const& addr) {
        addAs("borrowed", intf, addr.address());
    }

    // In its table, or behind somebody who is there.
    void addPublished(Nimb::IntfId const& intf, Nimb::IpGenAddrWithMask const& addr) {
        Texts holders;
        for (auto const& member : table_.intfAddrEntry()) {
            auto const& row = member.key;
            Nimb::IpGenAddrWithMask const its(row.key.addr, row.subnet.prefixLength());
            if (row.intfId == intf && its == addr) {
                return addAs("owned", intf, addr.address());
            }
            if (addr.isV6LinkLocal() ? row.intfId == intf && its.isV6LinkLocal()
                                     : row.key.addr == addr.address()) {
                holders.push_back(behind(its, row.intfId));
            }
        }
        for (auto const& member : table_.intfAddrEntrySetFromSubnet()) {
            if (member.key == addr.prefix() && member.value->intfId() != intf) {
                holders.push_back(fmt::format(", behind {}, which is connected to {}", member.key,
                                              member.value->intfId()));
            }
        }
        addAs("waiting", intf, addr.address(), std::move(holders));
    }

    L3::VrfName const& vrf_;
    IpLib::IntfAddrVrfTable const& table_;
    Truths& truths_;
};

Json explained(IntfAddr::Agent& agent, Nimb::IpGenAddr const& addr) {
    IntfAddr::Answers const answers(agent.router(), agent.feed(), "agent");
    IntfAddr::Request request;
    request.method = "GET";
    request.target = {.segments = {"v1", "explain"}, .query = {{"address", addr.toStrep()}}};
    IntfAddr::Routes routes;
    answers.addTo(routes);
    IntfAddr::Reply const reply = routes.reply(request);
    return Json::parse(drained(*reply.body))["explanations"];
}

void judge(Nimb::IpGenAddr const& addr, std::vector<Truth> const& truths, Json const& explanations,
           bool isHiding, Faults& faults) {
    Texts told;
    for (auto const& one : explanations) {
        auto const verdict = one["verdict"].get<std::string>();
        if (verdict == "none" || verdict == "connected" || (verdict == "not-known" && isHiding)) {
            continue;
        }
        auto const place = fmt::format("{} {} {}", one["vrf"].get<std::string>(),
                                       one["interface"].get<std::string>(), verdict);
        auto const sentence = one["sentence"].get<std::string>();
        told.push_back(place);
        bool const isTrue = std::ranges::any_of(truths, [&](Truth const& truth) {
            return truth.place == place &&
                   (verdict != "waiting" ||
                    std::ranges::any_of(truth.holders, [&sentence](auto const& holder) {
                        return sentence.find(holder) != sentence.npos;
                    }));
        });
        if (!isTrue) {
            faults.add("explained wrongly", "{}: {}: {}", addr, place, sentence);
        }
    }
    Texts wanted;
    for (Truth const& truth : truths) {
        wanted.push_back(truth.place);
    }
    std::ranges::sort(told);
    std::ranges::sort(wanted);
    if (told != wanted) {
        faults.add("explained wrongly", "{}: {}, and not {}", addr, fmt::join(told, ", "),
                   fmt::join(wanted, ", "));
    }
}

}  // namespace

void judgeExplanations(Wanted const& wanted, IntfAddr::Agent& agent, Faults& faults) {
    Truths truths{{Nimb::IpGenAddr("203.0.113.77"), {}}};
    std::set<Nimb::IpGenAddr> untold;
    for (auto const& [vrf, one] : wanted) {
        auto const table = agent.router().tables()->intfAddrVrfTable(vrf);
        if (!table) {
            return;  // said of the status already
        }
        for (auto const& [intf, its] : one.intfs) {
            Stand(vrf, *table, truths).add(intf, its);
            for (auto const& addr : its.untold) {
                untold.insert(addr.address());
            }
        }
    }
    // What could have it and cannot be read is named.
    bool const isHiding = !agent.feed().hidden().empty();
    for (auto const& [addr, places] : truths) {
        if (!untold.contains(addr)) {
            judge(addr, places, explained(agent, addr), isHiding, faults);
        }
    }
}

}  // namespace Simulated
