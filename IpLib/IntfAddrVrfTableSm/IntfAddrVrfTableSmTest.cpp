#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"

#include <gmock/gmock.h>

#include "IpLib/IntfAddrVrfTableSm/TestAfParent.h"
#include "IpLib/IntfAddrVrfTableSm/TestSmFixture.h"
#include "Zin/Errors.h"
#include "Zin/Format.h"
#include "Zin/Registry.h"

namespace IpLib {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using TestKit::SmFixture;

// A machine without any input.
Zin::Ptr<IntfAddrVrfTableSm> bareMachine(TestKit::VirtualTime const& time) {
    return intfAddrVrfTableSmFactory("blue", Nimb::NamespaceName("ns-blue"), {}, time.scheduler(),
                                     nullptr, nullptr, nullptr, nullptr);
}

TEST(IntfAddrVrfTableSm, KeepsWhatItIsGiven) {
    SmFixture fixture({.intfCleanupDelay = 0.5, .deferredIntfAddDelay = 0.25});
    EXPECT_EQ(fixture.sm->vrfName(), L3::VrfName("blue"));
    EXPECT_EQ(fixture.sm->networkNamespace(), Nimb::NamespaceName("ns-blue"));
    EXPECT_EQ(fixture.sm->smConfig(), fixture.config);
    EXPECT_EQ(fixture.sm->scheduler(), fixture.time.scheduler());
    EXPECT_EQ(fixture.sm->virtualIpStatus(), fixture.virtualIp);
    EXPECT_EQ(fixture.sm->virtualIp6Status(), fixture.virtualIp6);
    EXPECT_EQ(fixture.sm->kernelIntfDir(), fixture.kernel);
    EXPECT_EQ(fixture.sm->intfAddrVrfTable(), fixture.table);
    EXPECT_EQ(fixture.sm->vrfIpIntfStatus(), fixture.vrfIp);
    EXPECT_EQ(fixture.sm->vrfIp6IntfStatus(), fixture.vrfIp6);
}

TEST(IntfAddrVrfTableSm, ItsTasksTakeTheirDelaysAndPriorityFromTheConfiguration) {
    SmFixture fixture({.intfCleanupDelay = 0.5,
                       .deferredIntfAddDelay = 0.25,
                       .taskPriority = Velk::TaskPriority::high});
    EXPECT_EQ(fixture.sm->intfCleanupSm()->smConfig(),
              (IntfAddrVrfTableSm::IntfCleanupSmConfig{0.5, Velk::TaskPriority::high}));
    EXPECT_EQ(fixture.sm->intfCleanupSm()->task()->taskName(), "IntfCleanup-VRF-blue");
    EXPECT_EQ(fixture.sm->deferredIntfAddSm()->smConfig(),
              (IntfAddrVrfTableSm::DeferredIntfAddSmConfig{0.25, Velk::TaskPriority::high}));
    EXPECT_EQ(fixture.sm->deferredIntfAddSm()->task()->taskName(), "DeferredIntfAdd-VRF-blue");
}

TEST(IntfAddrVrfTableSm, NoCleanupMachineryExistsWithoutADelay) {
    SmFixture fixture({.intfCleanupDelay = 0.0});
    EXPECT_EQ(fixture.sm->intfCleanupBacklog(), nullptr);
    EXPECT_EQ(fixture.sm->intfCleanupSm(), nullptr);
    EXPECT_NE(fixture.sm->deferredIntfAddBacklog(), nullptr);
    EXPECT_NE(fixture.sm->deferredIntfAddSm(), nullptr);
}

TEST(IntfAddrVrfTableSm, CleanupMachineryExistsWithAnyOtherDelayANegativeOneToo) {
    for (Zin::Seconds const delay : {1.5, 1e-9, -1.0}) {
        SmFixture fixture({.intfCleanupDelay = delay});
        EXPECT_NE(fixture.sm->intfCleanupBacklog(), nullptr) << delay;
        EXPECT_NE(fixture.sm->intfCleanupSm(), nullptr) << delay;
    }
}

TEST(IntfAddrVrfTableSm, DeferredAddMachineryExistsWithoutADelayToo) {
    SmFixture fixture({.deferredIntfAddDelay = 0.0});
    EXPECT_NE(fixture.sm->deferredIntfAddBacklog(), nullptr);
    ASSERT_NE(fixture.sm->deferredIntfAddSm(), nullptr);
    EXPECT_EQ(fixture.sm->deferredIntfAddSm()->smConfig().delay, 0.0);
}

TEST(IntfAddrVrfTableSm, StartsWithTheAddressesThatAreThere) {
    SmFixture fixture;
    fixture.smDel();
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip6("Ethernet2", "2001:db8::1/64");
    fixture.clear();
    fixture.smIs();
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "2001:db8::1/64 Ethernet2"));

    // First without inputs, which are bound when all is there to take them.
    auto const traces = fixture.traceTexts();
    EXPECT_EQ(traces[0], "8 handleIpIntfStatusAll vrfIpIntfStatus null");
    EXPECT_EQ(traces[1], "8 handleIp6IntfStatusAll vrfI6IntfStatus null");
    EXPECT_EQ(traces[2], "8 handleVirtualIpAll");
    EXPECT_EQ(traces[3], "8 handleVirtualIp6All");
    EXPECT_EQ(traces[4], fmt::format("8 handleIpIntfStatusAll vrfIpIntfStatus {}",
                                     fixture.table->vrfIpIntfStatus()));
    EXPECT_EQ(traces[5], "8 handleIpIntfStatus on Ethernet1");
    EXPECT_THAT(traces, AllOf(Contains(fmt::format("8 handleIp6IntfStatusAll vrfI6IntfStatus {}",
                                                   fixture.table->vrfIp6IntfStatus())),
                              Contains("8 handleIp6IntfStatus on Ethernet2")));
}

TEST(IntfAddrVrfTableSm, AMachineIsMadeOfItsStatusItsParentAndTheRows) {
    TestKit::Events events;
    SmFixture fixture;
    auto const parent = Zin::make<TestKit::TestAfParent>(events);
    auto const all = allIntfAddrWithMaskFactory();
    auto const status = Ip::ipIntfStatusFactory("Ethernet9");
    auto const status6 = Ip6::intfStatusFactory("Ethernet9");

    auto const machine = fixture.sm->ipIntfStatusSmIs(status, parent, all);
    EXPECT_EQ(fixture.sm->ipIntfStatusSm("Ethernet9"), machine);
    EXPECT_EQ(fixture.sm->ipIntfStatusSmIs(status, parent, all), machine);
    auto const machine6 = fixture.sm->ip6IntfStatusSmIs(status6, parent, all);
    EXPECT_EQ(fixture.sm->ip6IntfStatusSmIs(status6, parent, all), machine6);

    auto const otherParent = Zin::make<TestKit::TestAfParent>(events);
    EXPECT_THROW(fixture.sm->ipIntfStatusSmIs(status, otherParent, all), Zin::ReinstantiationError);
    EXPECT_THROW(fixture.sm->ip6IntfStatusSmIs(status6, otherParent, all),
                 Zin::ReinstantiationError);
    EXPECT_THROW(fixture.sm->ipIntfStatusSmIs(status, parent, fixture.sm->allIntfAddrWithMask()),
                 Zin::ReinstantiationError);
    EXPECT_THROW(fixture.sm->ip6IntfStatusSmIs(status6, parent, fixture.sm->allIntfAddrWithMask()),
                 Zin::ReinstantiationError);
    EXPECT_THROW(fixture.sm->ipIntfStatusSmIs(Ip::ipIntfStatusFactory("Ethernet9"), parent, all),
                 Zin::ReinstantiationError);
    EXPECT_THROW(fixture.sm->ip6IntfStatusSmIs(Ip6::intfStatusFactory("Ethernet9"), parent, all),
                 Zin::ReinstantiationError);
    EXPECT_EQ(fixture.sm->ipIntfStatusSm("Ethernet9"), machine);
    EXPECT_EQ(fixture.sm->ip6IntfStatusSm("Ethernet9"), machine6);
}

TEST(IntfAddrVrfTableSm, AMachineNeedsAStatus) {
    SmFixture fixture;
    TestKit::Events events;
    auto const parent = Zin::make<TestKit::TestAfParent>(events);
    auto const all = fixture.sm->allIntfAddrWithMask();
    auto const attributeOf = [](auto const& act) -> std::string {
        try {
            act();
        } catch (Zin::NullArgumentError const& error) {
            return error.attribute();
        }
        return "no error";
    };
    EXPECT_EQ(attributeOf([&] { fixture.sm->ipIntfStatusSmIs(nullptr, parent, all); }),
              "ipIntfStatus");
    EXPECT_EQ(attributeOf([&] { fixture.sm->ip6IntfStatusSmIs(nullptr, parent, all); }),
              "ip6IntfStatus");
    EXPECT_TRUE(fixture.sm->ipIntfStatusSm().empty());
    EXPECT_TRUE(fixture.sm->ip6IntfStatusSm().empty());
}

TEST(IntfAddrVrfTableSm, AChildMadeOfTheSameArgumentsIsKept) {
    SmFixture fixture;
    auto const all = fixture.sm->allIntfAddrWithMask();
    EXPECT_EQ(fixture.sm->allIntfAddrWithMaskIs(), all);
    auto const cleanupBacklog = fixture.sm->intfCleanupBacklog();
    EXPECT_EQ(fixture.sm->intfCleanupBacklogIs(), cleanupBacklog);
    auto const deferredBacklog = fixture.sm->deferredIntfAddBacklog();
    EXPECT_EQ(fixture.sm->deferredIntfAddBacklogIs(), deferredBacklog);

    auto const cleanupParent = Zin::make<IntfAddrVrfTableImpl::IntfCleanupParent>(*fixture.sm);
    auto const cleanupSmIs = [&](Zin::Seconds delay) {
        return fixture.sm->intfCleanupSmIs({delay, {}}, cleanupParent, cleanupBacklog, "blue",
                                           fixture.time.scheduler());
    };
    auto const first = cleanupSmIs(1.0);
    EXPECT_EQ(cleanupSmIs(1.0), first);
    EXPECT_NE(cleanupSmIs(2.0), first);
    EXPECT_TRUE(first->retired());

    auto const deferredParent = Zin::make<IntfAddrVrfTableImpl::DeferredIntfAddParent>(*fixture.sm);
    auto const deferredSmIs = [&](Zin::Seconds delay) {
        return fixture.sm->deferredIntfAddSmIs({delay, {}}, deferredParent, deferredBacklog, "blue",
                                               fixture.time.scheduler());
    };
    auto const firstDeferred = deferredSmIs(1.0);
    EXPECT_EQ(deferredSmIs(1.0), firstDeferred);
    EXPECT_NE(deferredSmIs(2.0), firstDeferred);
    EXPECT_TRUE(firstDeferred->retired());
}

TEST(IntfAddrVrfTableSm, AMachineWithoutInputsStandsAndHandlesNoStatus) {
    TestKit::TraceRecorder const traces("IntfAddrVrfTableSm");
    TestKit::VirtualTime time;
    auto const sm = bareMachine(time);
    EXPECT_EQ(sm->vrfIpIntfStatus(), nullptr);
    EXPECT_EQ(sm->intfAddrVrfTable(), nullptr);
    sm->handleVrfIpIntfStatus();
    sm->handleVrfIp6IntfStatus();
    sm->handleIpIntfStatus("Ethernet1");
    sm->handleIp6IntfStatus("Ethernet1");
    EXPECT_TRUE(sm->ipIntfStatusSm().empty());
    EXPECT_THAT(traces.messages(), Contains("8 IntfAddrVrfTableSm::handleIpIntfStatusAll "
                                            "vrfIpIntfStatus null"));
}

TEST(IntfAddrVrfTableSm, AMachineWithoutATableFollowsItsStatusAndWritesNowhere) {
    Pell::ThrowOnAssertion const throwOnAssertion;
    TestKit::VirtualTime time;
    auto const sm =
        intfAddrVrfTableSmFactory("blue", Nimb::NamespaceName("ns-blue"),
                                  {.intfCleanupDelay = 0.5, .ignoreKernelInterfaceState = true},
                                  time.scheduler(), nullptr, nullptr, nullptr, nullptr);
    auto const vrfIp = Ip::vrfIpIntfStatusFactory();
    auto const status = Ip::ipIntfStatusFactory("Ethernet1");
    vrfIp->ipIntfStatusIs(status);
    sm->vrfIpIntfStatusIs(vrfIp);
    status->activeAddrWithMaskIs(Nimb::IpAddrWithMask("10.0.0.1/24"));
    EXPECT_THAT(sm->allIntfAddrWithMask()->all(), SizeIs(1));
    status->activeAddrWithMaskIs({});
    EXPECT_THAT(sm->allIntfAddrWithMask()->all(), IsEmpty());

    auto const vrfIp6 = Ip6::vrfIp6IntfStatusFactory();
    auto const status6 = Ip6::intfStatusFactory("Ethernet1");
    vrfIp6->intfStatusIs(status6);
    sm->vrfIp6IntfStatusIs(vrfIp6);
    status6->addrIs(Nimb::Ip6AddrWithMask("fe80::1/64"), {});
    status6->addrDel(Nimb::Ip6AddrWithMask("fe80::1/64"));
    status6->addrIs(Nimb::Ip6AddrWithMask("2001:db8::1/64"), {});

    // Losing the input takes the machines away; what it cleans up then is nowhere.
    sm->vrfIpIntfStatusIs(nullptr);
    sm->vrfIp6IntfStatusIs(nullptr);
    EXPECT_TRUE(sm->ipIntfStatusSm().empty());
    EXPECT_TRUE(sm->ip6IntfStatusSm().empty());
    EXPECT_THAT(sm->allIntfAddrWithMask()->all(), IsEmpty());
    time.advance(1.0);
    EXPECT_THAT(sm->intfCleanupBacklog()->backlog(), IsEmpty());
}

TEST(IntfAddrVrfTableSm, WithoutAKernelDirectoryNoInterfaceIsPresent) {
    TestKit::VirtualTime time;
    auto const table = intfAddrVrfTableFactory();
    auto const vrfIp = Ip::vrfIpIntfStatusFactory();
    auto const status = Ip::ipIntfStatusFactory("Ethernet1");
    status->activeAddrWithMaskIs(Nimb::IpAddrWithMask("10.0.0.1/24"));
    vrfIp->ipIntfStatusIs(status);
    table->vrfIpIntfStatusIs(vrfIp);
    auto const sm = intfAddrVrfTableSmFactory("blue", Nimb::NamespaceName("ns-blue"), {},
                                              time.scheduler(), nullptr, nullptr, nullptr, table);
    EXPECT_THAT(sm->allIntfAddrWithMask()->all(), SizeIs(1));
    EXPECT_TRUE(table->intfAddrEntry().empty());
}

TEST(IntfAddrVrfTableSm, TeardownWithoutACleanupDelayWithdrawsEveryAddress) {
    SmFixture fixture({.intfCleanupDelay = 0.0});
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.secondary("Ethernet1", "10.0.1.1/24");
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    fixture.ip6("Ethernet1", "fe80::1/64");
    fixture.smDel();
    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_THAT(fixture.rowsByAddr(), IsEmpty());
    EXPECT_THAT(fixture.sets(), IsEmpty());
    EXPECT_THAT(fixture.linkLocals(), IsEmpty());
}

TEST(IntfAddrVrfTableSm, TeardownWithACleanupDelayLeavesTheRowsAndDropsTheCleanup) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.smDel();
    EXPECT_EQ(fixture.time.scheduler()->nextExpiry(), Velk::never);
    fixture.time.advance(10.0);
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(IntfAddrVrfTableSm, TeardownTakesTheMachinesFirstThenDeferredAddsThenCleanups) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip6("Ethernet2", "2001:db8::1/64");
    auto const cleanupTask = fixture.sm->intfCleanupSm();
    auto const deferredTask = fixture.sm->deferredIntfAddSm();
    fixture.clear();
    fixture.sm->retire();
    EXPECT_TRUE(fixture.sm->ipIntfStatusSm().empty());
    EXPECT_TRUE(fixture.sm->ip6IntfStatusSm().empty());
    EXPECT_EQ(fixture.sm->intfCleanupSm(), nullptr);
    EXPECT_EQ(fixture.sm->deferredIntfAddSm(), nullptr);
    EXPECT_TRUE(cleanupTask->retired());
    EXPECT_TRUE(deferredTask->retired());
    // Both families' machines found the clean-up task still there.
    EXPECT_THAT(fixture.tracesOf("IntfCleanupSm"),
                ElementsAre("8 maybeScheduleTask task is scheduled to run in 1.5 seconds",
                            "8 maybeScheduleTask task is scheduled to run in 1.5 seconds"));
    EXPECT_THAT(fixture.traceTexts(),
                ElementsAre("9 addDeferredCleanup cleanup deferred for Ethernet1 af IPv4 at 0",
                            "8 handleIntfAddrWithMask ip 10.0.0.1 on Ethernet1 isPresent false "
                            "cleanupPresent true",
                            "8 handleIntfAddrWithMask deferring removal of ip 10.0.0.1 on "
                            "Ethernet1 as deferred cleanup is present",
                            "9 addDeferredCleanup cleanup deferred for Ethernet2 af IPv6 at 0",
                            "8 handleIntfAddrWithMask ip 2001:db8::1 on Ethernet2 isPresent false "
                            "cleanupPresent true",
                            "8 handleIntfAddrWithMask deferring removal of ip 2001:db8::1 on "
                            "Ethernet2 as deferred cleanup is present"));
}

TEST(IntfAddrVrfTableSm, ARetiredMachineHearsNothing) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.sm->retire();
    fixture.clear();
    fixture.ip("Ethernet1", "10.0.0.2/24");
    fixture.ip("Ethernet2", "10.0.2.1/24");
    fixture.ip6("Ethernet2", "2001:db8::1/64");
    fixture.table->vrfIpIntfStatusIs(nullptr);
    fixture.table->vrfIp6IntfStatusIs(nullptr);
    fixture.table->intfAddrEntryDelAll();
    fixture.sm->handleIpIntfStatus("Ethernet1");
    fixture.sm->handleIp6IntfStatus("Ethernet1");
    EXPECT_THAT(fixture.traces.messages(), IsEmpty());
    EXPECT_THAT(fixture.rows(), IsEmpty());
}

TEST(IntfAddrVrfTableSm, TheMachineIsNotKeptAliveByItsChildren) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    EXPECT_EQ(fixture.sm->referenceCount(), 1u);
}

TEST(IntfAddrVrfTableSm, MutingTheMachineMutesItsInputsAndItsChildren) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    fixture.ip("Ethernet2", "10.0.0.1/24");
    ASSERT_THAT(fixture.deferred(), ElementsAre("10.0.0.1/24 Ethernet2"));
    fixture.clear();

    fixture.sm->hasNotificationActiveIs(false);
    fixture.ip("Ethernet1", "10.0.0.2/24");
    fixture.ip6("Ethernet1", "2001:db8::2/64");
    fixture.ip("Ethernet3", "10.0.3.1/24");
    fixture.ip6("Ethernet3", "2001:db8:3::1/64");
    fixture.sm->allIntfAddrWithMask()->allDel(
        {"Ethernet1", Nimb::IpGenAddrWithMask("10.0.0.1/24")});
    fixture.table->intfAddrEntryDelAll();
    fixture.table->vrfIpIntfStatusIs(nullptr);
    fixture.virtualIp->virtualIpIs({"blue", Nimb::IpAddrWithMask("10.9.0.1/24")});
    fixture.virtualIp6->virtualIp6Is({"blue", Nimb::Ip6Addr("2001:db8:9::1")});
    fixture.kernelDel("Ethernet2");
    fixture.time.advance(10.0);
    EXPECT_THAT(fixture.traces.messages(), IsEmpty());
    EXPECT_FALSE(fixture.sm->intfCleanupSm()->hasNotificationActive());
    EXPECT_FALSE(fixture.sm->deferredIntfAddSm()->hasNotificationActive());
    auto const ipSm = fixture.sm->ipIntfStatusSm("Ethernet1");
    auto const ip6Sm = fixture.sm->ip6IntfStatusSm("Ethernet1");
    ASSERT_TRUE(ipSm && ip6Sm);
    EXPECT_FALSE(ipSm->hasNotificationActive());
    EXPECT_FALSE(ip6Sm->hasNotificationActive());

    fixture.sm->hasNotificationActiveIs(true);
    EXPECT_TRUE(fixture.sm->intfCleanupSm()->hasNotificationActive());
    EXPECT_TRUE(fixture.sm->deferredIntfAddSm()->hasNotificationActive());
    fixture.ip6("Ethernet1", "2001:db8::3/64");
    EXPECT_THAT(fixture.rows(), ElementsAre("2001:db8::3/64 Ethernet1"));
    fixture.table->vrfIpIntfStatusIs(fixture.vrfIp);
    EXPECT_THAT(fixture.tracesOf("IntfAddrVrfTableSm"),
                Not(Contains("8 handleIpIntfStatus on Ethernet3")));
}

TEST(IntfAddrVrfTableSm, ADeprecatedLinkLocalAddressFailsItsPublisherAndNobodyElse) {
    SmFixture fixture;
    auto const status = Ip6::intfStatusFactory("Ethernet1");
    status->addrIs(Nimb::Ip6AddrWithMask("fe80::1/64"), {.deprecated = true});
    status->addrIs(Nimb::Ip6AddrWithMask("2001:db8::1/64"), {});
    fixture.kernelIs("Ethernet1");
    EXPECT_THROW(fixture.vrfIp6->intfStatusIs(status), Zin::RangeError);
    EXPECT_THAT(fixture.rows(), ElementsAre("2001:db8::1/64 Ethernet1"));

    fixture.ip6("Ethernet1", "2001:db8::2/64");
    EXPECT_THAT(fixture.rows(),
                ElementsAre("2001:db8::1/64 Ethernet1", "2001:db8::2/64 Ethernet1"));
    fixture.ip6("Ethernet1", "fe80::1/64", false);
    EXPECT_THAT(fixture.linkLocals(), ElementsAre("fe80::1/64 Ethernet1"));
    EXPECT_THROW(fixture.ip6("Ethernet1", "fe80::1/64", true), Zin::RangeError);
    EXPECT_THAT(fixture.linkLocals(), ElementsAre("fe80::1/64 Ethernet1"));
    fixture.ip6StatusDel("Ethernet1");
    fixture.time.advance(1.5);
    EXPECT_THAT(fixture.rows(), IsEmpty());
}

TEST(IntfAddrVrfTableSm, AStatusThatFailsAtTheStartFailsTheStartOutsideOfATurn) {
    SmFixture fixture;
    fixture.smDel();
    {
        auto const status = Ip6::intfStatusFactory("Ethernet1");
        status->addrIs(Nimb::Ip6AddrWithMask("fe80::1/64"), {.deprecated = true});
        fixture.vrfIp6->intfStatusIs(status);
    }
    EXPECT_THROW(fixture.smIs(), Zin::RangeError);
    EXPECT_EQ(fixture.sm, nullptr);
}

TEST(IntfAddrVrfTableSm, ItsAttributesAreRegistered) {
    auto const* const type = Zin::registeredType("IpLib::IntfAddrVrfTableSm");
    ASSERT_NE(type, nullptr);
    for (auto const* const name :
         {"vrfName", "networkNamespace", "smConfig", "scheduler", "virtualIpStatus",
          "virtualIp6Status", "kernelIntfDir", "intfAddrVrfTable", "vrfIpIntfStatus",
          "vrfIp6IntfStatus", "allIntfAddrWithMask", "intfCleanupBacklog", "deferredIntfAddBacklog",
          "intfCleanupSm", "deferredIntfAddSm", "ipIntfStatusSm", "ip6IntfStatusSm"}) {
        EXPECT_NE(type->attribute(name), nullptr) << name;
    }
    EXPECT_NE(Zin::registeredType("IpLib::IntfAddrVrfTableImpl::IpIntfStatusSm"), nullptr);
    EXPECT_NE(Zin::registeredType("IpLib::IntfAddrVrfTableImpl::Ip6IntfStatusSm"), nullptr);
}

}  // namespace
}  // namespace IpLib
