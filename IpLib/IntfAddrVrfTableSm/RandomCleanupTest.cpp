// Clean-up of what an interface has in a table of any content, against a plain statement of the
// rule.

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>

#include "IpLib/IntfAddrVrfTableSm/TestSmFixture.h"
#include "Zin/Format.h"

namespace IpLib {
namespace {

using TestKit::SmFixture;

// The rule as a plain walk of all that there is.
struct PlainWalk {
    std::set<IntfAddrEntryContent> rows;
    std::set<IntfAddrEntryKey> rowsByAddr;
    std::set<Nimb::IpGenPrefix> sets;
    std::set<Nimb::IntfId> linkLocals;
    std::set<IntfAddrWithMaskKey> deferred;

    explicit PlainWalk(SmFixture const& fixture) {
        for (auto const& row : fixture.table->intfAddrEntry()) {
            rows.insert(row.key);
        }
        for (auto const& row : fixture.table->intfAddrEntryFromAddr()) {
            rowsByAddr.insert(row.key);
        }
        for (auto const& set : fixture.table->intfAddrEntrySetFromSubnet()) {
            sets.insert(set.key);
        }
        for (auto const& row : fixture.table->llIntfAddrEntryFromIntfId()) {
            linkLocals.insert(row.key);
        }
        for (auto const& key : fixture.sm->deferredIntfAddBacklog()->backlog()) {
            deferred.insert(key.key);
        }
    }

    void cleanUp(SmFixture const& fixture, Nimb::IntfId const& intfId, Nimb::AddressFamily af) {
        for (auto const& member : fixture.table->intfAddrEntryFromAddr()) {
            if (member.key.addr.family() == af && member.value->intfId() == intfId) {
                rowsByAddr.erase(member.key);
                rows.erase(member.value->content());
            }
        }
        for (auto const& member : fixture.table->intfAddrEntrySetFromSubnet()) {
            if (member.key.family() == af && member.value->intfId() == intfId) {
                sets.erase(member.key);
                for (auto const& row : member.value->intfAddrEntry()) {
                    rows.erase(row.value->content());
                }
                for (auto const& row : member.value->deprecatedIntfAddrEntry()) {
                    rows.erase(row.value->content());
                }
            }
        }
        if (af == Nimb::AddressFamily::ipv6) {
            linkLocals.erase(intfId);
        }
        std::erase_if(deferred, [&](auto const& key) {
            return key.addrWithMask.family() == af && key.intfId == intfId;
        });
    }

    friend bool operator==(PlainWalk const&, PlainWalk const&) = default;
};

// A table of any content, consistent or not: rows here and there, in sets of their own interface or
// another, deprecated or not, and keys that wait.
void fillAtRandom(SmFixture& fixture, std::mt19937& random) {
    auto const below = [&](std::uint_fast32_t end) { return random() % end; };
    auto& table = *fixture.table;
    for (auto left = below(30); left > 0; --left) {
        Nimb::IntfId const intfId(below(8) == 0 ? "" : fmt::format("Ethernet{}", below(3)));
        std::string const text =
            below(2) == 0
                ? fmt::format("10.0.{}.{}/24", below(3), 1 + below(3))
                : fmt::format("{}::{}/64", below(3) == 0 ? "fe80" : "2001:db8", 1 + below(5));
        Nimb::IpGenAddrWithMask const addr(text);
        auto const key = addr.isV6LinkLocal() ? IntfAddrEntryKey::makeLlKey(addr.address(), intfId)
                                              : IntfAddrEntryKey{{}, addr.address(), below(8) == 0};
        auto const row = table.intfAddrEntryIs({key, intfId, addr.prefix()});
        if (below(5) > 0) {
            table.intfAddrEntryFromAddrIs(row);
        }
        if (addr.isV6LinkLocal()) {
            table.llIntfAddrEntryFromIntfIdIs(row);
        }
        if (below(5) > 0) {
            if (!table.intfAddrEntrySetFromSubnetHas(addr.prefix())) {
                table.intfAddrEntrySetFromSubnetIs(intfAddrEntrySetFactory(intfId, addr.prefix()));
            }
            auto const set = table.intfAddrEntrySetFromSubnet(addr.prefix());
            if (below(3) == 0) {
                set->deprecatedIntfAddrEntryIs(row);
            } else {
                set->intfAddrEntryIs(row);
            }
        }
        if (below(5) == 0) {
            table.intfAddrEntryDel({key, intfId, addr.prefix()});
        }
        if (below(2) == 0) {
            fixture.sm->deferredIntfAddBacklog()->backlogIs({intfId, addr});
        }
    }
}

TEST(RandomCleanup, RemovesWhatAPlainWalkOfTheTableRemovesAndNothingElse) {
    std::mt19937 random(1);
    std::size_t removed = 0;
    std::size_t kept = 0;
    for (int i = 0; i < 500; ++i) {
        SmFixture fixture;
        fillAtRandom(fixture, random);
        for (int cleanups = 0; cleanups < 3; ++cleanups) {
            Nimb::IntfId const intfId(fmt::format("Ethernet{}", random() % 4));
            auto const af =
                random() % 2 == 0 ? Nimb::AddressFamily::ipv4 : Nimb::AddressFamily::ipv6;
            PlainWalk expected(fixture);
            std::size_t const before = expected.rows.size();
            expected.cleanUp(fixture, intfId, af);
            removed += before - expected.rows.size();
            kept += expected.rows.size();

            fixture.sm->processCleanupIntf(intfId, af);

            ASSERT_EQ(PlainWalk(fixture), expected) << i << " " << intfId;
        }
    }
    EXPECT_GT(removed, 500u);
    EXPECT_GT(kept, 500u);
}

}  // namespace
}  // namespace IpLib
