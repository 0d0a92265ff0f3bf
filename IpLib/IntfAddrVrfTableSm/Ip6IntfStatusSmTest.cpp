// What the machines of both families do alike: AfIntfStatusSmTest.cpp.

#include "IpLib/IntfAddrVrfTableSm/Ip6IntfStatusSm.h"

#include <gmock/gmock.h>

#include "IpLib/IntfAddrVrfTableSm/TestAfParent.h"
#include "TestKit/TraceRecorder.h"
#include "Zin/Errors.h"

namespace IpLib::IntfAddrVrfTableImpl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StrEq;

struct Fixture {
    void start() {
        sm = ip6IntfStatusSmFactory(status, parent, all);
        clear();
    }
    void clear() {
        events.clear();
        traces.clear();
    }
    void addrIs(std::string_view text, bool deprecated = false) {
        status->addrIs(Nimb::Ip6AddrWithMask(text), {.deprecated = deprecated});
    }
    void addrDel(std::string_view text) { status->addrDel(Nimb::Ip6AddrWithMask(text)); }
    std::string dump(std::uint32_t indent) {
        auto const context = Velk::textDumpContextFactory(false, 100);
        sm->dumpState(context, indent);
        return context->text();
    }

    TestKit::TraceRecorder traces{"Ip6IntfStatusSm"};
    TestKit::Events events;
    Zin::Ptr<Ip6::IntfStatus> const status = Ip6::intfStatusFactory("Ethernet1");
    Zin::Ptr<AllIntfAddrWithMask> const all = allIntfAddrWithMaskFactory();
    TestKit::Recorder<AllIntfAddrWithMask> const recorder{all, events};
    Zin::Ptr<TestKit::TestAfParent> const parent = Zin::make<TestKit::TestAfParent>(events);
    Zin::Ptr<Ip6IntfStatusSm> sm;
};

TEST(Ip6IntfStatusSm, AnAddressIsOneRowThatFollowsItsDeprecation) {
    Fixture fixture;
    fixture.start();
    fixture.addrIs("2001:db8::1/64");
    EXPECT_THAT(fixture.events, ElementsAre("2001:db8::1/64 Ethernet1 present"));

    fixture.clear();
    fixture.addrIs("2001:db8::1/64", true);
    EXPECT_THAT(fixture.events, ElementsAre("2001:db8::1/64 Ethernet1 deprecated"));
    EXPECT_EQ(fixture.all->all().size(), 1u);

    fixture.clear();
    fixture.addrIs("2001:db8::1/64", false);
    EXPECT_THAT(fixture.events, ElementsAre("2001:db8::1/64 Ethernet1 present"));

    fixture.clear();
    fixture.addrDel("2001:db8::1/64");
    EXPECT_THAT(fixture.events, ElementsAre("2001:db8::1/64 Ethernet1 absent"));
    EXPECT_TRUE(fixture.all->all().empty());
    EXPECT_THAT(fixture.traces.messages(),
                ElementsAre("8 Ip6IntfStatusSm::handleAddr 2001:db8::1/64 on Ethernet1 isPresent "
                            "false isDeprecated false"));
}

TEST(Ip6IntfStatusSm, LinkLocalAddressesArePublishedLikeAnyOther) {
    Fixture fixture;
    fixture.start();
    fixture.addrIs("fe80::1/64");
    EXPECT_THAT(fixture.events, ElementsAre("fe80::1/64 Ethernet1 present"));
}

TEST(Ip6IntfStatusSm, AddressesOfOnePrefixHaveTheirOwnRows) {
    Fixture fixture;
    fixture.start();
    fixture.addrIs("2001:db8::1/64");
    fixture.addrIs("2001:db8::2/64");
    EXPECT_EQ(fixture.all->all().size(), 2u);
}

TEST(Ip6IntfStatusSm, ADeprecatedLinkLocalAddressIsRefusedAndItsRowStaysAsItWas) {
    Fixture fixture;
    fixture.addrIs("fe80::1/64");
    fixture.start();
    try {
        fixture.addrIs("fe80::1/64", true);
        FAIL() << "accepted";
    } catch (Zin::RangeError const& error) {
        EXPECT_THAT(error.what(), StrEq("cannot deprecate IPv6 link-local address"));
    }
    EXPECT_THAT(fixture.events, IsEmpty());
    EXPECT_FALSE(fixture.all->all({"Ethernet1", Nimb::Ip6AddrWithMask("fe80::1/64")}).deprecated());
    EXPECT_THAT(fixture.traces.messages(),
                ElementsAre("8 Ip6IntfStatusSm::handleAddr fe80::1/64 on Ethernet1 isPresent true "
                            "isDeprecated true"));

    fixture.addrDel("fe80::1/64");
    EXPECT_THAT(fixture.events, ElementsAre("fe80::1/64 Ethernet1 absent"));
}

TEST(Ip6IntfStatusSm, ADeprecatedLinkLocalAddressKeepsNoOtherFromBeingPublished) {
    Fixture fixture;
    fixture.addrIs("2001:db8::1/64");
    fixture.addrIs("fe80::1/64", true);
    fixture.addrIs("2001:db8::2/64");
    {
        // Within the turn of whoever publishes the status, the machine stands all the same.
        auto const make = [&] {
            Zin::Turn turn;
            turn.run([&] {
                fixture.sm = ip6IntfStatusSmFactory(fixture.status, fixture.parent, fixture.all);
            });
        };
        EXPECT_THROW(make(), Zin::RangeError);
    }
    EXPECT_THAT(fixture.events, ElementsAre("processPendingDeferredCleanup Ethernet1 IPv6",
                                            "2001:db8::1/64 Ethernet1 present",
                                            "2001:db8::2/64 Ethernet1 present"));
    ASSERT_TRUE(fixture.sm);

    fixture.clear();
    fixture.addrIs("fe80::1/64", false);
    EXPECT_THAT(fixture.events, ElementsAre("fe80::1/64 Ethernet1 present"));
}

TEST(Ip6IntfStatusSm, DumpShowsTheAddresses) {
    Fixture fixture;
    fixture.addrIs("2001:db8::2/64");
    fixture.addrIs("fe80::1/64");
    fixture.start();
    EXPECT_EQ(fixture.dump(0),
              "Ip6IntfStatus intfId=Ethernet1\n"
              "addr count 2\n"
              "2001:db8::2/64\n"
              "fe80::1/64\n");
    EXPECT_EQ(fixture.dump(2),
              "  Ip6IntfStatus intfId=Ethernet1\n"
              "  addr count 2\n"
              "  2001:db8::2/64\n"
              "  fe80::1/64\n");
}

}  // namespace
}  // namespace IpLib::IntfAddrVrfTableImpl
