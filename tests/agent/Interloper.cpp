#include "Interloper.h"

namespace Simulated {

class Interloper::Socket final : public Netlink::Socket {
public:
    Socket(Interloper& interloper, std::unique_ptr<Netlink::Socket> socket)
        : interloper_(interloper), socket_(std::move(socket)) {}

    std::uint32_t port() const override { return socket_->port(); }
    void send(std::span<std::byte const> message) override {
        interloper_.isCalled();
        socket_->send(message);
    }
    std::optional<Netlink::Received> receive(std::span<std::byte> buffer) override {
        interloper_.isCalled();
        return socket_->receive(buffer);
    }

private:
    Interloper& interloper_;
    std::unique_ptr<Netlink::Socket> const socket_;
};

void Interloper::end() {
    while (!planned_.empty()) {
        doNext();
    }
}

void Interloper::isCalled() {
    if (!planned_.empty() && planned_.front().first-- <= 1) {
        doNext();
    }
}

void Interloper::doNext() {
    auto const operation = std::move(planned_.front().second);
    planned_.pop_front();
    performed(kernel_, operation);
    ++done_;
}

std::vector<Netlink::NamedNamespace> Interloper::namedNamespaces() {
    isCalled();
    return kernel_.namedNamespaces();
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
