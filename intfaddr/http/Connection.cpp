#include "intfaddr/http/Connection.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <chrono>
#include <exception>
#include <optional>
#include <string_view>
#include <utility>

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

Peer peerOf(int socket) {
    ucred known{};
    socklen_t size = sizeof known;
    ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &known, &size);
    return {.uid = known.uid, .gid = known.gid, .pid = known.pid};
}

std::string chunkOf(std::string_view piece) {
    return piece.empty() ? "" : fmt::format("{:x}\r\n{}\r\n", piece.size(), piece);
}

// RFC 9110, 6.4.1: neither is followed by a body, whatever its head says.
bool hasNoBody(unsigned status) { return status == 204 || status == 304; }

Reply replyTo(Parser::value_type const& message, Peer const& peer,
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
    request.body = message.body();
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
    State(asio::io_context& context, Netlink::Descriptor socket, ConnectionLimits const& limits,
          Handle const& handle, Notice const& notice, std::function<void()> ended)
        : context_(context),
          limits_(limits),
          handle_(handle),
          notice_(notice),
          ended_(std::move(ended)),
          socket_(context),
          timer_(context),
          peer_(peerOf(socket.number())) {
        socket_.assign(asio::local::stream_protocol(), socket.number());
        static_cast<void>(socket.release());
    }

    void begin() {
        watch();
        receive();
    }

    // No handler does anything after this.
    void close() {
        body_.reset();
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
                                   watch();
                               }
                           }));
    }

    // What was told may have been about the socket that had the descriptor before.
    bool hasGone() {
        pollfd one{.fd = socket_.native_handle(), .events = 0, .revents = 0};
        return ::poll(&one, 1, 0) == 1;
    }

    void arm(Zin::Seconds time, void (State::*over)()) {
        timer_.expires_after(durationOf(time));
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
        } else if (isLast_) {
            end();
        } else {
            receive();
        }
    }

    void handleMore() {
        if (std::exchange(isWaiting_, false)) {
            pull();
        }
    }

    void requestTimeOver() {
        refuse(408, fmt::format("the request was not whole {} s after its beginning",
                                limits_.requestTime));
    }

    // Decisions and actions.
    void receive() {
        parser_.emplace();
        parser_->header_limit(static_cast<std::uint32_t>(limits_.headerBytes));
        parser_->body_limit(limits_.bodyBytes);
        isBegun_ = false;
        headerSize_ = 0;
        if (received_.empty()) {
            arm(limits_.idleTime, &State::end);
            read();
        } else {
            requestBegins();
            parse();
        }
    }

    void requestBegins() {
        isBegun_ = true;
        arm(limits_.requestTime, &State::requestTimeOver);
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
        }
        if (failure == http::error::need_more) {
            failure = {};
        }
        // The parser limits no more than each part that it is given, and nothing in the heads of
        // chunks, which are left until they are whole.
        if (!failure &&
            headerSize_ + (parser_->is_done() ? 0 : received_.size()) > limits_.headerBytes) {
            failure = http::error::header_limit;
        }
        if (failure) {
            refuse(failure);
        } else if (parser_->is_done()) {
            answer();
        } else {
            read();
        }
    }

    void refuse(Failure const& failure) {
        if (failure == http::error::header_limit) {
            refuse(431, fmt::format("the header has more than {} bytes", limits_.headerBytes));
        } else if (failure == http::error::body_limit) {
            refuse(413, fmt::format("the body has more than {} bytes", limits_.bodyBytes));
        } else {
            refuse(400, "the request cannot be read: " + failure.message());
        }
    }

    void refuse(unsigned status, std::string const& what) {
        isHead_ = false;
        isLast_ = true;
        begin(errorReply(status, what));
    }

    void answer() {
        auto const& message = parser_->get();
        if (message.version() != 11) {
            return refuse(400, "the request's version is not HTTP/1.1");
        }
        isHead_ = message.method() == http::verb::head;
        isLast_ = !message.keep_alive();
        Reply reply;
        try {
            reply = replyTo(message, peer_, handle_);
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
        notice_(fmt::format("a request failed: {} {}: {}", stringOf(parser_->get().method_string()),
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
        arm(limits_.readerTime, &State::end);
        socket_.async_write_some(asio::buffer(out_) + written_,
                                 whileOpen([this](Failure const& failure, std::size_t size) {
                                     handleWritten(failure, size);
                                 }));
    }

    void end() {
        auto const ended = std::move(ended_);
        close();
        ended();
    }

    asio::io_context& context_;
    ConnectionLimits const limits_;
    Handle const& handle_;
    Notice const& notice_;
    std::function<void()> ended_;
    asio::local::stream_protocol::socket socket_;
    asio::steady_timer timer_;  // of idle, request and reader: one at a time
    Peer const peer_;

    // The request that comes, or is answered.
    std::array<char, std::size_t{8} << 10> readBuffer_;
    std::string received_;  // and not parsed yet
    std::optional<Parser> parser_;
    bool isBegun_ = false;
    std::size_t headerSize_ = 0;  // of what has been parsed
    bool isHead_ = false;
    bool isLast_ = false;

    // Its reply.
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
                       ConnectionLimits const& limits, Handle const& handle, Notice const& notice,
                       std::function<void()> ended)
    : state_(std::make_shared<State>(context, std::move(socket), limits, handle, notice,
                                     std::move(ended))) {
    state_->begin();
}

Connection::~Connection() { state_->close(); }

}  // namespace IntfAddr
