#include "Velk/Dump.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "Velk/BaseOutputSm.h"

namespace Velk {
namespace {

constexpr std::uint32_t maxIndent = std::numeric_limits<std::uint32_t>::max();

std::string line(std::uint32_t indent) {
    auto const context = textDumpContextFactory(false, 10);
    dumpLine(context, indent, "{} of {}\n", 1, "two");
    return context->text();
}

// A list of the numbers from 1 on.
struct List {
    explicit List(int size) {
        for (int number = 1; number <= size; ++number) {
            numbers.push_back(number);
        }
    }
    void dump(Zin::Ptr<DumpContext const> const& context, std::uint32_t indent) const {
        dumpList(context, indent, numbers, static_cast<std::uint32_t>(numbers.size()),
                 [&](int number) { dumpLine(context, indent, "{}\n", number); });
    }
    std::vector<int> numbers;
};

TEST(Dump, IndentsALineByThatManyBlanks) {
    EXPECT_EQ(line(0), "1 of two\n");
    EXPECT_EQ(line(1), " 1 of two\n");
    EXPECT_EQ(line(2), "  1 of two\n");
}

TEST(Dump, TakesAnIndentationBeyondItsRangeForANegativeOne) {
    EXPECT_EQ(line(maxIndent - 1), "  1 of two\n");
    EXPECT_EQ(line(maxIndent), " 1 of two\n");
    EXPECT_EQ(line(maxIndent - 1 + 2), "1 of two\n");
}

TEST(Dump, PrintsAListInFullWhereItIsNotTooLong) {
    auto const context = textDumpContextFactory(false, 3);
    List(3).dump(context, 0);
    EXPECT_EQ(context->text(), "1\n2\n3\n");
    EXPECT_FALSE(context->truncated());
}

TEST(Dump, PrintsTheBeginningOfALongListBetweenTwoNotices) {
    auto const context = textDumpContextFactory(false, 2);
    List(3).dump(context, 2);
    EXPECT_EQ(
        context->text(),
        "  -- The following list will be truncated, use verbose option to display all 3 "
        "entries --\n"
        "  1\n"
        "  2\n"
        "  -- This list has been truncated, use verbose option to display all 3 entries --\n");
    EXPECT_TRUE(context->truncated());
}

TEST(Dump, PrintsOnlyTheNoticesWhereNoEntriesAreWanted) {
    auto const context = textDumpContextFactory(false, 0);
    List(1).dump(context, 0);
    EXPECT_EQ(context->text(),
              "-- The following list will be truncated, use verbose option to display all 1 "
              "entries --\n"
              "-- This list has been truncated, use verbose option to display all 1 entries --\n");
}

TEST(Dump, PrintsAnyListInFullWhereItIsVerbose) {
    auto const context = textDumpContextFactory(true, 1);
    List(3).dump(context, 0);
    EXPECT_EQ(context->text(), "1\n2\n3\n");
    EXPECT_FALSE(context->truncated());
}

TEST(Dump, RemembersThatAnEarlierListWasCut) {
    auto const context = textDumpContextFactory(false, 1);
    List(2).dump(context, 0);
    List(1).dump(context, 0);
    EXPECT_TRUE(context->truncated());
}

TEST(Dump, IsStandardOutputInFullWhereThereIsNone) {
    testing::internal::CaptureStdout();
    List(3).dump(nullptr, 1);
    dumpText(nullptr, "end\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), " 1\n 2\n 3\nend\n");
}

TEST(Dump, IsWhatAMachineWritesItsStateTo) {
    class Machine final : public BaseOutputSm {
    public:
        void dumpState(Zin::Ptr<DumpContext const> const& context,
                       std::uint32_t indent) const override {
            dumpLine(context, indent, "idle\n");
        }
    };
    Zin::Ptr<BaseOutputSm> const machine = Zin::make<Machine>();
    auto const context = textDumpContextFactory(false, 1);
    machine->dumpState(context, 3);
    EXPECT_EQ(context->text(), "   idle\n");
}

TEST(Dump, StaysEmptyWhereAMachineHasNothingToShow) {
    class Machine final : public BaseOutputSm {};
    auto const context = textDumpContextFactory(false, 1);
    Zin::make<Machine>()->dumpState(context, 3);
    EXPECT_EQ(context->text(), "");
}

}  // namespace
}  // namespace Velk
