#include "intfaddr/agent/Privileges.h"

#include <sys/capability.h>
#include <sys/prctl.h>

#include <cerrno>
#include <filesystem>
#include <iterator>
#include <memory>
#include <system_error>
#include <type_traits>
#include <vector>

#include "Zin/Fail.h"

namespace IntfAddr {

namespace {

struct FreeCapabilities {
    void operator()(cap_t set) const { cap_free(set); }
};
using Capabilities = std::unique_ptr<std::remove_pointer_t<cap_t>, FreeCapabilities>;

void checkKernel(bool isDone, char const* what) {
    if (!isDone) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

bool has(Capabilities const& set, cap_value_t capability) {
    cap_flag_value_t value = CAP_CLEAR;
    checkKernel(cap_get_flag(set.get(), capability, CAP_PERMITTED, &value) == 0, "capabilities");
    return value == CAP_SET;
}

std::vector<cap_value_t> neededFor(Privileges kept) {
    if (kept == Privileges::none) {
        return {};
    }
    return {
        CAP_SYS_ADMIN,   // to enter a namespace
        CAP_NET_ADMIN,   // a receive buffer beyond the system's limit
        CAP_SYS_PTRACE,  // a name that is a link to /proc/PID/ns/net
    };
}

void checkThreads() {
    std::filesystem::directory_iterator const threads("/proc/self/task");
    if (std::distance(begin(threads), end(threads)) != 1) {
        Zin::fail({.className = "Privileges",
                   .condition = "one thread",
                   .function = "keepPrivileges",
                   .message = "another thread would keep its capabilities"});
    }
}

}  // namespace

void keepPrivileges(Privileges kept) {
    Capabilities const now(cap_get_proc());
    Capabilities const next(cap_init());
    checkKernel(now && next, "capabilities cannot be read");
    if (cap_compare(now.get(), next.get()) == 0) {
        return;
    }
    checkThreads();
    for (cap_value_t const capability : neededFor(kept)) {
        if (has(now, capability)) {
            for (cap_flag_t const flag : {CAP_PERMITTED, CAP_EFFECTIVE}) {
                cap_set_flag(next.get(), flag, 1, &capability, CAP_SET);
            }
        }
    }
    checkKernel(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0, "no_new_privs cannot be set");
    // What could come back by executing a program; that takes a right that a service need not have,
    // and without it no_new_privs does the same.
    for (cap_value_t capability = 0; has(now, CAP_SETPCAP) && capability < cap_max_bits();
         ++capability) {
        checkKernel(cap_drop_bound(capability) == 0, "a capability cannot be given up");
    }
    // With nothing inheritable nothing is ambient either.
    checkKernel(cap_set_proc(next.get()) == 0, "capabilities cannot be given up");
}

}  // namespace IntfAddr
