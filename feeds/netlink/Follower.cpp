#include "feeds/netlink/Follower.h"

#include <algorithm>
#include <limits>
#include <new>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "Zin/Format.h"

namespace Netlink {

namespace {

// The kernel makes its datagrams no longer than this, unless one link alone has more to tell.
constexpr std::size_t bufferSize = std::size_t{64} * 1024;
// What is read at one time, so that others have their turn.
constexpr int maxDatagrams = 1024;
// Beyond it, what happens during a dump says more than the dump.
constexpr std::size_t maxSince = 1'000'000;
// The kernel answers at once; a longer silence is a fault.
constexpr Zin::Seconds answerTimeout = 10.0;
constexpr Zin::Seconds firstPause = 0.01;
constexpr Zin::Seconds longestPause = 5.0;
// After so long without trouble, pauses begin with the first again.
constexpr Zin::Seconds quietTime = 30.0;
constexpr Zin::Seconds noticePeriod = 60.0;
// How long notifications that never end keep a dump from its beginning and its end.
constexpr Zin::Seconds patience = 1.0;
constexpr Zin::Seconds longAgo = -std::numeric_limits<Zin::Seconds>::infinity();

Zin::Seconds longer(Zin::Seconds pause) { return std::min(2 * pause, longestPause); }

// A dump that goes on meanwhile may then miss what is there, or show it in another order, without a
// word: it goes on by position, so that what goes hides what stood behind it.
bool takesAway(Change const& change) {
    return std::holds_alternative<AddressGone>(change) || std::holds_alternative<LinkGone>(change);
}

}  // namespace

Follower::Follower(Kernel& kernel, std::optional<NamedNamespace> named, std::string label,
                   FollowerOptions const& options, Notice notice)
    : kernel_(kernel),
      named_(std::move(named)),
      label_(std::move(label)),
      options_(options),
      notice_(std::move(notice)),
      buffer_(bufferSize),
      nextOpen_(longAgo),
      openPause_(firstPause),
      lastDump_(longAgo),
      dumpPause_(firstPause),
      nextLossNotice_(longAgo) {}

Zin::Seconds Follower::nextExpiry() const {
    Zin::Seconds const notices = losses_ > 0 ? nextLossNotice_ : Velk::never;
    if (!sockets_) {
        return std::min(nextOpen_, notices);
    }
    return std::min({nextRead_, dump_ ? dumpDeadline_ : nextDump_, notices});
}

void Follower::run(Zin::Seconds now) {
    try {
        follow(now);
    } catch (std::bad_alloc const&) {
        // Half of a change may be in the mirror.
        mirror_.startOver();
        isReady_ = false;
        startsOver_ = hasSeen_;
        close(now, "there was no memory for it");
    }
}

void Follower::follow(Zin::Seconds now) {
    if (!sockets_ && nextOpen_ <= now) {
        open(now);
    }
    if (sockets_) {
        try {
            readAll(now);
        } catch (std::runtime_error const& error) {
            close(now, error.what());
        }
    }
    noticeLosses(now);
}

void Follower::open(Zin::Seconds now) {
    Readable const readable = [this] { isReadable_ = true; };
    try {
        sockets_ = named_ ? kernel_.open(*named_, options_.receiveBuffer, readable)
                          : kernel_.openOwn(options_.receiveBuffer, readable);
        before_.reset();
    } catch (std::system_error const& error) {
        if (!before_) {
            close(now, error.what());
            return;
        }
        // The right to enter the namespace may have been given up meanwhile.
        sockets_ = std::exchange(before_, std::nullopt);
    }
    if (sockets_->receiveBuffer < options_.receiveBuffer && !std::exchange(toldBuffer_, true)) {
        notice_(fmt::format("{}: the kernel grants a receive buffer of {} bytes only, not {}",
                            label_, sockets_->receiveBuffer, options_.receiveBuffer));
    }
    wantDump(now);
}

void Follower::close(Zin::Seconds now, std::string why) {
    dump_.reset();
    if (sockets_) {
        before_ = std::exchange(sockets_, std::nullopt);
    }
    nextRead_ = Velk::never;
    isReadable_ = false;
    if (!std::exchange(toldClosed_, true)) {
        notice_(fmt::format("{} is {}: {}", label_, hasSeen_ ? "stale" : "left out", why));
    }
    distrust_ = std::move(why);
    nextOpen_ = now + std::exchange(openPause_, longer(openPause_));
}

void Follower::readAll(Zin::Seconds now) {
    if (std::exchange(isReadable_, false)) {
        // Who waits for an answer has nothing to gain by waiting for more.
        nextRead_ = std::min(nextRead_, dump_ ? now : now + options_.coalesce);
    }
    bool const dumps = !dump_ && nextDump_ <= now;
    if (nextRead_ > now && !dumps && !(dump_ && dumpDeadline_ <= now)) {
        return;
    }
    nextRead_ = Velk::never;
    // Before a dump begins, what it cannot show has been read. Where notifications come faster than
    // they are read there is no end of them.
    bool const isEmpty = readNotifications(now);
    if (!isEmpty) {
        nextRead_ = now;
    }
    if (!dump_ && nextDump_ <= now && (isEmpty || now - nextDump_ >= patience)) {
        startDump(now);
    }
    readDump(now);
    if (dump_ && dump_->isDone()) {
        dumpDone_ = std::min(dumpDone_, now);
        if (readNotifications(now) || now - dumpDone_ >= patience) {
            endDump(now);
        } else {
            nextRead_ = now;
        }
    } else if (dump_ && dumpDeadline_ <= now) {
        throw std::runtime_error("the kernel does not answer");
    }
}

template <class Read, class Lost>
bool Follower::readSome(Socket& socket, Read const& read, Lost const& lost) {
    for (int count = 0; count < maxDatagrams; ++count) {
        std::optional<Received> received;
        try {
            received = socket.receive(buffer_);
        } catch (std::system_error const& error) {
            if (error.code() != std::errc::no_buffer_space) {
                throw;
            }
            lost("the kernel had no room for a message");
            continue;
        }
        if (!received) {
            return true;
        }
        if (received->sender != 0) {
            ++skipped_.foreignMessages;
        } else if (received->size > buffer_.size()) {
            buffer_.resize(received->size);
            lost("a message was cut");
        } else {
            read(std::span<std::byte const>(buffer_).first(received->size));
        }
    }
    return false;
}

void Follower::readDump(Zin::Seconds now) {
    bool const isEmpty = readSome(
        *sockets_->dumps,
        [this](std::span<std::byte const> datagram) {
            if (dump_) {
                dump_->read(datagram, skipped_);
            } else {
                ++skipped_.foreignMessages;
            }
        },
        // Its end may have been in what is lost, and would be waited for.
        [this](std::string const& why) {
            if (dump_) {
                throw std::runtime_error("an answer of the kernel is lost: " + why);
            }
        });
    if (!isEmpty) {
        nextRead_ = now;
    }
}

bool Follower::readNotifications(Zin::Seconds now) {
    return readSome(
        *sockets_->notifications,
        [this, now](std::span<std::byte const> datagram) {
            auto const damaged = skipped_.damaged();
            readMessages(datagram, skipped_,
                         [this, now](Message const& message) { handle(message, now); });
            if (skipped_.damaged() != damaged) {
                lose("a message could not be read", now);
            }
        },
        [this, now](std::string const& why) { lose(why, now); });
}

void Follower::handle(Message const& message, Zin::Seconds now) {
    if (std::holds_alternative<Overrun>(message.content)) {
        lose("the kernel says that it lost messages", now);
    } else if (auto const* const change = std::get_if<Change>(&message.content)) {
        bool const tells = tell_ && !mirror_.shows(*change);
        if (tells && takesAway(*change)) {
            tell_(*change, now);
        }
        mirror_.apply(*change);
        if (tells && !takesAway(*change)) {
            tell_(*change, now);
        }
        if (dump_ && since_.size() <= maxSince) {
            since_.push_back(*change);
        }
    }
}

void Follower::lose(std::string why, Zin::Seconds now) {
    ++losses_;
    ++counts_.losses;
    if (dump_) {
        dump_->damage(fmt::format("{} meanwhile", why));
    } else {
        wantDump(now);
    }
    lastLoss_ = std::move(why);
    distrust_ = lastLoss_;
}

// The first at once, the others together.
void Follower::noticeLosses(Zin::Seconds now) {
    if (losses_ > 0 && nextLossNotice_ <= now) {
        notice_(fmt::format("{}: notifications or dumps lost {} {}, the last: {}; it is read anew",
                            label_, losses_, losses_ == 1 ? "time" : "times", lastLoss_));
        losses_ = 0;
        nextLossNotice_ = now + noticePeriod;
    }
}

void Follower::wantDump(Zin::Seconds now) {
    if (now - lastDump_ > quietTime) {
        dumpPause_ = firstPause;
    }
    nextDump_ = std::min(nextDump_, std::max(now, lastDump_ + dumpPause_));
}

void Follower::startDump(Zin::Seconds now) {
    nextDump_ = Velk::never;
    dumpPause_ = longer(dumpPause_);
    dumpDeadline_ = now + answerTimeout;
    dumpDone_ = Velk::never;
    since_.clear();
    dump_.emplace(*sockets_->dumps, sequence_);
    sequence_ += 2;
    ++counts_.dumps;
}

void Follower::endDump(Zin::Seconds now) {
    Dump dump = *std::exchange(dump_, std::nullopt);
    auto const since = std::exchange(since_, {});
    lastDump_ = now;
    if (since.size() > maxSince) {
        wantDump(now);
        return;
    }
    if (std::ranges::any_of(since, takesAway)) {
        dump.damage("something went meanwhile");
    }
    hasSeen_ = true;
    if (dump.flaw()) {
        mirror_.add(dump.dumped());
        lose("its last dump cannot be relied on: " + *dump.flaw(), now);
    } else {
        mirror_.replace(dump.dumped());
        distrust_.reset();
        isReady_ = true;
        startsOver_ = false;
        toldClosed_ = false;
        openPause_ = firstPause;
    }
    for (Change const& change : since) {
        mirror_.apply(change);
    }
}

}  // namespace Netlink
