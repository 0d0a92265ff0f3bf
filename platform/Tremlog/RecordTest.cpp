#include "Tremlog/Record.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Nimb/IntfId.h"
#include "TestMemory/TestMemory.h"
#include "Zin/Format.h"

namespace Tremlog {
namespace {

using Messages = std::vector<std::string>;

class Record : public testing::Test {
protected:
    Record() { clear(); }
};

TEST_F(Record, ReadsBackAsItsFormattedMessage) {
    record<"{} items, {:.2f} s, {}, {:#x}">(7, 1.5, true, 255U);
    record<"nothing to {{}} add">();
    EXPECT_EQ(messages(), (Messages{"7 items, 1.50 s, true, 0xff", "nothing to {} add"}));
}

TEST_F(Record, KeepsTheValuesOfItsTime) {
    std::string name = "Ethernet1";
    int count = 1;
    record<"{} {}">(name, count);
    name = "Management0";
    count = 2;
    EXPECT_EQ(messages(), Messages{"Ethernet1 1"});
}

TEST_F(Record, TakesTextsOfAnyKind) {
    std::string const text = "string";
    char const* const pointer = "pointer";
    record<"{} {} {:>8}">(text, pointer, std::string_view("view"));
    record<"{}|{}">("literal", std::string_view());
    EXPECT_EQ(messages(), (Messages{"string pointer     view", "literal|"}));
}

TEST_F(Record, CutsAndMarksALongText) {
    std::string const whole(31, 'a');
    record<"{}">(whole);
    record<"{}">(whole + "a");
    EXPECT_EQ(messages(), (Messages{whole, fmt::format("{:a>30}~", "")}));
}

TEST_F(Record, TakesInterfaceNames) {
    Nimb::IntfId const longest(std::string(23, 'e'));
    record<"{} conflicts with {}, not {}">(Nimb::IntfId("Ethernet1"), longest, Nimb::IntfId());
    EXPECT_EQ(messages(), Messages{fmt::format("Ethernet1 conflicts with {:e>23}, not ", "")});
}

TEST_F(Record, TakesValuesThatOwnTheirText) {
    struct Owner {
        std::string name;
        std::string_view text() const { return name; }
    };
    record<"{}">(Owner{"default"});
    EXPECT_EQ(messages(), Messages{"default"});
}

TEST_F(Record, MayFillItsSlotToTheLastByte) {
    record<"{} {} {} {} {}">("one", "two", "three", 4.0, 5.0);
    static_assert(3 * sizeof(Text) + 2 * sizeof(double) == Ring::argumentSize);
    record<"next">();
    EXPECT_EQ(messages(), (Messages{"one two three 4 5", "next"}));
}

TEST_F(Record, AllocatesNothing) {
    Nimb::IntfId const intfId("Ethernet1");
    std::string const text(100, 't');
    std::size_t const before = TestMemory::allocations;
    for (int i = 0; i < 5000; ++i) {
        record<"{} {} {}">(intfId, i, text);
    }
    EXPECT_EQ(TestMemory::allocations, before);
    EXPECT_EQ(count(), 5000U);
}

}  // namespace
}  // namespace Tremlog
