#include "IpLib/IntfAddrVrfTableSmTypes/FiniteDelays.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace IpLib::IntfAddrVrfTableImpl {
namespace {

using Limits = std::numeric_limits<Zin::Seconds>;

// What is said of the configuration, "" where it is taken.
template <class Config>
std::string refusalOf(Config const& config) {
    try {
        EXPECT_EQ(&withFiniteDelays(config), &config);
    } catch (Zin::RangeError const& error) {
        return error.what();
    }
    return "";
}

TEST(FiniteDelays, AreTakenNegativeOnesAmongThem) {
    for (Zin::Seconds const delay : {0.0, -1.5, 1e300, Limits::denorm_min()}) {
        EXPECT_EQ(refusalOf(IntfCleanupSmConfig{delay, {}}), "");
        EXPECT_EQ(refusalOf(IntfAddrVrfTableSmConfig{delay, delay}), "");
    }
}

TEST(FiniteDelays, AreAllThatIsTaken) {
    EXPECT_EQ(refusalOf(IntfCleanupSmConfig{Limits::infinity(), {}}),
              "delay inf is not a finite time");
    EXPECT_EQ(refusalOf(DeferredIntfAddSmConfig{Limits::quiet_NaN(), {}}),
              "delay nan is not a finite time");
    EXPECT_EQ(refusalOf(IntfAddrVrfTableSmConfig{-Limits::infinity(), 2.0}),
              "intfCleanupDelay -inf is not a finite time");
    EXPECT_EQ(refusalOf(IntfAddrVrfTableSmConfig{1.5, Limits::infinity()}),
              "deferredIntfAddDelay inf is not a finite time");
}

}  // namespace
}  // namespace IpLib::IntfAddrVrfTableImpl
