// What both sockets of the fake kernel have in common: a receive queue, and that its owner is to be
// called when there is something in it.
//
// It is called as seldom as the interface allows: once, and then not before receive() has returned
// nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>

#include "feeds/netlink/Kernel.h"
#include "feeds/netlink/fake/Faults.h"
#include "feeds/netlink/fake/ReceiveQueue.h"

namespace Netlink::Fake {

class QueuedSocket : public Socket {
public:
    struct Options {
        std::uint32_t port = 0;
        std::size_t receiveBuffer = 0;
        Readable readable{};
        // Called by the destructor.
        std::function<void(QueuedSocket&)> closed{};
    };

    QueuedSocket(Faults& faults, Options options);
    ~QueuedSocket() override;
    QueuedSocket(QueuedSocket const&) = delete;
    QueuedSocket& operator=(QueuedSocket const&) = delete;

    std::uint32_t port() const override { return options_.port; }
    std::optional<Received> receive(std::span<std::byte> buffer) override;

    // Whether its owner is to be called.
    bool wantsCall() const { return readable_ && options_.readable; }
    // What to call, which may destroy this socket. It wants no call any more.
    Readable takeCall();
    void overrun();

protected:
    void push(Datagram datagram);
    // Something that is none of the kernel's words about this machine, where it strikes.
    void pushStrangers();
    Faults& faults() { return faults_; }
    bool halfEmpty() const { return queue_.used() <= queue_.limit() / 2; }

private:
    // Called after a datagram has been read.
    virtual void wasRead() {}
    void wake();

    Faults& faults_;
    Options const options_;
    ReceiveQueue queue_;
    bool readToTheEnd_ = true;
    bool readable_ = false;
};

}  // namespace Netlink::Fake
