#include "Ip6/Status.h"

#include "TestKit/TestStatusSuite.h"

namespace TestKit {
namespace {

struct OfIp6 {
    using Status = Ip6::Status;
    static constexpr std::string_view attribute = "vrfIp6IntfStatus";

    static auto make() { return Ip6::vrfIp6IntfStatusFactory(); }

    auto const& all() const { return status->vrfIp6IntfStatus(); }
    bool has(L3::VrfName const& vrf) const { return status->vrfIp6IntfStatusHas(vrf); }
    auto get(L3::VrfName const& vrf) const { return status->vrfIp6IntfStatus(vrf); }
    void set(L3::VrfName const& vrf, Zin::Ptr<Ip6::VrfIp6IntfStatus> const& of) const {
        status->vrfIp6IntfStatusIs(vrf, of);
    }
    auto del(L3::VrfName const& vrf) const { return status->vrfIp6IntfStatusDel(vrf); }
    void delAll() const { status->vrfIp6IntfStatusDelAll(); }

    Zin::Ptr<Status> const status = Ip6::statusFactory();
};

INSTANTIATE_TYPED_TEST_SUITE_P(Ip6, StatusOfVrfs, OfIp6);

}  // namespace
}  // namespace TestKit
