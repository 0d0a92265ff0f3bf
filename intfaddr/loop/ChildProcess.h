// A program that runs beside this one, bounded in memory and time, and at a lower priority; the
// loop does not wait for it.
//
//   in     its arguments and its standard input, whole
//   out    its standard output and error, whole, when it has ended
//   timer  `limits.time` after its beginning it is killed
//
// What it reads and writes are files in memory, so nobody has to read or write in time. It is made
// without copying this process, however large that is. It is killed with its owner, and where the
// thread that made it is.
//
// The loop outlives it.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Zin/Seconds.h"
#include "feeds/netlink/Descriptor.h"
#include "intfaddr/loop/EventLoop.h"

namespace IntfAddr {

struct ChildLimits {
    std::size_t memory = std::size_t{2} << 30;    // address space, in bytes
    std::size_t output = std::size_t{256} << 20;  // of each of output and error, in bytes
    Zin::Seconds time = 30.0;
};

class ChildProcess {
public:
    // `command`: the path of the program, and its arguments. `ended` is called once, from the loop,
    // and may destroy it. Throws std::system_error where it cannot be started.
    ChildProcess(EventLoop& loop, std::vector<std::string> const& command, std::string_view input,
                 ChildLimits const& limits, std::function<void()> ended);
    ~ChildProcess();
    ChildProcess(ChildProcess const&) = delete;
    ChildProcess& operator=(ChildProcess const&) = delete;

    // Ends it before its time; `ended` is called all the same.
    void kill();

    // Once it has ended: nothing where a signal ended it.
    std::optional<int> exitStatus() const { return exitStatus_; }
    int signal() const { return signal_; }
    bool isOverdue() const { return isOverdue_; }
    Netlink::Descriptor const& output() const { return output_; }
    Netlink::Descriptor const& error() const { return error_; }

private:
    class Timer;

    void handleEnd();

    std::function<void()> const ended_;
    Netlink::Descriptor const output_;
    Netlink::Descriptor const error_;
    pid_t process_ = 0;  // none once it has ended
    std::optional<int> exitStatus_;
    int signal_ = 0;
    bool isOverdue_ = false;
    Netlink::Descriptor end_;  // readable when it has ended
    std::unique_ptr<Netlink::Watch> watch_;
    std::unique_ptr<Timer> timer_;
};

// What stands in the file from `offset` on, `size` bytes at most. Throws std::system_error.
std::string readAt(Netlink::Descriptor const& file, std::size_t offset, std::size_t size);

}  // namespace IntfAddr
