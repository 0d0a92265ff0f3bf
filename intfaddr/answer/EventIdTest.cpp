#include "intfaddr/answer/EventId.h"

#include <gtest/gtest.h>

#include <limits>

#include "intfaddr/agent/Identity.h"

namespace IntfAddr {
namespace {

TEST(EventId, IsOneWordThatReadsBackAsTheSame) {
    EventId const id("18f3a2b4c-2f1", 17);
    EXPECT_EQ(id.text(), "18f3a2b4c-2f1.17");
    EXPECT_EQ(EventId(id.text()), id);
    EventId const last(startIdentity(), std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(EventId(last.text()), last);
    EXPECT_NE(EventId("a.1"), EventId("b.1"));
    EXPECT_NE(EventId("a.1"), EventId("a.2"));
}

TEST(EventId, AnotherTextIsRefusedAtTheByteWhereItIsWrong) {
    struct {
        char const* text;
        std::size_t offset;
    } const refused[] = {{"", 0},      {".1", 0},   {"a", 1},     {"a.", 2},
                         {"a.01", 2},  {"a.+1", 2}, {"a.-1", 2},  {"a.1 ", 3},
                         {"a.1.2", 3}, {" a.1", 0}, {"a b.1", 1}, {"a\xff.1", 1},
                         {"a\n.1", 1}, {"a.1x", 3}, {"a.0x1", 3}, {"a.18446744073709551616", 2}};
    for (auto const& [text, offset] : refused) {
        try {
            EventId const id{std::string_view(text)};
            FAIL() << text;
        } catch (Zin::ParseError const& error) {
            EXPECT_EQ(error.offset(), offset) << text;
        }
    }
}

}  // namespace
}  // namespace IntfAddr
