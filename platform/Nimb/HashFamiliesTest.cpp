// Network values as a stranger would choose them to have them hash alike.
#include <gtest/gtest.h>

#include <bit>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "Nimb/IntfId.h"
#include "Nimb/IpGenAddrWithMask.h"
#include "Nimb/NamespaceName.h"
#include "Nimb/TestNamedFamilies.h"
#include "Zin/TestHashFamilies.h"

namespace Nimb {
namespace {

using Zin::expectNoCostlyFamily;
using Zin::HashInput;

Ip6Addr ip6Of(HashInput<2> const& input) { return Ip6Addr(std::bit_cast<Ip6Bytes>(input)); }

TEST(HashFamilies, OfInterfaceNamesAreNotCostly) {
    expectNoCostlyNamedFamily<2>([](auto const& input) { return IntfId(Zin::textOf(input)); });
}

TEST(HashFamilies, OfNamespaceNamesAreNotCostly) {
    expectNoCostlyFamily<2>([](auto const& input) { return NamespaceName(Zin::textOf(input)); });
}

TEST(HashFamilies, OfIpv4ValuesHaveHashesOfTheirOwn) {
    auto const expectTheirOwn = [](auto const& valueAt) {
        std::unordered_set<std::uint32_t> hashes;
        std::uint32_t const count = 22 * 1024;
        for (std::uint32_t i = 0; i < count; ++i) {
            hashes.insert(valueAt(i, static_cast<std::uint8_t>(i / 1024)).hash());
        }
        EXPECT_GE(hashes.size(), count - 5);
    };
    expectTheirOwn([](std::uint32_t i, std::uint8_t) { return Ip4Addr(0x0a000000 + i); });
    expectTheirOwn([](std::uint32_t i, std::uint8_t length) {
        return IpAddrWithMask(Ip4Addr(i % 1024), length);
    });
    expectTheirOwn([](std::uint32_t i, std::uint8_t length) {
        return IpGenAddrWithMask(Ip4Addr(i % 1024), length);
    });
    expectTheirOwn([](std::uint32_t i, std::uint8_t length) {
        return IpGenPrefix(Ip4Addr(i % 1024 << 22), static_cast<std::uint8_t>(10 + length));
    });
}

TEST(HashFamilies, OfIpv6AddressesAreNotCostly) {
    expectNoCostlyFamily<2>([](auto const& input) { return ip6Of(input); });
    expectNoCostlyFamily<2>([](auto const& input) { return IpGenAddr(ip6Of(input)); });
}

TEST(HashFamilies, OfIpv6SubnetsAndAddressesInThemAreNotCostly) {
    expectNoCostlyFamily<2>([](auto const& input) { return IpGenPrefix(ip6Of(input), 128); });
    expectNoCostlyFamily<2>([](auto const& input) { return Ip6AddrWithMask(ip6Of(input), 64); });
    expectNoCostlyFamily<2>([](auto const& input) { return IpGenAddrWithMask(ip6Of(input), 64); });
}

// What once hashed alike, whatever the seed.
TEST(HashFamilies, OfOneSubnetAndOfOneHostAreNotCostly) {
    for (bool const oneSubnet : {true, false}) {
        auto const bytes = [](char const* text) { return words(Ip6Addr(text).bytes()); };
        auto const constant =
            oneSubnet ? bytes("2f64:bd78:641d:76a0::")[0] : bytes("::db28:b4a0:d17e:3e7")[1];
        std::unordered_set<std::uint32_t> hashes;
        for (std::uint64_t i = 0; i < 32000; ++i) {
            hashes.insert(
                IpGenAddr(ip6Of(oneSubnet ? HashInput<2>{constant, i} : HashInput<2>{i, constant}))
                    .hash(7));
        }
        EXPECT_GE(hashes.size(), 31990U);
    }
}

template <class Value>
std::size_t countedInASet(std::vector<std::string> const& texts) {
    std::unordered_set<Value> values;
    for (std::string const& text : texts) {
        values.insert(Value(std::string_view(text)));
        values.insert(Value(std::string_view(text)));
    }
    return values.size();
}

TEST(StdHash, ServesTheNetworkValues) {
    std::vector<std::string> const none{"", "10.0.0.1", "::1"};
    EXPECT_EQ(countedInASet<IntfId>(none), 3U);
    EXPECT_EQ(countedInASet<NamespaceName>(none), 3U);
    EXPECT_EQ(countedInASet<Ip4Addr>({"10.0.0.1", "10.0.0.2"}), 2U);
    EXPECT_EQ(countedInASet<Ip6Addr>({"::1", "::2"}), 2U);
    EXPECT_EQ(countedInASet<IpGenAddr>(none), 3U);
    EXPECT_EQ(countedInASet<IpAddrWithMask>({"10.0.0.1/8", "10.0.0.1/9"}), 2U);
    EXPECT_EQ(countedInASet<Ip6AddrWithMask>({"::1/8", "::1/9"}), 2U);
    EXPECT_EQ(countedInASet<IpGenAddrWithMask>({"", "10.0.0.1/8", "::1/9"}), 3U);
    EXPECT_EQ(countedInASet<IpGenPrefix>({"", "10.0.0.0/8", "::/9"}), 3U);
    EXPECT_NE(std::hash<AddressFamily>()(AddressFamily::ipv4),
              std::hash<AddressFamily>()(AddressFamily::ipv6));
}

}  // namespace
}  // namespace Nimb
