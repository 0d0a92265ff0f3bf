// The virtual addresses that are wanted of the agent, whether their VRFs are there or not.
//
//   in     those that its configuration has; those that are added and removed by hand; where the
//          latter are kept
//   out    operations that publish the difference; the file of those that are kept; notices of it
//
// An address is of the configuration or of somebody's hand, never of both: one that is configured
// is the configuration's, and goes when that does not have it any more, also where it was added by
// hand before.
//
// What is published of a VRF stays while that goes and comes back.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "intfaddr/answer/KeptAddresses.h"
#include "router/Operation.h"

namespace IntfAddr {

class VirtualAddresses {
public:
    using Apply = std::function<void(std::vector<Routing::Operation> const& operations)>;

    VirtualAddresses(Apply apply, KeptAddresses::Notice notice);

    bool isConfigured(VirtualAddress const& address) const { return configured_.contains(address); }
    bool has(VirtualAddress const& address) const {
        return isConfigured(address) || added_.contains(address);
    }

    // By hand: one that is not there; one that is, and is not configured. False where a restart
    // will not know, though it is to be kept.
    bool add(VirtualAddress const& address);
    bool del(VirtualAddress const& address);

    // In place of those that were configured.
    void configuredAre(VirtualAddressSet const& configured);
    // The file in which what is added is kept from now on; what is kept there is added. Nothing
    // leaves the file that was as it is.
    void keptAt(std::optional<std::string> const& path);

private:
    void change(VirtualAddressSet const& added, VirtualAddressSet const& removed) const;
    bool keep() const;

    Apply const apply_;
    KeptAddresses::Notice const notice_;
    VirtualAddressSet configured_;
    VirtualAddressSet added_;
    std::optional<std::string> path_;
};

}  // namespace IntfAddr
