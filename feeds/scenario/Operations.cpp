#include "feeds/scenario/Operations.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Zin/Format.h"
#include "feeds/scenario/Snapshot.h"

namespace Scenario {

namespace {

using Routing::Effect;

constexpr std::string_view ipWithMask = "an IPv4 address with a prefix length";
constexpr std::string_view ip6WithMask = "an IPv6 address with a prefix length";
constexpr std::uint32_t maxIndent = 10'000;

Nimb::IpAddrWithMask ipAddr(Fields const& fields, std::string_view name = "addr") {
    return fields.value<Nimb::IpAddrWithMask>(name, ipWithMask);
}

Nimb::Ip6AddrWithMask ip6Addr(Fields const& fields) {
    return fields.value<Nimb::Ip6AddrWithMask>("addr", ip6WithMask);
}

Routing::Ip6IntfAddr ip6IntfAddr(Fields const& fields) {
    return {.addr = ip6Addr(fields), .deprecated = fields.flag("deprecated")};
}

Effect ipIntfAdd(Run& run, Fields const& fields) {
    return run.router().inputs().ipIntfAdd(
        fields.vrf(), fields.intf(),
        {.primary = ipAddr(fields, "primary"),
         .unnumberedSource = fields.intf("unnumbered"),
         .secondary = fields.values<Nimb::IpAddrWithMask>("secondary", ipWithMask)});
}

Effect ip6IntfAdd(Run& run, Fields const& fields) {
    static std::vector<Field> const syntax{{"addr"}, optional("deprecated", "false")};
    std::vector<Routing::Ip6IntfAddr> addrs;
    for (Fields const& addr : fields.objects("addrs", syntax)) {
        addrs.push_back(ip6IntfAddr(addr));
    }
    return run.router().inputs().ip6IntfAdd(fields.vrf(), fields.intf(), addrs);
}

Effect kernelAdd(Run& run, Fields const& fields) {
    auto const& name = fields.text(fields.has("deviceName") ? "deviceName" : "intf");
    return run.router().inputs().kernelAdd(fields.vrf(), fields.intf(),
                                           {.deviceName = name,
                                            .ifIndex = fields.count("ifIndex"),
                                            .operStatus = fields.value<Interface::OperStatus>(
                                                "operStatus", "the status of an interface"),
                                            .active = fields.flag("active")});
}

Nimb::Ip6Addr vip6(Fields const& fields) {
    return fields.value<Nimb::Ip6Addr>("addr", "an IPv6 address");
}

Effect advance(Run& run, Fields const& fields) {
    Zin::Seconds const seconds = fields.number("seconds");
    if (seconds < 0.0) {
        throw fields.error("seconds", "a number that is not negative");
    }
    if (!std::isfinite(run.timeOfLine() + seconds)) {
        throw fields.error("seconds", "a time that can be reached");
    }
    return [&run, seconds] { run.advanceTo(run.now() + seconds); };
}

Effect printSnapshot(Run& run, Fields const&) {
    return [&run] { run.print("snapshot", snapshot(run.router())); };
}

Effect lowest6(Run& run, Fields const& fields) {
    auto const intf = fields.intf();
    Routing::checkName(intf);
    auto const vrf = fields.vrf();
    return [&run, vrf, intf, table = run.router().table(vrf)] {
        auto const row = table->lowestV6IntfAddrEntry(intf);
        run.print("lowest6",
                  {{"vrf", vrf.bytes()},
                   {"intf", intf.name()},
                   {"addr", row ? OrderedJson(row->key().addr.toStrep()) : OrderedJson(nullptr)}});
    };
}

Effect dump(Run& run, Fields const& fields) {
    std::string const& what = fields.text("what");
    if (what != "tables" && what != "sm") {
        throw fields.error("what", "\"tables\" or \"sm\"");
    }
    // Every line has its blanks: more of them than anyone can read would take all the memory. An
    // indentation near 2^32 has few (see Velk/DumpContext.h).
    std::uint32_t const indent = fields.count("indent");
    if (std::min(indent, 0u - indent) > maxIndent) {
        throw fields.error("indent", fmt::format("an indentation of at most {} blanks", maxIndent));
    }
    auto const context =
        Velk::textDumpContextFactory(fields.flag("verbose"), fields.count("maxEntries"));
    return [&run, what, indent, context] {
        if (what == "tables") {
            run.router().tables()->dumpState(context, indent);
        } else {
            auto vrfs = run.router().vrfs();
            std::ranges::sort(vrfs);
            for (auto const& vrf : vrfs) {
                if (auto const sm = run.router().tableSm(vrf)) {
                    sm->dumpState(context, indent);
                }
            }
        }
        run.print("dump", context->text());
    };
}

// The interface that owns the address; a link-local address is looked for on `intf` alone, or on
// every interface where that is none.
std::optional<std::string> ownerOf(IpLib::IntfAddrVrfTable const& table,
                                   Nimb::IpGenAddr const& addr,
                                   std::optional<std::string> const& intf) {
    using IpLib::IntfAddrEntryKey;
    if (addr.isV6LinkLocal() && !intf) {
        for (auto const& row : Routing::ownersOf(table, addr)) {
            if (!row.virtualIp) {
                return std::string(row.intfId.name());
            }
        }
        return std::nullopt;
    }
    auto const row =
        table.intfAddrEntryFromAddr(addr.isV6LinkLocal() ? IntfAddrEntryKey::makeLlKey(addr, *intf)
                                                         : IntfAddrEntryKey::makeIpKey(addr));
    return row ? std::optional(std::string(row->intfId().name())) : std::nullopt;
}

// What is expected, and how to find what there is, in the same form.
struct Expectation {
    std::string name;
    OrderedJson expected;
    std::function<OrderedJson()> find;
};

std::vector<std::string> sortedTexts(Fields const& fields, Json const& list) {
    auto const wrong = [&fields] { return fields.error("rows", "a list of texts for each VRF"); };
    if (!list.is_array()) {
        throw wrong();
    }
    std::vector<std::string> texts;
    for (Json const& text : list) {
        if (!text.is_string()) {
            throw wrong();
        }
        texts.push_back(text.get<std::string>());
    }
    std::ranges::sort(texts);
    return texts;
}

Expectation expectedRows(Routing::Router const& router, Fields const& fields) {
    OrderedJson expected = OrderedJson::object();
    for (auto const& [vrf, list] : fields.object("rows").items()) {
        router.table(vrf);
        expected[vrf] = sortedTexts(fields, list);
    }
    return {"rows", expected, [&router, expected] {
                OrderedJson found = OrderedJson::object();
                for (auto const& member : expected.items()) {
                    found[member.key()] = rowTexts(*router.table(member.key()));
                }
                return found;
            }};
}

Expectation expectedOwner(Routing::Router const& router, Fields const& fields) {
    static std::vector<Field> const syntax{{"vrf"}, {"addr"}, {"intf"}};
    Fields const lookup(fields.object("lookup"), syntax, "lookup.");
    auto const vrf = lookup.vrf();
    auto const addr = lookup.value<Nimb::IpGenAddr>("addr", "an address");
    if (addr == Nimb::IpGenAddr()) {
        throw lookup.error("addr", "an address");
    }
    std::optional<std::string> intf;
    if (Json const& name = lookup.json("intf"); !name.is_null()) {
        if (!name.is_string()) {
            throw lookup.error("intf", "a text or null");
        }
        intf = lookup.text("intf");
        Routing::checkName(lookup.intf());
    }
    router.table(vrf);
    auto const json = [vrf, addr](std::optional<std::string> const& owner) -> OrderedJson {
        return {{"vrf", vrf.bytes()},
                {"addr", addr.toStrep()},
                {"intf", owner ? OrderedJson(*owner) : OrderedJson(nullptr)}};
    };
    return {"lookup", json(intf), [&router, vrf, addr, intf, json] {
                return json(ownerOf(*router.table(vrf), addr, intf));
            }};
}

Effect expect(Run& run, Fields const& fields) {
    std::vector<Expectation> all;
    if (fields.has("rows")) {
        all.push_back(expectedRows(run.router(), fields));
    }
    if (fields.has("lookup")) {
        all.push_back(expectedOwner(run.router(), fields));
    }
    return [&run, all] {
        for (auto const& [name, expected, find] : all) {
            OrderedJson const found = find();
            if (found != expected) {
                run.print("expect", {{"line", run.line()},
                                     {"expected", {{name, expected}}},
                                     {"found", {{name, found}}}});
                run.expectationFails();
            }
        }
    };
}

std::vector<Operation> makeOperations() {
    std::vector<Field> const none;
    std::vector<Field> const vrf{{"vrf"}};
    std::vector<Field> const intf{{"vrf"}, {"intf"}};
    std::vector<Field> const intfAddr{{"vrf"}, {"intf"}, {"addr"}};
    std::vector<Field> const vrfAddr{{"vrf"}, {"addr"}};
    return {
        {configOp,
         {optional("intfCleanupDelay", "1.5"), optional("deferredIntfAddDelay", "2.0"),
          optional("ignoreKernelInterfaceState", "false"), optional("taskPriority", "3"),
          optional("yieldEvery", "0")},
         [](Run&, Fields const&) -> Effect {
             throw LineError("'config' is not the first operation");
         }},
        {"manager.stop", none, [](Run& run, Fields const&) { return run.router().managerStop(); }},
        {"manager.start", none,
         [](Run& run, Fields const&) { return run.router().managerStart(); }},
        {"table.add", vrf,
         [](Run& run, Fields const& f) { return run.router().tableAdd(f.vrf()); }},
        {"table.del", vrf,
         [](Run& run, Fields const& f) { return run.router().tableDel(f.vrf()); }},
        {"ip.vrf.add", vrf,
         [](Run& run, Fields const& f) { return run.router().inputs().ipVrfAdd(f.vrf()); }},
        {"ip.vrf.del", vrf,
         [](Run& run, Fields const& f) { return run.router().inputs().ipVrfDel(f.vrf()); }},
        {"ip6.vrf.add", vrf,
         [](Run& run, Fields const& f) { return run.router().inputs().ip6VrfAdd(f.vrf()); }},
        {"ip6.vrf.del", vrf,
         [](Run& run, Fields const& f) { return run.router().inputs().ip6VrfDel(f.vrf()); }},
        {"ip.intf.add",
         {{"vrf"},
          {"intf"},
          optional("primary", "\"0.0.0.0/0\""),
          optional("unnumbered", "\"\""),
          optional("secondary", "[]")},
         ipIntfAdd},
        {"ip.intf.del", intf,
         [](Run& run, Fields const& f) {
             return run.router().inputs().ipIntfDel(f.vrf(), f.intf());
         }},
        {"ip.primary", intfAddr,
         [](Run& run, Fields const& f) {
             return run.router().inputs().ipPrimaryIs(f.vrf(), f.intf(), ipAddr(f));
         }},
        {"ip.unnumbered",
         {{"vrf"}, {"intf"}, {"source"}},
         [](Run& run, Fields const& f) {
             return run.router().inputs().ipUnnumberedIs(f.vrf(), f.intf(), f.intf("source"));
         }},
        {"ip.secondary.add", intfAddr,
         [](Run& run, Fields const& f) {
             return run.router().inputs().ipSecondaryAdd(f.vrf(), f.intf(), ipAddr(f));
         }},
        {"ip.secondary.del", intfAddr,
         [](Run& run, Fields const& f) {
             return run.router().inputs().ipSecondaryDel(f.vrf(), f.intf(), ipAddr(f));
         }},
        {"ip6.intf.add", {{"vrf"}, {"intf"}, optional("addrs", "[]")}, ip6IntfAdd},
        {"ip6.intf.del", intf,
         [](Run& run, Fields const& f) {
             return run.router().inputs().ip6IntfDel(f.vrf(), f.intf());
         }},
        {"ip6.addr.set",
         {{"vrf"}, {"intf"}, {"addr"}, optional("deprecated", "false")},
         [](Run& run, Fields const& f) {
             return run.router().inputs().ip6AddrSet(f.vrf(), f.intf(), ip6IntfAddr(f));
         }},
        {"ip6.addr.del", intfAddr,
         [](Run& run, Fields const& f) {
             return run.router().inputs().ip6AddrDel(f.vrf(), f.intf(), ip6Addr(f));
         }},
        {"kernel.add",
         {{"vrf"},
          {"intf"},
          optional("deviceName"),
          optional("ifIndex", "0"),
          optional("operStatus", "\"up\""),
          optional("active", "true")},
         kernelAdd},
        {"kernel.del", intf,
         [](Run& run, Fields const& f) {
             return run.router().inputs().kernelDel(f.vrf(), f.intf());
         }},
        {"vip.add", vrfAddr,
         [](Run& run, Fields const& f) {
             return run.router().inputs().vipAdd(f.vrf(), ipAddr(f));
         }},
        {"vip.del", vrfAddr,
         [](Run& run, Fields const& f) {
             return run.router().inputs().vipDel(f.vrf(), ipAddr(f));
         }},
        {"vip6.add", vrfAddr,
         [](Run& run, Fields const& f) { return run.router().inputs().vip6Add(f.vrf(), vip6(f)); }},
        {"vip6.del", vrfAddr,
         [](Run& run, Fields const& f) { return run.router().inputs().vip6Del(f.vrf(), vip6(f)); }},
        {"advance", {{"seconds"}}, advance},
        {"snapshot", none, printSnapshot},
        {"lowest6", intf, lowest6},
        {"dump",
         {optional("what", "\"tables\""), optional("verbose", "false"),
          optional("maxEntries", "100"), optional("indent", "0")},
         dump},
        {"expect", {optional("rows"), optional("lookup")}, expect},
    };
}

}  // namespace

std::span<Operation const> operations() {
    static std::vector<Operation> const all = makeOperations();
    return all;
}

Operation const& operationOf(std::string_view name) {
    static auto const byName = [] {
        std::unordered_map<std::string_view, Operation const*> all;
        for (Operation const& operation : operations()) {
            all.emplace(operation.name, &operation);
        }
        return all;
    }();
    auto const found = byName.find(name);
    if (found == byName.end()) {
        throw LineError(fmt::format("unknown op '{}'", shortened(name)));
    }
    return *found->second;
}

Config readConfig(Fields const& fields) {
    return {.machines = {.intfCleanupDelay = fields.number("intfCleanupDelay"),
                         .deferredIntfAddDelay = fields.number("deferredIntfAddDelay"),
                         .ignoreKernelInterfaceState = fields.flag("ignoreKernelInterfaceState"),
                         .taskPriority =
                             static_cast<Velk::TaskPriority>(fields.count("taskPriority", 255))},
            .yieldEvery = fields.count("yieldEvery")};
}

}  // namespace Scenario
