#include "intfaddr/loop/ChildProcess.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

namespace IntfAddr {
namespace {

constexpr std::size_t all = std::size_t{1} << 20;

struct ChildProcessTest : testing::Test {
    // What the shell is told ends with this.
    std::unique_ptr<ChildProcess> shell(std::string const& said, std::string const& input = "",
                                        ChildLimits const& limits = {}) {
        return std::make_unique<ChildProcess>(loop, std::vector<std::string>{"/bin/sh", "-c", said},
                                              input, limits, [this] { ++ended; });
    }
    void waitForEnd() {
        while (ended == 0 && loop.now() < 20.0) {
            loop.wait(20.0);
        }
        EXPECT_EQ(ended, 1);
    }

    EventLoop loop;
    int ended = 0;
};

TEST_F(ChildProcessTest, ReadsAndWritesWholeFiles) {
    std::string const input(300'000, 'x');
    auto const child = shell("cat; echo trouble >&2; exit 3", input);
    waitForEnd();
    EXPECT_EQ(child->exitStatus(), 3);
    EXPECT_FALSE(child->isOverdue());
    EXPECT_EQ(readAt(child->output(), 0, all), input);
    EXPECT_EQ(readAt(child->output(), 299'998, all), "xx");
    EXPECT_EQ(readAt(child->error(), 0, 7), "trouble");
}

TEST_F(ChildProcessTest, IsKilledWhenItsTimeIsOver) {
    auto const child = shell("exec sleep 100", "", {.time = 0.05});
    waitForEnd();
    EXPECT_EQ(child->exitStatus(), std::nullopt);
    EXPECT_TRUE(child->isOverdue());
}

TEST_F(ChildProcessTest, MayBeKilledBeforeThat) {
    auto const child = shell("exec sleep 100");
    child->kill();
    waitForEnd();
    EXPECT_EQ(child->exitStatus(), std::nullopt);
    EXPECT_FALSE(child->isOverdue());
    child->kill();
}

TEST_F(ChildProcessTest, GoesWithItsOwner) {
    auto child = shell("echo $$; exec sleep 100");
    std::string process;
    while (process.empty()) {
        process = readAt(child->output(), 0, all);
    }
    child.reset();
    EXPECT_EQ(::kill(std::stoi(process), 0), -1);
    loop.wait(0.0);
    EXPECT_EQ(ended, 0);
}

TEST_F(ChildProcessTest, MayGoWhenItIsToldToHaveEnded) {
    std::unique_ptr<ChildProcess> child;
    child = std::make_unique<ChildProcess>(loop, std::vector<std::string>{"/bin/true"}, "",
                                           ChildLimits(), [this, &child] {
                                               child.reset();
                                               ++ended;
                                           });
    waitForEnd();
}

TEST_F(ChildProcessTest, WritesNoMoreThanItMay) {
    auto const child = shell("exec head -c 100000 /dev/zero", "", {.output = 1000});
    waitForEnd();
    EXPECT_EQ(child->exitStatus(), std::nullopt);
    EXPECT_EQ(readAt(child->output(), 0, all).size(), 1000U);
}

TEST_F(ChildProcessTest, TakesNoMoreMemoryThanItMay) {
    auto const child = shell("ulimit -v; ulimit -c; nice", "", {.memory = 1 << 30});
    waitForEnd();
#if !defined(__SANITIZE_ADDRESS__) && !defined(__clang__)
    EXPECT_EQ(readAt(child->output(), 0, all), "1048576\n0\n10\n");
#endif
    EXPECT_EQ(child->exitStatus(), 0);
}

TEST_F(ChildProcessTest, GoesWithAnOwnerThatIsKilled) {
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);  // so that whom the owner leaves behind is ours
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    pid_t const owner = ::fork();
    if (owner == 0) {
        EventLoop own;
        ChildProcess const child(own, {"/bin/sh", "-c", "exec sleep 100"}, "", {}, [] {});
        static_cast<void>(::write(ends[1], "x", 1));
        ::pause();
    }
    char begun = 0;
    ASSERT_EQ(::read(ends[0], &begun, 1), 1);
    ::kill(owner, SIGKILL);
    EXPECT_EQ(::waitpid(owner, nullptr, 0), owner);
    int status = 0;
    EXPECT_GT(::waitpid(-1, &status, 0), 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    ::close(ends[0]);
    ::close(ends[1]);
    ::prctl(PR_SET_CHILD_SUBREAPER, 0);
}

TEST_F(ChildProcessTest, KnowsSignalsAsAnyProgramDoes) {
    auto* const before = std::signal(SIGTERM, SIG_IGN);
    auto const child = shell("kill -TERM $$; exit 3");
    waitForEnd();
    EXPECT_EQ(child->exitStatus(), std::nullopt);
    std::signal(SIGTERM, before);
}

TEST_F(ChildProcessTest, WhatCannotBeStartedIsAnError) {
    EXPECT_THROW(ChildProcess(loop, {"/nowhere"}, "", {}, [] {}), std::system_error);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

}  // namespace
}  // namespace IntfAddr
