// The table's views by interface: intfAddrEntryKeysOf and subnetsOf.
#include <gmock/gmock.h>

#include <algorithm>
#include <vector>

#include "IpLib/IntfAddrVrfTableTypes/IntfAddrVrfTable.h"
#include "IpLib/IntfAddrVrfTableTypes/TestValues.h"

namespace IpLib {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAreArray;

using Key = IntfAddrEntryKey;
using Nimb::AddressFamily;
using RowPtr = IntfAddrVrfTable::RowPtr;

// Checks the views by interface against a walk of the whole collections, after every change and,
// through the notifications, at the moment at which it is told.
class ViewsByInterface final : public IntfAddrVrfTable::Notifiee {
public:
    explicit ViewsByInterface(Zin::Ptr<IntfAddrVrfTable const> table) { notifierIs(table); }

    void check() const {
        for (IntfFamily const& group : groups()) {
            std::vector<Key> keys;
            for (auto const& member : notifier()->intfAddrEntryFromAddr()) {
                if (member.value->intfId() == group.intfId &&
                    member.key.addr.family() == group.af) {
                    keys.push_back(member.key);
                }
            }
            ASSERT_THAT(notifier()->intfAddrEntryKeysOf(group), UnorderedElementsAreArray(keys));
            std::vector<Nimb::IpGenPrefix> subnets;
            for (auto const& member : notifier()->intfAddrEntrySetFromSubnet()) {
                if (member.value->intfId() == group.intfId && member.key.family() == group.af) {
                    subnets.push_back(member.key);
                }
            }
            ASSERT_THAT(notifier()->subnetsOf(group), UnorderedElementsAreArray(subnets));
        }
    }

    static std::vector<IntfFamily> const& groups() {
        static std::vector<IntfFamily> const all = [] {
            std::vector<IntfFamily> made;
            for (char const* const intfId : {"", "Ethernet1", "Ethernet2", "Ethernet3"}) {
                for (auto const af :
                     {AddressFamily::unset, AddressFamily::ipv4, AddressFamily::ipv6}) {
                    made.push_back({intfId, af});
                }
            }
            return made;
        }();
        return all;
    }

private:
    void handleIntfAddrEntryFromAddr(Key const&) override { check(); }
    void handleIntfAddrEntrySetFromSubnet(Nimb::IpGenPrefix const&) override { check(); }
};

TEST(IntfAddrVrfTableViews, ByInterfaceEqualAWalkOfTheWholeTableAfterEveryChange) {
    auto const table = intfAddrVrfTableFactory();
    ViewsByInterface views(table);
    TestKit::RandomValues random;
    std::size_t rows = 0;
    std::size_t replaced = 0;
    for (int i = 0; i < 3000; ++i) {
        Nimb::IntfId const intfId = ViewsByInterface::groups()[random.below(12)].intfId;
        Nimb::IpGenAddr const addr = random.addr();
        Key const key =
            addr.isV6LinkLocal() ? Key::makeLlKey(addr, intfId) : Key{{}, addr, random.flip()};
        Nimb::IpGenPrefix const subnet(addr, random.prefixLength(addr.family()));
        views.hasNotificationActiveIs(random.flip());
        switch (random.below(100)) {
            case 0:
                table->intfAddrEntryFromAddrDelAll();
                break;
            case 1:
                table->intfAddrEntrySetFromSubnetDelAll();
                break;
            case 2:
                views.notifierIs(nullptr);
                table->intfAddrEntryFromAddrDelAll();
                table->intfAddrEntrySetFromSubnetDelAll();
                views.notifierIs(table);
                break;
            default:
                switch (random.below(4)) {
                    case 0:
                        table->intfAddrEntryFromAddrDel(key);
                        break;
                    case 1:
                        table->intfAddrEntrySetFromSubnetDel(subnet);
                        break;
                    case 2:
                        table->intfAddrEntrySetFromSubnetIs(
                            intfAddrEntrySetFactory(intfId, subnet));
                        break;
                    default: {
                        RowPtr const former = table->intfAddrEntryFromAddr(key);
                        replaced += former && former->intfId() != intfId;
                        table->intfAddrEntryFromAddrIs(intfAddrEntryFactory({key, intfId, subnet}));
                    }
                }
        }
        views.check();
        if (::testing::Test::HasFatalFailure()) {
            return;
        }
        rows = std::max<std::size_t>(rows, table->intfAddrEntryFromAddr().size());
    }
    EXPECT_GT(rows, 20U);
    EXPECT_GT(replaced, 50U);
}

TEST(IntfAddrVrfTableViews, ARowThatMovesToAnotherInterfaceMovesFromViewToView) {
    auto const table = intfAddrVrfTableFactory();
    Key const key = Key::makeIpKey(Nimb::IpGenAddr("10.0.0.1"));
    Nimb::IpGenPrefix const subnet("10.0.0.0/24");
    IntfFamily const ethernet1{"Ethernet1", AddressFamily::ipv4};
    IntfFamily const ethernet2{"Ethernet2", AddressFamily::ipv4};
    table->intfAddrEntryFromAddrIs(intfAddrEntryFactory({key, "Ethernet1", subnet}));
    EXPECT_THAT(table->intfAddrEntryKeysOf(ethernet1), ElementsAre(key));

    table->intfAddrEntryFromAddrIs(intfAddrEntryFactory({key, "Ethernet2", subnet}));

    EXPECT_THAT(table->intfAddrEntryKeysOf(ethernet1), IsEmpty());
    EXPECT_THAT(table->intfAddrEntryKeysOf(ethernet2), ElementsAre(key));
    EXPECT_THAT(table->intfAddrEntryKeysOf({"Ethernet2", AddressFamily::ipv6}), IsEmpty());
}

}  // namespace
}  // namespace IpLib
