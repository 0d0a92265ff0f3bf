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
#include "Tremlog/Record.h"
#include "Velk/Module.h"
#include "VirtualIp/Module.h"
#include "Zin/ForEachKey.h"
#include "Zin/Module.h"
#include "Zin/Turn.h"

namespace IpLib {

using IntfAddrVrfTableImpl::DeferredIntfAddParent;
using IntfAddrVrfTableImpl::IntfCleanupParent;
using IntfAddrVrfTableImpl::Place;

namespace {

// For those who ask by an attribute's name that all of it be handled again.
template <void (IntfAddrVrfTableSm::*handler)()>
void handleAgain(Zin::Entity& sm) {
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
                   handleAgain<&IntfAddrVrfTableSm::handleVirtualIpAll>},
                  {"virtualIp6Status", "VirtualIp::VirtualIp6Status",
                   handleAgain<&IntfAddrVrfTableSm::handleVirtualIp6All>},
                  {"kernelIntfDir", "Interface::DeviceIntfStatusDir",
                   handleAgain<&IntfAddrVrfTableSm::handleKernelIntfAll>},
                  {"intfAddrVrfTable", "IpLib::IntfAddrVrfTable"},
                  {"vrfIpIntfStatus", "Ip::VrfIpIntfStatus",
                   handleAgain<&IntfAddrVrfTableSm::handleVrfIpIntfStatus>},
                  {"vrfIp6IntfStatus", "Ip6::VrfIp6IntfStatus",
                   handleAgain<&IntfAddrVrfTableSm::handleVrfIp6IntfStatus>},
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
      deferred_(*this, intfAddrVrfTable_.get()),
      placement_(intfAddrVrfTable_.get(), deferred_),
      cleanups_(*this, intfAddrVrfTable_.get(), smConfig_.intfCleanupDelay, *scheduler_,
                placement_),
      virtualIpReactor_(*this, virtualIpStatus_),
      virtualIp6Reactor_(*this, virtualIp6Status_),
      kernelReactor_(*this, kernelIntfDir_),
      tableReactor_(*this, intfAddrVrfTable_) {}

void IntfAddrVrfTableSm::handleInitialized() {
    if (intfAddrVrfTable_) {
        intfAddrVrfTable_->fillerIs(this);
    }
    allIntfAddrWithMaskIs();
    if (cleanups_.hasDelay()) {
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
        turn.run([this] { handleTableVrfIpIntfStatus(); });
        turn.run([this] { handleTableVrfIp6IntfStatus(); });
    }
}

void IntfAddrVrfTableSm::handleDestruction() {
    Zin::Turn turn;
    // The interfaces' machines withdraw their addresses while the tasks are still there.
    turn.run([this] { ipIntfStatusSmDelAll(); });
    turn.run([this] { ip6IntfStatusSmDelAll(); });
    turn.run([this] { deferredIntfAddSmDel(); });
    turn.run([this] { intfCleanupSmDel(); });
    if (intfAddrVrfTable_ && intfAddrVrfTable_->filler() == this) {
        intfAddrVrfTable_->fillerIs(nullptr);
    }
}

void IntfAddrVrfTableSm::hasNotificationActiveIs(bool active) {
    // The end of a teardown takes the reactors off their lists, also those that are mute already.
    if (active == hasNotificationActive() && !retired()) {
        return;
    }
    BaseOutputSm::hasNotificationActiveIs(active);
    virtualIpReactor_.hasNotificationActiveIs(active);
    virtualIp6Reactor_.hasNotificationActiveIs(active);
    kernelReactor_.hasNotificationActiveIs(active);
    tableReactor_.hasNotificationActiveIs(active);
    addrReactor_.hasNotificationActiveIs(active);
    ipMachines_.inputHasNotificationActiveIs(active);
    ip6Machines_.inputHasNotificationActiveIs(active);
    if (intfCleanupSm()) {
        intfCleanupSm()->hasNotificationActiveIs(active);
    }
    if (deferredIntfAddSm()) {
        deferredIntfAddSm()->hasNotificationActiveIs(active);
    }
    ipMachines_.machinesHaveNotificationActiveIs(active);
    ip6Machines_.machinesHaveNotificationActiveIs(active);
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

Zin::Ptr<IntfAddrVrfTableSm::IntfCleanupSm> const& IntfAddrVrfTableSm::intfCleanupSmIs(
    IntfCleanupSmConfig const& config, CleanupParent const& parent,
    Zin::Ptr<IntfCleanupBacklog> const& backlog, L3::VrfName const& vrfName,
    Scheduler const& scheduler) {
    return cleanups_.sm().is(config, parent, backlog, vrfName, scheduler);
}

Zin::Ptr<IntfAddrVrfTableSm::DeferredIntfAddSm> const& IntfAddrVrfTableSm::deferredIntfAddSmIs(
    DeferredIntfAddSmConfig const& config, DeferredParent const& parent,
    Zin::Ptr<DeferredIntfAddBacklog> const& backlog, L3::VrfName const& vrfName,
    Scheduler const& scheduler) {
    return deferred_.sm().is(config, parent, backlog, vrfName, scheduler);
}

void IntfAddrVrfTableSm::handleTableVrfIpIntfStatus() {
    vrfIpIntfStatusIs(intfAddrVrfTable_->vrfIpIntfStatus());
}

void IntfAddrVrfTableSm::handleTableVrfIp6IntfStatus() {
    vrfIp6IntfStatusIs(intfAddrVrfTable_->vrfIp6IntfStatus());
}

void IntfAddrVrfTableSm::handleVrfIpIntfStatus() {
    if (vrfIpIntfStatus()) {
        handleIpIntfStatusAll();
    }
}

void IntfAddrVrfTableSm::handleVrfIp6IntfStatus() {
    if (vrfIp6IntfStatus()) {
        handleIp6IntfStatusAll();
    }
}

void IntfAddrVrfTableSm::handleKernelIntfAll() {
    trace8("");
    if (!smConfig_.ignoreKernelInterfaceState && kernelIntfDir_) {
        Zin::forEachKey(kernelIntfDir_->deviceIntfStatus(),
                        [this](auto const& intfId) { handleKernelIntf(intfId); });
    }
}

void IntfAddrVrfTableSm::handleKernelIntf(Nimb::IntfId const& intfId) {
    bool const isPresent = kernelIntfPresent(intfId);
    Tremlog::record<"kernel interface for {} isPresent {}">(intfId, isPresent);
    trace3("kernel interface for {} isPresent {}", intfId, isPresent);
    kniKernelHistory_.changed(scheduler_->now(), intfId, isPresent);
    if (smConfig_.ignoreKernelInterfaceState) {
        return;
    }
    recordFirst([&] {
        for (auto const af : {Nimb::AddressFamily::ipv4, Nimb::AddressFamily::ipv6}) {
            if (isPresent) {
                processPendingDeferredCleanup(intfId, af);
            } else {
                // Its addresses stay published: they wait for the device.
                addDeferredCleanup(intfId, af);
            }
        }
        if (isPresent) {
            readmit(intfId);
        }
    });
}

void IntfAddrVrfTableSm::readmit(Nimb::IntfId const& intfId) {
    if (!isWhole()) {
        return;
    }
    if (auto const published = allIntfAddrWithMask_->byIntfId(intfId)) {
        for (auto const& key : published->byIntfId()) {
            addIntfAddrWithMask(key.key);
        }
    }
}

bool IntfAddrVrfTableSm::kernelIntfPresent(Nimb::IntfId const& intfId) const {
    return kernelIntfDir_ && kernelIntfDir_->deviceIntfStatusHas(intfId);
}

void IntfAddrVrfTableSm::handleVirtualIpAll() {
    trace8("");
    if (virtualIpStatus_) {
        Zin::forEachKey(virtualIpStatus_->virtualIp(),
                        [this](auto const& key) { handleVirtualIp(key); });
    }
}

void IntfAddrVrfTableSm::handleVirtualIp(VirtualIp::VrfIpWithMaskPair const& key) {
    if (!handlesInput()) {
        return;
    }
    Nimb::IpGenAddr const addr(key.addrWithMask().address());
    trace8("vrf {} ip {}", key.vrfName(), addr);
    if (key.vrfName() == vrfName_) {
        setVirtualIntfAddr(addr, virtualIpStatus_ && virtualIpStatus_->virtualIpHas(key));
    }
}

void IntfAddrVrfTableSm::handleVirtualIp6All() {
    trace8("");
    if (virtualIp6Status_) {
        Zin::forEachKey(virtualIp6Status_->virtualIp6(),
                        [this](auto const& key) { handleVirtualIp6(key); });
    }
}

void IntfAddrVrfTableSm::handleVirtualIp6(VirtualIp::VrfIpPair const& key) {
    if (!handlesInput()) {
        return;
    }
    Nimb::IpGenAddr const addr(key.addr());
    trace8("vrf {} ip {}", key.vrfName(), addr);
    if (key.vrfName() == vrfName_) {
        setVirtualIntfAddr(addr, virtualIp6Status_ && virtualIp6Status_->virtualIp6Has(key));
    }
}

void IntfAddrVrfTableSm::setVirtualIntfAddr(Nimb::IpGenAddr const& addr, bool isPresent) {
    change(placement_.virtualRow(addr), [this, addr, isPresent] {
        if (isPresent) {
            trace8({"vrf {} ip {}", "addVirtualIntfAddr"}, vrfName_, addr);
            placement_.addVirtual(addr);
        } else {
            trace8({"vrf {} ip {}", "removeVirtualIntfAddr"}, vrfName_, addr);
            placement_.removeVirtual(addr);
        }
    });
}

void IntfAddrVrfTableSm::handleIntfAddrWithMask(IntfAddrWithMaskKey const& key) {
    if (!isWhole()) {
        return;
    }
    auto const* const record = allIntfAddrWithMask_->all().find(key);
    bool const isPublished = record != nullptr;
    bool const isDeprecated = isPublished && record->deprecated();
    updateByIntfId(key, isPublished);
    bool const isDevicePresent =
        smConfig_.ignoreKernelInterfaceState || kernelIntfPresent(key.intfId);
    change(Place(key), [this, isPublished, isDeprecated, isDevicePresent](Place const& place) {
        decide(place, isPublished, isDeprecated, isDevicePresent);
    });
}

void IntfAddrVrfTableSm::updateByIntfId(IntfAddrWithMaskKey const& key, bool isPresent) {
    if (isPresent) {
        allIntfAddrWithMask_->byIntfIdIs(key.intfId)->byIntfIdIs(key);
        return;
    }
    if (auto const record = allIntfAddrWithMask_->byIntfId(key.intfId)) {
        record->byIntfIdDel(key);
        if (record->byIntfId().empty()) {
            allIntfAddrWithMask_->byIntfIdDel(key.intfId);
        }
    }
}

void IntfAddrVrfTableSm::decide(Place const& place, bool isPublished, bool isDeprecated,
                                bool isDevicePresent) {
    bool const cleanupPresent = cleanups_.isPending({place.intfId(), place.addr().family()});
    trace8({"ip {} on {} isPresent {} cleanupPresent {}", "handleIntfAddrWithMask"}, place.addr(),
           place.intfId(), isPublished, cleanupPresent);
    if (isPublished) {
        if (isDevicePresent) {
            placement_.admit(place, isDeprecated);
        } else {
            // It is admitted when the kernel's interface comes up.
            trace8({"kernel interface not present for {}", "handleIntfAddrWithMask"},
                   place.intfId());
        }
    } else if (!cleanupPresent) {
        placement_.withdraw(place);
    } else {
        trace8({"deferring removal of ip {} on {} as deferred cleanup is present",
                "handleIntfAddrWithMask"},
               place.addr(), place.intfId());
    }
}

void IntfAddrVrfTableSm::handleIntfAddrEntry(IntfAddrEntryContent const& content) {
    // A row that has come is the last one.
    auto const newest = intfAddrVrfTable_->intfAddrEntry().last();
    bool const isPresent = (newest != std::default_sentinel && newest->key == content) ||
                           intfAddrVrfTable_->intfAddrEntryHas(content);
    trace8("ip {} on {} isVirtual {} isPresent {}", content.key.addr, content.intfId,
           content.key.virtualIp, isPresent);
    // What waited for the row that left gets its turn.
    if (!isPresent) {
        deferred_.handleRowLeft();
    }
}

void IntfAddrVrfTableSm::addIntfAddrWithMask(IntfAddrWithMaskKey const& key) {
    bool const deprecated = isWhole() && allIntfAddrWithMask_->all(key).deprecated();
    change(Place(key),
           [this, deprecated](Place const& place) { placement_.admit(place, deprecated); });
}

void IntfAddrVrfTableSm::processDeferredIntfAdd(IntfAddrWithMaskKey const& key) {
    if (!isWhole()) {
        return;
    }
    if (!allIntfAddrWithMask_->allHas(key)) {
        fail("all has key", "{} missing in all collection", key);
    }
    addIntfAddrWithMask(key);
}

void IntfAddrVrfTableSm::addDeferredCleanup(Nimb::IntfId const& intfId, Nimb::AddressFamily af) {
    change({{}, intfId, {}}, [this, whose = IntfFamily{intfId, af}] { cleanups_.request(whose); });
}

void IntfAddrVrfTableSm::processPendingDeferredCleanup(Nimb::IntfId const& intfId,
                                                       Nimb::AddressFamily af) {
    change({{}, intfId, {}}, [this, whose = IntfFamily{intfId, af}] { cleanups_.settle(whose); });
}

void IntfAddrVrfTableSm::processCleanupIntf(Nimb::IntfId const& intfId, Nimb::AddressFamily af) {
    change({{}, intfId, {}}, [this, whose = IntfFamily{intfId, af}] { placement_.cleanUp(whose); });
}

bool IntfAddrVrfTableSm::isWhole() const {
    return allIntfAddrWithMask_ && deferredIntfAddBacklog() &&
           (intfCleanupBacklog() || !cleanups_.hasDelay());
}

template <class Change>
void IntfAddrVrfTableSm::carryOut(Change const& change) const {
    Zin::FaultDomain const domain(vrfName_.bytes());
    if (isWhole()) {
        change();
    }
}

template <class Change>
void IntfAddrVrfTableSm::change(IntfAddrEntryContent const& scope, Change&& change) {
    if (intfAddrVrfTable_) {
        intfAddrVrfTable_->changes().submit(
            *this, scope,
            [this, change = std::forward<Change>(change)] { carryOut([&] { change(); }); });
    }
}

template <class Change>
void IntfAddrVrfTableSm::change(Place const& place, Change const& change) {
    // Most are carried out at once, and need no copy of the place.
    struct Carried {
        IntfAddrVrfTableSm& sm;
        Place const& place;
        Change const& change;

        void operator()() const {
            sm.carryOut([this] { change(place); });
        }
    };
    struct Kept {
        IntfAddrVrfTableSm& sm;
        Place place;
        Change change;

        explicit Kept(Carried const& carried)
            : sm(carried.sm), place(carried.place), change(carried.change) {}
        void operator()() const { Carried{sm, place, change}(); }
    };
    if (intfAddrVrfTable_) {
        intfAddrVrfTable_->changes().template submit<Kept>(*this, place.content,
                                                           Carried{*this, place, change});
    }
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
