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

struct Bench {
    Zin::Ptr<Zin::VirtualClock> clock = Zin::make<Zin::VirtualClock>();
    std::ostringstream out;
    Output output{out, clock};
    std::uint64_t line = 1;
};

TEST(AssertionPrinter, PrintsTheFirstFailureAtOnceAndNothingMore) {
    Bench bench;
    AssertionPrinter const printer(bench.output, bench.line);
    EXPECT_FALSE(printer.hasFailed());
    bench.line = 7;
    bench.clock->nowIs(1.5);

    EXPECT_THROW(Subject::breaks(1), Pell::AssertionError);
    EXPECT_TRUE(printer.hasFailed());
    std::string const printed = R"({"t":1.5,"assert":{"line":7,"message":"number is 1"}})"
                                "\n";
    EXPECT_EQ(bench.out.str(), printed);

    EXPECT_THROW(Subject::breaks(2), Pell::AssertionError);
    bench.output.print("a", 1);
    EXPECT_EQ(bench.out.str(), printed);
}

TEST(AssertionPrinter, PutsBackTheHandlerBefore) {
    Pell::ThrowOnAssertion const throwOnAssertion;
    Bench bench;
    { AssertionPrinter const printer(bench.output, bench.line); }
    EXPECT_THROW(Subject::breaks(1), Pell::AssertionError);
    EXPECT_EQ(bench.out.str(), "");
}

}  // namespace
}  // namespace Scenario
