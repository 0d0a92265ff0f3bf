// Fills the address table of one VRF.
//
//   in     Ip::VrfIpIntfStatus, Ip6::VrfIp6IntfStatus (taken from the table): a machine for each
//              interface publishes its addresses into AllIntfAddrWithMask (InterfaceMachines.h)
//          Interface::DeviceIntfStatusDir: which interfaces the kernel has; the rows of one that it
//              has no more are cleaned up, and come back with it
//          VirtualIp::VirtualIpStatus, VirtualIp6Status: virtual addresses, of all VRFs
//   out    IntfAddrVrfTable: rows, by-address index, subnet sets, link-local rows
//              (AddressPlacement.h)
//   tasks  IntfCleanupSm: removes the rows of an interface that went, after intfCleanupDelay
//              (InterfaceCleanups.h)
//          DeferredIntfAddSm: tries addresses in conflict again, after deferredIntfAddDelay
//              (DeferredAdds.h)
//
// One address:
//
//     unpublished --published, kernel has it--> admitted <--retried-- deferred
//          ^              '--another interface has it or its subnet----^
//          '--withdrawn, or its interface's clean-up carried out--'
//
// Handlers record at once what has changed, with the facts of the moment (published or not and how,
// device there), and hand it on as a change of the table. Those are carried out whole, one after
// the other, in the order in which they were made, also where an observer of the table makes some
// from within a notification (IpLib/IntfAddrVrfTableTypes/TableChanges.h).
//
// Invariant, outside of turns: a key is in the deferred backlog only while AllIntfAddrWithMask has
// it, or while a clean-up of its interface is pending, which takes it along.
//
// Owned by IntfAddrVrfTableSmManager. Destroying it stops all updates and drops what its tasks had
// pending.
#pragma once

#include <optional>
#include <utility>

#include "IpLib/IntfAddrVrfTableSm/AddressPlacement.h"
#include "IpLib/IntfAddrVrfTableSm/DeferredAdds.h"
#include "IpLib/IntfAddrVrfTableSm/InputReactors.h"
#include "IpLib/IntfAddrVrfTableSm/InterfaceCleanups.h"
#include "IpLib/IntfAddrVrfTableSm/InterfaceMachines.h"
#include "IpLib/IntfAddrVrfTableSm/KniKernelHistory.h"
#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrVrfTableSmConfig.h"
#include "Nimb/NamespaceName.h"
#include "Velk/BaseOutputSm.h"

namespace IpLib {

class IntfAddrVrfTableSm : public Velk::BaseOutputSm, private Pell::Traced<"IntfAddrVrfTableSm"> {
public:
    using IntfCleanupSm = IntfAddrVrfTableImpl::IntfCleanupSm;
    using IntfCleanupSmConfig = IntfAddrVrfTableImpl::IntfCleanupSmConfig;
    using IntfCleanupBacklog = IntfAddrVrfTableImpl::IntfCleanupBacklog;
    using DeferredIntfAddSm = IntfAddrVrfTableImpl::DeferredIntfAddSm;
    using DeferredIntfAddSmConfig = IntfAddrVrfTableImpl::DeferredIntfAddSmConfig;
    using DeferredIntfAddBacklog = IntfAddrVrfTableImpl::DeferredIntfAddBacklog;
    using IpMachines = IntfAddrVrfTableImpl::InterfaceMachines<IntfAddrVrfTableImpl::IpFamily>;
    using Ip6Machines = IntfAddrVrfTableImpl::InterfaceMachines<IntfAddrVrfTableImpl::Ip6Family>;
    using AllAddresses = Zin::Ptr<AllIntfAddrWithMask>;
    using AfParent = Zin::Ptr<IntfAddrVrfTableImpl::AfIntfStatusParentInterface>;
    using CleanupParent = Zin::Ptr<IntfAddrVrfTableImpl::IntfCleanupParentInterface>;
    using DeferredParent = Zin::Ptr<IntfAddrVrfTableImpl::DeferredIntfAddParentInterface>;
    using Scheduler = Zin::Ptr<Velk::TaskScheduler>;

    // The status inputs, the directory and the table may be null: what is not there is not watched.
    // A null scheduler raises Zin::NullArgumentError, a delay that is not finite Zin::RangeError.
    IntfAddrVrfTableSm(L3::VrfName vrfName, Nimb::NamespaceName networkNamespace,
                       IntfAddrVrfTableSmConfig const& smConfig, Scheduler scheduler,
                       Zin::Ptr<VirtualIp::VirtualIpStatus const> virtualIpStatus,
                       Zin::Ptr<VirtualIp::VirtualIp6Status const> virtualIp6Status,
                       Zin::Ptr<Interface::DeviceIntfStatusDir const> kernelIntfDir,
                       Zin::Ptr<IntfAddrVrfTable> intfAddrVrfTable);

    L3::VrfName const& vrfName() const { return vrfName_; }
    Nimb::NamespaceName const& networkNamespace() const { return networkNamespace_; }
    IntfAddrVrfTableSmConfig const& smConfig() const { return smConfig_; }
    Scheduler const& scheduler() const { return scheduler_; }
    Zin::Ptr<VirtualIp::VirtualIpStatus const> const& virtualIpStatus() const {
        return virtualIpStatus_;
    }
    Zin::Ptr<VirtualIp::VirtualIp6Status const> const& virtualIp6Status() const {
        return virtualIp6Status_;
    }
    Zin::Ptr<Interface::DeviceIntfStatusDir const> const& kernelIntfDir() const {
        return kernelIntfDir_;
    }
    Zin::Ptr<IntfAddrVrfTable> const& intfAddrVrfTable() const { return intfAddrVrfTable_; }

    auto const& kniKernelHistory() const { return kniKernelHistory_; }

    void dumpState(Zin::Ptr<Velk::DumpContext const> const& context,
                   std::uint32_t indent) const override;

    // Mutes or unmutes all reactors and children together.
    void hasNotificationActiveIs(bool active) override;

    // The status inputs. Null takes the machines of all interfaces away; Del forgets the input and
    // leaves them.
    auto const& vrfIpIntfStatus() const { return ipMachines_.input(); }
    void vrfIpIntfStatusIs(IpMachines::Input const& status) { ipMachines_.setInput(status); }
    void vrfIpIntfStatusDel() { ipMachines_.forgetInput(); }
    auto const& vrfIp6IntfStatus() const { return ip6Machines_.input(); }
    void vrfIp6IntfStatusIs(Ip6Machines::Input const& status) { ip6Machines_.setInput(status); }
    void vrfIp6IntfStatusDel() { ip6Machines_.forgetInput(); }

    // The machines of the interfaces. A null status raises Zin::NullArgumentError; other arguments
    // than those of the machine that is there, Zin::ReinstantiationError.
    auto const& ipIntfStatusSm() const { return ipMachines_.machines(); }
    auto ipIntfStatusSm(Nimb::IntfId const& intfId) const { return ipMachines_.machine(intfId); }
    auto ipIntfStatusSmIs(IpMachines::Status const& status, AfParent const& parent,
                          AllAddresses const& all) {
        return ipMachines_.findOrMake(status, parent, all);
    }
    auto ipIntfStatusSmDel(Nimb::IntfId const& intfId) { return ipMachines_.remove(intfId); }
    void ipIntfStatusSmDelAll() { ipMachines_.removeAll(); }

    auto const& ip6IntfStatusSm() const { return ip6Machines_.machines(); }
    auto ip6IntfStatusSm(Nimb::IntfId const& intfId) const { return ip6Machines_.machine(intfId); }
    auto ip6IntfStatusSmIs(Ip6Machines::Status const& status, AfParent const& parent,
                           AllAddresses const& all) {
        return ip6Machines_.findOrMake(status, parent, all);
    }
    auto ip6IntfStatusSmDel(Nimb::IntfId const& intfId) { return ip6Machines_.remove(intfId); }
    void ip6IntfStatusSmDelAll() { ip6Machines_.removeAll(); }

    // The other children: null where there is none; the clean-up two only with a delay. Is keeps a
    // child that was made of the same arguments. A machine whose working rows or backlogs were
    // taken away handles no more input; a new backlog needs a new task.
    AllAddresses const& allIntfAddrWithMask() const { return allIntfAddrWithMask_; }
    AllAddresses const& allIntfAddrWithMaskIs();
    AllAddresses allIntfAddrWithMaskDel();
    auto const& intfCleanupBacklog() const { return cleanups_.backlog().given(); }
    auto const& intfCleanupBacklogIs() { return cleanups_.backlog().make(); }
    auto intfCleanupBacklogDel() { return cleanups_.backlog().take(); }
    auto const& deferredIntfAddBacklog() const { return deferred_.backlog().given(); }
    auto const& deferredIntfAddBacklogIs() { return deferred_.backlog().make(); }
    auto deferredIntfAddBacklogDel() { return deferred_.backlog().take(); }
    auto const& intfCleanupSm() const { return cleanups_.sm()(); }
    Zin::Ptr<IntfCleanupSm> const& intfCleanupSmIs(IntfCleanupSmConfig const& config,
                                                   CleanupParent const& parent,
                                                   Zin::Ptr<IntfCleanupBacklog> const& backlog,
                                                   L3::VrfName const& vrfName,
                                                   Scheduler const& scheduler);
    auto intfCleanupSmDel() { return cleanups_.sm().del(); }
    auto const& deferredIntfAddSm() const { return deferred_.sm()(); }
    Zin::Ptr<DeferredIntfAddSm> const& deferredIntfAddSmIs(
        DeferredIntfAddSmConfig const& config, DeferredParent const& parent,
        Zin::Ptr<DeferredIntfAddBacklog> const& backlog, L3::VrfName const& vrfName,
        Scheduler const& scheduler);
    auto deferredIntfAddSmDel() { return deferred_.sm().del(); }

    // Handlers of the status inputs: they start an interface's machine and stop it.
    void handleTableVrfIpIntfStatus();
    void handleVrfIpIntfStatus();
    void handleIpIntfStatusAll() { ipMachines_.handleInput(); }
    void handleIpIntfStatus(Nimb::IntfId const& intfId) { ipMachines_.handleIntf(intfId); }
    void handleTableVrfIp6IntfStatus();
    void handleVrfIp6IntfStatus();
    void handleIp6IntfStatusAll() { ip6Machines_.handleInput(); }
    void handleIp6IntfStatus(Nimb::IntfId const& intfId) { ip6Machines_.handleIntf(intfId); }

    // Handlers of the kernel's interfaces: clean up what the kernel has no more, admit again what
    // it has once more.
    void handleKernelIntfAll();
    void handleKernelIntf(Nimb::IntfId const& intfId);

    // Handlers of the virtual addresses: those of other VRFs are passed over.
    void handleVirtualIpAll();
    void handleVirtualIp(VirtualIp::VrfIpWithMaskPair const& key);
    void handleVirtualIp6All();
    void handleVirtualIp6(VirtualIp::VrfIpPair const& key);

    // Admission: a working row was added, changed or removed; a row was added to or left the table.
    void handleIntfAddrWithMask(IntfAddrWithMaskKey const& key);
    void handleIntfAddrEntry(IntfAddrEntryContent const& content);
    void addIntfAddrWithMask(IntfAddrWithMaskKey const& key);
    // Tries a waiting address again. Asserts that it is still wanted.
    void processDeferredIntfAdd(IntfAddrWithMaskKey const& key);

    // Clean-up of what an interface has in one family: requested, carried out if pending, carried
    // out.
    void addDeferredCleanup(Nimb::IntfId const& intfId, Nimb::AddressFamily af);
    void processPendingDeferredCleanup(Nimb::IntfId const& intfId, Nimb::AddressFamily af);
    void processCleanupIntf(Nimb::IntfId const& intfId, Nimb::AddressFamily af);

    // Whether what the inputs say matters: not to a machine that is retired or was taken apart.
    bool handlesInput() const { return isWhole() && !retired(); }
    // Runs `step`; the changes of the table that it makes are carried out at its end.
    template <class Step>
    void recordFirst(Step&& step) {
        if (intfAddrVrfTable_) {
            Zin::Ptr<IntfAddrVrfTableSm> const alive(this);
            intfAddrVrfTable_->changes().recordFirst(step);
        } else {
            step();
        }
    }

protected:
    void handleInitialized() override;
    void handleDestruction() override;

private:
    bool isWhole() const;
    bool kernelIntfPresent(Nimb::IntfId const& intfId) const;
    // Hands a change of the table on. Without a table there is nothing to change.
    template <class Change>
    void change(IntfAddrEntryContent const& scope, Change&& change);
    // The same for a change that is about one address, which it is called with.
    template <class Change>
    void change(IntfAddrVrfTableImpl::Place const& place, Change const& change);
    // A change whose turn has come.
    template <class Change>
    void carryOut(Change const& change) const;
    void readmit(Nimb::IntfId const& intfId);

    void updateByIntfId(IntfAddrWithMaskKey const& key, bool isPresent);
    // What is decided about an address when the turn of its change has come.
    void decide(IntfAddrVrfTableImpl::Place const& place, bool isPublished, bool isDeprecated,
                bool isDevicePresent);
    void setVirtualIntfAddr(Nimb::IpGenAddr const& addr, bool isPresent);

    L3::VrfName const vrfName_;
    Nimb::NamespaceName const networkNamespace_;
    IntfAddrVrfTableSmConfig const smConfig_;
    Scheduler const scheduler_;
    Zin::Ptr<VirtualIp::VirtualIpStatus const> const virtualIpStatus_;
    Zin::Ptr<VirtualIp::VirtualIp6Status const> const virtualIp6Status_;
    Zin::Ptr<Interface::DeviceIntfStatusDir const> const kernelIntfDir_;
    Zin::Ptr<IntfAddrVrfTable> const intfAddrVrfTable_;

    IntfAddrVrfTableImpl::KniKernelHistory kniKernelHistory_;
    AllAddresses allIntfAddrWithMask_;
    IntfAddrVrfTableImpl::DeferredAdds deferred_;
    IntfAddrVrfTableImpl::AddressPlacement placement_;
    IntfAddrVrfTableImpl::InterfaceCleanups cleanups_;
    IpMachines ipMachines_{*this};
    Ip6Machines ip6Machines_{*this};

    // Undone first: nobody is heard once the members above begin to go.
    IntfAddrVrfTableImpl::VirtualIpReactor virtualIpReactor_;
    IntfAddrVrfTableImpl::VirtualIp6Reactor virtualIp6Reactor_;
    IntfAddrVrfTableImpl::KernelReactor kernelReactor_;
    IntfAddrVrfTableImpl::TableReactor tableReactor_;
    IntfAddrVrfTableImpl::AddrReactor addrReactor_{*this, nullptr};
};

Zin::Ptr<IntfAddrVrfTableSm> intfAddrVrfTableSmFactory(
    L3::VrfName const& vrfName, Nimb::NamespaceName const& networkNamespace,
    IntfAddrVrfTableSmConfig const& smConfig, Zin::Ptr<Velk::TaskScheduler> const& scheduler,
    Zin::Ptr<VirtualIp::VirtualIpStatus const> const& virtualIpStatus,
    Zin::Ptr<VirtualIp::VirtualIp6Status const> const& virtualIp6Status,
    Zin::Ptr<Interface::DeviceIntfStatusDir const> const& kernelIntfDir,
    Zin::Ptr<IntfAddrVrfTable> const& intfAddrVrfTable);

}  // namespace IpLib
