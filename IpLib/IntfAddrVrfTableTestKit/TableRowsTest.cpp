#include "IpLib/IntfAddrVrfTableTestKit/TableRows.h"

#include <gmock/gmock.h>

namespace TestKit {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Nimb::IpGenAddr const addr = Nimb::Ip4Addr("10.0.0.2");
Nimb::IpGenAddr const linkLocal = Nimb::Ip6Addr("fe80::1");

TEST(TableRows, AreSortedTexts) {
    auto const table = IpLib::intfAddrVrfTableFactory();
    EXPECT_THAT(rowsOf(*table), IsEmpty());
    table->intfAddrEntryIs({IpLib::IntfAddrEntryKey::makeLlKey(linkLocal, "Ethernet1"), "Ethernet1",
                            Nimb::IpGenPrefix("fe80::/64")});
    table->intfAddrEntryIs(
        {IpLib::IntfAddrEntryKey::makeIpKey(addr), "Ethernet1", Nimb::IpGenPrefix("10.0.0.0/24")});
    table->intfAddrEntryIs({IpLib::IntfAddrEntryKey::makeVirtualIpKey(addr), {}, {}});
    EXPECT_THAT(rowsOf(*table),
                ElementsAre("10.0.0.2 virtual", "10.0.0.2/24 Ethernet1", "fe80::1/64 Ethernet1"));
}

}  // namespace
}  // namespace TestKit
