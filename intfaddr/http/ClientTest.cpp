#include "intfaddr/http/Client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <utility>

#include "intfaddr/http/TestTalk.h"

namespace IntfAddr {
namespace {

using Progress = Body::Progress;
using testing::HasSubstr;
using testing::StartsWith;

std::string requestError(Client client) {
    try {
        client.get("/", [](std::string_view) {});
        return "";
    } catch (std::runtime_error const& error) {
        return error.what();
    }
}

// Answers on a thread of its own, until it ends.
class Agent {
public:
    explicit Agent(std::function<Reply(Request const&)> handle) {
        served_.handle = std::move(handle);
        thread_ = std::thread([this] {
            while (!ends_) {
                served_.loop.wait(served_.loop.now() + 0.01);
            }
        });
    }
    ~Agent() {
        ends_ = true;
        thread_.join();
    }
    Agent(Agent const&) = delete;
    Agent& operator=(Agent const&) = delete;

    std::string const& path() const { return served_.path; }

private:
    Served served_;
    std::atomic<bool> ends_ = false;
    std::thread thread_;
};

TEST(Client, AsksAndIsAnswered) {
    Agent const agent([](Request const& request) {
        return textReply(request.method == "GET" ? 200 : 404,
                         request.method + " " + request.target.segments.at(0) + " " + request.body);
    });
    Client client(agent.path());
    std::string text;
    auto const each = [&](std::string_view piece) { text += piece; };
    EXPECT_EQ(client.status(), 0U);
    EXPECT_EQ(client.get(target({"a/b"}), each), 200U);
    EXPECT_EQ(text, "GET a/b ");

    text.clear();
    EXPECT_EQ(client.send("PUT", "/x", "body", each), 404U);
    EXPECT_EQ(text, "PUT x body");
    EXPECT_EQ(client.status(), 404U);

    text.clear();
    EXPECT_EQ(client.send("HEAD", "/x", "", each), 404U);
    EXPECT_EQ(text, "");
}

TEST(Client, FollowsAStreamFromTheEventThatItHadLast) {
    Agent const agent([](Request const& request) {
        return textReply(200, request.lastEventId.value_or("none"));
    });
    Client client(agent.path());
    std::string text;
    auto const each = [&](std::string_view piece) { text += piece; };
    EXPECT_EQ(client.follow("/x", "a.17", each), 200U);
    EXPECT_EQ(std::exchange(text, {}), "a.17");
    client.follow("/x", "", each);
    EXPECT_EQ(text, "none");
}

TEST(Client, HandsOnALongBodyAsItComes) {
    std::atomic<bool> isRead = false;
    int number = 0;
    Agent const agent([&](Request const&) {
        return made([&](std::string& buffer) {
            // The end is not made before the beginning has been read.
            if (number > 200 && !isRead) {
                return Progress::more;
            }
            buffer += std::string(10000, 'x');
            return ++number < 1000 ? Progress::more : Progress::ended;
        });
    });
    Client client(agent.path());
    std::size_t size = 0;
    EXPECT_EQ(client.get("/",
                         [&](std::string_view piece) {
                             EXPECT_EQ(client.status(), 200U);
                             size += piece.size();
                             isRead = true;
                         }),
              200U);

    EXPECT_EQ(size, 10000000U);
}

TEST(Client, ReadsTheAnswerToARequestThatIsRefusedBeforeItIsWhole) {
    Agent const agent([](Request const&) { return Reply(); });
    Client client(agent.path());
    std::string text;
    EXPECT_EQ(client.send("PUT", "/", std::string(std::size_t{8} << 20, 'x'),
                          [&](std::string_view piece) { text += piece; }),
              413U);
    EXPECT_THAT(text, HasSubstr("the body has more than"));
}

TEST(Client, SaysWhyNobodyAnswers) {
    TestFolder const folder;
    EXPECT_EQ(requestError(Client(folder / "socket")),
              "no agent runs: " + (folder / "socket") + ": No such file or directory");

    SocketAddress const address(folder / "socket");
    Netlink::Descriptor left(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(::bind(left.number(), address.get(), address.size()), 0);
    EXPECT_EQ(requestError(Client(folder / "socket")),
              "no agent runs: " + (folder / "socket") + ": Connection refused");
    EXPECT_THROW(Client(folder / "socket").get("/", [](std::string_view) {}), NoAgent);
    EXPECT_THAT(requestError(Client(folder / std::string(200, 'x'))), HasSubstr("1 to 107 bytes"));
}

// Listens, and accepts nobody by itself.
struct Silent {
    explicit Silent(int backlog) : socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        SocketAddress const address(path);
        EXPECT_EQ(::bind(socket.number(), address.get(), address.size()), 0);
        EXPECT_EQ(::listen(socket.number(), backlog), 0);
    }

    TestFolder folder;
    std::string const path = folder / "socket";
    Netlink::Descriptor socket;
};

TEST(Client, SaysThatItMayNotAsk) {
    Silent const silent(5);
    ::chmod(silent.path.c_str(), 0);
    uid_t const user = ::geteuid();
    if (user == 0) {
        EXPECT_EQ(::seteuid(65534), 0);  // root may ask everybody
    }
    auto const error = requestError(Client(silent.path));
    EXPECT_EQ(::seteuid(user), 0);

    EXPECT_EQ(error, "may not ask the agent: " + silent.path + ": Permission denied");
}

TEST(Client, WaitsNotForeverForAnAgentThatAcceptsNobody) {
    Silent const silent(0);
    EventLoop loop;
    Talk const first(loop, silent.path);

    EXPECT_THROW(Client(silent.path).get("/", [](std::string_view) {}), NoAgent);
    EXPECT_THAT(requestError(Client(silent.path)), StartsWith("the agent is too busy"));
}

TEST(Client, WaitsNotForeverForAnAgentThatSaysNothing) {
    Silent const silent(5);
    EXPECT_EQ(requestError(Client(silent.path, 0.05)), "the agent says nothing for 0.05 s");
}

// What a client makes of an agent who says this and goes.
std::string errorAfter(std::string const& said) {
    Silent const silent(5);
    std::thread agent([&] {
        Netlink::Descriptor const client(
            ::accept4(silent.socket.number(), nullptr, nullptr, SOCK_CLOEXEC));
        std::array<char, 1000> request;
        EXPECT_GT(::recv(client.number(), request.data(), request.size(), 0), 0);
        EXPECT_EQ(::send(client.number(), said.data(), said.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(said.size()));
    });
    auto const error = requestError(Client(silent.path));
    agent.join();
    return error;
}

TEST(Client, TakesNoPartForTheWhole) {
    EXPECT_EQ(errorAfter(""), "the agent went away");
    EXPECT_EQ(errorAfter("HTTP/1.1 200 OK\r\n"), "the agent went away");
    EXPECT_EQ(errorAfter("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n1234"),
              "the agent went away");
    EXPECT_EQ(errorAfter("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n"),
              "the agent went away");
    EXPECT_EQ(errorAfter("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n12345"), "");
    EXPECT_THAT(errorAfter("220 mail.example.net ready\r\n\r\n"),
                StartsWith("the agent's answer cannot be read: bad "));
}

TEST(Client, WhatItsCallerThrowsEndsTheRequest) {
    Agent const agent([](Request const&) { return textReply(200, "text"); });
    EXPECT_THROW(Client(agent.path()).get("/", [](std::string_view) { throw 7; }), int);
}

}  // namespace
}  // namespace IntfAddr
