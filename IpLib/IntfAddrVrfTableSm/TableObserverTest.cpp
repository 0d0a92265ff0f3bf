// What observers of the table may do while they are told of its rows, over the whole machine of a
// VRF: whatever they change has its effect, in the order in which they change it.

#include <gmock/gmock.h>

#include "IpLib/IntfAddrVrfTableSm/TestFamilies.h"
#include "IpLib/IntfAddrVrfTableSm/TestMeddler.h"
#include "Zin/Format.h"

namespace IpLib {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using TestKit::Meddler;
using TestKit::OfIp;
using TestKit::OfIp6;
using TestKit::rowOf;
using TestKit::SmFixture;

TEST(TableObserver, MayTakeAwayAnAddressThatWaitsAndBringItsInterfaceBack) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip("Ethernet2", "10.0.0.1/24");
    Meddler const meddler(fixture, "intfAddrEntry intfId=;addr=10.3.0.1", [&] {
        fixture.ipStatusDel("Ethernet2");
        fixture.ipStatus("Ethernet2");
    });

    fixture.ip("Ethernet3", "10.3.0.1/24");

    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "10.3.0.1/24 Ethernet3"));
    EXPECT_THAT(fixture.deferred(), IsEmpty());
    EXPECT_THAT(fixture.published(), ElementsAre("10.0.0.1/24 Ethernet1", "10.3.0.1/24 Ethernet3"));
}

// An address that comes to wait takes its place in the order of changes, and so wakes the task
// after the row that its observer was told of.
TEST(TableObserver, ThatIsOlderThanTheMachineGetsAnAddressTriedNoEarlierThanRightAfter) {
    SmFixture fixture;
    fixture.smDel();
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip("Ethernet3", "10.3.0.1/24");
    Meddler const meddler(fixture, "addr=10.3.0.1;virtualIp=false;subnet=10.3.0.0/24 absent",
                          [&] { fixture.ip("Ethernet2", "10.0.0.1/24"); });
    fixture.smIs();

    fixture.ip("Ethernet3", "");

    ASSERT_TRUE(meddler.done());
    EXPECT_THAT(fixture.deferred(), ElementsAre("10.0.0.1/24 Ethernet2"));
    EXPECT_FALSE(fixture.sm->deferredIntfAddSm()->rescheduleWhenComplete());
}

// What the observer's address waits for is known before the backlog has it.
TEST(TableObserver, MayTakeAwayAgainWhatItMadeWait) {
    for (bool const withItsInterface : {false, true}) {
        SmFixture fixture({.intfCleanupDelay = 0.0});
        fixture.ip("Ethernet1", "10.0.0.1/24");
        Meddler const meddler(fixture, "intfAddrEntry intfId=;addr=10.3.0.1", [&] {
            fixture.ip("Ethernet2", "10.0.0.1/24");
            EXPECT_THAT(fixture.deferred(), IsEmpty());
            if (withItsInterface) {
                fixture.kernelDel("Ethernet2");
            } else {
                fixture.ip("Ethernet2", "");
            }
        });

        fixture.ip("Ethernet3", "10.3.0.1/24");

        ASSERT_TRUE(meddler.done());
        EXPECT_THAT(fixture.deferred(), IsEmpty());
        fixture.ip("Ethernet1", "");
        fixture.time.advance(10.0);
        EXPECT_THAT(fixture.rows(), ElementsAre("10.3.0.1/24 Ethernet3"));
    }
}

TEST(TableObserver, MayGiveTheAddressOfAnInterfaceThatGoesToAnother) {
    SmFixture fixture;
    fixture.ip("Ethernet2", "10.0.0.1/24");
    Meddler const meddler(fixture, "intfAddrEntry intfId=;addr=10.3.0.1", [&] {
        fixture.ipStatusDel("Ethernet2");
        fixture.ipStatus("Ethernet2");
        fixture.ip("Ethernet4", "10.0.0.1/24");
    });

    fixture.ip("Ethernet3", "10.3.0.1/24");

    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet4", "10.3.0.1/24 Ethernet3"));
    EXPECT_THAT(fixture.rowsByAddr(),
                ElementsAre("10.0.0.1/24 Ethernet4", "10.3.0.1/24 Ethernet3"));
    EXPECT_THAT(fixture.sets(),
                ElementsAre("10.0.0.0/24 Ethernet4 10.0.0.1", "10.3.0.0/24 Ethernet3 10.3.0.1"));
}

TEST(TableObserver, MayBringAnInputBackWhoseMachinesAreGoing) {
    SmFixture fixture({.intfCleanupDelay = 0.0});
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip("Ethernet2", "10.0.1.1/24");
    auto const kept = fixture.sm->ipIntfStatusSm("Ethernet2");
    Meddler const meddler(fixture, "intfAddrEntry intfId=;addr=10.0.0.1",
                          [&] { fixture.table->vrfIpIntfStatusIs(fixture.vrfIp); });

    fixture.table->vrfIpIntfStatusIs(nullptr);

    EXPECT_EQ(fixture.sm->vrfIpIntfStatus(), fixture.vrfIp);
    EXPECT_EQ(fixture.sm->ipIntfStatusSm().size(), 2u);
    EXPECT_EQ(fixture.sm->ipIntfStatusSm("Ethernet2"), kept);
    EXPECT_THAT(fixture.rows(), Contains("10.0.1.1/24 Ethernet2"));
}

template <class Family>
class ObserverOfRows : public testing::Test {};
using Families = testing::Types<OfIp, OfIp6>;
TYPED_TEST_SUITE(ObserverOfRows, Families);

TYPED_TEST(ObserverOfRows, MayBringAnotherInputWhileTheMachinesOfTheOldOneGo) {
    TypeParam fixture({.intfCleanupDelay = 0.0});
    fixture.addrIs("Ethernet1", fixture.first);
    fixture.addrIs("Ethernet2", fixture.elsewhere);
    fixture.addrIs("Ethernet3", fixture.third);
    auto const other = fixture.otherVrf();
    fixture.put(*other, fixture.statusWith("Ethernet3", fixture.third));
    Meddler const meddler(fixture, fixture.first.addr, [&] { fixture.inputIs(other); });

    fixture.inputIs(nullptr);

    ASSERT_TRUE(meddler.done());
    EXPECT_FALSE(fixture.machine("Ethernet2"));
    EXPECT_TRUE(fixture.machine("Ethernet3"));
    EXPECT_THAT(fixture.rows(), ElementsAre(rowOf(fixture.third, "Ethernet3")));
}

TYPED_TEST(ObserverOfRows, MayEmptyAStatusThatHasGone) {
    TypeParam fixture({.intfCleanupDelay = 0.0});
    fixture.addrIs("Ethernet1", fixture.first);
    fixture.addrIs("Ethernet1", fixture.second);
    fixture.addrIs("Ethernet1", fixture.elsewhere);
    auto const gone = fixture.status("Ethernet1");
    Meddler const meddler(fixture,
                          fmt::format("intfAddrEntry intfId=;addr={}", fixture.second.addr),
                          [&] { fixture.empty(*gone); });

    fixture.statusDel("Ethernet1");

    ASSERT_TRUE(meddler.done());
    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_THAT(fixture.published(), IsEmpty());
    fixture.addrIs("Ethernet1", fixture.first);
    EXPECT_THAT(fixture.rows(), ElementsAre(rowOf(fixture.first, "Ethernet1")));
}

TYPED_TEST(ObserverOfRows, MayPublishAnInterfaceAgainThatIsCleanedUpAtOnce) {
    TypeParam fixture({.intfCleanupDelay = 0.0});
    fixture.addrIs("Ethernet1", fixture.first);
    auto const status = fixture.statusWith("Ethernet1", fixture.first);
    Meddler const meddler(fixture, fmt::format("intfAddrEntry intfId=;addr={}", fixture.first.addr),
                          [&] { fixture.statusIs(status); });

    fixture.statusDel("Ethernet1");

    ASSERT_TRUE(meddler.done());
    std::string const row = rowOf(fixture.first, "Ethernet1");
    EXPECT_THAT(fixture.published(), ElementsAre(row));
    EXPECT_THAT(fixture.rows(), ElementsAre(row));
    EXPECT_THAT(fixture.sets(), ElementsAre(fmt::format("{} Ethernet1 {}", fixture.first.subnet,
                                                        fixture.first.addr)));
}

TYPED_TEST(ObserverOfRows, MayBringAnInputBackWhoseInterfacesAreCleanedUpAtOnce) {
    TypeParam fixture({.intfCleanupDelay = 0.0});
    fixture.addrIs("Ethernet1", fixture.first);
    Meddler const meddler(fixture, fmt::format("addr={}", fixture.first.addr),
                          [&] { fixture.inputIs(fixture.vrf()); });

    fixture.inputIs(nullptr);

    ASSERT_TRUE(meddler.done());
    EXPECT_THAT(fixture.rows(), ElementsAre(rowOf(fixture.first, "Ethernet1")));
}

// The new machine finds the rows of the old one and takes them over; without a delay the old one
// takes them along when it goes.
TEST(TableObserver, AMachineThatReplacesAnotherLosesItsRowsWithoutADelay) {
    for (Zin::Seconds const delay : {0.0, 1.5}) {
        SmFixture fixture({.intfCleanupDelay = delay});
        fixture.ip("Ethernet1", "10.0.0.1/24");
        fixture.smIs();
        EXPECT_THAT(fixture.published(), ElementsAre("10.0.0.1/24 Ethernet1"));
        if (delay == 0.0) {
            EXPECT_THAT(fixture.rows(), IsEmpty());
        } else {
            EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
        }
    }
}

// What is unrelated to the teardown that waits is done at once.
TEST(TableObserver, MayReplaceTheMachineAndFindsWhatItsSuccessorAdmits) {
    for (Zin::Seconds const delay : {0.0, 1.5}) {
        SmFixture fixture({.intfCleanupDelay = delay});
        std::vector<std::string> found;
        Meddler const meddler(fixture, "addr=10.2.0.1", [&] {
            fixture.sm->retire();
            fixture.smIs();
            fixture.ip("Ethernet9", "10.9.0.1/24");
            found = fixture.rows();
        });
        fixture.ip("Ethernet2", "10.2.0.1/24");
        ASSERT_TRUE(meddler.done());
        EXPECT_THAT(found, Contains("10.9.0.1/24 Ethernet9"));
        EXPECT_THAT(fixture.rows(), ElementsAre("10.2.0.1/24 Ethernet2", "10.9.0.1/24 Ethernet9"));
        EXPECT_EQ(fixture.rowsByAddr(), fixture.rows());
        EXPECT_EQ(fixture.sets().size(), 2u);
    }
}

TEST(TableObserver, MayDropAMachineThatIsRetiredAndCleansUpStill) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.secondary("Ethernet1", "10.0.0.2/24");
    fixture.sm->retire();
    Meddler const meddler(fixture, "addr=10.0.0.1", [&] { fixture.sm = nullptr; });
    fixture.sm->processCleanupIntf("Ethernet1", Nimb::AddressFamily::ipv4);
    EXPECT_EQ(fixture.sm, nullptr);
    EXPECT_THAT(fixture.rows(), IsEmpty());
}

TEST(TableObserver, RequestsOfCleanupsKeepTheirOrder) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.1.0.1/24");
    fixture.ip("Ethernet2", "10.2.0.1/24");
    Meddler const meddler(fixture, "addr=10.1.0.2", [&] {
        fixture.ipStatusDel("Ethernet1");  // waits
        fixture.ipStatusDel("Ethernet2");
    });
    fixture.secondary("Ethernet1", "10.1.0.2/24");
    ASSERT_TRUE(meddler.done());
    std::vector<Nimb::IntfId> order;
    for (auto const& entry : fixture.sm->intfCleanupBacklog()->backlogQueue()) {
        order.push_back(entry->intfId());
    }
    EXPECT_THAT(order, ElementsAre("Ethernet1", "Ethernet2"));
}

// An observer of the status that the machine comes after.
template <class Family>
class StatusThatGoes : public testing::Test {};
TYPED_TEST_SUITE(StatusThatGoes, Families);

// As where an older observer of the status takes that away when an address leaves it.
TYPED_TEST(StatusThatGoes, BeforeItsMachineIsToldAllLeavesNothingPublished) {
    TypeParam fixture({.intfCleanupDelay = 0.0});
    fixture.addrIs("Ethernet1", fixture.first);
    fixture.addrIs("Ethernet1", fixture.elsewhere);
    fixture.machine("Ethernet1")->hasNotificationActiveIs(false);
    fixture.empty(*fixture.status("Ethernet1"));
    ASSERT_THAT(fixture.rows(), SizeIs(2));

    fixture.statusDel("Ethernet1");

    EXPECT_THAT(fixture.published(), IsEmpty());
    fixture.kernelDel("Ethernet1");
    fixture.kernelIs("Ethernet1");
    EXPECT_THAT(fixture.rows(), IsEmpty());
}

}  // namespace
}  // namespace IpLib
