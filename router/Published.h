// What is effectively published for one VRF: the addresses that its tables are to hold, and whether
// the interfaces that they are on have their devices.
//
// An unnumbered interface borrows its primary address, so that is published by the interface which
// it borrows from, and not by itself. A link-local address that is published as deprecated is
// refused: it does not come into the table, and where it is there already it stays.
//
// Asks the published status each time, and keeps nothing. Borrows the inputs.
#pragma once

#include <optional>

#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrWithMaskKey.h"
#include "router/Inputs.h"

namespace Routing {

class Published {
public:
    // Of any VRF, also one without status. `ignoresDevices` takes every device as there.
    Published(Inputs const& inputs, L3::VrfName const& vrf, bool ignoresDevices);

    // Null where the VRF has no such status.
    Zin::Ptr<Ip::VrfIpIntfStatus> ipStatus() const;
    Zin::Ptr<Ip6::VrfIp6IntfStatus> ip6Status() const;

    // Whether the interface has its device; always where devices are ignored.
    bool hasDevice(Nimb::IntfId const& intf) const;
    // Whether the address is deprecated; nothing where it is not published with that length.
    std::optional<bool> deprecated(IpLib::IntfAddrWithMaskKey const& key) const;
    // As what the link-local address is published first, with whatever length; nothing where it is
    // not.
    std::optional<IpLib::IntfAddrWithMaskKey> linkLocal(Nimb::IntfId const& intf,
                                                        Nimb::IpGenAddr const& addr) const;
    // Whether it is published as a virtual address, with whatever length.
    bool hasVirtual(Nimb::IpGenAddr const& addr) const;

    // Whether an address is refused that is published so.
    static bool isRefused(IpLib::IntfAddrWithMaskKey const& key, bool deprecated) {
        return deprecated && key.isV6LinkLocal();
    }

    // Calls `each` with the addresses of one interface, in the order in which its machine publishes
    // them, and whether they are deprecated.
    template <class Each>
    static void forEachOf(Ip::IpIntfStatus const& status, Each const& each);
    template <class Each>
    static void forEachOf(Ip6::IntfStatus const& status, Each const& each);
    // With those of the VRF, in the order in which its machine starts.
    template <class Each>
    void forEach(Each const& each) const;

    // Whether it publishes a primary address of its own: it is numbered, and has one.
    static bool hasPrimary(Ip::IpIntfStatus const& status) {
        return status.unnumberedIntfId().empty() &&
               status.activeAddrWithMask() != Nimb::IpAddrWithMask();
    }

private:
    Inputs const& inputs_;
    L3::VrfName const vrf_;
    // Null where devices are ignored.
    Zin::Ptr<Interface::DeviceIntfStatusDir const> devices_;
};

template <class Each>
void Published::forEachOf(Ip::IpIntfStatus const& status, Each const& each) {
    if (hasPrimary(status)) {
        each(IpLib::IntfAddrWithMaskKey{status.intfId(), status.activeAddrWithMask()}, false);
    }
    for (auto const& member : status.secondaryActiveAddrWithMask()) {
        each(IpLib::IntfAddrWithMaskKey{status.intfId(), member.key}, false);
    }
}

template <class Each>
void Published::forEachOf(Ip6::IntfStatus const& status, Each const& each) {
    for (auto const& member : status.addr()) {
        each(IpLib::IntfAddrWithMaskKey{status.intfId(), member.key}, member.value.deprecated);
    }
}

template <class Each>
void Published::forEach(Each const& each) const {
    if (auto const status = ipStatus()) {
        for (auto const& member : status->ipIntfStatus()) {
            forEachOf(*member.value, each);
        }
    }
    if (auto const status = ip6Status()) {
        for (auto const& member : status->intfStatus()) {
            forEachOf(*member.value, each);
        }
    }
}

}  // namespace Routing
