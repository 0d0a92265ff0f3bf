#include "IpLib/IntfAddrVrfTableSm/KniKernelHistory.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "TestMemory/TestMemory.h"
#include "Zin/Format.h"

namespace IpLib::IntfAddrVrfTableImpl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> newestFirst(KniKernelHistory const& history) {
    std::vector<std::string> changes;
    history.forEachNewestFirst([&](auto const& change) {
        changes.push_back(
            fmt::format("{} {} {}", change.time, change.intfId, change.isPresent ? "in" : "out"));
    });
    return changes;
}

TEST(KniKernelHistory, IsEmptyAtFirst) {
    KniKernelHistory const history;
    EXPECT_EQ(history.size(), 0u);
    EXPECT_EQ(history.count(), 0u);
    EXPECT_THAT(newestFirst(history), IsEmpty());
}

TEST(KniKernelHistory, TellsTheNewestChangeFirst) {
    KniKernelHistory history;
    history.changed(1.5, "Ethernet1", true);
    history.changed(2.25, "Ethernet2", true);
    history.changed(2.25, "Ethernet1", false);

    EXPECT_EQ(history.size(), 3u);
    EXPECT_EQ(history.count(), 3u);
    EXPECT_THAT(newestFirst(history),
                ElementsAre("2.25 Ethernet1 out", "2.25 Ethernet2 in", "1.5 Ethernet1 in"));
}

TEST(KniKernelHistory, TheChangeAfterThe256thTakesThePlaceOfTheOldest) {
    KniKernelHistory history;
    for (int i = 1; i <= 256; ++i) {
        history.changed(i, "Ethernet1", true);
    }
    ASSERT_EQ(history.size(), 256u);
    ASSERT_EQ(newestFirst(history).front(), "256 Ethernet1 in");
    ASSERT_EQ(newestFirst(history).back(), "1 Ethernet1 in");

    history.changed(257, "Ethernet2", false);

    EXPECT_EQ(history.size(), 256u);
    EXPECT_EQ(history.count(), 257u);
    EXPECT_EQ(newestFirst(history).front(), "257 Ethernet2 out");
    EXPECT_EQ(newestFirst(history)[1], "256 Ethernet1 in");
    EXPECT_EQ(newestFirst(history).back(), "2 Ethernet1 in");
}

TEST(KniKernelHistory, CountsOnWhileItHoldsTheLast256) {
    KniKernelHistory history;
    for (int i = 1; i <= 1000; ++i) {
        history.changed(i, "Ethernet1", i % 2 == 0);
    }
    EXPECT_EQ(history.size(), 256u);
    EXPECT_EQ(history.count(), 1000u);
    std::vector<std::string> const changes = newestFirst(history);
    ASSERT_EQ(changes.size(), 256u);
    for (std::size_t i = 0; i < changes.size(); ++i) {
        EXPECT_EQ(changes[i],
                  fmt::format("{} Ethernet1 {}", 1000 - i, (1000 - i) % 2 == 0 ? "in" : "out"));
    }
}

TEST(KniKernelHistory, AllocatesNothingForAChange) {
    KniKernelHistory history;
    Nimb::IntfId const shortName("Ethernet1");
    Nimb::IntfId const longName("an-interface-with-a-name-of-more-than-23-bytes");
    std::size_t const before = TestMemory::allocations;

    for (int i = 0; i < 600; ++i) {
        history.changed(i, i % 2 == 0 ? shortName : longName, true);
    }

    EXPECT_EQ(TestMemory::allocations, before);
    EXPECT_EQ(history.count(), 600u);
}

}  // namespace
}  // namespace IpLib::IntfAddrVrfTableImpl
