// Lines on their way to a descriptor whose reader may be slow, or not read at all: nobody waits for
// him.
//
//   in     lines
//   out    the same in their order, as much as goes without waiting; where some had to be dropped
//          since there were too many, {"lost":N} in the place of these N lines
//   time   whoever has a loop calls writeSome() when the descriptor can be written
//
// The descriptor may be shared with others, a shell for one, so it is left as it is: O_NONBLOCK
// would be theirs too. Pipes are written in pieces that go whole when anything goes; a terminal,
// which takes less than that, is opened a second time. One that its user may not open may keep him
// waiting.
//
// When it cannot be written any more, what is queued is dropped, and nothing is queued again. A
// pipe that nobody reads raises SIGPIPE, which is the program's business. The descriptor is
// borrowed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "feeds/netlink/Descriptor.h"

namespace IntfAddr {

class OutputQueue {
public:
    static constexpr std::size_t defaultLimit = std::size_t{16} << 20;

    // `limit`: of what is queued, in bytes; for one line that is longer there is room where nothing
    // else is queued.
    explicit OutputQueue(int descriptor, std::size_t limit = defaultLimit);

    // Without its end. Writes nothing yet.
    void put(std::string_view line);
    // Writes as much as goes now. Returns whether something is left.
    bool writeSome();

    bool isEmpty() const { return begin_ == queued_.size() && lost_ == 0; }
    // The errno with which writing failed; 0 where it has not.
    int failed() const { return error_; }
    // What can be written when something can; to be polled for POLLOUT while it is not empty.
    int descriptor() const { return own_ ? own_.number() : descriptor_; }

private:
    bool hasRoomFor(std::string_view line) const;
    void append(std::string_view line);
    void tellLost();
    bool canWrite();
    // Returns whether more may go.
    bool writePiece();
    void fail(int error);

    int const descriptor_;
    std::size_t const limit_;
    bool isSocket_ = false;
    Netlink::Descriptor own_;  // of a terminal
    std::size_t piece_;
    std::string queued_;
    std::size_t begin_ = 0;  // of what has not been written yet
    std::uint64_t lost_ = 0;
    int error_ = 0;
};

}  // namespace IntfAddr
