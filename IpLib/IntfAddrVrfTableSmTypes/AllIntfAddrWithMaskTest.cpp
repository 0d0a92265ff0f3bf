#include "IpLib/IntfAddrVrfTableSmTypes/AllIntfAddrWithMask.h"

#include <gmock/gmock.h>

#include <vector>

#include "IpLib/IntfAddrVrfTableSmTypes/TestRecorders.h"

namespace IpLib {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

IntfAddrWithMaskKey keyOf(char const* intfId, char const* addrWithMask) {
    return {intfId, Nimb::IpGenAddrWithMask{std::string_view(addrWithMask)}};
}

IntfAddrWithMaskKey const ip = keyOf("Ethernet1", "10.0.0.1/24");
IntfAddrWithMaskKey const ip6 = keyOf("Ethernet1", "2001:db8::1/64");

class AllIntfAddrWithMaskTest : public ::testing::Test {
public:
protected:
    Zin::Ptr<AllIntfAddrWithMask> const all_ = allIntfAddrWithMaskFactory();
    TestKit::Events events_;
    TestKit::Recorder<AllIntfAddrWithMask> recorder_{all_, events_};
};

TEST_F(AllIntfAddrWithMaskTest, StartsEmpty) {
    EXPECT_TRUE(all_->all().empty());
    EXPECT_TRUE(all_->byIntfId().empty());
    EXPECT_EQ(all_->all(ip), IntfAddrWithMask());
    EXPECT_EQ(all_->byIntfId("Ethernet1"), nullptr);
}

TEST_F(AllIntfAddrWithMaskTest, PublishingAnAddressTellsItsKeyOnceHoweverOftenItIsRepeated) {
    all_->allIs(IntfAddrWithMask(ip6, true));
    all_->allIs(IntfAddrWithMask(ip6, true));

    EXPECT_EQ(all_->all(ip6), IntfAddrWithMask(ip6, true));
    EXPECT_TRUE(all_->allHas(ip6));
    EXPECT_EQ(all_->all().size(), 1U);
    EXPECT_THAT(events_,
                ElementsAre("all intfId=Ethernet1;addrWithMask=2001:db8::1/64 deprecated"));
}

TEST_F(AllIntfAddrWithMaskTest, FlippingDeprecatedTellsTheKeyOnce) {
    all_->allIs(IntfAddrWithMask(ip6, true));
    events_.clear();

    all_->allIs(IntfAddrWithMask(ip6, false));

    EXPECT_FALSE(all_->all(ip6).deprecated());
    EXPECT_EQ(all_->all().size(), 1U);
    EXPECT_THAT(events_, ElementsAre("all intfId=Ethernet1;addrWithMask=2001:db8::1/64 present"));
}

TEST_F(AllIntfAddrWithMaskTest, AnAddressThatChangesKeepsItsPlace) {
    all_->allIs(IntfAddrWithMask(ip6));
    all_->allIs(IntfAddrWithMask(ip));

    all_->allIs(IntfAddrWithMask(ip6, true));

    std::vector<IntfAddrWithMaskKey> keys;
    for (auto const& member : all_->all()) {
        EXPECT_EQ(member.key, member.value.key());
        keys.push_back(member.key);
    }
    EXPECT_THAT(keys, ElementsAre(ip6, ip));
}

TEST_F(AllIntfAddrWithMaskTest, OneAddressOnTwoInterfacesOrOfTwoLengthsIsTwoRows) {
    all_->allIs(IntfAddrWithMask(ip));
    all_->allIs(IntfAddrWithMask(keyOf("Ethernet2", "10.0.0.1/24")));
    all_->allIs(IntfAddrWithMask(keyOf("Ethernet1", "10.0.0.1/25")));

    EXPECT_EQ(all_->all().size(), 3U);
}

TEST_F(AllIntfAddrWithMaskTest, WithdrawingReturnsTheRecordAndTellsItsKeyAfterwards) {
    all_->allIs(IntfAddrWithMask(ip6, true));
    events_.clear();

    EXPECT_EQ(all_->allDel(ip6), IntfAddrWithMask(ip6, true));

    EXPECT_FALSE(all_->allHas(ip6));
    EXPECT_THAT(events_, ElementsAre("all intfId=Ethernet1;addrWithMask=2001:db8::1/64 absent"));
}

TEST_F(AllIntfAddrWithMaskTest, WithdrawingWhatIsAbsentReturnsTheDefaultRecordAndTellsNobody) {
    all_->allIs(IntfAddrWithMask(ip));
    events_.clear();

    IntfAddrWithMask const removed = all_->allDel(ip6);

    EXPECT_EQ(removed, IntfAddrWithMask());
    EXPECT_FALSE(removed);
    EXPECT_THAT(events_, IsEmpty());
}

TEST_F(AllIntfAddrWithMaskTest, WithdrawingAllTellsEachKeyToThoseWhoObserve) {
    all_->allIs(IntfAddrWithMask(ip));
    all_->allIs(IntfAddrWithMask(ip6, true));
    events_.clear();

    all_->allDelAll();

    EXPECT_TRUE(all_->all().empty());
    EXPECT_THAT(events_,
                UnorderedElementsAre("all intfId=Ethernet1;addrWithMask=10.0.0.1/24 absent",
                                     "all intfId=Ethernet1;addrWithMask=2001:db8::1/64 absent"));
}

TEST_F(AllIntfAddrWithMaskTest, WithdrawingAllNeedsNobodyWhoObserves) {
    all_->allIs(IntfAddrWithMask(ip));
    recorder_.notifierIs(nullptr);

    all_->allDelAll();

    EXPECT_TRUE(all_->all().empty());
}

TEST_F(AllIntfAddrWithMaskTest, TheViewByInterfaceIsKeptByItsOwnOperationsAlone) {
    all_->allIs(IntfAddrWithMask(ip));
    EXPECT_TRUE(all_->byIntfId().empty());
    auto const record = all_->byIntfIdIs("Ethernet1");
    record->byIntfIdIs(ip);
    events_.clear();

    all_->allDel(ip);

    EXPECT_EQ(all_->byIntfId("Ethernet1"), record);
    EXPECT_TRUE(record->byIntfIdHas(ip));
}

TEST_F(AllIntfAddrWithMaskTest, TheRecordOfAnInterfaceIsMadeOnceAndTellsNobody) {
    auto const record = all_->byIntfIdIs("Ethernet1");
    auto const other = all_->byIntfIdIs("Ethernet2");

    EXPECT_EQ(all_->byIntfIdIs("Ethernet1"), record);
    EXPECT_EQ(all_->byIntfId("Ethernet1"), record);
    EXPECT_EQ(record->intfId(), "Ethernet1");
    EXPECT_TRUE(record->byIntfId().empty());
    EXPECT_TRUE(record->hasNotificationActive());
    EXPECT_NE(record, other);
    EXPECT_EQ(all_->byIntfId().size(), 2U);
    EXPECT_THAT(events_, IsEmpty());
}

TEST_F(AllIntfAddrWithMaskTest, RemovingTheRecordOfAnInterfaceReturnsItOrNull) {
    auto const record = all_->byIntfIdIs("Ethernet1");

    EXPECT_EQ(all_->byIntfIdDel("Ethernet2"), nullptr);
    EXPECT_TRUE(all_->byIntfIdHas("Ethernet1"));
    EXPECT_EQ(all_->byIntfIdDel("Ethernet1"), record);
    EXPECT_FALSE(all_->byIntfIdHas("Ethernet1"));
    EXPECT_EQ(all_->byIntfIdDel("Ethernet1"), nullptr);

    EXPECT_TRUE(all_->byIntfId().empty());
    all_->byIntfIdIs("Ethernet1");
    all_->byIntfIdIs("Ethernet2");
    all_->byIntfIdDelAll();
    EXPECT_TRUE(all_->byIntfId().empty());
    EXPECT_THAT(events_, IsEmpty());
}

TEST_F(AllIntfAddrWithMaskTest, DumpsItsRowsWithoutLineBreaksAndThenItsInterfaces) {
    all_->allIs(IntfAddrWithMask(ip6, true));
    all_->allIs(IntfAddrWithMask(ip));
    all_->byIntfIdIs("Ethernet1")->byIntfIdIs(ip);
    auto const dump = Velk::textDumpContextFactory(false, 2);

    all_->dumpState(dump, 0);
    all_->dumpState(dump, 3);

    EXPECT_EQ(dump->text(),
              "AllIntfAddrWithMask all count 2 byIntfId count 1\n"
              "intfId=Ethernet1;addrWithMask=2001:db8::1/64;deprecated=true"
              "intfId=Ethernet1;addrWithMask=10.0.0.1/24;deprecated=false"
              "  IntfAddWithMaskByIntfId for Ethernet1 with count 1\n"
              "  intfId=Ethernet1;addrWithMask=10.0.0.1/24"
              "   AllIntfAddrWithMask all count 2 byIntfId count 1\n"
              "   intfId=Ethernet1;addrWithMask=2001:db8::1/64;deprecated=true"
              "   intfId=Ethernet1;addrWithMask=10.0.0.1/24;deprecated=false"
              "     IntfAddWithMaskByIntfId for Ethernet1 with count 1\n"
              "     intfId=Ethernet1;addrWithMask=10.0.0.1/24");
    EXPECT_FALSE(dump->truncated());
}

TEST_F(AllIntfAddrWithMaskTest, AnEmptyOneDumpsItsCountsAlone) {
    auto const dump = Velk::textDumpContextFactory(false, 0);

    all_->dumpState(dump, 0);

    EXPECT_EQ(dump->text(), "AllIntfAddrWithMask all count 0 byIntfId count 0\n");
    EXPECT_FALSE(dump->truncated());
}

TEST_F(AllIntfAddrWithMaskTest, DumpsNoMoreOfEachListThanTheMaximum) {
    all_->allIs(IntfAddrWithMask(ip6));
    all_->allIs(IntfAddrWithMask(ip));
    all_->byIntfIdIs("Ethernet1");
    all_->byIntfIdIs("Ethernet2");
    auto const brief = Velk::textDumpContextFactory(false, 1);
    auto const verbose = Velk::textDumpContextFactory(true, 1);

    all_->dumpState(brief, 0);
    all_->dumpState(verbose, 0);

    EXPECT_EQ(
        brief->text(),
        "AllIntfAddrWithMask all count 2 byIntfId count 2\n"
        "-- The following list will be truncated, use verbose option to display all 2 entries --\n"
        "intfId=Ethernet1;addrWithMask=2001:db8::1/64;deprecated=false"
        "-- This list has been truncated, use verbose option to display all 2 entries --\n"
        "-- The following list will be truncated, use verbose option to display all 2 entries --\n"
        "  IntfAddWithMaskByIntfId for Ethernet1 with count 0\n"
        "-- This list has been truncated, use verbose option to display all 2 entries --\n");
    EXPECT_TRUE(brief->truncated());
    EXPECT_EQ(verbose->text(),
              "AllIntfAddrWithMask all count 2 byIntfId count 2\n"
              "intfId=Ethernet1;addrWithMask=2001:db8::1/64;deprecated=false"
              "intfId=Ethernet1;addrWithMask=10.0.0.1/24;deprecated=false"
              "  IntfAddWithMaskByIntfId for Ethernet1 with count 0\n"
              "  IntfAddWithMaskByIntfId for Ethernet2 with count 0\n");
    EXPECT_FALSE(verbose->truncated());
}

}  // namespace
}  // namespace IpLib
