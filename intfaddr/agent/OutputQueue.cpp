#include "intfaddr/agent/OutputQueue.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

#include "Zin/Format.h"

namespace IntfAddr {

OutputQueue::OutputQueue(int descriptor, std::size_t limit)
    : descriptor_(descriptor), limit_(limit), piece_(limit) {
    struct stat status {};
    ::fstat(descriptor, &status);
    isSocket_ = S_ISSOCK(status.st_mode);
    if (::isatty(descriptor)) {
        own_ = Netlink::Descriptor(::open(fmt::format("/proc/self/fd/{}", descriptor).c_str(),
                                          O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    }
    if (!S_ISREG(status.st_mode) && !isSocket_ && !own_) {
        piece_ = PIPE_BUF;
    }
}

bool OutputQueue::hasRoomFor(std::string_view line) const {
    std::size_t const left = queued_.size() - begin_;
    return left == 0 || left + line.size() + 1 <= limit_;
}

void OutputQueue::put(std::string_view line) {
    if (error_ != 0) {
        return;
    }
    tellLost();
    if (lost_ > 0 || !hasRoomFor(line)) {
        ++lost_;
    } else {
        append(line);
    }
}

void OutputQueue::tellLost() {
    if (lost_ == 0) {
        return;
    }
    if (std::string const line = fmt::format(R"({{"lost":{}}})", lost_); hasRoomFor(line)) {
        append(line);
        lost_ = 0;
    }
}

void OutputQueue::append(std::string_view line) {
    if (begin_ > queued_.size() / 2) {
        queued_.erase(0, begin_);
        begin_ = 0;
    }
    queued_.append(line).append(1, '\n');
}

bool OutputQueue::writeSome() {
    tellLost();
    while (begin_ < queued_.size() && canWrite() && writePiece()) {
        tellLost();
    }
    return !isEmpty();
}

bool OutputQueue::canWrite() {
    pollfd asked{.fd = descriptor(), .events = POLLOUT, .revents = 0};
    // One that is of no use any more is written too, which tells the error.
    return ::poll(&asked, 1, 0) > 0;
}

bool OutputQueue::writePiece() {
    char const* const from = queued_.data() + begin_;
    std::size_t const size = std::min(piece_, queued_.size() - begin_);
    ssize_t const written = isSocket_ ? ::send(descriptor_, from, size, MSG_DONTWAIT)
                                      : ::write(descriptor(), from, size);
    if (written < 0) {
        if (errno != EAGAIN && errno != EINTR) {
            fail(errno);
        }
        return errno == EINTR;
    }
    begin_ += static_cast<std::size_t>(written);
    if (begin_ == queued_.size()) {
        std::string().swap(queued_);
        begin_ = 0;
    }
    return true;
}

void OutputQueue::fail(int error) {
    error_ = error;
    std::string().swap(queued_);
    begin_ = 0;
    lost_ = 0;
}

}  // namespace IntfAddr
