#include "Nimb/NamespaceName.h"

#include <gmock/gmock.h>

#include <string>

#include "Zin/Errors.h"
#include "Zin/Format.h"

namespace Nimb {
namespace {

using ::testing::Property;
using ::testing::StrEq;
using ::testing::Throws;

TEST(NamespaceName, TheEmptyNameIsTheDefaultNamespace) {
    EXPECT_TRUE(NamespaceName().isDefault());
    EXPECT_EQ(NamespaceName(""), NamespaceName());
    EXPECT_FALSE(NamespaceName("ns-red").isDefault());
    EXPECT_FALSE(NamespaceName("default").isDefault());
}

TEST(NamespaceName, HoldsUpTo150Bytes) {
    std::string const longest(150, 'n');

    EXPECT_EQ(NamespaceName(longest).bytes(), longest);
    EXPECT_THAT([&] { NamespaceName(longest + "n"); },
                Throws<Zin::RangeError>(Property(&Zin::RangeError::what,
                                                 StrEq("Zin::String::bytes > 150 not allowed"))));
}

TEST(NamespaceName, ComparesAndHashesAsItsName) {
    EXPECT_EQ(NamespaceName("ns-red"), NamespaceName(std::string("ns-red")));
    EXPECT_LT(NamespaceName("ns-blue"), NamespaceName("ns-red"));
    EXPECT_EQ(NamespaceName("ns-red").hash(1), NamespaceName(std::string("ns-red")).hash(1));
    EXPECT_NE(NamespaceName("ns-red").hash(1), NamespaceName("ns-blue").hash(1));
}

TEST(NamespaceName, PrintsAndReadsBack) {
    for (std::string const name : {"", "ns-red", "default", "it's"}) {
        NamespaceName const value(name);

        EXPECT_EQ(value.toStrep(), name);
        EXPECT_EQ(fmt::format("{}", value), name);
        EXPECT_EQ(Zin::strepToValue<NamespaceName>(name), value);
        std::string const text = valueToStrep(value);
        EXPECT_EQ(Zin::TextReader(text).read<NamespaceName>("name"), value);
    }
}

}  // namespace
}  // namespace Nimb
