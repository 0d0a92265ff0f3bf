#include "intfaddr/agent/OutputQueue.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <utility>

#include "Zin/Format.h"
#include "intfaddr/agent/TestFolder.h"

namespace IntfAddr {
namespace {

// What the queue writes to, and what reads it.
struct Ends {
    Netlink::Descriptor write;
    Netlink::Descriptor read;
};

Ends makePipe() {
    int ends[2];
    EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    return {Netlink::Descriptor(ends[1]), Netlink::Descriptor(ends[0])};
}

Ends makeSockets() {
    int ends[2];
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    return {Netlink::Descriptor(ends[1]), Netlink::Descriptor(ends[0])};
}

Ends makeTerminal() {
    Netlink::Descriptor master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    EXPECT_EQ(::grantpt(master.number()), 0);
    EXPECT_EQ(::unlockpt(master.number()), 0);
    Netlink::Descriptor slave(::open(::ptsname(master.number()), O_RDWR | O_NOCTTY | O_CLOEXEC));
    return {std::move(slave), std::move(master)};
}

// As much as is there.
std::string readAll(Netlink::Descriptor const& from) {
    std::string all;
    char bytes[5000];
    ::fcntl(from.number(), F_SETFL, O_NONBLOCK);
    for (ssize_t size = 1; size > 0;) {
        size = ::read(from.number(), bytes, sizeof bytes);
        all.append(bytes, static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    }
    return all;
}

// Reads until all has been written and read.
std::string drained(OutputQueue& queue, Netlink::Descriptor const& from) {
    std::string all = readAll(from);
    while (queue.writeSome()) {
        all += readAll(from);
    }
    return all + readAll(from);
}

class OutputQueueTo : public testing::TestWithParam<Ends (*)()> {};

TEST_P(OutputQueueTo, AReaderThatStallsKeepsNobodyWaiting) {
    Ends const ends = GetParam()();
    int const flags = ::fcntl(ends.write.number(), F_GETFL);
    std::string expected = std::string(4095, '-') + "\n";
    ASSERT_EQ(::write(ends.write.number(), expected.data(), 4096), 4096);  // somebody else's
    OutputQueue queue(ends.write.number());
    for (int n = 0; n < 100000; ++n) {
        std::string const line = fmt::format("line {}", n);
        expected += line + "\n";
        queue.put(line);
        if (n % 1000 == 0) {
            queue.writeSome();
        }
    }
    EXPECT_TRUE(queue.writeSome());
    EXPECT_TRUE(queue.writeSome());
    EXPECT_FALSE(queue.isEmpty());

    std::string read = drained(queue, ends.read);
    std::erase(read, '\r');  // a terminal's
    EXPECT_TRUE(read == expected);
    EXPECT_TRUE(queue.isEmpty());
    EXPECT_EQ(queue.failed(), 0);
    EXPECT_EQ(::fcntl(ends.write.number(), F_GETFL), flags);
    EXPECT_EQ(flags & O_NONBLOCK, 0);
}

INSTANTIATE_TEST_SUITE_P(Readers, OutputQueueTo,
                         testing::Values(makePipe, makeSockets, makeTerminal));

TEST(OutputQueue, WhatIsPutIsWrittenWhenItIsAskedTo) {
    Ends const ends = makePipe();
    OutputQueue queue(ends.write.number());
    queue.put("one");
    queue.put("");
    EXPECT_EQ(readAll(ends.read), "");

    EXPECT_FALSE(queue.writeSome());
    EXPECT_TRUE(queue.isEmpty());
    EXPECT_EQ(readAll(ends.read), "one\n\n");
}

// A pipe in which there is no room.
Ends makeFullPipe() {
    Ends ends = makePipe();
    ::fcntl(ends.write.number(), F_SETPIPE_SZ, 4096);
    EXPECT_EQ(::write(ends.write.number(), std::string(4095, '-').append("\n").data(), 4096), 4096);
    return ends;
}

TEST(OutputQueue, WhatHasNoRoomIsLostInWholeLinesAndCounted) {
    Ends const ends = makeFullPipe();
    OutputQueue queue(ends.write.number(), 40);
    for (int n = 0; n < 10; ++n) {
        queue.put(fmt::format("{:09}", n));
        queue.writeSome();
    }
    readAll(ends.read);
    EXPECT_EQ(drained(queue, ends.read),
              "000000000\n000000001\n000000002\n000000003\n{\"lost\":6}\n");
    EXPECT_TRUE(queue.isEmpty());

    queue.put("more");
    EXPECT_EQ(drained(queue, ends.read), "more\n");
}

TEST(OutputQueue, WhatIsLostIsToldWhereItIsMissing) {
    Ends const ends = makeFullPipe();
    OutputQueue queue(ends.write.number(), 40);
    queue.put("first");
    queue.put(std::string(40, 'x'));
    queue.put("second");
    EXPECT_EQ((readAll(ends.read), drained(queue, ends.read)), "first\n{\"lost\":1}\nsecond\n");
}

TEST(OutputQueue, ALineThatIsLongerThanTheQueueGoesWhereNothingElseIs) {
    Ends const ends = makeFullPipe();
    OutputQueue queue(ends.write.number(), 40);
    std::string const longer(50, 'x');
    queue.put(longer);
    queue.put("more");

    EXPECT_EQ((readAll(ends.read), drained(queue, ends.read)), longer + "\n{\"lost\":1}\n");
}

TEST(OutputQueue, ALineThatFitsIsNotPutBeforeOneThatWasLost) {
    Ends const ends = makeFullPipe();
    OutputQueue queue(ends.write.number(), 40);
    queue.put(std::string(34, 'a'));
    queue.put("too long for it");
    queue.put("b");
    queue.put("c");
    readAll(ends.read);

    EXPECT_EQ(drained(queue, ends.read), std::string(34, 'a') + "\n{\"lost\":3}\n");
}

TEST(OutputQueue, AFileIsWrittenAtOnceWhereItsOffsetIs) {
    TestFolder const folder;
    Netlink::Descriptor const file(
        ::open((folder / "out").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    ASSERT_EQ(::write(file.number(), "> ", 2), 2);
    OutputQueue queue(file.number());
    std::string const line(100000, 'x');
    queue.put(line);
    EXPECT_FALSE(queue.writeSome());

    EXPECT_TRUE(contentOf(folder / "out") == "> " + line + "\n");
}

// The handler of a signal, for as long as this lives.
struct SignalIgnored {
    explicit SignalIgnored(int number) : signal(number), before(::signal(number, SIG_IGN)) {}
    ~SignalIgnored() { ::signal(signal, before); }
    int const signal;
    sighandler_t const before;
};

TEST(OutputQueue, AfterAnErrorItIsSilent) {
    SignalIgnored const ignored(SIGPIPE);
    for (auto const make : {makePipe, makeSockets}) {
        Ends ends = make();
        OutputQueue queue(ends.write.number());
        queue.put("one");
        ends.read = Netlink::Descriptor();
        EXPECT_FALSE(queue.writeSome());
        EXPECT_EQ(queue.failed(), EPIPE);

        queue.put("two");
        EXPECT_TRUE(queue.isEmpty());
        EXPECT_FALSE(queue.writeSome());
    }
    Netlink::Descriptor const full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
    OutputQueue toFull(full.number());
    toFull.put("one");
    EXPECT_FALSE(toFull.writeSome());
    EXPECT_EQ(toFull.failed(), ENOSPC);

    int const closed = makePipe().write.number();
    OutputQueue toNothing(closed);
    toNothing.put("one");
    toNothing.writeSome();
    EXPECT_EQ(toNothing.failed(), EBADF);
}

}  // namespace
}  // namespace IntfAddr
