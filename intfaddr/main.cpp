#include <fcntl.h>
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

}  // namespace

int main(int argc, char** argv) {
    openStandardDescriptors();
    // Names and addresses come from outside; nothing has been hashed yet.
    Zin::hashKeyIs(Zin::drawnHashKey());
    std::ios::sync_with_stdio(false);
    return IntfAddr::runCommand({argv + std::min(argc, 1), argv + argc},
                                {.in = std::cin,
                                 .out = std::cout,
                                 .err = std::cerr,
                                 .errIsTerminal = ::isatty(STDERR_FILENO) == 1});
}
