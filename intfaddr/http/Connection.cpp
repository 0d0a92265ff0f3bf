#include "intfaddr/http/Connection.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <chrono>
#include <exception>
#include <optional>
#include <string_view>
#include <utility>

#include "intfaddr/http/LoopbackHost.h"
#include "intfaddr/http/ReplyHead.h"

namespace IntfAddr {

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;

using Clock = std::chrono::steady_clock;
using Parser = http::request_parser<http::string_body>;
using Failure = boost::system::error_code;

Clock::duration durationOf(Zin::Seconds time) {
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(time));
}

std::string stringOf(boost::beast::string_view text) { return {text.data(), text.size()}; }

std::string_view viewOf(boost::beast::string_view text) { return {text.data(), text.size()}; }

std::string chunkOf(std::string_view piece) {
    return piece.empty() ? "" : fmt::format("{:x}\r\n{}\r\n", piece.size(), piece);
}

// RFC 9110, 6.4.1: neither is followed by a body, whatever its head says.
bool hasNoBody(unsigned status) { return status == 204 || status == 304; }

// Of a request that may come from a page in a browser.
std::optional<Reply> strangersRefusal(Parser::value_type const& header) {
    if (header.method() != http::verb::get && header.method() != http::verb::head) {
        return errorReply(403, "over TCP one may only read: GET and HEAD");
    }
    auto const host = hostOf(viewOf(header.target()));
    auto const named = host ? *host : viewOf(header[http::field::host]);
    if (!isLoopbackHost(named)) {
        return errorReply(421, fmt::format("the host '{}' is not this machine's loopback, which is "
                                           "all that is answered over TCP",
                                           named));
    }
    return std::nullopt;
}

Reply replyTo(Parser::value_type& message, std::optional<Peer> const& peer,
              Connection::Handle const& handle) {
    // RFC 9112, 3.2.
    if (message.count(http::field::host) != 1) {
        return errorReply(400, "a request has one field 'Host'");
    }
    Request request;
    try {
        request.target = readTarget(stringOf(message.target()));
    } catch (TargetError const& error) {
        return errorReply(400, error.what());
    }
    request.method = stringOf(message.method_string());
    request.body = std::move(message.body());
    request.peer = peer;
    if (auto const found = message.find("Last-Event-ID"); found != message.end()) {
        request.lastEventId = stringOf(found->value());
    }
    return handle(request);
}

}  // namespace

class Connection::State : public std::enable_shared_from_this<State> {
    // The loop may have an event for a connection that has ended meanwhile.
    template <typename Function>
    auto whileOpen(Function function) {
        return [self = shared_from_this(), function](auto const&... result) {
            if (self->socket_.is_open()) {
                function(result...);
            }
        };
    }

public:
    State(asio::io_context& context, Netlink::Descriptor socket, std::optional<Peer> const& peer,
          Service& service, std::function<void()> ended)
        : context_(context),
          service_(service),
          ended_(std::move(ended)),
          socket_(context),
          timer_(context),
          peer_(peer) {
        socket_.assign(asio::generic::stream_protocol(AF_UNSPEC, 0), socket.number());
        static_cast<void>(socket.release());
    }

    void begin() {
        watch();
        receive();
    }

    // No handler does anything after this.
    void close() {
        body_.reset();
        seat_.reset();
        ended_ = nullptr;
        Failure ignored;
        socket_.close(ignored);
        timer_.cancel();
    }

private:
    // Whether he has gone, also while nothing is read of him or written to him.
    void watch() {
        socket_.async_wait(asio::socket_base::wait_error, whileOpen([this](Failure const&) {
                               if (hasGone()) {
                                   end();
                               } else {
                                   dropUrgent();
                                   watch();
                               }
                           }));
    }

    // HTTP knows no urgent byte, and the loop would be told of it until it is taken.
    void dropUrgent() {
        char urgent = 0;
        ::recv(socket_.native_handle(), &urgent, 1, MSG_OOB | MSG_DONTWAIT);
    }

    // What was told may have been about the socket that had the descriptor before.
    bool hasGone() {
        pollfd one{.fd = socket_.native_handle(), .events = 0, .revents = 0};
        return ::poll(&one, 1, 0) == 1;
    }

    // For who closed his side while there is nothing to be sent to him.
    void watchSilence() {
        if (std::exchange(watchesSilence_, true)) {
            return;
        }
        socket_.async_wait(asio::socket_base::wait_read, whileOpen([this](Failure const&) {
                               watchesSilence_ = false;
                               char next = 0;
                               if (isWaiting_ && ::recv(socket_.native_handle(), &next, 1,
                                                        MSG_PEEK | MSG_DONTWAIT) == 0) {
                                   end();
                               }
                           }));
    }

    void arm(Zin::Seconds time, void (State::*over)()) {
        arm(Clock::now() + durationOf(time), over);
    }
    void arm(Clock::time_point time, void (State::*over)()) {
        timer_.expires_at(time);
        timer_.async_wait(whileOpen([this, over](Failure const&) {
            // It may have been armed anew since this event came up.
            if (timer_.expiry() <= Clock::now()) {
                (this->*over)();
            }
        }));
    }
    void disarm() { timer_.expires_at(Clock::time_point::max()); }

    // Handlers.
    void handleRead(Failure const& failure, std::size_t size) {
        if (failure) {
            return end();
        }
        if (!isBegun_) {
            requestBegins();
        }
        received_.append(readBuffer_.data(), size);
        parse();
    }

    void handleWritten(Failure const& failure, std::size_t size) {
        if (failure) {
            return end();
        }
        written_ += size;
        if (written_ < out_.size()) {
            return write();
        }
        disarm();
        out_.clear();
        written_ = 0;
        if (body_) {
            pull();
        } else if (!asked_) {
            // He was told to go on.
            arm(requestEnd_, &State::requestTimeOver);
            read();
        } else {
            handleReplied();
        }
    }

    void handleReplied() {
        if (!contentType_.starts_with("text/event-stream")) {
            service_.traffic.times.add(
                std::chrono::duration<double>(Clock::now() - *asked_).count());
        }
        if (!isLast_) {
            receive();
        } else if (parser_->is_done() && received_.empty()) {
            end();
        } else {
            linger();
        }
    }

    void handleMore() {
        if (std::exchange(isWaiting_, false)) {
            pull();
        }
    }

    void requestTimeOver() {
        refuse(408, fmt::format("the request was not whole {} s after its beginning",
                                limits().requestTime));
    }

    void readerTimeOver() {
        ++service_.traffic.droppedReaders;
        end();
    }

    // Decisions and actions.
    void receive() {
        parser_.emplace();
        parser_->header_limit(static_cast<std::uint32_t>(limits().headerBytes));
        parser_->body_limit(boost::none);  // until the header is there
        isBegun_ = false;
        isHead_ = false;
        isAwaited_ = false;
        asked_.reset();
        seat_.reset();
        headerSize_ = 0;
        if (received_.empty()) {
            arm(limits().idleTime, &State::end);
            read();
        } else {
            requestBegins();
            parse();
        }
    }

    void requestBegins() {
        isBegun_ = true;
        requestEnd_ = Clock::now() + durationOf(limits().requestTime);
        arm(requestEnd_, &State::requestTimeOver);
    }

    void read() {
        socket_.async_read_some(asio::buffer(readBuffer_),
                                whileOpen([this](Failure const& failure, std::size_t size) {
                                    handleRead(failure, size);
                                }));
    }

    void parse() {
        Failure failure;
        while (!received_.empty() && !parser_->is_done() && !failure) {
            bool const isHeader = !parser_->is_header_done();
            auto const size = parser_->put(asio::buffer(received_), failure);
            received_.erase(0, size);
            headerSize_ += isHeader ? size : 0;
            if (isHeader && parser_->is_header_done() && !failure) {
                if (auto refused = refusal()) {
                    return refuse(std::move(*refused));
                }
            }
        }
        if (failure == http::error::need_more) {
            failure = {};
        }
        // The parser limits no more than each part that it is given, and nothing in the heads of
        // chunks, which are left until they are whole.
        if (!failure &&
            headerSize_ + (parser_->is_done() ? 0 : received_.size()) > limits().headerBytes) {
            failure = http::error::header_limit;
        }
        if (failure) {
            refuse(failure);
        } else if (!hasRoom(parser_->get().body().size())) {
            refuse(noRoom());
        } else if (parser_->is_done()) {
            answer();
        } else if (std::exchange(isAwaited_, false)) {
            out_ += "HTTP/1.1 100 Continue\r\n\r\n";
            write();
        } else {
            read();
        }
    }

    // What a header alone decides.
    std::optional<Reply> refusal() {
        auto const& header = parser_->get();
        isHead_ = header.method() == http::verb::head;
        isAwaited_ = boost::beast::iequals(header[http::field::expect], "100-continue");
        if (header.version() != 11) {
            return errorReply(400, "the request's version is not HTTP/1.1");
        }
        if (auto refused = peer_ ? std::nullopt : strangersRefusal(header)) {
            return refused;
        }
        // Where such a body ends is not known: it would be read as the next request (RFC
        // 9112, 6.1).
        if (auto const coding = header.find(http::field::transfer_encoding);
            coding != header.end() && !boost::beast::iequals(coding->value(), "chunked")) {
            return errorReply(501,
                              fmt::format("the transfer coding '{}' is not known: 'chunked' is",
                                          viewOf(coding->value())));
        }
        auto const target = viewOf(header.target());
        auto const larger = limits().largerBodies.find(target.substr(0, target.find('?')));
        bodyBytes_ = larger == limits().largerBodies.end() ? limits().bodyBytes : larger->second;
        parser_->body_limit(bodyBytes_);
        auto const length = parser_->content_length();
        if (length && *length > bodyBytes_) {
            return tooLarge();
        }
        return length && !hasRoom(*length) ? std::optional(noRoom()) : std::nullopt;
    }

    // A body that has so many bytes.
    bool hasRoom(std::uint64_t size) {
        if (size > limits().bodyBytes && !seat_) {
            seat_ = service_.largeBodies.take();
        }
        return size <= limits().bodyBytes || seat_;
    }

    Reply tooLarge() const {
        return errorReply(413, fmt::format("the body has more than {} bytes", bodyBytes_));
    }
    Reply noRoom() const {
        return errorReply(503, fmt::format("too many others have a body of more than {} bytes just "
                                           "now",
                                           limits().bodyBytes));
    }

    void refuse(Failure const& failure) {
        if (failure == http::error::header_limit) {
            refuse(431, fmt::format("the header has more than {} bytes", limits().headerBytes));
        } else if (failure == http::error::body_limit) {
            refuse(tooLarge());
        } else {
            refuse(400, "the request cannot be read: " + failure.message());
        }
    }

    void refuse(unsigned status, std::string const& what) { refuse(errorReply(status, what)); }

    void refuse(Reply reply) {
        isLast_ = true;
        askedNow();
        begin(std::move(reply));
    }

    void askedNow() {
        asked_ = Clock::now();
        ++service_.traffic.requests;
    }

    void answer() {
        auto& message = parser_->get();
        isLast_ = !message.keep_alive();
        askedNow();
        Reply reply;
        try {
            reply = replyTo(message, peer_, service_.handle);
        } catch (std::exception const& error) {
            reply = failed(error);
        }
        begin(std::move(reply));
    }

    Reply failed(std::exception const& error) {
        if (auto const* const refused = dynamic_cast<RefusedReply const*>(&error)) {
            return errorReply(refused->status(), error.what());
        }
        tell(error);
        return errorReply(500, error.what());
    }

    void tell(std::exception const& error) {
        service_.notice(fmt::format("a request failed: {} {}: {}",
                                    stringOf(parser_->get().method_string()),
                                    stringOf(parser_->get().target()), error.what()));
    }

    void begin(Reply reply) {
        disarm();
        status_ = reply.status;
        contentType_ = std::move(reply.contentType);
        headers_ = std::move(reply.headers);
        body_ = reply.body ? std::move(reply.body) : std::make_unique<TextBody>("");
        isHeadSent_ = false;
        if (hasNoBody(status_)) {
            finish("");
        } else if (isHead_) {
            finish("Transfer-Encoding: chunked");
        } else {
            body_->onMore([weak = weak_from_this()] {
                if (auto const self = weak.lock()) {
                    asio::post(self->context_, self->whileOpen([self] { self->handleMore(); }));
                }
            });
            pull();
        }
    }

    // What the head says is all.
    void finish(std::string const& framing) {
        body_.reset();
        putHead(framing);
        write();
    }

    void putHead(std::string const& framing) {
        out_ += ReplyHead{.status = status_,
                          .contentType = contentType_,
                          .framing = framing,
                          .isLast = isLast_,
                          .headers = headers_}
                    .text();
        isHeadSent_ = true;
    }

    void pull() {
        std::string piece;
        auto progress = Body::Progress::more;
        try {
            auto const end = Clock::now() + durationOf(pieceTime);
            do {
                progress = body_->next(piece);
            } while (progress == Body::Progress::more && piece.size() < pieceSize &&
                     Clock::now() < end);
        } catch (std::exception const& error) {
            if (isHeadSent_) {
                tell(error);
                return end();
            }
            return begin(failed(error));
        }
        put(piece, progress);
        if (!out_.empty()) {
            write();
        } else if (progress == Body::Progress::waits) {
            isWaiting_ = true;
            if (!peer_) {
                watchSilence();
            }
        } else {
            asio::post(context_, whileOpen([this] { pull(); }));
        }
    }

    void put(std::string const& piece, Body::Progress progress) {
        bool const isEnded = progress == Body::Progress::ended;
        if (isEnded) {
            body_.reset();
        }
        if (isEnded && !isHeadSent_) {
            putHead(fmt::format("Content-Length: {}", piece.size()));
            out_ += piece;
            return;
        }
        if (!isHeadSent_ && !piece.empty()) {
            putHead("Transfer-Encoding: chunked");
        }
        out_ += chunkOf(piece);
        if (isEnded) {
            out_ += "0\r\n\r\n";
        }
    }

    void write() {
        arm(limits().readerTime, &State::readerTimeOver);
        socket_.async_write_some(asio::buffer(out_) + written_,
                                 whileOpen([this](Failure const& failure, std::size_t size) {
                                     handleWritten(failure, size);
                                 }));
    }

    // To close while he still sends would have him lose the reply, which says why he is refused
    // (RFC 9112, 9.6).
    void linger() {
        Failure ignored;
        socket_.shutdown(asio::socket_base::shutdown_send, ignored);
        parser_.reset();
        seat_.reset();
        arm(limits().requestTime, &State::end);
        discard();
    }

    void discard() {
        socket_.async_read_some(asio::buffer(readBuffer_),
                                whileOpen([this](Failure const& failure, std::size_t) {
                                    failure ? end() : discard();
                                }));
    }

    void end() {
        auto const ended = std::move(ended_);
        close();
        ended();
    }

    ConnectionLimits const& limits() const { return service_.limits; }

    asio::io_context& context_;
    Service& service_;
    std::function<void()> ended_;
    asio::generic::stream_protocol::socket socket_;
    asio::steady_timer timer_;  // of idle, request and reader: one at a time
    std::optional<Peer> const peer_;
    bool watchesSilence_ = false;

    // The request that comes, or is answered.
    std::array<char, std::size_t{8} << 10> readBuffer_;
    std::string received_;  // and not parsed yet
    std::optional<Parser> parser_;
    bool isBegun_ = false;
    Clock::time_point requestEnd_;
    std::size_t headerSize_ = 0;  // of what has been parsed
    std::size_t bodyBytes_ = 0;   // at most
    Seats::Seat seat_;            // of a body that is larger than most, until the reply has gone
    bool isAwaited_ = false;      // he waits to be told to send the body
    bool isHead_ = false;
    bool isLast_ = false;

    // Its reply.
    std::optional<Clock::time_point> asked_;  // none while the request is not there
    unsigned status_ = 0;
    std::string contentType_;
    HeaderFields headers_;
    std::unique_ptr<Body> body_;  // while it has not ended
    bool isHeadSent_ = false;
    bool isWaiting_ = false;
    std::string out_;
    std::size_t written_ = 0;
};

Connection::Connection(asio::io_context& context, Netlink::Descriptor socket,
                       std::optional<Peer> const& peer, Service& service,
                       std::function<void()> ended)
    : state_(std::make_shared<State>(context, std::move(socket), peer, service, std::move(ended))),
      traffic_(service.traffic) {
    ++traffic_.clients;
    state_->begin();
}

Connection::~Connection() {
    --traffic_.clients;
    state_->close();
}

}  // namespace IntfAddr
