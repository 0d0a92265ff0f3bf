#include "feeds/scenario/AssertionPrinter.h"

#include <gtest/gtest.h>

#include <sstream>

#include "Pell/Traced.h"

namespace Scenario {
namespace {

class Subject : private Pell::Traced<"AssertionPrinterTestSubject"> {
public:
    [[noreturn]] static void breaks(int number) { fail("number == 0", "number is {}", number); }
};

struct Fixture {
    Zin::Ptr<Zin::VirtualClock> clock = Zin::make<Zin::VirtualClock>();
    std::ostringstream out;
    Output output{out, clock};
    std::uint64_t line = 1;
};

TEST(AssertionPrinter, PrintsTheFirstFailureAtOnceAndNothingMore) {
    Fixture fixture;
    AssertionPrinter const printer(fixture.output, fixture.line);
    EXPECT_FALSE(printer.hasFailed());
    fixture.line = 7;
    fixture.clock->nowIs(1.5);

    EXPECT_THROW(Subject::breaks(1), Pell::AssertionError);
    EXPECT_TRUE(printer.hasFailed());
    std::string const printed = R"({"t":1.5,"assert":{"line":7,"message":"number is 1"}})"
                                "\n";
    EXPECT_EQ(fixture.out.str(), printed);

    EXPECT_THROW(Subject::breaks(2), Pell::AssertionError);
    fixture.output.print("a", 1);
    EXPECT_EQ(fixture.out.str(), printed);
}

TEST(AssertionPrinter, PutsBackTheHandlerBefore) {
    Pell::ThrowOnAssertion const throwOnAssertion;
    Fixture fixture;
    { AssertionPrinter const printer(fixture.output, fixture.line); }
    EXPECT_THROW(Subject::breaks(1), Pell::AssertionError);
    EXPECT_EQ(fixture.out.str(), "");
}

}  // namespace
}  // namespace Scenario
