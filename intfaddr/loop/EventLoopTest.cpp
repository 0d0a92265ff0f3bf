#include "intfaddr/loop/EventLoop.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <system_error>

#include "feeds/netlink/Descriptor.h"

namespace IntfAddr {
namespace {

using Event = Netlink::Loop::Event;

struct Pipe {
    Pipe() {
        std::array<int, 2> ends{};
        EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
        out = Netlink::Descriptor(ends[0]);
        in = Netlink::Descriptor(ends[1]);
    }
    void put() const { EXPECT_EQ(::write(in.number(), "x", 1), 1); }
    void take() const {
        char byte = 0;
        EXPECT_EQ(::read(out.number(), &byte, 1), 1);
    }

    Netlink::Descriptor out{-1};
    Netlink::Descriptor in{-1};
};

TEST(EventLoop, TellsOnceOfWhatIsThereAndAgainWhenAsked) {
    EventLoop loop;
    Pipe const pipe;
    int told = 0;
    auto const watch = loop.watch(pipe.out.number(), Event::readable, [&told] { ++told; });
    loop.wait(0.0);
    EXPECT_EQ(told, 0);

    pipe.put();
    loop.wait(loop.now() + 10.0);
    EXPECT_EQ(told, 1);
    pipe.put();
    loop.wait(0.0);
    EXPECT_EQ(told, 1);  // nobody has asked

    watch->again();
    loop.wait(loop.now() + 10.0);
    EXPECT_EQ(told, 2);  // what is there still

    pipe.take();
    pipe.take();
    watch->again();
    watch->again();
    loop.wait(0.0);
    EXPECT_EQ(told, 2);
    pipe.put();
    loop.wait(loop.now() + 10.0);
    EXPECT_EQ(told, 3);
}

TEST(EventLoop, TellsWhenThereIsRoomAgain) {
    EventLoop loop;
    Pipe const pipe;
    std::array<char, 4096> const page{};
    while (::write(pipe.in.number(), page.data(), page.size()) > 0) {
    }
    int told = 0;
    auto const watch = loop.watch(pipe.in.number(), Event::writable, [&told] { ++told; });
    loop.wait(0.0);
    EXPECT_EQ(told, 0);

    std::array<char, 4096> taken{};
    while (::read(pipe.out.number(), taken.data(), taken.size()) > 0) {
    }
    loop.wait(loop.now() + 10.0);
    EXPECT_EQ(told, 1);
}

TEST(EventLoop, LeavesTheDescriptorAsItIsToThoseWhoShareIt) {
    EventLoop loop;
    Pipe const pipe;
    ::fcntl(pipe.in.number(), F_SETFL, 0);
    auto const watch = loop.watch(pipe.in.number(), Event::writable, [] {});
    loop.wait(loop.now() + 10.0);
    watch->again();

    EXPECT_EQ(::fcntl(pipe.in.number(), F_GETFL) & O_NONBLOCK, 0);
}

TEST(EventLoop, AWatchMayEndWithinItsOwnCall) {
    EventLoop loop;
    Pipe const pipe;
    std::unique_ptr<Netlink::Watch> watch;
    int told = 0;
    watch = loop.watch(pipe.out.number(), Event::readable, [&] {
        ++told;
        watch->again();
        watch.reset();
    });
    pipe.put();
    loop.wait(loop.now() + 10.0);
    loop.wait(0.0);

    EXPECT_EQ(told, 1);
    pipe.take();  // the descriptor is open still
}

TEST(EventLoop, WhatCannotBeWatchedIsAnError) {
    EventLoop loop;
    EXPECT_THROW(loop.watch(-1, Event::readable, [] {}), std::system_error);
}

TEST(EventLoop, ReturnsAlsoWhereThereIsAlwaysMore) {
    EventLoop loop;
    Pipe const pipe;
    pipe.put();
    Zin::Seconds const end = loop.now() + 20.0;
    std::unique_ptr<Netlink::Watch> watch;
    watch = loop.watch(pipe.out.number(), Event::readable, [&] {
        if (loop.now() < end) {
            watch->again();
        }
    });
    loop.wait(end);

    EXPECT_LT(loop.now(), end);
}

TEST(EventLoop, EachHasATurnWhereThereIsAlwaysMore) {
    EventLoop loop;
    Pipe const busy;
    Pipe const other;
    busy.put();
    other.put();
    Zin::Seconds const end = loop.now() + 20.0;
    bool isTold = false;
    std::unique_ptr<Netlink::Watch> watch;
    watch = loop.watch(busy.out.number(), Event::readable, [&] {
        if (loop.now() < end) {
            watch->again();
        }
    });
    auto const another = loop.watch(other.out.number(), Event::readable, [&] { isTold = true; });
    while (!isTold && loop.now() < end) {
        loop.wait(end);
    }

    EXPECT_TRUE(isTold);
}

TEST(EventLoop, WaitsNoShorterThanItIsTold) {
    EventLoop loop;
    Zin::Seconds const time = loop.now() + 0.005;
    loop.wait(time);

    EXPECT_GE(loop.now(), time);
}

TEST(EventLoop, HandlesSignals) {
    EventLoop loop;
    std::vector<int> came;
    loop.onSignals({SIGUSR1, SIGUSR2}, [&came](int signal) { came.push_back(signal); });

    ::raise(SIGUSR1);
    loop.wait(loop.now() + 10.0);
    ::raise(SIGUSR2);
    loop.wait(loop.now() + 10.0);

    EXPECT_EQ(came, (std::vector{SIGUSR1, SIGUSR2}));
}

}  // namespace
}  // namespace IntfAddr
