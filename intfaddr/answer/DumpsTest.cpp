#include "intfaddr/answer/Dumps.h"

#include <gmock/gmock.h>

#include "Zin/Format.h"
#include "intfaddr/answer/TestAnswers.h"

namespace IntfAddr {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

struct DumpsTest : AnswersTest {
    DumpsTest() { dumps.addTo(routes); }

    std::string dump(char const* what, Parameters const& query = {}, char const* method = "GET") {
        Request request;
        request.method = method;
        request.target = {.segments = {"v1", "dump", what}, .query = query};
        Reply const reply = routes.reply(request);
        return fmt::format("{} {}", reply.status, drained(*reply.body));
    }

    Dumps const dumps{agent.router()};
};

TEST_F(DumpsTest, OfTheTablesHasRowsAndIndexes) {
    addAddress(7, "10.0.0.1/24");
    runTo(1.0);
    EXPECT_THAT(dump("tables", {{"vrf", "default"}}),
                AllOf(StartsWith("200 IntfAddrVrfTable for vrf default\n  intfAddrEntry count "),
                      HasSubstr("10.0.0.0/24 ][ eth0 ][ count 1 ]\n")));
}

TEST_F(DumpsTest, OfTheMachinesHasWhatTheyWereGiven) {
    addAddress(7, "10.0.0.1/24");
    runTo(1.0);
    EXPECT_THAT(dump("machines"), AllOf(StartsWith("200 IntfAddVrfTableSm VRF=default"),
                                        HasSubstr("eth0 active is 10.0.0.1/24 with 0 "
                                                  "secondary addresses\n")));
}

TEST_F(DumpsTest, AListIsAsLongAsOneWants) {
    addAddress(7, "10.0.0.1/24");
    addAddress(8, "10.0.1.1/24");
    runTo(1.0);
    auto const cut = HasSubstr("list will be truncated");
    EXPECT_THAT(dump("machines", {{"max", "1"}}), cut);
    EXPECT_THAT(dump("machines", {{"max", "1"}, {"verbose", ""}}), Not(cut));
    EXPECT_THAT(dump("machines"), Not(cut));
}

TEST_F(DumpsTest, OfALargeVrfEndsWhereTheOthersHaveTheirTurn) {
    runTo(1.0);
    std::vector<Routing::Operation> operations;
    for (std::uint32_t i = 0; i < 2500; ++i) {
        operations.push_back(Routing::VipAdd{
            "default", Nimb::IpAddrWithMask(
                           Nimb::Ip4Addr(fmt::format("10.0.{}.{}", i / 250, i % 250 + 1)), 32)});
    }
    agent.apply(operations);
    EXPECT_THAT(dump("tables"), HasSubstr("-- VRF default ends here, after 4000 lines --\n"));
}

TEST_F(DumpsTest, OfNothingIsABadQuestion) {
    runTo(1.0);
    EXPECT_EQ(dump("tables", {{"max", "4001"}}),
              "400 {\"error\":\"max '4001': a number from 0 to 4000 is expected\"}\n");
    EXPECT_THAT(dump("tables", {{"max", "many"}}), StartsWith("400 "));
    EXPECT_THAT(dump("tables", {{"verbose", "very"}}), StartsWith("400 "));
    EXPECT_THAT(dump("tables", {{"vrf", "none"}}), StartsWith("404 "));
    EXPECT_THAT(dump("chairs"), StartsWith("404 "));
    EXPECT_THAT(dump("tables", {}, "PUT"), StartsWith("405 "));
}

}  // namespace
}  // namespace IntfAddr
