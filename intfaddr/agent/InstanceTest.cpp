#include "intfaddr/agent/Instance.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>

#include "Zin/Format.h"
#include "intfaddr/agent/TestFolder.h"

namespace IntfAddr {
namespace {

using testing::HasSubstr;

namespace fs = std::filesystem;

// What keeps an agent from running there; empty where nothing does.
std::string obstacle(std::string const& directory) {
    try {
        Instance const instance(directory);
        return "";
    } catch (InstanceError const& error) {
        return error.what();
    }
}

// Another process, in which `work` says something and which then waits for its end.
class Other {
public:
    explicit Other(std::function<std::string()> const& work) {
        int ends[2];
        EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
        Netlink::Descriptor const read(ends[0]);
        Netlink::Descriptor write(ends[1]);
        process_ = ::fork();
        if (process_ == 0) {
            ::prctl(PR_SET_NAME, "other (agent)");
            say(write.number(), work);
            write = Netlink::Descriptor();
            while (true) {
                ::pause();
            }
        }
        write = Netlink::Descriptor();
        char text[1000];
        for (ssize_t size = 1; size > 0;) {
            size = ::read(read.number(), text, sizeof text);
            said_.append(text, static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        }
    }
    ~Other() { kill(); }
    Other(Other const&) = delete;
    Other& operator=(Other const&) = delete;

    std::string const& said() const { return said_; }
    pid_t process() const { return process_; }
    void kill() {
        if (process_ > 0) {
            ::kill(process_, SIGKILL);
            ::waitpid(process_, nullptr, 0);
        }
        process_ = 0;
    }

private:
    // Throws nothing: the tests go on in their own process alone.
    static void say(int file, std::function<std::string()> const& work) noexcept {
        std::string text;
        try {
            text = work();
        } catch (std::exception const& error) {
            text = error.what();
        }
        EXPECT_EQ(::write(file, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    pid_t process_ = 0;
    std::string said_;
};

// Holds it until it is killed.
std::function<std::string()> holding(std::string const& directory) {
    return [directory] {
        new Instance(directory);
        return "held";
    };
}

TEST(Instance, ASecondAgentIsToldWhichProcessRunsAlready) {
    TestFolder const folder;
    Other const other(holding(folder.path));
    ASSERT_EQ(other.said(), "held");

    EXPECT_EQ(obstacle(folder.path),
              fmt::format("other (agent) (process {}) runs already: it holds {}/agent.lock",
                          other.process(), folder.path));
    EXPECT_THROW(Instance{folder.path}, RunsAlready);
}

TEST(Instance, NothingThatAKilledAgentLeavesIsInTheWay) {
    TestFolder const folder;
    Other other(holding(folder.path));
    ASSERT_EQ(other.said(), "held");
    other.kill();

    EXPECT_EQ(obstacle(folder.path), "");
}

TEST(Instance, OneThatGoesMakesRoomForTheNext) {
    TestFolder const folder;
    auto const asked = [&] { return Other([&] { return obstacle(folder.path); }).said(); };
    {
        Instance const instance(folder.path);
        EXPECT_THAT(asked(), HasSubstr(fmt::format("(process {}) runs already", ::getpid())));
    }
    EXPECT_EQ(asked(), "");
}

TEST(Instance, AgentsOfTwoDirectoriesRunBesideEachOther) {
    TestFolder const folder;
    Other const other(holding(folder / "one"));
    ASSERT_EQ(other.said(), "held");

    EXPECT_EQ(obstacle(folder / "other"), "");
}

TEST(Instance, MakesItsDirectoryAndAFileThatNobodyElseOpens) {
    TestFolder const folder;
    mode_t const umaskBefore = ::umask(0);
    Instance const instance(folder / "run");
    ::umask(umaskBefore);

    EXPECT_EQ(fs::status(folder / "run").permissions(), fs::perms(0755));
    EXPECT_EQ(fs::status(folder / "run/agent.lock").permissions(), fs::perms(0600));
}

TEST(Instance, WhatItExecutesDoesNotHaveItsFile) {
    TestFolder const folder;
    Instance const instance(folder.path);
    int found = 0;
    for (auto const& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        if (fs::read_symlink(entry, error) == folder / "agent.lock") {
            ++found;
            EXPECT_EQ(::fcntl(std::stoi(entry.path().filename()), F_GETFD), FD_CLOEXEC);
        }
    }
    EXPECT_EQ(found, 1);
}

TEST(Instance, ASymbolicLinkIsNotFollowed) {
    TestFolder const folder;
    fs::create_symlink(folder / "elsewhere", folder / "agent.lock");

    EXPECT_EQ(obstacle(folder.path),
              folder / "agent.lock" + ": is a symbolic link, which is not followed");
    EXPECT_FALSE(fs::exists(folder / "elsewhere"));
}

TEST(Instance, AnErrorNamesThePathAndTheReason) {
    TestFolder const folder;
    EXPECT_EQ(obstacle(folder / "not/there"),
              folder / "not/there" + ": cannot be made: No such file or directory");
    std::ofstream(folder / "file") << "text";
    EXPECT_EQ(obstacle(folder / "file"),
              folder / "file/agent.lock" + ": cannot be opened: Not a directory");
    fs::create_directories(folder / "run/agent.lock");
    EXPECT_EQ(obstacle(folder / "run"),
              folder / "run/agent.lock" + ": cannot be opened: Is a directory");
    EXPECT_EQ(contentOf(folder / "file"), "text");
}

// The run directory of a user, with the variable set.
std::string runDirectoryOf(bool isRoot, char const* variable) {
    return Other([=] {
               ::unsetenv("XDG_RUNTIME_DIR");
               if (variable) {
                   ::setenv("XDG_RUNTIME_DIR", variable, 1);
               }
               if (!isRoot && ::geteuid() == 0 && ::seteuid(65534) != 0) {
                   return std::string("cannot become another user");
               }
               return runDirectory();
           })
        .said();
}

TEST(Instance, TheRunDirectoryIsTheUsersUnlessHeIsRoot) {
    EXPECT_EQ(runDirectoryOf(false, "/run/user/1000"), "/run/user/1000/intfaddr");
    EXPECT_EQ(runDirectoryOf(false, nullptr), "/run/intfaddr");
    EXPECT_EQ(runDirectoryOf(false, ""), "/run/intfaddr");
    EXPECT_EQ(runDirectoryOf(false, "relative"), "/run/intfaddr");
    if (::geteuid() == 0) {
        EXPECT_EQ(runDirectoryOf(true, "/run/user/1000"), "/run/intfaddr");
    }
}

}  // namespace
}  // namespace IntfAddr
