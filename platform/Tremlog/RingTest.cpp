#include "Tremlog/Ring.h"

#include <gmock/gmock.h>
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Tremlog/Record.h"
#include "Zin/Format.h"
#include "Zin/Turn.h"

namespace Tremlog {

// Records something while it is made into text.
struct Echo {
    int value;
};

struct Unspeakable {};

}  // namespace Tremlog

template <>
struct fmt::formatter<Tremlog::Unspeakable> : fmt::formatter<int> {
    template <class Context>
    auto format(Tremlog::Unspeakable const&, Context& context) const -> decltype(context.out()) {
        throw std::runtime_error("cannot speak");
    }
};

template <>
struct fmt::formatter<Tremlog::Echo> : fmt::formatter<int> {
    template <class Context>
    auto format(Tremlog::Echo const& echo, Context& context) const {
        Tremlog::record<"echo of {}">(echo.value);
        return fmt::formatter<int>::format(echo.value, context);
    }
};

namespace Tremlog {
namespace {

class TheRing : public testing::Test {
protected:
    TheRing() { clear(); }
    ~TheRing() override { clear(); }
};

constinit Descriptor outer{.format = "outer"};

TEST_F(TheRing, IsEmptyAtFirst) {
    EXPECT_EQ(count(), 0U);
    EXPECT_EQ(lost(), 0U);
    EXPECT_TRUE(entries().empty());
    EXPECT_EQ(decode(), "");
}

TEST_F(TheRing, GivesItsRecordsFromOldestToNewest) {
    record<"{}">(1);
    record<"{}">(2);
    record<"{}">(3);
    EXPECT_EQ(messages(), (std::vector<std::string>{"1", "2", "3"}));
    auto const all = entries();
    EXPECT_EQ(all[0].sequence, 0U);
    EXPECT_EQ(all[2].sequence, 2U);
}

TEST_F(TheRing, HoldsTheNewestRecordsOnceItIsFull) {
    int const total = static_cast<int>(Ring::slotCount) + 10;
    for (int i = 0; i < total; ++i) {
        record<"{}">(i);
    }
    EXPECT_EQ(count(), Ring::slotCount + 10);
    auto const all = entries();
    ASSERT_EQ(all.size(), Ring::slotCount);
    EXPECT_EQ(all.front().sequence, 10U);
    EXPECT_EQ(all.front().message, "10");
    EXPECT_EQ(all.back().message, std::to_string(total - 1));
}

TEST_F(TheRing, HoldsAsManyRecordsAsItHasSlots) {
    for (std::size_t i = 0; i < Ring::slotCount; ++i) {
        record<"{}">(i);
    }
    EXPECT_EQ(entries().size(), Ring::slotCount);
    EXPECT_EQ(entries().front().message, "0");
}

TEST_F(TheRing, DecodesToALineARecord) {
    record<"adding {}">(1);
    record<"done">();
    EXPECT_THAT(decode(), testing::MatchesRegex("\\[0\\] [0-9]+\\.[0-9]{6} adding 1\n"
                                                "\\[1\\] [0-9]+\\.[0-9]{6} done\n"));
}

TEST_F(TheRing, StampsRecordsInSeconds) {
    using Clock = std::chrono::steady_clock;
    using Seconds = std::chrono::duration<double>;
    auto const outerStart = Clock::now();
    record<"start">();
    auto const innerStart = Clock::now();
    while (Clock::now() - innerStart < std::chrono::milliseconds(20)) {
    }
    auto const innerEnd = Clock::now();
    record<"end">();
    auto const outerEnd = Clock::now();

    auto const all = entries();
    double const measured = all[1].seconds - all[0].seconds;
    EXPECT_GE(measured, 0.8 * Seconds(innerEnd - innerStart).count());
    EXPECT_LE(measured, 1.2 * Seconds(outerEnd - outerStart).count());
    EXPECT_GT(all[0].seconds, 0.0);
}

TEST_F(TheRing, StartsAnewWhenCleared) {
    record<"{}">(1);
    clear();
    EXPECT_EQ(count(), 0U);
    record<"{}">(2);
    ASSERT_EQ(entries().size(), 1U);
    EXPECT_EQ(entries()[0].sequence, 0U);
    EXPECT_EQ(entries()[0].message, "2");
}

TEST_F(TheRing, MayBeWrittenWhileItIsDecoded) {
    record<"{}">(Echo{5});
    EXPECT_EQ(messages(), std::vector<std::string>{"5"});
    EXPECT_EQ(messages(), (std::vector<std::string>{"5", "echo of 5"}));
}

TEST_F(TheRing, CountsARecordMadeInTheMiddleOfAnotherAsLost) {
    ring.write(outer, [](std::byte*) { record<"inner">(); });
    EXPECT_EQ(messages(), std::vector<std::string>{"outer"});
    EXPECT_EQ(count(), 1U);
    EXPECT_EQ(lost(), 1U);
}

TEST_F(TheRing, SaysOfARecordWhoseFormatterThrowsThatItHasNoText) {
    record<"before">();
    record<"a {} of feathers">(Unspeakable{});
    record<"after">();
    EXPECT_EQ(messages(),
              (std::vector<std::string>{
                  "before", "<no text for \"a {} of feathers\": cannot speak>", "after"}));
    EXPECT_THAT(decode(), testing::HasSubstr("after"));
}

TEST_F(TheRing, IsReadInTheMiddleOfARecordWithoutThatRecord) {
    record<"before">();
    std::vector<std::string> seen;
    ring.write(outer, [&](std::byte*) { seen = messages(); });
    EXPECT_EQ(seen, (std::vector<std::string>{"before", "<the ring is in use>"}));
    EXPECT_EQ(messages(), (std::vector<std::string>{"before", "outer"}));
}

TEST_F(TheRing, ThatIsFullIsReadInTheMiddleOfARecordWithoutTheOldest) {
    for (std::size_t i = 0; i < Ring::slotCount; ++i) {
        record<"{}">(i);
    }
    std::vector<Entry> seen;
    ring.write(outer, [&](std::byte* to) {
        std::memset(to, 0xff, Ring::argumentSize);
        seen = entries();
    });
    ASSERT_EQ(seen.size(), Ring::slotCount);
    EXPECT_EQ(seen.front().message, "1");
    EXPECT_EQ(seen.back().message, "<the ring is in use>");
    EXPECT_EQ(seen.back().sequence, Ring::slotCount);
}

TEST_F(TheRing, IsClearedInTheMiddleOfARecordUpToThatRecord) {
    record<"before">();
    ring.write(outer, [](std::byte*) {
        record<"lost">();
        clear();
    });
    record<"after">();
    EXPECT_EQ(messages(), (std::vector<std::string>{"outer", "after"}));
    EXPECT_EQ(entries().front().sequence, 0U);
    EXPECT_EQ(count(), 2U);
    EXPECT_EQ(lost(), 0U);
}

TEST_F(TheRing, IsClearedByASignalHandlerWhileItIsWrittenAndRead) {
    auto* const before = signal(SIGALRM, [](int) { clear(); });
    std::atomic<bool> done = false;
    std::thread reader([&done, writer = pthread_self()] {
        for (int i = 0; i < 100; ++i) {
            pthread_kill(writer, SIGALRM);
            for (std::string const& message : messages()) {
                EXPECT_TRUE(message.starts_with("record ")) << message;
            }
        }
        done = true;
    });
    for (int i = 0; !done; ++i) {
        record<"record {}">(i);
    }
    reader.join();
    signal(SIGALRM, before);
    record<"record last">();
    EXPECT_EQ(messages().back(), "record last");
}

TEST_F(TheRing, HoldsTheFailuresThatATurnDrops) {
    std::string const longest(Ring::argumentSize - 1, 'l');
    try {
        Zin::Turn turn;
        turn.run([] { throw std::runtime_error("told to the caller"); });
        turn.run([&] { throw std::runtime_error(longest); });
    } catch (std::runtime_error const&) {
    }
    EXPECT_EQ(messages(), std::vector<std::string>{"suppressed failure: " + longest});
}

TEST_F(TheRing, KeepsRecordsOfSeveralThreadsWhole) {
    constexpr unsigned each = 20000;
    auto const write = [] {
        for (unsigned i = 0; i < each; ++i) {
            record<"{} {}">(i, i);
        }
    };
    std::thread one(write);
    std::thread two(write);
    for (int i = 0; i < 5; ++i) {
        for (std::string const& message : messages()) {
            auto const blank = message.find(' ');
            ASSERT_EQ(message.substr(0, blank), message.substr(blank + 1));
        }
    }
    one.join();
    two.join();
    EXPECT_EQ(count() + lost(), 2 * each);
}

}  // namespace
}  // namespace Tremlog
