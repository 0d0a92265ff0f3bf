// The virtual addresses of both families, whose status differs in names and keys alone.

#include "VirtualIp/VirtualIpStatus.h"

#include <gmock/gmock.h>

#include "TestKit/TestStatusFixture.h"
#include "VirtualIp/VirtualIp6Status.h"

namespace VirtualIp {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct OfIp {
    using Status = VirtualIpStatus;
    using Key = VrfIpWithMaskPair;
    static constexpr std::string_view attribute = "virtualIp";

    auto const& all() const { return status->virtualIp(); }
    bool has(Key const& key) const { return status->virtualIpHas(key); }
    void set(Key const& key) const { status->virtualIpIs(key); }
    void del(Key const& key) const { status->virtualIpDel(key); }
    void delAll() const { status->virtualIpDelAll(); }

    Zin::Ptr<Status> const status = virtualIpStatusFactory();
    Key const red{"red", Nimb::IpAddrWithMask("10.0.0.1/24")};
    Key const blue{"blue", Nimb::IpAddrWithMask("10.0.0.1/24")};
    Key const otherOfRed{"red", Nimb::IpAddrWithMask("10.0.0.1/25")};
};

struct OfIp6 {
    using Status = VirtualIp6Status;
    using Key = VrfIpPair;
    static constexpr std::string_view attribute = "virtualIp6";

    auto const& all() const { return status->virtualIp6(); }
    bool has(Key const& key) const { return status->virtualIp6Has(key); }
    void set(Key const& key) const { status->virtualIp6Is(key); }
    void del(Key const& key) const { status->virtualIp6Del(key); }
    void delAll() const { status->virtualIp6DelAll(); }

    Zin::Ptr<Status> const status = virtualIp6StatusFactory();
    Key const red{"red", Nimb::Ip6Addr("2001:db8::1")};
    Key const blue{"blue", Nimb::Ip6Addr("2001:db8::1")};
    Key const otherOfRed{"red", Nimb::Ip6Addr("2001:db8::2")};
};

template <class Family>
class VirtualStatus : public testing::Test {};
using Families = testing::Types<OfIp, OfIp6>;
TYPED_TEST_SUITE(VirtualStatus, Families);

TYPED_TEST(VirtualStatus, HoldsTheAddressesOfAllVrfsInOrderOfJoining) {
    TestKit::StatusFixture<TypeParam> fixture;
    fixture.set(fixture.red);
    fixture.set(fixture.blue);
    EXPECT_TRUE(fixture.has(fixture.red));
    EXPECT_FALSE(fixture.has(fixture.otherOfRed));
    EXPECT_THAT(fixture.keys(), ElementsAre(fixture.red.toStrep(), fixture.blue.toStrep()));
}

TYPED_TEST(VirtualStatus, TellsTheAddressThatComesOrGoesOnce) {
    TestKit::StatusFixture<TypeParam> fixture;
    fixture.set(fixture.red);
    fixture.set(fixture.red);
    fixture.del(fixture.blue);
    fixture.del(fixture.red);
    fixture.del(fixture.red);
    EXPECT_FALSE(fixture.has(fixture.red));
    EXPECT_THAT(fixture.events, ElementsAre(fixture.present(fixture.red.toStrep()),
                                            fixture.absent(fixture.red.toStrep())));
}

TYPED_TEST(VirtualStatus, RemovingAllTellsEachAddress) {
    TestKit::StatusFixture<TypeParam> fixture;
    fixture.set(fixture.red);
    fixture.set(fixture.blue);
    fixture.events.clear();
    fixture.delAll();
    EXPECT_THAT(fixture.keys(), IsEmpty());
    EXPECT_THAT(fixture.events, ElementsAre(fixture.absent(fixture.red.toStrep()),
                                            fixture.absent(fixture.blue.toStrep())));
}

TYPED_TEST(VirtualStatus, RemovingAllUnobservedEmptiesTheSet) {
    TestKit::StatusFixture<TypeParam> fixture;
    fixture.set(fixture.red);
    fixture.recorder.notifierIs(nullptr);
    fixture.events.clear();
    fixture.delAll();
    EXPECT_THAT(fixture.keys(), IsEmpty());
    EXPECT_THAT(fixture.events, IsEmpty());
}

}  // namespace
}  // namespace VirtualIp
