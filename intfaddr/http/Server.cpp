#include "intfaddr/http/Server.h"

#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cerrno>
#include <chrono>
#include <map>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "intfaddr/http/ReplyHead.h"
#include "intfaddr/http/SocketAddress.h"

namespace IntfAddr {

namespace {

namespace asio = boost::asio;

std::runtime_error failure(std::string const& path, std::string_view what, int error) {
    return std::runtime_error(
        fmt::format("{}: {}: {}", path, what, std::generic_category().message(error)));
}

// Where none is, one without a type.
struct stat fileAt(std::string const& path) {
    struct stat file {};
    if (::lstat(path.c_str(), &file) != 0) {
        file = {};
    }
    return file;
}

void removeStale(std::string const& path) {
    auto const file = fileAt(path);
    if (file.st_mode == 0) {
        return;
    }
    if (!S_ISSOCK(file.st_mode)) {
        throw std::runtime_error(path + ": is there already, and is no socket");
    }
    if (::unlink(path.c_str()) != 0) {
        throw failure(path, "was left behind, and cannot be removed", errno);
    }
}

Netlink::Descriptor listening(ServerOptions const& options) {
    auto const& path = options.path;
    SocketAddress const address(path);
    removeStale(path);
    Netlink::Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket) {
        throw failure(path, "no socket can be made", errno);
    }
    if (::bind(socket.number(), address.get(), address.size()) != 0) {
        throw failure(path, "cannot be made", errno);
    }
    // Nobody can connect before it listens.
    constexpr auto sameOwner = static_cast<uid_t>(-1);
    if ((options.group && ::lchown(path.c_str(), sameOwner, *options.group) != 0) ||
        ::chmod(path.c_str(), options.mode) != 0 || ::listen(socket.number(), SOMAXCONN) != 0) {
        int const error = errno;
        ::unlink(path.c_str());
        throw failure(path, "cannot be opened to its clients", error);
    }
    return socket;
}

}  // namespace

class Server::State : public std::enable_shared_from_this<State> {
public:
    State(asio::io_context& context, ServerOptions options, Connection::Handle handle,
          Connection::Notice notice)
        : context_(context),
          options_(std::move(options)),
          handle_(std::move(handle)),
          notice_(std::move(notice)),
          listener_(context, listening(options_).release()),
          file_(fileAt(options_.path)),
          pause_(context) {}

    void listen() {
        listener_.async_wait(asio::posix::stream_descriptor::wait_read,
                             [self = shared_from_this()](boost::system::error_code const& error) {
                                 if (!error && self->listener_.is_open()) {
                                     self->accept();
                                 }
                             });
    }

    void close() {
        connections_.clear();
        pause_.cancel();
        // While the socket is open, no other file has its number.
        auto const file = fileAt(options_.path);
        if (file.st_ino == file_.st_ino && file.st_dev == file_.st_dev) {
            ::unlink(options_.path.c_str());
        }
        listener_.close();
    }

private:
    void accept() {
        Netlink::Descriptor client(
            ::accept4(listener_.native_handle(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
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
        if (connections_.size() >= options_.clients) {
            return refuse(client);
        }
        auto const number = ++accepted_;
        connections_.emplace(number, std::make_unique<Connection>(
                                         context_, std::move(client), options_.limits, handle_,
                                         notice_, [this, number] { connections_.erase(number); }));
    }

    // There is room for so little in any new socket, so nobody is waited for.
    void refuse(Netlink::Descriptor const& client) const {
        std::string text;
        errorReply(503, fmt::format("{} clients are connected already", options_.clients))
            .body->next(text);
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
            notice_(failure(options_.path, "no client can be accepted for now", error).what());
        }
        pause_.expires_after(std::chrono::duration_cast<std::chrono::steady_clock::duration>(
            std::chrono::duration<double>(acceptPause)));
        pause_.async_wait([self = shared_from_this()](boost::system::error_code const& cancelled) {
            if (!cancelled && self->listener_.is_open()) {
                self->accept();
            }
        });
    }

    asio::io_context& context_;
    ServerOptions const options_;
    Connection::Handle const handle_;
    Connection::Notice const notice_;
    asio::posix::stream_descriptor listener_;
    struct stat const file_;
    asio::steady_timer pause_;
    bool isPaused_ = false;
    std::map<std::size_t, std::unique_ptr<Connection>> connections_;
    std::size_t accepted_ = 0;
};

Server::Server(EventLoop& loop, ServerOptions options, Connection::Handle handle,
               Connection::Notice notice)
    : state_(std::make_shared<State>(loop.context(), std::move(options), std::move(handle),
                                     std::move(notice))) {
    state_->listen();
}

Server::~Server() { state_->close(); }

}  // namespace IntfAddr
