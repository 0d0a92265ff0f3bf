// Keeps the mirror of one network namespace right, whatever the kernel does.
//
//   in     notifications and dumps, over sockets that it opens itself
//   out    the mirror; whether it may be published; whether it can be trusted, and why not
//   timers when to open, to read, to dump, and for how long to wait for an answer
//
//     closed --open--> dumping --whole--> following --lost something--> dumping
//        ^                 ^--flawed, after a pause--'
//        '---------- the sockets fail, or nobody answers ----------'
//
// What is notified during a dump is done to the mirror at once, and once more on top of what the
// dump has shown, which may be older. A dump that is flawed only adds; what it does not show goes
// when a whole one does not show it either. There is one dump at a time, and a pause between two,
// which grows while they keep being needed. Memory that runs out meanwhile costs what the mirror
// has, which is not ready then before a dump is whole.
//
// Owned by the feed, which calls run() after each event and each time that nextExpiry() has come.
// Nothing it waits for blocks. Destroying it closes its sockets, so that it keeps no namespace.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Velk/TaskScheduler.h"
#include "feeds/netlink/Dump.h"
#include "feeds/netlink/Kernel.h"
#include "feeds/netlink/Mirror.h"

namespace Netlink {

// A line for the operator.
using Notice = std::function<void(std::string const& line)>;

struct FollowerOptions {
    std::size_t receiveBuffer = std::size_t{16} * 1024 * 1024;  // bytes
    // How long to wait for more after the first notification: one publication serves them all.
    Zin::Seconds coalesce = 0.001;
};

class Follower {
public:
    // Nothing for `named` is the program's own namespace. `label` names it in notices.
    Follower(Kernel& kernel, std::optional<NamedNamespace> named, std::string label,
             FollowerOptions const& options, Notice notice);
    Follower(Follower const&) = delete;
    Follower& operator=(Follower const&) = delete;

    void coalesceIs(Zin::Seconds coalesce) { options_.coalesce = coalesce; }

    Mirror& mirror() { return mirror_; }
    Mirror const& mirror() const { return mirror_; }
    // Calls `tell` with each change that is notified and brings anything new: right after it is
    // done to the mirror, and right before where it takes something away.
    using Tell = std::function<void(Change const& change, Zin::Seconds now)>;
    void tellIs(Tell tell) { tell_ = std::move(tell); }

    // A whole dump has been seen, and all that was notified meanwhile.
    bool isReady() const { return isReady_; }
    // A dump has been seen, whole or not, and the mirror has not been emptied since.
    bool hasSeen() const { return hasSeen_ && !startsOver_; }
    // What the mirror has is between two states that may be published.
    bool isCatchingUp() const { return dump_ && dump_->isDone(); }
    // It could not be opened, or had to be closed; it will be tried again.
    bool isClosed() const { return distrust_ && !sockets_; }
    // Why the mirror cannot be trusted; nothing while it can be.
    std::optional<std::string> const& distrust() const { return distrust_; }

    // How often notifications or parts of dumps were lost, and how many dumps were begun.
    struct Counts {
        std::uint64_t losses = 0;
        std::uint64_t dumps = 0;
    };
    Counts const& counts() const { return counts_; }

    Zin::Seconds nextExpiry() const;
    void run(Zin::Seconds now);

private:
    void follow(Zin::Seconds now);
    void open(Zin::Seconds now);
    void close(Zin::Seconds now, std::string why);
    void readAll(Zin::Seconds now);
    // Reads a bounded number of datagrams. Returns whether the socket has been read empty.
    template <class Read, class Lost>
    bool readSome(Socket& socket, Read const& read, Lost const& lost);
    void readDump(Zin::Seconds now);
    bool readNotifications(Zin::Seconds now);
    void handle(Message const& message, Zin::Seconds now);
    void lose(std::string why, Zin::Seconds now);
    void noticeLosses(Zin::Seconds now);

    void startDump(Zin::Seconds now);
    void wantDump(Zin::Seconds now);
    void endDump(Zin::Seconds now);

    Kernel& kernel_;
    std::optional<NamedNamespace> const named_;
    std::string const label_;
    FollowerOptions options_;
    Notice const notice_;
    Tell tell_;

    Mirror mirror_;
    bool isReady_ = false;
    bool hasSeen_ = false;
    bool startsOver_ = false;  // what has been published is to stay until a dump is whole
    std::optional<std::string> distrust_;
    Skipped skipped_;
    std::vector<std::byte> buffer_;

    Counts counts_;
    bool isReadable_ = false;
    Zin::Seconds nextRead_ = Velk::never;
    Zin::Seconds nextOpen_;
    Zin::Seconds openPause_;

    std::uint32_t sequence_ = 1;
    Zin::Seconds nextDump_ = Velk::never;
    Zin::Seconds lastDump_;  // when it ended
    Zin::Seconds dumpPause_;
    Zin::Seconds dumpDeadline_ = Velk::never;
    Zin::Seconds dumpDone_ = Velk::never;  // when its end was read
    // What has been notified since the dump began.
    std::vector<Change> since_;

    std::uint64_t losses_ = 0;  // not told yet
    std::string lastLoss_;
    bool toldBuffer_ = false;
    bool toldClosed_ = false;
    Zin::Seconds nextLossNotice_;

    // Closed first: what is readable is nobody's concern then.
    std::optional<Dump> dump_;
    std::optional<NamespaceSockets> sockets_;
    // Those that were given up last, for where no others can be opened.
    std::optional<NamespaceSockets> before_;
};

}  // namespace Netlink
