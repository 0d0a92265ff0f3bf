#include "Profile.h"

namespace Healing {
namespace {

using Act = Profile::Act;
using Weights = std::vector<Profile::Weight>;

Weights operator+(Weights weights, Weights const& more) {
    weights.insert(weights.end(), more.begin(), more.end());
    return weights;
}

Weights const time{{Act::advance, 8}};
Weights const ip{{Act::ipIntf, 3}, {Act::ipFlap, 2}, {Act::primary, 5}, {Act::secondary, 6}};
Weights const ip6{{Act::ip6Intf, 3}, {Act::ip6Flap, 2}, {Act::addr6, 7}, {Act::deprecate, 3}};
Weights const unnumbered{{Act::unnumbered, 3}};
Weights const devices{{Act::device, 3}, {Act::deviceAgain, 1}, {Act::deviceFlap, 3}};
Weights const virtualAddrs{{Act::vip, 4}, {Act::vip6, 2}};
Weights const wiring{{Act::ipVrf, 2}, {Act::ip6Vrf, 2},     {Act::vrfAgain, 3},
                     {Act::table, 2}, {Act::tableAgain, 2}, {Act::manager, 2}};

}  // namespace

std::vector<Profile> const& profiles() {
    static std::vector<Profile> const all{
        {.name = "gentle",
         .weights = time + Weights{{Act::ipIntf, 2},
                                   {Act::ip6Intf, 2},
                                   {Act::addr6, 5},
                                   {Act::secondary, 5},
                                   {Act::unnumbered, 1},
                                   {Act::vip6, 2}},
         .foreign = 0,
         .deprecated = 0,
         .both = 0},
        {.name = "conflict", .weights = time + ip + ip6 + devices, .foreign = 45},
        {.name = "crowd", .weights = time + ip + ip, .foreign = 70, .both = 40, .hosts = 1},
        {.name = "crowd6",
         .weights = time + ip6 + ip6,
         .foreign = 70,
         .otherLength = 40,
         .hosts = 1,
         .linkLocals = 3},
        {.name = "lengths",
         .weights = time + ip + ip6 + unnumbered + devices,
         .foreign = 15,
         .otherLength = 40},
        {.name = "deprecated",
         .weights = time + ip6 + Weights{{Act::deprecate, 10}} + devices,
         .foreign = 20,
         .otherLength = 10,
         .deprecated = 45},
        {.name = "outlived",
         .weights = time + Weights{{Act::deprecate, 12}, {Act::addr6, 12}, {Act::ip6Intf, 2}},
         .foreign = 70,
         .deprecated = 50,
         .hosts = 2,
         .linkLocals = 0},
        {.name = "link-local",
         .weights = time + ip6 + Weights{{Act::deprecate, 4}} + devices,
         .otherLength = 30,
         .deprecatedLinkLocal = 15,
         .linkLocals = 3},
        {.name = "devices",
         .weights = time + ip + ip6 + devices + devices + virtualAddrs,
         .foreign = 20,
         .ignoresKernel = 5,
         .missing = 20},
        {.name = "virtual",
         .weights = time + virtualAddrs + virtualAddrs + wiring + Weights{{Act::secondary, 4}},
         .missing = 15},
        {.name = "wiring",
         .weights = time + ip + ip6 + wiring + virtualAddrs + devices,
         .foreign = 15,
         .otherLength = 5,
         .missing = 25},
        {.name = "wild",
         .weights = time + ip + ip6 + unnumbered + devices + virtualAddrs + wiring,
         .foreign = 30,
         .otherLength = 20,
         .deprecated = 20,
         .deprecatedLinkLocal = 10,
         .missing = 25,
         .both = 25,
         .hosts = 2,
         .linkLocals = 2},
    };
    return all;
}

}  // namespace Healing
