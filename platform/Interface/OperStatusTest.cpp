#include "Interface/OperStatus.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>

#include "Zin/Format.h"

namespace Interface {
namespace {

constexpr std::pair<OperStatus, char const*> all[]{
    {OperStatus::up, "up"},
    {OperStatus::down, "down"},
    {OperStatus::testing, "testing"},
    {OperStatus::unknown, "unknown"},
    {OperStatus::dormant, "dormant"},
    {OperStatus::notPresent, "notPresent"},
    {OperStatus::lowerLayerDown, "lowerLayerDown"},
};

TEST(OperStatus, EveryStateHasItsNumberAndItsName) {
    int number = 0;
    for (auto const& [status, name] : all) {
        EXPECT_EQ(static_cast<int>(status), ++number);
        EXPECT_EQ(toStrep(status), name);
        EXPECT_EQ(fmt::format("{}", status), name);
        EXPECT_EQ(valueToStrep(status), fmt::format("'{}'", name));
        EXPECT_EQ(testing::PrintToString(status), name);
    }
}

TEST(OperStatus, EveryNameReadsBack) {
    for (auto const& [status, name] : all) {
        EXPECT_EQ(Zin::strepToValue<OperStatus>(name), status);
        std::string const text = valueToStrep(status);
        Zin::TextReader reader(text);
        EXPECT_EQ(reader.read<OperStatus>("operStatus"), status);
        EXPECT_NO_THROW(reader.end());
    }
}

TEST(OperStatus, ANumberThatIsNoStateIsDisplayedAsItIs) {
    for (int const number : {0, 8, 255}) {
        auto const status = static_cast<OperStatus>(number);
        EXPECT_EQ(toStrep(status), std::to_string(number));
        EXPECT_EQ(fmt::format("{}", status), std::to_string(number));
        EXPECT_EQ(valueToStrep(status), fmt::format("'{}'", number));
    }
}

TEST(OperStatus, NothingElseIsAName) {
    for (char const* text : {"", "UP", "up ", "not present", "1", "downup"}) {
        EXPECT_THROW(Zin::strepToValue<OperStatus>(text), Zin::ParseError) << text;
    }
}

}  // namespace
}  // namespace Interface
