#include "intfaddr/http/Connection.h"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <exception>
#include <optional>
#include <string_view>
#include <utility>

#include "Zin/Format.h"
#include "intfaddr/http/ReplyHead.h"
#include "intfaddr/http/RequestReader.h"
#include "intfaddr/loop/Duration.h"

namespace IntfAddr {

namespace {

namespace asio = boost::asio;

using Clock = std::chrono::steady_clock;
using Failure = boost::system::error_code;

std::string chunkOf(std::string_view piece) {
    return piece.empty() ? "" : fmt::format("{:x}\r\n{}\r\n", piece.size(), piece);
}

// RFC 9110, 6.4.1: neither is followed by a body, whatever its head says.
bool hasNoBody(unsigned status) { return status == 204 || status == 304; }

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
          isOverTcp_(!peer),
          reader_(service.limits, peer, service.largeBodies) {
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
        reader_.put({readBuffer_.data(), size});
        readRequest();
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
        } else if (reader_.isAtEnd()) {
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
        refuse({408, fmt::format("the request was not whole {} s after its beginning",
                                 limits().requestTime)});
    }

    void readerTimeOver() {
        ++service_.traffic.droppedReaders;
        end();
    }

    // Decisions and actions.
    void receive() {
        reader_.begin();
        isBegun_ = false;
        asked_.reset();
        if (reader_.isEmpty()) {
            arm(limits().idleTime, &State::end);
            read();
        } else {
            requestBegins();
            readRequest();
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

    void readRequest() {
        auto progress = RequestReader::Progress::more;
        try {
            progress = reader_.read();
        } catch (RefusedReply const& refused) {
            return refuse(refused);
        }
        if (progress == RequestReader::Progress::whole) {
            answer();
        } else if (progress == RequestReader::Progress::awaited) {
            out_ += "HTTP/1.1 100 Continue\r\n\r\n";
            write();
        } else {
            read();
        }
    }

    void refuse(RefusedReply const& refused) {
        isLast_ = true;
        askedNow();
        begin(errorReply(refused.status(), refused.what()));
    }

    void askedNow() {
        asked_ = Clock::now();
        ++service_.traffic.requests;
    }

    void answer() {
        isLast_ = !reader_.keepsAlive();
        askedNow();
        Reply reply;
        try {
            reply = service_.handle(reader_.take());
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
        service_.notice(fmt::format("a request failed: {}: {}", reader_.said(), error.what()));
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
        } else if (reader_.isHead()) {
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
            if (isOverTcp_) {
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
        reader_.begin();
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
    bool const isOverTcp_;
    bool watchesSilence_ = false;

    // The request that comes, or is answered.
    std::array<char, std::size_t{8} << 10> readBuffer_;
    RequestReader reader_;
    bool isBegun_ = false;
    Clock::time_point requestEnd_;
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
