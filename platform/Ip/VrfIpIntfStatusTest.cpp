#include "Ip/VrfIpIntfStatus.h"

#include "TestKit/TestVrfIntfStatusSuite.h"

namespace TestKit {
namespace {

struct OfIp {
    using Status = Ip::VrfIpIntfStatus;
    static constexpr std::string_view attribute = "ipIntfStatus";

    static auto make(Nimb::IntfId const& intfId) { return Ip::ipIntfStatusFactory(intfId); }

    auto const& all() const { return status->ipIntfStatus(); }
    bool has(Nimb::IntfId const& intfId) const { return status->ipIntfStatusHas(intfId); }
    auto get(Nimb::IntfId const& intfId) const { return status->ipIntfStatus(intfId); }
    void set(Zin::Ptr<Ip::IpIntfStatus> const& of) const { status->ipIntfStatusIs(of); }
    auto del(Nimb::IntfId const& intfId) const { return status->ipIntfStatusDel(intfId); }
    void delAll() const { status->ipIntfStatusDelAll(); }

    Zin::Ptr<Status> const status = Ip::vrfIpIntfStatusFactory();
};

INSTANTIATE_TYPED_TEST_SUITE_P(Ip, VrfIntfStatus, OfIp);

}  // namespace
}  // namespace TestKit
