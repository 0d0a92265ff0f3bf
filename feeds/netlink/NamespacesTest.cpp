#include "feeds/netlink/Namespaces.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

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

    EXPECT_THROW(takeSnapshotIn(dir / "ns-red"), std::system_error);
    EXPECT_THROW(takeSnapshotIn(dir / "ns-absent"), std::system_error);

    ASSERT_EQ(::mkfifo((dir / "ns-fifo").c_str(), 0600), 0);
    EXPECT_THROW(takeSnapshotIn(dir / "ns-fifo"), std::system_error);
}

}  // namespace
}  // namespace Netlink
