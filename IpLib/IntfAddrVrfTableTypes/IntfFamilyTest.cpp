#include "IpLib/IntfAddrVrfTableTypes/IntfFamily.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "IpLib/IntfAddrVrfTableTypes/TestProperties.h"

namespace IpLib {
namespace {

using Nimb::AddressFamily;

TEST(IntfFamily, TheDefaultIsOfNoInterfaceAndNoFamily) {
    EXPECT_EQ(IntfFamily(), (IntfFamily{"", AddressFamily::unset}));
}

TEST(IntfFamily, SortsByInterfaceThenFamily) {
    TestKit::RandomValues random;
    TestKit::expectOrderOf(
        [](IntfFamily const& value) {
            return std::tuple(std::string(value.intfId.name()), static_cast<unsigned>(value.af));
        },
        [&] {
            return IntfFamily{random.intfId(), static_cast<AddressFamily>(random.below(3))};
        });
}

TEST(IntfFamily, HashesItsInterfaceThenItsFamilyInFourBytes) {
    TestKit::RandomValues random;
    for (int i = 0; i < 10000; ++i) {
        auto const family = static_cast<std::uint32_t>(random.below(3));
        IntfFamily const value{random.intfId(), static_cast<AddressFamily>(family)};
        auto const seed = static_cast<std::uint32_t>(random.below(1U << 31));
        Zin::Hash stated(seed);
        stated.mix4(value.intfId.hash());
        stated.mix4(family);

        ASSERT_EQ(value.hash(seed), stated.finish());
    }
}

}  // namespace
}  // namespace IpLib
