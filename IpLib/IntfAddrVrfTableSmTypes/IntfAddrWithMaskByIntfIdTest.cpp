#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrWithMaskByIntfId.h"

#include <gtest/gtest.h>

namespace IpLib {
namespace {

IntfAddrWithMaskKey keyOf(char const* addrWithMask) {
    return {"Ethernet1", Nimb::IpGenAddrWithMask{std::string_view(addrWithMask)}};
}

TEST(IntfAddrWithMaskByIntfId, StartsEmptyForItsInterface) {
    auto const record = intfAddrWithMaskByIntfIdFactory("Ethernet1");

    EXPECT_EQ(record->intfId(), "Ethernet1");
    EXPECT_TRUE(record->byIntfId().empty());
    EXPECT_TRUE(record->hasNotificationActive());
}

TEST(IntfAddrWithMaskByIntfId, HoldsAKeyOnceUntilItIsRemoved) {
    auto const record = intfAddrWithMaskByIntfIdFactory("Ethernet1");
    record->byIntfIdIs(keyOf("10.0.0.1/24"));
    record->byIntfIdIs(keyOf("10.0.0.1/24"));
    record->byIntfIdIs(keyOf("10.0.0.1/25"));
    EXPECT_EQ(record->byIntfId().size(), 2U);

    record->byIntfIdDel(keyOf("10.0.0.1/24"));
    record->byIntfIdDel(keyOf("10.0.0.9/24"));

    EXPECT_FALSE(record->byIntfIdHas(keyOf("10.0.0.1/24")));
    EXPECT_TRUE(record->byIntfIdHas(keyOf("10.0.0.1/25")));
    EXPECT_EQ(record->byIntfId().size(), 1U);
    record->byIntfIdDelAll();
    EXPECT_TRUE(record->byIntfId().empty());
}

TEST(IntfAddrWithMaskByIntfId, DumpsItsKeysWithoutLineBreaks) {
    auto const record = intfAddrWithMaskByIntfIdFactory("Ethernet1");
    record->byIntfIdIs(keyOf("10.0.0.2/24"));
    record->byIntfIdIs(keyOf("10.0.0.1/24"));
    auto const dump = Velk::textDumpContextFactory(false, 2);

    record->dumpState(dump, 0);
    record->dumpState(dump, 2);

    EXPECT_EQ(dump->text(),
              "IntfAddWithMaskByIntfId for Ethernet1 with count 2\n"
              "intfId=Ethernet1;addrWithMask=10.0.0.2/24"
              "intfId=Ethernet1;addrWithMask=10.0.0.1/24"
              "  IntfAddWithMaskByIntfId for Ethernet1 with count 2\n"
              "  intfId=Ethernet1;addrWithMask=10.0.0.2/24"
              "  intfId=Ethernet1;addrWithMask=10.0.0.1/24");
    EXPECT_FALSE(dump->truncated());
}

TEST(IntfAddrWithMaskByIntfId, DumpsNoMoreThanTheMaximumUnlessVerbose) {
    auto const record = intfAddrWithMaskByIntfIdFactory("Ethernet1");
    record->byIntfIdIs(keyOf("10.0.0.2/24"));
    record->byIntfIdIs(keyOf("10.0.0.1/24"));
    auto const brief = Velk::textDumpContextFactory(false, 1);
    auto const verbose = Velk::textDumpContextFactory(true, 1);

    record->dumpState(brief, 1);
    record->dumpState(verbose, 1);

    EXPECT_EQ(brief->text(),
              " IntfAddWithMaskByIntfId for Ethernet1 with count 2\n"
              " -- The following list will be truncated, use verbose option to display all 2 "
              "entries --\n"
              " intfId=Ethernet1;addrWithMask=10.0.0.2/24"
              " -- This list has been truncated, use verbose option to display all 2 entries --\n");
    EXPECT_TRUE(brief->truncated());
    EXPECT_EQ(verbose->text(),
              " IntfAddWithMaskByIntfId for Ethernet1 with count 2\n"
              " intfId=Ethernet1;addrWithMask=10.0.0.2/24"
              " intfId=Ethernet1;addrWithMask=10.0.0.1/24");
    EXPECT_FALSE(verbose->truncated());
}

}  // namespace
}  // namespace IpLib
