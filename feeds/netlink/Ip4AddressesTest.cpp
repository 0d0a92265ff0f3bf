#include "feeds/netlink/Ip4Addresses.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/rtnetlink.h>

#include <string>

#include "feeds/netlink/TestAddresses.h"

namespace Netlink {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Those that are secondary in parentheses.
std::vector<std::string> order(Ip4Addresses const& addresses) {
    std::vector<std::string> texts;
    for (Address const& address : addresses.list()) {
        auto const text = address.local.toStrep();
        texts.push_back(address.secondary ? "(" + text + ")" : text);
    }
    return texts;
}

TEST(Ip4Addresses, PrimariesComeBeforeSecondariesInTheOrderInWhichTheyCame) {
    Ip4Addresses addresses;
    addresses.set(ip4Address("10.0.0.1/24"));
    addresses.set(secondary("10.0.0.2/24"));
    addresses.set(ip4Address("10.1.0.1/24"));
    addresses.set(secondary("10.1.0.2/24"));

    EXPECT_THAT(order(addresses), ElementsAre("10.0.0.1", "10.1.0.1", "(10.0.0.2)", "(10.1.0.2)"));
}

TEST(Ip4Addresses, APrimaryStandsBehindThoseOfItsScopeAndOfNarrowerOnes) {
    Ip4Addresses addresses;
    addresses.set(scoped("10.0.0.1/24", RT_SCOPE_UNIVERSE));
    addresses.set(scoped("10.1.0.1/24", RT_SCOPE_LINK));
    addresses.set(scoped("10.2.0.1/24", RT_SCOPE_HOST));
    addresses.set(scoped("10.3.0.1/24", RT_SCOPE_LINK));
    addresses.set(scoped("10.4.0.1/24", RT_SCOPE_UNIVERSE));

    EXPECT_THAT(order(addresses),
                ElementsAre("10.2.0.1", "10.1.0.1", "10.3.0.1", "10.0.0.1", "10.4.0.1"));
}

TEST(Ip4Addresses, OneThatIsThereKeepsItsPlace) {
    Ip4Addresses addresses;
    addresses.set(ip4Address("10.0.0.1/24"));
    addresses.set(ip4Address("10.1.0.1/24"));

    EXPECT_FALSE(addresses.set(ip4Address("10.0.0.1/24")));
    EXPECT_TRUE(addresses.set(secondary("10.0.0.1/24")));
    EXPECT_THAT(order(addresses), ElementsAre("(10.0.0.1)", "10.1.0.1"));
}

TEST(Ip4Addresses, LengthAndPeerTellAddressesApart) {
    Ip4Addresses addresses;
    EXPECT_TRUE(addresses.set(ip4Address("10.0.0.1/24")));
    EXPECT_TRUE(addresses.set(ip4Address("10.0.0.1/25")));
    EXPECT_TRUE(addresses.set(withPeer("10.0.0.1", "10.9.0.1/32")));
    EXPECT_TRUE(addresses.set(withPeer("10.0.0.1", "10.9.0.2/32")));
    EXPECT_EQ(addresses.list().size(), 4U);

    EXPECT_TRUE(addresses.remove(ip4Address("10.0.0.1/25")));
    EXPECT_FALSE(addresses.remove(ip4Address("10.0.0.1/25")));
    EXPECT_EQ(addresses.list().size(), 3U);
}

// The secondaries' deletion is told before.
TEST(Ip4Addresses, WithoutPromotionNothingMovesAsAPrimaryGoes) {
    Ip4Addresses addresses;
    addresses.set(ip4Address("10.0.0.1/24"));
    addresses.set(ip4Address("10.1.0.1/24"));
    addresses.set(secondary("10.1.0.2/24"));
    addresses.remove(ip4Address("10.0.0.1/24"));

    EXPECT_THAT(order(addresses), ElementsAre("10.1.0.1", "(10.1.0.2)"));
}

TEST(Ip4Addresses, ThePromotedSecondaryGoesBehindLaterPrimaries) {
    Ip4Addresses addresses;
    addresses.set(ip4Address("10.0.0.1/24"));
    addresses.set(ip4Address("10.1.0.1/24"));
    addresses.set(secondary("10.1.0.2/24"));
    addresses.set(secondary("10.0.0.2/24"));
    addresses.set(secondary("10.0.0.3/24"));

    addresses.remove(ip4Address("10.0.0.1/24"));
    EXPECT_THAT(order(addresses),
                ElementsAre("10.1.0.1", "(10.0.0.2)", "(10.1.0.2)", "(10.0.0.3)"));
    addresses.set(ip4Address("10.0.0.2/24"));
    EXPECT_THAT(order(addresses), ElementsAre("10.1.0.1", "10.0.0.2", "(10.1.0.2)", "(10.0.0.3)"));
}

TEST(Ip4Addresses, ThePromotedSecondaryTakesThePlaceOfThePrimaryWhereNoneIsLater) {
    Ip4Addresses addresses;
    addresses.set(ip4Address("10.1.0.1/24"));
    addresses.set(ip4Address("10.0.0.1/24"));
    addresses.set(secondary("10.1.0.2/24"));
    addresses.set(secondary("10.0.0.2/24"));

    addresses.remove(ip4Address("10.0.0.1/24"));
    EXPECT_THAT(order(addresses), ElementsAre("10.1.0.1", "(10.0.0.2)", "(10.1.0.2)"));
}

// It looks for those of the scope of the one that goes, or narrower.
TEST(Ip4Addresses, ThePromotedSecondaryStaysBeforeLaterPrimariesOfAWiderScope) {
    Ip4Addresses addresses;
    addresses.set(scoped("10.1.0.1/24", RT_SCOPE_LINK));
    Address inLink = scoped("10.1.0.2/24", RT_SCOPE_LINK);
    inLink.secondary = true;
    addresses.set(ip4Address("10.0.0.1/24"));
    addresses.set(secondary("10.0.0.2/24"));
    addresses.set(inLink);

    addresses.remove(scoped("10.1.0.1/24", RT_SCOPE_LINK));
    EXPECT_THAT(order(addresses), ElementsAre("(10.1.0.2)", "10.0.0.1", "(10.0.0.2)"));
}

TEST(Ip4Addresses, ADumpSaysTheOrder) {
    Ip4Addresses addresses;
    addresses.set(ip4Address("10.0.0.1/24"));
    addresses.set(ip4Address("10.1.0.1/24"));
    std::vector const same = addresses.list();
    std::vector const other{same[1], same[0]};

    EXPECT_FALSE(addresses.replace(same));
    EXPECT_TRUE(addresses.replace(other));
    EXPECT_THAT(order(addresses), ElementsAre("10.1.0.1", "10.0.0.1"));
    EXPECT_TRUE(addresses.replace({}));
    EXPECT_THAT(order(addresses), IsEmpty());
}

}  // namespace
}  // namespace Netlink
