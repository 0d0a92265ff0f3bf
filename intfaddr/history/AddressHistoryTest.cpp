#include "intfaddr/history/AddressHistory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>
#include <random>
#include <string>

#include "TestMemory/TestMemory.h"
#include "Zin/Format.h"

namespace IntfAddr {
namespace {

using Kind = AddressEvent::Kind;
using testing::ElementsAre;
using testing::IsEmpty;

Nimb::IpGenAddr const addr("10.0.0.1");

AddressEvent event(Zin::Seconds at, Kind kind, Nimb::IntfId const& intf = "eth0") {
    return {.at = at, .kind = kind, .intf = intf};
}

Nimb::IpGenAddr numbered(std::uint32_t number) {
    return Nimb::IpGenAddr(Nimb::Ip4Addr(Nimb::Ip4Bytes{
        static_cast<std::uint8_t>(number >> 24U), static_cast<std::uint8_t>(number >> 16U),
        static_cast<std::uint8_t>(number >> 8U), static_cast<std::uint8_t>(number)}));
}

std::vector<Zin::Seconds> timesOf(AddressHistory::Past const& past) {
    std::vector<Zin::Seconds> times;
    for (auto const& one : past.events) {
        times.push_back(one.at);
    }
    return times;
}

TEST(AddressHistory, GivesBackWhatItWasGiven) {
    std::vector<AddressEvent> const events{
        {.at = 1.5,
         .kind = Kind::toldThere,
         .marks = {.secondary = true, .tentative = true},
         .prefixLength = 24,
         .intf = "eth0"},
        {.at = 2.0, .kind = Kind::deferred, .prefixLength = 24, .intf = "eth0"},
        {.at = 2.5,
         .kind = Kind::deferred,
         .intf = "an interface with a long name",
         .holder = Routing::Holder{Nimb::IpGenAddrWithMask("2001:db8::1/64"), "eth 1"}},
        {.at = 3.0, .kind = Kind::rebuilt, .why = "a row was lost"}};
    AddressHistory history;
    for (auto const& one : events) {
        history.add("red", addr, one);
    }
    EXPECT_EQ(history.of("red", addr).events, events);
}

TEST(AddressHistory, IsOfOneAddressOfOneVrf) {
    AddressHistory history;
    history.add("red", addr, event(1, Kind::published));
    history.add("blue", addr, event(2, Kind::published));
    history.add("red", Nimb::IpGenAddr("10.0.0.2"), event(3, Kind::published));

    EXPECT_THAT(timesOf(history.of("red", addr)), ElementsAre(1));
    EXPECT_THAT(timesOf(history.of("blue", addr)), ElementsAre(2));
    EXPECT_THAT(timesOf(history.of("green", addr)), IsEmpty());
    EXPECT_THAT(timesOf(history.of("red", Nimb::IpGenAddr("10.0.0.3"))), IsEmpty());
}

TEST(AddressHistory, HasInItsPlaceWhatHappenedToTheInterfacesThatItNames) {
    AddressHistory history;
    history.add("red", addr, event(1, Kind::published, "eth0"));
    history.addOfInterface("red", event(2, Kind::deviceDown, "eth0"));
    history.addOfInterface("red", event(2.5, Kind::deviceDown, "eth1"));
    history.addOfInterface("blue", event(2.75, Kind::deviceDown, "eth0"));
    history.add("red", addr, event(3, Kind::withdrawn, "eth0"));
    EXPECT_THAT(timesOf(history.of("red", addr)), ElementsAre(1, 2, 3));
    EXPECT_THAT(timesOf(history.of("red", addr, {"eth1"})), ElementsAre(1, 2, 2.5, 3));
    EXPECT_THAT(timesOf(history.of("red", Nimb::IpGenAddr("10.0.0.9"), {"eth1"})),
                ElementsAre(2.5));
}

TEST(AddressHistory, OfOneTimeHasFirstWhatCameFirst) {
    AddressHistory history;
    history.add("red", addr, event(1, Kind::published));
    history.addOfInterface("red", event(1, Kind::deviceCame));
    history.add("red", addr, event(1, Kind::admitted));
    auto const past = history.of("red", addr);
    ASSERT_EQ(past.events.size(), 3U);
    EXPECT_EQ(past.events[1].kind, Kind::deviceCame);
}

TEST(AddressHistory, PutsInItsPlaceWhatComesLate) {
    AddressHistory history;
    history.add("red", addr, event(2, Kind::toldThere));
    history.add("red", addr, event(1, Kind::withdrawn));
    EXPECT_THAT(timesOf(history.of("red", addr)), ElementsAre(1, 2));
}

TEST(AddressHistory, LeavesOutWhatIsOfTheOtherFamily) {
    AddressHistory history;
    auto status = event(1, Kind::statusWent);
    history.addOfInterface("red", status);
    status.at = 2;
    status.marks.ipv6 = true;
    history.addOfInterface("red", status);
    history.addOfInterface("red", event(3, Kind::deviceWent));
    EXPECT_THAT(timesOf(history.of("red", addr, {"eth0"})), ElementsAre(1, 3));
    EXPECT_THAT(timesOf(history.of("red", Nimb::IpGenAddr("2001:db8::1"), {"eth0"})),
                ElementsAre(2, 3));
}

TEST(AddressHistory, KeepsTheLastOfAnAddressAndKnowsFromWhenOn) {
    AddressHistory history({.perSubject = 3});
    for (int at = 1; at <= 5; ++at) {
        history.add("red", addr, event(at, Kind::published));
    }
    EXPECT_THAT(timesOf(history.of("red", addr)), ElementsAre(3, 4, 5));
    EXPECT_EQ(history.of("red", addr).begins, 2);
    EXPECT_EQ(history.of("red", Nimb::IpGenAddr("10.0.0.2")).begins, 0) << "nothing happened there";
}

TEST(AddressHistory, KnowsFromWhenOnItHasTheInterfaces) {
    AddressHistory history({.perSubject = 2});
    history.add("red", addr, event(1, Kind::published));
    EXPECT_EQ(history.of("red", addr).interfacesBegin, 0) << "nothing happened to it";
    for (int at = 2; at <= 5; ++at) {
        history.addOfInterface("red", event(at, Kind::deviceDown));
    }
    history.addOfInterface("red", event(6, Kind::deviceDown, "eth1"));
    EXPECT_THAT(timesOf(history.of("red", addr, {"eth1"})), ElementsAre(1, 4, 5, 6));
    EXPECT_EQ(history.of("red", addr, {"eth1"}).interfacesBegin, 3) << "the later one's";
    EXPECT_EQ(history.of("red", addr).begins, 0);
}

TEST(AddressHistory, KnowsNothingOfAnInterfaceThatWasForgotten) {
    AddressHistory history({.bytes = 800});
    history.addOfInterface("red", event(1, Kind::deviceDown));
    history.add("red", numbered(2), event(2, Kind::published, ""));
    history.add("red", numbered(3), event(3, Kind::published, ""));
    history.add("red", numbered(3), event(4, Kind::published, "eth0"));
    EXPECT_THAT(timesOf(history.of("red", numbered(3))), ElementsAre(3, 4));
    EXPECT_EQ(history.of("red", numbered(3)).interfacesBegin, history.begins());
    EXPECT_GE(history.begins(), 1);
}

TEST(AddressHistory, BeginsWhenItIsTold) {
    AddressHistory history;
    history.beginsAt(7);
    EXPECT_EQ(history.of("red", addr).begins, 7);
    history.add("red", addr, event(8, Kind::published));
    EXPECT_EQ(history.of("red", addr).begins, 7);
}

TEST(AddressHistory, ForgetsWhatNothingHasHappenedToForTheLongest) {
    // Two, which have one event each, do not fit in.
    AddressHistory one({.bytes = 500});
    one.add("red", addr, event(1, Kind::published));
    EXPECT_THAT(timesOf(one.of("red", addr)), ElementsAre(1));
    one.add("red", numbered(2), event(2, Kind::published));
    EXPECT_THAT(timesOf(one.of("red", addr)), IsEmpty());
    EXPECT_EQ(one.of("red", addr).begins, 1);
    EXPECT_THAT(timesOf(one.of("red", numbered(2))), ElementsAre(2));
    EXPECT_EQ(one.of("red", numbered(2)).begins, 0) << "its first event was when nothing was lost";

    one.add("red", addr, event(3, Kind::published));
    EXPECT_EQ(one.of("red", addr).begins, 1) << "what it had before is lost";
}

TEST(AddressHistory, AnAddressThatFlapsTakesNothingFromOthers) {
    AddressHistory history({.bytes = 10'000});
    history.add("red", numbered(1), event(1, Kind::published));
    for (int at = 2; at < 10'000; ++at) {
        history.add("red", numbered(2), event(at, Kind::published));
    }
    EXPECT_THAT(timesOf(history.of("red", numbered(1))), ElementsAre(1));
    EXPECT_EQ(history.of("red", numbered(2)).events.size(), 64U);
}

// Of its own account, and of memory: what it takes, and what it gives back.
void expectBounded(AddressHistory::Options const& options,
                   std::function<void(AddressHistory&, std::uint32_t)> const& add) {
    std::size_t const before = TestMemory::bytes;
    std::size_t most = 0;
    {
        AddressHistory history(options);
        for (std::uint32_t number = 0; number < 30'000; ++number) {
            add(history, number);
            EXPECT_LE(history.bytes(), options.bytes);
            std::size_t const taken = TestMemory::bytes - before;
            ASSERT_LE(taken, options.bytes);
            most = std::max(most, taken);
        }
    }
    EXPECT_GE(most, options.bytes / 2) << "it makes use of what it may have";
    EXPECT_EQ(TestMemory::bytes, before);
}

TEST(AddressHistory, IsBoundedWhateverHappensToWhomever) {
    AddressHistory::Options const options{.bytes = 1'000'000};
    expectBounded(options, [](auto& history, std::uint32_t number) {
        history.add("red", numbered(number), event(number, Kind::published));
    });
    expectBounded(options, [](auto& history, std::uint32_t number) {
        history.add("red", numbered(number % 500), event(number, Kind::published));
    });
    // Names of strangers: all of them different, and of any length.
    expectBounded(options, [](auto& history, std::uint32_t number) {
        auto const name = fmt::format("{}{}", std::string(number % 300, 'x'), number);
        history.add(name, numbered(number), event(number, Kind::published, name));
        history.addOfInterface(name, event(number, Kind::deviceUp, name));
    });
    // First many addresses, then many names.
    expectBounded(options, [](auto& history, std::uint32_t number) {
        auto one = event(number, Kind::rebuilt);
        one.why = number < 15'000 ? "" : std::to_string(number);
        history.add("red", numbered(number < 15'000 ? number : number % 300), one);
    });
}

TEST(AddressHistory, IsBoundedWhereOneEventTakesMoreThanThereIs) {
    AddressHistory history({.bytes = 1'000});
    auto one = event(1, Kind::rebuilt);
    one.why = std::string(10'000, 'x');
    history.add("red", addr, one);
    EXPECT_EQ(history.bytes(), 0U);
    EXPECT_EQ(history.of("red", addr).begins, 1);
}

TEST(AddressHistory, TakesWhatItsHeaderSays) {
    AddressHistory history;
    history.add("red", addr, event(0, Kind::published));
    std::size_t const before = history.bytes();
    history.add("red", numbered(2), event(0, Kind::published));
    EXPECT_LE(history.bytes() - before, 180U + 32U);

    for (int at = 1; at < 64; ++at) {
        history.add("red", numbered(2), event(at, Kind::published));
    }
    EXPECT_LE(history.bytes() - before, 180U + 64 * 32U);
}

// As if it kept all: of each address the last of its events, and of all addresses those alone that
// something has happened to later than to others.
TEST(AddressHistory, IsTheEndOfWhatHappened) {
    std::mt19937 random(20112);
    AddressHistory history({.perSubject = 8, .bytes = 20'000});
    std::map<std::uint32_t, std::vector<AddressEvent>> all;
    for (int at = 1; at < 5'000; ++at) {
        auto const number = static_cast<std::uint32_t>(random() % (at % 1'000 < 500 ? 20 : 200));
        auto const one = event(at, static_cast<Kind>(random() % 6));
        history.add("red", numbered(number), one);
        all[number].push_back(one);

        auto const asked = static_cast<std::uint32_t>(random() % 200);
        auto const past = history.of("red", numbered(asked));
        auto const& whole = all[asked];
        std::vector<AddressEvent> later;
        std::copy_if(whole.begin(), whole.end(), std::back_inserter(later),
                     [&past](AddressEvent const& each) { return each.at > past.begins; });
        ASSERT_EQ(past.events, later);
        ASSERT_EQ(history.of("red", numbered(number)).events.back(), one);
    }
    EXPECT_GT(history.begins(), 0.0);
}

}  // namespace
}  // namespace IntfAddr
