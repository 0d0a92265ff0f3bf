#include "L3/VrfName.h"

#include <gtest/gtest.h>

#include <string>
#include <unordered_set>

#include "Zin/Format.h"
#include "Zin/TestHashFamilies.h"

namespace L3 {
namespace {

TEST(VrfName, TheDefaultVrfRunsInTheDefaultNamespace) {
    EXPECT_TRUE(VrfName("default").isDefault());
    EXPECT_TRUE(VrfName("default").nsName().isDefault());
}

TEST(VrfName, EveryOtherVrfRunsInTheNamespaceCalledAfterIt) {
    EXPECT_FALSE(VrfName("red").isDefault());
    EXPECT_EQ(VrfName("red").nsName(), Nimb::NamespaceName("ns-red"));
    EXPECT_EQ(VrfName("Default").nsName(), Nimb::NamespaceName("ns-Default"));
    EXPECT_EQ(VrfName().nsName(), Nimb::NamespaceName("ns-"));
}

TEST(VrfName, ANameThatMakesNoNamespaceNameIsARangeError) {
    std::string const longest(147, 'v');
    EXPECT_EQ(VrfName(longest).nsName().bytes(), "ns-" + longest);
    try {
        VrfName(longest + 'v').nsName();
        FAIL() << "a namespace name of 151 bytes";
    } catch (Zin::RangeError const& error) {
        EXPECT_STREQ(error.what(), "Zin::String::bytes > 150 not allowed");
    }
}

TEST(VrfName, ComparesAndHashesByItsBytes) {
    VrfName const blue("blue");
    VrfName const red("red");
    EXPECT_EQ(red, VrfName(std::string("red")));
    EXPECT_LT(blue, red);
    EXPECT_LT(VrfName("red"), VrfName("red1"));
    EXPECT_LT(VrfName("z"), VrfName("\xc3\xa9"));
    EXPECT_EQ(red.hash(7), VrfName("red").hash(7));
    EXPECT_NE(red.hash(7), red.hash(8));
    EXPECT_NE(red.hash(7), blue.hash(7));
}

TEST(VrfName, PrintsAsItsName) {
    EXPECT_EQ(VrfName("red").toStrep(), "red");
    EXPECT_EQ(fmt::format("vrf {}", VrfName("red")), "vrf red");
    EXPECT_EQ(valueToStrep(VrfName("it's")), R"('it\'s')");
    EXPECT_EQ(Zin::strepToValue<VrfName>("red"), VrfName("red"));
}

TEST(VrfName, HasNoCostlyFamilyOfNames) {
    Zin::expectNoCostlyFamily<2>([](auto const& input) { return VrfName(Zin::textOf(input)); });
}

TEST(VrfName, StandsInContainersOfTheStandardLibrary) {
    std::unordered_set<VrfName> const names{"red", "blue", "red"};
    EXPECT_EQ(names.size(), 2U);
    EXPECT_TRUE(names.contains("blue"));
}

}  // namespace
}  // namespace L3
