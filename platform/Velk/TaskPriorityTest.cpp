#include "Velk/TaskPriority.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>

#include "Zin/Format.h"

namespace Velk {
namespace {

TaskPriority readReflective(std::string_view text) {
    Zin::TextReader reader(text);
    auto const priority = reader.read<TaskPriority>("taskPriority");
    reader.end();
    return priority;
}

TEST(TaskPriority, IsOneByteWithFixedNumbersForTheLowestAndTheNormal) {
    static_assert(sizeof(TaskPriority) == 1);
    EXPECT_EQ(static_cast<int>(TaskPriority::idle), 0);
    EXPECT_EQ(static_cast<int>(TaskPriority::normal), 3);
    EXPECT_TRUE(TaskPriority{} == TaskPriority::idle);
}

TEST(TaskPriority, HasANameOrElseItsNumberForItsText) {
    EXPECT_EQ(toStrep(TaskPriority::idle), "idle");
    EXPECT_EQ(toStrep(TaskPriority::low), "low");
    EXPECT_EQ(toStrep(TaskPriority::belowNormal), "belowNormal");
    EXPECT_EQ(toStrep(TaskPriority::normal), "normal");
    EXPECT_EQ(toStrep(TaskPriority::aboveNormal), "aboveNormal");
    EXPECT_EQ(toStrep(TaskPriority::high), "high");
    EXPECT_EQ(toStrep(TaskPriority{6}), "6");
    EXPECT_EQ(toStrep(TaskPriority{255}), "255");
}

TEST(TaskPriority, IsReadBackFromItsTextsWhateverItsValue) {
    std::set<std::string> texts;
    for (int number = 0; number <= 255; ++number) {
        auto const priority = static_cast<TaskPriority>(number);
        std::string const text = toStrep(priority);
        EXPECT_TRUE(texts.insert(text).second) << text;
        EXPECT_EQ(Zin::strepToValue<TaskPriority>(text), priority);
        EXPECT_EQ(readReflective(valueToStrep(priority)), priority);
    }
}

TEST(TaskPriority, PrintsItsText) {
    EXPECT_EQ(fmt::format("[{:>7}]", TaskPriority::normal), "[ normal]");
    EXPECT_EQ(valueToStrep(TaskPriority::normal), "'normal'");
    std::ostringstream out;
    out << TaskPriority::high << TaskPriority{9};
    EXPECT_EQ(out.str(), "high9");
}

TEST(TaskPriority, IsNotReadFromAnyOtherText) {
    for (char const* const text : {"", "Normal", "normal ", " normal", "3", "0", "007", "06", "256",
                                   "-1", "+7", "7x", "70000000000", "norma"}) {
        EXPECT_THROW(Zin::strepToValue<TaskPriority>(text), Zin::ParseError) << text;
    }
    for (char const* const text : {"normal", "'normal", "'normal'x", "7"}) {
        EXPECT_THROW(readReflective(text), Zin::ParseError) << text;
    }
}

TEST(TaskPriority, NamesItsAttributeWhereItsTextIsMalformed) {
    try {
        readReflective("'urgent'");
        FAIL() << "read a priority that does not exist";
    } catch (Zin::ParseError const& error) {
        EXPECT_EQ(error.attribute(), "taskPriority");
        EXPECT_EQ(error.offset(), 1u);
        EXPECT_EQ(error.expected(), "a task priority");
    }
}

}  // namespace
}  // namespace Velk
