// For tests: a server, and clients that say what they like to it, byte by byte.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "intfaddr/agent/TestFolder.h"
#include "intfaddr/http/Server.h"
#include "intfaddr/http/SocketAddress.h"
#include "intfaddr/http/UnixListener.h"

namespace IntfAddr {

// Until then something has to have happened, however slow the machine is.
constexpr Zin::Seconds patience = 30.0;

inline bool eventually(EventLoop& loop, std::function<bool()> const& isSo) {
    Zin::Seconds const end = loop.now() + patience;
    while (!isSo() && loop.now() < end) {
        loop.wait(loop.now() + 0.01);
    }
    return isSo();
}

class Talk {
public:
    Talk(EventLoop& loop, std::string const& path)
        : loop_(loop), socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        SocketAddress const address(path);
        EXPECT_EQ(::connect(socket_.number(), address.get(), address.size()), 0);
        ::fcntl(socket_.number(), F_SETFL, O_NONBLOCK);
    }
    Talk(EventLoop& loop, Netlink::Descriptor socket) : loop_(loop), socket_(std::move(socket)) {
        ::fcntl(socket_.number(), F_SETFL, O_NONBLOCK);
    }

    void say(std::string_view text) {
        while (!text.empty()) {
            auto const size = ::send(socket_.number(), text.data(), text.size(), MSG_NOSIGNAL);
            if (size < 0 && errno != EAGAIN) {
                return;
            }
            text.remove_prefix(size > 0 ? static_cast<std::size_t>(size) : 0);
            if (!text.empty()) {
                loop_.wait(loop_.now() + 0.01);
            }
        }
    }
    void get(std::string const& target) { say("GET " + target + " HTTP/1.1\r\nHost: x\r\n\r\n"); }

    // Reads what is there.
    void take() {
        std::array<char, 65536> buffer;
        for (ssize_t size = 1; size > 0;) {
            size = ::recv(socket_.number(), buffer.data(), buffer.size(), 0);
            if (size > 0) {
                heard_.append(buffer.data(), static_cast<std::size_t>(size));
            } else if (size == 0 || errno != EAGAIN) {
                isClosed_ = true;
            }
        }
    }
    // Runs the loop until that has come.
    bool hears(std::string const& text) {
        return eventually(loop_, [&] {
            take();
            return heard_.find(text) != std::string::npos;
        });
    }
    bool isLetGo() {
        return eventually(loop_, [&] {
            take();
            return isClosed_;
        });
    }
    std::string const& heard() const { return heard_; }
    void forget() { heard_.clear(); }
    void closeForWriting() const { ::shutdown(socket_.number(), SHUT_WR); }
    void close() { socket_ = Netlink::Descriptor(); }

private:
    EventLoop& loop_;
    Netlink::Descriptor socket_;
    std::string heard_;
    bool isClosed_ = false;
};

// A body of which the test says what comes.
class MadeBody final : public Body {
public:
    using Next = std::function<Progress(std::string&)>;

    // `gone` outlives the server.
    explicit MadeBody(Next next, int* gone = nullptr) : next_(std::move(next)), gone_(gone) {}
    ~MadeBody() override {
        if (gone_) {
            ++*gone_;
        }
    }

    Progress next(std::string& buffer) override { return next_(buffer); }
    void onMore(std::function<void()> more) override {
        if (onMore_) {
            *onMore_ = std::move(more);
        }
    }
    void tells(std::function<void()>& onMore) { onMore_ = &onMore; }

private:
    Next const next_;
    int* const gone_;
    std::function<void()>* onMore_ = nullptr;
};

inline Reply made(MadeBody::Next next, int* gone = nullptr, std::function<void()>* more = nullptr) {
    auto body = std::make_unique<MadeBody>(std::move(next), gone);
    if (more) {
        body->tells(*more);
    }
    Reply reply;
    reply.body = std::move(body);
    return reply;
}

struct Served {
    explicit Served(ServerOptions const& options = {}) {
        listens(std::make_unique<UnixListener>(UnixListener::Options{.path = path}), options);
    }
    // Instead.
    void listens(std::unique_ptr<Listener> listener, ServerOptions const& options = {}) {
        server = std::make_unique<Server>(
            loop, std::move(listener), options, traffic,
            [this](Request const& request) {
                requests.push_back(request);
                return handle(request);
            },
            [this](std::string const& line) { notices.push_back(line); });
    }

    Talk client() { return {loop, path}; }
    bool eventually(std::function<bool()> const& isSo) { return IntfAddr::eventually(loop, isSo); }

    TestFolder folder;
    std::string const path = folder / "socket";
    EventLoop loop;
    std::function<Reply(Request const&)> handle = [](Request const& request) {
        return textReply(200, target(request.target.segments, request.target.query));
    };
    std::vector<Request> requests;
    std::vector<std::string> notices;
    Traffic traffic;
    std::unique_ptr<Server> server;
};

inline ServerOptions limited(ConnectionLimits const& limits) {
    ServerOptions options;
    options.limits = limits;
    return options;
}

// What is answered to this; the connection is closed after it.
inline std::string answerTo(Served& served, std::string const& text) {
    auto client = served.client();
    client.say(text);
    EXPECT_TRUE(client.isLetGo()) << text;
    return client.heard();
}

}  // namespace IntfAddr
