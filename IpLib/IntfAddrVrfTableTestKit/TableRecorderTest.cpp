#include "IpLib/IntfAddrVrfTableTestKit/TableRecorder.h"

#include <gmock/gmock.h>

namespace TestKit {
namespace {

using testing::ElementsAre;

TEST(TableRecorder, WritesDownEachChangeOfTheTable) {
    auto const table = IpLib::intfAddrVrfTableFactory();
    Events events;
    Recorder<IpLib::IntfAddrVrfTable> const recorder(table, events);
    IpLib::IntfAddrEntryContent const content{
        IpLib::IntfAddrEntryKey::makeIpKey(Nimb::Ip4Addr("10.0.0.2")), "Ethernet1",
        Nimb::IpGenPrefix("10.0.0.0/24")};
    table->intfAddrEntryFromAddrIs(table->intfAddrEntryIs(content));
    table->intfAddrEntryFromAddrDel(content.key);
    table->intfAddrEntryDel(content);
    EXPECT_THAT(
        events,
        ElementsAre(
            "intfAddrEntry intfId=;addr=10.0.0.2;virtualIp=false;subnet=10.0.0.0/24 present",
            "intfAddrEntryFromAddr intfId=;addr=10.0.0.2;virtualIp=false present",
            "intfAddrEntryFromAddr intfId=;addr=10.0.0.2;virtualIp=false absent",
            "intfAddrEntry intfId=;addr=10.0.0.2;virtualIp=false;subnet=10.0.0.0/24 absent"));
}

}  // namespace
}  // namespace TestKit
