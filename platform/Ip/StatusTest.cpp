#include "Ip/Status.h"

#include "TestKit/TestStatusSuite.h"

namespace TestKit {
namespace {

struct OfIp {
    using Status = Ip::Status;
    static constexpr std::string_view attribute = "vrfIpIntfStatus";

    static auto make() { return Ip::vrfIpIntfStatusFactory(); }

    auto const& all() const { return status->vrfIpIntfStatus(); }
    bool has(L3::VrfName const& vrf) const { return status->vrfIpIntfStatusHas(vrf); }
    auto get(L3::VrfName const& vrf) const { return status->vrfIpIntfStatus(vrf); }
    void set(L3::VrfName const& vrf, Zin::Ptr<Ip::VrfIpIntfStatus> const& of) const {
        status->vrfIpIntfStatusIs(vrf, of);
    }
    auto del(L3::VrfName const& vrf) const { return status->vrfIpIntfStatusDel(vrf); }
    void delAll() const { status->vrfIpIntfStatusDelAll(); }

    Zin::Ptr<Status> const status = Ip::statusFactory();
};

INSTANTIATE_TYPED_TEST_SUITE_P(Ip, StatusOfVrfs, OfIp);

}  // namespace
}  // namespace TestKit
