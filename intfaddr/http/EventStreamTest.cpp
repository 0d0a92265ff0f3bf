#include "intfaddr/http/EventStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace IntfAddr {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// What has come: "DATA (ID)", the id as it was when it came.
struct EventStreamTest : testing::Test {
    std::vector<std::string> told(std::string_view text) {
        stream.put(text);
        return std::exchange(events, {});
    }

    std::vector<std::string> events;
    EventStream stream{[this](std::string_view data) {
        events.push_back(std::string(data) + " (" + stream.lastEventId() + ")");
    }};
};

TEST_F(EventStreamTest, AnEventIsToldWhenItIsWhole) {
    EXPECT_THAT(told("id: a.1\ndata: {\"x\":1}\n"), IsEmpty());
    EXPECT_EQ(stream.lastEventId(), "");
    EXPECT_THAT(told("\n"), ElementsAre("{\"x\":1} (a.1)"));
    EXPECT_EQ(stream.lastEventId(), "a.1");
}

TEST_F(EventStreamTest, AnEventWithoutAnIdLeavesTheLast) {
    EXPECT_THAT(told("id: 1\ndata: a\n\ndata: b\n\n"), ElementsAre("a (1)", "b (1)"));
}

TEST_F(EventStreamTest, AnIdAloneIsNoEventAndIsKept) {
    EXPECT_THAT(told("id: 1\ndata: a\n\nid: 7\n\n"), ElementsAre("a (1)"));
    EXPECT_EQ(stream.lastEventId(), "7");
    EXPECT_THAT(told("id\n\n"), IsEmpty());
    EXPECT_EQ(stream.lastEventId(), "");
}

TEST_F(EventStreamTest, WhatIsNeitherDataNorIdIsReadOver) {
    EXPECT_THAT(told("\xef\xbb\xbf"
                     "data:a\n: comment\n:\nretry: 9\nevent: x\nDATA: b\nnone\n\n\n\n"),
                ElementsAre("a ()"));
    EXPECT_THAT(told(std::string_view("id: 1\nid: 2\0003\ndata: a\n\n", 24)), ElementsAre("a (1)"));
}

TEST_F(EventStreamTest, DataMayHaveManyLinesAndMayBeEmpty) {
    EXPECT_THAT(told("data: a\ndata:  b\ndata\n\ndata\n\n"), ElementsAre("a\n b\n ()", " ()"));
}

TEST_F(EventStreamTest, PiecesMayBeCutAnywhereWhateverEndsTheLines) {
    for (std::string const end : {"\n", "\r\n", "\r"}) {
        std::string text;
        for (std::string const line : {"id: 1", "data: a", "data: b", "", ": x", "", "id: 2", ""}) {
            text += line + end;
        }
        text += "data: c" + end + end;
        for (std::size_t first = 0; first <= text.size(); ++first) {
            for (std::size_t second = first; second <= text.size(); ++second) {
                stream.put(text.substr(0, first));
                stream.put(text.substr(first, second - first));
                stream.put(text.substr(second));
                ASSERT_THAT(std::exchange(events, {}), ElementsAre("a\nb (1)", "c (2)"));
            }
        }
    }
}

TEST_F(EventStreamTest, WhatWasHalfThereWhenAConnectionBrokeIsGone) {
    EXPECT_THAT(told("id: 1\ndata: a\n\nid: 2\ndata: b\nda"), ElementsAre("a (1)"));
    stream.begin();
    EXPECT_EQ(stream.lastEventId(), "1");
    EXPECT_THAT(told("\xef\xbb\xbf"
                     "data: c\n\n"),
                ElementsAre("c (1)"));
    EXPECT_THAT(told("data: d\r"), IsEmpty());
    stream.begin();
    EXPECT_THAT(told("\ndata: e\n\n"), ElementsAre("e (1)"));
}

TEST(EventStream, AnEventThatWasThrownOutIsNotToldAgain) {
    int told = 0;
    EventStream stream([&told](std::string_view) {
        ++told;
        throw std::runtime_error("no");
    });
    EXPECT_THROW(stream.put("id: 1\ndata: a\n\n"), std::runtime_error);
    EXPECT_EQ(stream.lastEventId(), "1");
    stream.put("\n");
    EXPECT_EQ(told, 1);
}

}  // namespace
}  // namespace IntfAddr
