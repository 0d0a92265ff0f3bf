#include "feeds/netlink/fake/NotificationSocket.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <system_error>

#include "feeds/netlink/fake/TestBench.h"

namespace Netlink::Fake {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct NotificationSocketTest : testing::Test, Bench {
    void addAddress(char const* own) { kernel.links().addAddress(eth0, address(own)); }

    Place const eth0 = addDummy("eth0", 2);
    std::string const told1 = "NEWADDR 2 10.1.0.1/24 flags 80 label eth0";
    std::string const told2 = "NEWADDR 2 10.2.0.1/24 flags 80 label eth0";
};

TEST_F(NotificationSocketTest, ALostMessageIsReportedAndTheOthersUntilThen) {
    forget();
    kernel.faults().next(Fault::loseNotification);
    addAddress("10.1.0.1/24");
    addAddress("10.2.0.1/24");

    EXPECT_THAT(told(), ElementsAre("ENOBUFS"));
    addAddress("10.3.0.1/24");
    EXPECT_THAT(told(), ElementsAre("NEWADDR 2 10.3.0.1/24 flags 80 label eth0"));
}

TEST_F(NotificationSocketTest, DelayedMessagesComeInTheirOrderAndLaterThanADumpShowsThem) {
    forget();
    kernel.delayNotifications(home, 5);
    addAddress("10.1.0.1/24");
    kernel.advanceTo(4.9);
    addAddress("10.2.0.1/24");

    EXPECT_THAT(told(), IsEmpty());
    EXPECT_THAT(dump(RTM_GETADDR), ElementsAre(told1, told2, "DONE"));
    EXPECT_EQ(kernel.nextEvent(), 5);
    kernel.advanceTo(5);
    EXPECT_THAT(told(), ElementsAre(told1, told2));
}

TEST_F(NotificationSocketTest, AMessageMayComeTwice) {
    forget();
    kernel.faults().next(Fault::duplicate);
    addAddress("10.1.0.1/24");
    addAddress("10.2.0.1/24");

    EXPECT_THAT(told(), ElementsAre(told1, told1, told2));
}

TEST_F(NotificationSocketTest, AnAddressMayComeBeforeItsLink) {
    forget();
    kernel.faults().next(Fault::addressBeforeLink);
    kernel.links().add(LinkKind::dummy, {home, "eth1", 3});
    kernel.links().addAddress({home, 3}, address("10.1.0.1/24"));
    kernel.faults().next(Fault::addressBeforeLink);
    kernel.links().add(LinkKind::dummy, {home, "eth2", 4});
    kernel.deliver();

    EXPECT_THAT(told(), ElementsAre("NEWADDR 3 10.1.0.1/24 flags 80 label eth1",
                                    "NEWLINK 3 eth1 state 2 kind dummy",
                                    "NEWLINK 4 eth2 state 2 kind dummy"));
}

TEST_F(NotificationSocketTest, StrangersAndUnknownThingsComeBetween) {
    forget();
    kernel.faults().next(Fault::foreignSender);
    addAddress("10.1.0.1/24");
    kernel.faults().next(Fault::unknownType);
    kernel.faults().next(Fault::unknownAttribute);
    addAddress("10.2.0.1/24");

    auto const all = told();

    EXPECT_THAT(all, testing::Contains(testing::StartsWith("stranger: ")));
    EXPECT_THAT(all, testing::Contains(testing::EndsWith("type 4000")));
    EXPECT_THAT(all, testing::IsSupersetOf({told1, told2}));
}

TEST_F(NotificationSocketTest, NothingCanBeSent) {
    EXPECT_THROW(sockets.notifications->send(dumpRequest(RTM_GETLINK)), std::system_error);
}

}  // namespace
}  // namespace Netlink::Fake
