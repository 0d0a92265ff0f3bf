// Addresses of both families. What only one of them has: Ip4AddrTest.cpp, Ip6AddrTest.cpp.

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "Nimb/Ip4Addr.h"
#include "Nimb/Ip6Addr.h"
#include "Zin/Errors.h"
#include "Zin/Format.h"

namespace Nimb {
namespace {

struct OfIp {
    using Addr = Ip4Addr;
    static constexpr char const* none = "0.0.0.0";
    static constexpr char const* text = "10.1.2.255";
    static constexpr Ip4Bytes bytes{10, 1, 2, 255};
    inline static std::vector<std::string> const ascending{
        "9.255.255.255", "10.0.0.0", "10.0.0.1", "10.0.0.2", "127.0.0.1", "128.0.0.0"};
    inline static std::vector<std::string> const malformed{"",          "10.0.0", "10.0.0.1/24",
                                                           "010.0.0.1", "::1",    "10.0.0.1 "};
};

struct OfIp6 {
    using Addr = Ip6Addr;
    static constexpr char const* none = "::";
    static constexpr char const* text = "2001:db8::1";
    static constexpr Ip6Bytes bytes{0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    inline static std::vector<std::string> const ascending{"::1",   "::2",    "::ffff",
                                                           "::1:0", "7fff::", "8000::"};
    inline static std::vector<std::string> const malformed{
        "", ":", "10.0.0.1", "::1/64", "fe80::1%eth0", "[::1]"};
};

template <class Family>
class AnyAddr : public testing::Test {};
using Families = testing::Types<OfIp, OfIp6>;
TYPED_TEST_SUITE(AnyAddr, Families);

TYPED_TEST(AnyAddr, DefaultIsTheUnspecifiedAddress) {
    using Addr = typename TypeParam::Addr;
    EXPECT_EQ(Addr(), Addr(TypeParam::none));
}

TYPED_TEST(AnyAddr, IsMadeOfItsBytesOrItsText) {
    using Addr = typename TypeParam::Addr;
    EXPECT_EQ(Addr(TypeParam::bytes), Addr(TypeParam::text));
    EXPECT_EQ(Addr(TypeParam::text).bytes(), TypeParam::bytes);
}

TYPED_TEST(AnyAddr, IsItsPlainBytes) {
    using Addr = typename TypeParam::Addr;
    static_assert(std::is_trivially_copyable_v<Addr>);
    EXPECT_EQ(sizeof(Addr), TypeParam::bytes.size());
    EXPECT_EQ(alignof(Addr), 1U);
}

TYPED_TEST(AnyAddr, SortsByValue) {
    using Addr = typename TypeParam::Addr;
    for (std::size_t i = 1; i < TypeParam::ascending.size(); ++i) {
        EXPECT_LT(Addr(TypeParam::ascending[i - 1]), Addr(TypeParam::ascending[i]));
    }
}

TYPED_TEST(AnyAddr, HashesByAllBytesAndSeed) {
    using Addr = typename TypeParam::Addr;
    Addr const address(TypeParam::text);
    for (std::size_t i = 0; i < TypeParam::bytes.size(); ++i) {
        auto bytes = TypeParam::bytes;
        bytes[i] ^= 1;
        EXPECT_NE(Addr(bytes).hash(), address.hash()) << i;
    }
    EXPECT_EQ(address.hash(), Addr(TypeParam::bytes).hash(0));
    EXPECT_NE(address.hash(3), address.hash(4));
}

TYPED_TEST(AnyAddr, PrintsAndReadsBack) {
    using Addr = typename TypeParam::Addr;
    Addr const address(TypeParam::bytes);
    std::string const text = TypeParam::text;
    std::string const quoted = "'" + text + "'";
    std::ostringstream out;
    out << address;

    EXPECT_EQ(out.str(), text);
    EXPECT_EQ(address.toStrep(), text);
    EXPECT_EQ(fmt::format("{:>12}", address), fmt::format("{:>12}", text));
    EXPECT_EQ(valueToStrep(address), quoted);
    EXPECT_EQ(Zin::strepToValue<Addr>(text), address);
    EXPECT_EQ(Zin::TextReader(quoted).template read<Addr>("addr"), address);
}

TYPED_TEST(AnyAddr, AnotherTextIsAnError) {
    for (std::string const& text : TypeParam::malformed) {
        EXPECT_THROW(Zin::strepToValue<typename TypeParam::Addr>(text), Zin::ParseError) << text;
    }
}

}  // namespace
}  // namespace Nimb
