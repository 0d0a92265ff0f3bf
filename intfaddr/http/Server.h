// Answers HTTP/1.1 over a unix stream socket, within the program's event loop.
//
//   in     clients that connect to the socket's path
//   out    a Connection for each; at its path a socket that those may connect to whom its mode and
//          group allow it
//   timer  while the process has no descriptor left, accepting pauses for `acceptPause`
//
// A client that comes while `clients` others are connected is told so (503) and let go. A socket
// that is at the path already is taken for left behind: whoever makes a server sees to it that he
// is the only one (Instance). Anything else there is left as it is, and an error. The socket's file
// is removed with the server, if it is still this server's own.
//
// The loop outlives the server, and neither a request's handler nor a body destroys it. All
// replies' bodies go with the server at the latest.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "Zin/Seconds.h"
#include "intfaddr/http/Connection.h"
#include "intfaddr/loop/EventLoop.h"

namespace IntfAddr {

struct ServerOptions {
    std::string path = {};            // 107 bytes at most
    mode_t mode = 0660;               // who may connect, as if he wrote to the file
    std::optional<gid_t> group = {};  // of the file; else the process's
    std::size_t clients = 64;         // at a time
    ConnectionLimits limits = {};     // of each
};

class Server {
public:
    static constexpr Zin::Seconds acceptPause = 0.1;

    // Throws std::runtime_error, which names the path and the reason.
    Server(EventLoop& loop, ServerOptions options, Connection::Handle handle,
           Connection::Notice notice);
    ~Server();
    Server(Server const&) = delete;
    Server& operator=(Server const&) = delete;

private:
    class State;

    std::shared_ptr<State> const state_;
};

}  // namespace IntfAddr
