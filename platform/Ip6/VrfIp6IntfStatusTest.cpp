#include "Ip6/VrfIp6IntfStatus.h"

#include "TestKit/TestVrfIntfStatusSuite.h"

namespace TestKit {
namespace {

struct OfIp6 {
    using Status = Ip6::VrfIp6IntfStatus;
    static constexpr std::string_view attribute = "intfStatus";

    static auto make(Nimb::IntfId const& intfId) { return Ip6::intfStatusFactory(intfId); }

    auto const& all() const { return status->intfStatus(); }
    bool has(Nimb::IntfId const& intfId) const { return status->intfStatusHas(intfId); }
    auto get(Nimb::IntfId const& intfId) const { return status->intfStatus(intfId); }
    void set(Zin::Ptr<Ip6::IntfStatus> const& of) const { status->intfStatusIs(of); }
    auto del(Nimb::IntfId const& intfId) const { return status->intfStatusDel(intfId); }
    void delAll() const { status->intfStatusDelAll(); }

    Zin::Ptr<Status> const status = Ip6::vrfIp6IntfStatusFactory();
};

INSTANTIATE_TYPED_TEST_SUITE_P(Ip6, VrfIntfStatus, OfIp6);

}  // namespace
}  // namespace TestKit
