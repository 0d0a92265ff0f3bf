#include "Zin/Text.h"

#include <gmock/gmock.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>

#include "Zin/Errors.h"
#include "Zin/Format.h"
#include "Zin/Seconds.h"

namespace Test {
namespace {

// A record as the framework's users write them: two fields, two forms.
struct Lease {
    std::string owner;
    Zin::Seconds until = 0.0;
    bool renewed = false;

    std::string toStrep() const {
        return fmt::format("owner={};until={};renewed={}", owner, until, renewed);
    }
    bool operator==(Lease const&) const = default;
};

std::string valueToStrep(Lease const& lease) {
    return fmt::format("Value('Test::Lease', ** {{'owner': {}, 'until': {}, 'renewed': {}}})",
                       Zin::valueToStrep(lease.owner), Zin::valueToStrep(lease.until),
                       Zin::valueToStrep(lease.renewed));
}

Lease fromStrep(std::type_identity<Lease>, std::string_view text) {
    Zin::TextReader reader(text);
    Lease lease;
    lease.owner = reader.field<std::string>("owner", "until");
    lease.until = reader.field<Zin::Seconds>("until", "renewed");
    lease.renewed = reader.field<bool>("renewed");
    return lease;
}

Lease readValue(std::type_identity<Lease>, Zin::TextReader& reader) {
    Lease lease;
    reader.literal("Value('Test::Lease', ** {'owner': ");
    lease.owner = reader.read<std::string>("owner");
    reader.literal(", 'until': ");
    lease.until = reader.read<Zin::Seconds>("until");
    reader.literal(", 'renewed': ");
    lease.renewed = reader.read<bool>("renewed");
    reader.literal("})");
    return lease;
}

}  // namespace
}  // namespace Test

namespace Zin {
namespace {

using Test::Lease;
using ::testing::AllOf;
using ::testing::Property;
using ::testing::StrEq;
using ::testing::Throws;

auto failsAt(std::size_t offset, std::string const& attribute = "") {
    return Throws<ParseError>(AllOf(Property(&ParseError::offset, offset),
                                    Property(&ParseError::attribute, StrEq(attribute))));
}

Lease const anyLease{.owner = "Ethernet1", .until = 1.5, .renewed = true};

TEST(ValueToStrep, PrintsBooleansNumbersAndSeconds) {
    EXPECT_EQ(valueToStrep(true), "true");
    EXPECT_EQ(valueToStrep(false), "false");
    EXPECT_EQ(valueToStrep(std::uint8_t{200}), "200");
    EXPECT_EQ(valueToStrep(std::int8_t{-3}), "-3");
    EXPECT_EQ(valueToStrep(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
    EXPECT_EQ(valueToStrep(Seconds{1.5}), "1.5");
    EXPECT_EQ(valueToStrep(Seconds{2.0}), "2");
    EXPECT_EQ(valueToStrep(Seconds{-0.0}), "-0");
}

TEST(ValueToStrep, QuotesTextsAndEscapesWhatWouldEndThem) {
    EXPECT_EQ(valueToStrep(""), "''");
    EXPECT_EQ(valueToStrep("Ethernet1"), "'Ethernet1'");
    EXPECT_EQ(valueToStrep("a'b\\c"), "'a\\'b\\\\c'");
    EXPECT_EQ(valueToStrep("\x01\n\x7f"), "'\\x01\\x0a\\x7f'");
    EXPECT_EQ(valueToStrep("\xc3\xa9"), "'\xc3\xa9'");
}

TEST(StrepToValue, ReadsWhatPrints) {
    EXPECT_EQ(strepToValue<bool>("true"), true);
    EXPECT_EQ(strepToValue<bool>("false"), false);
    EXPECT_EQ(strepToValue<int>("-17"), -17);
    EXPECT_EQ(strepToValue<std::uint8_t>("255"), 255);
    EXPECT_EQ(strepToValue<Seconds>("1.5"), 1.5);
    EXPECT_EQ(strepToValue<Lease>(anyLease.toStrep()), anyLease);
}

TEST(StrepToValue, RefusesWhatIsNotTheWholeForm) {
    EXPECT_THAT([] { strepToValue<bool>(""); }, failsAt(0));
    EXPECT_THAT([] { strepToValue<bool>("True"); }, failsAt(0));
    EXPECT_THAT([] { strepToValue<bool>("true "); }, failsAt(4));
    EXPECT_THAT([] { strepToValue<int>(" 1"); }, failsAt(0));
    EXPECT_THAT([] { strepToValue<int>("+1"); }, failsAt(0));
    EXPECT_THAT([] { strepToValue<int>("1.5"); }, failsAt(1));
    EXPECT_THAT([] { strepToValue<std::uint8_t>("256"); }, failsAt(0));
    EXPECT_THAT([] { strepToValue<Seconds>("1,5"); }, failsAt(1));
    EXPECT_THAT([] { strepToValue<Seconds>("1e999"); }, failsAt(0));
}

TEST(StrepToValue, RefusesNumbersThatArePrintedOtherwise) {
    for (char const* const text : {"001.50", "1.50", "01.5", ".5", "5.", "1.0", "1E3", "1e3", "NAN",
                                   "nan(1)", "INF", "infinity", "00", "0.50"}) {
        EXPECT_THAT([text] { strepToValue<Seconds>(text); }, failsAt(0)) << text;
    }
    for (char const* const text : {"007", "-0", "00", "-01"}) {
        EXPECT_THAT([text] { strepToValue<int>(text); }, failsAt(0)) << text;
    }
}

TEST(StrepToValue, EverySecondsValueReadsBackAsItself) {
    std::mt19937_64 random(1);
    for (int i = 0; i < 20000; ++i) {
        auto const value = std::bit_cast<Seconds>(random());
        if (std::isnan(value)) {
            EXPECT_TRUE(std::isnan(strepToValue<Seconds>(valueToStrep(value))));
        } else {
            EXPECT_EQ(strepToValue<Seconds>(valueToStrep(value)), value);
        }
    }
    for (Seconds const value :
         {std::numeric_limits<Seconds>::denorm_min(), std::numeric_limits<Seconds>::max(),
          std::numeric_limits<Seconds>::infinity(), -std::numeric_limits<Seconds>::infinity()}) {
        EXPECT_EQ(strepToValue<Seconds>(valueToStrep(value)), value);
    }
}

TEST(TextReader, ReadsARecordFromItsReflectiveForm) {
    std::string const text = valueToStrep(anyLease);
    EXPECT_EQ(text,
              "Value('Test::Lease', ** {'owner': 'Ethernet1', 'until': 1.5, 'renewed': true})");

    TextReader reader(text);
    EXPECT_EQ(reader.read<Lease>("lease"), anyLease);
    EXPECT_NO_THROW(reader.end());
}

TEST(TextReader, ATextBehindTheValueIsAnError) {
    TextReader reader("true;");
    reader.read<bool>("renewed");

    EXPECT_EQ(reader.rest(), ";");
    EXPECT_THAT([&] { reader.end(); }, failsAt(4));
}

TEST(TextReader, AWrongLiteralNamesWhereItIsAndWhatWasExpected) {
    TextReader reader("abc");
    reader.literal("a");

    EXPECT_THAT([&] { reader.literal("c"); },
                Throws<ParseError>(AllOf(Property(&ParseError::offset, 1U),
                                         Property(&ParseError::expected, StrEq("c")))));
    EXPECT_EQ(reader.rest(), "bc");
}

TEST(TextReader, AFailureNamesTheInnermostAttribute) {
    auto const read = [](std::string_view text) {
        return [text] { TextReader(text).read<Lease>("lease"); };
    };

    EXPECT_THAT(read("Value('Test::Lease', ** {'owner': x"), failsAt(34, "owner"));
    EXPECT_THAT(read("Value('Test::Lease', ** {'owner': 'x', 'until': x"), failsAt(48, "until"));
    EXPECT_THAT(read("Value('Test::Leash', ** {'owner': 'x'"), failsAt(0, "lease"));
}

TEST(TextReader, EveryCutOfAReflectiveFormIsAnError) {
    std::string const text = valueToStrep(anyLease);
    for (std::size_t size = 0; size < text.size(); ++size) {
        std::string const cut = text.substr(0, size);
        EXPECT_THROW(TextReader(cut).read<Lease>("lease"), ParseError) << cut;
    }
}

TEST(TextReader, AQuotedTextHasNoOtherEscapesThanThosePrinted) {
    auto const read = [](std::string_view text) {
        return [text] { TextReader(text).read<std::string>("name"); };
    };

    EXPECT_THAT(read("name"), failsAt(0, "name"));
    EXPECT_THAT(read("'name"), failsAt(5, "name"));
    EXPECT_THAT(read("'a\nb'"), failsAt(2, "name"));
    EXPECT_THAT(read("'a\\n'"), failsAt(3, "name"));
    EXPECT_THAT(read("'a\\"), failsAt(3, "name"));
    EXPECT_THAT(read("'a\\x4"), failsAt(4, "name"));
    EXPECT_THAT(read("'a\\x4g'"), failsAt(4, "name"));
    EXPECT_THAT(read("'a\\x41'"), failsAt(4, "name"));
    EXPECT_THAT(read("'a\\x0A'"), failsAt(4, "name"));
    EXPECT_THAT(read("'a\\x27'"), failsAt(4, "name"));
}

TEST(TextReader, AFieldThatHoldsTheSeparatorsReadsBack) {
    for (std::string const owner : {"", ";", "=", ";until=7", "a;until=1.5;renewed=true", "x;"}) {
        Lease const lease{.owner = owner, .until = 2, .renewed = false};
        EXPECT_EQ(strepToValue<Lease>(lease.toStrep()), lease);
    }
}

TEST(TextReader, AMissingOrMalformedFieldIsAnError) {
    auto const read = [](std::string_view text) { return [text] { strepToValue<Lease>(text); }; };

    EXPECT_THAT(read(""), failsAt(0));
    EXPECT_THAT(read("proprietor=x;until=1;renewed=true"), failsAt(0));
    EXPECT_THAT(read("owner=x;renewed=true"), failsAt(6));
    EXPECT_THAT(read("owner=x;until=soon;renewed=true"), failsAt(14, "until"));
    EXPECT_THAT(read("owner=x;until=1s;renewed=true"), failsAt(15, "until"));
    EXPECT_THAT(read("owner=x;until=1;renewed=true;"), failsAt(28, "renewed"));
}

TEST(Printable, WhatHasAShortFormPrintsItThroughFmt) {
    EXPECT_EQ(fmt::format("{}", anyLease), anyLease.toStrep());
    EXPECT_EQ(fmt::format("{:>40}", anyLease).size(), 40U);
}

}  // namespace
}  // namespace Zin
