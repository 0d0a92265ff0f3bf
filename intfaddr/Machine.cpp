#include "intfaddr/Machine.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <functional>
#include <stdexcept>

#include "feeds/netlink/Namespaces.h"
#include "feeds/netlink/Publisher.h"
#include "feeds/netlink/SnapshotTaker.h"

namespace IntfAddr {

namespace {

void publish(Routing::Router& router, L3::VrfName const& vrf, Netlink::Snapshot const& snapshot,
             Warn const& warn) {
    if (auto const damaged = snapshot.skipped.damaged(); damaged > 0) {
        warn(fmt::format("VRF '{}': {} unreadable kernel messages were left out", vrf, damaged));
    }
    router.tableAdd(vrf).apply();
    Netlink::publish(snapshot, vrf, router.inputs());
}

// Whatever is wrong with one VRF, a failed assertion included, the others are shown.
template <class Step>
void warnIfItFails(L3::VrfName const& vrf, Warn const& warn, Step&& step) {
    try {
        step();
    } catch (std::exception const& error) {
        warn(fmt::format("VRF '{}' is left out: {}", vrf, error.what()));
    }
}

void publishOrLeaveOut(Routing::Router& router, L3::VrfName const& vrf,
                       std::function<Netlink::Snapshot()> const& take, Warn const& warn) {
    bool published = false;
    warnIfItFails(vrf, warn, [&] {
        publish(router, vrf, take(), warn);
        published = true;
    });
    if (!published && router.tables()->intfAddrVrfTableHas(vrf)) {
        warnIfItFails(vrf, warn, [&] { router.tableDel(vrf).apply(); });
    }
}

}  // namespace

void publishMachine(Routing::Router& router, Warn const& warn) {
    // Without its own namespace the program has nothing to say.
    auto const own = Netlink::takeSnapshot();
    publishOrLeaveOut(
        router, "default", [&own] { return own; }, warn);
    for (auto const& [vrf, file] : Netlink::namedNamespaces()) {
        if (vrf.isDefault()) {
            warn(fmt::format("namespace {} is left out: VRF '{}' is the program's own namespace",
                             file.filename().string(), vrf));
        } else {
            publishOrLeaveOut(
                router, vrf, [&path = file] { return Netlink::takeSnapshotIn(path); }, warn);
        }
    }
}

void publishMachineVrf(Routing::Router& router, L3::VrfName const& vrf, Warn const& warn) {
    try {
        if (vrf.isDefault()) {
            publish(router, vrf, Netlink::takeSnapshot(), warn);
            return;
        }
        auto const namespaces = Netlink::namedNamespaces();
        auto const found = std::ranges::find(namespaces, vrf, &Netlink::NamedNamespace::vrf);
        if (found != namespaces.end()) {
            publish(router, vrf, Netlink::takeSnapshotIn(found->file), warn);
        }
    } catch (std::exception const& error) {
        throw std::runtime_error(fmt::format("VRF '{}' cannot be read: {}", vrf, error.what()));
    }
}

}  // namespace IntfAddr
