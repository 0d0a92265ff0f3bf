// What is decided for the agent, as its command line and its configuration file say it: each member
// is the option of its name, or the key of its name in the file (docs/intfaddr.toml), with its
// default.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "feeds/netlink/Picture.h"
#include "intfaddr/config/ListenAddress.h"
#include "intfaddr/config/VirtualAddress.h"

namespace IntfAddr {

struct Config {
    // Print each change of a table.
    bool events = false;
    // Where to record what is published; and up to how many bytes.
    std::optional<std::string> record{};
    std::uint64_t limit = std::uint64_t{1024} * 1024 * 1024;
    // Where to leave a scenario of each rebuild.
    std::optional<std::string> troubleDir{};
    // Where an agent that runs is known, and may be asked; the default where nothing is given.
    std::optional<std::string> runDir{};
    // The name of the group that may ask; the process's where nothing is given.
    std::optional<std::string> group{};
    // Where programs may ask over TCP too; nowhere where nothing is given.
    std::optional<ListenAddress> listen{};
    double coalesce = 1.0;  // milliseconds
    std::uint32_t yieldEvery = 1000;
    std::uint64_t receiveBuffer = std::uint64_t{16} * 1024 * 1024;  // bytes
    Netlink::Policy policy{};
    // Give up the right to enter network namespaces once those that are there have been read.
    bool fixedNamespaces = false;

    // Of the file alone.
    //
    // Who may change something, besides root and the agent's own user.
    std::set<uid_t> changers{};
    VirtualAddressSet virtualAddresses{};
    // Whether those that are added while the agent runs are there again when it is started again;
    // and where they are kept, the default where nothing is given.
    bool keepVirtual = false;
    std::optional<std::string> stateDir{};

    friend bool operator==(Config const&, Config const&) = default;
};

// What options and keys may be, the ends included.
namespace Limits {
inline constexpr std::uint64_t least = 4096;  // bytes, of `limit` and `receive-buffer`
inline constexpr std::uint64_t mostReceiveBuffer = std::uint64_t{1} << 30;
inline constexpr double mostCoalesce = 1000.0;
}  // namespace Limits

}  // namespace IntfAddr
