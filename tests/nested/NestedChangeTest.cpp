// What observers of a table change from within a notification, case by case: whatever it is, the
// same comes of it as of the same changes made right after the change that they were told of.

#include <gmock/gmock.h>

#include <optional>

#include "Trial.h"
#include "Velk/YieldPolicy.h"
#include "random/StatusChange.h"

namespace Nested {
namespace {

using Kind = Operation::Kind;
using testing::ElementsAre;
using testing::IsEmpty;

Nimb::IpGenAddrWithMask addrOf(std::string_view text) {
    return text.empty() ? Nimb::IpGenAddrWithMask() : Nimb::IpGenAddrWithMask(text);
}

Operation of(Kind kind, Nimb::IntfId const& intf, std::string_view addr = "") {
    return {.kind = kind, .intf = intf, .addr = addrOf(addr)};
}
Operation primary(Nimb::IntfId const& intf, std::string_view addr) {
    return of(Kind::ipPrimary, intf, addr);
}
Operation ip6Set(Nimb::IntfId const& intf, std::string_view addr) {
    return of(Kind::ip6AddrSet, intf, addr);
}
Operation ip6Del(Nimb::IntfId const& intf, std::string_view addr) {
    return of(Kind::ip6AddrDel, intf, addr);
}

// A list whose observer acts as it is told of an address of Ethernet9.
ChangeList list(std::vector<Operation> before, std::vector<Operation> nested,
                Zin::Seconds intfCleanupDelay = 1.5) {
    return {.intfCleanupDelay = intfCleanupDelay,
            .before = std::move(before),
            .outer = primary("Ethernet9", "172.16.9.1/24"),
            .nested = std::move(nested)};
}

// Expects the same of the list in whichever notification the observer acts, and whether it is told
// before or after the machine. Returns what comes of it.
Tables outcomeOf(ChangeList list) {
    Trial trial;
    for (bool const isOlder : {false, true}) {
        list.observerIsOlder = isOlder;
        list.when = 0;
        do {
            trial = tried(list, {.atOnce = true});
            if (trial.outcome != Outcome::same) {
                ADD_FAILURE() << report(list, {.atOnce = true});
                return trial.after;
            }
        } while (++list.when < trial.notifications);
    }
    return trial.after;
}

TEST(NestedChange, AnAddressThatIsCorrectedBeforeItsTurn) {
    auto const tables =
        outcomeOf(list({primary("Ethernet1", "10.0.0.1/24")},
                       {primary("Ethernet2", "10.0.0.2/24"), primary("Ethernet2", "10.5.0.1/24")}));
    EXPECT_THAT(rowTexts(tables), ElementsAre("10.0.0.1/24 Ethernet1", "10.5.0.1/24 Ethernet2",
                                              "172.16.9.1/24 Ethernet9"));
    EXPECT_THAT(tables.deferred, IsEmpty());
}

TEST(NestedChange, AnAddressThatIsHeldIsGivenAndTakenAway) {
    auto const tables =
        outcomeOf(list({primary("Ethernet1", "10.0.0.1/24")},
                       {primary("Ethernet2", "10.0.0.1/24"), primary("Ethernet2", "")}));
    EXPECT_THAT(rowTexts(tables), ElementsAre("10.0.0.1/24 Ethernet1", "172.16.9.1/24 Ethernet9"));
    EXPECT_THAT(tables.deferred, IsEmpty());
}

TEST(NestedChange, AnIp6AddressThatIsHeldIsGivenAndTakenAway) {
    auto const tables = outcomeOf(
        list({ip6Set("Ethernet1", "2001:db8::1/64")},
             {ip6Set("Ethernet2", "2001:db8::1/64"), ip6Del("Ethernet2", "2001:db8::1/64")}));
    EXPECT_THAT(rowTexts(tables),
                ElementsAre("172.16.9.1/24 Ethernet9", "2001:db8::1/64 Ethernet1"));
    EXPECT_THAT(tables.deferred, IsEmpty());
}

TEST(NestedChange, ASecondLinkLocalAddressComesAndGoes) {
    auto const tables =
        outcomeOf(list({ip6Set("Ethernet2", "fe80::1/64")},
                       {ip6Set("Ethernet2", "fe80::2/64"), ip6Del("Ethernet2", "fe80::2/64")}));
    EXPECT_THAT(rowTexts(tables), ElementsAre("172.16.9.1/24 Ethernet9", "fe80::1/64 Ethernet2"));
    EXPECT_EQ(tables.linkLocal.size(), 1u);
}

TEST(NestedChange, AnAddressComesAndGoesWithAnotherPrefixLength) {
    auto const tables = outcomeOf(list({primary("Ethernet2", "10.0.0.1/24")},
                                       {of(Kind::ipSecondaryAdd, "Ethernet2", "10.0.0.1/16"),
                                        of(Kind::ipSecondaryDel, "Ethernet2", "10.0.0.1/16")}));
    EXPECT_THAT(rowTexts(tables), ElementsAre("10.0.0.1/24 Ethernet2", "172.16.9.1/24 Ethernet9"));
    EXPECT_EQ(tables.byAddr.size(), 2u);
}

TEST(NestedChange, TheStatusOfAnInterfaceWithoutADeviceGoesAndComesBack) {
    auto const tables =
        outcomeOf(list({primary("Ethernet1", "10.0.0.1/24"), of(Kind::kernelDel, "Ethernet2"),
                        primary("Ethernet2", "10.0.0.2/24")},
                       {of(Kind::ipIntfDel, "Ethernet2"), of(Kind::ipIntfAdd, "Ethernet2")}));
    EXPECT_THAT(rowTexts(tables), ElementsAre("10.0.0.1/24 Ethernet1", "172.16.9.1/24 Ethernet9"));
}

TEST(NestedChange, TheStatusOfAnInterfaceGoesAsItsDeviceComesBack) {
    auto const tables =
        outcomeOf(list({primary("Ethernet1", "10.0.0.1/24"), of(Kind::kernelDel, "Ethernet2"),
                        primary("Ethernet2", "10.0.0.2/24")},
                       {of(Kind::ipIntfDel, "Ethernet2"), of(Kind::kernelAdd, "Ethernet2")}));
    EXPECT_THAT(rowTexts(tables), ElementsAre("10.0.0.1/24 Ethernet1", "172.16.9.1/24 Ethernet9"));
}

TEST(NestedChange, AWaitingAddressIsWithdrawnAndThenItsInterface) {
    auto const tables =
        outcomeOf(list({primary("Ethernet1", "10.0.0.1/24"), primary("Ethernet2", "10.0.0.1/24")},
                       {primary("Ethernet2", ""), of(Kind::ipIntfDel, "Ethernet2")}));
    EXPECT_THAT(rowTexts(tables), ElementsAre("10.0.0.1/24 Ethernet1", "172.16.9.1/24 Ethernet9"));
    EXPECT_THAT(tables.deferred, IsEmpty());
}

TEST(NestedChange, AnAdmittedAddressIsWithdrawnAndThenItsInterface) {
    auto const tables =
        outcomeOf(list({primary("Ethernet2", "10.0.0.1/24")},
                       {primary("Ethernet2", ""), of(Kind::ipIntfDel, "Ethernet2")}));
    EXPECT_THAT(rowTexts(tables), ElementsAre("172.16.9.1/24 Ethernet9"));
}

TEST(NestedChange, TheManagerStopsAndItsMachineTakesItsRowsAlong) {
    auto const tables =
        outcomeOf(list({primary("Ethernet1", "10.0.0.1/24"), ip6Set("Ethernet2", "fe80::1/64")},
                       {{.kind = Kind::managerStop}}, 0.0));
    EXPECT_THAT(rowTexts(tables), IsEmpty());
    EXPECT_THAT(tables.byAddr, IsEmpty());
    EXPECT_THAT(tables.sets, IsEmpty());
    EXPECT_THAT(tables.linkLocal, IsEmpty());
}

// Publishes an address as it is told of the first row, and looks for its row.
class Publisher final : public IpLib::IntfAddrVrfTable::Notifiee {
public:
    explicit Publisher(Routing::Router& router) : router_(router) {
        notifierIs(router.table(RandomStatus::vrf));
    }
    std::optional<bool> foundItsRow() const { return foundItsRow_; }

private:
    void handleIntfAddrEntry(IpLib::IntfAddrEntryContent const&) override {
        if (!foundItsRow_) {
            foundItsRow_ = false;
            router_.inputs()
                .ipPrimaryIs(RandomStatus::vrf, "Ethernet1", Nimb::IpAddrWithMask("10.0.0.1/24"))
                .apply();
            auto const owners = router_.ownersOf(RandomStatus::vrf, Nimb::IpGenAddr("10.0.0.1"));
            foundItsRow_ = owners.size() == 1 && owners[0].intfId == Nimb::IntfId("Ethernet1");
        }
    }

    Routing::Router& router_;
    std::optional<bool> foundItsRow_;
};

TEST(NestedChange, AnObserverThatPublishesAnUnrelatedAddressSeesItsRowAtOnce) {
    Routing::Router router({}, Zin::make<Zin::VirtualClock>(), std::make_unique<Velk::EveryNth>(0));
    RandomStatus::prepare(router);
    router.inputs().ipIntfAdd(RandomStatus::vrf, "Ethernet1", {}).apply();
    router.inputs().ipIntfAdd(RandomStatus::vrf, "Ethernet2", {}).apply();
    Publisher const publisher(router);

    router.inputs()
        .ipPrimaryIs(RandomStatus::vrf, "Ethernet2", Nimb::IpAddrWithMask("172.16.9.1/24"))
        .apply();

    EXPECT_EQ(publisher.foundItsRow(), true);
}

}  // namespace
}  // namespace Nested
