// A list of changes that an observer makes while it is told of another one: what was there before,
// the change that it is told of, and what it does then.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Operation.h"

namespace Nested {

// What the outer change has to do with those that the observer makes: nothing (it is of interface
// `Ethernet9`, which nobody else uses), or the same interfaces, addresses and subnets.
enum class Outer { unrelated, ofSameAddresses };
// Whether the changes before and within stop the manager, and start it again.
enum class Manager { stays, comesAndGoes };

struct ChangeList {
    Zin::Seconds intfCleanupDelay = 1.5;
    // Whether the observer is told before the VRF's machine is, or after it.
    bool observerIsOlder = false;
    std::vector<Operation> before{};
    Operation outer{};
    std::vector<Operation> nested{};
    // The observer acts in one of the n notifications of the outer change, in number `when` % n.
    std::uint32_t when = 0;
};

// The list `number` of a seed: always the same.
ChangeList randomList(std::uint64_t seed, std::uint64_t number, Outer outer,
                      Manager manager = Manager::stays);

// What is there before everything: Ethernet0 to Ethernet2 and Ethernet9, each with a device and
// with status of both families, which is empty.
std::vector<Operation> const& setup();

// The lines of a scenario file that makes the nested changes right after the outer one, and takes
// a snapshot then and when all delays have passed. Comments say where the observer comes in.
std::string toScenario(ChangeList const& list);

}  // namespace Nested
