#include "feeds/netlink/fake/FakeKernel.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace Netlink::Fake {

namespace {

constexpr std::uint64_t namespaceDevice = 4;
constexpr std::uint64_t firstInode = 4026531840;
constexpr std::size_t dumpReceiveBuffer = 212992;

[[noreturn]] void fail(int error, char const* what) {
    throw std::system_error(error, std::generic_category(), what);
}

}  // namespace

FakeKernel::FakeKernel() : own_(newNamespace()) {}

std::vector<NamedNamespace> FakeKernel::namedNamespaces() {
    if (auto const error = faults_.strikes(Fault::failListing)) {
        fail(*error, "cannot list namespaces");
    }
    std::vector<NamedNamespace> found;
    for (auto const& [name, id] : names_) {
        if (id && faults_.strikes(Fault::forgetName)) {
            namesChanged();
        } else if (id) {
            found.push_back({.name = name, .id = *id});
        }
    }
    return found;
}

void FakeKernel::watchNamespaces(std::function<void()> changed) { watcher_ = std::move(changed); }

NamespaceSockets FakeKernel::openOwn(std::size_t receiveBuffer, Readable const& readable) {
    return openIn(own_, receiveBuffer, readable);
}

NamespaceSockets FakeKernel::open(NamedNamespace const& named, std::size_t receiveBuffer,
                                  Readable const& readable) {
    auto const found = names_.find(named.name);
    if (found == names_.end() || found->second != named.id) {
        fail(ENOENT, "no such namespace");
    }
    return openIn(named.id, receiveBuffer, readable);
}

double FakeKernel::nextEvent() const { return std::max(now(), std::min(nextTimer(), watcherDue_)); }

void FakeKernel::advanceTo(double time) {
    // The watcher is called by deliver() alone, however long it has been due.
    while (nextTimer() <= time) {
        runTimersAt(nextTimer());
    }
    runTimersAt(time);
}

bool FakeKernel::deliver() {
    advanceTo(now());
    bool any = callWatcher();
    // Those called may open sockets and close any.
    for (auto* const socket : std::vector(sockets_)) {
        if (std::ranges::find(sockets_, socket) != sockets_.end() && socket->wantsCall()) {
            Readable const call = socket->takeCall();
            call();
            any = true;
        }
    }
    return any;
}

void FakeKernel::runTo(double time) {
    while (deliver()) {
    }
    while (nextEvent() <= time) {
        advanceTo(nextEvent());
        while (deliver()) {
        }
    }
    advanceTo(time);
}

int FakeKernel::makeName(std::string const& name) {
    return names_.emplace(name, std::nullopt).second ? namesChanged(), 0 : EEXIST;
}

NamespaceId FakeKernel::makeNamespace(std::string const& name) {
    NamespaceId const id = newNamespace();
    nameNamespace(name, id);
    return id;
}

int FakeKernel::nameNamespace(std::string const& name, NamespaceId id) {
    if (!links_.networks().contains(id)) {
        return EINVAL;
    }
    auto const before = std::exchange(names_[name], id);
    namesChanged();
    if (before) {
        dropIfUnused(*before);
    }
    return 0;
}

int FakeKernel::removeName(std::string const& name) {
    auto const found = names_.find(name);
    if (found == names_.end()) {
        return ENOENT;
    }
    auto const id = found->second;
    names_.erase(found);
    namesChanged();
    if (id) {
        dropIfUnused(*id);
    }
    return 0;
}

void FakeKernel::overrun(NamespaceId id) {
    for (auto* const listener : links_.networks().at(id).listeners) {
        listener->lose(now());
    }
}

void FakeKernel::delayNotifications(NamespaceId id, double until) {
    for (auto* const listener : links_.networks().at(id).listeners) {
        listener->delayUntil(until);
    }
}

std::vector<NamespaceId> FakeKernel::namespaces() const {
    std::vector<NamespaceId> ids;
    for (auto const& [id, network] : links_.networks()) {
        ids.push_back(id);
    }
    return ids;
}

std::map<std::uint32_t, Link> const& FakeKernel::links(NamespaceId id) const {
    return links_.networks().at(id).links;
}

Link const* FakeKernel::link(NamespaceId id, std::string const& name) const {
    auto const& all = links(id);
    auto const found =
        std::ranges::find_if(all, [&name](auto const& one) { return one.second.name == name; });
    return found == all.end() ? nullptr : &found->second;
}

double FakeKernel::nextTimer() const {
    double next = links_.nextEvent();
    for (auto const& [id, network] : links_.networks()) {
        for (auto const* const listener : network.listeners) {
            next = std::min(next, listener->nextArrival());
        }
    }
    return next;
}

void FakeKernel::runTimersAt(double time) {
    announcer_.now = std::max(now(), time);
    dumpConditions_.now = now();
    links_.runDue();
    for (auto const& [id, network] : links_.networks()) {
        for (auto* const listener : network.listeners) {
            listener->advanceTo(now());
        }
    }
}

// The lowest number that is free, so that one that is gone leaves its own to the next.
NamespaceId FakeKernel::newNamespace() {
    NamespaceId id{.device = namespaceDevice, .inode = firstInode};
    while (links_.networks().contains(id)) {
        ++id.inode;
    }
    links_.addNetwork(id);
    return id;
}

NamespaceSockets FakeKernel::openIn(NamespaceId id, std::size_t receiveBuffer,
                                    Readable const& readable) {
    if (auto const error = faults_.strikes(Fault::failOpening)) {
        fail(*error, "cannot enter the namespace");
    }
    Network& network = links_.networks().at(id);
    std::size_t const granted = std::min(receiveBuffer, receiveBufferLimit);
    auto const options = [&](std::size_t size) {
        return QueuedSocket::Options{
            .port = nextPort_++,
            .receiveBuffer = size,
            .readable = readable,
            .closed = [this, id](QueuedSocket& socket) { closed(id, socket); }};
    };
    auto notifications = std::make_unique<NotificationSocket>(faults_, options(granted));
    auto dumps =
        std::make_unique<DumpSocket>(faults_, options(dumpReceiveBuffer), network, dumpConditions_);
    network.listeners.push_back(notifications.get());
    network.openSockets += 2;
    sockets_.push_back(notifications.get());
    sockets_.push_back(dumps.get());
    return {.notifications = std::move(notifications),
            .dumps = std::move(dumps),
            .receiveBuffer = granted};
}

void FakeKernel::closed(NamespaceId id, QueuedSocket& socket) {
    std::erase(sockets_, &socket);
    Network& network = links_.networks().at(id);
    std::erase(network.listeners, &socket);
    --network.openSockets;
    dropIfUnused(id);
}

void FakeKernel::namesChanged() {
    double const delay = faults_.strikes(Fault::delayNames) ? faults_.delay() : 0;
    watcherDue_ = std::min(watcherDue_, now() + delay);
}

void FakeKernel::dropIfUnused(NamespaceId id) {
    bool const isNamed =
        std::ranges::any_of(names_, [id](auto const& named) { return named.second == id; });
    if (id != own_ && !isNamed && links_.networks().at(id).openSockets == 0) {
        links_.removeNetwork(id);
    }
}

bool FakeKernel::callWatcher() {
    if (watcherDue_ > now()) {
        return false;
    }
    watcherDue_ = never;
    if (auto const call = watcher_) {
        call();
    }
    return true;
}

}  // namespace Netlink::Fake
