#include "feeds/netlink/fake/QueuedSocket.h"

#include <utility>

#include "feeds/netlink/fake/MessageWriter.h"

namespace Netlink::Fake {

namespace {

using Messages::operator+;

constexpr std::uint32_t strangersPort = 0x7fffffff;
// Beyond all that the kernel has had yet.
constexpr unsigned unknownMessageType = 4000;

// Would be believed if it were not for who sends it, or for what it pretends to answer.
Bytes lie(std::uint32_t ifIndex, Envelope const& envelope) {
    return Messages::message(RTM_DELLINK, Messages::linkInfo(static_cast<int>(ifIndex)), envelope) +
           Messages::link(77, "lie", envelope) + doneMessage(0, envelope);
}

}  // namespace

QueuedSocket::QueuedSocket(Faults& faults, Options options)
    : faults_(faults), options_(std::move(options)), queue_(options_.receiveBuffer) {}

QueuedSocket::~QueuedSocket() {
    if (options_.closed) {
        options_.closed(*this);
    }
}

std::optional<Received> QueuedSocket::receive(std::span<std::byte> buffer) {
    if (!queue_.empty() && faults_.strikes(Fault::truncate)) {
        queue_.stretch(buffer.size());
    }
    auto const received = queue_.pop(buffer);
    readToTheEnd_ = !received;
    if (received) {
        wasRead();
    }
    return received;
}

Readable QueuedSocket::takeCall() {
    readable_ = false;
    return options_.readable;
}

void QueuedSocket::overrun() {
    queue_.overrun();
    wake();
}

void QueuedSocket::push(Datagram datagram) {
    queue_.push(std::move(datagram));
    wake();
}

void QueuedSocket::pushStrangers() {
    if (faults_.strikes(Fault::foreignSender)) {
        push({.bytes = lie(1 + faults_.any(8), {.flags = 0}), .sender = strangersPort});
    }
    if (faults_.strikes(Fault::unknownType)) {
        push({.bytes = Messages::message(unknownMessageType, Bytes(12), {.flags = 0})});
    }
}

void QueuedSocket::wake() {
    readable_ = readable_ || readToTheEnd_;
    readToTheEnd_ = false;
}

}  // namespace Netlink::Fake
