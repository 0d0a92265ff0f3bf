// Reads the requests of one connection out of the bytes that come (RFC 9112), one after the other
// and each within its limits; decides by the header alone what a header can decide.
//
//   in     bytes, also those of the next request before this one is done with
//   out    requests; what cannot be read, or is too much, is a RefusedReply
//
// Of who has no `peer`, as over TCP, only what a page in a browser may do as well is read: GET and
// HEAD of a loopback host. Behind a refusal nobody knows where the next request begins.
//
// Borrows the limits and the seats.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "intfaddr/http/ConnectionLimits.h"
#include "intfaddr/http/Request.h"
#include "intfaddr/http/Seats.h"

namespace IntfAddr {

class RequestReader {
public:
    RequestReader(ConnectionLimits const& limits, std::optional<Peer> const& peer,
                  Seats& largeBodies);
    ~RequestReader();
    RequestReader(RequestReader const&) = delete;
    RequestReader& operator=(RequestReader const&) = delete;

    // For the next request: what belongs to the last one goes.
    void begin();
    void put(std::string_view bytes);

    enum class Progress {
        more,     // of its bytes
        awaited,  // the same, and the client waits to be told to go on (RFC 9110, 10.1.1); once
        whole,
    };
    // Throws RefusedReply.
    Progress read();

    // Whether nothing is there that has not been read.
    bool isEmpty() const { return received_.empty(); }
    // Whether nothing is there behind a whole request.
    bool isAtEnd() const;

    // Of the request whose header has been read, or of no request.
    bool isHead() const;
    // Of the whole one.
    bool keepsAlive() const;
    // Takes it. Throws RefusedReply where it is wrong, but its end is known.
    Request take();
    // "GET /path", as it was written.
    std::string said() const;

private:
    class Parsing;

    void decideByHeader();
    // Throws where a body that has so many bytes finds no room.
    void takeSeat(std::uint64_t size);

    ConnectionLimits const& limits_;
    std::optional<Peer> const peer_;
    Seats& largeBodies_;
    std::string received_;  // and not parsed yet
    std::unique_ptr<Parsing> parsing_;
    std::size_t headerSize_ = 0;  // of what has been parsed
    std::size_t bodyBytes_ = 0;   // at most
    Seats::Seat seat_;            // of a body that is larger than most, until the next request
    bool isAwaited_ = false;
};

}  // namespace IntfAddr
