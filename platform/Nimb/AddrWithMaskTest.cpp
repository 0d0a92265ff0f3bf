// Addresses with their prefix lengths, of both families.

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "Nimb/Ip6AddrWithMask.h"
#include "Nimb/IpAddrWithMask.h"
#include "Zin/Errors.h"
#include "Zin/Format.h"

namespace Nimb {
namespace {

struct OfIp {
    using Value = IpAddrWithMask;
    using Addr = Ip4Addr;
    static constexpr std::uint8_t length = 24;
    static constexpr std::uint8_t longest = 32;
    static constexpr char const* none = "0.0.0.0/0";
    static constexpr char const* host = "0.0.0.0/32";
    static constexpr char const* addr = "10.0.0.1";
    // In ascending order.
    static constexpr char const* shorter = "10.0.0.1/8";
    static constexpr char const* value = "10.0.0.1/24";
    static constexpr char const* shorterOfNext = "10.0.0.2/8";
    static constexpr char const* next = "10.0.0.2/24";
    static constexpr char const* hostOfNext = "10.0.0.2/32";
    inline static std::vector<std::string> const malformed{
        "", "10.0.0.1", "10.0.0.1/", "10.0.0.1/33", "10.0.0.1/08", "10.0.0.1/24 ", "::1/24"};
};

struct OfIp6 {
    using Value = Ip6AddrWithMask;
    using Addr = Ip6Addr;
    static constexpr std::uint8_t length = 64;
    static constexpr std::uint8_t longest = 128;
    static constexpr char const* none = "::/0";
    static constexpr char const* host = "::/128";
    static constexpr char const* addr = "2001:db8::1";
    static constexpr char const* shorter = "2001:db8::1/48";
    static constexpr char const* value = "2001:db8::1/64";
    static constexpr char const* shorterOfNext = "2001:db8::2/48";
    static constexpr char const* next = "2001:db8::2/64";
    static constexpr char const* hostOfNext = "2001:db8::2/128";
    inline static std::vector<std::string> const malformed{"",
                                                           "2001:db8::1",
                                                           "2001:db8::1/",
                                                           "2001:db8::1/129",
                                                           "2001:db8::1/048",
                                                           "2001:db8::1/64 ",
                                                           "10.0.0.1/24"};
};

template <class Family>
class AnyAddrWithMask : public testing::Test {};
using Families = testing::Types<OfIp, OfIp6>;
TYPED_TEST_SUITE(AnyAddrWithMask, Families);

TYPED_TEST(AnyAddrWithMask, DefaultStandsForNone) {
    using Value = typename TypeParam::Value;
    EXPECT_EQ(Value(), Value(TypeParam::none));
    EXPECT_NE(Value(), Value(TypeParam::host));
}

TYPED_TEST(AnyAddrWithMask, KeepsTheHostBitsOfTheAddress) {
    using Value = typename TypeParam::Value;
    typename TypeParam::Addr const addr(TypeParam::addr);
    Value const value(addr, TypeParam::length);

    EXPECT_EQ(value, Value(TypeParam::value));
    EXPECT_EQ(value.address(), addr);
    EXPECT_EQ(value.prefixLength(), TypeParam::length);
}

TYPED_TEST(AnyAddrWithMask, ALengthBeyondTheAddressIsARangeError) {
    using Value = typename TypeParam::Value;
    typename TypeParam::Addr const addr;
    EXPECT_THROW(Value(addr, TypeParam::longest + 1), Zin::RangeError);
    EXPECT_NO_THROW(Value(addr, TypeParam::longest));
}

TYPED_TEST(AnyAddrWithMask, IsThePlainBytesOfTheAddressAndOneOfTheLength) {
    static_assert(std::is_trivially_copyable_v<typename TypeParam::Value>);
    EXPECT_EQ(sizeof(typename TypeParam::Value), TypeParam::longest / 8 + 1U);
}

TYPED_TEST(AnyAddrWithMask, SortsByAddressThenByLength) {
    using Value = typename TypeParam::Value;
    EXPECT_LT(Value(TypeParam::value), Value(TypeParam::shorterOfNext));
    EXPECT_LT(Value(TypeParam::shorter), Value(TypeParam::value));
}

TYPED_TEST(AnyAddrWithMask, HashesByAddressLengthAndSeed) {
    using Value = typename TypeParam::Value;
    Value const value(TypeParam::value);

    EXPECT_EQ(value.hash(3),
              Value(typename TypeParam::Addr(TypeParam::addr), TypeParam::length).hash(3));
    EXPECT_NE(value.hash(3), Value(TypeParam::shorter).hash(3));
    EXPECT_NE(value.hash(3), Value(TypeParam::next).hash(3));
    EXPECT_NE(value.hash(3), value.hash(4));
}

TYPED_TEST(AnyAddrWithMask, PrintsAndReadsBack) {
    using Value = typename TypeParam::Value;
    for (std::string const text : {TypeParam::none, TypeParam::value, TypeParam::hostOfNext}) {
        Value const value(text);
        std::ostringstream out;
        out << value;

        EXPECT_EQ(out.str(), text);
        EXPECT_EQ(value.toStrep(), text);
        EXPECT_EQ(fmt::format("{}", value), text);
        EXPECT_EQ(valueToStrep(value), "'" + text + "'");
        EXPECT_EQ(Zin::strepToValue<Value>(text), value);
        EXPECT_EQ(Zin::TextReader("'" + text + "'").template read<Value>("addr"), value);
    }
}

TYPED_TEST(AnyAddrWithMask, AnotherTextIsAnError) {
    for (std::string const& text : TypeParam::malformed) {
        EXPECT_THROW(Zin::strepToValue<typename TypeParam::Value>(text), Zin::ParseError) << text;
    }
}

}  // namespace
}  // namespace Nimb
