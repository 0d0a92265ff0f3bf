// For tests: a network namespace of the test's own, which lives while this does. False where the
// machine does not let us make one.
#pragma once

#include <fcntl.h>
#include <sched.h>

#include <filesystem>
#include <future>
#include <string>

#include "feeds/netlink/Descriptor.h"

namespace Netlink {

class TestNamespace {
public:
    TestNamespace()
        : opened_(std::async(std::launch::async, [] {
                      return ::unshare(CLONE_NEWNET) == 0
                                 ? ::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC)
                                 : -1;
                  }).get()) {}

    explicit operator bool() const { return bool(opened_); }
    // Stands for it while it lives.
    std::filesystem::path file() const {
        return "/proc/self/fd/" + std::to_string(opened_.number());
    }

private:
    Descriptor const opened_;
};

}  // namespace Netlink
