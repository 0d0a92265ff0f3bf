// The network namespaces of this machine that are VRFs: the process's own is the VRF "default",
// and each that is named ns-NAME is the VRF NAME.
#pragma once

#include <filesystem>
#include <vector>

#include "L3/VrfName.h"
#include "feeds/netlink/Snapshot.h"

namespace Netlink {

struct NamedNamespace {
    L3::VrfName vrf;
    std::filesystem::path file;
};

// Where namespaces are given names.
constexpr char const* namespaceDir = "/run/netns";

// In order of their names. None where the directory does not exist. ns-default is among them where
// somebody has given that name, although it cannot be a VRF: "default" is the process's own.
std::vector<NamedNamespace> namedNamespaces(std::filesystem::path const& dir = namespaceDir);

// A snapshot of a namespace other than the caller's, whose thread stays where it is. Throws as
// takeSnapshot() does, and std::system_error where the namespace cannot be entered.
Snapshot takeSnapshotIn(std::filesystem::path const& namespaceFile);

}  // namespace Netlink
