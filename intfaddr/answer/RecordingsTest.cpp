#include "intfaddr/answer/Recordings.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Zin/Format.h"
#include "feeds/scenario/Snapshot.h"
#include "feeds/scenario/TestReplay.h"
#include "intfaddr/agent/TestFolder.h"
#include "intfaddr/answer/TestAnswers.h"

namespace IntfAddr {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

struct RecordingsTest : AnswersTest {
    RecordingsTest() { recordings.addTo(routes); }

    std::string asked(char const* method, Parameters const& query = {}, uid_t uid = 0) {
        Request request;
        request.method = method;
        request.target = {.segments = {"v1", "record"}, .query = query};
        request.peer = Peer{.uid = uid};
        Reply const reply = routes.reply(request);
        return fmt::format("{} {}", reply.status, drained(*reply.body));
    }

    TestFolder folder;
    std::string const file = folder / "recording";
};

TEST_F(RecordingsTest, OneIsBegunAndStopped) {
    addAddress(7, "10.0.0.1/24");
    addAddress(8, "10.0.0.2/24");
    runTo(1.0);
    EXPECT_EQ(ask("status")["recording"], nullptr);
    EXPECT_EQ(asked("DELETE"), "200 {\"changed\":false,\"recording\":null}\n");
    EXPECT_THAT(asked("PUT", {{"file", file}}), StartsWith("200 {\"changed\":true,"));
    EXPECT_EQ(ask("status")["recording"]["state"], "running");
    EXPECT_THAT(asked("PUT", {{"file", folder / "another"}}),
                testing::AllOf(StartsWith("409 "), HasSubstr(file + " is being recorded")));
    removeAddress(7, "10.0.0.1/24");
    runTo(1.3);
    std::string const stopped = asked("DELETE");
    EXPECT_THAT(stopped, StartsWith("200 {\"changed\":true,"));

    auto const content = contentOf(file);
    EXPECT_EQ(
        Json::parse(stopped.substr(4))["recording"],
        (Json{{"file", file}, {"bytes", content.size()}, {"state", "stopped"}, {"why", nullptr}}));
    EXPECT_EQ(ask("status")["recording"]["state"], "stopped");
    recordings.comment("too late");
    EXPECT_EQ(ask("status")["recording"]["bytes"], content.size());
    EXPECT_EQ(asked("DELETE").substr(0, 23), "200 {\"changed\":false,\"r");
    EXPECT_FALSE(namesIn(folder.path).contains("another"));
    auto const run = Scenario::replayedText(content + "{\"op\":\"snapshot\"}\n", {.heal = true});
    ASSERT_EQ(run.printed.size(), 1U);
    EXPECT_THAT(run.printed[0], EndsWith(Scenario::snapshot(agent.router()).dump() + "}"));
}

TEST_F(RecordingsTest, OneThatHasReachedItsLimitDoesNotRun) {
    runTo(1.0);
    ASSERT_THAT(asked("PUT", {{"file", file}, {"limit", "4096"}}), StartsWith("200 "));
    for (int host = 1; host < 200; ++host) {
        addAddress(7, fmt::format("10.0.0.{}/32", host).c_str());
    }
    runTo(2.0);
    recordings.step(2.0);
    Json const recording = ask("status")["recording"];
    EXPECT_EQ(recording["state"], "failed");
    EXPECT_THAT(recording["why"].get<std::string>(), HasSubstr("its limit of 4096 bytes"));
    EXPECT_THAT(asked("DELETE"), StartsWith("200 {\"changed\":false,\"recording\":{"));
    EXPECT_THAT(asked("PUT", {{"file", file}}), StartsWith("200 {\"changed\":true,"));
}

TEST_F(RecordingsTest, ABadQuestionIsRefusedInWords) {
    std::string const pipe = folder / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    for (auto const& [query, why] : std::vector<std::pair<Parameters, std::string>>{
             {{}, "'file' is missing"},
             {{{"file", "recording"}}, "file 'recording': an absolute path is expected"},
             {{{"file", folder / "no/such"}}, "no/such: cannot be opened: No such file"},
             {{{"file", folder.path}}, "is no regular file"},
             {{{"file", pipe}}, "is no regular file"},
             {{{"file", file}, {"limit", "4095"}}, "limit '4095': a number from 4096"},
             {{{"file", file}, {"limit", "4096x"}}, "limit '4096x': "},
             {{{"file", file}, {"file", file}}, "'file' is given twice"},
             {{{"file", file}, {"vrf", "red"}}, "'vrf' is unknown: file or limit is expected"}}) {
        std::string const answer = asked("PUT", query);
        EXPECT_THAT(answer, StartsWith("400 "));
        EXPECT_THAT(answer, HasSubstr(why));
    }
    EXPECT_THAT(asked("DELETE", {{"file", file}}), StartsWith("400 "));
    EXPECT_THAT(asked("GET"), StartsWith("405 "));
    EXPECT_EQ(ask("status")["recording"], nullptr);
}

TEST_F(RecordingsTest, WhoMayOnlyChangeSomethingMayNotHaveAFileWritten) {
    uid_t const changer = ::geteuid() + 1;
    rights.changersAre({changer});
    ASSERT_TRUE(rights.mayChange(Peer{.uid = changer}));
    EXPECT_THAT(asked("PUT", {{"file", file}}, changer), StartsWith("403 "));
    EXPECT_THAT(asked("DELETE", {}, changer), StartsWith("403 "));
    EXPECT_FALSE(namesIn(folder.path).contains("recording"));
}

}  // namespace
}  // namespace IntfAddr
