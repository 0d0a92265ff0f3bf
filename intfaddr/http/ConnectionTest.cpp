#include "intfaddr/http/Connection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "intfaddr/http/TestTalk.h"

namespace IntfAddr {
namespace {

using Progress = Body::Progress;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

TEST(Connection, HandsOnWhatIsAskedAndByWhom) {
    Served served;
    auto client = served.client();
    client.say(
        "PUT /vrfs/red%2F1?x=1 HTTP/1.1\r\nHost: x\r\nlast-event-id: 17\r\n"
        "Content-Length: 5\r\n\r\nhello");
    ASSERT_TRUE(client.hears("red"));

    ASSERT_EQ(served.requests.size(), 1U);
    auto const& request = served.requests[0];
    EXPECT_EQ(request.method, "PUT");
    EXPECT_THAT(request.target.segments, ElementsAre("vrfs", "red/1"));
    EXPECT_THAT(request.target.query, ElementsAre(testing::Pair("x", "1")));
    EXPECT_EQ(request.lastEventId, "17");
    EXPECT_EQ(request.body, "hello");
    EXPECT_EQ(request.peer, (Peer{.uid = ::getuid(), .gid = ::getgid(), .pid = ::getpid()}));
}

TEST(Connection, ABodyThatIsReadyHasItsLength) {
    Served served;
    auto client = served.client();
    client.get("/a");
    ASSERT_TRUE(client.hears("\r\n\r\n/a"));

    EXPECT_THAT(client.heard(), StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(client.heard(), HasSubstr("Content-Type: application/json\r\n"));
    EXPECT_THAT(client.heard(), HasSubstr("Content-Length: 2\r\n"));
    EXPECT_FALSE(served.requests[0].lastEventId);
}

TEST(Connection, AReplyMayHaveFurtherFields) {
    Served served;
    bool isFirst = true;
    served.handle = [&](Request const&) {
        auto reply = textReply(405, "no");
        if (std::exchange(isFirst, false)) {
            reply.headers = {{"Allow", "GET, HEAD"}};
        }
        return reply;
    };
    auto client = served.client();
    client.get("/a");
    ASSERT_TRUE(client.hears("\r\n\r\nno"));
    EXPECT_THAT(client.heard(), HasSubstr("\r\nAllow: GET, HEAD\r\n"));

    client.forget();
    client.get("/a");
    ASSERT_TRUE(client.hears("\r\n\r\nno"));
    EXPECT_THAT(client.heard(), Not(HasSubstr("Allow:")));
}

TEST(Connection, AnswersInOrderWhatIsAskedAtOnce) {
    Served served;
    auto client = served.client();
    std::string asked;
    for (int number = 0; number < 100; ++number) {
        asked += "GET /n" + std::to_string(number) + " HTTP/1.1\r\nHost: x\r\n\r\n";
    }
    client.say(asked);
    ASSERT_TRUE(client.hears("\r\n\r\n/n99"));

    std::size_t place = 0;
    for (int number = 0; number < 100; ++number) {
        place = client.heard().find("\r\n\r\n/n" + std::to_string(number), place);
        ASSERT_NE(place, std::string::npos) << number;
    }
    EXPECT_THAT(served.requests, testing::SizeIs(100));
}

TEST(Connection, ALongerBodyComesInChunksAndWhole) {
    Served served;
    int number = 0;
    served.handle = [&](Request const&) {
        return made([&](std::string& buffer) {
            buffer += std::string(1000, static_cast<char>('a' + number % 26));
            return ++number < 1000 ? Progress::more : Progress::ended;
        });
    };
    auto client = served.client();
    client.get("/");
    ASSERT_TRUE(client.hears("\r\n0\r\n\r\n"));

    EXPECT_THAT(client.heard(), HasSubstr("Transfer-Encoding: chunked\r\n"));
    EXPECT_THAT(client.heard(), Not(HasSubstr("Content-Length")));
    std::string_view rest = client.heard();
    rest.remove_prefix(rest.find("\r\n\r\n") + 4);
    std::string body;
    for (std::size_t size = 1; size > 0;) {
        size = std::stoul(std::string(rest.substr(0, rest.find("\r\n"))), nullptr, 16);
        rest.remove_prefix(rest.find("\r\n") + 2);
        body += rest.substr(0, size);
        rest.remove_prefix(size + 2);
    }
    EXPECT_EQ(rest, "");
    ASSERT_EQ(body.size(), 1000000U);
    EXPECT_EQ(body[999], 'a');
    EXPECT_EQ(body[1000], 'b');

    client.forget();
    number = 0;
    client.get("/again");
    EXPECT_TRUE(client.hears("\r\n0\r\n\r\n"));
}

TEST(Connection, ABodyThatWaitsIsAskedAgainWhenThereIsMore) {
    Served served;
    std::function<void()> more;
    std::string next;
    int asked = 0;
    served.handle = [&](Request const&) {
        return made(
            [&](std::string& buffer) {
                ++asked;
                buffer += std::exchange(next, "");
                return Progress::waits;
            },
            nullptr, &more);
    };
    auto client = served.client();
    client.get("/");
    ASSERT_TRUE(served.eventually([&] { return asked > 0; }));
    served.loop.wait(served.loop.now() + 0.05);
    EXPECT_EQ(asked, 1);

    for (std::string const text : {"one", "two"}) {
        next = text;
        more();
        ASSERT_TRUE(client.hears("3\r\n" + text + "\r\n"));
    }
    EXPECT_THAT(client.heard(), Not(HasSubstr("\r\n0\r\n")));
    client.close();
    EXPECT_TRUE(served.eventually([&] {
        int const then = asked;
        more();  // also when it is gone
        served.loop.wait(served.loop.now());
        return asked == then;
    }));
}

TEST(Connection, ABodyThatHasSentNothingMayStillBeRefused) {
    Served served;
    std::function<void()> more;
    int asked = 0;
    served.handle = [&](Request const&) {
        return made(
            [&](std::string& buffer) {
                if (++asked > 1) {
                    buffer += "half";
                    throw RefusedReply(409, "taken");
                }
                return Progress::waits;
            },
            nullptr, &more);
    };
    auto client = served.client();
    client.get("/");
    ASSERT_TRUE(served.eventually([&] { return asked == 1; }));
    client.take();
    EXPECT_EQ(client.heard(), "");

    more();
    ASSERT_TRUE(client.hears(R"({"error":"taken"})"));
    EXPECT_THAT(client.heard(), StartsWith("HTTP/1.1 409 Conflict\r\n"));
    EXPECT_THAT(client.heard(), Not(HasSubstr("half")));
    EXPECT_THAT(served.notices, IsEmpty());
}

TEST(Connection, WhatComesWhileAPieceIsWrittenIsNotMissed) {
    Served served;
    std::function<void()> more;
    int left = 100;
    served.handle = [&](Request const&) {
        return made(
            [&](std::string& buffer) {
                if (left > 0) {
                    --left;
                    buffer += "x";
                    more();
                    return Progress::waits;
                }
                return Progress::ended;
            },
            nullptr, &more);
    };
    auto client = served.client();
    client.get("/");

    EXPECT_TRUE(client.hears("\r\n0\r\n\r\n"));
}

TEST(Connection, ABodyThatIsSlowIsSentAsItIsMade) {
    Served served;
    int asked = 0;
    served.handle = [&](Request const&) {
        return made([&](std::string& buffer) {
            ++asked;
            buffer += "x";
            for (Zin::Seconds const end = served.loop.now() + 0.001; served.loop.now() < end;) {
            }
            return Progress::more;
        });
    };
    auto client = served.client();
    client.get("/");
    ASSERT_TRUE(client.hears("x\r\n"));

    EXPECT_LT(asked, 1000);
}

TEST(Connection, ABodyThatIsBusyKeepsNobodyElseWaiting) {
    int gone = 0;
    Served served;
    Zin::Seconds const end = served.loop.now() + patience;
    served.handle = [&](Request const& request) {
        return request.target.segments.empty()
                   ? made(
                         [&](std::string&) {
                             return served.loop.now() < end ? Progress::more : Progress::ended;
                         },
                         &gone)
                   : textReply(200, "quick");
    };
    auto busy = served.client();
    busy.get("/");
    auto client = served.client();
    client.get("/a");
    EXPECT_TRUE(client.hears("quick"));

    EXPECT_EQ(gone, 0);
    EXPECT_LT(served.loop.now(), end);
}

TEST(Connection, NoMoreIsMadeThanTheReaderTakes) {
    Served served;
    std::size_t madeBytes = 0;
    served.handle = [&](Request const&) {
        return made([&](std::string& buffer) {
            buffer += std::string(4096, 'x');
            madeBytes += 4096;
            return Progress::more;
        });
    };
    auto client = served.client();
    client.get("/");
    for (std::size_t before = 1; before != madeBytes || madeBytes == 0;) {
        before = madeBytes;
        served.loop.wait(served.loop.now() + 0.05);
    }
    EXPECT_LT(madeBytes, std::size_t{1} << 20);

    std::size_t const before = madeBytes;
    EXPECT_TRUE(served.eventually([&] {
        client.take();
        client.forget();
        return madeBytes > before + (std::size_t{4} << 20);
    }));
}

TEST(Connection, AReaderThatReadsNoMoreIsLetGo) {
    int gone = 0;
    Served served(limited({.readerTime = 0.05}));
    std::function<void()> more;
    served.handle = [&](Request const& request) {
        if (!request.target.segments.empty()) {
            return made([](std::string& buffer) { return buffer += "y", Progress::waits; }, nullptr,
                        &more);
        }
        return made(
            [](std::string& buffer) {
                buffer += std::string(4096, 'x');
                return Progress::more;
            },
            &gone);
    };
    auto client = served.client();
    client.get("/");
    auto another = served.client();
    another.get("/stream");
    ASSERT_TRUE(another.hears("1\r\ny\r\n"));
    EXPECT_TRUE(served.eventually([&] { return gone == 1; }));

    EXPECT_TRUE(client.isLetGo());
    EXPECT_THAT(client.heard(), Not(HasSubstr("\r\n0\r\n")));
    another.forget();
    more();
    EXPECT_TRUE(another.hears("1\r\ny\r\n"));
}

TEST(Connection, AReaderOfAStreamThatWaitsMayWaitForever) {
    int gone = 0;
    Served served(limited({.requestTime = 0.02, .readerTime = 0.02, .idleTime = 0.02}));
    std::function<void()> more;
    bool isEnded = false;
    served.handle = [&](Request const&) {
        return made(
            [&](std::string& buffer) {
                buffer += isEnded ? "end" : "";
                return isEnded ? Progress::ended : Progress::waits;
            },
            &gone, &more);
    };
    auto client = served.client();
    client.get("/");
    ASSERT_TRUE(served.eventually([&] { return !served.requests.empty(); }));
    for (Zin::Seconds const end = served.loop.now() + 0.2; served.loop.now() < end;) {
        served.loop.wait(end);
    }
    EXPECT_EQ(gone, 0);
    isEnded = true;
    more();

    EXPECT_TRUE(client.hears("\r\n\r\nend"));
}

TEST(Connection, TheBodyGoesWithItsReader) {
    int gone = 0;
    Served served;
    served.handle = [&](Request const&) {
        return made([](std::string&) { return Progress::waits; }, &gone);
    };
    auto client = served.client();
    client.get("/");
    ASSERT_TRUE(served.eventually([&] { return !served.requests.empty(); }));
    client.close();

    EXPECT_TRUE(served.eventually([&] { return gone == 1; }));
}

TEST(Connection, TheBodyGoesWithTheServer) {
    int gone = 0;
    Served served;
    served.handle = [&](Request const&) {
        return made([](std::string&) { return Progress::waits; }, &gone);
    };
    auto client = served.client();
    client.get("/");
    ASSERT_TRUE(served.eventually([&] { return !served.requests.empty(); }));
    served.server.reset();

    EXPECT_EQ(gone, 1);
    EXPECT_TRUE(client.isLetGo());
}

TEST(Connection, WhoWillAskNothingMoreGetsHisAnswers) {
    Served served;
    auto client = served.client();
    client.get("/a");
    client.get("/b");
    client.closeForWriting();
    ASSERT_TRUE(client.isLetGo());

    EXPECT_THAT(client.heard(), HasSubstr("\r\n\r\n/a"));
    EXPECT_THAT(client.heard(), EndsWith("\r\n\r\n/b"));
}

TEST(Connection, HeadHasNoBody) {
    int gone = 0;
    Served served;
    served.handle = [&](Request const& request) {
        return request.method == "HEAD" ? made(nullptr, &gone) : textReply(200, "body");
    };
    auto client = served.client();
    client.say("HEAD / HTTP/1.1\r\nHost: x\r\n\r\n");
    ASSERT_TRUE(client.hears("\r\n\r\n"));
    EXPECT_THAT(client.heard(), StartsWith("HTTP/1.1 200"));
    EXPECT_THAT(client.heard(), EndsWith("\r\n\r\n"));
    EXPECT_EQ(gone, 1);

    client.forget();
    client.get("/");
    ASSERT_TRUE(client.hears("body"));
    EXPECT_THAT(client.heard(), StartsWith("HTTP/1.1 200"));

    client.forget();
    client.say("HEAD / HTTP/1.1\r\nHost: x\r\n\r\ngarbage\r\n\r\n");
    EXPECT_TRUE(client.hears("cannot be read"));
}

TEST(Connection, AReplyMayHaveNoBody) {
    Served served;
    unsigned status = 204;
    served.handle = [&](Request const&) {
        Reply reply;
        reply.status = status;
        return reply;
    };
    auto client = served.client();
    client.get("/");
    ASSERT_TRUE(client.hears("\r\n\r\n"));
    EXPECT_THAT(client.heard(), StartsWith("HTTP/1.1 204"));
    EXPECT_THAT(client.heard(), Not(HasSubstr("Content-Length")));

    client.forget();
    status = 201;
    client.get("/");
    ASSERT_TRUE(client.hears("\r\n\r\n"));
    EXPECT_THAT(client.heard(), HasSubstr("Content-Length: 0\r\n"));
}

TEST(Connection, ClosesWhenItIsAskedTo) {
    Served served;
    auto const heard = answerTo(served, "GET /a HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");

    EXPECT_THAT(heard, HasSubstr("Connection: close\r\n"));
    EXPECT_THAT(heard, EndsWith("\r\n\r\n/a"));
}

TEST(Connection, AFailureBeforeAnythingWasSentIsTheReply) {
    int gone = 0;
    Served served;
    served.handle = [&](Request const& request) -> Reply {
        if (request.target.segments.empty()) {
            throw std::runtime_error("no memory");
        }
        return made(
            [](std::string& buffer) -> Progress {
                buffer += "half";
                throw std::runtime_error("no disk");
            },
            &gone);
    };
    auto client = served.client();
    client.get("/");
    ASSERT_TRUE(client.hears(R"({"error":"no memory"})"));
    EXPECT_THAT(client.heard(), StartsWith("HTTP/1.1 500"));

    client.forget();
    client.get("/a");
    ASSERT_TRUE(client.hears(R"({"error":"no disk"})"));
    EXPECT_THAT(client.heard(), StartsWith("HTTP/1.1 500"));
    EXPECT_THAT(client.heard(), Not(HasSubstr("half")));
    EXPECT_EQ(gone, 1);
    EXPECT_THAT(served.notices, ElementsAre("a request failed: GET /: no memory",
                                            "a request failed: GET /a: no disk"));
}

TEST(Connection, AHandlerMayRefuseAsABodyDoes) {
    Served served;
    served.handle = [](Request const&) -> Reply { throw RefusedReply(404, "none"); };
    auto client = served.client();
    client.get("/");
    ASSERT_TRUE(client.hears(R"({"error":"none"})"));

    EXPECT_THAT(client.heard(), StartsWith("HTTP/1.1 404"));
    EXPECT_THAT(served.notices, IsEmpty());
}

TEST(Connection, AFailureAfterThatCutsTheReply) {
    int gone = 0;
    Served served;
    int asked = 0;
    served.handle = [&](Request const&) {
        return made(
            [&](std::string& buffer) {
                if (++asked > 1) {
                    throw std::runtime_error("no disk");
                }
                buffer += std::string(Connection::pieceSize, 'x');
                return Progress::more;
            },
            &gone);
    };
    auto client = served.client();
    client.get("/");
    ASSERT_TRUE(client.isLetGo());

    EXPECT_THAT(client.heard(), StartsWith("HTTP/1.1 200"));
    EXPECT_THAT(client.heard(), EndsWith("xx\r\n"));
    EXPECT_EQ(gone, 1);
    EXPECT_THAT(served.notices, ElementsAre("a request failed: GET /: no disk"));
}

}  // namespace
}  // namespace IntfAddr
