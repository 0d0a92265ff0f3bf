#include "IpLib/IntfAddrVrfTableTypes/IntfAddrVrfTable.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

#include "IpLib/IntfAddrVrfTableTestKit/TableRecorder.h"
#include "IpLib/IntfAddrVrfTableTypes/TestValues.h"
#include "Zin/Format.h"

namespace IpLib {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Property;
using ::testing::Throws;
using ::testing::UnorderedElementsAre;

using Content = IntfAddrEntryContent;
using Key = IntfAddrEntryKey;
using Nimb::AddressFamily;
using RowPtr = IntfAddrVrfTable::RowPtr;
using Set = IntfAddrVrfTable::SetPtr;

Content ipContent(char const* addrWithMask, char const* intfId) {
    Nimb::IpGenAddrWithMask const parsed{std::string_view(addrWithMask)};
    return {Key::makeIpKey(parsed.address()), intfId, parsed.prefix()};
}
Content llContent(char const* addrWithMask, char const* intfId) {
    Nimb::IpGenAddrWithMask const parsed{std::string_view(addrWithMask)};
    return {Key::makeLlKey(parsed.address(), intfId), intfId, parsed.prefix()};
}

Content const first = ipContent("10.0.0.1/24", "Ethernet1");
Content const second = ipContent("10.0.1.1/24", "Ethernet2");

template <class... Args>
std::string event(char const* attribute, Args const&... args) {
    std::string text = attribute;
    ((text += fmt::format(" {}", args)), ...);
    return text;
}

auto refusesNull(char const* attribute) {
    return Throws<Zin::NullArgumentError>(Property(&Zin::NullArgumentError::attribute, attribute));
}

class IntfAddrVrfTableTest : public ::testing::Test {
public:
protected:
    Zin::Ptr<IntfAddrVrfTable> table_ = intfAddrVrfTableFactory();
    TestKit::Events events_;
    TestKit::Recorder<IntfAddrVrfTable> recorder_{table_, events_};
};

TEST_F(IntfAddrVrfTableTest, StartsEmptyAndWithoutInputs) {
    EXPECT_TRUE(table_->intfAddrEntry().empty());
    EXPECT_TRUE(table_->intfAddrEntryFromAddr().empty());
    EXPECT_TRUE(table_->intfAddrEntrySetFromSubnet().empty());
    EXPECT_TRUE(table_->llIntfAddrEntryFromIntfId().empty());
    EXPECT_EQ(table_->vrfIpIntfStatus(), nullptr);
    EXPECT_EQ(table_->vrfIp6IntfStatus(), nullptr);
}

TEST_F(IntfAddrVrfTableTest, AChangeOfAnInputIsToldOnceAndNoneIsNotTold) {
    auto const ipStatus = Ip::vrfIpIntfStatusFactory();
    auto const ip6Status = Ip6::vrfIp6IntfStatusFactory();

    table_->vrfIpIntfStatusIs(ipStatus);
    table_->vrfIpIntfStatusIs(ipStatus);
    table_->vrfIp6IntfStatusIs(ip6Status);
    table_->vrfIp6IntfStatusIs(ip6Status);

    EXPECT_EQ(table_->vrfIpIntfStatus(), ipStatus);
    EXPECT_EQ(table_->vrfIp6IntfStatus(), ip6Status);
    EXPECT_THAT(events_, ElementsAre(event("vrfIpIntfStatus", ipStatus),
                                     event("vrfIp6IntfStatus", ip6Status)));

    events_.clear();
    table_->vrfIpIntfStatusIs(nullptr);
    table_->vrfIp6IntfStatusIs(nullptr);

    EXPECT_EQ(table_->vrfIpIntfStatus(), nullptr);
    EXPECT_EQ(table_->vrfIp6IntfStatus(), nullptr);
    EXPECT_THAT(events_, ElementsAre("vrfIpIntfStatus null", "vrfIp6IntfStatus null"));
}

TEST_F(IntfAddrVrfTableTest, ARowIsMadeOnceForItsContent) {
    auto const row = table_->intfAddrEntryIs(first);
    auto const again = table_->intfAddrEntryIs(first);

    EXPECT_EQ(row, again);
    EXPECT_EQ(row->content(), first);
    EXPECT_TRUE(row->hasNotificationActive());
    EXPECT_EQ(table_->intfAddrEntry(first), row);
    EXPECT_TRUE(table_->intfAddrEntryHas(first));
    EXPECT_EQ(table_->intfAddrEntry().size(), 1U);
    EXPECT_THAT(events_, ElementsAre(event("intfAddrEntry", first, "present")));
}

TEST_F(IntfAddrVrfTableTest, OneKeyWithTwoContentsIsTwoRows) {
    Content other = first;
    other.intfId = "Ethernet2";

    EXPECT_NE(table_->intfAddrEntryIs(first), table_->intfAddrEntryIs(other));
    EXPECT_EQ(table_->intfAddrEntry().size(), 2U);
}

TEST_F(IntfAddrVrfTableTest, MakingARowLeavesTheIndexesAlone) {
    table_->intfAddrEntryIs(llContent("fe80::1/64", "Ethernet1"));
    table_->intfAddrEntryIs(first);

    EXPECT_TRUE(table_->intfAddrEntryFromAddr().empty());
    EXPECT_TRUE(table_->intfAddrEntrySetFromSubnet().empty());
    EXPECT_TRUE(table_->llIntfAddrEntryFromIntfId().empty());
}

TEST_F(IntfAddrVrfTableTest, RemovingARowReturnsItAndLeavesTheIndexesAlone) {
    auto const row = table_->intfAddrEntryIs(first);
    table_->intfAddrEntryFromAddrIs(row);
    events_.clear();

    EXPECT_EQ(table_->intfAddrEntryDel(second), nullptr);
    EXPECT_EQ(table_->intfAddrEntryDel(first), row);
    EXPECT_EQ(table_->intfAddrEntryDel(first), nullptr);

    EXPECT_FALSE(table_->intfAddrEntryHas(first));
    EXPECT_EQ(table_->intfAddrEntryFromAddr(first.key), row);
    EXPECT_THAT(events_, ElementsAre(event("intfAddrEntry", first, "absent")));
}

TEST_F(IntfAddrVrfTableTest, ARowStandsInTheAddressIndexUnderItsOwnKey) {
    RowPtr const row = intfAddrEntryFactory(first);

    table_->intfAddrEntryFromAddrIs(row);

    EXPECT_EQ(table_->intfAddrEntryFromAddr(first.key), row);
    EXPECT_TRUE(table_->intfAddrEntry().empty());
    EXPECT_TRUE(table_->intfAddrEntrySetFromSubnet().empty());
    EXPECT_TRUE(table_->llIntfAddrEntryFromIntfId().empty());
    EXPECT_THAT(events_, ElementsAre(event("intfAddrEntryFromAddr", first.key, "present")));
}

TEST_F(IntfAddrVrfTableTest, ASecondRowOfTheSameKeyReplacesTheFirstInTheAddressIndex) {
    RowPtr const former = intfAddrEntryFactory(first);
    RowPtr const row = intfAddrEntryFactory({first.key, "Ethernet2", first.subnet});
    table_->intfAddrEntryFromAddrIs(former);
    events_.clear();

    table_->intfAddrEntryFromAddrIs(row);

    EXPECT_EQ(table_->intfAddrEntryFromAddr(first.key), row);
    EXPECT_EQ(table_->intfAddrEntryFromAddr().size(), 1U);
    EXPECT_EQ(former->referenceCount(), 1U);
    EXPECT_THAT(events_, ElementsAre(event("intfAddrEntryFromAddr", first.key, "present")));
}

TEST_F(IntfAddrVrfTableTest, RemovingFromTheAddressIndexNeedsTheVeryKey) {
    RowPtr const row = intfAddrEntryFactory(first);
    table_->intfAddrEntryFromAddrIs(row);
    events_.clear();

    EXPECT_EQ(table_->intfAddrEntryFromAddrDel(Key::makeVirtualIpKey(first.key.addr)), nullptr);
    EXPECT_EQ(table_->intfAddrEntryFromAddrDel(Key::makeLlKey(first.key.addr, "Ethernet1")),
              nullptr);
    EXPECT_THAT(events_, IsEmpty());
    EXPECT_EQ(table_->intfAddrEntryFromAddrDel(first.key), row);

    EXPECT_FALSE(table_->intfAddrEntryFromAddrHas(first.key));
    EXPECT_THAT(events_, ElementsAre(event("intfAddrEntryFromAddr", first.key, "absent")));
}

TEST_F(IntfAddrVrfTableTest, ASetStandsUnderItsSubnetAndIsReplacedByAnother) {
    Set const former = intfAddrEntrySetFactory("Ethernet1", first.subnet);
    Set const set = intfAddrEntrySetFactory("Ethernet2", first.subnet);
    table_->intfAddrEntrySetFromSubnetIs(former);
    table_->intfAddrEntrySetFromSubnetIs(set);

    EXPECT_EQ(table_->intfAddrEntrySetFromSubnet(first.subnet), set);
    EXPECT_EQ(table_->intfAddrEntrySetFromSubnet().size(), 1U);
    EXPECT_EQ(former->referenceCount(), 1U);
    EXPECT_TRUE(table_->intfAddrEntry().empty());
    EXPECT_TRUE(table_->intfAddrEntryFromAddr().empty());
    EXPECT_THAT(events_, ElementsAre(event("intfAddrEntrySetFromSubnet", first.subnet, "present"),
                                     event("intfAddrEntrySetFromSubnet", first.subnet, "present")));
}

TEST_F(IntfAddrVrfTableTest, RemovingASetReturnsItWithItsRows) {
    Set const set = intfAddrEntrySetFactory("Ethernet1", first.subnet);
    set->intfAddrEntryIs(intfAddrEntryFactory(first));
    table_->intfAddrEntrySetFromSubnetIs(set);
    events_.clear();

    EXPECT_EQ(table_->intfAddrEntrySetFromSubnetDel(Nimb::IpGenPrefix("10.0.0.0/25")), nullptr);
    EXPECT_THAT(events_, IsEmpty());
    EXPECT_EQ(table_->intfAddrEntrySetFromSubnetDel(first.subnet), set);

    EXPECT_FALSE(table_->intfAddrEntrySetFromSubnetHas(first.subnet));
    EXPECT_EQ(set->intfAddrEntry().size(), 1U);
    EXPECT_THAT(events_, ElementsAre(event("intfAddrEntrySetFromSubnet", first.subnet, "absent")));
}

TEST_F(IntfAddrVrfTableTest, AnInterfaceHasOneLinkLocalRowTheLatestOne) {
    RowPtr const former = intfAddrEntryFactory(llContent("fe80::1/64", "Ethernet1"));
    RowPtr const row = intfAddrEntryFactory(llContent("fe80::2/64", "Ethernet1"));
    table_->llIntfAddrEntryFromIntfIdIs(former);
    table_->llIntfAddrEntryFromIntfIdIs(row);

    EXPECT_EQ(table_->llIntfAddrEntryFromIntfId("Ethernet1"), row);
    EXPECT_EQ(table_->llIntfAddrEntryFromIntfId().size(), 1U);
    EXPECT_EQ(former->referenceCount(), 1U);
    EXPECT_THAT(events_, ElementsAre("llIntfAddrEntryFromIntfId Ethernet1 present",
                                     "llIntfAddrEntryFromIntfId Ethernet1 present"));

    events_.clear();
    EXPECT_EQ(table_->llIntfAddrEntryFromIntfIdDel("Ethernet2"), nullptr);
    EXPECT_THAT(events_, IsEmpty());
    EXPECT_EQ(table_->llIntfAddrEntryFromIntfIdDel("Ethernet1"), row);

    EXPECT_FALSE(table_->llIntfAddrEntryFromIntfIdHas("Ethernet1"));
    EXPECT_THAT(events_, ElementsAre("llIntfAddrEntryFromIntfId Ethernet1 absent"));
}

TEST_F(IntfAddrVrfTableTest, NullIsRefusedByEveryIndexAndChangesNothing) {
    EXPECT_THAT([this] { table_->intfAddrEntryFromAddrIs(nullptr); },
                refusesNull("intfAddrEntryFromAddr"));
    EXPECT_THAT([this] { table_->intfAddrEntrySetFromSubnetIs(nullptr); },
                refusesNull("intfAddrEntrySetFromSubnet"));
    EXPECT_THAT([this] { table_->llIntfAddrEntryFromIntfIdIs(nullptr); },
                refusesNull("llIntfAddrEntryFromIntfId"));

    EXPECT_TRUE(table_->intfAddrEntryFromAddr().empty());
    EXPECT_TRUE(table_->intfAddrEntrySetFromSubnet().empty());
    EXPECT_TRUE(table_->llIntfAddrEntryFromIntfId().empty());
    EXPECT_THAT(events_, IsEmpty());
}

// A table with two members in each collection.
void fill(IntfAddrVrfTable& table) {
    for (Content const& content : {first, second}) {
        auto const row = table.intfAddrEntryIs(content);
        table.intfAddrEntryFromAddrIs(row);
        table.intfAddrEntrySetFromSubnetIs(intfAddrEntrySetFactory(content.intfId, content.subnet));
        table.llIntfAddrEntryFromIntfIdIs(row);
    }
}

void delAll(IntfAddrVrfTable& table) {
    table.intfAddrEntryDelAll();
    table.intfAddrEntryFromAddrDelAll();
    table.intfAddrEntrySetFromSubnetDelAll();
    table.llIntfAddrEntryFromIntfIdDelAll();
}

TEST_F(IntfAddrVrfTableTest, RemovingAllTellsEachKeyOfAnObservedTable) {
    fill(*table_);
    events_.clear();

    delAll(*table_);

    EXPECT_TRUE(table_->intfAddrEntry().empty());
    EXPECT_TRUE(table_->intfAddrEntryFromAddr().empty());
    EXPECT_TRUE(table_->intfAddrEntrySetFromSubnet().empty());
    EXPECT_TRUE(table_->llIntfAddrEntryFromIntfId().empty());
    EXPECT_THAT(events_,
                UnorderedElementsAre(event("intfAddrEntry", first, "absent"),
                                     event("intfAddrEntry", second, "absent"),
                                     event("intfAddrEntryFromAddr", first.key, "absent"),
                                     event("intfAddrEntryFromAddr", second.key, "absent"),
                                     event("intfAddrEntrySetFromSubnet", first.subnet, "absent"),
                                     event("intfAddrEntrySetFromSubnet", second.subnet, "absent"),
                                     event("llIntfAddrEntryFromIntfId", first.intfId, "absent"),
                                     event("llIntfAddrEntryFromIntfId", second.intfId, "absent")));
}

TEST_F(IntfAddrVrfTableTest, RemovingAllOfOneCollectionLeavesTheOthersAlone) {
    fill(*table_);

    table_->intfAddrEntryFromAddrDelAll();

    EXPECT_TRUE(table_->intfAddrEntryFromAddr().empty());
    EXPECT_EQ(table_->intfAddrEntry().size(), 2U);
    EXPECT_EQ(table_->intfAddrEntrySetFromSubnet().size(), 2U);
    EXPECT_EQ(table_->llIntfAddrEntryFromIntfId().size(), 2U);
}

TEST_F(IntfAddrVrfTableTest, RemovingAllEmptiesAnUnobservedTable) {
    fill(*table_);
    RowPtr const row = table_->intfAddrEntry(first);
    recorder_.notifierIs(nullptr);

    delAll(*table_);

    EXPECT_TRUE(table_->intfAddrEntry().empty());
    EXPECT_TRUE(table_->intfAddrEntryFromAddr().empty());
    EXPECT_TRUE(table_->intfAddrEntrySetFromSubnet().empty());
    EXPECT_TRUE(table_->llIntfAddrEntryFromIntfId().empty());
    EXPECT_THAT(table_->intfAddrEntryKeysOf({"Ethernet1", AddressFamily::ipv4}), IsEmpty());
    EXPECT_THAT(table_->subnetsOf({"Ethernet1", AddressFamily::ipv4}), IsEmpty());
    EXPECT_EQ(row->referenceCount(), 1U);
}

TEST_F(IntfAddrVrfTableTest, ARowOutlivesTheTableForThoseWhoHoldIt) {
    fill(*table_);
    RowPtr const row = table_->intfAddrEntry(first);
    recorder_.notifierIs(nullptr);

    table_ = nullptr;

    EXPECT_EQ(row->referenceCount(), 1U);
    EXPECT_EQ(row->content(), first);
}

TEST_F(IntfAddrVrfTableTest, RetiringTheTableRemovesItsRowsAndTellsEachOfThem) {
    fill(*table_);
    events_.clear();

    table_->retire();

    EXPECT_TRUE(table_->intfAddrEntry().empty());
    EXPECT_THAT(events_, UnorderedElementsAre(event("intfAddrEntry", first, "absent"),
                                              event("intfAddrEntry", second, "absent")));
}

class LowestV6IntfAddrEntry : public ::testing::Test {
public:
protected:
    void addrIs(char const* addrWithMask, bool deprecated = false) {
        status_->addrIs(Nimb::Ip6AddrWithMask(std::string_view(addrWithMask)), {deprecated});
    }
    RowPtr admit(char const* addrWithMask) {
        RowPtr const row = table_->intfAddrEntryIs(ipContent(addrWithMask, "Ethernet1"));
        table_->intfAddrEntryFromAddrIs(row);
        return row;
    }
    RowPtr lowest(char const* intfId = "Ethernet1") const {
        return table_->lowestV6IntfAddrEntry(intfId);
    }
    void bind() {
        auto const vrfStatus = Ip6::vrfIp6IntfStatusFactory();
        vrfStatus->intfStatusIs(status_);
        table_->vrfIp6IntfStatusIs(vrfStatus);
    }

    Zin::Ptr<IntfAddrVrfTable> const table_ = intfAddrVrfTableFactory();
    Zin::Ptr<Ip6::IntfStatus> const status_ = Ip6::intfStatusFactory("Ethernet1");
};

TEST_F(LowestV6IntfAddrEntry, IsNullWithoutAnyIpv6Status) {
    addrIs("2001:db8::1/64");
    admit("2001:db8::1/64");

    EXPECT_EQ(lowest(), nullptr);
    bind();
    EXPECT_NE(lowest(), nullptr);
    table_->vrfIp6IntfStatusIs(nullptr);
    EXPECT_EQ(lowest(), nullptr);
}

TEST_F(LowestV6IntfAddrEntry, IsNullForAnInterfaceThatHasNoStatus) {
    bind();
    addrIs("2001:db8::1/64");
    admit("2001:db8::1/64");

    EXPECT_EQ(lowest("Ethernet2"), nullptr);
    EXPECT_EQ(lowest(""), nullptr);
}

TEST_F(LowestV6IntfAddrEntry, IsNullForAnInterfaceWithoutAddresses) {
    bind();

    EXPECT_EQ(lowest(), nullptr);
}

TEST_F(LowestV6IntfAddrEntry, IsNullForAnInterfaceThatHasLinkLocalAddressesOnly) {
    bind();
    addrIs("fe80::1/64");
    addrIs("febf:ffff::1/64");
    admit("fe80::1/64");

    EXPECT_EQ(lowest(), nullptr);
}

TEST_F(LowestV6IntfAddrEntry, IsTheNumericallyLowestOneWhateverItsLengthAndState) {
    bind();
    for (char const* const addr : {"2001:db8::a/48", "fec0::1/10", "fe80::1/64"}) {
        addrIs(addr);
        admit(addr);
    }
    addrIs("2001:db8::9/64");
    RowPtr const lower = admit("2001:db8::9/64");
    EXPECT_EQ(lowest(), lower);

    addrIs("2001:db8::8/128", true);
    RowPtr const lowestOfAll = admit("2001:db8::8/128");
    EXPECT_EQ(lowest(), lowestOfAll);

    status_->addrDel(Nimb::Ip6AddrWithMask("2001:db8::8/128"));
    EXPECT_EQ(lowest(), lower);
}

TEST_F(LowestV6IntfAddrEntry, DoesNotFallBackToTheNextLowest) {
    bind();
    addrIs("2001:db8::1/64");
    addrIs("2001:db8::2/64");
    admit("2001:db8::2/64");

    EXPECT_EQ(lowest(), nullptr);
}

TEST_F(LowestV6IntfAddrEntry, IsNeverAVirtualOne) {
    bind();
    addrIs("2001:db8::1/64");
    table_->intfAddrEntryFromAddrIs(intfAddrEntryFactory(
        {Key::makeVirtualIpKey(Nimb::IpGenAddr("2001:db8::1")), "", Nimb::IpGenPrefix()}));

    EXPECT_EQ(lowest(), nullptr);
}

TEST_F(LowestV6IntfAddrEntry, IsWhatSortingTheGlobalAddressesPutsFirst) {
    bind();
    TestKit::RandomValues random;
    for (int i = 0; i < 1000; ++i) {
        Nimb::Ip6AddrWithMask const addr(random.ip6(), random.prefixLength(AddressFamily::ipv6));
        if (random.flip()) {
            status_->addrIs(addr, {});
            table_->intfAddrEntryFromAddrIs(intfAddrEntryFactory(
                {Key::makeIpKey(addr.address()), "Ethernet1", Nimb::IpGenPrefix()}));
        } else {
            status_->addrDel(addr);
        }
        std::vector<Nimb::Ip6Addr> global;
        for (auto const& member : status_->addr()) {
            if (!member.key.address().isLinkLocal()) {
                global.push_back(member.key.address());
            }
        }
        std::ranges::sort(global);
        RowPtr const row = lowest();
        ASSERT_EQ(row == nullptr, global.empty());
        if (row) {
            ASSERT_EQ(row->key(), Key::makeIpKey(global.front()));
        }
    }
}

}  // namespace
}  // namespace IpLib
