#include "intfaddr/history/NamePool.h"

#include <gtest/gtest.h>

#include <vector>

#include "TestMemory/TestMemory.h"

namespace IntfAddr {
namespace {

TEST(NamePool, KeepsATextOnceForAllWhoHaveIt) {
    NamePool pool;
    std::size_t const none = pool.bytes();
    auto const first = pool.name("eth0");
    std::size_t const one = pool.bytes();
    auto const second = pool.name("eth0");

    EXPECT_EQ(first.text(), "eth0");
    EXPECT_TRUE(first == second);
    EXPECT_FALSE(first == pool.name("eth1"));
    EXPECT_GT(one, none);
    EXPECT_EQ(pool.bytes(), one);
}

TEST(NamePool, ForgetsATextWithTheLastWhoHasIt) {
    NamePool pool;
    auto first = pool.name("eth0");
    { auto const second = pool.name("eth0"); }
    EXPECT_TRUE(pool.find("eth0"));

    first = pool.name("eth1");
    EXPECT_FALSE(pool.find("eth0"));
    EXPECT_TRUE(pool.find("eth1"));
}

TEST(NamePool, GivesTheEmptyTextForNothing) {
    NamePool pool;
    auto const name = pool.name("");
    EXPECT_EQ(name.text(), "");
    EXPECT_EQ(pool.bytes(), 0U);
    EXPECT_TRUE(pool.find(""));
    EXPECT_TRUE(*pool.find("") == name);
}

TEST(NamePool, KnowsItsMemory) {
    for (std::size_t const length : {4U, 15U, 16U, 100U, 10'000U}) {
        NamePool pool;
        std::vector<NamePool::Name> names;
        names.reserve(100);
        std::size_t const before = TestMemory::bytes;
        for (char c = 'a'; c < 'a' + 26; ++c) {
            names.push_back(pool.name(std::string(length, c)));
        }
        std::size_t const taken = TestMemory::bytes - before;
        EXPECT_LE(taken, pool.bytes());
        EXPECT_GE(taken, pool.bytes() / 2);
    }
}

}  // namespace
}  // namespace IntfAddr
