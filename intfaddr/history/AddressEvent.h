// One thing that happened to an address, or to the interface that it is on: a value.
//
// Which address or interface of which VRF it happened to, says the history that it is part of.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Nimb/IntfId.h"
#include "Zin/Seconds.h"
#include "router/View.h"

namespace IntfAddr {

struct AddressEvent {
    enum class Kind : std::uint8_t {
        // Of an address.
        toldThere,  // by the kernel
        toldGone,
        published,
        withdrawn,
        admitted,  // to the table
        left,
        deferred,
        deferredNoMore,
        rebuilt,  // the table was, which brought or took the address
        // Of an interface.
        statusCame,
        statusWent,
        cleanupPending,
        cleanedUp,
        deviceCame,
        deviceWent,
        deviceUp,
        deviceDown,
    };

    // As what it was told, published, admitted; and which family of an interface it is about.
    struct Marks {
        bool primary : 1 = false;
        bool secondary : 1 = false;
        bool deprecated : 1 = false;
        bool tentative : 1 = false;
        bool optimistic : 1 = false;
        bool duplicate : 1 = false;
        bool virtualIp : 1 = false;
        bool ipv6 : 1 = false;

        friend bool operator==(Marks const&, Marks const&) = default;
    };

    // In seconds since the agent began.
    Zin::Seconds at = 0.0;
    Kind kind{};
    Marks marks{};
    // Of an address, where it is known.
    std::uint8_t prefixLength = 0;
    // Empty for a virtual address.
    Nimb::IntfId intf{};
    // Of what is deferred: nothing where the way was free by the time that it was asked for.
    std::optional<Routing::Holder> holder{};
    // Of what is rebuilt.
    std::string why{};

    friend bool operator==(AddressEvent const&, AddressEvent const&) = default;
};

// Whether its family has a part in what happened: a device has none of its own.
bool hasFamily(AddressEvent::Kind kind);

// A sentence without its subject and its time: "was deferred on eth1, behind 10.0.0.1/24 on eth0".
std::string textOf(AddressEvent const& event);

}  // namespace IntfAddr
