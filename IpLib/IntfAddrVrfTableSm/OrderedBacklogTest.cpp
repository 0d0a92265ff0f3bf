#include "IpLib/IntfAddrVrfTableSm/OrderedBacklog.h"

#include <gmock/gmock.h>

#include <functional>
#include <new>
#include <utility>
#include <vector>

#include "IpLib/IntfAddrVrfTableSmTypes/DeferredIntfAddBacklog.h"
#include "TestMemory/TestMemory.h"

namespace IpLib::IntfAddrVrfTableImpl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class Owner final : public Zin::Entity {};

using Key = IntfAddrWithMaskKey;

Key key(char const* intfId) { return {intfId, Nimb::IpGenAddrWithMask("10.0.0.1/24")}; }

class OrderedBacklogTest : public testing::Test {
protected:
    OrderedBacklogTest() { backlog.make(); }

    void insert(Key const& which) {
        backlog.write(which, true,
                      [which](DeferredIntfAddBacklog& written) { written.backlogIs(which); });
    }
    void remove(Key const& which) {
        backlog.write(which, false,
                      [which](DeferredIntfAddBacklog& written) { written.backlogDel(which); });
    }
    bool has(Key const& which) const {
        return backlog.willStand(which, backlog.written()->backlogHas(which));
    }
    std::vector<Key> written() const { return keysOf(*backlog.written()); }
    static std::vector<Key> keysOf(DeferredIntfAddBacklog const& of) {
        std::vector<Key> keys;
        for (auto const& member : of.backlog()) {
            keys.push_back(member.key);
        }
        return keys;
    }
    // A change of an interface's.
    void submit(char const* intfId, std::function<void()> const& change) {
        table->changes().submit(*owner, {{}, intfId, {}}, change);
    }

    Zin::Ptr<Owner> owner = Zin::make<Owner>();
    Zin::Ptr<IntfAddrVrfTable> table = intfAddrVrfTableFactory();
    OrderedBacklog<DeferredIntfAddBacklog, Key> backlog{*owner, table.get(),
                                                        deferredIntfAddBacklogFactory};
    Key const a = key("Ethernet1");
    Key const b = key("Ethernet2");
    Key const c = key("Ethernet3");
};

TEST_F(OrderedBacklogTest, IsWrittenAtOnceByAChangeThatHasOvertakenNone) {
    insert(a);
    EXPECT_THAT(written(), ElementsAre(a));
    submit("Ethernet1", [this] {
        remove(a);
        EXPECT_THAT(written(), IsEmpty());
    });
}

TEST_F(OrderedBacklogTest, IsWrittenInTheOrderOfChanges) {
    submit("Ethernet1", [this] {
        submit("Ethernet2", [this] {
            insert(b);
            EXPECT_THAT(written(), IsEmpty());
        });
        submit("Ethernet3", [this] { insert(c); });
        insert(a);
        EXPECT_THAT(written(), ElementsAre(a));
    });
    EXPECT_THAT(written(), ElementsAre(a, b, c));
}

TEST_F(OrderedBacklogTest, SaysWhatWillStandInIt) {
    insert(a);
    submit("Ethernet4", [this] {
        submit("Ethernet1", [this] {
            remove(a);
            EXPECT_FALSE(has(a));
            insert(b);
            EXPECT_TRUE(has(b));
            EXPECT_FALSE(has(c));
            std::vector<std::pair<Key, bool>> toCome;
            backlog.forEachToCome(
                [&](Key const& which, bool stands) { toCome.emplace_back(which, stands); });
            EXPECT_THAT(toCome, ElementsAre(std::pair(a, false), std::pair(b, true)));
            insert(a);
            EXPECT_TRUE(has(a));
            remove(b);
            EXPECT_FALSE(has(b));
        });
        EXPECT_THAT(written(), ElementsAre(a));
    });
    EXPECT_THAT(written(), ElementsAre(a));
    backlog.forEachToCome([](Key const&, bool) { ADD_FAILURE() << "all is written"; });
}

TEST_F(OrderedBacklogTest, ThatIsTakenAwayIsWrittenByWhatHasBegunAndANewOneIsNot) {
    auto const old = backlog.given();
    submit("Ethernet1", [this] {
        submit("Ethernet2", [this] { insert(b); });
        EXPECT_EQ(backlog.take().get(), backlog.written());
        EXPECT_EQ(backlog.given(), nullptr);
        EXPECT_TRUE(has(b));
        EXPECT_NE(backlog.make(), nullptr);
        EXPECT_FALSE(has(b));
        submit("Ethernet2", [this] { insert(c); });
        EXPECT_TRUE(has(c));
    });
    EXPECT_EQ(backlog.given().get(), backlog.written());
    EXPECT_EQ(backlog.make(), backlog.given());
    EXPECT_THAT(keysOf(*old), ElementsAre(b));
    EXPECT_THAT(written(), ElementsAre(c));
}

TEST_F(OrderedBacklogTest, ThatLacksMemoryForAWriteToComeIsNotWritten) {
    bool happened = true;
    for (std::size_t allowed = 0; happened; ++allowed) {
        submit("Ethernet1", [&] {
            submit("Ethernet2", [&] {
                bool const stood = has(b);
                bool threw = false;
                {
                    TestMemory::OneFailure const failure(allowed);
                    try {
                        insert(b);
                    } catch (std::bad_alloc const&) {
                        threw = true;
                    }
                    happened = failure.happened();
                }
                EXPECT_EQ(threw, happened);
                EXPECT_EQ(has(b), stood || !threw);
            });
        });
        EXPECT_EQ(has(b), !happened);
        EXPECT_THAT(written(), SizeIs(happened ? 0 : 1));
    }
}

}  // namespace
}  // namespace IpLib::IntfAddrVrfTableImpl
