#include "Pell/Traced.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Zin/Format.h"

namespace Pell {
namespace {

class Recorder final : public Sink {
public:
    Recorder() : previous_(sinkIs(this)) {}
    ~Recorder() {
        sinkIs(previous_);
        traceLevelIs("*", 0);
    }
    void trace(Trace const& trace) override {
        lines.push_back(fmt::format("{} {}::{}: {}", trace.level, trace.className, trace.function,
                                    trace.message));
    }

    std::vector<std::string> lines;

private:
    Sink* const previous_;
};

using Lines = std::vector<std::string>;

class Lamp : private Traced<"Lamp"> {
public:
    explicit Lamp(int watts) : watts_(watts) { trace3("of {} W", watts); }
    virtual ~Lamp() { trace<4>("gone"); }

    void lit() const { trace8("for {} W", watts_); }
    void dimmed(double share) const { trace9("to {}", share * watts_); }
    void smashed() const { fail("whole", "lamp of {} W is broken", watts_); }

    struct Switch {
        void pressed() const { trace8("pressed"); }
    };

protected:
    int watts_;
};

class Torch : public Traced<"Torch", Lamp> {
public:
    using Traced::Traced;
    void dropped() const { trace8("at {} W", watts_); }
    void drowned() const { fail("dry", "water"); }
};

TEST(Traced, ClassAndFunctionComeAlong) {
    Recorder recorder;
    traceLevelIs("Lamp", 9);
    {
        Lamp lamp(40);
        lamp.lit();
        lamp.dimmed(0.5);
    }
    EXPECT_EQ(recorder.lines, (Lines{"3 Lamp::Lamp: of 40 W", "8 Lamp::lit: for 40 W",
                                     "9 Lamp::dimmed: to 20", "4 Lamp::~Lamp: gone"}));
}

TEST(Traced, OnlyEnabledLevelsAreTraced) {
    Recorder recorder;
    traceLevelIs("Lamp", 8);
    Lamp lamp(40);
    recorder.lines.clear();

    lamp.dimmed(0.5);
    EXPECT_EQ(recorder.lines, Lines{});
    lamp.lit();
    EXPECT_EQ(recorder.lines, Lines{"8 Lamp::lit: for 40 W"});
}

TEST(Traced, AClassBelowATracedOneTracesUnderItsOwnName) {
    Recorder recorder;
    traceLevelIs("*", 8);
    Torch torch(5);
    torch.lit();
    torch.dropped();
    EXPECT_EQ(recorder.lines,
              (Lines{"3 Lamp::Lamp: of 5 W", "8 Lamp::lit: for 5 W", "8 Torch::dropped: at 5 W"}));
}

TEST(Traced, TheTwoClassesOfAHierarchyAreSwitchedApart) {
    Recorder recorder;
    traceLevelIs("Torch", 8);
    Torch torch(5);
    torch.lit();
    torch.dropped();
    EXPECT_EQ(recorder.lines, Lines{"8 Torch::dropped: at 5 W"});
}

TEST(Traced, ANestedHelperTracesForItsClass) {
    Recorder recorder;
    traceLevelIs("Lamp", 8);
    Lamp::Switch{}.pressed();
    EXPECT_EQ(recorder.lines, Lines{"8 Lamp::pressed: pressed"});
}

TEST(Traced, CostsAClassNoSize) {
    struct Plain {
        virtual ~Plain() = default;
        int watts_;
    };
    EXPECT_EQ(sizeof(Lamp), sizeof(Plain));
    EXPECT_EQ(sizeof(Torch), sizeof(Plain));
}

TEST(Traced, AFailureNamesConditionClassAndFunction) {
    ThrowOnAssertion throws;
    Lamp lamp(40);
    try {
        lamp.smashed();
        FAIL() << "went on after a failed assertion";
    } catch (AssertionError const& error) {
        EXPECT_STREQ(error.what(),
                     "Lamp::smashed: assertion 'whole' failed: lamp of 40 W is broken");
    }
}

TEST(Traced, AFailureOfADerivedClassCarriesItsName) {
    ThrowOnAssertion throws;
    Torch torch(5);
    try {
        torch.drowned();
        FAIL() << "went on after a failed assertion";
    } catch (AssertionError const& error) {
        EXPECT_EQ(error.className(), "Torch");
        EXPECT_EQ(error.function(), "drowned");
        EXPECT_EQ(error.condition(), "dry");
        EXPECT_EQ(error.message(), "water");
    }
}

}  // namespace
}  // namespace Pell
