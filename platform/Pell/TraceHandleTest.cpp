#include "Pell/TraceHandle.h"

#include <gmock/gmock.h>

namespace Pell {
namespace {

using testing::Contains;
using testing::IsSupersetOf;
using testing::Not;

class TraceHandles : public testing::Test {
protected:
    ~TraceHandles() override { traceLevelIs("*", 0); }
};

TEST_F(TraceHandles, AreOffAtFirst) {
    TraceHandle const handle("Heron");
    EXPECT_FALSE(handle.enabled(1));
    EXPECT_EQ(traceLevel("Heron"), 0);
}

TEST_F(TraceHandles, ALevelEnablesItselfAndThoseBelow) {
    TraceHandle const handle("Heron");
    traceLevelIs("Heron", 8);
    EXPECT_TRUE(handle.enabled(3));
    EXPECT_TRUE(handle.enabled(8));
    EXPECT_FALSE(handle.enabled(9));

    traceLevelIs("Heron", 0);
    EXPECT_FALSE(handle.enabled(1));
}

TEST_F(TraceHandles, EnableNothingThatIsNoLevel) {
    TraceHandle const handle("Heron");
    for (int const setting : {0, 9, 10}) {
        traceLevelIs("Heron", setting);
        EXPECT_FALSE(handle.enabled(-1)) << setting;
        EXPECT_FALSE(handle.enabled(0)) << setting;
        EXPECT_FALSE(handle.enabled(10)) << setting;
    }
}

TEST_F(TraceHandles, ASettingBeyondTheLevelsIsTheNearestLevel) {
    TraceHandle const handle("Heron");
    traceLevelIs("Heron", 10);
    EXPECT_EQ(handle.level(), 9);
    traceLevelIs("*", -1);
    EXPECT_EQ(handle.level(), 0);
}

TEST_F(TraceHandles, TakeBackASettingAsAWhole) {
    TraceHandle const heron("Heron");
    TraceHandle const bittern("Bittern");
    traceLevelIs("*", 3);
    traceLevelIs("Heron", 8);
    TraceLevels const before = traceLevels();
    traceLevelIs("*", 9);
    traceLevelIs("Bittern", 0);

    traceLevelsIs(before);

    EXPECT_EQ(heron.level(), 8);
    EXPECT_EQ(bittern.level(), 3);
    traceLevelIs("*", 0);
    EXPECT_EQ(heron.level(), 0);
}

TEST_F(TraceHandles, AreSwitchedByName) {
    TraceHandle const heron("Heron");
    TraceHandle const other("Bittern");
    traceLevelIs("Heron", 8);
    EXPECT_EQ(heron.level(), 8);
    EXPECT_EQ(other.level(), 0);
}

TEST_F(TraceHandles, OfOneNameAreSwitchedTogether) {
    TraceHandle const one("Heron");
    TraceHandle const two("Heron");
    traceLevelIs("Heron", 3);
    EXPECT_EQ(one.level(), 3);
    EXPECT_EQ(two.level(), 3);
}

TEST_F(TraceHandles, TakeUpASettingMadeBeforeTheyExisted) {
    traceLevelIs("Heron", 8);
    TraceHandle const heron("Heron");
    EXPECT_EQ(heron.level(), 8);
}

TEST_F(TraceHandles, TheStarReachesAllPresentAndFuture) {
    TraceHandle const heron("Heron");
    traceLevelIs("*", 9);
    TraceHandle const bittern("Bittern");
    EXPECT_EQ(heron.level(), 9);
    EXPECT_EQ(bittern.level(), 9);
    EXPECT_EQ(traceLevel("*"), 9);
}

TEST_F(TraceHandles, TheStarReplacesWhatSingleClassesWereGiven) {
    TraceHandle const heron("Heron");
    traceLevelIs("Heron", 9);
    traceLevelIs("*", 3);
    EXPECT_EQ(heron.level(), 3);
}

TEST_F(TraceHandles, AClassCanBeExemptedFromTheStar) {
    TraceHandle const heron("Heron");
    TraceHandle const bittern("Bittern");
    traceLevelIs("*", 9);
    traceLevelIs("Heron", 0);
    EXPECT_EQ(heron.level(), 0);
    EXPECT_EQ(bittern.level(), 9);
}

TEST_F(TraceHandles, AreListedOnceANameInAlphabeticalOrderWhileTheyLive) {
    {
        TraceHandle const heron("Heron");
        TraceHandle const again("Heron");
        TraceHandle const bittern("Bittern");
        auto const names = traceClassNames();
        EXPECT_THAT(names, IsSupersetOf({"Bittern", "Heron"}));
        for (std::size_t i = 1; i < names.size(); ++i) {
            EXPECT_LT(names[i - 1], names[i]);
        }
    }
    EXPECT_THAT(traceClassNames(), Not(Contains("Heron")));
}

}  // namespace
}  // namespace Pell
