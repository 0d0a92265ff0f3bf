#include "Interloper.h"

namespace Simulated {

class Interloper::Socket final : public Netlink::Socket {
public:
    Socket(Interloper& interloper, std::unique_ptr<Netlink::Socket> socket)
        : interloper_(interloper), socket_(std::move(socket)) {}

    ~Socket() override { interloper_.isDone(); }
    Socket(Socket const&) = delete;
    Socket& operator=(Socket const&) = delete;

    std::uint32_t port() const override { return socket_->port(); }
    void send(std::span<std::byte const> message) override {
        interloper_.isCalled();
        socket_->send(message);
    }
    std::optional<Netlink::Received> receive(std::span<std::byte> buffer) override {
        interloper_.isCalled();
        auto const received = socket_->receive(buffer);
        // Of one that was cut, the agent need not ask for another, nor close the socket.
        if (received && received->size <= buffer.size()) {
            interloper_.hasAnswered();
        }
        return received;
    }

private:
    Interloper& interloper_;
    std::unique_ptr<Netlink::Socket> const socket_;
};

void Interloper::end() {
    allowed_.reset();
    while (!planned_.empty()) {
        doNext();
    }
}

void Interloper::isCalled() {
    isDone();
    if (!planned_.empty() && planned_.front().first-- <= 1) {
        doNext();
    }
}

void Interloper::hasAnswered() {
    if (allowed_) {
        failure_.emplace(*allowed_);
    }
}

void Interloper::isDone() {
    if (failure_ && failure_->happened()) {
        allowed_.reset();
    }
    failure_.reset();
}

void Interloper::doNext() {
    auto const operation = std::move(planned_.front().second);
    planned_.pop_front();
    performed(kernel_, operation);
    ++done_;
}

std::vector<Netlink::NamedNamespace> Interloper::namedNamespaces() {
    isCalled();
    auto there = kernel_.namedNamespaces();
    listed_.clear();
    for (auto const& named : there) {
        listed_.emplace(named.name, named.id);
    }
    return there;
}

Netlink::NamespaceSockets Interloper::openOwn(std::size_t receiveBuffer,
                                              Netlink::Readable const& readable) {
    isCalled();
    return wrapped(kernel_.openOwn(receiveBuffer, readable));
}

Netlink::NamespaceSockets Interloper::open(Netlink::NamedNamespace const& named,
                                           std::size_t receiveBuffer,
                                           Netlink::Readable const& readable) {
    isCalled();
    return wrapped(kernel_.open(named, receiveBuffer, readable));
}

Netlink::NamespaceSockets Interloper::wrapped(Netlink::NamespaceSockets sockets) {
    sockets.notifications = std::make_unique<Socket>(*this, std::move(sockets.notifications));
    sockets.dumps = std::make_unique<Socket>(*this, std::move(sockets.dumps));
    return sockets;
}

}  // namespace Simulated
