#include "TestKit/Recorder.h"

#include <gmock/gmock.h>

#include "TestKit/StatusRecorder.h"

namespace TestKit {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Recorder, RecordersOfOneListShowTheOrderAmongTheirEntities) {
    Events events;
    auto const status = Ip::ipIntfStatusFactory("Ethernet1");
    auto const vrf = Ip::vrfIpIntfStatusFactory();
    Recorder<Ip::IpIntfStatus> const statusRecorder(status, events);
    Recorder<Ip::VrfIpIntfStatus> const vrfRecorder(vrf, events);

    status->activeAddrWithMaskIs(Nimb::IpAddrWithMask("10.0.0.1/24"));
    vrf->ipIntfStatusIs(status);
    status->activeAddrWithMaskIs({});
    EXPECT_THAT(events,
                ElementsAre("activeAddrWithMask 10.0.0.1/24", "ipIntfStatus Ethernet1 present",
                            "activeAddrWithMask 0.0.0.0/0"));
}

TEST(Recorder, HearsNothingAfterItsEnd) {
    Events events;
    auto const status = Ip::ipIntfStatusFactory("Ethernet1");
    { Recorder<Ip::IpIntfStatus> const recorder(status, events); }
    status->unnumberedIntfIdIs("Loopback0");
    EXPECT_THAT(events, IsEmpty());
}

}  // namespace
}  // namespace TestKit
