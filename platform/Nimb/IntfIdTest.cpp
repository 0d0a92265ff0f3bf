#include "Nimb/IntfId.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <vector>

#include "TestMemory/TestMemory.h"
#include "Zin/Format.h"

namespace Nimb {
namespace {

std::string const longestInline = "abcdefghijklmnopqrstuvw";
std::string const shortestLong = "abcdefghijklmnopqrstuvwx";

std::vector<std::string> const& names() {
    static std::vector<std::string> const all = [] {
        std::vector<std::string> made{"",     "Ethernet1",   "Ethernet10", "Ethernet1/1.4094",
                                      "\xff", longestInline, shortestLong, shortestLong + "y"};
        made.emplace_back(1, '\0');
        made.emplace_back("a\0", 2);
        made.emplace_back("a\0b", 3);
        made.emplace_back(22, '\xff');
        made.emplace_back(23, '\xff');
        made.emplace_back(24, '\xff');
        made.emplace_back(300, 'n');
        // Names that share most of their bytes, about the length at which they get a block of their
        // own.
        std::mt19937 random(1);
        for (int i = 0; i < 60; ++i) {
            std::string name(random() % 28, 'a');
            if (!name.empty()) {
                name[random() % name.size()] = static_cast<char>(random() % 256);
            }
            made.push_back(std::move(name));
        }
        return made;
    }();
    return all;
}

TEST(IntfId, DefaultIsTheEmptyNameAndStandsForNoInterface) {
    EXPECT_TRUE(IntfId().empty());
    EXPECT_EQ(IntfId(), IntfId(""));
    EXPECT_EQ(IntfId().name(), "");
    EXPECT_FALSE(IntfId("Ethernet1").empty());
    EXPECT_FALSE(IntfId(shortestLong).empty());
}

TEST(IntfId, IsFourBytes) { EXPECT_EQ(sizeof(IntfId), 4U); }

TEST(IntfId, KeepsItsNameWhateverItsLengthAndBytes) {
    for (std::string const& name : names()) {
        EXPECT_EQ(IntfId(name).name(), name);
    }
}

TEST(IntfId, ComparesAsItsName) {
    for (std::string const& a : names()) {
        for (std::string const& b : names()) {
            EXPECT_EQ(IntfId(a) == IntfId(b), a == b) << a << " " << b;
            EXPECT_EQ(IntfId(a) <=> IntfId(b), std::string_view(a) <=> std::string_view(b))
                << a << " " << b;
        }
    }
}

TEST(IntfId, HashesAsItsName) {
    for (std::string const& name : names()) {
        EXPECT_EQ(IntfId(name).hash(), IntfId(std::string(name)).hash());
        EXPECT_EQ(IntfId(name).hash(7), IntfId(std::string(name)).hash(7));
        EXPECT_EQ(IntfId(name).hash(), IntfId(name).hash(0));
        EXPECT_NE(IntfId(name).hash(7), IntfId(name).hash(8));
    }
}

TEST(IntfId, InterfaceNamesOfARouterHaveDistinctHashes) {
    std::vector<IntfId> router;
    std::unordered_set<std::uint32_t> hashes;
    for (int port = 0; port < 20; ++port) {
        for (int vlan = 0; vlan < 500; ++vlan) {
            router.emplace_back(fmt::format("Ethernet{}/1.{}", port, vlan));
            hashes.insert(router.back().hash());
        }
    }

    // Of 10000 random 32-bit numbers, two are equal with a chance of one in eighty.
    EXPECT_GE(hashes.size(), 9999U);
}

TEST(IntfId, CopiesAndMovesKeepTheValue) {
    for (std::string const& name : names()) {
        IntfId const original(name);
        IntfId copy(original);
        EXPECT_EQ(copy, original);

        IntfId const moved(std::move(copy));
        EXPECT_EQ(moved, original);

        IntfId assigned("another name, one that needs the heap");
        assigned = moved;
        EXPECT_EQ(assigned, original);
        IntfId& same = assigned;
        assigned = same;
        EXPECT_EQ(assigned, original);
        assigned = std::move(same);
        EXPECT_EQ(assigned, original);
        assigned = IntfId();
        EXPECT_TRUE(assigned.empty());
        EXPECT_EQ(moved.name(), name);
    }
}

TEST(IntfId, ANameOutlivesTheIntfIdThatItWasCopiedFrom) {
    IntfId copy;
    {
        IntfId const original(shortestLong);
        copy = original;
    }

    EXPECT_EQ(copy.name(), shortestLong);
}

TEST(IntfId, ANameTakesMemoryOnceForAllItsCopies) {
    for (std::string const& name : names()) {
        IntfId const id(name);
        std::size_t const before = TestMemory::allocations;
        IntfId const again(name);
        IntfId copy(id);
        IntfId const moved(std::move(copy));
        copy = moved;
        bool const same = copy == again && (copy <=> id) == 0 && copy.hash(7) == id.hash(7) &&
                          copy.hash() == id.hash() && copy.name().data() == id.name().data() &&
                          copy.raw().text() == id.raw().text();
        std::size_t const after = TestMemory::allocations;

        EXPECT_TRUE(same) << name;
        EXPECT_EQ(after, before) << name;
    }
}

TEST(IntfId, TheEmptyNameTakesNoMemory) {
    std::size_t const before = TestMemory::allocations;
    IntfId const id("");
    IntfId const copy(id);
    std::size_t const after = TestMemory::allocations;

    EXPECT_EQ(copy, IntfId());
    EXPECT_EQ(after, before);
}

TEST(IntfId, NamesThatComeAndGoLeaveNoMemoryBehind) {
    std::array<IntfId, 100> present;
    std::size_t blocks = 0;
    for (std::size_t number = 0; number < 1'000'000; ++number) {
        char const* const kind = number % 2 == 0 ? "Ethernet" : "AVeryLongNameOfAnInterface";
        present[number % present.size()] = IntfId(fmt::format("{}{:07}", kind, number));
        if (number + 1 == present.size()) {
            blocks = TestMemory::blocks;
        }
    }

    EXPECT_EQ(present.back().name(), "AVeryLongNameOfAnInterface0999999");
    EXPECT_LE(TestMemory::blocks, blocks);
}

TEST(IntfId, CopiesMayBeUsedFromDifferentThreads) {
    Zin::threadSafePointersIs(true);
    IntfId const id(shortestLong);
    auto const copyOften = [copy = id] {
        for (int i = 0; i < 10000; ++i) {
            IntfId const another(copy);
            EXPECT_EQ(another.name().size(), 24U);
        }
    };

    std::thread one(copyOften);
    std::thread other(copyOften);
    one.join();
    other.join();
    Zin::threadSafePointersIs(false);

    EXPECT_EQ(id.name(), shortestLong);
}

TEST(IntfId, PrintsItsName) {
    std::ostringstream out;
    out << IntfId("Ethernet1");

    EXPECT_EQ(out.str(), "Ethernet1");
    EXPECT_EQ(IntfId("Ethernet1").toStrep(), "Ethernet1");
    EXPECT_EQ(fmt::format("[{:<11}]", IntfId("Ethernet1")), "[Ethernet1  ]");
    EXPECT_EQ(valueToStrep(IntfId("it's")), "'it\\'s'");
}

TEST(IntfId, ReadsBackFromBothForms) {
    for (std::string const& name : names()) {
        IntfId const id(name);
        EXPECT_EQ(Zin::strepToValue<IntfId>(id.toStrep()), id);
        std::string const text = valueToStrep(id);
        Zin::TextReader reader(text);
        EXPECT_EQ(reader.read<IntfId>("intfId"), id);
        EXPECT_NO_THROW(reader.end());
    }
}

TEST(IntfIdRaw, IsATriviallyCopyableSnapshotOfTheName) {
    static_assert(std::is_trivially_copyable_v<IntfId::Raw>);
    EXPECT_EQ(sizeof(IntfId::Raw), 24U);
    EXPECT_EQ(IntfId::Raw().text(), "");
    EXPECT_EQ(IntfId("Ethernet1").raw().toStrep(), "Ethernet1");
    EXPECT_EQ(fmt::format("{}", IntfId(longestInline).raw()), longestInline);
}

TEST(IntfIdRaw, ALongNameIsCutAndMarked) {
    EXPECT_EQ(fmt::format("{}", IntfId(shortestLong).raw()), "abcdefghijklmnopqrstuv~");
}

}  // namespace
}  // namespace Nimb
