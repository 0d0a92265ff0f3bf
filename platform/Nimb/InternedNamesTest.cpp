#include "Nimb/InternedNames.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "Nimb/IntfId.h"
#include "TestMemory/TestMemory.h"
#include "Zin/Format.h"
#include "Zin/HashKey.h"
#include "Zin/TestThreads.h"

namespace Nimb {
namespace {

using Number = InternedNames::Number;

// Owns a name.
class Owner {
public:
    explicit Owner(std::string_view name) : number(InternedNames::own(name)) {}
    ~Owner() { InternedNames::dropOwner(number); }
    Owner(Owner const&) = delete;
    Owner& operator=(Owner const&) = delete;

    Number const number;
};

std::string const longName = "a name that has a block of its own";

TEST(InternedNames, ANameHasOneNumberAndANumberOneName) {
    Owner const one("Ethernet1");
    Owner const another("Ethernet10");
    Owner const same("Ethernet1");

    EXPECT_EQ(one.number, same.number);
    EXPECT_NE(one.number, another.number);
    EXPECT_EQ(InternedNames::name(one.number), "Ethernet1");
    EXPECT_EQ(InternedNames::name(another.number), "Ethernet10");
}

TEST(InternedNames, TheEmptyNameIsNumber0) {
    EXPECT_EQ(InternedNames::own(""), 0U);
    EXPECT_EQ(InternedNames::name(0), "");
}

TEST(InternedNames, ANumberIsUsedAgainWhenTheLastOwnerHasGone) {
    for (std::string const& name : {std::string("Ethernet1"), longName}) {
        Number const number = InternedNames::own(name);
        InternedNames::addOwner(number);
        InternedNames::dropOwner(number);
        EXPECT_NE(Owner("Ethernet2").number, number);
        EXPECT_EQ(InternedNames::name(number), name);

        InternedNames::dropOwner(number);
        EXPECT_EQ(Owner("Ethernet2").number, number);
    }
}

TEST(InternedNames, ANameStaysWhereItIsHoweverManyCome) {
    Owner const one("Ethernet1");
    Owner const other(longName);
    char const* const place = InternedNames::name(one.number).data();
    char const* const otherPlace = InternedNames::name(other.number).data();

    std::vector<IntfId> many;
    for (int i = 0; i < 100'000; ++i) {
        many.emplace_back(fmt::format("Ethernet2.{}", i));
    }

    EXPECT_EQ(InternedNames::name(one.number).data(), place);
    EXPECT_EQ(InternedNames::name(other.number).data(), otherPlace);
    for (int i = 0; i < 100'000; ++i) {
        ASSERT_EQ(many[static_cast<std::size_t>(i)], IntfId(fmt::format("Ethernet2.{}", i)));
    }
}

TEST(InternedNames, OnlyALongNameHasABlockOfItsOwn) {
    auto const blocksOf = [](std::size_t length) {
        std::vector<IntfId> many;
        many.reserve(1000);
        std::size_t const before = TestMemory::blocks;
        for (int i = 0; i < 1000; ++i) {
            many.emplace_back(fmt::format("{:0{}}", i, length));
        }
        return TestMemory::blocks - before;
    };

    EXPECT_LT(blocksOf(15), 50U);
    EXPECT_LT(blocksOf(23), 50U);
    EXPECT_GE(blocksOf(24), 1000U);
}

// Names come until chunks and index have grown several times.
TEST(InternedNames, ANameThatFindsNoMemoryChangesNothing) {
    for (std::size_t const length : {15U, 24U}) {
        std::vector<IntfId> made;
        made.reserve(3000);
        std::size_t failures = 0;
        for (std::size_t i = 0; i < 3000; ++i) {
            std::string const name = fmt::format("{:0{}}", i, length);
            for (std::size_t allowed = 0; made.size() == i; ++allowed) {
                TestMemory::OneFailure const failure(allowed);
                try {
                    made.emplace_back(name);
                } catch (std::bad_alloc const&) {
                    ++failures;
                }
                ASSERT_EQ(made.size() == i, failure.happened());
            }
        }

        EXPECT_GE(failures, length == 24 ? 3000U : 10U);
        std::size_t const blocks = TestMemory::blocks;
        for (std::size_t i = 0; i < made.size(); ++i) {
            ASSERT_EQ(made[i].name(), fmt::format("{:0{}}", i, length));
            ASSERT_EQ(made[i], IntfId(fmt::format("{:0{}}", i, length)));
        }
        EXPECT_EQ(TestMemory::blocks, blocks);
    }
}

TEST(InternedNames, AreFoundThatAreOlderThanTheHashKeyOfTheProcess) {
    std::vector<std::unique_ptr<Owner>> owners;
    for (int number = 0; number < 100; ++number) {
        owners.push_back(std::make_unique<Owner>("Ethernet" + std::to_string(number)));
    }
    Zin::HashKey const before = Zin::hashKey();
    Zin::hashKeyIs(Zin::HashKey(1));
    for (int number = 0; number < 100; ++number) {
        Owner const same("Ethernet" + std::to_string(number));
        EXPECT_EQ(same.number, owners[static_cast<std::size_t>(number)]->number);
    }
    Zin::hashKeyIs(before);
}

class InternedNamesOfThreads : public Zin::TwoThreads {};

TEST_F(InternedNamesOfThreads, LoseNoOwner) {
    Number const number = InternedNames::own("Ethernet1");
    together([&](int) {
        for (int i = 0; i < 100'000; ++i) {
            InternedNames::addOwner(number);
            ASSERT_EQ(InternedNames::name(number), "Ethernet1");
            InternedNames::dropOwner(number);
        }
    });

    EXPECT_EQ(InternedNames::name(number), "Ethernet1");
    InternedNames::dropOwner(number);
    EXPECT_EQ(Owner("Ethernet2").number, number);
}

TEST_F(InternedNamesOfThreads, MakeTheNameThatAnotherOneIsAboutToDrop) {
    for (std::string const& name : {std::string("Ethernet1"), longName}) {
        Number const number = Owner(name).number;
        together([&](int) {
            for (int i = 0; i < 20'000; ++i) {
                IntfId const id(name);
                ASSERT_EQ(id.name(), name);
            }
        });
        EXPECT_EQ(Owner("Ethernet2").number, number);
    }
}

TEST_F(InternedNamesOfThreads, MakeNamesOfTheirOwn) {
    std::vector<IntfId> made[2];
    together([&](int thread) {
        for (int i = 0; i < 5'000; ++i) {
            made[thread].emplace_back(fmt::format("Ethernet{}.{}", i % 2 == 0 ? thread : 2, i));
            IntfId const passing(fmt::format("a name that passes {}.{}", thread, i));
        }
    });

    for (std::size_t i = 0; i < made[0].size(); ++i) {
        for (std::size_t thread = 0; thread < 2; ++thread) {
            ASSERT_EQ(made[thread][i].name(),
                      fmt::format("Ethernet{}.{}", i % 2 == 0 ? thread : 2, i));
        }
        ASSERT_EQ(made[0][i] == made[1][i], i % 2 == 1);
    }
}

}  // namespace
}  // namespace Nimb
