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

// Of which part of the outer change the observer is told: of the whole, or, where a primary address
// takes another one's place, of how the old one leaves.
enum class Part { whole, oldPrimary };

// The outer change and the nested ones, in the order in which they are to be carried out. Told of
// how the old primary leaves, the observer makes its changes before the new one comes; what it
// makes of that primary itself comes in the new one's place.
std::vector<Operation> operationsOf(ChangeList const& list, Part part);

// The lines of a scenario file that makes the outer and the nested changes in their order, and
// takes a snapshot then and when all delays have passed.
std::string toScenario(ChangeList const& list, Part part = Part::whole);

}  // namespace Nested
