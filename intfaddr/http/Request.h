// What a client asks for, as it came in whole over HTTP/1.1 (RFC 9112): a value.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "intfaddr/http/Target.h"

namespace IntfAddr {

// Who connected, as the kernel knew him at that moment. He may have handed on the
// connection since; `pid` is 0 for a process of another PID namespace.
struct Peer {
    uid_t uid = 0;
    gid_t gid = 0;
    pid_t pid = 0;

    friend bool operator==(Peer const&, Peer const&) = default;
};

struct Request {
    std::string method;  // as it was written: "GET", "PUT", or any other token
    Target target;
    // The last event that a client of an event stream has had, where he begins again.
    std::optional<std::string> lastEventId;
    std::string body;
    std::optional<Peer> peer;  // none over TCP, where nobody knows
};

}  // namespace IntfAddr
