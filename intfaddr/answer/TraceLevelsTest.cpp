#include "intfaddr/answer/TraceLevels.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "Pell/TraceHandle.h"
#include "Zin/Format.h"
#include "intfaddr/answer/Document.h"
#include "intfaddr/answer/Question.h"

namespace IntfAddr {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

struct TraceLevelsTest : testing::Test {
    TraceLevelsTest() { levels.addTo(routes); }
    ~TraceLevelsTest() override { Pell::traceLevelsIs({}); }

    std::string said(char const* method, Parameters const& query, uid_t uid = 0) {
        Request request;
        request.method = method;
        request.target = {.segments = {"v1", "trace"}, .query = query};
        request.peer = Peer{.uid = uid};
        Reply const reply = routes.reply(request);
        return fmt::format("{} {}", reply.status, drained(*reply.body));
    }

    Rights const rights{};
    TraceLevels const levels{rights};
    Routes routes;
    Pell::TraceHandle const one{"TestOne"};
    Pell::TraceHandle const two{"TestTwo"};
};

TEST_F(TraceLevelsTest, AreListedForEachClass) {
    Pell::traceLevelIs("TestTwo", 8);
    EXPECT_THAT(said("GET", {}),
                AllOf(StartsWith("200 "), HasSubstr("{\"class\":\"TestOne\",\"level\":0}"),
                      HasSubstr("{\"class\":\"TestTwo\",\"level\":8}")));
}

TEST_F(TraceLevelsTest, AreSetInTheirOrder) {
    EXPECT_THAT(said("PUT", {{"*", "3"}, {"TestTwo", "9"}}),
                HasSubstr("{\"class\":\"TestTwo\",\"level\":9}"));
    EXPECT_EQ(one.level(), 3);
    EXPECT_EQ(two.level(), 9);
    EXPECT_THAT(said("PUT", {{"*", "0"}}), StartsWith("200 "));
    EXPECT_EQ(two.level(), 0);
}

TEST_F(TraceLevelsTest, AreSetAllOrNone) {
    EXPECT_THAT(said("PUT", {{"TestOne", "3"}, {"TestThree", "3"}}),
                AllOf(StartsWith("400 "), HasSubstr("'TestThree'"), HasSubstr("TestOne, TestTwo")));
    for (char const* const level : {"", "10", "x", "-1"}) {
        EXPECT_THAT(said("PUT", {{"TestOne", "3"}, {"TestTwo", level}}),
                    AllOf(StartsWith("400 "), HasSubstr("0 to 9 is expected")));
    }
    EXPECT_EQ(one.level(), 0);
}

TEST_F(TraceLevelsTest, WhoHasNoRightToSetsNone) {
    EXPECT_THAT(said("PUT", {{"TestOne", "3"}}, ::geteuid() + 1), StartsWith("403 "));
    EXPECT_EQ(one.level(), 0);
    EXPECT_THAT(said("GET", {}, ::geteuid() + 1), StartsWith("200 "));
    EXPECT_THAT(said("DELETE", {}), StartsWith("405 "));
    EXPECT_THAT(said("GET", {{"TestOne", "3"}}), StartsWith("400 "));
}

}  // namespace
}  // namespace IntfAddr
