#include "intfaddr/http/Traffic.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "intfaddr/http/TestTalk.h"

namespace IntfAddr {
namespace {

using Progress = Body::Progress;

TEST(Traffic, ATimeIsInTheBucketThatItDoesNotExceed) {
    Traffic::Times times;
    for (Zin::Seconds const time : {0.0, 1e-4, 1.1e-4, 10.0, 11.0}) {
        times.add(time);
    }
    EXPECT_EQ(times.buckets[0], 2U);
    EXPECT_EQ(times.buckets[1], 1U);
    EXPECT_EQ(times.buckets[15], 1U);
    EXPECT_EQ(times.buckets[16], 1U);
    EXPECT_EQ(times.count, 5U);
    EXPECT_NEAR(times.sum, 21.00021, 1e-9);
}

TEST(Traffic, HasEachRequestAndItsTime) {
    Served served;
    auto client = served.client();
    client.get("/a");
    ASSERT_TRUE(client.hears("/a"));
    EXPECT_EQ(served.traffic.requests, 1U);
    client.get("/%zz");
    ASSERT_TRUE(client.hears("'%zz'"));
    client.say("garbage\r\n\r\n");
    ASSERT_TRUE(client.isLetGo());

    EXPECT_EQ(served.traffic.requests, 3U);
    EXPECT_TRUE(served.eventually([&] { return served.traffic.times.count == 3; }));
}

TEST(Traffic, TheTimeEndsWithTheReply) {
    Served served;
    std::function<void()> more;
    bool isEnded = false;
    served.handle = [&](Request const&) {
        return made([&](std::string&) { return isEnded ? Progress::ended : Progress::waits; },
                    nullptr, &more);
    };
    auto client = served.client();
    client.get("/");
    ASSERT_TRUE(served.eventually([&] { return bool(more); }));
    for (Zin::Seconds const end = served.loop.now() + 0.02; served.loop.now() < end;) {
        served.loop.wait(end);
    }
    EXPECT_EQ(served.traffic.times.count, 0U);
    isEnded = true;
    more();
    ASSERT_TRUE(client.hears("\r\n\r\n"));

    EXPECT_TRUE(served.eventually([&] { return served.traffic.times.count == 1; }));
    EXPECT_GE(served.traffic.times.sum, 0.02);
}

TEST(Traffic, AStreamHasNoTime) {
    Served served;
    served.handle = [&](Request const&) {
        auto reply = textReply(200, "data: x\n\n");
        reply.contentType = "text/event-stream; charset=utf-8";
        return reply;
    };
    auto client = served.client();
    client.say("GET / HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
    ASSERT_TRUE(client.isLetGo());

    EXPECT_EQ(served.traffic.requests, 1U);
    EXPECT_EQ(served.traffic.times.count, 0U);
}

TEST(Traffic, KnowsWhoIsConnectedAndWhoWasRefused) {
    Served served({.clients = 1});
    auto client = served.client();
    ASSERT_TRUE(served.eventually([&] { return served.traffic.clients == 1; }));
    EXPECT_EQ(served.traffic.refusedClients, 0U);
    auto another = served.client();
    ASSERT_TRUE(another.isLetGo());
    EXPECT_EQ(served.traffic.refusedClients, 1U);
    EXPECT_EQ(served.traffic.clients, 1U);

    client.close();
    EXPECT_TRUE(served.eventually([&] { return served.traffic.clients == 0; }));
    auto last = served.client();
    ASSERT_TRUE(served.eventually([&] { return served.traffic.clients == 1; }));
    served.server.reset();
    EXPECT_EQ(served.traffic.clients, 0U);
}

TEST(Traffic, CountsReadersThatAreDropped) {
    Served served(limited({.readerTime = 0.05}));
    served.handle = [](Request const&) {
        return made([](std::string& buffer) {
            buffer += std::string(4096, 'x');
            return Progress::more;
        });
    };
    auto client = served.client();
    client.get("/");
    EXPECT_TRUE(served.eventually([&] { return served.traffic.droppedReaders == 1; }));
    // One that goes of his own is none.
    auto another = served.client();
    another.get("/");
    ASSERT_TRUE(another.hears("xx"));
    another.close();
    EXPECT_TRUE(served.eventually([&] { return served.traffic.clients == 0; }));
    EXPECT_EQ(served.traffic.droppedReaders, 1U);
}

}  // namespace
}  // namespace IntfAddr
