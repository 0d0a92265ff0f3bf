#include "intfaddr/http/Reply.h"

#include <gtest/gtest.h>

namespace IntfAddr {
namespace {

std::string textOf(Reply const& reply) {
    std::string text;
    while (reply.body->next(text) == Body::Progress::more) {
    }
    return text;
}

TEST(TextBody, ComesInPiecesAndWhole) {
    std::string whole;
    for (int line = 0; line < 10000; ++line) {
        whole += std::to_string(line) + "\n";
    }
    TextBody body(whole);
    std::string first;
    EXPECT_EQ(body.next(first), Body::Progress::more);
    EXPECT_LT(first.size(), whole.size());
    while (body.next(first) == Body::Progress::more) {
    }

    EXPECT_EQ(first, whole);
}

TEST(TextBody, EndsWithItsLastByte) {
    std::string const whole(std::size_t{32} << 10, 'x');
    TextBody body(whole);
    std::string text;
    EXPECT_EQ(body.next(text), Body::Progress::more);
    EXPECT_EQ(body.next(text), Body::Progress::ended);

    EXPECT_EQ(text, whole);
    EXPECT_EQ(TextBody("").next(text), Body::Progress::ended);
}

TEST(Reply, OfAnErrorIsJsonWhateverItQuotes) {
    auto const reply = errorReply(400, "a \"quote\" and \xff");

    EXPECT_EQ(reply.status, 400U);
    EXPECT_EQ(reply.contentType, "application/json");
    EXPECT_EQ(textOf(reply), "{\"error\":\"a \\\"quote\\\" and \xEF\xBF\xBD\"}\n");
}

}  // namespace
}  // namespace IntfAddr
