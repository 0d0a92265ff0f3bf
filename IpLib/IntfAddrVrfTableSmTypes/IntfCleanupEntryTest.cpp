#include "IpLib/IntfAddrVrfTableSmTypes/IntfCleanupEntry.h"

#include <gtest/gtest.h>

namespace IpLib::IntfAddrVrfTableImpl {
namespace {

IntfCleanupKey const key{{"Ethernet1", Nimb::AddressFamily::ipv4}};

TEST(IntfCleanupEntry, StartsUnprocessedWithItsKeyAndItsTime) {
    auto const entry = intfCleanupEntryFactory(key, 12.5);

    EXPECT_EQ(entry->key(), key);
    EXPECT_EQ(entry->intfId(), "Ethernet1");
    EXPECT_EQ(entry->af(), Nimb::AddressFamily::ipv4);
    EXPECT_EQ(entry->emplacementTime(), 12.5);
    EXPECT_FALSE(entry->processed());
    EXPECT_TRUE(entry->hasNotificationActive());
}

TEST(IntfCleanupEntry, PrintsItsFields) {
    auto const entry = intfCleanupEntryFactory(key, 12.5);
    EXPECT_EQ(entry->toStrep(), "intfId=Ethernet1;af=IPv4;emplacementTime=12.5;processed=false");

    entry->processedIs(true);

    EXPECT_TRUE(entry->processed());
    EXPECT_EQ(entry->toStrep(), "intfId=Ethernet1;af=IPv4;emplacementTime=12.5;processed=true");
    EXPECT_EQ(intfCleanupEntryFactory({}, 0.0)->toStrep(),
              "intfId=;af=;emplacementTime=0;processed=false");
}

}  // namespace
}  // namespace IpLib::IntfAddrVrfTableImpl
