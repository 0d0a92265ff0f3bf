#include "intfaddr/answer/Exposition.h"

#include <gtest/gtest.h>

#include "intfaddr/answer/Document.h"

namespace IntfAddr {
namespace {

using Samples = Exposition::Samples;
using Type = Exposition::Type;

// Of one label.
std::string written(std::string_view text) {
    Exposition metrics;
    metrics.family("a", Type::gauge, "b", [text](Samples& samples) {
        samples.add({{"vrf", text}}, 1);
        return false;
    });
    std::string const all = drained(metrics);
    return all.substr(all.find("a{"));
}

TEST(Exposition, WhatAFamilyIsComesOnceBeforeAllOfItsSteps) {
    Exposition metrics;
    metrics.value("up_seconds", Type::gauge, "For how long.", [] { return 2.5; })
        .family("rows", Type::counter, "Rows.",
                [at = 0](Samples& samples) mutable {
                    samples.add({{"vrf", "red"}, {"interface", std::to_string(at)}}, at);
                    return ++at < 2;
                })
        .value("none", Type::gauge, "Nothing yet.", [] { return std::nullopt; })
        .family("times", Type::histogram, "Times.", [](Samples& samples) {
            samples.add({{"le", "+Inf"}}, 7, "_bucket");
            samples.add({}, 1795379000.125, "_sum");
            samples.add({}, 7, "_count");
            return false;
        });
    EXPECT_EQ(drained(metrics), R"(# HELP up_seconds For how long.
# TYPE up_seconds gauge
up_seconds 2.5
# HELP rows Rows.
# TYPE rows counter
rows{vrf="red",interface="0"} 0
rows{vrf="red",interface="1"} 1
# HELP none Nothing yet.
# TYPE none gauge
# HELP times Times.
# TYPE times histogram
times_bucket{le="+Inf"} 7
times_sum 1795379000.125
times_count 7
)");
}

TEST(Exposition, AStepIsAPieceOfItsOwn) {
    Exposition metrics;
    metrics.family("rows", Type::gauge, "Rows.", [at = 0](Samples& samples) mutable {
        samples.add({}, at);
        return ++at < 2;
    });
    std::string piece;
    EXPECT_EQ(metrics.next(piece), Body::Progress::more);
    EXPECT_EQ(piece, "# HELP rows Rows.\n# TYPE rows gauge\nrows 0\n");
    piece.clear();
    EXPECT_EQ(metrics.next(piece), Body::Progress::ended);
    EXPECT_EQ(piece, "rows 1\n");
}

TEST(Exposition, LargeNumbersAreWhole) {
    Exposition metrics;
    metrics.value("a", Type::counter, "b", [] { return 9007199254740991.0; });
    EXPECT_TRUE(drained(metrics).ends_with("a 9007199254740991\n"));
}

TEST(Exposition, LabelsAreEscaped) {
    EXPECT_EQ(written("a\"b\\c\nd"), "a{vrf=\"a\\\"b\\\\c\\nd\"} 1\n");
}

TEST(Exposition, NamesThatAreUtf8StandAsTheyAre) {
    EXPECT_EQ(written("b\xc3\xbcro"), "a{vrf=\"b\xc3\xbcro\"} 1\n");
}

TEST(Exposition, OtherNamesAreUtf8AndDifferStill) {
    EXPECT_EQ(written("b\xfcro"),
              "a{vrf=\"b\xef\xbf\xbd"
              "FCro\"} 1\n");
    EXPECT_EQ(written("b\xef\xbf\xbd"
                      "FCro"),
              "a{vrf=\"b\xef\xbf\xbd"
              "EF\xef\xbf\xbd"
              "BF\xef\xbf\xbd"
              "BDFCro\"} 1\n");
}

}  // namespace
}  // namespace IntfAddr
