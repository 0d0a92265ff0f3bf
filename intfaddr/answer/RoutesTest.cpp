#include "intfaddr/answer/Routes.h"

#include <gmock/gmock.h>

#include "Zin/Format.h"

namespace IntfAddr {
namespace {

using testing::HasSubstr;

struct RoutesTest : testing::Test {
    RoutesTest() {
        auto const echo = [](Request const& request, Parameters const& given) {
            return textReply(200, request.method + target({}, given));
        };
        routes.add({.method = "GET",
                    .path = "/v1/vrfs/{vrf}/things",
                    .parameters = std::set<std::string>{"colour", "size"},
                    .needed = {"size"}},
                   echo);
        routes.add({.method = "PUT", .path = "/thing", .parameters = std::nullopt}, echo);
        routes.add({.method = "DELETE", .path = "/thing"}, echo);
        routes.add({.method = "GET", .path = "/bad"},
                   [](Request const&, Parameters const&) -> Reply {
                       throw BadQuestion("that cannot be asked");
                   });
    }

    std::string said(char const* method, char const* asked) const {
        Request request;
        request.method = method;
        request.target = readTarget(asked);
        Reply const reply = routes.reply(request);
        std::string text = fmt::format("{} {}", reply.status, drained(*reply.body));
        for (auto const& [name, value] : reply.headers) {
            text += fmt::format("{}: {}\n", name, value);
        }
        return text;
    }

    Routes routes;
};

TEST_F(RoutesTest, ASegmentOfThePathMayBeAParameter) {
    EXPECT_EQ(said("GET", "/v1/vrfs/red/things?size=7"), "200 GET/?vrf=red&size=7");
    EXPECT_EQ(said("GET", "/v1/vrfs/a%2Fb/things?size=7"), "200 GET/?vrf=a%2Fb&size=7");
    EXPECT_EQ(said("GET", "/v1/vrfs//things?size="), "200 GET/?vrf&size");
    EXPECT_THAT(said("GET", "/v1/vrfs/a/b/things?size=7"), HasSubstr("404"));
}

TEST_F(RoutesTest, TheHeadOfWhatCanBeGotCanBeAskedFor) {
    EXPECT_EQ(said("HEAD", "/v1/vrfs/red/things?size=7"), "200 HEAD/?vrf=red&size=7");
    EXPECT_THAT(said("HEAD", "/thing"), HasSubstr("405"));
}

TEST_F(RoutesTest, WhatIsNotThereOrNotPossibleIsRefused) {
    EXPECT_EQ(said("GET", "/v1/vrfs"), "404 {\"error\":\"there is nothing at /v1/vrfs\"}\n");
    EXPECT_EQ(said("GET", "/"), "404 {\"error\":\"there is nothing at /\"}\n");
    EXPECT_EQ(said("GET", "/thing"),
              "405 {\"error\":\"GET is not possible: PUT and DELETE are\"}\nAllow: PUT, DELETE\n");
    EXPECT_EQ(said("put", "/bad"),
              "405 {\"error\":\"put is not possible: GET is\"}\nAllow: GET, HEAD\n");
    EXPECT_EQ(said("GET", "/bad"), "400 {\"error\":\"that cannot be asked\"}\n");
}

TEST_F(RoutesTest, ParametersAreThoseThatAreExpected) {
    EXPECT_EQ(said("GET", "/v1/vrfs/red/things"), "400 {\"error\":\"'size' is missing\"}\n");
    EXPECT_EQ(said("GET", "/v1/vrfs/red/things?size=1&size=1"),
              "400 {\"error\":\"'size' is given twice\"}\n");
    // That of the path is given there alone.
    EXPECT_EQ(said("GET", "/v1/vrfs/red/things?size=1&vrf=red"),
              "400 {\"error\":\"'vrf' is unknown: colour or size is expected\"}\n");
    EXPECT_EQ(said("DELETE", "/thing?a"),
              "400 {\"error\":\"'a' is unknown: nothing is expected\"}\n");
    EXPECT_EQ(said("PUT", "/thing?a=1&b=2&a=3"), "200 PUT/?a=1&b=2&a=3");
}

TEST_F(RoutesTest, AllOfThemAreListed) {
    auto const listed = Json::parse(said("GET", "/v1").substr(4));
    EXPECT_EQ(listed["paths"][1], Json::parse(R"({"path":"/v1/vrfs/{vrf}/things","method":"GET",
                              "parameters":["colour","size"],"needed":["size"]})"));
    EXPECT_EQ(listed["paths"][2]["parameters"], nullptr);
    EXPECT_EQ(listed["paths"].size(), 5U);
}

}  // namespace
}  // namespace IntfAddr
