// Two network namespaces of this machine's kernel, for the same operations as a fake kernel's. They
// have no name and end with this object; nothing else of the machine is touched.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "feeds/netlink/Kernel.h"
#include "feeds/netlink/fake/MessageWriter.h"
#include "feeds/netlink/fake/Operation.h"

namespace Netlink::Fake {

// Of all links or of all addresses, as a feed asks.
Bytes dumpRequest(std::uint16_t type, std::uint32_t sequence = 1);

class RealKernel {
public:
    // Throws std::system_error where the program may not make namespaces.
    RealKernel();
    ~RealKernel();
    RealKernel(RealKernel const&) = delete;
    RealKernel& operator=(RealKernel const&) = delete;

    // Whether it has links of that kind.
    bool has(LinkKind kind);

    // Who the next operation on a link of that namespace is asked by.
    Requester nextRequester(std::size_t network) const;
    // 0 or an errno. Which of both a namespace is, the caller says.
    int perform(Operation const& operation, std::function<std::size_t(NamespaceId)> const& indexOf);

    Socket& notifications(std::size_t network);
    Socket& dumps(std::size_t network);
    // Waits for the rest of something that has begun, at most so long.
    static bool waitFor(Socket& socket, int milliseconds);

private:
    class RouteSocket;
    class Setting;
    struct Namespace;

    int request(std::size_t network, unsigned type, unsigned flags, Bytes const& payload);
    int addLink(Operation const& wanted, std::size_t network, std::size_t other);
    int changeLink(std::size_t network, std::uint32_t ifIndex, unsigned flags, unsigned change,
                   Bytes const& attributes);
    int changeAddress(std::size_t network, unsigned type, unsigned flags, Operation const& wanted);

    std::array<std::unique_ptr<Namespace>, 2> namespaces_;
    std::uint32_t sequence_ = 0;
};

}  // namespace Netlink::Fake
