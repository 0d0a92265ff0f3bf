#include "intfaddr/Machine.h"

#include <fmt/format.h>

#include <stdexcept>

#include "feeds/netlink/Namespaces.h"
#include "feeds/netlink/Publisher.h"
#include "feeds/netlink/SnapshotTaker.h"

namespace IntfAddr {

namespace {

void publishVrf(Routing::Router& router, L3::VrfName const& vrf, Netlink::Snapshot const& snapshot,
                Warn const& warn) {
    if (auto const damaged = snapshot.skipped.damaged(); damaged > 0) {
        warn(fmt::format("VRF '{}': {} unreadable kernel messages were left out", vrf, damaged));
    }
    try {
        router.tableAdd(vrf);
        Netlink::publish(snapshot, vrf, router.inputs());
    } catch (Zin::Error const& error) {
        warn(fmt::format("VRF '{}' is left out: {}", vrf, error.what()));
        router.tableDel(vrf);
    }
}

}  // namespace

void publishMachine(Routing::Router& router, Warn const& warn) {
    publishVrf(router, "default", Netlink::takeSnapshot(), warn);
    for (auto const& [vrf, file] : Netlink::namedNamespaces()) {
        try {
            publishVrf(router, vrf, Netlink::takeSnapshotIn(file), warn);
        } catch (std::runtime_error const& error) {
            warn(fmt::format("namespace {} is left out: {}", file.filename().string(),
                             error.what()));
        }
    }
}

}  // namespace IntfAddr
