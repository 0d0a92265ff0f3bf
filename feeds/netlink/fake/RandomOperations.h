// Does one random thing after the other to a kernel, such that histories become interesting: few
// names, indexes and addresses, so that they meet on several interfaces and come back elsewhere.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "feeds/netlink/fake/FakeKernel.h"
#include "feeds/netlink/fake/Operation.h"

namespace Netlink::Fake {

// How often something is done, in comparison with the others. 0: never.
struct OperationWeights {
    std::uint32_t links = 10;   // that come and go
    std::uint32_t bridges = 1;  // and their ports
    std::uint32_t vrfs = 1;     // and their members
    std::uint32_t dummies = 1;
    std::uint32_t states = 8;   // up and down
    std::uint32_t renames = 3;  // of one, or of two that swap their names
    std::uint32_t moves = 3;
    std::uint32_t addresses = 20;
    std::uint32_t lifetimes = 3;
    std::uint32_t duplicates = 2;
    std::uint32_t settings = 1;
    std::uint32_t namespaces = 3;
    // In seconds, of addresses that do not stay: up to so many.
    std::uint32_t longestLifetime = 10;
    // IPv6 addresses without duplicate address detection alone.
    bool withoutDetection = false;
};

class RandomOperations {
public:
    explicit RandomOperations(std::uint64_t seed, OperationWeights const& weights = {});

    // What could be done next. The kernel may refuse it.
    Operation propose(FakeKernel const& kernel);
    // Does something that the kernel does not refuse, and says what.
    std::string doOne(FakeKernel& kernel);

private:
    std::uint32_t below(std::uint32_t limit);
    bool oneIn(std::uint32_t number) { return below(number) == 0; }
    template <class T>
    T const& oneOf(std::vector<T> const& all) {
        return all[below(static_cast<std::uint32_t>(all.size()))];
    }

    NamespaceId anyNetwork(FakeKernel const& kernel);
    // One that is no loopback where there is one.
    Link const& anyLink(FakeKernel const& kernel);
    std::string anyLinkName();
    Address anyAddress();
    NewLink anyNewLink(FakeKernel const& kernel);
    Operation addLink(FakeKernel const& kernel, LinkKind kind);
    Operation changeLinks(FakeKernel const& kernel, LinkKind kind);
    Operation setMaster(FakeKernel const& kernel, LinkKind kind);
    Operation setState(FakeKernel const& kernel);
    Operation rename(FakeKernel const& kernel);
    Operation move(FakeKernel const& kernel);
    Operation changeAddresses(FakeKernel const& kernel);
    Operation changeLifetime(FakeKernel const& kernel);
    Operation detectDuplicate(FakeKernel const& kernel);
    Operation changeSettings(FakeKernel const& kernel);
    Operation changeNamespaces(FakeKernel const& kernel);

    OperationWeights const weights_;
    std::mt19937_64 random_;
    // The rest of what takes more than one step.
    std::vector<Operation> planned_;
};

}  // namespace Netlink::Fake
