// What a feed asks of this machine's kernel: which network namespaces have a name, and sockets in
// them. Nothing here blocks, and all of it belongs to one thread.
//
// The live kernel is LiveKernel; what tests misbehave with is the fake one.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Netlink {

struct Received {
    std::size_t size = 0;      // the datagram's length, more than the buffer's where it was cut
    std::uint32_t sender = 0;  // its port; the kernel's is 0
};

// One socket of the routing netlink.
class Socket {
public:
    virtual ~Socket() = default;

    // The port that answers name.
    virtual std::uint32_t port() const = 0;

    // Both throw std::system_error; ENOBUFS of receive() says that datagrams have been lost.
    virtual void send(std::span<std::byte const> message) = 0;
    // Fills the buffer with the next datagram, whoever sent it. Nothing where there is none now.
    virtual std::optional<Received> receive(std::span<std::byte> buffer) = 0;
};

// Which namespace it is, whatever it is named. Another one may get it once this one is gone, which
// no namespace is while a socket is open in it.
struct NamespaceId {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;

    friend auto operator<=>(NamespaceId const&, NamespaceId const&) = default;
};

// One that has a name.
struct NamedNamespace {
    std::string name;
    NamespaceId id;
    // Nobody tells when the name does not stand for it any more (a symbolic link).
    bool goesUnseen = false;

    friend bool operator==(NamedNamespace const&, NamedNamespace const&) = default;
};

// What a feed has open in one namespace, and keeps it alive with.
struct NamespaceSockets {
    // Told of links and addresses of both families.
    std::unique_ptr<Socket> notifications;
    // For requests and their answers.
    std::unique_ptr<Socket> dumps;
    // The size that the kernel granted to the receive buffer of notifications, in bytes.
    std::size_t receiveBuffer = 0;
};

// Called from the loop, never from within a call of this interface: there may be something to
// receive. It is called again for what has come after receive() returned nothing.
using Readable = std::function<void()>;

class Kernel {
public:
    virtual ~Kernel() = default;

    // The program's own.
    virtual NamespaceId ownNamespace() = 0;
    // Those that have a name, in order of their names; a file that is no namespace (yet) is none.
    // Throws std::system_error where that cannot be found out.
    virtual std::vector<NamedNamespace> namedNamespaces() = 0;
    // Called when namedNamespaces() may have changed. Replaces the one before.
    virtual void watchNamespaces(std::function<void()> changed) = 0;

    // Both sockets in one visit. Throws std::system_error: ENOENT where the name does not stand for
    // that namespace any more.
    virtual NamespaceSockets openOwn(std::size_t receiveBuffer, Readable const& readable) = 0;
    virtual NamespaceSockets open(NamedNamespace const& named, std::size_t receiveBuffer,
                                  Readable const& readable) = 0;
};

}  // namespace Netlink
