#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>

#include "Zin/HashKey.h"
#include "intfaddr/Command.h"

namespace {

// Whatever is opened first would else become the standard output of who has none.
void openStandardDescriptors() {
    while (true) {
        int const opened = ::open("/dev/null", O_RDWR);
        if (opened < 0 || opened > STDERR_FILENO) {
            ::close(opened);
            return;
        }
    }
}

// Each namespace takes two, and the soft limit is low for those who use select().
void allowAllDescriptors() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

}  // namespace

int main(int argc, char** argv) {
    openStandardDescriptors();
    allowAllDescriptors();
    // Names and addresses come from outside; nothing has been hashed yet.
    Zin::hashKeyIs(Zin::drawnHashKey());
    std::ios::sync_with_stdio(false);
    return IntfAddr::runCommand({argv + std::min(argc, 1), argv + argc},
                                {.in = std::cin,
                                 .out = std::cout,
                                 .err = std::cerr,
                                 .errIsTerminal = ::isatty(STDERR_FILENO) == 1});
}
