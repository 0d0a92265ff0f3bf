#include "router/EffectOf.h"

#include <variant>

namespace Routing {

namespace {

class Doing {
public:
    explicit Doing(Router& router) : router_(router) {}

    Effect operator()(ManagerStart const&) { return router_.managerStart(); }
    Effect operator()(ManagerStop const&) { return router_.managerStop(); }
    Effect operator()(TableAdd const& op) { return router_.tableAdd(op.vrf); }
    Effect operator()(TableDel const& op) { return router_.tableDel(op.vrf); }
    Effect operator()(IpVrfAdd const& op) { return inputs_.ipVrfAdd(op.vrf); }
    Effect operator()(IpVrfDel const& op) { return inputs_.ipVrfDel(op.vrf); }
    Effect operator()(Ip6VrfAdd const& op) { return inputs_.ip6VrfAdd(op.vrf); }
    Effect operator()(Ip6VrfDel const& op) { return inputs_.ip6VrfDel(op.vrf); }
    Effect operator()(IpIntfAdd const& op) {
        return inputs_.ipIntfAdd(op.vrf, op.intf, op.addressing);
    }
    Effect operator()(IpIntfDel const& op) { return inputs_.ipIntfDel(op.vrf, op.intf); }
    Effect operator()(Ip6IntfAdd const& op) {
        return inputs_.ip6IntfAdd(op.vrf, op.intf, op.addrs);
    }
    Effect operator()(Ip6IntfDel const& op) { return inputs_.ip6IntfDel(op.vrf, op.intf); }
    Effect operator()(IpPrimaryIs const& op) {
        return inputs_.ipPrimaryIs(op.vrf, op.intf, op.addr);
    }
    Effect operator()(IpUnnumberedIs const& op) {
        return inputs_.ipUnnumberedIs(op.vrf, op.intf, op.source);
    }
    Effect operator()(IpSecondaryAdd const& op) {
        return inputs_.ipSecondaryAdd(op.vrf, op.intf, op.addr);
    }
    Effect operator()(IpSecondaryDel const& op) {
        return inputs_.ipSecondaryDel(op.vrf, op.intf, op.addr);
    }
    Effect operator()(Ip6AddrSet const& op) { return inputs_.ip6AddrSet(op.vrf, op.intf, op.addr); }
    Effect operator()(Ip6AddrDel const& op) { return inputs_.ip6AddrDel(op.vrf, op.intf, op.addr); }
    Effect operator()(KernelAdd const& op) {
        return inputs_.kernelAdd(op.vrf, op.intf, op.kernelIntf);
    }
    Effect operator()(KernelDel const& op) { return inputs_.kernelDel(op.vrf, op.intf); }
    Effect operator()(VipAdd const& op) { return inputs_.vipAdd(op.vrf, op.addr); }
    Effect operator()(VipDel const& op) { return inputs_.vipDel(op.vrf, op.addr); }
    Effect operator()(Vip6Add const& op) { return inputs_.vip6Add(op.vrf, op.addr); }
    Effect operator()(Vip6Del const& op) { return inputs_.vip6Del(op.vrf, op.addr); }

private:
    Router& router_;
    Inputs& inputs_ = router_.inputs();
};

}  // namespace

Effect effectOf(Router& router, Operation const& operation) {
    return std::visit(Doing(router), operation);
}

}  // namespace Routing
