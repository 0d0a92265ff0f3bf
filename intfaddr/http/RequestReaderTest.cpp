#include "intfaddr/http/RequestReader.h"

#include <gmock/gmock.h>

#include <random>
#include <vector>

#include "Zin/Format.h"
#include "intfaddr/http/Reply.h"

namespace IntfAddr {
namespace {

using testing::ElementsAre;

using Texts = std::vector<std::string>;

struct RequestReaderTest : testing::Test {
    // What is read of bytes that come in these pieces: requests, "goes on" to who awaits it, and a
    // refusal, which is the last.
    Texts read(std::vector<std::string> const& pieces) {
        Seats seats(1);
        RequestReader reader(limits, peer, seats);
        Texts texts;
        try {
            for (auto const& piece : pieces) {
                reader.put(piece);
                for (auto progress = reader.read(); progress != RequestReader::Progress::more;
                     progress = reader.read()) {
                    if (progress == RequestReader::Progress::awaited) {
                        texts.emplace_back("goes on");
                    } else {
                        texts.push_back(taken(reader));
                        reader.begin();
                    }
                }
            }
        } catch (RefusedReply const& refused) {
            texts.push_back(fmt::format("{} {}", refused.status(), refused.what()));
        }
        return texts;
    }

    static std::string taken(RequestReader& reader) {
        bool const keepsAlive = reader.keepsAlive();
        auto const request = reader.take();
        return fmt::format("{} {} '{}'{}", request.method,
                           target(request.target.segments, request.target.query), request.body,
                           keepsAlive ? "" : " last");
    }

    ConnectionLimits limits{.headerBytes = 200, .bodyBytes = 20, .largerBodies = {{"/large", 40}}};
    std::optional<Peer> peer = Peer{.uid = 7};
};

TEST_F(RequestReaderTest, RequestsFollowEachOther) {
    EXPECT_THAT(
        read({"GET /a?b=c HTTP/1.1\r\nHost: x\r\n\r\n"
              "PUT /d HTTP/1.1\r\nHost: x\r\nContent-Length: 5\r\n\r\nhello"
              "POST / HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n"
              "2;x=y\r\nhe\r\n3\r\nllo\r\n0\r\n\r\n"
              "HEAD /e HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"}),
        ElementsAre("GET /a?b=c ''", "PUT /d 'hello'", "POST / 'hello'", "HEAD /e '' last"));
}

TEST_F(RequestReaderTest, WhatIsReadDoesNotHangOnHowItComes) {
    std::vector<std::string> const talks{
        "GET /a HTTP/1.1\r\nHost: x\r\n\r\nPUT /d HTTP/1.1\r\nHost: x\r\n"
        "Content-Length: 5\r\nExpect: 100-continue\r\n\r\nhelloGET /e HTTP/1.1\r\nHost: x\r\n\r\n",
        "POST / HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: "
        "chunked\r\n\r\n2;x=y\r\nhe\r\n3\r\nllo\r\n0"
        "\r\nT: u\r\n\r\nGET / HTTP/1.1\r\nHost: x\r\n\r\n",
        "GET /a HTTP/1.1\r\nHost: x\r\n\r\nPUT / HTTP/1.1\r\nHost: x\r\nContent-Length: 21\r\n\r\n",
        "GET / HTTP/1.0\r\nHost: x\r\n\r\n",
        "PUT / HTTP/1.1\r\nHost: x\r\nContent-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n",
    };
    std::mt19937 random(7);  // NOLINT: the same pieces in every run
    for (auto const& talk : talks) {
        auto expected = read({talk});
        std::erase(expected, "goes on");  // not asked where the body is there already
        for (int i = 0; i < 200; ++i) {
            std::vector<std::string> pieces;
            for (std::size_t at = 0; at < talk.size(); at += pieces.back().size()) {
                pieces.push_back(talk.substr(at, 1 + random() % (i % 2 == 0 ? 3 : 60)));
            }
            auto found = read(pieces);
            std::erase(found, "goes on");
            ASSERT_EQ(found, expected);
        }
    }
}

TEST_F(RequestReaderTest, WhoAwaitsItIsToldToGoOnOnce) {
    EXPECT_THAT(
        read({"PUT / HTTP/1.1\r\nHost: x\r\nContent-Length: 2\r\nExpect: 100-Continue\r\n\r\n", "a",
              "b"}),
        ElementsAre("goes on", "PUT / 'ab'"));
    EXPECT_THAT(read({"PUT / HTTP/1.1\r\nHost: x\r\nContent-Length: 21\r\n"
                      "Expect: 100-continue\r\n\r\n"}),
                ElementsAre("413 the body has more than 20 bytes"));
}

TEST_F(RequestReaderTest, ALargeBodyTakesASeatUntilTheNextRequest) {
    std::string const large =
        "PUT /large?x HTTP/1.1\r\nHost: x\r\nContent-Length: 40\r\n\r\n" + std::string(40, 'x');
    EXPECT_THAT(read({large + large}), testing::SizeIs(2));

    Seats seats(1);
    RequestReader one(limits, peer, seats);
    RequestReader other(limits, peer, seats);
    one.put(large);
    EXPECT_EQ(one.read(), RequestReader::Progress::whole);
    other.put(large);
    EXPECT_THROW(other.read(), RefusedReply);
    one.begin();
    other.begin();
    EXPECT_TRUE(one.isEmpty());
}

TEST_F(RequestReaderTest, AStrangerMayReadWhereHeNamesLoopback) {
    peer.reset();
    EXPECT_THAT(read({"GET /a HTTP/1.1\r\nHost: localhost:80\r\n\r\n"}), ElementsAre("GET /a ''"));
    EXPECT_THAT(read({"PUT /a HTTP/1.1\r\nHost: localhost\r\n\r\n"}),
                ElementsAre("403 over TCP one may only read: GET and HEAD"));
    for (char const* const asked :
         {"GET /a HTTP/1.1\r\nHost: evil.example\r\n\r\n",
          "GET http://evil.example/a HTTP/1.1\r\nHost: localhost\r\n\r\n"}) {
        EXPECT_THAT(read({asked}),
                    ElementsAre("421 the host 'evil.example' is not this machine's loopback, which "
                                "is all that is answered over TCP"));
    }
}

}  // namespace
}  // namespace IntfAddr
