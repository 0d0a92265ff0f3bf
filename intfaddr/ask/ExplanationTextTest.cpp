#include "intfaddr/ask/ExplanationText.h"

#include <gtest/gtest.h>

namespace IntfAddr {
namespace {

Json answer() {
    return Json::parse(R"({"from":"agent","address":"10.0.0.1","explanations":[
        {"vrf":"default","interface":"eth0","verdict":"owned","sentence":"It is.",
         "reasons":["One.","Two\u001b[2J."],"since":4.5,
         "events":[{"at":4.25,"text":"was published on eth0"},
                   {"at":4.5,"text":"came into the table on eth0"}]},
        {"vrf":"red","interface":null,"verdict":"none","sentence":"It is not.",
         "reasons":[],"events":[]}],
        "history":{"begins":0.25,"now":104.75},"notKnown":[]})");
}

TEST(ExplanationText, ASentenceItsReasonsAndHowLongAgoItWas) {
    EXPECT_EQ(explanationText(answer()), R"(It is.
  - One.
  - Two?[2J.
     100.5 s ago  was published on eth0
     100.2 s ago  came into the table on eth0
It is not.
The history begins 104.5 s ago.
)");
}

TEST(ExplanationText, WithoutAnAgentThereIsNoHistory) {
    EXPECT_EQ(explanationText(Json::parse(R"({"explanations":[],"history":null})")),
              "There is no history where no agent is asked.\n");
}

TEST(ExplanationText, APlaceIsWhereItIsOrIsKeptOut) {
    for (char const* const word : {"owned", "leaving", "waiting", "no-device", "borrowed",
                                   "tentative", "duplicate", "left-out", "missing"}) {
        EXPECT_TRUE(hasPlace(Json{{"verdict", word}})) << word;
    }
    for (char const* const word : {"connected", "none", "not-known"}) {
        EXPECT_FALSE(hasPlace(Json{{"verdict", word}})) << word;
    }
}

}  // namespace
}  // namespace IntfAddr
