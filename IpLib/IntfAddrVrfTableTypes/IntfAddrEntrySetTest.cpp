#include "IpLib/IntfAddrVrfTableTypes/IntfAddrEntrySet.h"

#include <gmock/gmock.h>

#include <map>
#include <vector>

#include "IpLib/IntfAddrVrfTableTestKit/TableRecorder.h"
#include "IpLib/IntfAddrVrfTableTypes/TestValues.h"
#include "Zin/Format.h"

namespace IpLib {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Property;
using ::testing::Throws;

using Key = IntfAddrEntryKey;
using RowPtr = IntfAddrEntrySet::RowPtr;

Nimb::IpGenPrefix const subnet("10.0.0.0/24");

RowPtr rowOf(Key const& key) { return intfAddrEntryFactory({key, "Ethernet1", subnet}); }
Key ipKey(char const* addr) { return Key::makeIpKey(Nimb::IpGenAddr(addr)); }
Key virtualKey(char const* addr) { return Key::makeVirtualIpKey(Nimb::IpGenAddr(addr)); }
Key llKey(char const* addr, char const* intfId) {
    return Key::makeLlKey(Nimb::IpGenAddr(addr), intfId);
}

std::vector<Key> keysIn(IntfAddrEntrySet::Rows const& rows) {
    std::vector<Key> keys;
    for (auto const& member : rows) {
        EXPECT_EQ(member.key, member.value->key());
        keys.push_back(member.key);
    }
    return keys;
}

// The operations of one of the two collections.
struct UsableRows {
    static constexpr char const* attribute = "intfAddrEntry";
    static auto const& rows(IntfAddrEntrySet const& set) { return set.intfAddrEntry(); }
    static auto const& otherRows(IntfAddrEntrySet const& set) {
        return set.deprecatedIntfAddrEntry();
    }
    static RowPtr row(IntfAddrEntrySet const& set, Key const& key) {
        return set.intfAddrEntry(key);
    }
    static bool has(IntfAddrEntrySet const& set, Key const& key) {
        return set.intfAddrEntryHas(key);
    }
    static void is(IntfAddrEntrySet& set, RowPtr const& row) { set.intfAddrEntryIs(row); }
    static RowPtr del(IntfAddrEntrySet& set, Key const& key) { return set.intfAddrEntryDel(key); }
    static void delAll(IntfAddrEntrySet& set) { set.intfAddrEntryDelAll(); }
};
struct DeprecatedRows {
    static constexpr char const* attribute = "deprecatedIntfAddrEntry";
    static auto const& rows(IntfAddrEntrySet const& set) { return set.deprecatedIntfAddrEntry(); }
    static auto const& otherRows(IntfAddrEntrySet const& set) { return set.intfAddrEntry(); }
    static RowPtr row(IntfAddrEntrySet const& set, Key const& key) {
        return set.deprecatedIntfAddrEntry(key);
    }
    static bool has(IntfAddrEntrySet const& set, Key const& key) {
        return set.deprecatedIntfAddrEntryHas(key);
    }
    static void is(IntfAddrEntrySet& set, RowPtr const& row) { set.deprecatedIntfAddrEntryIs(row); }
    static RowPtr del(IntfAddrEntrySet& set, Key const& key) {
        return set.deprecatedIntfAddrEntryDel(key);
    }
    static void delAll(IntfAddrEntrySet& set) { set.deprecatedIntfAddrEntryDelAll(); }
};

template <class Rows>
class IntfAddrEntrySetRows : public ::testing::Test {
public:
protected:
    using R = Rows;

    static std::string event(Key const& key, char const* presence) {
        return fmt::format("{} {} {}", R::attribute, key, presence);
    }

    Zin::Ptr<IntfAddrEntrySet> const set_ = intfAddrEntrySetFactory("Ethernet1", subnet);
    TestKit::Events events_;
    TestKit::Recorder<IntfAddrEntrySet> recorder_{set_, events_};
};
using BothCollections = ::testing::Types<UsableRows, DeprecatedRows>;
TYPED_TEST_SUITE(IntfAddrEntrySetRows, BothCollections);

TEST(IntfAddrEntrySet, StartsEmptyWithTheInterfaceAndTheSubnetThatItIsMadeFor) {
    auto const set = intfAddrEntrySetFactory("Ethernet1", subnet);

    EXPECT_EQ(set->intfId(), "Ethernet1");
    EXPECT_EQ(set->subnet(), subnet);
    EXPECT_TRUE(set->intfAddrEntry().empty());
    EXPECT_TRUE(set->deprecatedIntfAddrEntry().empty());
}

TYPED_TEST(IntfAddrEntrySetRows, AreWalkedByAddressTheOrdinaryOneBeforeTheVirtualOne) {
    auto& set = *this->set_;
    for (Key const& key : {ipKey("10.0.0.9"), virtualKey("10.0.0.3"), ipKey("10.0.0.3")}) {
        TypeParam::is(set, rowOf(key));
    }

    EXPECT_THAT(keysIn(TypeParam::rows(set)),
                ElementsAre(ipKey("10.0.0.3"), virtualKey("10.0.0.3"), ipKey("10.0.0.9")));
    EXPECT_EQ(TypeParam::rows(set).size(), 3U);
}

TYPED_TEST(IntfAddrEntrySetRows, ALinkLocalRowComesAfterEveryOrdinaryOne) {
    auto& set = *this->set_;
    TypeParam::is(set, rowOf(llKey("fe80::1", "Ethernet2")));
    TypeParam::is(set, rowOf(llKey("fe80::2", "Ethernet1")));
    TypeParam::is(set, rowOf(virtualKey("ffff::1")));

    EXPECT_THAT(keysIn(TypeParam::rows(set)),
                ElementsAre(virtualKey("ffff::1"), llKey("fe80::2", "Ethernet1"),
                            llKey("fe80::1", "Ethernet2")));
}

TYPED_TEST(IntfAddrEntrySetRows, InsertingTellsTheKeyOnce) {
    RowPtr const row = rowOf(ipKey("10.0.0.1"));

    TypeParam::is(*this->set_, row);

    EXPECT_EQ(TypeParam::row(*this->set_, row->key()), row);
    EXPECT_THAT(this->events_, ElementsAre(this->event(row->key(), "present")));
}

TYPED_TEST(IntfAddrEntrySetRows, ARowOfTheSameKeyReplacesTheFormerOne) {
    RowPtr const first = rowOf(ipKey("10.0.0.1"));
    RowPtr const second = rowOf(ipKey("10.0.0.1"));
    TypeParam::is(*this->set_, first);
    this->events_.clear();

    TypeParam::is(*this->set_, second);

    EXPECT_EQ(TypeParam::row(*this->set_, first->key()), second);
    EXPECT_EQ(TypeParam::rows(*this->set_).size(), 1U);
    EXPECT_EQ(first->referenceCount(), 1U);
    EXPECT_THAT(this->events_, ElementsAre(this->event(first->key(), "present")));
}

TYPED_TEST(IntfAddrEntrySetRows, ANullRowIsRefusedAndChangesNothing) {
    EXPECT_THAT([this] { TypeParam::is(*this->set_, nullptr); },
                Throws<Zin::NullArgumentError>(
                    Property(&Zin::NullArgumentError::attribute, TypeParam::attribute)));

    EXPECT_TRUE(TypeParam::rows(*this->set_).empty());
    EXPECT_THAT(this->events_, IsEmpty());
}

TYPED_TEST(IntfAddrEntrySetRows, RemovingReturnsTheRowAndTellsItsKey) {
    RowPtr const row = rowOf(ipKey("10.0.0.1"));
    TypeParam::is(*this->set_, row);
    this->events_.clear();

    EXPECT_EQ(TypeParam::del(*this->set_, row->key()), row);

    EXPECT_FALSE(TypeParam::has(*this->set_, row->key()));
    EXPECT_THAT(this->events_, ElementsAre(this->event(row->key(), "absent")));
}

TYPED_TEST(IntfAddrEntrySetRows, RemovingAKeyThatDiffersInAnyFieldRemovesNothing) {
    TypeParam::is(*this->set_, rowOf(ipKey("10.0.0.1")));
    this->events_.clear();

    EXPECT_EQ(TypeParam::del(*this->set_, virtualKey("10.0.0.1")), nullptr);
    EXPECT_EQ(TypeParam::del(*this->set_, llKey("10.0.0.1", "Ethernet1")), nullptr);
    EXPECT_EQ(TypeParam::del(*this->set_, ipKey("10.0.0.2")), nullptr);

    EXPECT_EQ(TypeParam::rows(*this->set_).size(), 1U);
    EXPECT_THAT(this->events_, IsEmpty());
}

TYPED_TEST(IntfAddrEntrySetRows, InsertingLeavesTheOtherCollectionAlone) {
    RowPtr const row = rowOf(ipKey("2001:db8::1"));
    this->set_->intfAddrEntryIs(row);
    this->set_->deprecatedIntfAddrEntryIs(row);

    EXPECT_EQ(TypeParam::del(*this->set_, row->key()), row);

    EXPECT_THAT(keysIn(TypeParam::otherRows(*this->set_)), ElementsAre(row->key()));
}

TYPED_TEST(IntfAddrEntrySetRows, RemovingAllTellsEachKeyOfAnObservedSet) {
    for (char const* const addr : {"10.0.0.2", "10.0.0.1"}) {
        TypeParam::is(*this->set_, rowOf(ipKey(addr)));
    }
    this->events_.clear();

    TypeParam::delAll(*this->set_);

    EXPECT_TRUE(TypeParam::rows(*this->set_).empty());
    EXPECT_THAT(this->events_, ElementsAre(this->event(ipKey("10.0.0.1"), "absent"),
                                           this->event(ipKey("10.0.0.2"), "absent")));
}

TYPED_TEST(IntfAddrEntrySetRows, RemovingAllEmptiesAnUnobservedSet) {
    this->recorder_.notifierIs(nullptr);
    RowPtr const row = rowOf(ipKey("10.0.0.1"));
    this->set_->intfAddrEntryIs(row);
    this->set_->deprecatedIntfAddrEntryIs(row);

    TypeParam::delAll(*this->set_);

    EXPECT_TRUE(TypeParam::rows(*this->set_).empty());
    EXPECT_EQ(TypeParam::otherRows(*this->set_).size(), 1U);
    EXPECT_EQ(row->referenceCount(), 2U);
}

TYPED_TEST(IntfAddrEntrySetRows, FindAndWalkWhatAnOrderedMapHolds) {
    TestKit::RandomValues random;
    this->recorder_.notifierIs(nullptr);
    auto& set = *this->set_;
    std::map<Key, IntfAddrEntry const*> expected;
    for (int i = 0; i < 5000; ++i) {
        Key const key = random.key();
        auto const stands = expected.find(key);
        ASSERT_EQ(TypeParam::row(set, key).get(),
                  stands == expected.end() ? nullptr : stands->second);
        if (random.below(3) != 0) {
            RowPtr const row = rowOf(key);
            TypeParam::is(set, row);
            expected[key] = row.get();
        } else {
            ASSERT_EQ(TypeParam::del(set, key) != nullptr, expected.erase(key) == 1);
        }
    }
    std::vector<Key> keys;
    for (auto const& [key, row] : expected) {
        keys.push_back(key);
    }
    ASSERT_GT(keys.size(), 100U);
    EXPECT_EQ(keysIn(TypeParam::rows(set)), keys);
}

}  // namespace
}  // namespace IpLib
