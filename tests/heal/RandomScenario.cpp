#include "RandomScenario.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "Book.h"
#include "Profile.h"
#include "Zin/Format.h"
#include "random/Random.h"

namespace Healing {
namespace {

using Act = Profile::Act;
using Addr = Nimb::IpGenAddrWithMask;
using Kind = Operation::Kind;
using RandomStatus::Random;

constexpr Zin::Seconds grain = 0.125;
constexpr std::uint32_t usualLength = 60;  // operations, without those that set up
constexpr std::uint32_t greatLength = 200;
constexpr std::uint32_t maxIntfs = 4;
constexpr std::uint32_t hosts = 3;
constexpr std::uint32_t lengths = 3;

// Each interface has its own addresses, of several lengths the first of which is the usual one.
struct Pool {
    std::array<L3::VrfName, 3> vrfs{"default", "red", "blue"};
    std::array<Nimb::IntfId, maxIntfs> intfs{"Ethernet1", "Ethernet2", "Ethernet3", "Ethernet4"};
    std::array<std::array<std::array<Addr, lengths>, hosts>, maxIntfs> ip{};
    std::array<std::array<std::array<Addr, lengths>, hosts>, maxIntfs> ip6{};
    std::array<std::array<Addr, lengths>, hosts> linkLocal{};

    Pool() {
        for (std::size_t host = 0; host < hosts; ++host) {
            for (std::size_t length = 0; length < lengths; ++length) {
                auto const of = [&](std::string const& addr, std::array<int, lengths> const& bits) {
                    return Addr(fmt::format("{}{}/{}", addr, host + 1, bits[length]));
                };
                linkLocal[host][length] = of("fe80::", {64, 10, 128});
                for (std::size_t intf = 0; intf < maxIntfs; ++intf) {
                    ip[intf][host][length] = of(fmt::format("10.0.{}.", intf + 1), {24, 16, 32});
                    ip6[intf][host][length] =
                        of(fmt::format("2001:db8:{}::", intf + 1), {64, 32, 128});
                }
            }
        }
    }
};

Pool const& pool() {
    static Pool const pool;
    return pool;
}

class Generator {
public:
    Generator(std::uint64_t seed, std::uint64_t number, Manners manners)
        : random_(seed, number),
          isGentle_(manners == Manners::gentle),
          profile_(isGentle_ ? profiles().front() : random_.oneOf(profiles())),
          intfs_(2 + random_.below(maxIntfs - 1)) {
        for (auto const& weight : profile_.weights) {
            weightSum_ += weight.weight;
        }
    }

    RandomScenario scenario() {
        scenario_.profile = profile_.name;
        configure();
        setUp();
        auto const end =
            scenario_.operations.size() + (random_.isOneIn(20) ? greatLength : usualLength);
        while (scenario_.operations.size() < end) {
            act();
        }
        if (!book_.managerRuns()) {
            say({.kind = Kind::managerStart});
        }
        return std::move(scenario_);
    }

private:
    bool chance(std::uint32_t percent) { return random_.below(100) < percent; }

    void say(Operation operation) {
        if (operation.kind != Kind::advance && random_.isOneIn(3)) {
            operation.at = book_.now() + step();
        }
        book_.note(operation);
        scenario_.operations.push_back(std::move(operation));
    }
    void wait() { say({.kind = Kind::advance, .seconds = step()}); }
    void maybeWait() {
        if (random_.isOneIn(2)) {
            wait();
        }
    }

    // Around the delays, and around full seconds.
    Zin::Seconds step() {
        Zin::Seconds const delay = random_.isOneIn(2) ? cleanupDelay() : deferredDelay();
        Zin::Seconds const toFullSecond = std::floor(book_.now()) + 1.0 - book_.now();
        switch (random_.below(10)) {
            case 0:
            case 1:
                return 0.0;
            case 2:
                return grain;
            case 3:
                return 4 * grain;
            case 4:
                return delay;
            case 5:
                return std::max(delay - grain, 0.0);
            case 6:
                return delay + grain;
            case 7:
                return cleanupDelay() + deferredDelay();
            case 8:
                return toFullSecond;
            default:
                return random_.isOneIn(2) ? toFullSecond - grain : toFullSecond + grain;
        }
    }
    Zin::Seconds cleanupDelay() const {
        return std::max(scenario_.config.machines.intfCleanupDelay, 0.0);
    }
    Zin::Seconds deferredDelay() const {
        return std::max(scenario_.config.machines.deferredIntfAddDelay, 0.0);
    }

    void configure() {
        static constexpr Zin::Seconds delays[] = {0.0, 0.25, 0.5, 1.0, 1.5, 2.0, 3.0};
        static constexpr Zin::Seconds negative[] = {-0.25, -1.0, -2.0};
        static constexpr std::uint32_t yields[] = {0, 0, 1, 2};
        auto& machines = scenario_.config.machines;
        for (auto* delay : {&machines.intfCleanupDelay, &machines.deferredIntfAddDelay}) {
            *delay = chance(5) && !isGentle_ ? random_.oneOf(negative) : random_.oneOf(delays);
        }
        machines.ignoreKernelInterfaceState = chance(profile_.ignoresKernel);
        scenario_.config.yieldEvery = random_.oneOf(yields);
    }

    // In any order, and most of it at once.
    void setUp() {
        std::vector<Operation> operations;
        for (auto const& vrf : pool().vrfs) {
            operations.push_back({.kind = Kind::tableAdd, .vrf = vrf});
            operations.push_back({.kind = Kind::ipVrfAdd, .vrf = vrf});
            operations.push_back({.kind = Kind::ip6VrfAdd, .vrf = vrf});
            for (std::uint32_t i = 0; i < intfs_; ++i) {
                operations.push_back({.kind = Kind::kernelAdd, .vrf = vrf, .intf = intf(i)});
            }
        }
        std::erase_if(operations, [this](auto const&) { return chance(profile_.missing); });
        for (auto rest = static_cast<std::uint32_t>(operations.size()); rest > 0; --rest) {
            std::swap(operations[rest - 1], operations[random_.below(rest)]);
            book_.note(operations[rest - 1]);
            scenario_.operations.push_back(operations[rest - 1]);
        }
    }

    // One VRF has most of it: so few operations would cause little trouble in each of three.
    L3::VrfName const& anyVrf() {
        return random_.isOneIn(6) ? random_.oneOf(pool().vrfs) : pool().vrfs[busyVrf_];
    }
    Nimb::IntfId const& intf(std::uint32_t i) const { return pool().intfs[i]; }
    Nimb::IntfId const& anyIntf() { return intf(random_.below(intfs_)); }

    template <class Items>
    auto const& oneOfSorted(Items const& items) {
        return *std::next(items.begin(), random_.below(static_cast<std::uint32_t>(items.size())));
    }

    std::size_t owner(Nimb::IntfId const& intfId) {
        if (chance(profile_.foreign)) {
            return random_.below(intfs_);
        }
        return static_cast<std::size_t>(std::ranges::find(pool().intfs, intfId) -
                                        pool().intfs.begin());
    }
    Addr const& ofAnyLength(std::array<Addr, lengths> const& addrs) {
        return addrs[chance(profile_.otherLength) ? 1 + random_.below(lengths - 1) : 0];
    }
    Address ip(Nimb::IntfId const& intfId) {
        return {ofAnyLength(pool().ip[owner(intfId)][random_.below(profile_.hosts)])};
    }
    Address ip6(Nimb::IntfId const& intfId) {
        if (profile_.linkLocals > 0 && random_.isOneIn(3)) {
            return {ofAnyLength(pool().linkLocal[random_.below(profile_.linkLocals)]),
                    chance(profile_.deprecatedLinkLocal)};
        }
        return {ofAnyLength(pool().ip6[owner(intfId)][random_.below(profile_.hosts)]),
                chance(profile_.deprecated)};
    }

    void act() {
        std::uint32_t at = random_.below(weightSum_);
        for (auto const& [kind, weight] : profile_.weights) {
            if (at < weight) {
                return act(kind);
            }
            at -= weight;
        }
    }

    void act(Act kind) {
        auto const& vrf = anyVrf();
        switch (kind) {
            case Act::advance:
                return wait();
            case Act::ipIntf:
            case Act::ipFlap:
            case Act::primary:
            case Act::unnumbered:
            case Act::secondary:
                return actOnIp(kind, vrf, anyIntf());
            case Act::ip6Intf:
            case Act::ip6Flap:
            case Act::addr6:
            case Act::deprecate:
                return actOnIp6(kind, vrf, anyIntf());
            case Act::device:
            case Act::deviceAgain:
            case Act::deviceFlap:
                return actOnDevice(kind, vrf, anyIntf());
            case Act::vip:
            case Act::vip6:
                return actOnVirtual(kind, vrf);
            case Act::ipVrf:
            case Act::ip6Vrf:
            case Act::vrfAgain:
            case Act::table:
            case Act::tableAgain:
                return actOnVrf(kind, vrf);
            case Act::manager:
                return say({.kind = book_.managerRuns() ? Kind::managerStop : Kind::managerStart});
        }
    }

    // Any act on an interface brings its status where that is missing.
    void actOnIp(Act kind, L3::VrfName const& vrf, Nimb::IntfId const& intfId) {
        if (!book_.vrf(vrf).ip) {
            return say({.kind = Kind::ipVrfAdd, .vrf = vrf});
        }
        auto const& intfs = *book_.vrf(vrf).ip;
        auto const found = intfs.find(intfId);
        if (found == intfs.end()) {
            return addIp(vrf, intfId);
        }
        Book::IpIntf const status = found->second;
        switch (kind) {
            case Act::ipIntf:
                if (random_.isOneIn(2)) {
                    return addIp(vrf, intfId);
                }
                return say({.kind = Kind::ipIntfDel, .vrf = vrf, .intf = intfId});
            case Act::ipFlap: {
                say({.kind = Kind::ipIntfDel, .vrf = vrf, .intf = intfId});
                maybeWait();
                std::vector<Address> addrs{{status.primary}};
                for (auto const& addr : status.secondary) {
                    addrs.push_back({addr});
                }
                return say({.kind = Kind::ipIntfAdd,
                            .vrf = vrf,
                            .intf = intfId,
                            .addrs = addrs,
                            .source = status.source});
            }
            case Act::primary:
                return say({.kind = Kind::ipPrimary,
                            .vrf = vrf,
                            .intf = intfId,
                            .addrs = {{anyPrimary(intfId, status.secondary)}}});
            case Act::unnumbered:
                return say({.kind = Kind::ipUnnumbered,
                            .vrf = vrf,
                            .intf = intfId,
                            .source = status.source.empty() ? anyIntf() : Nimb::IntfId()});
            default:
                return actOnSecondary(vrf, intfId, status);
        }
    }

    void addIp(L3::VrfName const& vrf, Nimb::IntfId const& intfId) {
        std::vector<Address> addrs{chance(75) ? ip(intfId) : Address()};
        for (auto n = random_.below(3); n > 0; --n) {
            auto const addr = anySecondary(intfId, addrs[0].addr);
            if (addr != Addr()) {
                addrs.push_back({addr});
            }
        }
        say({.kind = Kind::ipIntfAdd,
             .vrf = vrf,
             .intf = intfId,
             .addrs = addrs,
             .source = random_.isOneIn(10) ? anyIntf() : Nimb::IntfId()});
    }

    // None now and then.
    Addr anyPrimary(Nimb::IntfId const& intfId, std::set<Addr> const& secondary) {
        if (random_.isOneIn(5)) {
            return {};
        }
        bool const isBoth = !secondary.empty() && chance(profile_.both);
        return isBoth ? oneOfSorted(secondary) : ip(intfId).addr;
    }

    // None where it would be the primary one by chance, and the profile has none that are both.
    Addr anySecondary(Nimb::IntfId const& intfId, Addr const& primary) {
        if (primary != Addr() && chance(profile_.both)) {
            return primary;
        }
        auto const addr = ip(intfId).addr;
        return addr == primary && profile_.both == 0 ? Addr() : addr;
    }

    void actOnSecondary(L3::VrfName const& vrf, Nimb::IntfId const& intfId,
                        Book::IpIntf const& status) {
        bool const comes = status.secondary.empty() || chance(55);
        auto const addr =
            comes ? anySecondary(intfId, status.primary) : oneOfSorted(status.secondary);
        if (addr != Addr()) {
            say({.kind = comes ? Kind::ipSecondaryAdd : Kind::ipSecondaryDel,
                 .vrf = vrf,
                 .intf = intfId,
                 .addrs = {{addr}}});
        }
    }

    void actOnIp6(Act kind, L3::VrfName const& vrf, Nimb::IntfId const& intfId) {
        if (!book_.vrf(vrf).ip6) {
            return say({.kind = Kind::ip6VrfAdd, .vrf = vrf});
        }
        auto const& intfs = *book_.vrf(vrf).ip6;
        auto const found = intfs.find(intfId);
        if (found == intfs.end()) {
            return addIp6(vrf, intfId);
        }
        Book::Ip6Intf const status = found->second;
        switch (kind) {
            case Act::ip6Intf:
                if (random_.isOneIn(2)) {
                    return addIp6(vrf, intfId);
                }
                return say({.kind = Kind::ip6IntfDel, .vrf = vrf, .intf = intfId});
            case Act::ip6Flap: {
                say({.kind = Kind::ip6IntfDel, .vrf = vrf, .intf = intfId});
                maybeWait();
                std::vector<Address> addrs;
                for (auto const& [addr, deprecated] : status) {
                    addrs.push_back({addr, deprecated});
                }
                return say({.kind = Kind::ip6IntfAdd, .vrf = vrf, .intf = intfId, .addrs = addrs});
            }
            case Act::deprecate:
                return deprecate(vrf, intfId, status);
            default:
                if (!status.empty() && chance(40)) {
                    return say({.kind = Kind::ip6AddrDel,
                                .vrf = vrf,
                                .intf = intfId,
                                .addrs = {{oneOfSorted(status).first}}});
                }
                return say(
                    {.kind = Kind::ip6AddrSet, .vrf = vrf, .intf = intfId, .addrs = {ip6(intfId)}});
        }
    }

    void addIp6(L3::VrfName const& vrf, Nimb::IntfId const& intfId) {
        std::vector<Address> addrs;
        for (auto n = random_.below(4); n > 0; --n) {
            auto const address = ip6(intfId);
            if (std::ranges::none_of(addrs,
                                     [&](auto const& one) { return one.addr == address.addr; })) {
                addrs.push_back(address);
            }
        }
        say({.kind = Kind::ip6IntfAdd, .vrf = vrf, .intf = intfId, .addrs = addrs});
    }

    // Flips an address's flag; that of a link-local one, which is refused, where the profile says.
    void deprecate(L3::VrfName const& vrf, Nimb::IntfId const& intfId,
                   Book::Ip6Intf const& status) {
        if (status.empty()) {
            return;
        }
        auto const& [addr, deprecated] = oneOfSorted(status);
        if (!addr.isV6LinkLocal() || deprecated || chance(profile_.deprecatedLinkLocal)) {
            say({.kind = Kind::ip6AddrSet,
                 .vrf = vrf,
                 .intf = intfId,
                 .addrs = {{addr, !deprecated}}});
        }
    }

    void actOnDevice(Act kind, L3::VrfName const& vrf, Nimb::IntfId const& intfId) {
        Operation const add{.kind = Kind::kernelAdd, .vrf = vrf, .intf = intfId};
        Operation const del{.kind = Kind::kernelDel, .vrf = vrf, .intf = intfId};
        if (!book_.vrf(vrf).devices.contains(intfId) || kind == Act::deviceAgain) {
            return say(add);
        }
        say(del);
        if (kind == Act::deviceFlap) {
            maybeWait();
            say(add);
        }
    }

    void actOnVirtual(Act kind, L3::VrfName const& vrf) {
        auto const& present = book_.vrf(vrf).virtualAddrs;
        if (!present.empty() && random_.isOneIn(2)) {
            auto const addr = oneOfSorted(present);
            bool const isIp6 = addr.family() == Nimb::AddressFamily::ipv6;
            return say(
                {.kind = isIp6 ? Kind::vip6Del : Kind::vipDel, .vrf = vrf, .addrs = {{addr}}});
        }
        auto const intf = random_.below(2);
        auto const host = random_.below(2);
        if (kind == Act::vip6) {
            auto const& withAllBits = pool().ip6[intf][host][lengths - 1];
            return say({.kind = Kind::vip6Add, .vrf = vrf, .addrs = {{withAllBits}}});
        }
        say({.kind = Kind::vipAdd, .vrf = vrf, .addrs = {{random_.oneOf(pool().ip[intf][host])}}});
    }

    void actOnVrf(Act kind, L3::VrfName const& vrf) {
        auto const& present = book_.vrf(vrf);
        bool const isIp = kind == Act::ipVrf || (kind == Act::vrfAgain && random_.isOneIn(2));
        switch (kind) {
            case Act::tableAgain:
                return say({.kind = Kind::tableAdd, .vrf = vrf});
            case Act::table:
                return say(
                    {.kind = present.hasTable ? Kind::tableDel : Kind::tableAdd, .vrf = vrf});
            case Act::vrfAgain:
                return say({.kind = isIp ? Kind::ipVrfAdd : Kind::ip6VrfAdd, .vrf = vrf});
            default:
                if (isIp) {
                    return say({.kind = present.ip ? Kind::ipVrfDel : Kind::ipVrfAdd, .vrf = vrf});
                }
                return say({.kind = present.ip6 ? Kind::ip6VrfDel : Kind::ip6VrfAdd, .vrf = vrf});
        }
    }

    Random random_;
    bool const isGentle_;
    Profile const& profile_;
    std::uint32_t const intfs_;  // of each VRF
    std::size_t const busyVrf_ = random_.below(3);
    std::uint32_t weightSum_ = 0;
    Book book_;
    RandomScenario scenario_;
};

}  // namespace

RandomScenario randomScenario(std::uint64_t seed, std::uint64_t number, Manners manners) {
    return Generator(seed, number, manners).scenario();
}

}  // namespace Healing
