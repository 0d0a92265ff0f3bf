#include "Zin/FixedString.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace Zin {
namespace {

template <FixedString name>
struct Named {
    static constexpr std::string_view view = name.view();
};

TEST(FixedString, IsTheLiteralThatItWasMadeOf) {
    EXPECT_EQ(Named<"Ethernet1">::view, "Ethernet1");
    EXPECT_EQ(Named<"">::view, "");
    EXPECT_EQ(Named<"a\0b">::view, std::string_view("a\0b", 3));
}

TEST(FixedString, IsTheSameArgumentWhereverItIsWritten) {
    EXPECT_TRUE((std::is_same_v<Named<"a">, Named<"a">>));
    EXPECT_FALSE((std::is_same_v<Named<"a">, Named<"b">>));
}

}  // namespace
}  // namespace Zin
