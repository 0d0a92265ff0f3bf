#include "feeds/netlink/SnapshotTaker.h"

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "feeds/netlink/DumpReader.h"

namespace Netlink {

namespace {

// The kernel makes its datagrams no longer than this, unless one link alone has more to tell.
constexpr std::size_t bufferSize = 256 * 1024;
constexpr std::uint32_t kernelPort = 0;

void sendRequest(Channel& channel, std::uint16_t type, std::uint32_t sequence) {
    alignas(nlmsghdr) std::byte buffer[MNL_NLMSG_HDRLEN + MNL_ALIGN(sizeof(rtgenmsg))];
    nlmsghdr* const request = mnl_nlmsg_put_header(buffer);
    request->nlmsg_type = type;
    request->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request->nlmsg_seq = sequence;
    auto* const general =
        static_cast<rtgenmsg*>(mnl_nlmsg_put_extra_header(request, sizeof(rtgenmsg)));
    general->rtgen_family = AF_UNSPEC;
    channel.send(std::as_bytes(std::span(buffer)).first(request->nlmsg_len));
}

// Whether the dump went through undisturbed. The buffer grows where it was too short.
bool dump(Channel& channel, std::uint16_t type, std::uint32_t sequence, Snapshot& snapshot,
          std::vector<std::byte>& buffer) {
    sendRequest(channel, type, sequence);
    DumpReader reader(snapshot, sequence, channel.port());
    while (!reader.done()) {
        auto const [size, sender] = channel.receive(buffer);
        if (sender != kernelPort) {
            ++snapshot.skipped.foreignMessages;
        } else if (size > buffer.size()) {
            buffer.resize(size);
            return false;
        } else {
            reader.read(std::span(buffer).first(size));
        }
    }
    return !reader.interrupted();
}

bool tryTake(Channel& channel, Snapshot& snapshot, std::vector<std::byte>& buffer) {
    try {
        return dump(channel, RTM_GETLINK, 1, snapshot, buffer) &&
               dump(channel, RTM_GETADDR, 2, snapshot, buffer);
    } catch (std::system_error const& error) {
        if (error.code() == std::errc::no_buffer_space) {
            return false;
        }
        throw;
    }
}

}  // namespace

void sleepFor(std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }

Snapshot takeSnapshot(std::function<std::unique_ptr<Channel>()> const& open, Pause const& pause) {
    std::vector<std::byte> buffer(bufferSize);
    auto nextPause = firstSnapshotPause;
    for (int attempt = 0; attempt < maxSnapshotAttempts; ++attempt) {
        if (attempt > 0) {
            pause(nextPause);
            nextPause *= 2;
        }
        Snapshot snapshot;
        if (tryTake(*open(), snapshot, buffer)) {
            std::ranges::stable_sort(snapshot.links, {}, &Link::ifIndex);
            std::ranges::stable_sort(snapshot.addresses, {}, &Address::ifIndex);
            return snapshot;
        }
    }
    throw std::runtime_error(
        "the kernel's interfaces change too fast: " + std::to_string(maxSnapshotAttempts) +
        " dumps in a row were interrupted");
}

}  // namespace Netlink
