#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"

#include <gmock/gmock.h>

#include "IpLib/IntfAddrVrfTableSm/SmBench.h"
#include "IpLib/IntfAddrVrfTableSm/TestAfParent.h"
#include "Zin/Errors.h"
#include "Zin/Registry.h"

namespace IpLib {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using Testing::SmBench;

// A machine without any input.
Zin::Ptr<IntfAddrVrfTableSm> bareMachine(Testing::VirtualTime const& time) {
    return intfAddrVrfTableSmFactory("blue", Nimb::NamespaceName("ns-blue"), {}, time.scheduler(),
                                     nullptr, nullptr, nullptr, nullptr);
}

TEST(IntfAddrVrfTableSm, KeepsWhatItIsGiven) {
    SmBench bench({.intfCleanupDelay = 0.5, .deferredIntfAddDelay = 0.25});
    EXPECT_EQ(bench.sm->vrfName(), L3::VrfName("blue"));
    EXPECT_EQ(bench.sm->networkNamespace(), Nimb::NamespaceName("ns-blue"));
    EXPECT_EQ(bench.sm->smConfig(), bench.config);
    EXPECT_EQ(bench.sm->scheduler(), bench.time.scheduler());
    EXPECT_EQ(bench.sm->virtualIpStatus(), bench.virtualIp);
    EXPECT_EQ(bench.sm->virtualIp6Status(), bench.virtualIp6);
    EXPECT_EQ(bench.sm->kernelIntfDir(), bench.kernel);
    EXPECT_EQ(bench.sm->intfAddrVrfTable(), bench.table);
    EXPECT_EQ(bench.sm->vrfIpIntfStatus(), bench.vrfIp);
    EXPECT_EQ(bench.sm->vrfIp6IntfStatus(), bench.vrfIp6);
}

TEST(IntfAddrVrfTableSm, ItsTasksTakeTheirDelaysAndPriorityFromTheConfiguration) {
    SmBench bench({.intfCleanupDelay = 0.5,
                   .deferredIntfAddDelay = 0.25,
                   .taskPriority = Velk::TaskPriority::high});
    EXPECT_EQ(bench.sm->intfCleanupSm()->smConfig(),
              (IntfAddrVrfTableSm::IntfCleanupSmConfig{0.5, Velk::TaskPriority::high}));
    EXPECT_EQ(bench.sm->intfCleanupSm()->task()->taskName(), "IntfCleanup-VRF-blue");
    EXPECT_EQ(bench.sm->deferredIntfAddSm()->smConfig(),
              (IntfAddrVrfTableSm::DeferredIntfAddSmConfig{0.25, Velk::TaskPriority::high}));
    EXPECT_EQ(bench.sm->deferredIntfAddSm()->task()->taskName(), "DeferredIntfAdd-VRF-blue");
}

TEST(IntfAddrVrfTableSm, NoCleanupMachineryExistsWithoutADelay) {
    SmBench bench({.intfCleanupDelay = 0.0});
    EXPECT_EQ(bench.sm->intfCleanupBacklog(), nullptr);
    EXPECT_EQ(bench.sm->intfCleanupSm(), nullptr);
    EXPECT_NE(bench.sm->deferredIntfAddBacklog(), nullptr);
    EXPECT_NE(bench.sm->deferredIntfAddSm(), nullptr);
}

TEST(IntfAddrVrfTableSm, CleanupMachineryExistsWithAnyOtherDelayANegativeOneToo) {
    for (Zin::Seconds const delay : {1.5, 1e-9, -1.0}) {
        SmBench bench({.intfCleanupDelay = delay});
        EXPECT_NE(bench.sm->intfCleanupBacklog(), nullptr) << delay;
        EXPECT_NE(bench.sm->intfCleanupSm(), nullptr) << delay;
    }
}

TEST(IntfAddrVrfTableSm, DeferredAddMachineryExistsWithoutADelayToo) {
    SmBench bench({.deferredIntfAddDelay = 0.0});
    EXPECT_NE(bench.sm->deferredIntfAddBacklog(), nullptr);
    ASSERT_NE(bench.sm->deferredIntfAddSm(), nullptr);
    EXPECT_EQ(bench.sm->deferredIntfAddSm()->smConfig().delay, 0.0);
}

TEST(IntfAddrVrfTableSm, StartsWithTheAddressesThatAreThere) {
    SmBench bench;
    bench.smDel();
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip6("Ethernet2", "2001:db8::1/64");
    bench.clear();
    bench.smIs();
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "2001:db8::1/64 Ethernet2"));

    // First without inputs, which are bound when all is there to take them.
    auto const traces = bench.traceTexts();
    EXPECT_EQ(traces[0], "8 handleIpIntfStatusAll vrfIpIntfStatus null");
    EXPECT_EQ(traces[1], "8 handleIp6IntfStatusAll vrfI6IntfStatus null");
    EXPECT_EQ(traces[2], "8 handleVirtualIpAll");
    EXPECT_EQ(traces[3], "8 handleVirtualIp6All");
    EXPECT_EQ(traces[4], fmt::format("8 handleIpIntfStatusAll vrfIpIntfStatus {}",
                                     bench.table->vrfIpIntfStatus()));
    EXPECT_EQ(traces[5], "8 handleIpIntfStatus on Ethernet1");
    EXPECT_THAT(traces, AllOf(Contains(fmt::format("8 handleIp6IntfStatusAll vrfI6IntfStatus {}",
                                                   bench.table->vrfIp6IntfStatus())),
                              Contains("8 handleIp6IntfStatus on Ethernet2")));
}

TEST(IntfAddrVrfTableSm, AMachineIsMadeOfItsStatusItsParentAndTheRows) {
    Testing::Events events;
    SmBench bench;
    auto const parent = Zin::make<Testing::TestAfParent>(events);
    auto const all = allIntfAddrWithMaskFactory();
    auto const status = Ip::ipIntfStatusFactory("Ethernet9");
    auto const status6 = Ip6::intfStatusFactory("Ethernet9");

    auto const machine = bench.sm->ipIntfStatusSmIs(status, parent, all);
    EXPECT_EQ(bench.sm->ipIntfStatusSm("Ethernet9"), machine);
    EXPECT_EQ(bench.sm->ipIntfStatusSmIs(status, parent, all), machine);
    auto const machine6 = bench.sm->ip6IntfStatusSmIs(status6, parent, all);
    EXPECT_EQ(bench.sm->ip6IntfStatusSmIs(status6, parent, all), machine6);

    auto const otherParent = Zin::make<Testing::TestAfParent>(events);
    EXPECT_THROW(bench.sm->ipIntfStatusSmIs(status, otherParent, all), Zin::ReinstantiationError);
    EXPECT_THROW(bench.sm->ip6IntfStatusSmIs(status6, otherParent, all), Zin::ReinstantiationError);
    EXPECT_THROW(bench.sm->ipIntfStatusSmIs(status, parent, bench.sm->allIntfAddrWithMask()),
                 Zin::ReinstantiationError);
    EXPECT_THROW(bench.sm->ip6IntfStatusSmIs(status6, parent, bench.sm->allIntfAddrWithMask()),
                 Zin::ReinstantiationError);
    EXPECT_THROW(bench.sm->ipIntfStatusSmIs(Ip::ipIntfStatusFactory("Ethernet9"), parent, all),
                 Zin::ReinstantiationError);
    EXPECT_THROW(bench.sm->ip6IntfStatusSmIs(Ip6::intfStatusFactory("Ethernet9"), parent, all),
                 Zin::ReinstantiationError);
    EXPECT_EQ(bench.sm->ipIntfStatusSm("Ethernet9"), machine);
    EXPECT_EQ(bench.sm->ip6IntfStatusSm("Ethernet9"), machine6);
}

TEST(IntfAddrVrfTableSm, AMachineNeedsAStatus) {
    SmBench bench;
    Testing::Events events;
    auto const parent = Zin::make<Testing::TestAfParent>(events);
    auto const all = bench.sm->allIntfAddrWithMask();
    auto const attributeOf = [](auto const& act) -> std::string {
        try {
            act();
        } catch (Zin::NullArgumentError const& error) {
            return error.attribute();
        }
        return "no error";
    };
    EXPECT_EQ(attributeOf([&] { bench.sm->ipIntfStatusSmIs(nullptr, parent, all); }),
              "ipIntfStatus");
    EXPECT_EQ(attributeOf([&] { bench.sm->ip6IntfStatusSmIs(nullptr, parent, all); }),
              "ip6IntfStatus");
    EXPECT_TRUE(bench.sm->ipIntfStatusSm().empty());
    EXPECT_TRUE(bench.sm->ip6IntfStatusSm().empty());
}

TEST(IntfAddrVrfTableSm, AChildMadeOfTheSameArgumentsIsKept) {
    SmBench bench;
    auto const all = bench.sm->allIntfAddrWithMask();
    EXPECT_EQ(bench.sm->allIntfAddrWithMaskIs(), all);
    auto const cleanupBacklog = bench.sm->intfCleanupBacklog();
    EXPECT_EQ(bench.sm->intfCleanupBacklogIs(), cleanupBacklog);
    auto const deferredBacklog = bench.sm->deferredIntfAddBacklog();
    EXPECT_EQ(bench.sm->deferredIntfAddBacklogIs(), deferredBacklog);

    auto const cleanupParent = Zin::make<IntfAddrVrfTableImpl::IntfCleanupParent>(*bench.sm);
    auto const cleanupSmIs = [&](Zin::Seconds delay) {
        return bench.sm->intfCleanupSmIs({delay, {}}, cleanupParent, cleanupBacklog, "blue",
                                         bench.time.scheduler());
    };
    auto const first = cleanupSmIs(1.0);
    EXPECT_EQ(cleanupSmIs(1.0), first);
    EXPECT_NE(cleanupSmIs(2.0), first);
    EXPECT_TRUE(first->retired());

    auto const deferredParent = Zin::make<IntfAddrVrfTableImpl::DeferredIntfAddParent>(*bench.sm);
    auto const deferredSmIs = [&](Zin::Seconds delay) {
        return bench.sm->deferredIntfAddSmIs({delay, {}}, deferredParent, deferredBacklog, "blue",
                                             bench.time.scheduler());
    };
    auto const firstDeferred = deferredSmIs(1.0);
    EXPECT_EQ(deferredSmIs(1.0), firstDeferred);
    EXPECT_NE(deferredSmIs(2.0), firstDeferred);
    EXPECT_TRUE(firstDeferred->retired());
}

TEST(IntfAddrVrfTableSm, AMachineWithoutInputsStandsAndAnswersEveryHandler) {
    Testing::TraceRecorder const traces("IntfAddrVrfTableSm");
    Testing::VirtualTime time;
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
    Testing::VirtualTime time;
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
    Testing::VirtualTime time;
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
    SmBench bench({.intfCleanupDelay = 0.0});
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.secondary("Ethernet1", "10.0.1.1/24");
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.ip6("Ethernet1", "fe80::1/64");
    bench.smDel();
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.rowsByAddr(), IsEmpty());
    EXPECT_THAT(bench.sets(), IsEmpty());
    EXPECT_THAT(bench.linkLocals(), IsEmpty());
}

TEST(IntfAddrVrfTableSm, TeardownWithACleanupDelayLeavesTheRowsAndDropsTheCleanup) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.smDel();
    EXPECT_EQ(bench.time.scheduler()->nextExpiry(), Velk::never);
    bench.time.advance(10.0);
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(IntfAddrVrfTableSm, TeardownTakesTheMachinesFirstThenDeferredAddsThenCleanups) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip6("Ethernet2", "2001:db8::1/64");
    auto const cleanupTask = bench.sm->intfCleanupSm();
    auto const deferredTask = bench.sm->deferredIntfAddSm();
    bench.clear();
    bench.sm->retire();
    EXPECT_TRUE(bench.sm->ipIntfStatusSm().empty());
    EXPECT_TRUE(bench.sm->ip6IntfStatusSm().empty());
    EXPECT_EQ(bench.sm->intfCleanupSm(), nullptr);
    EXPECT_EQ(bench.sm->deferredIntfAddSm(), nullptr);
    EXPECT_TRUE(cleanupTask->retired());
    EXPECT_TRUE(deferredTask->retired());
    // Both families' machines found the clean-up task still there.
    EXPECT_THAT(bench.tracesOf("IntfCleanupSm"),
                ElementsAre("8 maybeScheduleTask task is scheduled to run in 1.5 seconds",
                            "8 maybeScheduleTask task is scheduled to run in 1.5 seconds"));
    EXPECT_THAT(bench.traceTexts(),
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
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.sm->retire();
    bench.clear();
    bench.ip("Ethernet1", "10.0.0.2/24");
    bench.ip("Ethernet2", "10.0.2.1/24");
    bench.ip6("Ethernet2", "2001:db8::1/64");
    bench.table->vrfIpIntfStatusIs(nullptr);
    bench.table->vrfIp6IntfStatusIs(nullptr);
    bench.table->intfAddrEntryDelAll();
    bench.sm->handleIpIntfStatus("Ethernet1");
    bench.sm->handleIp6IntfStatus("Ethernet1");
    EXPECT_THAT(bench.traces.messages(), IsEmpty());
    EXPECT_THAT(bench.rows(), IsEmpty());
}

TEST(IntfAddrVrfTableSm, TheMachineIsNotKeptAliveByItsChildren) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip6("Ethernet1", "2001:db8::1/64");
    EXPECT_EQ(bench.sm->referenceCount(), 1u);
}

TEST(IntfAddrVrfTableSm, MutingTheMachineMutesItsInputsAndItsChildren) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.ip("Ethernet2", "10.0.0.1/24");
    ASSERT_THAT(bench.deferred(), ElementsAre("10.0.0.1/24 Ethernet2"));
    bench.clear();

    bench.sm->hasNotificationActiveIs(false);
    bench.ip("Ethernet1", "10.0.0.2/24");
    bench.ip6("Ethernet1", "2001:db8::2/64");
    bench.ip("Ethernet3", "10.0.3.1/24");
    bench.ip6("Ethernet3", "2001:db8:3::1/64");
    bench.sm->allIntfAddrWithMask()->allDel({"Ethernet1", Nimb::IpGenAddrWithMask("10.0.0.1/24")});
    bench.table->intfAddrEntryDelAll();
    bench.table->vrfIpIntfStatusIs(nullptr);
    bench.virtualIp->virtualIpIs({"blue", Nimb::IpAddrWithMask("10.9.0.1/24")});
    bench.virtualIp6->virtualIp6Is({"blue", Nimb::Ip6Addr("2001:db8:9::1")});
    bench.kernelDel("Ethernet2");
    bench.time.advance(10.0);
    EXPECT_THAT(bench.traces.messages(), IsEmpty());
    EXPECT_FALSE(bench.sm->intfCleanupSm()->hasNotificationActive());
    EXPECT_FALSE(bench.sm->deferredIntfAddSm()->hasNotificationActive());
    auto const ipSm = bench.sm->ipIntfStatusSm("Ethernet1");
    auto const ip6Sm = bench.sm->ip6IntfStatusSm("Ethernet1");
    ASSERT_TRUE(ipSm && ip6Sm);
    EXPECT_FALSE(ipSm->hasNotificationActive());
    EXPECT_FALSE(ip6Sm->hasNotificationActive());

    bench.sm->hasNotificationActiveIs(true);
    EXPECT_TRUE(bench.sm->intfCleanupSm()->hasNotificationActive());
    EXPECT_TRUE(bench.sm->deferredIntfAddSm()->hasNotificationActive());
    bench.ip6("Ethernet1", "2001:db8::3/64");
    EXPECT_THAT(bench.rows(), ElementsAre("2001:db8::3/64 Ethernet1"));
    bench.table->vrfIpIntfStatusIs(bench.vrfIp);
    EXPECT_THAT(bench.tracesOf("IntfAddrVrfTableSm"),
                Not(Contains("8 handleIpIntfStatus on Ethernet3")));
}

TEST(IntfAddrVrfTableSm, ADeprecatedLinkLocalAddressFailsItsPublisherAndNobodyElse) {
    SmBench bench;
    auto const status = Ip6::intfStatusFactory("Ethernet1");
    status->addrIs(Nimb::Ip6AddrWithMask("fe80::1/64"), {.deprecated = true});
    status->addrIs(Nimb::Ip6AddrWithMask("2001:db8::1/64"), {});
    bench.kernelIs("Ethernet1");
    EXPECT_THROW(bench.vrfIp6->intfStatusIs(status), Zin::RangeError);
    EXPECT_THAT(bench.rows(), ElementsAre("2001:db8::1/64 Ethernet1"));

    bench.ip6("Ethernet1", "2001:db8::2/64");
    EXPECT_THAT(bench.rows(), ElementsAre("2001:db8::1/64 Ethernet1", "2001:db8::2/64 Ethernet1"));
    bench.ip6("Ethernet1", "fe80::1/64", false);
    EXPECT_THAT(bench.linkLocals(), ElementsAre("fe80::1/64 Ethernet1"));
    EXPECT_THROW(bench.ip6("Ethernet1", "fe80::1/64", true), Zin::RangeError);
    EXPECT_THAT(bench.linkLocals(), ElementsAre("fe80::1/64 Ethernet1"));
    bench.ip6StatusDel("Ethernet1");
    bench.time.advance(1.5);
    EXPECT_THAT(bench.rows(), IsEmpty());
}

TEST(IntfAddrVrfTableSm, AStatusThatFailsAtTheStartFailsTheStartOutsideOfATurn) {
    SmBench bench;
    bench.smDel();
    {
        auto const status = Ip6::intfStatusFactory("Ethernet1");
        status->addrIs(Nimb::Ip6AddrWithMask("fe80::1/64"), {.deprecated = true});
        bench.vrfIp6->intfStatusIs(status);
    }
    EXPECT_THROW(bench.smIs(), Zin::RangeError);
    EXPECT_EQ(bench.sm, nullptr);
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
