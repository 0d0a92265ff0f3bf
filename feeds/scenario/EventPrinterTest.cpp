#include "feeds/scenario/EventPrinter.h"

#include <gmock/gmock.h>

#include "Zin/Format.h"
#include "feeds/scenario/TestReplay.h"

namespace Scenario {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// "intfAddrEntryFromAddr eth0 +" for each event of a run.
Lines eventsOf(Lines const& lines) {
    Lines events;
    for (auto const& text : replayed(lines, {.events = true}).printed) {
        auto const event = Json::parse(text).value("event", Json());
        if (!event.is_null()) {
            events.push_back(fmt::format("{} {} {} {}", event["vrf"].get<std::string>(),
                                         event["attribute"].get<std::string>(),
                                         event["key"].get<std::string>(),
                                         event["present"].get<bool>() ? "present" : "absent"));
        }
    }
    return events;
}

char const* const setPrimary =
    R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"10.0.0.1/24"})";
char const* const clearPrimary =
    R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"0.0.0.0/0"})";
char const* const row =
    "red intfAddrEntry intfId=;addr=10.0.0.1;virtualIp=false;subnet=10.0.0.0/24";
char const* const byAddr = "red intfAddrEntryFromAddr intfId=;addr=10.0.0.1;virtualIp=false";
char const* const set = "red intfAddrEntrySetFromSubnet 10.0.0.0/24";

std::string present(std::string const& what) { return what + " present"; }

TEST(EventPrinter, PrintsWhatChangesInEachCollection) {
    EXPECT_EQ(replayed(prepared({R"({"op":"vip6.add","vrf":"red","addr":"1::1","at":1.5})"}),
                       {.events = true})
                  .printed.at(0),
              R"({"t":1.5,"event":{"vrf":"red","attribute":"intfAddrEntry",)"
              R"("key":"intfId=;addr=1::1;virtualIp=true;subnet=","present":true}})");
    EXPECT_THAT(eventsOf(prepared({setPrimary})),
                ElementsAre(present(row), present(byAddr), present(set)));
    EXPECT_THAT(eventsOf(prepared(
                    {R"({"op":"ip6.addr.set","vrf":"red","intf":"eth0","addr":"fe80::1/64"})"})),
                testing::Contains("red llIntfAddrEntryFromIntfId eth0 present"));
    auto const events = eventsOf(prepared({setPrimary, clearPrimary}));
    EXPECT_THAT(
        Lines(events.begin() + 3, events.end()),
        testing::UnorderedElementsAre(std::string(row) + " absent", std::string(byAddr) + " absent",
                                      std::string(set) + " absent"));
}

TEST(EventPrinter, PrintsNothingUnlessAsked) {
    EXPECT_THAT(replayed(prepared({setPrimary})).printed, IsEmpty());
}

TEST(EventPrinter, AChangeIsPrintedBeforeTheLibraryReacts) {
    auto const run = replayed(prepared({setPrimary}), {.events = true, .traceLevel = 9});
    auto const find = [&run](char const* what) {
        auto const found = std::ranges::find_if(run.printed, [what](std::string const& line) {
            return line.find(what) != std::string::npos;
        });
        EXPECT_NE(found, run.printed.end()) << what;
        return found - run.printed.begin();
    };
    EXPECT_EQ(find(R"("attribute":"intfAddrEntry")") + 1,
              find(R"("function":"handleIntfAddrEntry")"));
}

TEST(EventPrinter, ATableIsFollowedFromItsFirstRowOn) {
    // Status is there before the table, which is filled as it is added.
    Lines lines = prepared({setPrimary});
    lines.erase(lines.begin());
    lines.push_back(R"({"op":"table.add","vrf":"red"})");
    EXPECT_THAT(eventsOf(lines), ElementsAre(present(row), present(byAddr), present(set)));
    // So is the one that replaces it; the old one is out of sight before it is emptied.
    lines.push_back(R"({"op":"table.add","vrf":"red"})");
    EXPECT_THAT(eventsOf(lines), ElementsAre(present(row), present(byAddr), present(set),
                                             present(row), present(byAddr), present(set)));
}

TEST(EventPrinter, ATableThatHasLeftTheDirectoryIsNotFollowed) {
    Lines const lines = prepared({setPrimary, R"({"op":"table.del","vrf":"red"})", clearPrimary});
    EXPECT_THAT(eventsOf(lines), ElementsAre(present(row), present(byAddr), present(set)));
}

TEST(EventPrinter, ATableIsFollowedThroughARestartOfTheManager) {
    Lines const lines =
        prepared({setPrimary, R"({"op":"manager.stop"})", clearPrimary,
                  R"({"op":"vip6.add","vrf":"red","addr":"1::1"})", R"({"op":"manager.start"})"});
    auto const events = eventsOf(lines);
    EXPECT_THAT(events, testing::Contains(HasSubstr("addr=1::1;virtualIp=true;subnet= present")));
}

}  // namespace
}  // namespace Scenario
