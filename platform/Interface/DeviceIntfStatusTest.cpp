#include "Interface/DeviceIntfStatus.h"

#include <gtest/gtest.h>

namespace Interface {
namespace {

TEST(DeviceIntfStatus, SaysWhatItWasMadeOf) {
    auto const status =
        deviceIntfStatusFactory("Ethernet1", "et1", 17, OperStatus::lowerLayerDown, true);
    EXPECT_EQ(status->intfId(), Nimb::IntfId("Ethernet1"));
    EXPECT_EQ(status->deviceName(), "et1");
    EXPECT_EQ(status->ifIndex(), 17u);
    EXPECT_EQ(status->operStatus(), OperStatus::lowerLayerDown);
    EXPECT_TRUE(status->active());
}

}  // namespace
}  // namespace Interface
