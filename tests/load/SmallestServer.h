// The smallest HTTP server that one can write with Boost.Beast: what the sockets, the loop and the
// parser cost whoever answers with them.
#pragma once

#include <string>

namespace Load {

// Answers each request at this socket with this body, on one thread. Never returns.
[[noreturn]] void serveSmallest(std::string const& path, std::string const& body);

}  // namespace Load
