#include "intfaddr/http/Client.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/beast/core/buffers_range.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/optional.hpp>
#include <cerrno>
#include <cmath>
#include <system_error>

#include "Zin/Format.h"
#include "feeds/netlink/Descriptor.h"
#include "intfaddr/http/SocketAddress.h"

namespace IntfAddr {

namespace {

namespace http = boost::beast::http;

// Hands on what comes of a body instead of keeping it.
struct HandedOn {
    using value_type = std::function<void(std::string_view)>;

    class reader {
    public:
        template <bool isRequest, typename Fields>
        reader(http::header<isRequest, Fields>&, value_type& each) : each_(each) {}

        void init(boost::optional<std::uint64_t> const&, boost::system::error_code& error) {
            error = {};
        }
        template <typename Buffers>
        std::size_t put(Buffers const& buffers, boost::system::error_code& error) {
            error = {};
            for (auto const& buffer : boost::beast::buffers_range_ref(buffers)) {
                each_({static_cast<char const*>(buffer.data()), buffer.size()});
            }
            return boost::beast::buffer_bytes(buffers);
        }
        void finish(boost::system::error_code& error) { error = {}; }

    private:
        value_type& each_;
    };
};

void limit(int socket, int option, Zin::Seconds time) {
    double seconds = 0.0;
    double const rest = std::modf(time, &seconds);
    timeval const value{.tv_sec = static_cast<time_t>(seconds),
                        .tv_usec = static_cast<suseconds_t>(rest * 1e6)};
    ::setsockopt(socket, SOL_SOCKET, option, &value, sizeof value);
}

NoAgent noAgent(std::string const& path, int error) {
    auto const reason = std::generic_category().message(error);
    switch (error) {
        case EACCES:
        case EPERM:
            return NoAgent(fmt::format("may not ask the agent: {}: {}", path, reason));
        case EAGAIN:
            return NoAgent(fmt::format("the agent is too busy to be asked: {}", path));
        default:
            return NoAgent(fmt::format("no agent runs: {}: {}", path, reason));
    }
}

Netlink::Descriptor connected(std::string const& path) {
    SocketAddress const address(path);
    Netlink::Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket) {
        throw std::system_error(errno, std::generic_category(), "no socket can be made");
    }
    limit(socket.number(), SO_SNDTIMEO, Client::connectTime);
    if (::connect(socket.number(), address.get(), address.size()) != 0) {
        throw noAgent(path, errno);
    }
    return socket;
}

std::runtime_error silence(Zin::Seconds time) {
    return std::runtime_error(fmt::format("the agent says nothing for {} s", time));
}

void sendAll(int socket, std::string_view text, Zin::Seconds time) {
    while (!text.empty()) {
        auto const sent = ::send(socket, text.data(), text.size(), MSG_NOSIGNAL);
        if (sent >= 0) {
            text.remove_prefix(static_cast<std::size_t>(sent));
        } else if (errno == EAGAIN) {
            throw silence(time);
        } else if (errno != EINTR) {
            return;  // refused before it was whole; what is to be read says why
        }
    }
}

// 0 where there is nothing any more.
std::size_t receive(int socket, std::array<char, std::size_t{64} << 10>& buffer,
                    Zin::Seconds time) {
    while (true) {
        auto const size = ::recv(socket, buffer.data(), buffer.size(), 0);
        if (size >= 0) {
            return static_cast<std::size_t>(size);
        }
        if (errno == EAGAIN) {
            throw silence(time);
        }
        if (errno != EINTR) {
            return 0;
        }
    }
}

}  // namespace

unsigned Client::send(std::string const& method, std::string const& target, std::string const& body,
                      Each const& each) {
    return exchange(method, target, "", body, each);
}

unsigned Client::follow(std::string const& target, std::string const& lastEventId,
                        Each const& each) {
    auto const id =
        lastEventId.empty() ? std::string() : fmt::format("Last-Event-ID: {}\r\n", lastEventId);
    return exchange("GET", target, "Accept: text/event-stream\r\n" + id, "", each);
}

unsigned Client::exchange(std::string const& method, std::string const& target,
                          std::string const& fields, std::string const& body, Each const& each) {
    status_ = 0;
    auto const socket = connected(path_);
    limit(socket.number(), SO_SNDTIMEO, readTime_);
    limit(socket.number(), SO_RCVTIMEO, readTime_);
    sendAll(socket.number(),
            fmt::format("{} {} HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n"
                        "{}Content-Length: {}\r\n\r\n{}",
                        method, target, fields, body.size(), body),
            readTime_);

    http::response_parser<HandedOn> parser;
    parser.get().body() = [this, &each, &parser](std::string_view piece) {
        status_ = parser.get().result_int();
        each(piece);
    };
    parser.eager(true);
    parser.body_limit(boost::none);
    parser.skip(method == "HEAD");
    std::string received;
    std::array<char, std::size_t{64} << 10> buffer;
    while (!parser.is_done()) {
        auto const size = receive(socket.number(), buffer, readTime_);
        if (size == 0) {
            throw AgentWentAway();
        }
        received.append(buffer.data(), size);
        boost::system::error_code error;
        while (!received.empty() && !parser.is_done() && !error) {
            received.erase(0, parser.put(boost::asio::buffer(received), error));
        }
        if (error && error != http::error::need_more) {
            throw std::runtime_error("the agent's answer cannot be read: " + error.message());
        }
    }
    return status_ = parser.get().result_int();
}

}  // namespace IntfAddr
