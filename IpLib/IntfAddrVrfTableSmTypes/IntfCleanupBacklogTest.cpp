#include "IpLib/IntfAddrVrfTableSmTypes/IntfCleanupBacklog.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <new>
#include <vector>

#include "TestMemory/TestMemory.h"
#include "Zin/Errors.h"

namespace IpLib::IntfAddrVrfTableImpl {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr auto ipv4 = Nimb::AddressFamily::ipv4;
constexpr auto ipv6 = Nimb::AddressFamily::ipv6;

IntfCleanupKey keyOf(char const* intfId, Nimb::AddressFamily af = ipv4) { return {{intfId, af}}; }

std::vector<IntfCleanupKey> queued(IntfCleanupBacklog const& backlog) {
    std::vector<IntfCleanupKey> keys;
    for (auto const& entry : backlog.backlogQueue()) {
        keys.push_back(entry->key());
    }
    return keys;
}

TEST(IntfCleanupBacklog, StartsEmpty) {
    auto const backlog = intfCleanupBacklogFactory();

    EXPECT_TRUE(backlog->backlog().empty());
    EXPECT_TRUE(backlog->backlogQueue().empty());
    EXPECT_EQ(backlog->backlogQueueFront(), nullptr);
    EXPECT_EQ(backlog->backlogQueueBack(), nullptr);
    EXPECT_EQ(backlog->backlogQueueDeq(), nullptr);
    EXPECT_EQ(backlog->getBacklog("Ethernet1", ipv4), nullptr);
    EXPECT_EQ(backlog->removeBacklog("Ethernet1", ipv4), nullptr);
}

TEST(IntfCleanupBacklog, ARequestIsFoundByItsKeyAndWaitsInTheQueue) {
    auto const backlog = intfCleanupBacklogFactory();

    backlog->addBacklog("Ethernet1", ipv4, 1.5);

    auto const entry = backlog->getBacklog("Ethernet1", ipv4);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->key(), keyOf("Ethernet1"));
    EXPECT_EQ(entry->emplacementTime(), 1.5);
    EXPECT_FALSE(entry->processed());
    EXPECT_EQ(backlog->backlog(keyOf("Ethernet1")), entry);
    EXPECT_EQ(backlog->backlogQueueFront(), entry);
    EXPECT_EQ(backlog->backlogQueueBack(), entry);
    EXPECT_TRUE(backlog->hasBacklog("Ethernet1", ipv4));
    EXPECT_FALSE(backlog->hasBacklog("Ethernet2", ipv4));
}

TEST(IntfCleanupBacklog, TheTwoFamiliesOfAnInterfaceAreIndependent) {
    auto const backlog = intfCleanupBacklogFactory();
    backlog->addBacklog("Ethernet1", ipv4, 1.0);
    EXPECT_FALSE(backlog->hasBacklog("Ethernet1", ipv6));
    backlog->addBacklog("Ethernet1", ipv6, 2.0);

    backlog->removeBacklog("Ethernet1", ipv4);

    EXPECT_FALSE(backlog->hasBacklog("Ethernet1", ipv4));
    EXPECT_TRUE(backlog->hasBacklog("Ethernet1", ipv6));
    EXPECT_EQ(backlog->getBacklog("Ethernet1", ipv6)->emplacementTime(), 2.0);
}

TEST(IntfCleanupBacklog, RequestsLeaveTheQueueInTheOrderInWhichTheyWereMade) {
    auto const backlog = intfCleanupBacklogFactory();
    for (char const* const intfId : {"Ethernet3", "Ethernet1", "Ethernet2"}) {
        backlog->addBacklog(intfId, ipv4, 1.0);
    }

    EXPECT_EQ(backlog->backlogQueueFront()->key(), keyOf("Ethernet3"));
    EXPECT_EQ(backlog->backlogQueueBack()->key(), keyOf("Ethernet2"));
    EXPECT_EQ(backlog->backlogQueueDeq()->key(), keyOf("Ethernet3"));
    EXPECT_EQ(backlog->backlogQueueDeq()->key(), keyOf("Ethernet1"));
    EXPECT_EQ(backlog->backlogQueueDeq()->key(), keyOf("Ethernet2"));
    EXPECT_EQ(backlog->backlogQueueDeq(), nullptr);
    EXPECT_EQ(backlog->backlog().size(), 3U);
}

TEST(IntfCleanupBacklog, ARemovedEntryStaysInTheQueue) {
    auto const backlog = intfCleanupBacklogFactory();
    backlog->addBacklog("Ethernet1", ipv4, 1.0);
    auto const entry = backlog->getBacklog("Ethernet1", ipv4);

    EXPECT_EQ(backlog->removeBacklog("Ethernet1", ipv4), entry);
    EXPECT_EQ(backlog->removeBacklog("Ethernet1", ipv4), nullptr);

    EXPECT_FALSE(backlog->hasBacklog("Ethernet1", ipv4));
    EXPECT_THAT(queued(*backlog), ElementsAre(keyOf("Ethernet1")));
    auto const dump = Velk::textDumpContextFactory(false, 10);
    backlog->dumpState(dump, 0);
    EXPECT_EQ(dump->text(),
              "backlog has 0 items\n"
              "backlogQueue has 1 items\n"
              "[ intfId=Ethernet1;af=IPv4;emplacementTime=1;processed=false ]\n");
}

TEST(IntfCleanupBacklog, TheSameRequestAgainIsOneEntryAtTwoPlacesInTheQueue) {
    auto const backlog = intfCleanupBacklogFactory();

    backlog->addBacklog("Ethernet1", ipv4, 1.0);
    backlog->addBacklog("Ethernet1", ipv4, 1.0);

    EXPECT_EQ(backlog->backlog().size(), 1U);
    EXPECT_EQ(backlog->backlogQueue().size(), 2U);
    EXPECT_EQ(backlog->backlogQueueFront(), backlog->backlogQueueBack());
}

TEST(IntfCleanupBacklog, ARequestOfAnotherTimeForAPendingKeyIsRefusedAndChangesNothing) {
    auto const backlog = intfCleanupBacklogFactory();
    backlog->addBacklog("Ethernet1", ipv4, 1.0);

    EXPECT_THROW(backlog->addBacklog("Ethernet1", ipv4, 2.0), Zin::ReinstantiationError);
    EXPECT_THROW(backlog->backlogIs(keyOf("Ethernet1"), 0.5), Zin::ReinstantiationError);

    EXPECT_EQ(backlog->getBacklog("Ethernet1", ipv4)->emplacementTime(), 1.0);
    EXPECT_EQ(backlog->backlog().size(), 1U);
    EXPECT_EQ(backlog->backlogQueue().size(), 1U);
}

// The allocation that fails is each in turn, until none does.
TEST(IntfCleanupBacklog, ARequestThatLacksMemoryChangesNothing) {
    for (std::size_t requests : {0U, 1U}) {  // of the same key and time before
        bool failed = true;
        for (std::size_t allowed = 0; failed; ++allowed) {
            auto const backlog = intfCleanupBacklogFactory();
            for (std::size_t i = 0; i < requests; ++i) {
                backlog->addBacklog("Ethernet1", ipv4, 1.0);
            }
            try {
                TestMemory::OneFailure const failure(allowed);
                backlog->addBacklog("Ethernet1", ipv4, 1.0);
                failed = failure.happened();
            } catch (std::bad_alloc const&) {
            }
            EXPECT_EQ(backlog->backlog().size(), failed ? requests : 1U);
            EXPECT_EQ(backlog->backlogQueue().size(), failed ? requests : requests + 1);
        }
    }
}

TEST(IntfCleanupBacklog, AnEntryIsMadeOnceForItsKeyAndTimeAndIsNotQueued) {
    auto const backlog = intfCleanupBacklogFactory();

    auto const entry = backlog->backlogIs(keyOf("Ethernet1"), 1.0);
    entry->processedIs(true);

    EXPECT_EQ(backlog->backlogIs(keyOf("Ethernet1"), 1.0), entry);
    EXPECT_TRUE(entry->processed());
    EXPECT_TRUE(backlog->backlogQueue().empty());
    EXPECT_TRUE(backlog->backlogHas(keyOf("Ethernet1")));
    EXPECT_EQ(backlog->backlogDel(keyOf("Ethernet1")), entry);
    EXPECT_FALSE(backlog->backlogHas(keyOf("Ethernet1")));
    EXPECT_NE(backlog->backlogIs(keyOf("Ethernet1"), 2.0), entry);
    backlog->backlogDelAll();
    EXPECT_TRUE(backlog->backlog().empty());
}

TEST(IntfCleanupBacklog, TheQueueIsChangedByPositionToo) {
    auto const backlog = intfCleanupBacklogFactory();
    for (char const* const intfId : {"Ethernet1", "Ethernet2", "Ethernet3"}) {
        backlog->addBacklog(intfId, ipv4, 1.0);
    }
    auto const entry = intfCleanupEntryFactory(keyOf("Ethernet9"), 1.0);

    backlog->backlogQueueIs(1, entry);
    backlog->backlogQueueIs(3, entry);
    EXPECT_THAT(queued(*backlog),
                ElementsAre(keyOf("Ethernet1"), keyOf("Ethernet9"), keyOf("Ethernet3")));
    backlog->backlogQueueDel(2U);
    backlog->backlogQueueDel(2U);
    EXPECT_THAT(queued(*backlog), ElementsAre(keyOf("Ethernet1"), keyOf("Ethernet9")));
    backlog->backlogQueueDel(backlog->backlogQueueBegin());
    EXPECT_THAT(queued(*backlog), ElementsAre(keyOf("Ethernet9")));
    backlog->backlogQueueEnq(entry);
    backlog->backlogQueueDelAll();
    EXPECT_THAT(queued(*backlog), IsEmpty());
    EXPECT_EQ(entry->referenceCount(), 1U);
    EXPECT_EQ(backlog->backlog().size(), 3U);
}

TEST(IntfCleanupBacklog, DumpsItsEntriesAndItsQueue) {
    auto const backlog = intfCleanupBacklogFactory();
    backlog->addBacklog("Ethernet2", ipv6, 1.5);
    backlog->addBacklog("Ethernet1", ipv4, 2.0);
    backlog->removeBacklog("Ethernet2", ipv6)->processedIs(true);
    auto const dump = Velk::textDumpContextFactory(false, 10);

    backlog->dumpState(dump, 4);

    EXPECT_EQ(dump->text(),
              "    backlog has 1 items\n"
              "    [ intfId=Ethernet1;af=IPv4;emplacementTime=2;processed=false ]\n"
              "    backlogQueue has 2 items\n"
              "    [ intfId=Ethernet2;af=IPv6;emplacementTime=1.5;processed=true ]\n"
              "    [ intfId=Ethernet1;af=IPv4;emplacementTime=2;processed=false ]\n");
}

TEST(IntfCleanupBacklog, CutsEachOfItsListsWhereItIsTooLong) {
    auto const backlog = intfCleanupBacklogFactory();
    backlog->addBacklog("Ethernet1", ipv4, 1.0);
    backlog->addBacklog("Ethernet1", ipv6, 1.0);
    backlog->removeBacklog("Ethernet1", ipv4);
    auto const dump = Velk::textDumpContextFactory(false, 1);

    backlog->dumpState(dump, 0);

    EXPECT_EQ(dump->text(),
              "backlog has 1 items\n"
              "[ intfId=Ethernet1;af=IPv6;emplacementTime=1;processed=false ]\n"
              "backlogQueue has 2 items\n"
              "-- The following list will be truncated, use verbose option to display all 2 "
              "entries --\n"
              "[ intfId=Ethernet1;af=IPv4;emplacementTime=1;processed=false ]\n"
              "-- This list has been truncated, use verbose option to display all 2 entries --\n");
    EXPECT_TRUE(dump->truncated());
}

}  // namespace
}  // namespace IpLib::IntfAddrVrfTableImpl
