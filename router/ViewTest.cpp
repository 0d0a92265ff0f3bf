#include "router/View.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Zin/Format.h"

namespace Routing {
namespace {

using IpLib::IntfAddrEntryKey;
using testing::ElementsAre;
using testing::IsEmpty;

Nimb::IpGenAddr addr(char const* text) { return Nimb::IpGenAddr(text); }

std::string text(Row const& row) {
    return fmt::format("{}/{} {}{}{}{}", row.addr, row.prefixLength(), row.intfId,
                       row.linkLocal() ? " link-local" : "", row.deprecated ? " deprecated" : "",
                       row.virtualIp ? " virtual" : "");
}

std::string text(DeferredAddr const& deferred) {
    return deferred.holder ? fmt::format("{} {} waits for {} on {}", deferred.addr, deferred.intfId,
                                         deferred.holder->addrOrSubnet, deferred.holder->intfId)
                           : fmt::format("{} {} waits", deferred.addr, deferred.intfId);
}

template <class Items>
std::vector<std::string> texts(Items const& items) {
    std::vector<std::string> all;
    for (auto const& item : items) {
        all.push_back(text(item));
    }
    return all;
}

// A table filled by hand, as its machine would.
struct Fixture {
    Zin::Ptr<IpLib::IntfAddrEntry> row(IntfAddrEntryKey const& key, char const* intf,
                                       Nimb::IpGenPrefix const& subnet) {
        auto entry = table->intfAddrEntryIs({key, intf, subnet});
        table->intfAddrEntryFromAddrIs(entry);
        return entry;
    }
    void ip(char const* addrWithMask, char const* intf, bool deprecated = false) {
        Nimb::IpGenAddrWithMask const value(addrWithMask);
        auto const entry = row(IntfAddrEntryKey::makeIpKey(value.address()), intf, value.prefix());
        if (!table->intfAddrEntrySetFromSubnetHas(value.prefix())) {
            table->intfAddrEntrySetFromSubnetIs(
                IpLib::intfAddrEntrySetFactory(intf, value.prefix()));
        }
        auto const set = table->intfAddrEntrySetFromSubnet(value.prefix());
        deprecated ? set->deprecatedIntfAddrEntryIs(entry) : set->intfAddrEntryIs(entry);
    }
    void linkLocal(char const* addrWithMask, char const* intf) {
        Nimb::IpGenAddrWithMask const value(addrWithMask);
        table->llIntfAddrEntryFromIntfIdIs(
            row(IntfAddrEntryKey::makeLlKey(value.address(), intf), intf, value.prefix()));
    }
    void virtualIp(char const* address) {
        row(IntfAddrEntryKey::makeVirtualIpKey(addr(address)), "", {});
    }
    void defer(char const* addrWithMask, char const* intf) {
        backlog->backlogIs({intf, Nimb::IpGenAddrWithMask(addrWithMask)});
    }
    std::vector<std::string> deferred() const { return texts(deferredAddrs(*table, *backlog)); }

    Zin::Ptr<IpLib::IntfAddrVrfTable> table = IpLib::intfAddrVrfTableFactory();
    Zin::Ptr<IpLib::IntfAddrVrfTableImpl::DeferredIntfAddBacklog> backlog =
        IpLib::IntfAddrVrfTableImpl::deferredIntfAddBacklogFactory();
};

TEST(View, TheConnectedSubnetOfAnAddressIsTheLongest) {
    Fixture fixture;
    fixture.ip("10.0.0.1/8", "eth0");
    fixture.ip("10.1.0.1/16", "eth1");
    fixture.ip("10.1.2.3/32", "eth2");
    fixture.ip("2001:db8::1/64", "eth3");
    auto const connected = [&fixture](char const* text) {
        auto const set = connectedSubnet(*fixture.table, addr(text));
        return set ? fmt::format("{} {}", set->subnet(), set->intfId()) : "none";
    };

    EXPECT_EQ(connected("10.1.2.3"), "10.1.2.3/32 eth2");
    EXPECT_EQ(connected("10.1.2.4"), "10.1.0.0/16 eth1");
    EXPECT_EQ(connected("10.2.0.1"), "10.0.0.0/8 eth0");
    EXPECT_EQ(connected("11.0.0.1"), "none");
    EXPECT_EQ(connected("2001:db8::2"), "2001:db8::/64 eth3");
    EXPECT_EQ(connected("2001:db8:1::2"), "none");
    fixture.ip("0.0.0.1/0", "eth4");
    EXPECT_EQ(connected("11.0.0.1"), "0.0.0.0/0 eth4");
}

TEST(View, RowsAreSortedByFamilyThenAddressThenInterface) {
    Fixture fixture;
    fixture.linkLocal("fe80::1/64", "eth1");
    fixture.ip("2001:db8::2/64", "eth0", true);
    fixture.linkLocal("fe80::1/64", "eth0");
    fixture.ip("10.0.0.10/24", "eth0");
    fixture.virtualIp("10.0.0.9");
    fixture.ip("10.0.0.9/24", "eth0");
    fixture.ip("2001:db8::1/64", "eth0");

    EXPECT_THAT(texts(rows(*fixture.table)),
                ElementsAre("10.0.0.9/24 eth0", "10.0.0.9/32  virtual", "10.0.0.10/24 eth0",
                            "2001:db8::1/64 eth0", "2001:db8::2/64 eth0 deprecated",
                            "fe80::1/64 eth0 link-local", "fe80::1/64 eth1 link-local"));
}

TEST(View, AnAddressIsOwnedByItsOrdinaryAndItsVirtualRow) {
    Fixture fixture;
    fixture.ip("10.0.0.9/24", "eth0");
    fixture.virtualIp("10.0.0.9");
    fixture.virtualIp("2001:db8::9");

    EXPECT_THAT(texts(ownersOf(*fixture.table, addr("10.0.0.9"))),
                ElementsAre("10.0.0.9/24 eth0", "10.0.0.9/32  virtual"));
    EXPECT_THAT(texts(ownersOf(*fixture.table, addr("2001:db8::9"))),
                ElementsAre("2001:db8::9/128  virtual"));
    EXPECT_THAT(ownersOf(*fixture.table, addr("10.0.0.1")), IsEmpty());
}

TEST(View, ALinkLocalAddressIsOwnedByEveryInterfaceThatHasIt) {
    Fixture fixture;
    fixture.linkLocal("fe80::1/64", "eth1");
    fixture.linkLocal("fe80::1/64", "eth0");
    fixture.linkLocal("fe80::2/64", "eth2");

    EXPECT_THAT(texts(ownersOf(*fixture.table, addr("fe80::1"))),
                ElementsAre("fe80::1/64 eth0 link-local", "fe80::1/64 eth1 link-local"));
}

TEST(View, ADeferredAddressWaitsForTheRowThatHasItOrElseForTheSubnetsOwner) {
    Fixture fixture;
    fixture.ip("10.0.0.1/24", "eth0");
    fixture.ip("2001:db8::1/64", "eth0");
    fixture.defer("2001:db8::2/64", "eth1");
    fixture.defer("10.0.0.2/24", "eth1");
    fixture.defer("10.0.0.1/24", "eth1");

    EXPECT_THAT(fixture.deferred(),
                ElementsAre("10.0.0.1/24 eth1 waits for 10.0.0.1/24 on eth0",
                            "10.0.0.2/24 eth1 waits for 10.0.0.0/24 on eth0",
                            "2001:db8::2/64 eth1 waits for 2001:db8::/64 on eth0"));
}

TEST(View, AnotherPrefixLengthOfAnAddressWaitsForItsOwnInterface) {
    Fixture fixture;
    fixture.ip("10.0.0.1/24", "eth0");
    fixture.defer("10.0.0.1/16", "eth0");

    EXPECT_THAT(fixture.deferred(), ElementsAre("10.0.0.1/16 eth0 waits for 10.0.0.1/24 on eth0"));
}

TEST(View, ALinkLocalAddressWaitsForTheOneThatItsInterfaceHas) {
    Fixture fixture;
    fixture.linkLocal("fe80::1/64", "eth0");
    fixture.linkLocal("fe80::2/64", "eth1");
    fixture.defer("fe80::2/64", "eth0");

    EXPECT_THAT(fixture.deferred(), ElementsAre("fe80::2/64 eth0 waits for fe80::1/64 on eth0"));
}

TEST(View, AnAddressWhoseWayIsFreeWaitsForTheNextTryAlone) {
    Fixture fixture;
    fixture.defer("10.0.0.1/24", "eth1");
    fixture.defer("fe80::1/64", "eth1");

    EXPECT_THAT(fixture.deferred(), ElementsAre("10.0.0.1/24 eth1 waits", "fe80::1/64 eth1 waits"));
}

}  // namespace
}  // namespace Routing
