#include "Ip6/IntfStatus.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "testing/StatusRecorder.h"

namespace Ip6 {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr AddressInfo preferred{.deprecated = false};
constexpr AddressInfo deprecated{.deprecated = true};

Nimb::Ip6AddrWithMask addr(char const* text) { return Nimb::Ip6AddrWithMask(text); }

struct Bench {
    std::vector<std::string> addrs() const {
        std::vector<std::string> texts;
        for (auto const& member : status->addr()) {
            texts.push_back(member.key.toStrep());
        }
        return texts;
    }

    Zin::Ptr<IntfStatus> const status = intfStatusFactory("Ethernet1");
    Testing::Events events;
    Testing::Recorder<IntfStatus> recorder{status, events};
};

TEST(Ip6IntfStatus, HoldsAddressesInOrderOfJoining) {
    Bench bench;
    EXPECT_EQ(bench.status->intfId(), Nimb::IntfId("Ethernet1"));
    EXPECT_THAT(bench.addrs(), IsEmpty());
    bench.status->addrIs(addr("fe80::1/64"), preferred);
    bench.status->addrIs(addr("2001:db8::1/64"), deprecated);
    bench.status->addrIs(addr("2001:db8::1/48"), preferred);
    bench.status->addrIs(addr("fe80::1/64"), deprecated);
    EXPECT_THAT(bench.addrs(), ElementsAre("fe80::1/64", "2001:db8::1/64", "2001:db8::1/48"));
    EXPECT_TRUE(bench.status->addr(addr("2001:db8::1/64")).deprecated);
    EXPECT_FALSE(bench.status->addr(addr("2001:db8::1/48")).deprecated);
}

TEST(Ip6IntfStatus, AnAbsentAddressIsNotDeprecated) {
    Bench const bench;
    EXPECT_FALSE(bench.status->addrHas(addr("2001:db8::1/64")));
    EXPECT_EQ(bench.status->addr(addr("2001:db8::1/64")), preferred);
}

TEST(Ip6IntfStatus, TellsAnAddressThatComesChangesOrGoes) {
    Bench bench;
    bench.status->addrIs(addr("2001:db8::1/64"), preferred);
    bench.status->addrIs(addr("2001:db8::1/64"), deprecated);
    bench.status->addrIs(addr("2001:db8::1/64"), preferred);
    EXPECT_EQ(bench.status->addrDel(addr("2001:db8::1/64")), preferred);
    EXPECT_THAT(bench.events,
                ElementsAre("addr 2001:db8::1/64 present", "addr 2001:db8::1/64 deprecated",
                            "addr 2001:db8::1/64 present", "addr 2001:db8::1/64 absent"));
}

TEST(Ip6IntfStatus, TellsNothingWhereNothingChanges) {
    Bench bench;
    bench.status->addrIs(addr("2001:db8::1/64"), deprecated);
    bench.events.clear();
    bench.status->addrIs(addr("2001:db8::1/64"), deprecated);
    EXPECT_EQ(bench.status->addrDel(addr("2001:db8::2/64")), preferred);
    EXPECT_THAT(bench.events, IsEmpty());
    EXPECT_EQ(bench.status->addrDel(addr("2001:db8::1/64")), deprecated);
}

TEST(Ip6IntfStatus, RemovingAllTellsEachAddress) {
    Bench bench;
    bench.status->addrIs(addr("fe80::1/64"), preferred);
    bench.status->addrIs(addr("2001:db8::1/64"), deprecated);
    bench.events.clear();
    bench.status->addrDelAll();
    EXPECT_THAT(bench.addrs(), IsEmpty());
    EXPECT_THAT(bench.events, ElementsAre("addr fe80::1/64 absent", "addr 2001:db8::1/64 absent"));
}

}  // namespace
}  // namespace Ip6
