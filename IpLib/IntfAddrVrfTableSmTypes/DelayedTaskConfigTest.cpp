#include "IpLib/IntfAddrVrfTableSmTypes/DelayedTaskConfig.h"

#include <gmock/gmock.h>

#include <limits>
#include <sstream>
#include <string>
#include <type_traits>

#include "IpLib/IntfAddrVrfTableTypes/TestProperties.h"

namespace IpLib::IntfAddrVrfTableImpl {
namespace {

using Velk::TaskPriority;
using Limits = std::numeric_limits<Zin::Seconds>;

template <class Config>
std::string const nameOf;
template <>
std::string const nameOf<IntfCleanupSmConfig> = "IpLib::IntfAddrVrfTableImpl::IntfCleanupSmConfig";
template <>
std::string const nameOf<DeferredIntfAddSmConfig> =
    "IpLib::IntfAddrVrfTableImpl::DeferredIntfAddSmConfig";

template <class Config>
class DelayedTaskConfigTest : public ::testing::Test {
protected:
    static Config parse(std::string_view text) { return Zin::strepToValue<Config>(text); }
    static std::string print(Config const& config) { return valueToStrep(config); }
    static Config random(TestKit::RandomValues& random) {
        static constexpr Zin::Seconds delays[] = {0.0,    -0.0,  1.5,   2.0,
                                                  1e-300, 1e300, -3.25, Limits::infinity()};
        return {delays[random.below(std::size(delays))],
                static_cast<TaskPriority>(random.below(256))};
    }
    static auto failsIn(char const* attribute) {
        return ::testing::Throws<Zin::ParseError>(
            ::testing::Property(&Zin::ParseError::attribute, attribute));
    }
};
using BothConfigs = ::testing::Types<IntfCleanupSmConfig, DeferredIntfAddSmConfig>;
TYPED_TEST_SUITE(DelayedTaskConfigTest, BothConfigs);

static_assert(!std::is_same_v<IntfCleanupSmConfig, DeferredIntfAddSmConfig>);

TYPED_TEST(DelayedTaskConfigTest, TheDefaultHasNoDelayAndRunsAtPriorityZero) {
    TypeParam const config;

    EXPECT_EQ(config.delay, 0.0);
    EXPECT_EQ(static_cast<int>(config.taskPriority), 0);
}

TYPED_TEST(DelayedTaskConfigTest, IsEqualWhenBothFieldsAreTheDelayAsANumber) {
    EXPECT_EQ((TypeParam{1.5, TaskPriority{3}}), (TypeParam{1.5, TaskPriority{3}}));
    EXPECT_NE((TypeParam{1.5, TaskPriority{3}}), (TypeParam{1.6, TaskPriority{3}}));
    EXPECT_NE((TypeParam{1.5, TaskPriority{3}}), (TypeParam{1.5, TaskPriority{4}}));
    EXPECT_EQ((TypeParam{0.0, {}}), (TypeParam{-0.0, {}}));
    TypeParam const unordered{Limits::quiet_NaN(), {}};
    EXPECT_NE(unordered, unordered);
}

TYPED_TEST(DelayedTaskConfigTest, PrintsItsValueFormToStreamsToo) {
    TypeParam const config{1.5, TaskPriority{3}};
    std::string const text =
        "Value('" + nameOf<TypeParam> + "', ** {'delay': 1.5, 'taskPriority': 'normal'})";
    std::ostringstream out;
    out << config;

    EXPECT_EQ(valueToStrep(config), text);
    EXPECT_EQ(out.str(), text);
}

TYPED_TEST(DelayedTaskConfigTest, ItsValueFormReadsBackAsAnEqualRecord) {
    TestKit::RandomValues random;
    TestKit::expectReadsBack(this->print, this->parse, [&] { return this->random(random); });
}

TYPED_TEST(DelayedTaskConfigTest, ACutTextIsAnErrorThatNamesTheAttribute) {
    std::string const opening = "Value('" + nameOf<TypeParam> + "', ** {'delay': ";
    TestKit::expectEveryCutNamesItsAttribute({{"", opening},
                                              {"delay", "2"},
                                              {"", ", 'taskPriority': "},
                                              {"taskPriority", "'idle'"},
                                              {"", "})"}},
                                             this->parse);
}

TYPED_TEST(DelayedTaskConfigTest, AMalformedAttributeIsAnErrorThatNamesIt) {
    auto const reading = [](std::string const& delay, std::string const& priority) {
        std::string const text = "Value('" + nameOf<TypeParam> + "', ** {'delay': " + delay +
                                 ", 'taskPriority': " + priority + "})";
        return [text] { Zin::strepToValue<TypeParam>(text); };
    };

    EXPECT_NO_THROW(reading("1.5", "'high'")());
    EXPECT_THAT(reading("", "'high'"), this->failsIn("delay"));
    EXPECT_THAT(reading("1.5", "''"), this->failsIn("taskPriority"));
    EXPECT_THAT(reading("1.5", "3"), this->failsIn("taskPriority"));
}

TYPED_TEST(DelayedTaskConfigTest, ADamagedTextIsAnErrorOrAnotherRecord) {
    TestKit::RandomValues random;
    TestKit::expectDamageIsNoticed(this->print, this->parse, [&] { return this->random(random); });
}

TEST(DelayedTaskConfig, OneTasksTextIsNotTheOthers) {
    EXPECT_THROW(Zin::strepToValue<DeferredIntfAddSmConfig>(valueToStrep(IntfCleanupSmConfig())),
                 Zin::ParseError);
    EXPECT_THROW(Zin::strepToValue<IntfCleanupSmConfig>(valueToStrep(DeferredIntfAddSmConfig())),
                 Zin::ParseError);
}

TEST(DelayedTaskConfig, ItsDelayIsCutToWholeSecondsThatFitTheirNumber) {
    auto const whole = [](Zin::Seconds delay) {
        return wholeSeconds(IntfCleanupSmConfig{delay, {}});
    };

    EXPECT_EQ(whole(0.0), 0U);
    EXPECT_EQ(whole(0.999), 0U);
    EXPECT_EQ(whole(1.5), 1U);
    EXPECT_EQ(whole(4294967295.5), 4294967295U);
    EXPECT_EQ(whole(1e300), 4294967295U);
    EXPECT_EQ(whole(Limits::infinity()), 4294967295U);
    EXPECT_EQ(whole(-1.0), 0U);
    EXPECT_EQ(whole(-Limits::infinity()), 0U);
    EXPECT_EQ(whole(Limits::quiet_NaN()), 0U);
}

}  // namespace
}  // namespace IpLib::IntfAddrVrfTableImpl
