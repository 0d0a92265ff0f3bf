#include "feeds/netlink/Namespaces.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <future>
#include <string>
#include <system_error>
#include <vector>

#include "feeds/netlink/TestDescriptors.h"

namespace Netlink {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct NamespacesTest : testing::Test {
    NamespacesTest() {
        std::string pattern = testing::TempDir() + "namespaces-XXXXXX";
        dir = ::mkdtemp(pattern.data());
    }
    ~NamespacesTest() override { std::filesystem::remove_all(dir); }

    void name(char const* file) const { std::ofstream(dir / file).flush(); }
    std::vector<std::string> vrfs() const {
        std::vector<std::string> names;
        for (auto const& named : namedNamespaces(dir)) {
            EXPECT_EQ(named.file, dir / ("ns-" + named.vrf.bytes()));
            names.push_back(named.vrf.bytes());
        }
        return names;
    }

    std::filesystem::path dir;
};

TEST_F(NamespacesTest, NamespacesWithThePrefixAreVrfsInOrderOfTheirNames) {
    name("ns-red");
    name("ns-blue");
    name("red");
    name("nsx-green");
    name("ns-ns-odd");

    EXPECT_THAT(vrfs(), ElementsAre("blue", "ns-odd", "red"));
}

TEST_F(NamespacesTest, ThePrefixAloneIsLeftOut) {
    name("ns-");
    name("ns-default");

    EXPECT_THAT(vrfs(), ElementsAre("default"));
}

TEST_F(NamespacesTest, NoDirectoryMeansNoNamespaces) {
    EXPECT_THAT(namedNamespaces(dir / "absent"), IsEmpty());
}

TEST_F(NamespacesTest, AFileThatIsNoNamespaceCannotBeEntered) {
    name("ns-red");
    auto const before = openDescriptors();

    EXPECT_THROW(takeSnapshotIn(dir / "ns-red"), std::system_error);
    EXPECT_THROW(takeSnapshotIn(dir / "ns-absent"), std::system_error);

    ASSERT_EQ(::mkfifo((dir / "ns-fifo").c_str(), 0600), 0);
    EXPECT_THROW(takeSnapshotIn(dir / "ns-fifo"), std::system_error);
    EXPECT_EQ(openDescriptors(), before);
}

// A network namespace of the test's own, below 0 where the machine does not let us make one.
int openNewNamespace() {
    return std::async(std::launch::async,
                      [] {
                          return ::unshare(CLONE_NEWNET) == 0
                                     ? ::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC)
                                     : -1;
                      })
        .get();
}

TEST_F(NamespacesTest, ASnapshotLeavesNothingOpenAlsoWhereItFails) {
    int const opened = openNewNamespace();
    auto const before = openDescriptors();

    if (opened < 0) {
        // Whoever may make no namespace may enter none either.
        EXPECT_THROW(takeSnapshotIn("/proc/self/ns/net"), std::system_error);
    } else {
        auto const file = std::filesystem::path("/proc/self/fd") / std::to_string(opened);
        EXPECT_FALSE(takeSnapshotIn(file).links.empty());
        for (int const call : {SYS_setns, SYS_socket, SYS_sendto, SYS_recvfrom}) {
            whereRefused(call, [&] { EXPECT_THROW(takeSnapshotIn(file), std::system_error); });
        }
    }

    EXPECT_EQ(openDescriptors(), before);
    ::close(opened);
}

}  // namespace
}  // namespace Netlink
