#include "ChangeList.h"

#include <array>
#include <optional>
#include <utility>

#include "Zin/Format.h"
#include "random/Random.h"
#include "random/StatusChange.h"

namespace Nested {
namespace {

using Addr = Nimb::IpGenAddrWithMask;
using Kind = Operation::Kind;
using RandomStatus::Random;

// Few enough that interfaces meet: in one address, in one subnet, in one address of two lengths.
struct Pool {
    std::array<Nimb::IntfId, 3> intfs{"Ethernet0", "Ethernet1", "Ethernet2"};
    std::array<Addr, 5> ip{Addr("10.0.0.1/24"), Addr("10.0.0.1/16"), Addr("10.0.0.2/24"),
                           Addr("10.0.0.2/16"), Addr("10.5.0.1/24")};
    std::array<Addr, 5> ip6{Addr("2001:db8::1/64"), Addr("2001:db8::1/48"), Addr("2001:db8::2/64"),
                            Addr("2001:db8::2/48"), Addr("2001:db8:5::1/64")};
    std::array<Addr, 3> linkLocal{Addr("fe80::1/64"), Addr("fe80::1/10"), Addr("fe80::2/64")};
};

struct Unrelated {
    Nimb::IntfId intf{"Ethernet9"};
    Addr ip{"172.16.9.1/24"};
    Addr ip6{"2001:db8:9::1/64"};
    Addr linkLocal{"fe80:9::9/64"};
};

Pool const& pool() {
    static Pool const pool;
    return pool;
}

Unrelated const& unrelated() {
    static Unrelated const unrelated;
    return unrelated;
}

Addr anyIp(Random& random) { return random.oneOf(pool().ip); }

Addr anyIp6(Random& random) {
    return random.isOneIn(3) ? random.oneOf(pool().linkLocal) : random.oneOf(pool().ip6);
}

// One of these is as likely as its number says.
struct Weight {
    Kind kind;
    std::uint32_t weight;
};

template <std::size_t n>
Kind anyKind(Random& random, Weight const (&weights)[n]) {
    std::uint32_t sum = 0;
    for (auto const& weight : weights) {
        sum += weight.weight;
    }
    std::uint32_t at = random.below(sum);
    for (auto const& weight : weights) {
        if (at < weight.weight) {
            return weight.kind;
        }
        at -= weight.weight;
    }
    return weights[0].kind;
}

Operation withDetails(Random& random, Kind kind) {
    Operation operation{.kind = kind, .intf = random.oneOf(pool().intfs)};
    switch (kind) {
        case Kind::ipIntfAdd:
            operation.addr = random.isOneIn(3) ? Addr() : anyIp(random);
            operation.second = random.isOneIn(2) ? Addr() : anyIp(random);
            break;
        case Kind::ipPrimary:
            operation.addr = random.isOneIn(4) ? Addr() : anyIp(random);
            break;
        case Kind::ipUnnumbered:
            operation.flag = random.isOneIn(2);
            break;
        case Kind::ipSecondaryAdd:
        case Kind::ipSecondaryDel:
            operation.addr = anyIp(random);
            break;
        case Kind::ip6IntfAdd:
            operation.addr = random.isOneIn(3) ? Addr() : anyIp6(random);
            operation.second = random.isOneIn(2) ? Addr() : anyIp6(random);
            operation.flag = random.isOneIn(4);
            break;
        case Kind::ip6AddrSet:
            operation.addr = anyIp6(random);
            operation.flag = random.isOneIn(4);
            break;
        case Kind::ip6AddrDel:
            operation.addr = anyIp6(random);
            break;
        case Kind::vipAdd:
        case Kind::vipDel:
            operation.intf = {};
            operation.addr = random.isOneIn(2) ? pool().ip[0] : pool().ip6[0];
            break;
        case Kind::advance: {
            static constexpr Zin::Seconds times[] = {0.5, 1.0, 1.5, 2.0};
            operation.intf = {};
            operation.seconds = random.oneOf(times);
            break;
        }
        default:
            break;
    }
    return operation;
}

Operation anyOperation(Random& random, Manager manager) {
    if (manager == Manager::comesAndGoes && random.isOneIn(12)) {
        return {.kind = random.isOneIn(2) ? Kind::managerStop : Kind::managerStart};
    }
    static constexpr Weight weights[] = {
        {Kind::ipPrimary, 4},  {Kind::ipSecondaryAdd, 4}, {Kind::ipSecondaryDel, 3},
        {Kind::ip6AddrSet, 6}, {Kind::ip6AddrDel, 4},     {Kind::ipIntfAdd, 2},
        {Kind::ipIntfDel, 2},  {Kind::ip6IntfAdd, 2},     {Kind::ip6IntfDel, 2},
        {Kind::kernelAdd, 2},  {Kind::kernelDel, 2},      {Kind::ipUnnumbered, 1},
        {Kind::vipAdd, 1},     {Kind::vipDel, 1}};
    return withDetails(random, anyKind(random, weights));
}

Operation anyOuterOfSameAddresses(Random& random) {
    static constexpr Weight weights[] = {{Kind::ipPrimary, 2},
                                         {Kind::ipSecondaryAdd, 2},
                                         {Kind::ip6AddrSet, 4},
                                         {Kind::ipUnnumbered, 1}};
    return withDetails(random, anyKind(random, weights));
}

Operation anyUnrelated(Random& random) {
    auto const& [intf, ip, ip6, linkLocal] = unrelated();
    switch (random.below(4)) {
        case 0:
            return {.kind = Kind::ipPrimary, .intf = intf, .addr = ip};
        case 1:
            return {.kind = Kind::ipSecondaryAdd, .intf = intf, .addr = ip};
        case 2:
            return {.kind = Kind::ip6AddrSet, .intf = intf, .addr = ip6};
        default:
            return {.kind = Kind::ip6AddrSet, .intf = intf, .addr = linkLocal};
    }
}

Operation undoing(Operation operation) {
    switch (operation.kind) {
        case Kind::ipPrimary:
            operation.addr = {};
            break;
        case Kind::ipSecondaryAdd:
            operation.kind = Kind::ipSecondaryDel;
            break;
        case Kind::ipUnnumbered:
            operation.flag = !operation.flag;
            break;
        default:
            operation.kind = Kind::ip6AddrDel;
    }
    return operation;
}

std::string lines(std::vector<Operation> const& operations) {
    std::string text;
    for (auto const& operation : operations) {
        text += toLine(operation) + "\n";
    }
    return text;
}

}  // namespace

ChangeList randomList(std::uint64_t seed, std::uint64_t number, Outer outer, Manager manager) {
    Random random(seed, number);
    ChangeList list{
        .intfCleanupDelay = random.isOneIn(2) ? 0.0 : 1.5,
        .observerIsOlder = random.isOneIn(2),
        .outer = outer == Outer::unrelated ? anyUnrelated(random) : anyOuterOfSameAddresses(random),
        .nested = {},
        .when = random.below(64)};
    for (std::uint32_t n = random.below(9); n > 0; --n) {
        list.before.push_back(random.isOneIn(6) ? withDetails(random, Kind::advance)
                                                : anyOperation(random, manager));
    }
    if (random.isOneIn(2)) {
        auto const at = random.below(static_cast<std::uint32_t>(list.before.size()) + 1);
        list.before.insert(list.before.begin() + at, list.outer);
        list.outer = undoing(list.outer);
    }
    if (list.outer.kind == Kind::ipPrimary && list.outer.addr != Addr() && random.isOneIn(2)) {
        // One that it takes the place of.
        Operation older = list.outer;
        older.addr = outer == Outer::unrelated ? Addr("172.16.9.2/24") : anyIp(random);
        list.before.push_back(older);
    }
    for (std::uint32_t n = 1 + random.below(6); n > 0; --n) {
        list.nested.push_back(anyOperation(random, manager));
    }
    return list;
}

std::vector<Operation> const& setup() {
    static std::vector<Operation> const operations = [] {
        std::vector<Operation> all;
        for (auto const* intf : {"Ethernet0", "Ethernet1", "Ethernet2", "Ethernet9"}) {
            all.push_back({.kind = Kind::kernelAdd, .intf = intf});
            all.push_back({.kind = Kind::ipIntfAdd, .intf = intf});
            all.push_back({.kind = Kind::ip6IntfAdd, .intf = intf});
        }
        return all;
    }();
    return operations;
}

std::vector<Operation> operationsOf(ChangeList const& list, Part part) {
    std::vector<Operation> operations;
    if (part == Part::whole) {
        operations = {list.outer};
        operations.insert(operations.end(), list.nested.begin(), list.nested.end());
        return operations;
    }
    operations = {{.kind = Kind::ipPrimary, .intf = list.outer.intf}};
    std::optional<Operation> toCome = list.outer;
    for (auto const& operation : list.nested) {
        bool const isOwn = operation.intf == list.outer.intf;
        if (toCome && isOwn && operation.kind == Kind::ipPrimary &&
            operation.addr == toCome->addr) {
            continue;  // the status has it already
        }
        operations.push_back(operation);
        if (isOwn && (operation.kind == Kind::ipPrimary || operation.kind == Kind::ipIntfAdd ||
                      operation.kind == Kind::ipIntfDel)) {
            toCome.reset();
        } else if ((isOwn && operation.kind == Kind::ipUnnumbered && operation.flag) ||
                   operation.kind == Kind::managerStop) {
            // From now on nobody would be told of it.
            if (auto const silent = std::exchange(toCome, std::nullopt)) {
                operations.push_back(*silent);
            }
        }
    }
    if (toCome) {
        operations.push_back(*toCome);
    }
    return operations;
}

std::string toScenario(ChangeList const& list, Part part) {
    std::string text =
        fmt::format(R"({{"op": "config", "intfCleanupDelay": {}}})", list.intfCleanupDelay) + "\n";
    for (auto const* op : {"ip.vrf.add", "ip6.vrf.add", "table.add"}) {
        text += fmt::format(R"({{"op": "{}", "vrf": "{}"}})", op, RandomStatus::vrf) + "\n";
    }
    text += lines(setup());
    text += "# before\n" + lines(list.before);
    text += "# the observer is told of\n# " + toLine(list.outer) + "\n# and does\n";
    for (auto const& operation : list.nested) {
        text += "# " + toLine(operation) + "\n";
    }
    text += "# in this order\n" + lines(operationsOf(list, part));
    text += R"({"op": "snapshot"})"
            "\n"
            R"({"op": "advance", "seconds": 20})"
            "\n"
            R"({"op": "snapshot"})"
            "\n";
    return text;
}

}  // namespace Nested
