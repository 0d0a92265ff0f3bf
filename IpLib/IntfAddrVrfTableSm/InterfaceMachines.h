// The machines of a VRF's interfaces in one address family, one for each interface that has status.
//
//   in     the VRF's status of the family: which interfaces there are
//   out    a machine for each, which publishes the interface's addresses (IpIntfStatusSm.h,
//              Ip6IntfStatusSm.h)
//
//     no status --added--> machine --removed--> none
//                           ^---replaced: the old one's addresses are withdrawn first
//
// A machine that goes asks for its interface's clean-up, and then withdraws what it published.
// Observers of the table hear of neither before both have been recorded.
//
// Owned by the VRF's machine, in whose name it traces, and which is called by the input's observer.
#pragma once

#include "Interface/DeviceIntfStatusDir.h"
#include "Ip/VrfIpIntfStatus.h"
#include "Ip6/VrfIp6IntfStatus.h"
#include "IpLib/IntfAddrVrfTableSm/Ip6IntfStatusSm.h"
#include "IpLib/IntfAddrVrfTableSm/IpIntfStatusSm.h"
#include "Pell/Traced.h"
#include "Zin/Children.h"
#include "Zin/Reactor.h"

namespace IpLib {

class IntfAddrVrfTableSm;

namespace IntfAddrVrfTableImpl {

// What is different in the two families.
struct IpFamily {
    using Input = Ip::VrfIpIntfStatus;
    using Status = Ip::IpIntfStatus;
    using Machine = IpIntfStatusSm;

    static constexpr char attribute[] = "ipIntfStatus";
    static constexpr char handler[] = "handleIpIntfStatus";
    static constexpr char handlerOfAll[] = "handleIpIntfStatusAll";
    static constexpr char inputTrace[] = "vrfIpIntfStatus {}";
    static constexpr std::uint32_t salt = 0x7a2e91c4;

    static auto const& statuses(Input const& input) { return input.ipIntfStatus(); }
    static auto const& statusOf(Machine const& machine) { return machine.ipIntfStatus(); }

    class Reactor final : public Zin::Reactor<IntfAddrVrfTableSm, Input> {
    public:
        using Zin::Reactor<IntfAddrVrfTableSm, Input>::Reactor;

    private:
        void handleIpIntfStatus(Nimb::IntfId const& intfId) override;
    };
};

struct Ip6Family {
    using Input = Ip6::VrfIp6IntfStatus;
    using Status = Ip6::IntfStatus;
    using Machine = Ip6IntfStatusSm;

    static constexpr char attribute[] = "ip6IntfStatus";
    static constexpr char handler[] = "handleIp6IntfStatus";
    static constexpr char handlerOfAll[] = "handleIp6IntfStatusAll";
    static constexpr char inputTrace[] = "vrfI6IntfStatus {}";  // promised without its "p"
    static constexpr std::uint32_t salt = 0xb35d0f68;

    static auto const& statuses(Input const& input) { return input.intfStatus(); }
    static auto const& statusOf(Machine const& machine) { return machine.ip6IntfStatus(); }

    class Reactor final : public Zin::Reactor<IntfAddrVrfTableSm, Input> {
    public:
        using Zin::Reactor<IntfAddrVrfTableSm, Input>::Reactor;

    private:
        void handleIntfStatus(Nimb::IntfId const& intfId) override;
    };
};

template <class Family>
class InterfaceMachines : private Pell::Traced<"IntfAddrVrfTableSm"> {
public:
    using Input = Zin::Ptr<typename Family::Input const>;
    using Status = Zin::Ptr<typename Family::Status const>;
    using Machine = Zin::Ptr<typename Family::Machine>;
    using Parent = Zin::Ptr<AfIntfStatusParentInterface>;
    using All = Zin::Ptr<AllIntfAddrWithMask>;

    explicit InterfaceMachines(IntfAddrVrfTableSm& sm) : sm_(sm) {}

    Input const& input() const { return reactor_.notifier(); }
    // Null takes all machines away.
    void setInput(Input const& input);
    // The machines stay, and hear of no other interface.
    void forgetInput() { reactor_.notifierIs(nullptr); }
    void inputHasNotificationActiveIs(bool active) { reactor_.hasNotificationActiveIs(active); }
    void machinesHaveNotificationActiveIs(bool active);

    auto const& machines() const { return machines_.map(); }
    Machine machine(Nimb::IntfId const& intfId) const { return machines_(intfId); }
    // The machine of the status' interface, made unless it is there with these very arguments; a
    // null status raises Zin::NullArgumentError, other arguments Zin::ReinstantiationError.
    Machine findOrMake(Status const& status, Parent const& parent, All const& all);
    // Returns the machine that was removed, or null.
    Machine remove(Nimb::IntfId const& intfId);
    void removeAll();

    // Of the input: an interface's status was added, replaced or removed.
    void handleInput();
    void handleIntf(Nimb::IntfId const& intfId);

private:
    // What the input has of the interface, and whether its machine is that status'.
    Status currentStatus(Nimb::IntfId const& intfId) const;
    bool isCurrent(Nimb::IntfId const& intfId) const;

    IntfAddrVrfTableSm& sm_;
    Zin::Children<Nimb::IntfId, typename Family::Machine> machines_{Family::salt};
    typename Family::Reactor reactor_{sm_, nullptr};
};

extern template class InterfaceMachines<IpFamily>;
extern template class InterfaceMachines<Ip6Family>;

}  // namespace IntfAddrVrfTableImpl
}  // namespace IpLib
