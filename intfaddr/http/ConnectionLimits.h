// What a connection may take of the server.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>

#include "Zin/Seconds.h"

namespace IntfAddr {

struct ConnectionLimits {
    std::size_t headerBytes = std::size_t{8} << 10;  // more is a 431
    std::size_t bodyBytes = std::size_t{64} << 10;   // of a request; more is a 413
    // Where it may be more: for these paths, as they are written.
    std::map<std::string, std::size_t, std::less<>> largerBodies = {};
    Zin::Seconds requestTime = 5.0;  // from its first byte to its last; 408
    Zin::Seconds readerTime = 30.0;  // without reading anything of what is there
    Zin::Seconds idleTime = 60.0;    // between requests
};

}  // namespace IntfAddr
