#include "IpLib/IntfAddrVrfTableSmTypes/DeferredIntfAddBacklog.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <set>
#include <vector>

#include "IpLib/IntfAddrVrfTableTypes/TestValues.h"

namespace IpLib::IntfAddrVrfTableImpl {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAreArray;

using Nimb::AddressFamily;

IntfAddrWithMaskKey keyOf(char const* intfId, char const* addrWithMask) {
    return {intfId, Nimb::IpGenAddrWithMask{std::string_view(addrWithMask)}};
}

std::vector<IntfAddrWithMaskKey> keysOf(DeferredIntfAddBacklog const& backlog) {
    std::vector<IntfAddrWithMaskKey> keys;
    for (auto const& member : backlog.backlog()) {
        keys.push_back(member.key);
    }
    return keys;
}

IntfAddrWithMaskKey const first = keyOf("Ethernet1", "10.0.0.1/24");
IntfAddrWithMaskKey const second = keyOf("Ethernet1", "2001:db8::1/64");

TEST(DeferredIntfAddBacklog, AKeyWaitsOnceHoweverOftenItIsPutIn) {
    auto const backlog = deferredIntfAddBacklogFactory();

    backlog->backlogIs(first);
    backlog->backlogIs(first);

    EXPECT_TRUE(backlog->backlogHas(first));
    EXPECT_FALSE(backlog->backlogHas(second));
    EXPECT_EQ(backlog->backlog().size(), 1U);
    auto const dump = Velk::textDumpContextFactory(false, 10);
    backlog->dumpState(dump, 0);
    EXPECT_EQ(dump->text(),
              "backlog has 1 items\n"
              "[ intfId=Ethernet1;addrWithMask=10.0.0.1/24 ]");
}

TEST(DeferredIntfAddBacklog, RemovingAnAbsentKeyChangesNothing) {
    auto const backlog = deferredIntfAddBacklogFactory();
    backlog->backlogIs(first);

    backlog->backlogDel(second);
    backlog->backlogDel(keyOf("Ethernet1", "10.0.0.1/25"));

    EXPECT_THAT(keysOf(*backlog), ElementsAre(first));
    backlog->backlogDel(first);
    EXPECT_THAT(keysOf(*backlog), IsEmpty());
}

TEST(DeferredIntfAddBacklog, KeysAreWalkedInTheOrderInWhichTheyCameToWait) {
    auto const backlog = deferredIntfAddBacklogFactory();
    backlog->backlogIs(second);
    backlog->backlogIs(first);
    EXPECT_THAT(keysOf(*backlog), ElementsAre(second, first));

    backlog->backlogDel(second);
    backlog->backlogIs(second);

    EXPECT_THAT(keysOf(*backlog), ElementsAre(first, second));
}

TEST(DeferredIntfAddBacklog, AWalkGoesOnFromAKeyAndOverTheRemovalOfItsCurrentOne) {
    auto const backlog = deferredIntfAddBacklogFactory();
    std::vector<IntfAddrWithMaskKey> const keys{first, second, keyOf("Ethernet2", "10.0.0.2/24")};
    for (auto const& key : keys) {
        backlog->backlogIs(key);
    }
    std::vector<IntfAddrWithMaskKey> walked;

    for (auto at = backlog->backlog().from(second); at != backlog->backlog().end(); ++at) {
        IntfAddrWithMaskKey const key = at->key;
        walked.push_back(key);
        backlog->backlogDel(key);
    }

    EXPECT_THAT(walked, ElementsAre(keys[1], keys[2]));
    EXPECT_THAT(keysOf(*backlog), ElementsAre(first));
}

TEST(DeferredIntfAddBacklog, RemovingAllLeavesNothingInAnyView) {
    auto const backlog = deferredIntfAddBacklogFactory();
    backlog->backlogIs(first);
    backlog->backlogIs(second);

    backlog->backlogDelAll();

    EXPECT_TRUE(backlog->backlog().empty());
    EXPECT_THAT(backlog->backlogKeysOf({"Ethernet1", AddressFamily::ipv4}), IsEmpty());
    backlog->backlogIs(first);
    EXPECT_THAT(backlog->backlogKeysOf({"Ethernet1", AddressFamily::ipv4}), ElementsAre(first));
}

TEST(DeferredIntfAddBacklog, TheKeysOfAnInterfaceEqualAWalkOfTheWholeAfterEveryChange) {
    auto const backlog = deferredIntfAddBacklogFactory();
    std::set<IntfAddrWithMaskKey> expected;
    TestKit::RandomValues random;
    static constexpr char const* intfIds[] = {"", "Ethernet1", "Ethernet2"};
    std::size_t most = 0;
    for (int i = 0; i < 5000; ++i) {
        IntfAddrWithMaskKey const key{intfIds[random.below(3)], random.addrWithMask()};
        if (random.below(500) == 0) {
            backlog->backlogDelAll();
            expected.clear();
        } else if (random.below(3) != 0) {
            backlog->backlogIs(key);
            expected.insert(key);
        } else {
            backlog->backlogDel(key);
            expected.erase(key);
        }
        ASSERT_EQ(backlog->backlog().size(), expected.size());
        most = std::max(most, expected.size());
        IntfFamily const group{intfIds[random.below(3)],
                               static_cast<AddressFamily>(random.below(3))};
        std::vector<IntfAddrWithMaskKey> ofGroup;
        for (auto const& member : expected) {
            if (member.intfId == group.intfId && member.addrWithMask.family() == group.af) {
                ofGroup.push_back(member);
            }
        }
        ASSERT_EQ(backlog->backlogKeysOf(group).size(), ofGroup.size());
        if (i % 50 == 0) {
            ASSERT_THAT(backlog->backlogKeysOf(group), UnorderedElementsAreArray(ofGroup));
        }
    }
    EXPECT_GT(most, 50U);
}

TEST(DeferredIntfAddBacklog, DumpsItsKeysWithoutLineBreaks) {
    auto const backlog = deferredIntfAddBacklogFactory();
    auto const dump = Velk::textDumpContextFactory(false, 10);
    backlog->dumpState(dump, 2);
    EXPECT_EQ(dump->text(), "  backlog has 0 items\n");
    backlog->backlogIs(first);
    backlog->backlogIs(second);
    auto const filled = Velk::textDumpContextFactory(false, 10);

    backlog->dumpState(filled, 2);

    EXPECT_EQ(filled->text(),
              "  backlog has 2 items\n"
              "  [ intfId=Ethernet1;addrWithMask=10.0.0.1/24 ]"
              "  [ intfId=Ethernet1;addrWithMask=2001:db8::1/64 ]");
}

TEST(DeferredIntfAddBacklog, CutsItsListWhereItIsTooLong) {
    auto const backlog = deferredIntfAddBacklogFactory();
    backlog->backlogIs(first);
    backlog->backlogIs(second);
    auto const dump = Velk::textDumpContextFactory(false, 1);

    backlog->dumpState(dump, 0);

    EXPECT_EQ(dump->text(),
              "backlog has 2 items\n"
              "-- The following list will be truncated, use verbose option to display all 2 "
              "entries --\n"
              "[ intfId=Ethernet1;addrWithMask=10.0.0.1/24 ]"
              "-- This list has been truncated, use verbose option to display all 2 entries --\n");
    EXPECT_TRUE(dump->truncated());
}

}  // namespace
}  // namespace IpLib::IntfAddrVrfTableImpl
