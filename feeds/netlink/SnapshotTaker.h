// Takes a snapshot of one network namespace: dumps its links, then its addresses.
//
// A dump that the kernel marks as interrupted, or that lost or cut datagrams, is thrown away and
// both are taken again, over a new channel, a bounded number of times. The pauses between the
// attempts double, so that something that flaps for a while is outlasted.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "feeds/netlink/Channel.h"
#include "feeds/netlink/Snapshot.h"

namespace Netlink {

constexpr int maxSnapshotAttempts = 10;
constexpr std::chrono::milliseconds firstSnapshotPause{1};

using Pause = std::function<void(std::chrono::milliseconds)>;

void sleepFor(std::chrono::milliseconds time);

// Throws std::system_error where the kernel cannot be asked or refuses, std::runtime_error where
// every attempt was interrupted.
Snapshot takeSnapshot(std::function<std::unique_ptr<Channel>()> const& open = openChannel,
                      Pause const& pause = sleepFor);

}  // namespace Netlink
