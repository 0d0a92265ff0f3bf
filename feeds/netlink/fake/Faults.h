// Which misfortunes strike: each on command, and by chance after a plan. Owned by the fake kernel,
// whose parts ask it wherever one could strike.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <random>

namespace Netlink::Fake {

enum class Fault : std::size_t {
    loseNotification,    // it is lost, and the socket congested
    delayNotifications,  // those of one socket come later than dumps show what they tell
    duplicate,           // a notification comes twice
    addressBeforeLink,   // the message of a new link comes behind that of its first address
    foreignSender,       // a datagram of another process
    strayReply,          // an answer that has another sequence number, or port, than was asked with
    unknownType,         // a message that nobody knows
    unknownAttribute,    // an attribute that nobody knows
    truncate,            // a datagram is longer than the buffer that is there for it
    interruptDump,       // a dump is marked as interrupted
    refuseDump,          // an errno is the answer
    failDump,            // a dump ends with an errno, before all has been told
    failListing,         // of namedNamespaces()
    forgetName,          // namedNamespaces() misses one, and changed() is called later
    failOpening,         // of openOwn() and open()
    failSending,         // of Socket::send()
    delayNames,          // changed() is called late
    count
};

struct FaultPlan {
    static constexpr std::size_t faults = static_cast<std::size_t>(Fault::count);

    std::uint64_t seed = 0;
    // Of each at each opportunity, from 0 to 1.
    std::array<double, faults> chance{};
    // In seconds: delays are shorter.
    double longestDelay = 2;

    double& operator[](Fault fault) { return chance[static_cast<std::size_t>(fault)]; }
    static FaultPlan all(std::uint64_t seed, double chance);
};

class Faults {
public:
    // The next `times` opportunities of this fault. An errno of 0 stands for any that fits.
    void next(Fault fault, int error = 0, std::size_t times = 1);
    // From now on, in place of the plan before.
    void follow(FaultPlan const& plan);
    // Whatever was planned and ordered strikes no more.
    void end();

    // Whether it strikes now, as an errno where it has one, else as any number but 0.
    std::optional<int> strikes(Fault fault);
    // Of a delay that has struck, in seconds.
    double delay();
    // Below the limit; of what is arbitrary in a fault.
    std::uint32_t any(std::uint32_t limit);

private:
    int anyError(Fault fault);

    FaultPlan plan_;
    std::mt19937_64 random_;
    std::array<std::deque<int>, FaultPlan::faults> ordered_;
};

}  // namespace Netlink::Fake
