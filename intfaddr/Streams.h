// What a command reads from and writes to.
#pragma once

#include <istream>
#include <ostream>

namespace IntfAddr {

struct Streams {
    std::istream& in;
    std::ostream& out;
    // Warnings and errors.
    std::ostream& err;
    bool errIsTerminal = false;
};

}  // namespace IntfAddr
