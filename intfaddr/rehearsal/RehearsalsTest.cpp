#include "intfaddr/rehearsal/Rehearsals.h"

#include <gmock/gmock.h>

#include <utility>

#include "Zin/Format.h"

namespace IntfAddr {
namespace {

struct RehearsalsTest : testing::Test {
    Reply post(Rehearsals& rehearsals, std::string body = "") {
        Routes routes;
        rehearsals.addTo(routes);
        Request request;
        request.method = "POST";
        request.target = targetOf("whatif", {});
        request.body = std::move(body);
        return routes.reply(request);
    }
    std::string read(Reply reply) {
        std::string text;
        bool hasMore = true;
        reply.body->onMore([&hasMore] { hasMore = true; });
        try {
            while (loop.now() < 20.0) {
                auto const progress = reply.body->next(text);
                if (progress == Body::Progress::ended) {
                    return fmt::format("{} {}", reply.status, text);
                }
                for (hasMore = progress == Body::Progress::more; !hasMore && loop.now() < 20.0;) {
                    loop.wait(20.0);
                }
            }
        } catch (RefusedReply const& refused) {
            return fmt::format("{} {}", refused.status(), refused.what());
        }
        return "nothing came";
    }
    // The answer of one whose command this is, in the shell.
    std::string said(std::string const& command, std::string const& body = "",
                     ChildLimits const& limits = {}) {
        Rehearsals rehearsals(loop, {"/bin/sh", "-c", command}, limits);
        return read(post(rehearsals, body));
    }

    EventLoop loop;
};

TEST_F(RehearsalsTest, WhatTheCommandPrintsIsTheAnswer) {
    std::string const body(100'000, 'x');
    EXPECT_EQ(said("cat", body), "200 " + body);
    EXPECT_EQ(said("echo none; exit 1"), "200 none\n");
    EXPECT_EQ(said("echo unknown; exit 3"), "200 unknown\n");
}

TEST_F(RehearsalsTest, ABadScenarioIsToldOf) {
    EXPECT_EQ(said("echo 'intfaddr: -:3: no' >&2; echo more >&2; exit 2"), "400 -:3: no");
    EXPECT_EQ(said("echo half; echo broken >&2; exit 70"), "500 broken");
}

TEST_F(RehearsalsTest, WhatTakesTooMuchIsEnded) {
    EXPECT_EQ(said("exec sleep 100", "", {.time = 0.05}), "503 it takes longer than 0.05 s");
    EXPECT_EQ(said("exec head -c 100000 /dev/zero", "", {.output = 1000}),
              "503 its answer is too long");
    EXPECT_EQ(said("kill -SEGV $$"), "503 it was ended by signal 11");
}

TEST_F(RehearsalsTest, OneGoesOnAtATime) {
    Rehearsals rehearsals(loop, {"/bin/sh", "-c", "cat"});
    auto first = post(rehearsals, "first");
    auto const second = post(rehearsals, "second");
    EXPECT_EQ(second.status, 503U);
    EXPECT_EQ(second.headers, (HeaderFields{{"Retry-After", "1"}}));
    EXPECT_EQ(read(std::move(first)), "200 first");
    EXPECT_EQ(read(post(rehearsals, "third")), "200 third");
}

TEST_F(RehearsalsTest, WhatNobodyWaitsForAnyMoreIsEnded) {
    Rehearsals rehearsals(loop, {"/bin/sh", "-c", "read -r line; $line"});
    { auto const abandoned = post(rehearsals, "exec sleep 100\n"); }
    while (post(rehearsals, "echo next\n").status == 503 && loop.now() < 20.0) {
        loop.wait(20.0);
    }
    EXPECT_LT(loop.now(), 20.0);
}

TEST_F(RehearsalsTest, WhatCannotBeStartedMayBeAskedForLater) {
    Rehearsals rehearsals(loop, {"/nowhere"});
    for (int i = 0; i < 2; ++i) {
        auto const refused = post(rehearsals);
        EXPECT_EQ(refused.status, 503U);
        EXPECT_THAT(drained(*refused.body), testing::HasSubstr("/nowhere: No such file"));
    }
}

}  // namespace
}  // namespace IntfAddr
