#include "feeds/netlink/fake/Ip6.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "feeds/netlink/fake/TestBench.h"

namespace Netlink::Fake {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Ip6Test : testing::Test, Bench {
    // With a peer, both up, and carrier.
    Ip6Test() {
        kernel.links().setUp(eth0, true);
        kernel.links().setUp(kernel.link(home, "far")->place, true);
        kernel.advanceTo(1);
        forget();
    }
    void add(char const* text, std::uint32_t flags = 0) {
        Address wanted = address(text);
        wanted.flags = flags;
        EXPECT_EQ(kernel.links().addAddress(eth0, wanted), 0);
    }

    Place const eth0 = addVeth("eth0", "far");
    std::string const index = std::to_string(eth0.ifIndex);
};

TEST_F(Ip6Test, AnAddressIsTentativeUntilNobodyHasObjected) {
    add("fd00::1/64");

    EXPECT_THAT(told(), ElementsAre("NEWADDR " + index + " fd00::1/64 flags c0"));
    kernel.advanceTo(1.99);
    EXPECT_THAT(told(), IsEmpty());
    kernel.advanceTo(2);
    EXPECT_THAT(told(), ElementsAre("NEWADDR " + index + " fd00::1/64 flags 80"));
}

TEST_F(Ip6Test, ADuplicateStaysTentativeAndFailed) {
    add("fd00::1/64");
    forget();

    EXPECT_EQ(kernel.links().detectDuplicate(eth0, Nimb::IpGenAddrWithMask("fd00::1/64")), 0);
    kernel.advanceTo(10);

    EXPECT_THAT(told(), ElementsAre("NEWADDR " + index + " fd00::1/64 flags c8"));
    EXPECT_EQ(kernel.links().detectDuplicate(eth0, Nimb::IpGenAddrWithMask("fd00::1/64")),
              EADDRNOTAVAIL);
}

TEST_F(Ip6Test, AnOptimisticAddressIsToldAsSuch) {
    add("fd00::1/64", IFA_F_OPTIMISTIC);

    EXPECT_THAT(told(), ElementsAre("NEWADDR " + index + " fd00::1/64 flags c4"));
    kernel.advanceTo(2);
    EXPECT_THAT(told(), ElementsAre("NEWADDR " + index + " fd00::1/64 flags 80"));
}

TEST_F(Ip6Test, WithoutDetectionAnAddressIsToldOnceWhenItIsThere) {
    add("fd00::1/64", IFA_F_NODAD);

    EXPECT_THAT(told(), ElementsAre("NEWADDR " + index + " fd00::1/64 flags 82"));
    kernel.advanceTo(10);
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(Ip6Test, DetectionWaitsForALinkThatIsReady) {
    kernel.links().setUp(eth0, false);
    add("fd00::1/64");
    kernel.advanceTo(10);
    forget();

    kernel.links().setUp(eth0, true);
    kernel.advanceTo(10 + Links::linkWatchDelay);
    forget();

    kernel.advanceTo(11);
    EXPECT_THAT(told(), IsEmpty());
    kernel.advanceTo(11 + Links::linkWatchDelay);
    EXPECT_THAT(told(), ElementsAre("NEWADDR " + index + " fd00::1/64 flags 80"));
}

TEST_F(Ip6Test, ALinkThatGoesDownLosesItsAddressesTheNewestFirst) {
    kernel.links().addAddress(eth0, address("10.0.0.1/24"));
    add("fd00::1/64", IFA_F_NODAD);
    add("fe80::1/64", IFA_F_NODAD);
    add("fd00::2/64", IFA_F_NODAD);
    forget();

    kernel.links().setUp(eth0, false);

    EXPECT_THAT(told(), ElementsAre(testing::StartsWith("NEWLINK " + index + " eth0 "),
                                    "DELADDR " + index + " fd00::2/64 flags 82",
                                    "DELADDR " + index + " fd00::1/64 flags 82",
                                    "DELADDR " + index + " fe80::1/64 scope 253 flags 82"));
    EXPECT_THAT(addresses(eth0), ElementsAre("10.0.0.1/24"));
}

TEST_F(Ip6Test, KeptAddressesAreDetectedAnew) {
    kernel.settings(home).keepAddrOnDown = true;
    add("fd00::1/64");
    add("fe80::1/64", IFA_F_NODAD);
    kernel.advanceTo(5);
    forget();

    kernel.links().setUp(eth0, false);

    EXPECT_THAT(told(), ElementsAre(testing::StartsWith("NEWLINK"),
                                    "DELADDR " + index + " fe80::1/64 scope 253 flags 82"));
    EXPECT_THAT(dump(RTM_GETADDR),
                ElementsAre("NEWADDR " + index + " fd00::1/64 flags c0", "DONE"));
    kernel.links().setUp(eth0, true);
    kernel.advanceTo(10);
    EXPECT_THAT(told(), testing::Contains("NEWADDR " + index + " fd00::1/64 flags 80"));
}

TEST_F(Ip6Test, ALinkThatComesUpMakesItselfAnAddressAndTellsItOnceItIsSure) {
    kernel.settings(home).linkLocal = true;
    kernel.links().setUp(eth0, false);
    kernel.links().setUp(eth0, true);
    kernel.advanceTo(2);
    forget();
    EXPECT_THAT(addresses(eth0), ElementsAre(testing::StartsWith("fe80::ff:fe00:")));

    kernel.advanceTo(2.1);

    EXPECT_THAT(told(), ElementsAre(testing::MatchesRegex("NEWADDR " + index +
                                                          " fe80::.*/64 scope 253 flags 80")));
}

TEST_F(Ip6Test, AnAddressIsDeprecatedAndThenGoes) {
    Address wanted = address("fd00::1/64");
    wanted.flags = IFA_F_NODAD;
    wanted.preferred = 2;
    wanted.valid = 5;
    kernel.links().addAddress(eth0, wanted);
    forget();

    kernel.advanceTo(3);
    EXPECT_THAT(told(),
                ElementsAre("NEWADDR " + index + " fd00::1/64 flags 22 preferred 0 valid 3"));
    kernel.advanceTo(6);
    EXPECT_THAT(told(),
                ElementsAre("DELADDR " + index + " fd00::1/64 flags 22 preferred 0 valid 0"));
}

}  // namespace
}  // namespace Netlink::Fake
