#include "intfaddr/http/TcpListener.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>

#include <boost/asio/io_context.hpp>
#include <stdexcept>

#include "intfaddr/http/TestTalk.h"

namespace IntfAddr {
namespace {

using Progress = Body::Progress;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

Nimb::IpGenAddr const loopback("127.0.0.1");

std::uint16_t portOf(Listener const& listener) {
    auto const name = listener.name();
    return static_cast<std::uint16_t>(std::stoul(name.substr(name.rfind(':') + 1)));
}

Netlink::Descriptor connectedTo(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    Netlink::Descriptor client(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_EQ(::connect(client.number(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    return client;
}

TEST(TcpListener, IsNamedWithThePortThatItHas) {
    EXPECT_THAT(TcpListener(loopback, 0).name(),
                AllOf(StartsWith("127.0.0.1:"), testing::Not(EndsWith(":0"))));
    EXPECT_THAT(TcpListener(Nimb::IpGenAddr("::1"), 0).name(),
                AllOf(StartsWith("[::1]:"), testing::Not(EndsWith(":0"))));
}

TEST(TcpListener, SaysWhereItCannotListen) {
    TcpListener const first(loopback, 0);
    try {
        TcpListener const second(loopback, portOf(first));
        FAIL();
    } catch (std::runtime_error const& error) {
        EXPECT_EQ(error.what(), first.name() + ": cannot be listened at: Address already in use");
    }
}

TEST(TcpListener, TakesItsPortAgainAtOnce) {
    auto first = std::make_unique<TcpListener>(loopback, 0);
    auto const port = portOf(*first);
    auto const client = connectedTo(port);
    Netlink::Descriptor accepted(::accept(first->socket(), nullptr, nullptr));
    int isSent = 0;
    socklen_t size = sizeof isSent;
    EXPECT_EQ(::getsockopt(accepted.number(), IPPROTO_TCP, TCP_NODELAY, &isSent, &size), 0);
    EXPECT_EQ(isSent, 1);
    // The side that closes first keeps the port for a while.
    accepted = Netlink::Descriptor();
    first.reset();

    EXPECT_NO_THROW(TcpListener(loopback, port));
}

struct OverTcp : testing::Test {
    OverTcp() {
        auto listener = std::make_unique<TcpListener>(loopback, 0);
        port = portOf(*listener);
        served.listens(std::move(listener));
    }
    Talk client() { return {served.loop, connectedTo(port)}; }
    std::string answerTo(std::string const& text) {
        auto one = client();
        one.say(text);
        EXPECT_TRUE(one.isLetGo()) << text;
        return one.heard();
    }
    std::string answerFor(std::string const& target, std::string const& host) {
        return answerTo("GET " + target + " HTTP/1.1\r\nHost: " + host +
                        "\r\nConnection: close\r\n\r\n");
    }

    int gone = 0;  // bodies; they go with the server at the latest
    std::function<void()> more;
    Served served;
    std::uint16_t port = 0;
};

TEST_F(OverTcp, NobodyKnowsWhoAsks) {
    EXPECT_THAT(answerFor("/a", "127.0.0.1:80"), AllOf(StartsWith("HTTP/1.1 200"), EndsWith("/a")));
    ASSERT_THAT(served.requests, SizeIs(1));
    EXPECT_EQ(served.requests[0].peer, std::nullopt);
}

TEST_F(OverTcp, OneMayOnlyRead) {
    for (std::string const method : {"PUT", "POST", "DELETE", "OPTIONS", "OTHER"}) {
        EXPECT_THAT(answerTo(method + " / HTTP/1.1\r\nHost: localhost\r\nExpect: 100-continue\r\n"
                                      "Content-Length: 100\r\n\r\n"),
                    AllOf(StartsWith("HTTP/1.1 403"),
                          HasSubstr(R"({"error":"over TCP one may only read: GET and HEAD"})")));
    }
    EXPECT_THAT(served.requests, IsEmpty());
    EXPECT_THAT(answerTo("HEAD / HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n"),
                StartsWith("HTTP/1.1 200"));
}

TEST_F(OverTcp, TheHostIsLoopback) {
    EXPECT_THAT(answerFor("/", "evil.example:9179"),
                AllOf(StartsWith("HTTP/1.1 421"),
                      HasSubstr("the host 'evil.example:9179' is not this machine's loopback")));
    EXPECT_THAT(answerFor("http://evil.example/", "localhost"), StartsWith("HTTP/1.1 421"));
    EXPECT_THAT(answerTo("HEAD / HTTP/1.1\r\nHost: x\r\n\r\n"),
                AllOf(StartsWith("HTTP/1.1 421"), EndsWith("\r\n\r\n")));
    EXPECT_THAT(answerTo("GET / HTTP/1.1\r\nHost: localhost\r\nHost: evil.example\r\n"
                         "Connection: close\r\n\r\n"),
                StartsWith("HTTP/1.1 400"));
    EXPECT_THAT(served.requests, IsEmpty());

    EXPECT_THAT(answerFor("http://localhost:1/", "evil.example"), StartsWith("HTTP/1.1 200"));
}

TEST_F(OverTcp, WhoGoesWhileABodyWaitsIsGone) {
    served.handle = [&](Request const&) {
        return made([](std::string& buffer) { return buffer += "x", Progress::waits; }, &gone,
                    &more);
    };
    auto one = client();
    one.say("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n");
    ASSERT_TRUE(one.hears("1\r\nx\r\n"));
    // What he asks next does not count as going.
    one.say("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n");
    one.forget();
    more();
    ASSERT_TRUE(one.hears("1\r\nx\r\n"));
    EXPECT_EQ(gone, 0);
    served.handle = [&](Request const&) {
        return made([](std::string&) { return Progress::waits; }, &gone);
    };

    auto another = client();
    another.say("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n");
    ASSERT_TRUE(served.eventually([&] { return served.requests.size() == 2; }));
    another.close();
    EXPECT_TRUE(served.eventually([&] { return gone == 1; }));
}

TEST_F(OverTcp, AnUrgentByteKeepsNobodyBusy) {
    served.handle = [](Request const&) {
        return made([](std::string&) { return Progress::waits; });
    };
    auto const socket = connectedTo(port);
    std::string_view const text = "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n";
    ::send(socket.number(), text.data(), text.size(), 0);
    ASSERT_TRUE(served.eventually([&] { return served.requests.size() == 1; }));
    ::send(socket.number(), "!", 1, MSG_OOB);

    int events = 0;
    while (events < 1000 && served.loop.context().poll_one() > 0) {
        ++events;
    }
    EXPECT_LT(events, 1000);
}

TEST_F(OverTcp, WhoWillAskNothingMoreGetsHisAnswer) {
    auto one = client();
    one.say("GET /a HTTP/1.1\r\nHost: localhost\r\n\r\n");
    one.closeForWriting();
    ASSERT_TRUE(one.isLetGo());
    EXPECT_THAT(one.heard(), EndsWith("/a"));
}

}  // namespace
}  // namespace IntfAddr
