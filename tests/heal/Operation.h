// One operation of a scenario, as a value: it can be carried out, and written as a line of a
// scenario file, so that a scenario that shows something can be replayed and read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Nimb/IpGenAddrWithMask.h"
#include "feeds/scenario/Run.h"

namespace Healing {

struct Address {
    Nimb::IpGenAddrWithMask addr{};  // unset: none
    bool deprecated = false;
};

struct Operation {
    enum class Kind : std::uint8_t {
        managerStop,
        managerStart,
        tableAdd,
        tableDel,
        ipVrfAdd,
        ipVrfDel,
        ip6VrfAdd,
        ip6VrfDel,
        ipIntfAdd,
        ipIntfDel,
        ipPrimary,
        ipUnnumbered,
        ipSecondaryAdd,
        ipSecondaryDel,
        ip6IntfAdd,
        ip6IntfDel,
        ip6AddrSet,
        ip6AddrDel,
        kernelAdd,
        kernelDel,
        vipAdd,
        vipDel,
        vip6Add,
        vip6Del,
        advance,
    };
    static constexpr std::size_t kinds = static_cast<std::size_t>(Kind::advance) + 1;

    Kind kind{};
    std::optional<Zin::Seconds> at{};
    L3::VrfName vrf{};
    Nimb::IntfId intf{};
    // One, where it is not an interface's whole status. Of IPv4 that has the primary one first.
    std::vector<Address> addrs{};
    Nimb::IntfId source{};  // of an unnumbered interface
    Zin::Seconds seconds = 0.0;
};

// Finds out whether the operation makes sense; what it does is in what is handed back.
Routing::Effect check(Operation const& operation, Scenario::Run& run);

// Lines of a scenario file.
std::string toLine(Operation const& operation);
std::string toLine(Scenario::Config const& config);

}  // namespace Healing
