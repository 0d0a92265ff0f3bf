#include <unistd.h>

#include <algorithm>
#include <iostream>

#include "Zin/HashKey.h"
#include "intfaddr/Command.h"

int main(int argc, char** argv) {
    // Names and addresses come from outside; nothing has been hashed yet.
    Zin::hashKeyIs(Zin::drawnHashKey());
    std::ios::sync_with_stdio(false);
    return IntfAddr::runCommand({argv + std::min(argc, 1), argv + argc},
                                {.in = std::cin,
                                 .out = std::cout,
                                 .err = std::cerr,
                                 .errIsTerminal = ::isatty(STDERR_FILENO) == 1});
}
