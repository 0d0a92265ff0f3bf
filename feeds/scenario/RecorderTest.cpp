#include "feeds/scenario/Recorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <utility>

#include "feeds/scenario/Fields.h"
#include "feeds/scenario/LineReader.h"
#include "feeds/scenario/Operations.h"
#include "feeds/scenario/TestReplay.h"

namespace Scenario {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

constexpr std::size_t ample = std::size_t{1} << 30;

Lines linesOf(std::string const& text) {
    Lines lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

// A router of which is recorded what is done to it.
struct Recorded {
    explicit Recorded(std::ostream& sink, std::size_t limit = ample, Config const& config = {})
        : router(config.machines, clock, std::make_unique<Velk::EveryNth>(config.yieldEvery)) {
        router.managerStart().apply();
        recorder = std::make_unique<Recorder>(sink, config, clock, limit);
        router.inputs().effects().observerAdd(*recorder);
    }
    ~Recorded() { router.inputs().effects().observerDel(*recorder); }

    void vrf(L3::VrfName const& name) { router.inputs().ipVrfAdd(name).apply(); }

    Zin::Ptr<Zin::VirtualClock> const clock = Zin::make<Zin::VirtualClock>();
    Routing::Router router;
    std::unique_ptr<Recorder> recorder;
};

TEST(Recorder, TheFirstLineIsTheConfiguration) {
    std::ostringstream sink;
    Recorded recorded(
        sink, ample,
        {.machines = {.intfCleanupDelay = 0.5, .deferredIntfAddDelay = 0.1}, .yieldEvery = 7});
    EXPECT_TRUE(recorded.recorder->flush());

    EXPECT_EQ(sink.str(), R"({"op":"config","intfCleanupDelay":0.5,"deferredIntfAddDelay":0.1,)"
                          R"("ignoreKernelInterfaceState":false,"taskPriority":3,"yieldEvery":7})"
                          "\n");
}

TEST(Recorder, OnlyTheFirstOperationOfABatchSaysItsTime) {
    std::ostringstream sink;
    Recorded recorded(sink);
    recorded.vrf("a");
    recorded.vrf("b");
    recorded.recorder->batchBegins();
    recorded.vrf("c");
    recorded.clock->nowIs(0.1);
    recorded.vrf("d");
    recorded.vrf("e");
    recorded.recorder->flush();

    EXPECT_THAT(
        linesOf(sink.str()),
        ElementsAre(StartsWith(R"({"op":"config")"), R"({"op":"ip.vrf.add","vrf":"a","at":0.0})",
                    R"({"op":"ip.vrf.add","vrf":"b"})", R"({"op":"ip.vrf.add","vrf":"c","at":0.0})",
                    R"({"op":"ip.vrf.add","vrf":"d","at":0.1})",
                    R"({"op":"ip.vrf.add","vrf":"e"})"));
}

// Failures of invariants, a repair that an audit finds to be due, and tasks that are due when an
// operation comes.
Lines const troubled = prepared({
    R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"10.0.0.1/24"})",
    R"({"op":"ip.intf.add","vrf":"red","intf":"eth9","primary":"10.0.0.1/24"})",
    R"({"op":"ip.primary","vrf":"red","intf":"eth9","addr":"0.0.0.0/0"})",
    R"({"op":"ip6.addr.set","vrf":"red","intf":"eth0","addr":"fe80::1/64","deprecated":true})",
    R"({"op":"ip.primary","vrf":"red","intf":"eth1","addr":"10.0.0.1/24","at":0.7})",
    R"({"op":"ip.intf.del","vrf":"red","intf":"eth1","at":1})",
    R"({"op":"vip.add","vrf":"red","addr":"192.0.2.1/32","at":2.5})",
    R"({"op":"vip.add","vrf":"red","addr":"192.0.2.2/32"})",
    R"({"op":"manager.stop","at":4.3})",
    R"({"op":"ip.intf.del","vrf":"red","intf":"eth0"})",
    R"({"op":"manager.start"})",
    R"({"op":"vip.del","vrf":"red","addr":"192.0.2.1/32","at":20})",
});

TEST(Recorder, WhatIsRecordedIsReplayedToTheSame) {
    std::stringstream printed;
    std::ostringstream sink;
    {
        Scenario::Run run(printed, {}, {.events = true, .heal = true});
        Recorder recorder(sink, {}, run.router().scheduler()->clock(), ample);
        run.router().inputs().effects().observerAdd(recorder);
        for (auto const& line : troubled) {
            Json object = readObject(line);
            auto const& operation = operationOf(object.at("op").get<std::string>());
            object.erase("op");
            std::optional<Zin::Seconds> at;
            if (object.contains("at")) {
                at = object.at("at").get<double>();
                object.erase("at");
                recorder.batchBegins();
            }
            Fields const fields(object, operation.fields);
            // The number that the line is going to have.
            run.carryOut(linesOf(sink.str()).size() + 1, at,
                         [&] { return operation.check(run, fields); });
            recorder.comment("and on it goes");
            recorder.flush();
        }
        run.router().inputs().effects().observerDel(recorder);
    }
    auto const again = replayedText(sink.str(), {.events = true, .heal = true});

    EXPECT_EQ(again.error, "");
    EXPECT_EQ(again.printed, linesOf(printed.str()));
    for (char const* const what : {"assert", "error", "event", "healed"}) {
        EXPECT_THAT(printed.str(), HasSubstr(what));
    }
}

TEST(Recorder, ACommentIsOneHarmlessLine) {
    std::ostringstream sink;
    Recorded recorded(sink);
    recorded.recorder->comment("a\nb\r\x1b[31m\x7f \xc2\x9b \xff");
    recorded.recorder->comment(std::string(LineReader::maxLength, '\x1b'));
    recorded.recorder->flush();

    EXPECT_THAT(sink.str(),
                HasSubstr("\n# a\\nb\\r\\u001b[31m\\u007f \\u009b \\ufffd\n# \\u001b\\u001b"));
    EXPECT_THAT(linesOf(sink.str()), SizeIs(3));
    EXPECT_EQ(replayedText(sink.str()).error, "");
}

TEST(Recorder, AtItsLimitItSaysSoAndCloses) {
    std::size_t const limit = 1000;
    std::ostringstream sink;
    Recorded recorded(sink, limit);
    for (int n = 0; n < 100; ++n) {
        EXPECT_FALSE(recorded.recorder->isClosed() && n < 10);
        recorded.vrf("vrf" + std::to_string(n));
        recorded.recorder->comment("more");
    }
    EXPECT_TRUE(recorded.recorder->isClosed());
    EXPECT_TRUE(recorded.recorder->flush());
    EXPECT_THAT(recorded.recorder->whyClosed(), HasSubstr("limit"));

    EXPECT_LE(sink.str().size(), limit);
    EXPECT_GT(sink.str().size(), limit - 150);
    EXPECT_THAT(sink.str(),
                EndsWith("\n# the recording ends here: its limit of 1000 bytes is reached\n"));
    EXPECT_EQ(replayedText(sink.str()).error, "");
}

TEST(Recorder, ALineThatNoReplayReadsEndsTheRecording) {
    std::ostringstream sink;
    Recorded recorded(sink);
    recorded.vrf(std::string(LineReader::maxLength, 'x'));

    EXPECT_TRUE(recorded.recorder->isClosed());
    EXPECT_THAT(sink.str(), EndsWith("longer than a replay reads\n"));
    EXPECT_EQ(replayedText(sink.str()).error, "");
}

// Remembers what it is given at once; throws when it is told to.
struct Chunks final : std::streambuf {
    std::streamsize xsputn(char const* text, std::streamsize size) override {
        if (throws) {
            throw std::ios::failure("no more");
        }
        chunks.emplace_back(text, static_cast<std::size_t>(size));
        return size;
    }
    Lines chunks;
    bool throws = false;
};

TEST(Recorder, TheSinkIsGivenWholeLines) {
    Chunks chunks;
    std::ostream sink(&chunks);
    Recorded recorded(sink);
    for (int n = 0; n < 10000; ++n) {
        recorded.vrf("vrf" + std::to_string(n));
    }
    recorded.recorder->flush();

    EXPECT_GT(chunks.chunks.size(), 3U);
    EXPECT_LT(chunks.chunks.size(), 100U);
    EXPECT_THAT(chunks.chunks, testing::Each(EndsWith("\n")));
}

TEST(Recorder, WhatIsLeftIsWrittenWhenItGoes) {
    std::ostringstream sink;
    { Recorded const recorded(sink); }
    EXPECT_THAT(linesOf(sink.str()), SizeIs(1));
}

TEST(Recorder, AFullDiskIsToldOnceAndClosesIt) {
    std::ofstream sink("/dev/full");
    ASSERT_TRUE(sink);
    Recorded recorded(sink);
    recorded.vrf("red");

    EXPECT_FALSE(recorded.recorder->flush());
    EXPECT_THAT(recorded.recorder->whyClosed(), HasSubstr(std::strerror(ENOSPC)));
    EXPECT_TRUE(recorded.recorder->isClosed());
    recorded.vrf("blue");
    EXPECT_TRUE(recorded.recorder->flush());
}

TEST(Recorder, ASinkThatThrowsFailsAlike) {
    for (bool const hasExceptions : {false, true}) {
        Chunks chunks;
        std::ostream sink(&chunks);
        sink.exceptions(hasExceptions ? std::ios::badbit : std::ios::goodbit);
        Recorded recorded(sink);
        EXPECT_TRUE(recorded.recorder->flush());
        chunks.throws = true;
        for (int n = 0; n < 10000; ++n) {
            recorded.vrf("vrf" + std::to_string(n));
        }

        EXPECT_TRUE(recorded.recorder->isClosed());
        EXPECT_FALSE(recorded.recorder->flush());
        EXPECT_TRUE(recorded.recorder->flush());
        EXPECT_THAT(recorded.recorder->whyClosed(), HasSubstr(std::strerror(EIO)));
        EXPECT_EQ(chunks.chunks.size(), 1U);
    }
}

}  // namespace
}  // namespace Scenario
