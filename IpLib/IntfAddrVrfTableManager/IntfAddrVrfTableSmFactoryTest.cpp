#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableSmFactory.h"

#include <gmock/gmock.h>

#include <limits>
#include <string>

#include "IpLib/IntfAddrVrfTableManager/TestManagerFixture.h"
#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Zin/Errors.h"

namespace IpLib {
namespace {

using TestKit::ManagerFixture;

TEST(IntfAddrVrfTableSmFactory, HoldsWhatItWasGiven) {
    ManagerFixture fixture({.intfCleanupDelay = 3.0});
    EXPECT_EQ(fixture.factory->smConfig(), fixture.config);
    EXPECT_EQ(fixture.factory->scheduler(), fixture.time.scheduler());
    EXPECT_EQ(fixture.factory->virtualIpStatus(), fixture.virtualIp);
    EXPECT_EQ(fixture.factory->virtualIp6Status(), fixture.virtualIp6);
    EXPECT_EQ(fixture.factory->kniIntfStatusHelper(), fixture.helper);
}

TEST(IntfAddrVrfTableSmFactory, AMachineHasItsVrfItsTableAndAllThatTheFactoryHolds) {
    ManagerFixture fixture({.intfCleanupDelay = 3.0});
    auto const table = intfAddrVrfTableFactory();

    auto const sm = fixture.factory->make("red", table);

    EXPECT_EQ(sm->vrfName(), "red");
    EXPECT_EQ(sm->networkNamespace().bytes(), "ns-red");
    EXPECT_EQ(sm->smConfig(), fixture.config);
    EXPECT_EQ(sm->scheduler(), fixture.time.scheduler());
    EXPECT_EQ(sm->virtualIpStatus(), fixture.virtualIp);
    EXPECT_EQ(sm->virtualIp6Status(), fixture.virtualIp6);
    EXPECT_EQ(sm->kernelIntfDir(), fixture.helper->deviceIntfStatusDir("red"));
    EXPECT_EQ(sm->intfAddrVrfTable(), table);
}

TEST(IntfAddrVrfTableSmFactory, TheVrfDefaultRunsInTheDefaultNamespace) {
    ManagerFixture fixture;
    auto const sm = fixture.factory->make("default", intfAddrVrfTableFactory());
    EXPECT_TRUE(sm->networkNamespace().isDefault());
}

TEST(IntfAddrVrfTableSmFactory, EachMachineIsOneUseOfTheDirectory) {
    ManagerFixture fixture;
    EXPECT_EQ(fixture.uses("red"), 0u);
    auto const first = fixture.factory->make("red", intfAddrVrfTableFactory());
    auto const second = fixture.factory->make("red", intfAddrVrfTableFactory());
    EXPECT_NE(first, second);
    EXPECT_EQ(fixture.uses("red"), 2u);
    EXPECT_EQ(fixture.uses("blue"), 0u);

    fixture.factory->unmake("red");
    EXPECT_EQ(fixture.uses("red"), 1u);
    EXPECT_FALSE(first->retired());
    fixture.factory->unmake("red");
    fixture.factory->unmake("red");
    fixture.factory->unmake("blue");
    EXPECT_EQ(fixture.uses("red"), 0u);
}

TEST(IntfAddrVrfTableSmFactory, ANamespaceNameOfMoreThan150BytesIsRefused) {
    ManagerFixture fixture;
    std::string const longest(147, 'v');
    EXPECT_EQ(fixture.factory->make(longest, intfAddrVrfTableFactory())->networkNamespace().bytes(),
              "ns-" + longest);
    try {
        fixture.factory->make(longest + 'v', intfAddrVrfTableFactory());
        ADD_FAILURE() << "not refused";
    } catch (Zin::RangeError const& error) {
        EXPECT_STREQ(error.what(), "Zin::String::bytes > 150 not allowed");
    }
}

TEST(IntfAddrVrfTableSmFactory, DelaysThatNeverPassAreRefusedByItAndByTheMachine) {
    ManagerFixture const fixture;
    auto const endless = std::numeric_limits<Zin::Seconds>::infinity();
    for (IntfAddrVrfTableSmConfig const config :
         {IntfAddrVrfTableSmConfig{.intfCleanupDelay = endless},
          IntfAddrVrfTableSmConfig{.deferredIntfAddDelay = endless}}) {
        EXPECT_THROW(intfAddrVrfTableSmFactoryFactory(config, fixture.time.scheduler(), nullptr,
                                                      nullptr, fixture.helper),
                     Zin::RangeError);
        EXPECT_THROW(intfAddrVrfTableSmFactory("red", {}, config, fixture.time.scheduler(), nullptr,
                                               nullptr, nullptr, intfAddrVrfTableFactory()),
                     Zin::RangeError);
    }
}

}  // namespace
}  // namespace IpLib
