// One client's connection to the server: his requests, one after the other, and their replies.
//
//   in     bytes of a stream socket: HTTP/1.1 requests (RFC 9112), also before the reply to the
//   last out    replies in the order of the requests; those that are whole in their first piece
//   with a
//          Content-Length, the others in chunks, as they are made
//   timer  idle: no request begins; request: one has begun and does not end; reader: he does not
//          take what is written
//
//     idle ──first byte──> receiving ──whole──> replying ──all written──> idle
//      │                      │                    │  ^
//      │                      │                    v  │more
//      │                      │                  waiting
//      └──idle over, gone─────┴──refused───────────┴──────> ended
//
// As soon as its header is there, a request is refused for its version, for a body that is too
// large (413), or one that is larger than most where no seat is free for it (503), and who asks
// whether to send the body is told to go on (RFC 9110, 10.1.1).
//
// Where nobody knows who is at the other end (no Peer), it may be a page in a browser: there one
// may only read (403), and has to name a host that is loopback (421, LoopbackHost.h).
//
// One piece of a body is on its way at a time: the next is made when the last has been written. It
// is finished when it has `pieceSize` bytes or has taken `pieceTime`, and is written in an event of
// its own, so the others of the loop have their turn between any two pieces. That, and a request
// within its limits, is all that is kept of a connection.
//
// A client that closed his side of the connection for writing gets the replies to what he sent; one
// that closed all of it is gone, and what he asked for last is not answered. The two look alike
// over TCP while nothing is sent: who closed his side is taken for gone there while a body waits.
// Whatever is refused before it is whole ends the connection after the reply.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "Zin/Seconds.h"
#include "feeds/netlink/Descriptor.h"
#include "intfaddr/http/Reply.h"
#include "intfaddr/http/Request.h"
#include "intfaddr/http/Seats.h"
#include "intfaddr/http/Traffic.h"

namespace boost::asio {
class io_context;
}

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

class Connection {
public:
    static constexpr std::size_t pieceSize = std::size_t{64} << 10;
    static constexpr Zin::Seconds pieceTime = 0.002;

    // May throw as a body does (Reply.h).
    using Handle = std::function<Reply(Request const&)>;
    // Tells the operator.
    using Notice = std::function<void(std::string const& line)>;

    // What the connections of a server have in common.
    struct Service {
        ConnectionLimits limits;
        Handle handle;
        Notice notice;
        Traffic& traffic;
        Seats largeBodies;  // one for each request whose body has more than limits.bodyBytes
    };

    // The service is borrowed, and so is the loop's context. `ended` is called once, from the loop,
    // when there is nothing more to be done: it destroys the connection.
    Connection(boost::asio::io_context& context, Netlink::Descriptor socket,
               std::optional<Peer> const& peer, Service& service, std::function<void()> ended);
    ~Connection();
    Connection(Connection const&) = delete;
    Connection& operator=(Connection const&) = delete;

private:
    class State;

    // The loop may hold on to it for a while after the connection's end.
    std::shared_ptr<State> const state_;
    Traffic& traffic_;
};

}  // namespace IntfAddr
