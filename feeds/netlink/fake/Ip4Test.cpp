#include "feeds/netlink/fake/Ip4.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "feeds/netlink/fake/TestBench.h"

namespace Netlink::Fake {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Ip4Test : testing::Test, Bench {
    int add(char const* own, std::uint8_t scope = 0) {
        Address wanted = address(own);
        wanted.scope = scope;
        return kernel.links().addAddress(eth0, wanted);
    }
    int remove(char const* own) { return kernel.links().removeAddress(eth0, address(own)); }

    Place const eth0 = addDummy("eth0", 2);
};

TEST_F(Ip4Test, ASecondAddressOfASubnetIsSecondaryAndLast) {
    forget();
    add("10.0.0.1/24");
    add("10.0.0.2/24");
    add("10.1.0.1/24");

    EXPECT_THAT(addresses(eth0), ElementsAre("10.0.0.1/24", "10.1.0.1/24", "10.0.0.2/24"));
    EXPECT_THAT(told(), ElementsAre("NEWADDR 2 10.0.0.1/24 flags 80 label eth0",
                                    "NEWADDR 2 10.0.0.2/24 flags 81 label eth0",
                                    "NEWADDR 2 10.1.0.1/24 flags 80 label eth0"));
}

TEST_F(Ip4Test, PrimariesStandInOrderOfTheirScopes) {
    add("10.0.0.1/24", RT_SCOPE_UNIVERSE);
    add("10.1.0.1/24", RT_SCOPE_HOST);
    add("10.2.0.1/24", RT_SCOPE_LINK);
    add("10.3.0.1/24", RT_SCOPE_HOST);

    EXPECT_THAT(addresses(eth0),
                ElementsAre("10.1.0.1/24", "10.3.0.1/24", "10.2.0.1/24", "10.0.0.1/24"));
}

TEST_F(Ip4Test, TheSameAddressAndAnotherScopeAreRefused) {
    add("10.0.0.1/24");

    EXPECT_EQ(add("10.0.0.1/24"), EEXIST);
    EXPECT_EQ(add("10.0.0.2/24", RT_SCOPE_LINK), EINVAL);
    EXPECT_EQ(add("10.0.0.1/16"), 0);  // of another subnet
    EXPECT_EQ(remove("10.0.0.3/24"), EADDRNOTAVAIL);
}

TEST_F(Ip4Test, APrimaryTakesItsSecondariesWithIt) {
    add("10.0.0.1/24");
    add("10.1.0.1/24");
    add("10.0.0.2/24");
    add("10.0.0.3/24");
    forget();

    remove("10.0.0.1/24");

    EXPECT_THAT(addresses(eth0), ElementsAre("10.1.0.1/24"));
    EXPECT_THAT(told(), ElementsAre("DELADDR 2 10.0.0.2/24 flags 81 label eth0",
                                    "DELADDR 2 10.0.0.3/24 flags 81 label eth0",
                                    "DELADDR 2 10.0.0.1/24 flags 80 label eth0"));
}

TEST_F(Ip4Test, TheFirstSecondaryIsPromotedBehindTheLastPrimary) {
    kernel.settings(home).promoteSecondaries = true;
    add("10.0.0.1/24");
    add("10.1.0.1/24");
    add("10.1.0.2/24");
    add("10.0.0.2/24");
    add("10.0.0.3/24");
    forget();

    remove("10.0.0.1/24");

    EXPECT_THAT(addresses(eth0),
                ElementsAre("10.1.0.1/24", "10.0.0.2/24", "10.1.0.2/24", "10.0.0.3/24"));
    EXPECT_THAT(told(), ElementsAre("DELADDR 2 10.0.0.1/24 flags 80 label eth0",
                                    "NEWADDR 2 10.0.0.2/24 flags 80 label eth0"));
}

TEST_F(Ip4Test, ASecondaryGoesAlone) {
    kernel.settings(home).promoteSecondaries = true;
    add("10.0.0.1/24");
    add("10.0.0.2/24");
    add("10.0.0.3/24");
    forget();

    remove("10.0.0.2/24");

    EXPECT_THAT(told(), ElementsAre("DELADDR 2 10.0.0.2/24 flags 81 label eth0"));
}

TEST_F(Ip4Test, ThePeerNamesTheSubnet) {
    Address wanted = address("10.0.0.1/24");
    wanted.peer = Nimb::IpGenAddr("10.9.0.1");
    kernel.links().addAddress(eth0, wanted);
    forget();

    add("10.0.0.2/24");
    add("10.9.0.2/24");

    EXPECT_THAT(told(), ElementsAre("NEWADDR 2 10.0.0.2/24 flags 80 label eth0",
                                    "NEWADDR 2 10.9.0.2/24 flags 81 label eth0"));
    EXPECT_THAT(dump(RTM_GETADDR),
                testing::Contains("NEWADDR 2 10.0.0.1/24 peer 10.9.0.1 flags 80 label eth0"));
}

TEST_F(Ip4Test, ARenamedLinkTellsItsAddressesWithNewLabels) {
    add("10.0.0.1/24");
    add("10.0.0.2/24");
    forget();

    kernel.links().rename(eth0, "uplink");

    EXPECT_THAT(told(), ElementsAre("NEWLINK 2 uplink state 2 kind dummy",
                                    "NEWADDR 2 10.0.0.1/24 flags 80 label uplink",
                                    "NEWADDR 2 10.0.0.2/24 flags 81 label uplink:2"));
}

TEST_F(Ip4Test, LifetimesEndToTheSecondAndAreRefreshed) {
    Address wanted = address("10.0.0.1/24");
    wanted.valid = 10;
    wanted.preferred = 4;
    kernel.links().replaceAddress(eth0, wanted);
    kernel.advanceTo(3);
    kernel.links().replaceAddress(eth0, wanted);
    forget();

    kernel.advanceTo(6.99);
    EXPECT_THAT(told(), IsEmpty());
    kernel.advanceTo(7);
    EXPECT_THAT(told(),
                ElementsAre("NEWADDR 2 10.0.0.1/24 flags 20 label eth0 preferred 0 valid 6"));
    kernel.advanceTo(12.99);
    EXPECT_THAT(told(), IsEmpty());
    kernel.advanceTo(13);
    EXPECT_THAT(told(),
                ElementsAre("DELADDR 2 10.0.0.1/24 flags 20 label eth0 preferred 0 valid 0"));
}

TEST_F(Ip4Test, TheRequesterIsNamed) {
    forget();
    kernel.askAs({.port = 4711, .sequence = 8});

    add("10.0.0.1/24");

    EXPECT_THAT(told(), ElementsAre("4711/8 NEWADDR 2 10.0.0.1/24 flags 80 label eth0"));
}

}  // namespace
}  // namespace Netlink::Fake
