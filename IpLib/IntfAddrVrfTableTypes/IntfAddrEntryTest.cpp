#include "IpLib/IntfAddrVrfTableTypes/IntfAddrEntry.h"

#include <gtest/gtest.h>

namespace IpLib {
namespace {

TEST(IntfAddrEntry, HoldsAndPrintsTheContentThatItWasBuiltFrom) {
    IntfAddrEntryContent const content{
        IntfAddrEntryKey::makeLlKey(Nimb::IpGenAddr("fe80::1"), "Ethernet1"), "Ethernet1",
        Nimb::IpGenPrefix("fe80::/64")};

    auto const entry = intfAddrEntryFactory(content);

    EXPECT_EQ(entry->content(), content);
    EXPECT_EQ(entry->key(), content.key);
    EXPECT_EQ(entry->intfId(), content.intfId);
    EXPECT_EQ(entry->subnet(), content.subnet);
    EXPECT_EQ(entry->toStrep(), content.toStrep());
    EXPECT_TRUE(entry->hasNotificationActive());
}

TEST(IntfAddrEntry, TheFactoryMakesANewEntryEachTime) {
    EXPECT_NE(intfAddrEntryFactory({}), intfAddrEntryFactory({}));
}

}  // namespace
}  // namespace IpLib
