#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableSmFactory.h"

#include <gmock/gmock.h>

#include <limits>
#include <string>

#include "IpLib/IntfAddrVrfTableManager/ManagerBench.h"
#include "Zin/Errors.h"

namespace IpLib {
namespace {

using Testing::ManagerBench;

TEST(IntfAddrVrfTableSmFactory, HoldsWhatItWasGiven) {
    ManagerBench bench({.intfCleanupDelay = 3.0});
    EXPECT_EQ(bench.factory->smConfig(), bench.config);
    EXPECT_EQ(bench.factory->scheduler(), bench.time.scheduler());
    EXPECT_EQ(bench.factory->virtualIpStatus(), bench.virtualIp);
    EXPECT_EQ(bench.factory->virtualIp6Status(), bench.virtualIp6);
    EXPECT_EQ(bench.factory->kniIntfStatusHelper(), bench.helper);
}

TEST(IntfAddrVrfTableSmFactory, AMachineHasItsVrfItsTableAndAllThatTheFactoryHolds) {
    ManagerBench bench({.intfCleanupDelay = 3.0});
    auto const table = intfAddrVrfTableFactory();

    auto const sm = bench.factory->make("red", table);

    EXPECT_EQ(sm->vrfName(), "red");
    EXPECT_EQ(sm->networkNamespace().bytes(), "ns-red");
    EXPECT_EQ(sm->smConfig(), bench.config);
    EXPECT_EQ(sm->scheduler(), bench.time.scheduler());
    EXPECT_EQ(sm->virtualIpStatus(), bench.virtualIp);
    EXPECT_EQ(sm->virtualIp6Status(), bench.virtualIp6);
    EXPECT_EQ(sm->kernelIntfDir(), bench.helper->deviceIntfStatusDir("red"));
    EXPECT_EQ(sm->intfAddrVrfTable(), table);
}

TEST(IntfAddrVrfTableSmFactory, TheVrfDefaultRunsInTheDefaultNamespace) {
    ManagerBench bench;
    auto const sm = bench.factory->make("default", intfAddrVrfTableFactory());
    EXPECT_TRUE(sm->networkNamespace().isDefault());
}

TEST(IntfAddrVrfTableSmFactory, EachMachineIsOneUseOfTheDirectory) {
    ManagerBench bench;
    EXPECT_EQ(bench.uses("red"), 0u);
    auto const first = bench.factory->make("red", intfAddrVrfTableFactory());
    auto const second = bench.factory->make("red", intfAddrVrfTableFactory());
    EXPECT_NE(first, second);
    EXPECT_EQ(bench.uses("red"), 2u);
    EXPECT_EQ(bench.uses("blue"), 0u);

    bench.factory->unmake("red");
    EXPECT_EQ(bench.uses("red"), 1u);
    EXPECT_FALSE(first->retired());
    bench.factory->unmake("red");
    bench.factory->unmake("red");
    bench.factory->unmake("blue");
    EXPECT_EQ(bench.uses("red"), 0u);
}

TEST(IntfAddrVrfTableSmFactory, ANamespaceNameOfMoreThan150BytesIsRefused) {
    ManagerBench bench;
    std::string const longest(147, 'v');
    EXPECT_EQ(bench.factory->make(longest, intfAddrVrfTableFactory())->networkNamespace().bytes(),
              "ns-" + longest);
    try {
        bench.factory->make(longest + 'v', intfAddrVrfTableFactory());
        ADD_FAILURE() << "not refused";
    } catch (Zin::RangeError const& error) {
        EXPECT_STREQ(error.what(), "Zin::String::bytes > 150 not allowed");
    }
}

TEST(IntfAddrVrfTableSmFactory, DelaysThatNeverPassAreRefusedByItAndByTheMachine) {
    ManagerBench const bench;
    auto const endless = std::numeric_limits<Zin::Seconds>::infinity();
    for (IntfAddrVrfTableSmConfig const config :
         {IntfAddrVrfTableSmConfig{.intfCleanupDelay = endless},
          IntfAddrVrfTableSmConfig{.deferredIntfAddDelay = endless}}) {
        EXPECT_THROW(intfAddrVrfTableSmFactoryFactory(config, bench.time.scheduler(), nullptr,
                                                      nullptr, bench.helper),
                     Zin::RangeError);
        EXPECT_THROW(intfAddrVrfTableSmFactory("red", {}, config, bench.time.scheduler(), nullptr,
                                               nullptr, nullptr, intfAddrVrfTableFactory()),
                     Zin::RangeError);
    }
}

}  // namespace
}  // namespace IpLib
