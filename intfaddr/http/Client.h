// Asks the agent over its socket, and waits for the answer: for commands, which have nothing else
// to do meanwhile.
//
//   in     a request; the agent's reply, HTTP/1.1 (RFC 9112)
//   out    the body of the reply, without its chunks' frames, as it comes
//
// Each request is a connection of its own, so a client may be kept for as long as one likes,
// whatever becomes of the agent meanwhile.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Zin/Seconds.h"
#include "intfaddr/http/Target.h"

namespace IntfAddr {

// Nobody answers at the socket, or not this user; says which.
class NoAgent : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The connection broke before the reply was whole.
class AgentWentAway : public std::runtime_error {
public:
    AgentWentAway() : std::runtime_error("the agent went away") {}
};

class Client {
public:
    using Each = std::function<void(std::string_view piece)>;

    static constexpr Zin::Seconds connectTime = 0.1;
    static constexpr Zin::Seconds defaultReadTime = 10.0;
    static constexpr Zin::Seconds noLimit = 0.0;

    // `readTime`: how long the agent may say nothing, and take nothing of the request. A stream
    // that waits for what happens needs noLimit.
    explicit Client(std::string path, Zin::Seconds readTime = defaultReadTime)
        : path_(std::move(path)), readTime_(readTime) {}

    // The status of the reply, when its body has come whole. `each` is called with the pieces of
    // the body in their order; what it throws ends the request. Throws NoAgent, AgentWentAway, and
    // std::runtime_error where the agent says nothing, or what cannot be read.
    unsigned get(std::string const& target, Each const& each) {
        return send("GET", target, "", each);
    }
    unsigned send(std::string const& method, std::string const& target, std::string const& body,
                  Each const& each);

    // A stream of events (EventStream.h), behind the one of that id unless it is empty.
    unsigned follow(std::string const& target, std::string const& lastEventId, Each const& each);

    // Of the reply whose pieces are coming or came last; 0 before that.
    unsigned status() const { return status_; }

private:
    // `fields` are those that this request alone has, each with the end of its line.
    unsigned exchange(std::string const& method, std::string const& target,
                      std::string const& fields, std::string const& body, Each const& each);

    std::string const path_;
    Zin::Seconds const readTime_;
    unsigned status_ = 0;
};

}  // namespace IntfAddr
