// The kernel of this machine, from within an event loop.
//
// A socket is opened in another namespace by a visit there, from which the thread comes back at
// once. Where it cannot come back, the program stops: everything it did from then on it would do in
// the wrong place.
//
// Files appear in the directory of names before a namespace is mounted on them, and a mount is seen
// in the list of mounts only; so both are watched.
//
// Borrows the loop.
#pragma once

#include <filesystem>

#include "feeds/netlink/Kernel.h"
#include "feeds/netlink/Loop.h"

namespace Netlink {

// Where namespaces are given names.
constexpr char const* namespaceDir = "/run/netns";

class LiveKernel final : public Kernel {
public:
    // Throws std::system_error.
    explicit LiveKernel(Loop& loop, std::filesystem::path dir = namespaceDir);
    ~LiveKernel() override;

    NamespaceId ownNamespace() override;
    std::vector<NamedNamespace> namedNamespaces() override;
    void watchNamespaces(std::function<void()> changed) override;
    NamespaceSockets openOwn(std::size_t receiveBuffer, Readable const& readable) override;
    NamespaceSockets open(NamedNamespace const& named, std::size_t receiveBuffer,
                          Readable const& readable) override;

private:
    class NameWatch;

    Loop& loop_;
    std::filesystem::path const dir_;
    std::unique_ptr<NameWatch> nameWatch_;
};

}  // namespace Netlink
