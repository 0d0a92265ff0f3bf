// What a connection refuses: what it cannot read, and what is too much.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "intfaddr/http/Connection.h"
#include "intfaddr/http/TestTalk.h"

namespace IntfAddr {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

TEST(ConnectionLimits, RefusesWhatItCannotReadAndSaysWhy) {
    Served served;
    EXPECT_THAT(answerTo(served, "garbage\r\n\r\n"), StartsWith("HTTP/1.1 400 Bad Request\r\n"));
    EXPECT_THAT(answerTo(served, std::string("\x16\x03\x01\x00\xff\r\n\r\n", 9)),
                HasSubstr(R"({"error":"the request cannot be read: bad )"));
    EXPECT_THAT(answerTo(served, "GET / HTTP/2.0\r\nHost: x\r\n\r\n"), StartsWith("HTTP/1.1 400"));
    EXPECT_THAT(answerTo(served, "GET / HTTP/1.0\r\nHost: x\r\n\r\n"),
                HasSubstr(R"({"error":"the request's version is not HTTP/1.1"})"));
    EXPECT_THAT(answerTo(served,
                         "PUT / HTTP/1.1\r\nHost: x\r\nContent-Length: 1\r\n"
                         "Transfer-Encoding: chunked\r\n\r\n"),
                StartsWith("HTTP/1.1 400"));

    EXPECT_THAT(served.requests, IsEmpty());
    EXPECT_THAT(served.notices, IsEmpty());
}

TEST(ConnectionLimits, GoesOnAfterARequestThatIsWrongButWhole) {
    Served served;
    auto client = served.client();
    client.get("/%zz");
    ASSERT_TRUE(client.hears("'%zz'"));
    EXPECT_THAT(client.heard(), StartsWith("HTTP/1.1 400"));

    client.forget();
    client.say("GET / HTTP/1.1\r\n\r\n");
    ASSERT_TRUE(client.hears("'Host'"));
    EXPECT_THAT(client.heard(), StartsWith("HTTP/1.1 400"));

    client.forget();
    client.get("/a");
    ASSERT_TRUE(client.hears("/a"));
    EXPECT_THAT(client.heard(), StartsWith("HTTP/1.1 200"));
}

// Else the reply would be lost with what he still sends.
TEST(ConnectionLimits, WhoIsRefusedMaySendTheRest) {
    Served served;
    auto client = served.client();
    EXPECT_TRUE(client.say("PUT / HTTP/1.1\r\nHost: x\r\nContent-Length: 3000000\r\n\r\n"));
    EXPECT_TRUE(client.say(std::string(3'000'000, 'x')));
    EXPECT_TRUE(client.hears("413"));
    EXPECT_TRUE(client.isLetGo());
    client.close();
    EXPECT_TRUE(eventually(served.loop, [&] { return served.traffic.clients == 0; }));
}

TEST(ConnectionLimits, WhoIsRefusedAndStaysIsLetGoAfterAWhile) {
    Served served(limited({.requestTime = 0.05}));
    auto client = served.client();
    client.say("garbage\r\n\r\n");
    EXPECT_TRUE(client.hears("400"));
    EXPECT_TRUE(eventually(served.loop, [&] { return served.traffic.clients == 0; }));
    EXPECT_FALSE(client.say("x"));
}

TEST(ConnectionLimits, AHeaderHasALimit) {
    Served served(limited({.headerBytes = 1000}));
    std::string const field(500, 'x');
    auto client = served.client();
    client.say("GET /a HTTP/1.1\r\nHost: x\r\nA: " + field + "\r\n\r\n");
    ASSERT_TRUE(client.hears("/a"));
    EXPECT_THAT(client.heard(), StartsWith("HTTP/1.1 200"));

    EXPECT_THAT(answerTo(served, "GET / HTTP/1.1\r\nHost: x\r\nA: " + field + "\r\nB: " + field),
                StartsWith("HTTP/1.1 431"));
    EXPECT_THAT(answerTo(served, "GET /" + field + field), StartsWith("HTTP/1.1 431"));
    EXPECT_THAT(answerTo(served,
                         "GET / HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n"
                         "1;" +
                             field + field),
                HasSubstr(R"({"error":"the header has more than 1000 bytes"})"));
}

TEST(ConnectionLimits, AHeaderHasItsLimitHoweverItComes) {
    Served served(limited({.headerBytes = 1000}));
    auto client = served.client();
    client.say("GET / HTTP/1.1\r\nHost: x\r\n");
    for (int number = 0; number < 200; ++number) {
        client.say("A: 1\r\nB");
        served.loop.wait(served.loop.now());
        client.say(": 2\r\n");
    }
    client.say("\r\n");
    ASSERT_TRUE(client.isLetGo());

    EXPECT_THAT(client.heard(), StartsWith("HTTP/1.1 431"));
}

// It may hide another request.
TEST(ConnectionLimits, ABodyWhoseEndIsNotKnownIsRefused) {
    Served served;
    for (std::string const coding : {"gzip", "gzip, chunked", "chunked, identity", ""}) {
        EXPECT_THAT(answerTo(served, "PUT / HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: " + coding +
                                         "\r\n\r\n0\r\n\r\nGET /a HTTP/1.1\r\nHost: x\r\n\r\n"),
                    testing::AllOf(StartsWith("HTTP/1.1 501"),
                                   HasSubstr("the transfer coding '" + coding + "' is not known")));
    }
    EXPECT_THAT(served.requests, IsEmpty());
}

TEST(ConnectionLimits, ABodyHasALimit) {
    Served served(limited({.bodyBytes = 10}));
    auto client = served.client();
    client.say("PUT /a HTTP/1.1\r\nHost: x\r\nContent-Length: 10\r\n\r\n0123456789");
    ASSERT_TRUE(client.hears("/a"));
    EXPECT_THAT(client.heard(), StartsWith("HTTP/1.1 200"));

    EXPECT_THAT(answerTo(served, "PUT / HTTP/1.1\r\nHost: x\r\nContent-Length: 11\r\n\r\n"),
                HasSubstr(R"({"error":"the body has more than 10 bytes"})"));
    EXPECT_THAT(answerTo(served,
                         "PUT / HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n"
                         "8\r\n01234567\r\n3\r\n012\r\n"),
                StartsWith("HTTP/1.1 413"));
    EXPECT_THAT(served.requests, testing::SizeIs(1));
}

TEST(ConnectionLimits, HasItsLimitsWithoutBeingTold) {
    Served served;
    std::string const most(std::size_t{64} << 10, 'x');
    auto client = served.client();
    client.say("PUT /a HTTP/1.1\r\nHost: x\r\nA: " + most.substr(0, 7000) +
               "\r\nContent-Length: 65536\r\n\r\n" + most);
    ASSERT_TRUE(client.hears("/a"));
    EXPECT_THAT(client.heard(), StartsWith("HTTP/1.1 200"));

    EXPECT_THAT(answerTo(served, "PUT / HTTP/1.1\r\nHost: x\r\nContent-Length: 65537\r\n\r\n"),
                StartsWith("HTTP/1.1 413"));
    EXPECT_THAT(answerTo(served, "GET / HTTP/1.1\r\nHost: x\r\nA: " + most.substr(0, 9000)),
                StartsWith("HTTP/1.1 431"));
}

TEST(ConnectionLimits, ARequestThatDoesNotEndIsGivenUp) {
    Served served(limited({.requestTime = 0.05}));
    EXPECT_THAT(answerTo(served, "GET / HT"), StartsWith("HTTP/1.1 408"));
    EXPECT_THAT(answerTo(served, "PUT / HTTP/1.1\r\nHost: x\r\nContent-Length: 10\r\n\r\n0"),
                HasSubstr("the request was not whole 0.05 s after its beginning"));
    // Also one that came with the one before.
    EXPECT_THAT(answerTo(served, "GET /a HTTP/1.1\r\nHost: x\r\n\r\nGET"),
                HasSubstr("HTTP/1.1 408"));
}

TEST(ConnectionLimits, OneThatAsksNothingIsClosed) {
    Served served(limited({.idleTime = 0.05}));
    auto silent = served.client();
    EXPECT_TRUE(silent.isLetGo());
    EXPECT_EQ(silent.heard(), "");

    auto client = served.client();
    client.get("/a");
    EXPECT_TRUE(client.isLetGo());
    EXPECT_THAT(client.heard(), EndsWith("/a"));
}

struct LargeBodies : testing::Test {
    static std::string put(std::string const& path, std::string const& fields) {
        return "PUT " + path + " HTTP/1.1\r\nHost: x\r\n" + fields + "\r\n\r\n";
    }

    Served served{
        {.largeBodies = 1, .limits = {.bodyBytes = 10, .largerBodies = {{"/large", 20}}}}};
    std::string const large = put("/large", "Content-Length: 20");
    std::string const text = std::string(20, 'x');
};

TEST_F(LargeBodies, AreForSomePaths) {
    auto client = served.client();
    client.say(large + text);
    ASSERT_TRUE(client.hears("/large"));
    EXPECT_THAT(client.heard(), StartsWith("HTTP/1.1 200"));
    EXPECT_EQ(served.requests.at(0).body, text);
    client.forget();
    client.say(put("/large?a=b", "Transfer-Encoding: chunked") + "a\r\n0123456789\r\n" +
               "a\r\n0123456789\r\n0\r\n\r\n");
    ASSERT_TRUE(client.hears("/large?a=b"));
    EXPECT_EQ(served.requests.at(1).body, "01234567890123456789");

    EXPECT_THAT(answerTo(served, put("/large", "Content-Length: 21")),
                HasSubstr(R"({"error":"the body has more than 20 bytes"})"));
    EXPECT_THAT(answerTo(served, put("/large", "Transfer-Encoding: chunked") + "15\r\n"),
                StartsWith("HTTP/1.1 413"));
    EXPECT_THAT(answerTo(served, put("/larger", "Content-Length: 11")), StartsWith("HTTP/1.1 413"));
}

TEST_F(LargeBodies, AreFewAtATime) {
    auto first = served.client();
    first.say(large + "x");
    EXPECT_THAT(answerTo(served, large), StartsWith("HTTP/1.1 503"));
    EXPECT_THAT(
        answerTo(served, put("/large", "Transfer-Encoding: chunked") + "b\r\n01234567890\r\n"),
        HasSubstr("too many others have a body of more than 10 bytes"));
    auto small = served.client();
    small.say(put("/large", "Content-Length: 10") + "0123456789");
    EXPECT_TRUE(small.hears("\r\n\r\n/large"));

    first.say(text.substr(1));
    ASSERT_TRUE(first.hears("\r\n\r\n/large"));
    auto second = served.client();
    second.say(large + text);
    EXPECT_TRUE(second.hears("\r\n\r\n/large"));
}

TEST_F(LargeBodies, LeaveTheirPlaceWhenTheyGo) {
    auto first = served.client();
    first.say(large + "x");
    ASSERT_THAT(answerTo(served, large), StartsWith("HTTP/1.1 503"));
    first.close();
    ASSERT_TRUE(served.eventually([&] { return served.traffic.clients == 0; }));
    auto second = served.client();
    second.say(large + text);
    EXPECT_TRUE(second.hears("\r\n\r\n/large"));
}

TEST_F(LargeBodies, AreSentWhenItIsSaidThatTheyMayCome) {
    auto client = served.client();
    client.say(put("/large", "Content-Length: 20\r\nExpect: 100-Continue"));
    ASSERT_TRUE(client.hears("HTTP/1.1 100 Continue\r\n\r\n"));
    EXPECT_THAT(served.requests, IsEmpty());
    client.forget();
    client.say(text);
    ASSERT_TRUE(client.hears("/large"));
    EXPECT_THAT(client.heard(), StartsWith("HTTP/1.1 200"));

    // Nobody waits for what has come already.
    client.forget();
    client.say(put("/a", "Content-Length: 1\r\nExpect: 100-continue") + "x");
    ASSERT_TRUE(client.hears("/a"));
    EXPECT_THAT(client.heard(), StartsWith("HTTP/1.1 200"));

    EXPECT_THAT(answerTo(served, put("/large", "Content-Length: 21\r\nExpect: 100-continue")),
                StartsWith("HTTP/1.1 413"));
}

TEST(ConnectionLimits, ABodyThatIsAskedForHasNoMoreTime) {
    Served served(limited({.requestTime = 0.05}));
    EXPECT_THAT(answerTo(served,
                         "PUT / HTTP/1.1\r\nHost: x\r\nContent-Length: 10\r\n"
                         "Expect: 100-continue\r\n\r\n0"),
                testing::AllOf(StartsWith("HTTP/1.1 100"), HasSubstr("HTTP/1.1 408")));
}

}  // namespace
}  // namespace IntfAddr
