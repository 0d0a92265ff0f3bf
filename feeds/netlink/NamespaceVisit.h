// The calling thread is in another network namespace while this lives. Where it cannot come back
// the program stops.
#pragma once

#include <filesystem>

#include "feeds/netlink/Descriptor.h"
#include "feeds/netlink/Kernel.h"

namespace Netlink {

NamespaceId ownNamespaceId();
// Nothing where the file is no namespace, or not there.
std::optional<NamespaceId> namespaceIdOf(std::filesystem::path const& file);

class NamespaceVisit {
public:
    // Throws std::system_error: ENOENT where the file is not that namespace.
    NamespaceVisit(std::filesystem::path const& file, NamespaceId id);
    ~NamespaceVisit();
    NamespaceVisit(NamespaceVisit const&) = delete;
    NamespaceVisit& operator=(NamespaceVisit const&) = delete;

private:
    Descriptor const home_;
};

}  // namespace Netlink
