// What happens to a machine and to the agent on it, step by step: operations of an administrator,
// misfortunes, and time. A value: whoever drops some of its steps has a history again.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "feeds/netlink/fake/Faults.h"
#include "feeds/netlink/fake/Operation.h"

namespace Simulated {

struct Step {
    enum class Kind : std::uint8_t {
        operate,     // by an administrator; the kernel may refuse it
        start,       // the agent does, once
        misfortune,  // one, at the next opportunity
        plague,      // misfortunes by chance, after a plan
        overrun,     // notifications of a namespace are lost
        noMemory,    // an allocation of the agent fails, `calls` after it is given a datagram
        delay,       // those of a namespace come `seconds` late
        wait,        // `seconds` pass
        settle,      // misfortunes end, time passes until nothing is due, and all is judged
    };
    // How much of it the agent is given notice of before the next step.
    // `within`: it is done only while the agent is at work.
    enum class Notice : std::uint8_t { none, delivered, handled, within };

    Kind kind = Kind::operate;
    Notice notice = Notice::handled;
    Netlink::Fake::Operation operation{};
    Netlink::Fake::Fault fault{};
    Netlink::Fake::FaultPlan plan{};
    Netlink::NamespaceId network{};
    double seconds = 0;
    // Of the agent's to the kernel, where it is done within; or for memory.
    std::uint32_t calls = 0;
};

struct History {
    // Nothing delays what the kernel tells, so that the agent knows at any time what it may not
    // know.
    bool isPrompt = false;
    // Of a dump's datagrams, in bytes.
    std::size_t datagramLimit = 0;
    // For notifications, in bytes, at most.
    std::size_t receiveBuffer = 0;
    std::vector<Step> steps{};
};

// Always the same for one seed.
History randomHistory(std::uint64_t seed);

// In one line each.
std::string text(History const& history);

// 0 or an errno: also where it speaks of a namespace that is not there.
int performed(Netlink::Fake::FakeKernel& kernel, Netlink::Fake::Operation const& operation);

}  // namespace Simulated
