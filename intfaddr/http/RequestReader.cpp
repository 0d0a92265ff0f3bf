#include "intfaddr/http/RequestReader.h"

#include <boost/asio/buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <utility>

#include "Zin/Format.h"
#include "intfaddr/http/LoopbackHost.h"
#include "intfaddr/http/Reply.h"

namespace IntfAddr {

namespace {

namespace http = boost::beast::http;

using Parser = http::request_parser<http::string_body>;
using Failure = boost::system::error_code;

std::string stringOf(boost::beast::string_view text) { return {text.data(), text.size()}; }

std::string_view viewOf(boost::beast::string_view text) { return {text.data(), text.size()}; }

RefusedReply tooLarge(std::size_t most) {
    return {413, fmt::format("the body has more than {} bytes", most)};
}

// Of a request that may come from a page in a browser.
void checkStranger(Parser::value_type const& header) {
    if (header.method() != http::verb::get && header.method() != http::verb::head) {
        throw RefusedReply(403, "over TCP one may only read: GET and HEAD");
    }
    auto const host = hostOf(viewOf(header.target()));
    auto const named = host ? *host : viewOf(header[http::field::host]);
    if (!isLoopbackHost(named)) {
        throw RefusedReply(421, fmt::format("the host '{}' is not this machine's loopback, which "
                                            "is all that is answered over TCP",
                                            named));
    }
}

}  // namespace

class RequestReader::Parsing : public Parser {};

RequestReader::RequestReader(ConnectionLimits const& limits, std::optional<Peer> const& peer,
                             Seats& largeBodies)
    : limits_(limits), peer_(peer), largeBodies_(largeBodies) {
    begin();
}

RequestReader::~RequestReader() = default;

void RequestReader::begin() {
    parsing_ = std::make_unique<Parsing>();
    parsing_->header_limit(static_cast<std::uint32_t>(limits_.headerBytes));
    parsing_->body_limit(boost::none);  // until the header is there
    headerSize_ = 0;
    seat_.reset();
    isAwaited_ = false;
}

void RequestReader::put(std::string_view bytes) { received_ += bytes; }

RequestReader::Progress RequestReader::read() {
    Failure failure;
    while (!received_.empty() && !parsing_->is_done() && !failure) {
        bool const isHeader = !parsing_->is_header_done();
        auto const size = parsing_->put(boost::asio::buffer(received_), failure);
        received_.erase(0, size);
        headerSize_ += isHeader ? size : 0;
        if (isHeader && parsing_->is_header_done() && !failure) {
            decideByHeader();
        }
    }
    if (failure == http::error::need_more) {
        failure = {};
    }
    // The parser limits no more than each part that it is given, and nothing in the heads of
    // chunks, which are left until they are whole.
    if (!failure &&
        headerSize_ + (parsing_->is_done() ? 0 : received_.size()) > limits_.headerBytes) {
        failure = http::error::header_limit;
    }
    if (failure == http::error::header_limit) {
        throw RefusedReply(431,
                           fmt::format("the header has more than {} bytes", limits_.headerBytes));
    }
    if (failure == http::error::body_limit) {
        throw tooLarge(bodyBytes_);
    }
    if (failure) {
        throw RefusedReply(400, "the request cannot be read: " + failure.message());
    }
    takeSeat(parsing_->get().body().size());
    return parsing_->is_done()                ? Progress::whole
           : std::exchange(isAwaited_, false) ? Progress::awaited
                                              : Progress::more;
}

void RequestReader::decideByHeader() {
    auto const& header = parsing_->get();
    if (header.version() != 11) {
        throw RefusedReply(400, "the request's version is not HTTP/1.1");
    }
    if (!peer_) {
        checkStranger(header);
    }
    // Where such a body ends is not known: it would be read as the next request (RFC 9112, 6.1).
    if (auto const coding = header.find(http::field::transfer_encoding);
        coding != header.end() && !boost::beast::iequals(coding->value(), "chunked")) {
        throw RefusedReply(501, fmt::format("the transfer coding '{}' is not known: 'chunked' is",
                                            viewOf(coding->value())));
    }
    isAwaited_ = boost::beast::iequals(header[http::field::expect], "100-continue");
    auto const target = viewOf(header.target());
    auto const larger = limits_.largerBodies.find(target.substr(0, target.find('?')));
    bodyBytes_ = larger == limits_.largerBodies.end() ? limits_.bodyBytes : larger->second;
    parsing_->body_limit(bodyBytes_);
    auto const length = parsing_->content_length().value_or(0);
    if (length > bodyBytes_) {
        throw tooLarge(bodyBytes_);
    }
    takeSeat(length);
}

void RequestReader::takeSeat(std::uint64_t size) {
    if (size > limits_.bodyBytes && !seat_) {
        seat_ = largeBodies_.take();
        if (!seat_) {
            throw RefusedReply(503, fmt::format("too many others have a body of more than {} bytes "
                                                "just now",
                                                limits_.bodyBytes));
        }
    }
}

bool RequestReader::isAtEnd() const { return parsing_->is_done() && received_.empty(); }

bool RequestReader::isHead() const {
    return parsing_->is_header_done() && parsing_->get().method() == http::verb::head;
}

bool RequestReader::keepsAlive() const { return parsing_->get().keep_alive(); }

Request RequestReader::take() {
    auto& message = parsing_->get();
    // RFC 9112, 3.2.
    if (message.count(http::field::host) != 1) {
        throw RefusedReply(400, "a request has one field 'Host'");
    }
    Request request;
    try {
        request.target = readTarget(stringOf(message.target()));
    } catch (TargetError const& error) {
        throw RefusedReply(400, error.what());
    }
    request.method = stringOf(message.method_string());
    request.body = std::move(message.body());
    request.peer = peer_;
    if (auto const found = message.find("Last-Event-ID"); found != message.end()) {
        request.lastEventId = stringOf(found->value());
    }
    return request;
}

std::string RequestReader::said() const {
    return fmt::format("{} {}", stringOf(parsing_->get().method_string()),
                       stringOf(parsing_->get().target()));
}

}  // namespace IntfAddr
