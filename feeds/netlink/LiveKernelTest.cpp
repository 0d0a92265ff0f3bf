#include "feeds/netlink/LiveKernel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <array>
#include <cstdlib>
#include <fstream>
#include <system_error>

#include "feeds/netlink/Descriptor.h"
#include "feeds/netlink/NamespaceVisit.h"
#include "feeds/netlink/TestDescriptors.h"
#include "feeds/netlink/TestNamespace.h"

namespace Netlink {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Calls nobody by itself: whoever is ready is asked.
class IdleLoop final : public Loop {
public:
    std::unique_ptr<Watch> watch(int /*descriptor*/, Event /*event*/,
                                 std::function<void()> /*ready*/) override {
        struct Idle final : Watch {
            void again() override {}
        };
        return std::make_unique<Idle>();
    }
};

struct LiveKernelTest : testing::Test {
    LiveKernelTest() {
        std::string pattern = testing::TempDir() + "names-XXXXXX";
        dir = ::mkdtemp(pattern.data());
    }
    ~LiveKernelTest() override { std::filesystem::remove_all(dir); }

    // Another name for what has one in /proc.
    void name(char const* file, TestNamespace const& space) const {
        std::filesystem::create_symlink(space.file(), dir / file);
    }

    std::filesystem::path dir;
    IdleLoop loop;
};

// Where we may make some.
struct InNamespaces : LiveKernelTest {
    void SetUp() override {
        if (!TestNamespace()) {
            GTEST_SKIP() << "no network namespaces may be made";
        }
    }
};

TEST_F(InNamespaces, NamespacesThatHaveANameAreListedInOrder) {
    TestNamespace const one;
    TestNamespace const two;
    name("ns-red", one);
    name("blue", two);
    name("ns-again", one);
    std::ofstream(dir / "ns-file").flush();
    LiveKernel kernel(loop, dir);
    auto const found = kernel.namedNamespaces();

    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found[0].name, "blue");
    EXPECT_EQ(found[1].name, "ns-again");
    EXPECT_EQ(found[2].name, "ns-red");
    EXPECT_EQ(found[1].id, found[2].id);
    EXPECT_NE(found[0].id, found[1].id);
    EXPECT_NE(found[0].id, kernel.ownNamespace());
}

TEST_F(LiveKernelTest, NoDirectoryMeansNoNames) {
    EXPECT_THAT(LiveKernel(loop, dir / "absent").namedNamespaces(), IsEmpty());
}

TEST_F(LiveKernelTest, WhatCannotBeListedIsAnError) {
    std::ofstream(dir / "file").flush();
    EXPECT_THROW(LiveKernel(loop, dir / "file").namedNamespaces(), std::system_error);
}

TEST_F(InNamespaces, SocketsAreOpenedThereAndTheThreadIsBack) {
    TestNamespace const space;
    name("ns-red", space);
    auto const before = openDescriptors();
    LiveKernel kernel(loop, dir);
    auto const home = kernel.ownNamespace();
    {
        auto const sockets = kernel.open(kernel.namedNamespaces().at(0), 10'000, [] {});
        EXPECT_EQ(kernel.ownNamespace(), home);
        EXPECT_EQ(sockets.receiveBuffer, 10'000U);
        EXPECT_NE(sockets.notifications->port(), 0U);
        EXPECT_EQ(openDescriptors(), before + 2);
        std::array<std::byte, 64> buffer{};
        EXPECT_FALSE(sockets.notifications->receive(buffer));
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(InNamespaces, AnotherNamespaceUnderTheNameIsNotEntered) {
    TestNamespace const one;
    TestNamespace const two;
    name("ns-red", one);
    LiveKernel kernel(loop, dir);
    auto const named = kernel.namedNamespaces().at(0);
    std::filesystem::remove(dir / "ns-red");
    name("ns-red", two);
    try {
        kernel.open(named, 10'000, [] {});
        FAIL();
    } catch (std::system_error const& error) {
        EXPECT_EQ(error.code(), std::errc::no_such_file_or_directory);
    }
    std::filesystem::remove(dir / "ns-red");
    EXPECT_THROW(kernel.open(named, 10'000, [] {}), std::system_error);
}

TEST_F(InNamespaces, NothingStaysOpenWhereOpeningFails) {
    TestNamespace const space;
    name("ns-red", space);
    LiveKernel kernel(loop, dir);
    auto const named = kernel.namedNamespaces().at(0);
    auto const before = openDescriptors();
    for (int const call : {SYS_openat, SYS_setns, SYS_socket, SYS_bind, SYS_getsockname,
                           SYS_setsockopt, SYS_getsockopt}) {
        whereRefused(call, [&] {
            EXPECT_THROW(kernel.open(named, 10'000, [] {}), std::system_error) << call;
        });
    }
    for (int const call : {SYS_openat, SYS_inotify_init1}) {
        whereRefused(
            call, [&] { EXPECT_THROW(kernel.watchNamespaces([] {}), std::system_error) << call; });
    }

    EXPECT_EQ(openDescriptors(), before);
}

using InNamespacesDeathTest = InNamespaces;

// Whatever it did from then on it would do in the wrong place.
TEST_F(InNamespacesDeathTest, ThatCannotComeBackStopsAtOnce) {
    TestNamespace const space;
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    name("ns-red", space);
    LiveKernel kernel(loop, dir);
    auto const named = kernel.namedNamespaces().at(0);
    EXPECT_DEATH(
        {
            auto visit = std::make_unique<NamespaceVisit>(dir / named.name, named.id);
            whereRefused(SYS_setns, [&visit] { visit.reset(); });
        },
        "cannot come back from a network namespace");
}

}  // namespace
}  // namespace Netlink
