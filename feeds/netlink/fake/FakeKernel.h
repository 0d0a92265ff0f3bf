// A kernel that tests can do anything to: namespaces, links and addresses that behave and are told
// as Linux does it, in virtual time, and every misfortune that a feed may meet.
//
//   in     operations of an administrator, time, faults
//   out    what the interface Kernel promises to a feed, and what judges compare with
//
// Nothing happens by itself: time passes in advanceTo(), a feed is called in deliver(). The same
// operations with the same faults are the same history. Outlives all sockets that are opened in it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "feeds/netlink/Kernel.h"
#include "feeds/netlink/fake/Announcer.h"
#include "feeds/netlink/fake/DumpSocket.h"
#include "feeds/netlink/fake/Faults.h"
#include "feeds/netlink/fake/Links.h"
#include "feeds/netlink/fake/NotificationSocket.h"

namespace Netlink::Fake {

class FakeKernel final : public Kernel {
public:
    FakeKernel();
    FakeKernel(FakeKernel const&) = delete;
    FakeKernel& operator=(FakeKernel const&) = delete;

    // For a feed.
    NamespaceId ownNamespace() override { return own_; }
    std::vector<NamedNamespace> namedNamespaces() override;
    void watchNamespaces(std::function<void()> changed) override;
    NamespaceSockets openOwn(std::size_t receiveBuffer, Readable const& readable) override;
    NamespaceSockets open(NamedNamespace const& named, std::size_t receiveBuffer,
                          Readable const& readable) override;

    // For whoever owns it. Time, in seconds, starts at 0 and never goes back.
    double now() const { return announcer_.now; }
    // When something happens by itself next.
    double nextEvent() const;
    void advanceTo(double time);
    // Calls what is to be called, each once. Whether there was anything.
    bool deliver();
    // Both, step by step, until nothing is left to be called at that time.
    void runTo(double time);

    // For an administrator. A name is a file, to which a namespace is mounted.
    int makeName(std::string const& name);
    // Makes a namespace, and the name where there is none.
    NamespaceId makeNamespace(std::string const& name);
    // Gives a name, which need not be there, to a namespace that lives.
    int nameNamespace(std::string const& name, NamespaceId id);
    // A namespace lives as long as it has a name or an open socket.
    int removeName(std::string const& name);
    NamespaceSettings& settings(NamespaceId id) { return links_.networks().at(id).settings; }
    // Whatever is done to links and addresses.
    Links& links() { return links_; }
    // Who asks for it. Nobody in particular unless that is said.
    void askAs(Requester const& requester) { announcer_.asker = requester; }

    Faults& faults() { return faults_; }
    // Loses notifications of that namespace, as if they had not fitted.
    void overrun(NamespaceId id);
    // Notifications of that namespace come no earlier.
    void delayNotifications(NamespaceId id, double until);
    // The greatest size that a receive buffer is granted, and that of a datagram of a dump.
    std::size_t receiveBufferLimit = 8U << 20;
    void datagramLimitIs(std::size_t bytes) { dumpConditions_.datagramLimit = bytes; }

    // For judges.
    std::map<std::string, std::optional<NamespaceId>> const& names() const { return names_; }
    std::vector<NamespaceId> namespaces() const;
    std::map<std::uint32_t, Link> const& links(NamespaceId id) const;
    Link const* link(NamespaceId id, std::string const& name) const;

private:
    double nextTimer() const;
    void runTimersAt(double time);
    NamespaceId newNamespace();
    NamespaceSockets openIn(NamespaceId id, std::size_t receiveBuffer, Readable const& readable);
    void closed(NamespaceId id, QueuedSocket& socket);
    void namesChanged();
    void dropIfUnused(NamespaceId id);
    bool callWatcher();

    Faults faults_;
    DumpConditions dumpConditions_;
    Announcer announcer_{faults_};
    Links links_{announcer_};
    NamespaceId own_;
    std::map<std::string, std::optional<NamespaceId>> names_;
    std::function<void()> watcher_;
    double watcherDue_ = never;
    std::vector<QueuedSocket*> sockets_;
    std::uint32_t nextPort_ = 1000;
};

}  // namespace Netlink::Fake
