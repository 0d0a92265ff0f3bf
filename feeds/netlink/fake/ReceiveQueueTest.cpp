#include "feeds/netlink/fake/ReceiveQueue.h"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <system_error>

namespace Netlink::Fake {
namespace {

Datagram datagram(unsigned char content, std::size_t size = 100) {
    return {.bytes = std::vector<std::byte>(size, std::byte{content})};
}

struct ReceiveQueueTest : testing::Test {
    // The first byte of the next datagram; -1 where there is none, minus the errno of an error.
    int pop() {
        std::array<std::byte, 200> buffer{};
        try {
            auto const received = queue.pop(buffer);
            return received ? static_cast<int>(buffer[0]) : -1;
        } catch (std::system_error const& error) {
            return -error.code().value();
        }
    }

    // Two fit.
    ReceiveQueue queue{2 * (100 + ReceiveQueue::overhead)};
};

TEST_F(ReceiveQueueTest, DatagramsAreReadInTheirOrder) {
    queue.push(datagram(1));
    queue.push(datagram(2));

    EXPECT_EQ(pop(), 1);
    queue.push(datagram(3));
    EXPECT_EQ(pop(), 2);
    EXPECT_EQ(pop(), 3);
    EXPECT_EQ(pop(), -1);
}

TEST_F(ReceiveQueueTest, WhatDoesNotFitIsLostAndToldBeforeWhatIsQueued) {
    queue.push(datagram(1));
    queue.push(datagram(2));

    EXPECT_FALSE(queue.push(datagram(3)));

    EXPECT_EQ(pop(), -ENOBUFS);
    EXPECT_EQ(pop(), 1);
    EXPECT_EQ(pop(), 2);
    EXPECT_EQ(pop(), -1);
}

TEST_F(ReceiveQueueTest, AllIsLostUntilItHasBeenReadEmpty) {
    queue.push(datagram(1));
    queue.push(datagram(2));
    queue.push(datagram(3));
    EXPECT_EQ(pop(), -ENOBUFS);
    EXPECT_EQ(pop(), 1);

    EXPECT_FALSE(queue.push(datagram(4)));  // though there is room, and nothing more is told of it
    EXPECT_EQ(pop(), 2);

    EXPECT_TRUE(queue.push(datagram(5)));
    EXPECT_EQ(pop(), 5);
    EXPECT_EQ(pop(), -1);
}

TEST_F(ReceiveQueueTest, ALossWhileItIsEmptyIsOverOnceItWasTold) {
    queue.overrun();
    EXPECT_FALSE(queue.push(datagram(1)));

    EXPECT_EQ(pop(), -ENOBUFS);
    EXPECT_TRUE(queue.push(datagram(2)));

    EXPECT_EQ(pop(), 2);
}

TEST_F(ReceiveQueueTest, TheFirstFitsWhateverItsSize) {
    EXPECT_TRUE(queue.push(datagram(1, 10'000)));
    EXPECT_FALSE(queue.push(datagram(2)));
}

TEST_F(ReceiveQueueTest, WhatIsLongerThanTheBufferIsCutAndGone) {
    queue.push(datagram(1, 300));
    std::array<std::byte, 200> buffer{};

    EXPECT_EQ(queue.pop(buffer)->size, 300U);

    EXPECT_EQ(buffer[199], std::byte{1});
    EXPECT_EQ(pop(), -1);
}

TEST_F(ReceiveQueueTest, AStretchedDatagramIsLongerThanItsBuffer) {
    queue.push(datagram(1));
    queue.stretch(200);
    std::array<std::byte, 200> buffer{};

    EXPECT_GT(queue.pop(buffer)->size, 200U);
    EXPECT_EQ(queue.used(), 0U);
}

}  // namespace
}  // namespace Netlink::Fake
