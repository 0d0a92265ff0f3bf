// The fake kernel, as an agent sees it to whom something happens while he calls it: operations are
// done right before a call is answered, in the midst of a dump, or between a list of namespaces and
// a visit to one.
#pragma once

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "History.h"
#include "TestMemory/TestMemory.h"
#include "feeds/netlink/Kernel.h"
#include "feeds/netlink/fake/FakeKernel.h"

namespace Simulated {

class Interloper final : public Netlink::Kernel {
public:
    explicit Interloper(Netlink::Fake::FakeKernel& kernel) : kernel_(kernel) {}

    // To be done before the answer to the call with that number, counted from the one planned
    // before, or from now.
    void plan(std::uint32_t calls, Netlink::Fake::Operation operation) {
        planned_.emplace_back(calls, std::move(operation));
    }
    // Of those that the agent makes for a datagram that it is given, the one behind `allowed`
    // others fails; once.
    void failAllocation(std::size_t allowed) { allowed_ = allowed; }
    // What is still planned is done now, and nothing fails any more.
    void end();
    std::uint64_t done() const { return done_; }
    // What the agent knows of names, since they could be read last.
    using Names = std::map<std::string, Netlink::NamespaceId>;
    Names const& listed() const { return listed_; }

    Netlink::NamespaceId ownNamespace() override { return kernel_.ownNamespace(); }
    std::vector<Netlink::NamedNamespace> namedNamespaces() override;
    void watchNamespaces(std::function<void()> changed) override {
        kernel_.watchNamespaces(std::move(changed));
    }
    Netlink::NamespaceSockets openOwn(std::size_t receiveBuffer,
                                      Netlink::Readable const& readable) override;
    Netlink::NamespaceSockets open(Netlink::NamedNamespace const& named, std::size_t receiveBuffer,
                                   Netlink::Readable const& readable) override;

private:
    class Socket;

    void isCalled();
    void hasAnswered();
    // The agent, with the datagram: he asks for another, or closes the socket.
    void isDone();
    void doNext();
    Netlink::NamespaceSockets wrapped(Netlink::NamespaceSockets sockets);

    Netlink::Fake::FakeKernel& kernel_;
    std::deque<std::pair<std::uint32_t, Netlink::Fake::Operation>> planned_;
    std::uint64_t done_ = 0;
    Names listed_;
    std::optional<std::size_t> allowed_;
    std::optional<TestMemory::OneFailure> failure_;
};

}  // namespace Simulated
