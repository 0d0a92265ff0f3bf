// For tests that nothing stays open: the process's open files, and system calls that fail.
#pragma once

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <future>
#include <iterator>
#include <system_error>

namespace Netlink {

inline auto openDescriptors() {
    std::filesystem::directory_iterator const files("/proc/self/fd");
    return std::distance(begin(files), end(files));
}

// Runs `step` in a thread that the kernel refuses the system call, as it does those that the thread
// starts.
template <class Step>
void whereRefused(int call, Step const& step) {
    std::array<sock_filter, 4> filter{
        {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
         BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call), 0, 1),
         BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
         BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)}};
    sock_fprog const program{.len = filter.size(), .filter = filter.data()};
    std::async(std::launch::async, [&] {
        if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
            ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
            throw std::system_error(errno, std::generic_category(), "cannot filter system calls");
        }
        step();
    }).get();
}

}  // namespace Netlink
