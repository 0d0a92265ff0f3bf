#include "Nimb/AddrBytes.h"

#include <gtest/gtest.h>

namespace Nimb {
namespace {

TEST(IsEqual, EveryBitCounts) {
    Ip6Bytes const address{0x20, 0x01, 0x0d, 0xb8, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    EXPECT_TRUE(isEqual(address, Ip6Bytes(address)));
    for (std::size_t bit = 0; bit < 128; ++bit) {
        Ip6Bytes other = address;
        other[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
        EXPECT_FALSE(isEqual(address, other)) << bit;
    }
}

TEST(Masked, ClearsAllBitsBehindTheLength) {
    Ip6Bytes ones;
    ones.fill(0xff);
    for (std::uint8_t length = 0; length <= 128; ++length) {
        Ip6Bytes const result = masked(ones, length);
        for (std::size_t bit = 0; bit < 128; ++bit) {
            bool const isSet = (result[bit / 8] >> (7 - bit % 8) & 1) != 0;
            ASSERT_EQ(isSet, bit < length) << int{length};
        }
    }
}

TEST(Compare, TellsAddressesApartByTheirFirstDifferentByte) {
    Ip6Bytes const address{0x20, 0x01, 0x0d, 0xb8, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    EXPECT_EQ(compare(address, address), std::strong_ordering::equal);
    for (std::size_t byte = 0; byte < 16; ++byte) {
        Ip6Bytes greater = address;
        ++greater[byte];
        for (std::size_t behind = byte + 1; behind < 16; ++behind) {
            greater[behind] = 0;
        }
        EXPECT_EQ(compare(address, greater), std::strong_ordering::less) << byte;
        EXPECT_EQ(compare(greater, address), std::strong_ordering::greater) << byte;
    }
}

}  // namespace
}  // namespace Nimb
