// How a random scenario goes about: what it does how often, and how it chooses addresses.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace Healing {

struct Profile {
    // What may be done next. Each is one operation, or a few where something goes and comes back,
    // maybe after a while.
    enum class Act : std::uint8_t {
        advance,
        ipIntf,  // comes, is replaced, or goes
        ipFlap,
        primary,
        unnumbered,
        secondary,
        ip6Intf,
        ip6Flap,
        addr6,
        deprecate,
        device,
        deviceAgain,
        deviceFlap,
        vip,
        vip6,
        ipVrf,
        ip6Vrf,
        vrfAgain,
        table,
        tableAgain,
        manager,
    };
    struct Weight {
        Act act;
        std::uint32_t weight;
    };

    std::string_view name{};
    std::vector<Weight> weights{};
    // In percent.
    std::uint32_t foreign = 10;  // another interface's address
    std::uint32_t otherLength = 0;
    std::uint32_t deprecated = 10;
    std::uint32_t deprecatedLinkLocal = 0;
    std::uint32_t ignoresKernel = 25;
    std::uint32_t missing = 0;  // of what is there in the beginning otherwise
    std::uint32_t both = 12;    // an address that is the primary one is a secondary one, too

    // How many different addresses: of an interface, and link-local ones.
    std::uint32_t hosts = 3;
    std::uint32_t linkLocals = 1;
};

// The first one alone causes no trouble.
std::vector<Profile> const& profiles();

}  // namespace Healing
