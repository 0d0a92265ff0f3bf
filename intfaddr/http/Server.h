// Answers HTTP/1.1 at a listener, within the program's event loop.
//
//   in     clients that connect
//   out    a Connection for each
//   timer  while the process has no descriptor left, accepting pauses for `acceptPause`
//
// A client that comes while `clients` others are connected is told so (503) and let go.
//
// The loop outlives the server, and neither a request's handler nor a body destroys it. All
// replies' bodies go with the server at the latest.
#pragma once

#include <cstddef>
#include <memory>

#include "Zin/Seconds.h"
#include "intfaddr/http/Connection.h"
#include "intfaddr/http/Listener.h"
#include "intfaddr/loop/EventLoop.h"

namespace IntfAddr {

struct ServerOptions {
    std::size_t clients = 64;      // at a time
    std::size_t largeBodies = 2;   // requests at a time whose body has more than limits.bodyBytes
    ConnectionLimits limits = {};  // of each
};

class Server {
public:
    static constexpr Zin::Seconds acceptPause = 0.1;

    // `traffic` is filled in.
    Server(EventLoop& loop, std::unique_ptr<Listener> listener, ServerOptions const& options,
           Traffic& traffic, Connection::Handle handle, Connection::Notice notice);
    ~Server();
    Server(Server const&) = delete;
    Server& operator=(Server const&) = delete;

private:
    class State;

    std::shared_ptr<State> const state_;
};

}  // namespace IntfAddr
