#include "Ip6/IntfStatus.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "TestKit/StatusRecorder.h"

namespace Ip6 {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr AddressInfo preferred{.deprecated = false};
constexpr AddressInfo deprecated{.deprecated = true};

Nimb::Ip6AddrWithMask addr(char const* text) { return Nimb::Ip6AddrWithMask(text); }

struct Fixture {
    std::vector<std::string> addrs() const {
        std::vector<std::string> texts;
        for (auto const& member : status->addr()) {
            texts.push_back(member.key.toStrep());
        }
        return texts;
    }

    Zin::Ptr<IntfStatus> const status = intfStatusFactory("Ethernet1");
    TestKit::Events events;
    TestKit::Recorder<IntfStatus> recorder{status, events};
};

TEST(Ip6IntfStatus, HoldsAddressesInOrderOfJoining) {
    Fixture fixture;
    EXPECT_EQ(fixture.status->intfId(), Nimb::IntfId("Ethernet1"));
    EXPECT_THAT(fixture.addrs(), IsEmpty());
    fixture.status->addrIs(addr("fe80::1/64"), preferred);
    fixture.status->addrIs(addr("2001:db8::1/64"), deprecated);
    fixture.status->addrIs(addr("2001:db8::1/48"), preferred);
    fixture.status->addrIs(addr("fe80::1/64"), deprecated);
    EXPECT_THAT(fixture.addrs(), ElementsAre("fe80::1/64", "2001:db8::1/64", "2001:db8::1/48"));
    EXPECT_TRUE(fixture.status->addr(addr("2001:db8::1/64")).deprecated);
    EXPECT_FALSE(fixture.status->addr(addr("2001:db8::1/48")).deprecated);
}

TEST(Ip6IntfStatus, AnAbsentAddressIsNotDeprecated) {
    Fixture const fixture;
    EXPECT_FALSE(fixture.status->addrHas(addr("2001:db8::1/64")));
    EXPECT_EQ(fixture.status->addr(addr("2001:db8::1/64")), preferred);
}

TEST(Ip6IntfStatus, TellsAnAddressThatComesChangesOrGoes) {
    Fixture fixture;
    fixture.status->addrIs(addr("2001:db8::1/64"), preferred);
    fixture.status->addrIs(addr("2001:db8::1/64"), deprecated);
    fixture.status->addrIs(addr("2001:db8::1/64"), preferred);
    EXPECT_EQ(fixture.status->addrDel(addr("2001:db8::1/64")), preferred);
    EXPECT_THAT(fixture.events,
                ElementsAre("addr 2001:db8::1/64 present", "addr 2001:db8::1/64 deprecated",
                            "addr 2001:db8::1/64 present", "addr 2001:db8::1/64 absent"));
}

TEST(Ip6IntfStatus, TellsNothingWhereNothingChanges) {
    Fixture fixture;
    fixture.status->addrIs(addr("2001:db8::1/64"), deprecated);
    fixture.events.clear();
    fixture.status->addrIs(addr("2001:db8::1/64"), deprecated);
    EXPECT_EQ(fixture.status->addrDel(addr("2001:db8::2/64")), preferred);
    EXPECT_THAT(fixture.events, IsEmpty());
    EXPECT_EQ(fixture.status->addrDel(addr("2001:db8::1/64")), deprecated);
}

TEST(Ip6IntfStatus, RemovingAllTellsEachAddress) {
    Fixture fixture;
    fixture.status->addrIs(addr("fe80::1/64"), preferred);
    fixture.status->addrIs(addr("2001:db8::1/64"), deprecated);
    fixture.events.clear();
    fixture.status->addrDelAll();
    EXPECT_THAT(fixture.addrs(), IsEmpty());
    EXPECT_THAT(fixture.events,
                ElementsAre("addr fe80::1/64 absent", "addr 2001:db8::1/64 absent"));
}

}  // namespace
}  // namespace Ip6
