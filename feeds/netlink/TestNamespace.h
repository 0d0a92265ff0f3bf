// For tests: a network namespace of the test's own, which lives while this does. False where we may
// not make one; throws std::system_error for whatever else keeps us from it.
#pragma once

#include <fcntl.h>
#include <sched.h>

#include <cerrno>
#include <filesystem>
#include <future>
#include <string>
#include <system_error>

#include "feeds/netlink/Descriptor.h"

namespace Netlink {

class TestNamespace {
public:
    TestNamespace()
        : opened_(std::async(std::launch::async, [] {
                      bool const isMade = ::unshare(CLONE_NEWNET) == 0;
                      int const opened =
                          isMade ? ::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC) : -1;
                      if (opened < 0 && (isMade || errno != EPERM)) {
                          throw std::system_error(errno, std::generic_category(), "namespace");
                      }
                      return opened;
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
