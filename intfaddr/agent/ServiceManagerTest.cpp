#include "intfaddr/agent/ServiceManager.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <vector>

#include "Velk/TaskScheduler.h"
#include "intfaddr/agent/TestFolder.h"

namespace IntfAddr {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::Eq;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// The end of a service manager; in the environment while it lives.
class ManagersEnd {
public:
    explicit ManagersEnd(std::string const& name) {
        ::setenv("NOTIFY_SOCKET", name.c_str(), 1);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        name.copy(address.sun_path, sizeof address.sun_path - 1);
        if (name[0] == '@') {
            address.sun_path[0] = '\0';
        }
        auto const size = offsetof(sockaddr_un, sun_path) + name.size();
        EXPECT_EQ(::bind(socket_.number(), reinterpret_cast<sockaddr const*>(&address),
                         static_cast<socklen_t>(size)),
                  0);
    }
    ~ManagersEnd() {
        for (char const* const name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) {
            ::unsetenv(name);
        }
    }

    std::vector<std::string> heard() const {
        std::vector<std::string> all;
        std::array<char, 1000> text{};
        for (ssize_t size = 0;
             (size = ::recv(socket_.number(), text.data(), text.size(), 0)) > 0;) {
            all.emplace_back(text.data(), static_cast<std::size_t>(size));
        }
        return all;
    }

private:
    Netlink::Descriptor const socket_{::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0)};
};

struct ServiceManagerTest : testing::Test {
    TestFolder folder;
    ManagersEnd end{folder / "notify"};
};

TEST_F(ServiceManagerTest, HearsOfEachState) {
    ServiceManager manager;
    manager.ready("it goes");
    EXPECT_THAT(end.heard(), ElementsAre("READY=1\nSTATUS=it goes"));
    manager.reloading();
    EXPECT_THAT(end.heard(), ElementsAre(StartsWith("RELOADING=1\nMONOTONIC_USEC=")));
    manager.reloaded("anew");
    manager.stopping();
    EXPECT_THAT(end.heard(), ElementsAre("READY=1\nSTATUS=anew", "STOPPING=1"));
    EXPECT_EQ(manager.nextTurn(), Velk::never);
}

TEST_F(ServiceManagerTest, AReloadBeforeItIsReadyDoesNotMakeItReady) {
    ServiceManager manager;
    manager.reloading();
    manager.reloaded("anew");
    EXPECT_THAT(end.heard(), IsEmpty());
}

TEST_F(ServiceManagerTest, HearsThatTheLoopTurnsTwiceInItsPeriod) {
    ::setenv("WATCHDOG_USEC", "3000000", 1);
    ServiceManager manager;
    manager.run(0.0);
    EXPECT_THAT(end.heard(), ElementsAre("WATCHDOG=1"));
    EXPECT_EQ(manager.nextTurn(), 1.5);
    manager.run(1.4375);
    EXPECT_THAT(end.heard(), IsEmpty());
    manager.run(1.5);
    EXPECT_THAT(end.heard(), ElementsAre("WATCHDOG=1"));
    EXPECT_EQ(manager.nextTurn(), 3.0);
}

TEST_F(ServiceManagerTest, AWatchdogIsOfTheProcessThatItNames) {
    ::setenv("WATCHDOG_USEC", "3000000", 1);
    ::setenv("WATCHDOG_PID", fmt::format("{}", ::getpid()).c_str(), 1);
    EXPECT_EQ(ServiceManager().nextTurn(), 0.0);
    ::setenv("WATCHDOG_PID", fmt::format("{}", ::getppid()).c_str(), 1);
    EXPECT_EQ(ServiceManager().nextTurn(), Velk::never);
}

TEST_F(ServiceManagerTest, OneThatDoesNotReadHoldsUpNobodyAndHearsTheLastLater) {
    ::setenv("WATCHDOG_USEC", "2000000", 1);
    ServiceManager manager;
    for (int turn = 0; turn < 10'000; ++turn) {
        manager.run(turn);
    }
    manager.ready("it goes");
    manager.reloading();
    manager.reloaded("anew");
    manager.run(10'000.0);
    EXPECT_EQ(manager.nextTurn(), 10'000.5);
    EXPECT_THAT(end.heard(), Each(Eq("WATCHDOG=1")));
    manager.run(10'000.5);
    EXPECT_THAT(end.heard(), ElementsAre("READY=1\nSTATUS=anew"));
    EXPECT_EQ(manager.nextTurn(), 10'001.0);
}

TEST_F(ServiceManagerTest, BadVariablesAreNamed) {
    auto const fault = [](char const* name, std::string const& value) {
        ::setenv(name, value.c_str(), 1);
        try {
            ServiceManager const manager;
            return std::string();
        } catch (ServiceManagerError const& error) {
            return std::string(error.what());
        }
    };
    for (char const* const bad : {"-1", "0", "1s", "99999999999999999999999"}) {
        EXPECT_THAT(fault("WATCHDOG_USEC", bad), HasSubstr(fmt::format("USEC: '{}'", bad)));
    }
    ::unsetenv("WATCHDOG_USEC");
    for (auto const& bad : {std::string("vsock:2:1"), "/" + std::string(107, 'x')}) {
        EXPECT_THAT(fault("NOTIFY_SOCKET", bad), HasSubstr("NOTIFY_SOCKET: '" + bad));
    }
}

TEST(ServiceManager, MayHaveAnAbstractSocket) {
    ManagersEnd const end(fmt::format("@intfaddr-test-{}", ::getpid()));
    ServiceManager().stopping();
    EXPECT_THAT(end.heard(), ElementsAre("STOPPING=1"));
}

TEST(ServiceManager, WithoutASocketNothingIsTold) {
    ::setenv("WATCHDOG_USEC", "3000000", 1);
    ServiceManager manager;
    manager.ready("it goes");
    manager.run(0.0);
    EXPECT_EQ(manager.nextTurn(), Velk::never);
    ::unsetenv("WATCHDOG_USEC");
}

}  // namespace
}  // namespace IntfAddr
