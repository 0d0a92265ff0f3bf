#include "router/repair/FaultBook.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Velk/TaskScheduler.h"

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
    fixture.book.found(fault("10.0.1.1/24", "eth0"), 14.0);
    EXPECT_THAT(fixture.due(14.0), ElementsAre("10.0.0.1/24 eth0", "10.0.1.1/24 eth0"));

    fixture.book.auditEnds();
    EXPECT_THAT(fixture.due(14.0), ElementsAre("10.0.1.1/24 eth0"));
}

TEST(FaultBook, WhatIsDueIsSortedByAddressAndEachHasItsOwnAge) {
    Fixture fixture;
    fixture.audit(10.0, {fault("2001:db8::1/64", "eth0"), fault("10.0.0.2/24", "eth0"),
                         fault("10.0.0.1/24", "eth1")});
    fixture.audit(11.0, {fault("2001:db8::1/64", "eth0"), fault("10.0.0.2/24", "eth0"),
                         fault("10.0.0.1/24", "eth1"), eth0});
    EXPECT_EQ(fixture.book.nextDue(), 13.0);
    EXPECT_THAT(fixture.due(13.5),
                ElementsAre("10.0.0.1/24 eth1", "10.0.0.2/24 eth0", "2001:db8::1/64 eth0"));
    EXPECT_THAT(fixture.due(14.5), ElementsAre("10.0.0.1/24 eth0", "10.0.0.1/24 eth1",
                                               "10.0.0.2/24 eth0", "2001:db8::1/64 eth0"));
}

TEST(FaultBook, TwoKindsOfFaultOfOneAddressAreTwo) {
    Fixture fixture;
    fixture.audit(10.0, {eth0, fault("10.0.0.1/24", "eth0", Kind::wrongSet)});
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
    fixture.book.repaired(14.0);
    EXPECT_THAT(fixture.audit(15.0, {}), IsEmpty());

    fixture.audit(20.0, {eth0});
    EXPECT_EQ(fixture.book.nextDue(), 23.0);
}

TEST(FaultBook, ARepairIsTriedForWhatIsDueAlone) {
    Fixture fixture;
    fixture.audit(10.0, {eth0});
    fixture.audit(12.0, {eth0, fault("10.0.1.1/24", "eth0")});
    fixture.book.repaired(14.0);

    EXPECT_EQ(fixture.book.nextDue(), 15.0);
    EXPECT_THAT(fixture.due(late), ElementsAre("10.0.1.1/24 eth0"));
}

// Faults of all kinds of things, due at `late`.
struct Aged : Fixture {
    Aged() { audit(10.0, all); }

    std::vector<Fault> const all{fault("10.0.0.1/24", "eth0"), fault("10.0.0.1/24", "eth1"),
                                 fault("10.0.0.2/24", "eth0"), fault("10.0.1.1/24", "eth0"),
                                 fault("10.0.0.9/32", ""),     fault("2001:db8::1/64", "eth0"),
                                 fault("2001:db8::9/128", "")};
};

TEST(FaultBook, AnOperationOnAnAddressForgetsTheFaultsOfThatAddressOnItsInterface) {
    Aged fixture;
    fixture.book.handleOperation(
        IpSecondaryDel{"red", "eth0", Nimb::IpAddrWithMask("10.0.0.1/25")});
    EXPECT_THAT(fixture.due(late),
                ElementsAre("10.0.0.1/24 eth1", "10.0.0.2/24 eth0", "10.0.0.9/32 ",
                            "10.0.1.1/24 eth0", "2001:db8::1/64 eth0", "2001:db8::9/128 "));

    fixture.book.handleOperation(
        Ip6AddrSet{"red", "eth0", {.addr = Nimb::Ip6AddrWithMask("2001:db8::1/64")}});
    EXPECT_THAT(fixture.due(late),
                ElementsAre("10.0.0.1/24 eth1", "10.0.0.2/24 eth0", "10.0.0.9/32 ",
                            "10.0.1.1/24 eth0", "2001:db8::9/128 "));
}

TEST(FaultBook, AnOperationOnAnInterfaceForgetsItsFaults) {
    for (Operation const& operation :
         {Operation(IpIntfDel{"red", "eth0"}), Operation(IpIntfAdd{"red", "eth0", {}}),
          Operation(IpUnnumberedIs{"red", "eth0", "lo"}), Operation(Ip6IntfDel{"red", "eth0"}),
          Operation(Ip6IntfAdd{"red", "eth0", {}}), Operation(KernelAdd{"red", "eth0", {}}),
          Operation(KernelDel{"red", "eth0"})}) {
        Aged fixture;
        fixture.book.handleOperation(operation);
        EXPECT_THAT(fixture.due(late),
                    ElementsAre("10.0.0.1/24 eth1", "10.0.0.9/32 ", "2001:db8::9/128 "))
            << operation.index();
    }
}

TEST(FaultBook, AnOperationOnAVirtualAddressForgetsItsFaults) {
    Aged fixture;
    fixture.book.handleOperation(VipAdd{"red", Nimb::IpAddrWithMask("10.0.0.9/24")});
    fixture.book.handleOperation(VipDel{"red", Nimb::IpAddrWithMask("10.0.0.1/32")});
    EXPECT_THAT(fixture.due(late),
                ElementsAre("10.0.0.1/24 eth0", "10.0.0.1/24 eth1", "10.0.0.2/24 eth0",
                            "10.0.1.1/24 eth0", "2001:db8::1/64 eth0", "2001:db8::9/128 "));

    fixture.book.handleOperation(Vip6Del{"red", Nimb::Ip6Addr("2001:db8::9")});
    EXPECT_EQ(fixture.due(late).size(), 5U);
}

TEST(FaultBook, AnOperationOnTheVrfForgetsAllFaults) {
    for (Operation const& operation :
         {Operation(TableAdd{"red"}), Operation(TableDel{"red"}), Operation(IpVrfAdd{"red"}),
          Operation(IpVrfDel{"red"}), Operation(Ip6VrfAdd{"red"}), Operation(Ip6VrfDel{"red"}),
          Operation(ManagerStart{})}) {
        Aged fixture;
        fixture.book.handleOperation(operation);
        EXPECT_THAT(fixture.due(late), IsEmpty()) << operation.index();
    }
}

TEST(FaultBook, WhatWasTriedInVainForAnInterfaceIsTriedAgainWhenAnAddressOfItChanges) {
    Aged fixture;
    fixture.book.repaired(late);
    fixture.book.handleOperation(
        IpSecondaryAdd{"red", "eth0", Nimb::IpAddrWithMask("10.0.9.1/24")});

    EXPECT_THAT(fixture.audit(late, fixture.all),
                ElementsAre("10.0.0.1/24 eth1", "10.0.0.9/32 ", "2001:db8::9/128 "));
    EXPECT_EQ(fixture.book.nextDue(), late + patience);
    EXPECT_THAT(fixture.due(2.0 * late), ElementsAre("10.0.0.1/24 eth0", "10.0.0.2/24 eth0",
                                                     "10.0.1.1/24 eth0", "2001:db8::1/64 eth0"));
}

TEST(FaultBook, ARowThatComesOrGoesForgetsTheFaultsOfItsAddress) {
    Aged fixture;
    fixture.book.handleRow(Nimb::IpGenAddr("10.0.0.1"));
    EXPECT_THAT(fixture.due(late),
                ElementsAre("10.0.0.2/24 eth0", "10.0.0.9/32 ", "10.0.1.1/24 eth0",
                            "2001:db8::1/64 eth0", "2001:db8::9/128 "));
    fixture.book.handleRow(Nimb::IpGenAddr("2001:db8::9"));
    EXPECT_THAT(fixture.due(late), ElementsAre("10.0.0.2/24 eth0", "10.0.0.9/32 ",
                                               "10.0.1.1/24 eth0", "2001:db8::1/64 eth0"));
}

TEST(FaultBook, ASetThatComesOrGoesForgetsTheFaultsOfItsSubnet) {
    Aged fixture;
    fixture.audit(11.0, {fault("10.0.0.0/24", "eth0", Kind::emptySet),
                         fault("9.255.255.255/24", "eth0"), fault("10.0.0.255/24", "eth0"),
                         fault("10.0.1.1/24", "eth0"), fault("2001:db8::1/64", "eth0")});
    fixture.book.handleSet(Nimb::IpGenPrefix("10.0.0.0/24"));
    EXPECT_THAT(fixture.due(late),
                ElementsAre("9.255.255.255/24 eth0", "10.0.1.1/24 eth0", "2001:db8::1/64 eth0"));
    fixture.book.handleSet(Nimb::IpGenPrefix("2001:db8::/64"));
    EXPECT_THAT(fixture.due(late), ElementsAre("9.255.255.255/24 eth0", "10.0.1.1/24 eth0"));
    fixture.book.handleSet(Nimb::IpGenPrefix("0.0.0.0/0"));
    EXPECT_THAT(fixture.due(late), IsEmpty());
}

TEST(FaultBook, WhatARepairMovesDoesNotForgetWhatItWasTriedFor) {
    Fixture fixture;
    fixture.audit(10.0, {eth0});
    fixture.book.repaired(14.0);
    fixture.book.handleRow(eth0.addr.address());
    fixture.book.handleSet(eth0.addr.prefix());
    EXPECT_THAT(fixture.audit(15.0, {eth0}), ElementsAre("10.0.0.1/24 eth0"));
    fixture.book.handleRow(eth0.addr.address());
    fixture.book.handleSet(eth0.addr.prefix());
    EXPECT_THAT(fixture.audit(16.0, {eth0}), IsEmpty());
}

TEST(FaultBook, AFaultIsSaidInFull) {
    EXPECT_EQ(eth0.toText(),
              "published address that is neither in the table nor waiting: 10.0.0.1/24 on eth0");
    EXPECT_EQ(fault("10.0.0.9/32", "", Kind::lostVirtual).toText(),
              "virtual address without its row: 10.0.0.9/32");
}

}  // namespace
}  // namespace Routing
