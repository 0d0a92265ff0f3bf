#include "intfaddr/http/ReplyHead.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace IntfAddr {
namespace {

using testing::EndsWith;
using testing::MatchesRegex;

TEST(ReplyHead, SaysWhatFollows) {
    ReplyHead const head{.status = 404,
                         .contentType = "text/plain",
                         .framing = "Content-Length: 3",
                         .isLast = false};
    EXPECT_THAT(head.text(), MatchesRegex("HTTP/1.1 404 Not Found\r\n"
                                          "Date: ..., .. ... .... ..:..:.. GMT\r\n"
                                          "Content-Type: text/plain\r\nContent-Length: 3\r\n\r\n"));
}

TEST(ReplyHead, OfNoBodyHasNoType) {
    ReplyHead const head{.status = 204, .contentType = "text/plain", .framing = "", .isLast = true};
    EXPECT_THAT(head.text(), MatchesRegex("HTTP/1.1 204 No Content\r\nDate: [^\r]*\r\n"
                                          "Connection: close\r\n\r\n"));
}

TEST(ReplyHead, HasWhatElseIsToBeSaid) {
    ReplyHead const head{.status = 405,
                         .contentType = "text/plain",
                         .framing = "Content-Length: 3",
                         .isLast = false,
                         .headers = {{"Allow", "GET, HEAD"}, {"A", "b"}}};
    EXPECT_THAT(head.text(), EndsWith("Content-Length: 3\r\nAllow: GET, HEAD\r\nA: b\r\n\r\n"));
}

}  // namespace
}  // namespace IntfAddr
