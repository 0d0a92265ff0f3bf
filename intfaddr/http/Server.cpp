#include "intfaddr/http/Server.h"

#include <sys/socket.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cerrno>
#include <chrono>
#include <map>
#include <system_error>
#include <utility>

#include "Zin/Format.h"
#include "intfaddr/http/ReplyHead.h"
#include "intfaddr/loop/Duration.h"

namespace IntfAddr {

namespace {

namespace asio = boost::asio;

}  // namespace

class Server::State : public std::enable_shared_from_this<State> {
public:
    State(asio::io_context& context, std::unique_ptr<Listener> listener,
          ServerOptions const& options, Traffic& traffic, Connection::Handle handle,
          Connection::Notice notice)
        : context_(context),
          clients_(options.clients),
          service_{.limits = options.limits,
                   .handle = std::move(handle),
                   .notice = std::move(notice),
                   .traffic = traffic,
                   .largeBodies = Seats(options.largeBodies)},
          listener_(std::move(listener)),
          socket_(context, listener_->socket()),
          pause_(context) {}

    void listen() {
        socket_.async_wait(asio::posix::stream_descriptor::wait_read,
                           [self = shared_from_this()](boost::system::error_code const& error) {
                               if (!error && self->listener_) {
                                   self->accept();
                               }
                           });
    }

    void close() {
        connections_.clear();
        pause_.cancel();
        if (listener_) {
            static_cast<void>(socket_.release());
            listener_.reset();
        }
    }

private:
    void accept() {
        Netlink::Descriptor client(
            ::accept4(listener_->socket(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!client && errno != EAGAIN) {
            return pause(errno);
        }
        if (client) {
            isPaused_ = false;
            take(std::move(client));
        }
        listen();
    }

    void take(Netlink::Descriptor client) {
        if (connections_.size() >= clients_) {
            return refuse(client);
        }
        auto const number = ++accepted_;
        auto const peer = listener_->peerOf(client);
        connections_.emplace(
            number, std::make_unique<Connection>(context_, std::move(client), peer, service_,
                                                 [this, number] { connections_.erase(number); }));
    }

    // There is room for so little in any new socket, so nobody is waited for.
    void refuse(Netlink::Descriptor const& client) {
        ++service_.traffic.refusedClients;
        std::string text;
        errorReply(503, fmt::format("{} clients are connected already", clients_)).body->next(text);
        text.insert(0, ReplyHead{.status = 503,
                                 .contentType = Reply().contentType,
                                 .framing = fmt::format("Content-Length: {}", text.size()),
                                 .isLast = true}
                           .text());
        ::send(client.number(), text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    }

    // Whoever waits to be accepted would wake the loop again at once.
    void pause(int error) {
        if (!std::exchange(isPaused_, true)) {
            service_.notice(fmt::format("{}: no client can be accepted for now: {}",
                                        listener_->name(), std::generic_category().message(error)));
        }
        pause_.expires_after(durationOf(acceptPause));
        pause_.async_wait([self = shared_from_this()](boost::system::error_code const& cancelled) {
            if (!cancelled && self->listener_) {
                self->accept();
            }
        });
    }

    asio::io_context& context_;
    std::size_t const clients_;
    Connection::Service service_;
    std::unique_ptr<Listener> listener_;     // until it closes
    asio::posix::stream_descriptor socket_;  // the listener's
    asio::steady_timer pause_;
    bool isPaused_ = false;
    std::map<std::size_t, std::unique_ptr<Connection>> connections_;
    std::size_t accepted_ = 0;
};

Server::Server(EventLoop& loop, std::unique_ptr<Listener> listener, ServerOptions const& options,
               Traffic& traffic, Connection::Handle handle, Connection::Notice notice)
    : state_(std::make_shared<State>(loop.context(), std::move(listener), options, traffic,
                                     std::move(handle), std::move(notice))) {
    state_->listen();
}

Server::~Server() { state_->close(); }

}  // namespace IntfAddr
