#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrVrfTableSmConfig.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <sstream>
#include <string>

#include "IpLib/IntfAddrVrfTableTypes/TestProperties.h"
#include "Zin/Format.h"

namespace IpLib {
namespace {

using Config = IntfAddrVrfTableSmConfig;
using Velk::TaskPriority;

Zin::Seconds const nan = std::numeric_limits<Zin::Seconds>::quiet_NaN();

Config parse(std::string_view text) { return Zin::strepToValue<Config>(text); }
std::string print(Config const& config) { return valueToStrep(config); }

Config randomConfig(TestKit::RandomValues& random) {
    static constexpr Zin::Seconds delays[] = {
        0.0,   -0.0,  1.5,
        2.0,   0.1,   1e-300,
        1e300, -3.25, std::numeric_limits<Zin::Seconds>::infinity()};
    return {delays[random.below(std::size(delays))], delays[random.below(std::size(delays))],
            random.flip(), static_cast<TaskPriority>(random.below(256))};
}

TEST(IntfAddrVrfTableSmConfig, TheDefaultDelaysBothAndRunsAtPriorityThree) {
    Config const config;

    EXPECT_EQ(config.intfCleanupDelay, 1.5);
    EXPECT_EQ(config.deferredIntfAddDelay, 2.0);
    EXPECT_FALSE(config.ignoreKernelInterfaceState);
    EXPECT_EQ(static_cast<int>(config.taskPriority), 3);
}

TEST(IntfAddrVrfTableSmConfig, IsEqualWhenEveryFieldIs) {
    Config const config{1.0, 2.0, true, TaskPriority{4}};

    EXPECT_EQ(config, (Config{1.0, 2.0, true, TaskPriority{4}}));
    EXPECT_NE(config, (Config{1.1, 2.0, true, TaskPriority{4}}));
    EXPECT_NE(config, (Config{1.0, 2.1, true, TaskPriority{4}}));
    EXPECT_NE(config, (Config{1.0, 2.0, false, TaskPriority{4}}));
    EXPECT_NE(config, (Config{1.0, 2.0, true, TaskPriority{5}}));
}

TEST(IntfAddrVrfTableSmConfig, ComparesItsDelaysAsNumbers) {
    EXPECT_EQ((Config{0.0, 0.0}), (Config{-0.0, -0.0}));
    Config const unordered{nan, nan};
    EXPECT_NE(unordered, unordered);
    EXPECT_NE((Config{nan, 2.0}), (Config{nan, 2.0}));
    EXPECT_NE((Config{1.5, nan}), (Config{1.5, nan}));
}

TEST(IntfAddrVrfTableSmConfig, PrintsItsShortForm) {
    EXPECT_EQ(Config().toStrep(),
              "intfCleanupDelay 1.5;deferredIntfAddDelay 2;ignoreKernelInterfaceState false;"
              "taskPriority normal");
    EXPECT_EQ((Config{0.0, 0.25, true, TaskPriority{200}}.toStrep()),
              "intfCleanupDelay 0;deferredIntfAddDelay 0.25;ignoreKernelInterfaceState true;"
              "taskPriority 200");
}

TEST(IntfAddrVrfTableSmConfig, PrintsItsValueFormToStreamsToo) {
    std::string const text =
        "Value('IpLib::IntfAddrVrfTableSmConfig', ** {'intfCleanupDelay': 1.5, "
        "'deferredIntfAddDelay': 2, 'ignoreKernelInterfaceState': false, 'taskPriority': "
        "'normal'})";
    std::ostringstream out;
    out << Config();

    EXPECT_EQ(valueToStrep(Config()), text);
    EXPECT_EQ(out.str(), text);
}

TEST(IntfAddrVrfTableSmConfig, ItsValueFormReadsBackAsAnEqualRecord) {
    TestKit::RandomValues random;
    TestKit::expectReadsBack(print, parse, [&] { return randomConfig(random); });
    Config const read = parse(print({nan, -0.0}));
    EXPECT_TRUE(std::isnan(read.intfCleanupDelay));
    EXPECT_TRUE(std::signbit(read.deferredIntfAddDelay));
}

TEST(IntfAddrVrfTableSmConfig, ACutTextIsAnErrorThatNamesTheAttribute) {
    TestKit::expectEveryCutNamesItsAttribute(
        {{"", "Value('IpLib::IntfAddrVrfTableSmConfig', ** {'intfCleanupDelay': "},
         {"intfCleanupDelay", "0"},
         {"", ", 'deferredIntfAddDelay': "},
         {"deferredIntfAddDelay", "2"},
         {"", ", 'ignoreKernelInterfaceState': "},
         {"ignoreKernelInterfaceState", "false"},
         {"", ", 'taskPriority': "},
         {"taskPriority", "'normal'"},
         {"", "})"}},
        parse);
}

TEST(IntfAddrVrfTableSmConfig, AMalformedAttributeIsAnErrorThatNamesIt) {
    auto const reading = [](char const* cleanup, char const* deferred, char const* ignore,
                            char const* priority) {
        std::string const text = fmt::format(
            "Value('IpLib::IntfAddrVrfTableSmConfig', ** {{'intfCleanupDelay': {}, "
            "'deferredIntfAddDelay': {}, 'ignoreKernelInterfaceState': {}, 'taskPriority': {}}})",
            cleanup, deferred, ignore, priority);
        return [text] { parse(text); };
    };
    auto const failsIn = [](char const* attribute) {
        return ::testing::Throws<Zin::ParseError>(
            ::testing::Property(&Zin::ParseError::attribute, attribute));
    };

    EXPECT_NO_THROW(reading("1.5", "2", "true", "'high'")());
    EXPECT_THAT(reading("soon", "2", "true", "'high'"), failsIn("intfCleanupDelay"));
    EXPECT_THAT(reading("'1.5'", "2", "true", "'high'"), failsIn("intfCleanupDelay"));
    EXPECT_THAT(reading("1e999", "2", "true", "'high'"), failsIn("intfCleanupDelay"));
    EXPECT_THAT(reading("1.5s", "2", "true", "'high'"), failsIn(""));
    EXPECT_THAT(reading("1.5", "", "true", "'high'"), failsIn("deferredIntfAddDelay"));
    EXPECT_THAT(reading("1.5", "2", "1", "'high'"), failsIn("ignoreKernelInterfaceState"));
    EXPECT_THAT(reading("1.5", "2", "true", "'256'"), failsIn("taskPriority"));
    EXPECT_THAT(reading("1.5", "2", "true", "high"), failsIn("taskPriority"));
    EXPECT_THAT([] { parse(Config().toStrep()); }, failsIn(""));
    EXPECT_THAT([] { parse(print(Config()) + ";"); }, failsIn(""));
}

TEST(IntfAddrVrfTableSmConfig, ADamagedTextIsAnErrorOrAnotherRecord) {
    TestKit::RandomValues random;
    TestKit::expectDamageIsNoticed(print, parse, [&] { return randomConfig(random); });
}

}  // namespace
}  // namespace IpLib
