#include "feeds/scenario/LineReader.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>
#include <streambuf>
#include <vector>

#include "feeds/scenario/FileError.h"

namespace Scenario {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::ThrowsMessage;

std::vector<std::string> linesOf(std::string const& text) {
    std::istringstream in(text);
    LineReader reader(in);
    std::vector<std::string> lines;
    while (reader.next()) {
        lines.push_back(reader.line());
    }
    return lines;
}

// Text without an end.
class Endless final : public std::streambuf {
private:
    int_type underflow() override {
        setg(block_, block_, block_ + sizeof block_);
        return block_[0];
    }

    char block_[4] = {'x', 'x', 'x', 'x'};
};

TEST(LineReader, LinesEndWithANewline) {
    EXPECT_THAT(linesOf("a\n\nb c\r\n"), ElementsAre("a", "", "b c\r"));
    EXPECT_THAT(linesOf(""), IsEmpty());
}

TEST(LineReader, TheLastLineMayLackItsEnd) {
    EXPECT_THAT(linesOf("a\nb"), ElementsAre("a", "b"));

    std::istringstream in("a\nb");
    LineReader reader(in);
    ASSERT_TRUE(reader.next());
    EXPECT_TRUE(reader.hasEnd());
    ASSERT_TRUE(reader.next());
    EXPECT_FALSE(reader.hasEnd());
}

TEST(LineReader, LinesAreCountedFromOne) {
    std::istringstream in("a\n\nb\n");
    LineReader reader(in);
    EXPECT_EQ(reader.number(), 0U);
    for (std::uint64_t number = 1; number <= 3; ++number) {
        ASSERT_TRUE(reader.next());
        EXPECT_EQ(reader.number(), number);
    }
    EXPECT_FALSE(reader.next());
    EXPECT_FALSE(reader.next());
}

TEST(LineReader, ALineOfTheGreatestLengthIsRead) {
    std::string const longest(LineReader::maxLength, 'x');
    EXPECT_THAT(linesOf(longest + "\nb\n"), ElementsAre(longest, "b"));
    EXPECT_THAT([&] { linesOf(longest + "x\n"); },
                ThrowsMessage<LineError>(HasSubstr("longer than 1048576 bytes")));
}

TEST(LineReader, ALineWithoutAnEndIsGivenUp) {
    Endless buffer;
    std::istream in(&buffer);
    LineReader reader(in);
    EXPECT_THROW(reader.next(), LineError);
}

}  // namespace
}  // namespace Scenario
