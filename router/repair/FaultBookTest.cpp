#include "router/repair/FaultBook.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Velk/TaskScheduler.h"
#include "Zin/Format.h"

namespace Routing {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Kind = Fault::Kind;

Fault fault(char const* addrWithMask, char const* intf, Kind kind = Kind::lostAddress) {
    return {.addr = Nimb::IpGenAddrWithMask(addrWithMask), .intf = intf, .kind = kind};
}

std::vector<std::string> texts(std::vector<Fault> const& faults) {
    std::vector<std::string> all;
    for (Fault const& found : faults) {
        all.push_back(fmt::format("{} {}", found.addr, found.intf));
    }
    return all;
}

constexpr Zin::Seconds patience = 3.0;
constexpr Zin::Seconds late = 1000.0;

// What audits find at one time after the other.
struct Fixture {
    // Returns what repairs were tried in vain for.
    std::vector<std::string> audit(Zin::Seconds now, std::vector<Fault> const& faults) {
        book.auditBegins();
        for (Fault const& found : faults) {
            book.found(found, now);
        }
        return texts(book.auditEnds());
    }
    std::vector<std::string> due(Zin::Seconds now) const { return texts(book.due(now)); }

    FaultBook book{patience};
};

Fault const eth0 = fault("10.0.0.1/24", "eth0");

TEST(FaultBook, AFaultIsDueWhenItHasStayedForLongerThanThePatience) {
    Fixture fixture;
    EXPECT_EQ(fixture.book.nextDue(), Velk::never);
    fixture.audit(10.0, {eth0});
    fixture.audit(12.0, {eth0});
    EXPECT_EQ(fixture.book.nextDue(), 13.0);
    EXPECT_THAT(fixture.due(13.0), IsEmpty());
    EXPECT_THAT(fixture.due(13.125), ElementsAre("10.0.0.1/24 eth0"));
}

TEST(FaultBook, AFaultThatAWholeAuditDoesNotFindIsForgotten) {
    Fixture fixture;
    fixture.audit(10.0, {eth0});
    fixture.audit(11.0, {});
    EXPECT_EQ(fixture.book.nextDue(), Velk::never);

    fixture.audit(12.0, {eth0});
    EXPECT_THAT(fixture.due(14.0), IsEmpty());
    EXPECT_EQ(fixture.book.nextDue(), 15.0);
}

TEST(FaultBook, AFaultThatAnAuditHasNotFoundYetStays) {
    Fixture fixture;
    fixture.audit(10.0, {eth0, fault("10.0.1.1/24", "eth0")});
    fixture.audit(11.0, {eth0, fault("10.0.1.1/24", "eth0")});
    fixture.book.auditBegins();
    fixture.book.found(fault("10.0.1.1/24", "eth0"), 14.0);
    EXPECT_THAT(fixture.due(14.0), ElementsAre("10.0.0.1/24 eth0", "10.0.1.1/24 eth0"));

    fixture.book.auditEnds();
    EXPECT_THAT(fixture.due(14.0), ElementsAre("10.0.1.1/24 eth0"));
}

TEST(FaultBook, AFaultIsNotDueBeforeAnotherAuditHasFoundItToo) {
    Fixture fixture;
    fixture.audit(10.0, {eth0});
    EXPECT_THAT(fixture.due(late), IsEmpty());
    fixture.audit(11.0, {eth0});
    EXPECT_THAT(fixture.due(late), ElementsAre("10.0.0.1/24 eth0"));
}

TEST(FaultBook, WhatAnAuditHadFoundThatWasGivenUpIsNotFoundByTheNextOne) {
    Fixture fixture;
    fixture.book.auditBegins();
    fixture.book.found(eth0, 10.0);
    fixture.audit(11.0, {});
    EXPECT_EQ(fixture.book.nextDue(), Velk::never);
}

TEST(FaultBook, WhatIsDueIsSortedByAddressAndEachHasItsOwnAge) {
    Fixture fixture;
    fixture.audit(10.0, {fault("2001:db8::1/64", "eth0"), fault("10.0.0.2/24", "eth0"),
                         fault("10.0.0.1/24", "eth1")});
    for (Zin::Seconds const now : {11.0, 11.5}) {
        fixture.audit(now, {fault("2001:db8::1/64", "eth0"), fault("10.0.0.2/24", "eth0"),
                            fault("10.0.0.1/24", "eth1"), eth0});
    }
    EXPECT_EQ(fixture.book.nextDue(), 13.0);
    EXPECT_THAT(fixture.due(13.5),
                ElementsAre("10.0.0.1/24 eth1", "10.0.0.2/24 eth0", "2001:db8::1/64 eth0"));
    EXPECT_THAT(fixture.due(14.5), ElementsAre("10.0.0.1/24 eth0", "10.0.0.1/24 eth1",
                                               "10.0.0.2/24 eth0", "2001:db8::1/64 eth0"));
}

TEST(FaultBook, TwoKindsOfFaultOfOneAddressAreTwo) {
    Fixture fixture;
    fixture.audit(10.0, {eth0, fault("10.0.0.1/24", "eth0", Kind::wrongSet)});
    fixture.audit(11.0, {eth0, fault("10.0.0.1/24", "eth0", Kind::wrongSet)});
    EXPECT_THAT(fixture.book.due(late),
                ElementsAre(eth0, fault("10.0.0.1/24", "eth0", Kind::wrongSet)));
}

TEST(FaultBook, AFaultThatIsStillFoundAfterItsRepairIsToldOnceAndNotDueAgain) {
    Fixture fixture;
    fixture.audit(10.0, {eth0});
    EXPECT_THAT(fixture.audit(14.0, {eth0}), IsEmpty());
    fixture.book.repaired(14.0);
    EXPECT_THAT(fixture.due(late), IsEmpty());
    EXPECT_EQ(fixture.book.nextDue(), Velk::never);

    EXPECT_THAT(fixture.audit(15.0, {eth0}), ElementsAre("10.0.0.1/24 eth0"));
    EXPECT_THAT(fixture.audit(16.0, {eth0}), IsEmpty());
    EXPECT_THAT(fixture.due(late), IsEmpty());
    EXPECT_EQ(fixture.book.nextDue(), Velk::never);
}

TEST(FaultBook, AFaultThatIsNotFoundAfterItsRepairIsForgotten) {
    Fixture fixture;
    fixture.audit(10.0, {eth0});
    fixture.audit(11.0, {eth0});
    fixture.book.repaired(14.0);
    EXPECT_THAT(fixture.audit(15.0, {}), IsEmpty());

    fixture.audit(20.0, {eth0});
    EXPECT_EQ(fixture.book.nextDue(), 23.0);
}

TEST(FaultBook, ARepairIsTriedForWhatIsDueAlone) {
    Fixture fixture;
    fixture.audit(10.0, {eth0});
    fixture.audit(12.0, {eth0, fault("10.0.1.1/24", "eth0")});
    fixture.audit(13.0, {eth0, fault("10.0.1.1/24", "eth0")});
    fixture.book.repaired(14.0);

    EXPECT_EQ(fixture.book.nextDue(), 15.0);
    EXPECT_THAT(fixture.due(late), ElementsAre("10.0.1.1/24 eth0"));
}

// Faults of all kinds of things, which a repair has been tried for in vain.
struct Told : Fixture {
    Told() {
        audit(10.0, all);
        audit(11.0, all);
        book.repaired(20.0);
        audit(20.0, all);
    }
    // Those that are not due again, however long they stay.
    std::vector<std::string> notDue() {
        audit(late, all);
        audit(late + 1.0, all);
        auto const due = book.due(2.0 * late);
        std::vector<Fault> rest;
        for (Fault const& each : all) {
            if (std::ranges::find(due, each) == due.end()) {
                rest.push_back(each);
            }
        }
        return texts(rest);
    }

    std::vector<Fault> const all{fault("10.0.0.1/24", "eth0"), fault("10.0.0.1/24", "eth1"),
                                 fault("10.0.0.9/32", ""), fault("2001:db8::1/64", "eth0")};
};

TEST(FaultBook, WhatWasTriedInVainIsNotDueAgain) { EXPECT_EQ(Told().notDue().size(), 4U); }

TEST(FaultBook, WhatWasTriedInVainForAnInterfaceIsTriedAgainWhenAnInputOfItChanges) {
    for (Operation const& operation :
         {Operation(IpIntfDel{"red", "eth0"}), Operation(IpIntfAdd{"red", "eth0", {}}),
          Operation(IpUnnumberedIs{"red", "eth0", "lo"}), Operation(Ip6IntfDel{"red", "eth0"}),
          Operation(Ip6IntfAdd{"red", "eth0", {}}), Operation(KernelAdd{"red", "eth0", {}}),
          Operation(KernelDel{"red", "eth0"}),
          Operation(IpSecondaryAdd{"red", "eth0", Nimb::IpAddrWithMask("10.0.9.1/24")}),
          Operation(Ip6AddrDel{"red", "eth0", Nimb::Ip6AddrWithMask("2001:db8::1/64")})}) {
        Told fixture;
        fixture.book.handleOperation(operation);
        EXPECT_THAT(fixture.notDue(), ElementsAre("10.0.0.1/24 eth1", "10.0.0.9/32 "))
            << operation.index();
    }
}

TEST(FaultBook, WhatWasTriedInVainForVirtualAddressesIsTriedAgainWhenOneChanges) {
    for (Operation const& operation :
         {Operation(VipAdd{"red", Nimb::IpAddrWithMask("10.0.0.9/24")}),
          Operation(Vip6Del{"red", Nimb::Ip6Addr("2001:db8::9")})}) {
        Told fixture;
        fixture.book.handleOperation(operation);
        EXPECT_THAT(fixture.notDue(),
                    ElementsAre("10.0.0.1/24 eth0", "10.0.0.1/24 eth1", "2001:db8::1/64 eth0"))
            << operation.index();
    }
}

TEST(FaultBook, WhatWasTriedInVainIsTriedAgainWhenTheVrfChanges) {
    for (Operation const& operation : {Operation(IpVrfAdd{"red"}), Operation(IpVrfDel{"red"}),
                                       Operation(Ip6VrfAdd{"red"}), Operation(Ip6VrfDel{"red"})}) {
        Told fixture;
        fixture.book.handleOperation(operation);
        EXPECT_THAT(fixture.notDue(), IsEmpty()) << operation.index();
    }
}

TEST(FaultBook, WhatHasNotBeenTriedYetKeepsItsAgeWhateverChanges) {
    Fixture fixture;
    fixture.audit(10.0, {eth0});
    fixture.audit(11.0, {eth0});
    fixture.book.handleOperation(
        IpSecondaryAdd{"red", "eth0", Nimb::IpAddrWithMask("10.0.0.1/24")});
    fixture.book.handleOperation(IpVrfAdd{"red"});
    fixture.book.handleRow({IpLib::IntfAddrEntryKey::makeIpKey(eth0.addr.address()), "eth1", {}});
    fixture.book.handleSet(eth0.addr.prefix());
    EXPECT_THAT(fixture.due(13.125), ElementsAre("10.0.0.1/24 eth0"));
}

// An address that waits though its way is free, and others that nobody is to touch.
struct Waiting : Fixture {
    Waiting() {
        for (Zin::Seconds const now : {10.0, 11.0}) {
            audit(now, {waits("10.0.0.1/24", "eth0"), waits("10.0.0.2/25", "eth1"),
                        waits("fe80::1/64", "eth0"), waits("fe80::1/64", "eth1")});
        }
    }
    static Fault waits(char const* addr, char const* intf) {
        return fault(addr, intf, Kind::freeAddressWaits);
    }
};

TEST(FaultBook, ThatAnAddressWaitsIsAnotherFaultWhenARowOfItHasComeOrGone) {
    Waiting fixture;
    Nimb::IpGenAddr const addr("10.0.0.1");
    fixture.book.handleRow({IpLib::IntfAddrEntryKey::makeVirtualIpKey(addr), {}, {}});
    fixture.book.handleRow(
        {IpLib::IntfAddrEntryKey::makeLlKey(Nimb::IpGenAddr("fe80::1"), "eth2"), "eth2", {}});
    EXPECT_EQ(fixture.due(late).size(), 4U);

    fixture.book.handleRow({IpLib::IntfAddrEntryKey::makeIpKey(addr), "eth7", {}});
    EXPECT_THAT(fixture.due(late),
                ElementsAre("10.0.0.2/25 eth1", "fe80::1/64 eth0", "fe80::1/64 eth1"));
}

TEST(FaultBook, ThatAnAddressWaitsIsAnotherFaultWhenItsSubnetsSetHasComeOrGone) {
    Waiting fixture;
    fixture.book.handleSet(Nimb::IpGenPrefix("10.0.0.0/8"));
    fixture.book.handleSet(Nimb::IpGenPrefix("10.0.0.0/26"));
    EXPECT_EQ(fixture.due(late).size(), 4U);

    fixture.book.handleSet(Nimb::IpGenPrefix("10.0.0.0/25"));
    EXPECT_THAT(fixture.due(late),
                ElementsAre("10.0.0.1/24 eth0", "fe80::1/64 eth0", "fe80::1/64 eth1"));
}

TEST(FaultBook, ThatALinkLocalAddressWaitsIsAnotherFaultWhenItsInterfacesHasComeOrGone) {
    Waiting fixture;
    fixture.book.handleLinkLocal("eth1");
    EXPECT_THAT(fixture.due(late),
                ElementsAre("10.0.0.1/24 eth0", "10.0.0.2/25 eth1", "fe80::1/64 eth0"));
}

TEST(FaultBook, AFaultIsSaidInFull) {
    EXPECT_EQ(eth0.toText(),
              "published address that is neither in the table nor waiting: 10.0.0.1/24 on eth0");
    EXPECT_EQ(fault("10.0.0.9/32", "", Kind::lostVirtual).toText(),
              "virtual address without its row: 10.0.0.9/32");
}

}  // namespace
}  // namespace Routing
