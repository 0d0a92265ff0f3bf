#include "feeds/netlink/Publication.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "Zin/Format.h"
#include "router/TestOperations.h"

namespace Netlink {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct PublicationTest : testing::Test {
    std::vector<std::string> taken() {
        std::vector<std::string> texts;
        for (auto const& operation : publication.take()) {
            texts.push_back(Routing::text(operation));
        }
        return texts;
    }

    static PublishedLink link(char const* name, std::vector<char const*> const& ip4 = {},
                              std::vector<char const*> const& ip6 = {}) {
        PublishedLink link{.vrf = "red", .status = {.intf = name}};
        link.status.device.deviceName = name;
        if (!ip4.empty()) {
            link.status.ip.primary = Nimb::IpAddrWithMask(ip4.front());
        }
        for (std::size_t i = 1; i < ip4.size(); ++i) {
            link.status.ip.secondary.emplace_back(ip4[i]);
        }
        for (char const* const addr : ip6) {
            link.status.ip6.push_back({Nimb::Ip6AddrWithMask(addr), false});
        }
        return link;
    }
    static PublishedLink in(char const* vrf, PublishedLink link) {
        link.vrf = vrf;
        return link;
    }
    static PublishedLink borrowing(char const* source, PublishedLink link) {
        link.status.ip.unnumberedSource = source;
        return link;
    }

    Publication publication;
    static constexpr LinkRef a{.space = 0, .ifIndex = 3};
    static constexpr LinkRef b{.space = 0, .ifIndex = 4};
};

TEST_F(PublicationTest, AVrfComesBeforeItsInterfaces) {
    publication.vrfIs("red");
    publication.set(a, link("eth0", {"10.0.0.1/24", "10.0.0.2/24"}, {"2001:db8::1/64"}));

    EXPECT_THAT(taken(), ElementsAre("TableAdd red", "IpVrfAdd red", "Ip6VrfAdd red",
                                     "KernelAdd red eth0 eth0 0 up true",
                                     "IpIntfAdd red eth0 10.0.0.1/24 from '' 10.0.0.2/24",
                                     "Ip6IntfAdd red eth0 2001:db8::1/64"));
    EXPECT_THAT(taken(), IsEmpty());
}

TEST_F(PublicationTest, WhatComesWithVeryManyAddressesBringsThemLittleByLittle) {
    PublishedLink many = link("eth0");
    for (std::uint32_t i = 1; i <= 1002; ++i) {
        many.status.ip.secondary.emplace_back(Nimb::Ip4Addr(0x0a000000 + i), 8);
        many.status.ip6.push_back(
            {Nimb::Ip6AddrWithMask(Nimb::Ip6Addr("2001:db8::" + fmt::format("{:x}", i)), 64),
             false});
    }
    publication.set(a, many);
    auto const operations = publication.take();

    ASSERT_EQ(operations.size(), 3U + 3U + 4U);
    EXPECT_EQ(std::get<Routing::IpIntfAdd>(operations[4]).addressing.secondary.size(), 1000U);
    EXPECT_EQ(std::get<Routing::Ip6IntfAdd>(operations[5]).addrs.size(), 1000U);
    EXPECT_EQ(Routing::text(operations[9]), "Ip6AddrSet red eth0 2001:db8::3ea/64");
}

TEST_F(PublicationTest, WhatIsTheSameIsNotToldAgain) {
    publication.set(a, link("eth0", {"10.0.0.1/24"}));
    taken();
    publication.set(a, link("eth0", {"10.0.0.1/24"}));
    publication.set(b, std::nullopt);

    EXPECT_THAT(taken(), IsEmpty());
}

TEST_F(PublicationTest, AnInterfaceGoesAddressByAddress) {
    publication.set(a, link("eth0", {"10.0.0.1/24", "10.0.0.2/24"}, {"2001:db8::1/64"}));
    publication.vrfIs("red");
    taken();
    publication.set(a, std::nullopt);

    EXPECT_THAT(taken(),
                ElementsAre("IpPrimaryIs red eth0 0.0.0.0/0", "IpSecondaryDel red eth0 10.0.0.2/24",
                            "Ip6AddrDel red eth0 2001:db8::1/64", "IpIntfDel red eth0",
                            "Ip6IntfDel red eth0", "KernelDel red eth0"));
}

TEST_F(PublicationTest, AVrfGoesWithItsLastInterface) {
    publication.set(a, link("eth0"));
    publication.set(b, link("eth1"));
    taken();
    publication.set(a, std::nullopt);
    EXPECT_THAT(taken(),
                ElementsAre("IpIntfDel red eth0", "Ip6IntfDel red eth0", "KernelDel red eth0"));
    publication.set(b, std::nullopt);

    EXPECT_THAT(taken(),
                ElementsAre("IpIntfDel red eth1", "Ip6IntfDel red eth1", "KernelDel red eth1",
                            "Ip6VrfDel red", "IpVrfDel red", "TableDel red"));
}

TEST_F(PublicationTest, AVrfMayBeThereWithoutInterfaces) {
    publication.vrfIs("red");
    EXPECT_THAT(taken(), ElementsAre("TableAdd red", "IpVrfAdd red", "Ip6VrfAdd red"));
    publication.vrfDel("red");
    EXPECT_THAT(taken(), ElementsAre("Ip6VrfDel red", "IpVrfDel red", "TableDel red"));
    publication.vrfIs("red");
    publication.vrfDel("red");
    EXPECT_THAT(taken(), IsEmpty());
}

TEST_F(PublicationTest, AnAddressThatMovesIsWithdrawnBeforeItComes) {
    publication.set(a, link("eth0"));
    publication.set(b, link("eth1", {"10.0.0.1/24"}, {"2001:db8::1/64"}));
    taken();
    publication.set(a, link("eth0", {"10.0.0.1/24"}, {"2001:db8::1/64"}));
    publication.set(b, link("eth1"));

    EXPECT_THAT(
        taken(),
        ElementsAre("IpPrimaryIs red eth1 0.0.0.0/0", "Ip6AddrDel red eth1 2001:db8::1/64",
                    "IpPrimaryIs red eth0 10.0.0.1/24", "Ip6AddrSet red eth0 2001:db8::1/64"));
}

TEST_F(PublicationTest, PrimaryAndSecondaryChangePlaces) {
    publication.set(a, link("eth0", {"10.0.0.1/24", "10.0.0.2/24"}));
    taken();
    publication.set(a, link("eth0", {"10.0.0.2/24", "10.0.0.1/24"}));

    EXPECT_THAT(taken(), ElementsAre("IpSecondaryDel red eth0 10.0.0.2/24",
                                     "IpPrimaryIs red eth0 10.0.0.2/24",
                                     "IpSecondaryAdd red eth0 10.0.0.1/24"));
}

TEST_F(PublicationTest, APrimaryBecomesASecondaryBehindANewOne) {
    publication.set(a, borrowing("lo", link("eth0", {"10.0.0.1/32"})));
    taken();
    publication.set(a, link("eth0", {"10.0.0.3/24", "10.0.0.1/32"}));

    EXPECT_THAT(taken(),
                ElementsAre("IpPrimaryIs red eth0 0.0.0.0/0", "IpSecondaryAdd red eth0 10.0.0.1/32",
                            "IpUnnumberedIs red eth0 from ''", "IpPrimaryIs red eth0 10.0.0.3/24"));
}

// Who waits for its subnet, and is withdrawn and added anew before, does not get it.
TEST_F(PublicationTest, WhatChangesItsRoleIsAwayForNobodyElse) {
    publication.set(a, link("eth0", {"10.1.0.2/24", "10.0.0.2/24"}));
    publication.set(b, link("eth1", {"10.1.0.1/24", "10.0.0.1/24"}));
    taken();
    publication.set(a, link("eth0", {"10.0.0.2/24"}));
    publication.set(b, link("eth1", {"10.0.0.1/24"}));

    EXPECT_THAT(
        taken(),
        ElementsAre("IpPrimaryIs red eth0 0.0.0.0/0", "IpPrimaryIs red eth1 0.0.0.0/0",
                    "IpSecondaryDel red eth0 10.0.0.2/24", "IpPrimaryIs red eth0 10.0.0.2/24",
                    "IpSecondaryDel red eth1 10.0.0.1/24", "IpPrimaryIs red eth1 10.0.0.1/24"));
}

// Who wants its subnet, and comes in the same batch, does not get it.
TEST_F(PublicationTest, WhatChangesItsRoleComesBeforeWhatIsNew) {
    publication.set(a, link("eth0"));
    publication.set(b, link("eth1", {"10.1.0.1/24", "10.0.0.1/24"}));
    taken();
    publication.set(a, link("eth0", {"10.0.0.2/24"}));
    publication.set(b, link("eth1", {"10.0.0.1/24", "10.2.0.1/24"}));

    EXPECT_THAT(taken(),
                ElementsAre("IpPrimaryIs red eth1 0.0.0.0/0", "IpSecondaryDel red eth1 10.0.0.1/24",
                            "IpPrimaryIs red eth1 10.0.0.1/24", "IpPrimaryIs red eth0 10.0.0.2/24",
                            "IpSecondaryAdd red eth1 10.2.0.1/24"));
}

TEST_F(PublicationTest, NamesThatAreSwappedGoAndCome) {
    publication.set(a, link("eth0", {"10.0.0.1/24"}));
    publication.set(b, link("eth1"));
    taken();
    publication.set(a, link("eth1", {"10.0.0.1/24"}));
    publication.set(b, link("eth0"));

    EXPECT_THAT(
        taken(),
        ElementsAre("IpPrimaryIs red eth0 0.0.0.0/0", "IpIntfDel red eth0", "Ip6IntfDel red eth0",
                    "KernelDel red eth0", "IpIntfDel red eth1", "Ip6IntfDel red eth1",
                    "KernelDel red eth1", "KernelAdd red eth1 eth1 0 up true",
                    "IpIntfAdd red eth1 10.0.0.1/24 from ''", "Ip6IntfAdd red eth1",
                    "KernelAdd red eth0 eth0 0 up true", "IpIntfAdd red eth0 0.0.0.0/0 from ''",
                    "Ip6IntfAdd red eth0"));
}

TEST_F(PublicationTest, AnInterfaceThatMovesLeavesOneVrfAndEntersTheOther) {
    publication.vrfIs("red");
    publication.set(a, link("eth0", {"10.0.0.1/24"}));
    taken();
    publication.set(a, in("blue", link("eth0", {"10.0.0.1/24"})));

    EXPECT_THAT(taken(),
                ElementsAre("IpPrimaryIs red eth0 0.0.0.0/0", "IpIntfDel red eth0",
                            "Ip6IntfDel red eth0", "KernelDel red eth0", "TableAdd blue",
                            "IpVrfAdd blue", "Ip6VrfAdd blue", "KernelAdd blue eth0 eth0 0 up true",
                            "IpIntfAdd blue eth0 10.0.0.1/24 from ''", "Ip6IntfAdd blue eth0"));
}

TEST_F(PublicationTest, ADeprecatedAddressChangesInPlace) {
    publication.set(a, link("eth0", {}, {"2001:db8::1/64"}));
    taken();
    PublishedLink old = link("eth0", {}, {"2001:db8::1/64"});
    old.status.ip6[0].deprecated = true;
    publication.set(a, old);

    EXPECT_THAT(taken(), ElementsAre("Ip6AddrSet red eth0 2001:db8::1/64 deprecated"));
}

TEST_F(PublicationTest, ADeviceThatGoesDownIsToldAgain) {
    publication.set(a, link("eth0", {"10.0.0.1/24"}));
    taken();
    PublishedLink down = link("eth0", {"10.0.0.1/24"});
    down.status.device.active = false;
    publication.set(a, down);

    EXPECT_THAT(taken(), ElementsAre("KernelAdd red eth0 eth0 0 up false"));
}

TEST_F(PublicationTest, BorrowingIsAWithdrawalAndItsEndAnAddition) {
    publication.set(a, link("eth0", {"10.0.0.1/32"}));
    taken();
    publication.set(a, borrowing("lo", link("eth0", {"10.0.0.1/32"})));
    EXPECT_THAT(taken(), ElementsAre("IpUnnumberedIs red eth0 from 'lo'"));
    publication.set(a, borrowing("d0", link("eth0", {"10.0.0.1/32"})));
    EXPECT_THAT(taken(), ElementsAre("IpUnnumberedIs red eth0 from 'd0'"));
    publication.set(a, link("eth0", {"10.0.0.1/32"}));
    EXPECT_THAT(taken(), ElementsAre("IpUnnumberedIs red eth0 from ''"));

    publication.set(a, borrowing("lo", link("eth0", {"10.0.0.2/32"})));
    EXPECT_THAT(taken(),
                ElementsAre("IpPrimaryIs red eth0 0.0.0.0/0", "IpUnnumberedIs red eth0 from 'lo'",
                            "IpPrimaryIs red eth0 10.0.0.2/32"));
    publication.set(a, link("eth0", {"10.0.0.1/24"}));
    EXPECT_THAT(taken(),
                ElementsAre("IpPrimaryIs red eth0 0.0.0.0/0", "IpUnnumberedIs red eth0 from ''",
                            "IpPrimaryIs red eth0 10.0.0.1/24"));
}

TEST_F(PublicationTest, ANamespaceGoesWithAllItsLinks) {
    publication.set({.space = 7, .ifIndex = 1}, in("blue", link("lo")));
    publication.set({.space = 8, .ifIndex = 1}, link("lo"));
    taken();
    publication.set({.space = 7, .ifIndex = 2}, in("blue", link("eth0")));
    publication.setGone(7);

    EXPECT_THAT(taken(), ElementsAre("IpIntfDel blue lo", "Ip6IntfDel blue lo", "KernelDel blue lo",
                                     "Ip6VrfDel blue", "IpVrfDel blue", "TableDel blue"));
    EXPECT_FALSE(publication.published({.space = 7, .ifIndex = 1}));
    EXPECT_TRUE(publication.published({.space = 8, .ifIndex = 1}));
}

// Made again under its name, it has not been read yet.
TEST_F(PublicationTest, WhatComesInTheSameBatchUnderTheSameNameIsNew) {
    publication.set({.space = 7, .ifIndex = 2}, link("eth0", {"10.0.0.1/24"}));
    taken();
    publication.setGone(7);
    publication.set({.space = 8, .ifIndex = 2}, link("eth0", {"10.0.0.1/24"}));

    EXPECT_THAT(
        taken(),
        ElementsAre("IpPrimaryIs red eth0 0.0.0.0/0", "IpIntfDel red eth0", "Ip6IntfDel red eth0",
                    "KernelDel red eth0", "KernelAdd red eth0 eth0 0 up true",
                    "IpIntfAdd red eth0 10.0.0.1/24 from ''", "Ip6IntfAdd red eth0"));
}

}  // namespace
}  // namespace Netlink
