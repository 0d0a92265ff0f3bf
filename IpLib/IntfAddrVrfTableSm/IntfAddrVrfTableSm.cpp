#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"

#include <utility>

#include "Interface/Module.h"
#include "Ip/Module.h"
#include "Ip6/Module.h"
#include "IpLib/IntfAddrVrfTableSm/Module.h"
#include "IpLib/IntfAddrVrfTableSmTypes/Module.h"
#include "L3/Module.h"
#include "Nimb/Module.h"
#include "Pell/Module.h"
#include "Tremlog/Module.h"
#include "Velk/Module.h"
#include "VirtualIp/Module.h"
#include "Zin/Errors.h"
#include "Zin/HandleAll.h"
#include "Zin/Module.h"
#include "Zin/Turn.h"

namespace IpLib {

using IntfAddrVrfTableImpl::AfIntfStatusParent;
using IntfAddrVrfTableImpl::DeferredIntfAddParent;
using IntfAddrVrfTableImpl::IntfCleanupParent;

namespace {

// For those who ask by an attribute's name that all of it be handled again.
template <void (IntfAddrVrfTableSm::*handler)()>
void handleAll(Zin::Entity& sm) {
    (static_cast<IntfAddrVrfTableSm&>(sm).*handler)();
}

}  // namespace

Zin::ModuleRegistration const intfAddrVrfTableSmModule{
    {.name = "IpLib::IntfAddrVrfTableSm",
     .dependsOn = {&Interface::module, &Ip::module, &Ip6::module, &intfAddrVrfTableSmTypesModule,
                   &L3::module, &Nimb::module, &Pell::module, &Tremlog::module, &Velk::module,
                   &VirtualIp::module, &Zin::module},
     .types = {
         {
             .name = "IpLib::IntfAddrVrfTableSm",
             .attributes =
                 {{"vrfName", "L3::VrfName"},
                  {"networkNamespace", "Nimb::NamespaceName"},
                  {"smConfig", "IpLib::IntfAddrVrfTableSmConfig"},
                  {"scheduler", "Velk::TaskScheduler"},
                  {"virtualIpStatus", "VirtualIp::VirtualIpStatus",
                   handleAll<&IntfAddrVrfTableSm::handleVirtualIpAll>},
                  {"virtualIp6Status", "VirtualIp::VirtualIp6Status",
                   handleAll<&IntfAddrVrfTableSm::handleVirtualIp6All>},
                  {"kernelIntfDir", "Interface::DeviceIntfStatusDir",
                   handleAll<&IntfAddrVrfTableSm::handleKernelIntfAll>},
                  {"intfAddrVrfTable", "IpLib::IntfAddrVrfTable"},
                  {"vrfIpIntfStatus", "Ip::VrfIpIntfStatus",
                   handleAll<&IntfAddrVrfTableSm::handleVrfIpIntfStatus>},
                  {"vrfIp6IntfStatus", "Ip6::VrfIp6IntfStatus",
                   handleAll<&IntfAddrVrfTableSm::handleVrfIp6IntfStatus>},
                  {"allIntfAddrWithMask", "IpLib::AllIntfAddrWithMask"},
                  {"intfCleanupBacklog", "IpLib::IntfAddrVrfTableImpl::IntfCleanupBacklog"},
                  {"deferredIntfAddBacklog", "IpLib::IntfAddrVrfTableImpl::DeferredIntfAddBacklog"},
                  {"intfCleanupSm", "IpLib::IntfAddrVrfTableImpl::IntfCleanupSm"},
                  {"deferredIntfAddSm", "IpLib::IntfAddrVrfTableImpl::DeferredIntfAddSm"},
                  {"ipIntfStatusSm", "IpLib::IntfAddrVrfTableImpl::IpIntfStatusSm"},
                  {"ip6IntfStatusSm", "IpLib::IntfAddrVrfTableImpl::Ip6IntfStatusSm"}},
         },
         {
             .name = "IpLib::IntfAddrVrfTableImpl::IpIntfStatusSm",
             .attributes = {{"ipIntfStatus", "Ip::IpIntfStatus"},
                            {"afIntfStatusParent",
                             "IpLib::IntfAddrVrfTableImpl::AfIntfStatusParentInterface"},
                            {"allIntfAddrWithMask", "IpLib::AllIntfAddrWithMask"},
                            {"maybeShadowPrimaryAddr", "Nimb::IpGenAddrWithMask"},
                            {"maybeShadowIsUnnumbered", "bool"}},
         },
         {
             .name = "IpLib::IntfAddrVrfTableImpl::Ip6IntfStatusSm",
             .attributes = {{"ip6IntfStatus", "Ip6::IntfStatus"},
                            {"afIntfStatusParent",
                             "IpLib::IntfAddrVrfTableImpl::AfIntfStatusParentInterface"},
                            {"allIntfAddrWithMask", "IpLib::AllIntfAddrWithMask"}},
         },
     }}};

IntfAddrVrfTableSm::IntfAddrVrfTableSm(L3::VrfName vrfName, Nimb::NamespaceName networkNamespace,
                                       IntfAddrVrfTableSmConfig const& smConfig,
                                       Scheduler scheduler,
                                       Zin::Ptr<VirtualIp::VirtualIpStatus const> virtualIpStatus,
                                       Zin::Ptr<VirtualIp::VirtualIp6Status const> virtualIp6Status,
                                       Zin::Ptr<Interface::DeviceIntfStatusDir const> kernelIntfDir,
                                       Zin::Ptr<IntfAddrVrfTable> intfAddrVrfTable)
    : vrfName_(std::move(vrfName)),
      networkNamespace_(std::move(networkNamespace)),
      smConfig_(IntfAddrVrfTableImpl::withFiniteDelays(smConfig)),
      scheduler_(Zin::notNull("scheduler", std::move(scheduler))),
      virtualIpStatus_(std::move(virtualIpStatus)),
      virtualIp6Status_(std::move(virtualIp6Status)),
      kernelIntfDir_(std::move(kernelIntfDir)),
      intfAddrVrfTable_(std::move(intfAddrVrfTable)),
      virtualIpReactor_(*this, virtualIpStatus_),
      virtualIp6Reactor_(*this, virtualIp6Status_),
      kernelReactor_(*this, kernelIntfDir_),
      tableReactor_(*this, intfAddrVrfTable_) {}

void IntfAddrVrfTableSm::handleInitialized() {
    allIntfAddrWithMaskIs();
    if (smConfig_.intfCleanupDelay != 0.0) {
        intfCleanupSmIs({smConfig_.intfCleanupDelay, smConfig_.taskPriority},
                        Zin::make<IntfCleanupParent>(*this), intfCleanupBacklogIs(), vrfName_,
                        scheduler_);
    }
    deferredIntfAddSmIs({smConfig_.deferredIntfAddDelay, smConfig_.taskPriority},
                        Zin::make<DeferredIntfAddParent>(*this), deferredIntfAddBacklogIs(),
                        vrfName_, scheduler_);
    handleIpIntfStatusAll();
    handleIp6IntfStatusAll();
    handleVirtualIpAll();
    handleVirtualIp6All();
    // The backlogs and tasks are there: now addresses may come.
    if (intfAddrVrfTable_) {
        Zin::Turn turn;
        turn.run([this] { bindVrfIpIntfStatus(); });
        turn.run([this] { bindVrfIp6IntfStatus(); });
    }
}

void IntfAddrVrfTableSm::handleDestruction() {
    Zin::Turn turn;
    // The interfaces' machines withdraw their addresses while the tasks are still there.
    turn.run([this] { ipIntfStatusSmDelAll(); });
    turn.run([this] { ip6IntfStatusSmDelAll(); });
    turn.run([this] { deferredIntfAddSmDel(); });
    turn.run([this] { intfCleanupSmDel(); });
    virtualIpReactor_.notifierIs(nullptr);
    virtualIp6Reactor_.notifierIs(nullptr);
    kernelReactor_.notifierIs(nullptr);
    tableReactor_.notifierIs(nullptr);
    addrReactor_.notifierIs(nullptr);
    ipReactor_.notifierIs(nullptr);
    ip6Reactor_.notifierIs(nullptr);
}

void IntfAddrVrfTableSm::hasNotificationActiveIs(bool active) {
    if (active == hasNotificationActive()) {
        return;
    }
    BaseOutputSm::hasNotificationActiveIs(active);
    virtualIpReactor_.hasNotificationActiveIs(active);
    virtualIp6Reactor_.hasNotificationActiveIs(active);
    kernelReactor_.hasNotificationActiveIs(active);
    tableReactor_.hasNotificationActiveIs(active);
    addrReactor_.hasNotificationActiveIs(active);
    ipReactor_.hasNotificationActiveIs(active);
    ip6Reactor_.hasNotificationActiveIs(active);
    if (intfCleanupSm()) {
        intfCleanupSm()->hasNotificationActiveIs(active);
    }
    if (deferredIntfAddSm()) {
        deferredIntfAddSm()->hasNotificationActiveIs(active);
    }
    for (auto const& member : ipIntfStatusSm()) {
        member.value->hasNotificationActiveIs(active);
    }
    for (auto const& member : ip6IntfStatusSm()) {
        member.value->hasNotificationActiveIs(active);
    }
}

void IntfAddrVrfTableSm::vrfIpIntfStatusIs(Zin::Ptr<Ip::VrfIpIntfStatus const> const& status) {
    if (vrfIpIntfStatus() == status) {
        return;
    }
    ipReactor_.notifierIs(status);
    if (vrfIpIntfStatus()) {
        handleIpIntfStatusAll();
    } else {
        // An observer of what leaves may bring the input back: then the rest of the machines stay.
        Zin::handleAll(ipIntfStatusSm(), [this](auto const& intfId) {
            if (!vrfIpIntfStatus()) {
                ipIntfStatusSmDel(intfId);
            }
        });
    }
}

void IntfAddrVrfTableSm::vrfIp6IntfStatusIs(Zin::Ptr<Ip6::VrfIp6IntfStatus const> const& status) {
    if (vrfIp6IntfStatus() == status) {
        return;
    }
    ip6Reactor_.notifierIs(status);
    if (vrfIp6IntfStatus()) {
        handleIp6IntfStatusAll();
    } else {
        // An observer of what leaves may bring the input back: then the rest of the machines stay.
        Zin::handleAll(ip6IntfStatusSm(), [this](auto const& intfId) {
            if (!vrfIp6IntfStatus()) {
                ip6IntfStatusSmDel(intfId);
            }
        });
    }
}

void IntfAddrVrfTableSm::handleVrfIpIntfStatus() {
    if (vrfIpIntfStatus()) {
        handleIpIntfStatusAll();
    }
}

void IntfAddrVrfTableSm::handleIpIntfStatusAll() {
    trace8("vrfIpIntfStatus {}", vrfIpIntfStatus());
    if (auto const status = vrfIpIntfStatus()) {
        Zin::handleAll(status->ipIntfStatus(),
                       [this](auto const& intfId) { handleIpIntfStatus(intfId); });
    }
}

void IntfAddrVrfTableSm::handleIpIntfStatus(Nimb::IntfId const& intfId) {
    if (retired()) {
        return;
    }
    trace8("on {}", intfId);
    auto const currentStatus = [&] {
        return vrfIpIntfStatus() ? vrfIpIntfStatus()->ipIntfStatus(intfId) : nullptr;
    };
    if (auto const sm = ipIntfStatusSm(intfId); sm && sm->ipIntfStatus() == currentStatus()) {
        return;  // told twice of one status: its machine goes on
    }
    // The old status' addresses leave before the new one's come. An observer of their leaving may
    // have changed the status once more, and that may have been answered.
    ipIntfStatusSmDel(intfId);
    auto const status = currentStatus();
    if (status && !ipIntfStatusSm(intfId)) {
        ipIntfStatusSmIs(status, Zin::make<AfIntfStatusParent>(*this), allIntfAddrWithMask_);
    }
}

void IntfAddrVrfTableSm::handleVrfIp6IntfStatus() {
    if (vrfIp6IntfStatus()) {
        handleIp6IntfStatusAll();
    }
}

void IntfAddrVrfTableSm::handleIp6IntfStatusAll() {
    trace8("vrfI6IntfStatus {}", vrfIp6IntfStatus());
    if (auto const status = vrfIp6IntfStatus()) {
        Zin::handleAll(status->intfStatus(),
                       [this](auto const& intfId) { handleIp6IntfStatus(intfId); });
    }
}

void IntfAddrVrfTableSm::handleIp6IntfStatus(Nimb::IntfId const& intfId) {
    if (retired()) {
        return;
    }
    trace8("on {}", intfId);
    auto const currentStatus = [&] {
        return vrfIp6IntfStatus() ? vrfIp6IntfStatus()->intfStatus(intfId) : nullptr;
    };
    if (auto const sm = ip6IntfStatusSm(intfId); sm && sm->ip6IntfStatus() == currentStatus()) {
        return;  // told twice of one status: its machine goes on
    }
    // The old status' addresses leave before the new one's come. An observer of their leaving may
    // have changed the status once more, and that may have been answered.
    ip6IntfStatusSmDel(intfId);
    auto const status = currentStatus();
    if (status && !ip6IntfStatusSm(intfId)) {
        ip6IntfStatusSmIs(status, Zin::make<AfIntfStatusParent>(*this), allIntfAddrWithMask_);
    }
}

namespace {

// The machine of the status' interface, made unless it is there with these very arguments.
template <class Sms, class Status, class... Rest>
auto statusSmIs(Sms& sms, char const* attribute, Status const& status, Rest const&... rest) {
    Nimb::IntfId const intfId = Zin::notNull(attribute, status.get())->intfId();
    auto sm = sms(intfId);
    if (!sm) {
        return sms.make(intfId, status, rest...);
    }
    if (!sm->builtFrom(status, rest...)) {
        throw Zin::ReinstantiationError(attribute);
    }
    return sm;
}

}  // namespace

Zin::Ptr<IntfAddrVrfTableSm::IpIntfStatusSm> IntfAddrVrfTableSm::ipIntfStatusSmIs(
    Zin::Ptr<Ip::IpIntfStatus const> const& status, AfParent const& parent,
    Zin::Ptr<AllIntfAddrWithMask> const& all) {
    return statusSmIs(ipIntfStatusSm_, "ipIntfStatus", status, parent, all);
}

Zin::Ptr<IntfAddrVrfTableSm::Ip6IntfStatusSm> IntfAddrVrfTableSm::ip6IntfStatusSmIs(
    Zin::Ptr<Ip6::IntfStatus const> const& status, AfParent const& parent,
    Zin::Ptr<AllIntfAddrWithMask> const& all) {
    return statusSmIs(ip6IntfStatusSm_, "ip6IntfStatus", status, parent, all);
}

// A machine that goes asks for its interface's clean-up, and then withdraws what it published. The
// clean-up may be carried out at once: its observers hear of it when all is withdrawn, so that what
// they publish for the interface then is new.
template <class Sms>
auto IntfAddrVrfTableSm::smDel(Sms& sms, Nimb::IntfId const& intfId) {
    decltype(sms.del(intfId)) gone;
    holdingTable([&] { gone = sms.del(intfId); });
    return gone;
}

Zin::Ptr<IntfAddrVrfTableSm::IpIntfStatusSm> IntfAddrVrfTableSm::ipIntfStatusSmDel(
    Nimb::IntfId const& intfId) {
    return smDel(ipIntfStatusSm_, intfId);
}

Zin::Ptr<IntfAddrVrfTableSm::Ip6IntfStatusSm> IntfAddrVrfTableSm::ip6IntfStatusSmDel(
    Nimb::IntfId const& intfId) {
    return smDel(ip6IntfStatusSm_, intfId);
}

void IntfAddrVrfTableSm::ipIntfStatusSmDelAll() {
    Zin::handleAll(ipIntfStatusSm(), [this](auto const& intfId) { ipIntfStatusSmDel(intfId); });
}

void IntfAddrVrfTableSm::ip6IntfStatusSmDelAll() {
    Zin::handleAll(ip6IntfStatusSm(), [this](auto const& intfId) { ip6IntfStatusSmDel(intfId); });
}

Zin::Ptr<AllIntfAddrWithMask> const& IntfAddrVrfTableSm::allIntfAddrWithMaskIs() {
    if (!allIntfAddrWithMask_) {
        allIntfAddrWithMask_ = allIntfAddrWithMaskFactory();
        addrReactor_.notifierIs(allIntfAddrWithMask_);
    }
    return allIntfAddrWithMask_;
}

Zin::Ptr<AllIntfAddrWithMask> IntfAddrVrfTableSm::allIntfAddrWithMaskDel() {
    addrReactor_.notifierIs(nullptr);
    return std::move(allIntfAddrWithMask_);
}

Zin::Ptr<IntfAddrVrfTableSm::IntfCleanupBacklog> const& IntfAddrVrfTableSm::intfCleanupBacklogIs() {
    if (!intfCleanupBacklog_) {
        intfCleanupBacklog_ = IntfAddrVrfTableImpl::intfCleanupBacklogFactory();
    }
    return intfCleanupBacklog_;
}

Zin::Ptr<IntfAddrVrfTableSm::DeferredIntfAddBacklog> const&
IntfAddrVrfTableSm::deferredIntfAddBacklogIs() {
    if (!deferredIntfAddBacklog_) {
        deferredIntfAddBacklog_ = IntfAddrVrfTableImpl::deferredIntfAddBacklogFactory();
    }
    return deferredIntfAddBacklog_;
}

Zin::Ptr<IntfAddrVrfTableSm::IntfCleanupSm> const& IntfAddrVrfTableSm::intfCleanupSmIs(
    IntfCleanupSmConfig const& config, CleanupParent const& parent,
    Zin::Ptr<IntfCleanupBacklog> const& backlog, L3::VrfName const& vrfName,
    Scheduler const& scheduler) {
    return intfCleanupSm_.is(config, parent, backlog, vrfName, scheduler);
}

Zin::Ptr<IntfAddrVrfTableSm::DeferredIntfAddSm> const& IntfAddrVrfTableSm::deferredIntfAddSmIs(
    DeferredIntfAddSmConfig const& config, DeferredParent const& parent,
    Zin::Ptr<DeferredIntfAddBacklog> const& backlog, L3::VrfName const& vrfName,
    Scheduler const& scheduler) {
    return deferredIntfAddSm_.is(config, parent, backlog, vrfName, scheduler);
}

Zin::Ptr<IntfAddrVrfTableSm> intfAddrVrfTableSmFactory(
    L3::VrfName const& vrfName, Nimb::NamespaceName const& networkNamespace,
    IntfAddrVrfTableSmConfig const& smConfig, Zin::Ptr<Velk::TaskScheduler> const& scheduler,
    Zin::Ptr<VirtualIp::VirtualIpStatus const> const& virtualIpStatus,
    Zin::Ptr<VirtualIp::VirtualIp6Status const> const& virtualIp6Status,
    Zin::Ptr<Interface::DeviceIntfStatusDir const> const& kernelIntfDir,
    Zin::Ptr<IntfAddrVrfTable> const& intfAddrVrfTable) {
    return Zin::make<IntfAddrVrfTableSm>(vrfName, networkNamespace, smConfig, scheduler,
                                         virtualIpStatus, virtualIp6Status, kernelIntfDir,
                                         intfAddrVrfTable);
}

}  // namespace IpLib
