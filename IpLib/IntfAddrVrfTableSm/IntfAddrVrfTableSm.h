// Fills the address table of one VRF.
//
//   in     Ip::VrfIpIntfStatus, Ip6::VrfIp6IntfStatus (taken from the table): a machine for each
//              interface publishes its addresses into AllIntfAddrWithMask
//          Interface::DeviceIntfStatusDir: which interfaces the kernel has; the rows of one that it
//              has no more are cleaned up, and come back with it
//          VirtualIp::VirtualIpStatus, VirtualIp6Status: virtual addresses, of all VRFs
//   out    IntfAddrVrfTable: rows, by-address index, subnet sets, link-local rows
//   tasks  IntfCleanupSm: removes the rows of an interface that went, after intfCleanupDelay
//          DeferredIntfAddSm: tries addresses in conflict again, after deferredIntfAddDelay
//
// One address:
//
//     unpublished --published, kernel has it--> admitted <--retried-- deferred
//          ^              '--another interface has it or its subnet----^
//          '--withdrawn, or its interface's clean-up carried out--'
//
// Invariants. A key is in the deferred backlog only while AllIntfAddrWithMask has it, or while a
// clean-up of its interface is pending, which takes it along. A row of an address is in the rows,
// in the by-address index, and in one collection of its subnet's set; one of a link-local address
// is in no set, but it is its interface's link-local row. A subnet's set is of one interface. A
// virtual address has a row and its by-address index, and nothing else. They do not hold of a
// deprecated address that outlives its subnet's set, nor of one address that comes with two prefix
// lengths or from two places of one interface; scenarios/known shows what comes of that.
//
// Owned by IntfAddrVrfTableSmManager. Inputs and table outlive it or not, as they please;
// destroying it stops all updates and drops what its tasks had pending.
#pragma once

#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

#include "Interface/DeviceIntfStatusDir.h"
#include "Ip/VrfIpIntfStatus.h"
#include "Ip6/VrfIp6IntfStatus.h"
#include "IpLib/IntfAddrVrfTableSm/DeferredIntfAddSm.h"
#include "IpLib/IntfAddrVrfTableSm/IntfCleanupSm.h"
#include "IpLib/IntfAddrVrfTableSm/Ip6IntfStatusSm.h"
#include "IpLib/IntfAddrVrfTableSm/IpIntfStatusSm.h"
#include "IpLib/IntfAddrVrfTableSm/KniKernelHistory.h"
#include "IpLib/IntfAddrVrfTableSmTypes/AllIntfAddrWithMask.h"
#include "IpLib/IntfAddrVrfTableSmTypes/DeferredIntfAddBacklog.h"
#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrVrfTableSmConfig.h"
#include "IpLib/IntfAddrVrfTableSmTypes/IntfCleanupBacklog.h"
#include "IpLib/IntfAddrVrfTableTypes/IntfAddrVrfTable.h"
#include "L3/VrfName.h"
#include "Nimb/NamespaceName.h"
#include "Pell/Traced.h"
#include "Velk/BaseOutputSm.h"
#include "VirtualIp/VirtualIp6Status.h"
#include "VirtualIp/VirtualIpStatus.h"
#include "Zin/Child.h"
#include "Zin/Children.h"
#include "Zin/Reactor.h"
#include "Zin/Turn.h"

namespace IpLib {

class IntfAddrVrfTableSm : public Velk::BaseOutputSm, private Pell::Traced<"IntfAddrVrfTableSm"> {
public:
    using IpIntfStatusSm = IntfAddrVrfTableImpl::IpIntfStatusSm;
    using Ip6IntfStatusSm = IntfAddrVrfTableImpl::Ip6IntfStatusSm;
    using IntfCleanupSm = IntfAddrVrfTableImpl::IntfCleanupSm;
    using IntfCleanupSmConfig = IntfAddrVrfTableImpl::IntfCleanupSmConfig;
    using IntfCleanupBacklog = IntfAddrVrfTableImpl::IntfCleanupBacklog;
    using DeferredIntfAddSm = IntfAddrVrfTableImpl::DeferredIntfAddSm;
    using DeferredIntfAddSmConfig = IntfAddrVrfTableImpl::DeferredIntfAddSmConfig;
    using DeferredIntfAddBacklog = IntfAddrVrfTableImpl::DeferredIntfAddBacklog;
    using KniKernelHistory = IntfAddrVrfTableImpl::KniKernelHistory;
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

    KniKernelHistory const& kniKernelHistory() const { return kniKernelHistory_; }

    // Inputs, table and working rows, then all children.
    void dumpState(Zin::Ptr<Velk::DumpContext const> const& context,
                   std::uint32_t indent) const override;

    // Mutes or unmutes all reactors and children together.
    void hasNotificationActiveIs(bool active) override;

    // The status inputs. Null takes the machines of all interfaces away; Del forgets the input and
    // leaves them.
    Zin::Ptr<Ip::VrfIpIntfStatus const> const& vrfIpIntfStatus() const {
        return ipReactor_.notifier();
    }
    void vrfIpIntfStatusIs(Zin::Ptr<Ip::VrfIpIntfStatus const> const& status);
    void vrfIpIntfStatusDel() { ipReactor_.notifierIs(nullptr); }
    Zin::Ptr<Ip6::VrfIp6IntfStatus const> const& vrfIp6IntfStatus() const {
        return ip6Reactor_.notifier();
    }
    void vrfIp6IntfStatusIs(Zin::Ptr<Ip6::VrfIp6IntfStatus const> const& status);
    void vrfIp6IntfStatusDel() { ip6Reactor_.notifierIs(nullptr); }

    // The machines of the interfaces. A null status raises Zin::NullArgumentError; other arguments
    // than those of the machine that is there, Zin::ReinstantiationError.
    auto const& ipIntfStatusSm() const { return ipIntfStatusSm_.map(); }
    Zin::Ptr<IpIntfStatusSm> ipIntfStatusSm(Nimb::IntfId const& intfId) const {
        return ipIntfStatusSm_(intfId);
    }
    Zin::Ptr<IpIntfStatusSm> ipIntfStatusSmIs(Zin::Ptr<Ip::IpIntfStatus const> const& status,
                                              AfParent const& parent,
                                              Zin::Ptr<AllIntfAddrWithMask> const& all);
    Zin::Ptr<IpIntfStatusSm> ipIntfStatusSmDel(Nimb::IntfId const& intfId);
    void ipIntfStatusSmDelAll();

    auto const& ip6IntfStatusSm() const { return ip6IntfStatusSm_.map(); }
    Zin::Ptr<Ip6IntfStatusSm> ip6IntfStatusSm(Nimb::IntfId const& intfId) const {
        return ip6IntfStatusSm_(intfId);
    }
    Zin::Ptr<Ip6IntfStatusSm> ip6IntfStatusSmIs(Zin::Ptr<Ip6::IntfStatus const> const& status,
                                                AfParent const& parent,
                                                Zin::Ptr<AllIntfAddrWithMask> const& all);
    Zin::Ptr<Ip6IntfStatusSm> ip6IntfStatusSmDel(Nimb::IntfId const& intfId);
    void ip6IntfStatusSmDelAll();

    // The other children: null where there is none. The clean-up two exist only where
    // intfCleanupDelay is not zero. Is keeps a child that was made of the same arguments. A machine
    // whose working rows or backlogs were taken away handles no more input.
    Zin::Ptr<AllIntfAddrWithMask> const& allIntfAddrWithMask() const {
        return allIntfAddrWithMask_;
    }
    Zin::Ptr<AllIntfAddrWithMask> const& allIntfAddrWithMaskIs();
    Zin::Ptr<AllIntfAddrWithMask> allIntfAddrWithMaskDel();
    Zin::Ptr<IntfCleanupBacklog> const& intfCleanupBacklog() const { return intfCleanupBacklog_; }
    Zin::Ptr<IntfCleanupBacklog> const& intfCleanupBacklogIs();
    Zin::Ptr<IntfCleanupBacklog> intfCleanupBacklogDel() { return std::move(intfCleanupBacklog_); }
    Zin::Ptr<DeferredIntfAddBacklog> const& deferredIntfAddBacklog() const {
        return deferredIntfAddBacklog_;
    }
    Zin::Ptr<DeferredIntfAddBacklog> const& deferredIntfAddBacklogIs();
    Zin::Ptr<DeferredIntfAddBacklog> deferredIntfAddBacklogDel() {
        return std::move(deferredIntfAddBacklog_);
    }
    Zin::Ptr<IntfCleanupSm> const& intfCleanupSm() const { return intfCleanupSm_(); }
    Zin::Ptr<IntfCleanupSm> const& intfCleanupSmIs(IntfCleanupSmConfig const& config,
                                                   CleanupParent const& parent,
                                                   Zin::Ptr<IntfCleanupBacklog> const& backlog,
                                                   L3::VrfName const& vrfName,
                                                   Scheduler const& scheduler);
    Zin::Ptr<IntfCleanupSm> intfCleanupSmDel() { return intfCleanupSm_.del(); }
    Zin::Ptr<DeferredIntfAddSm> const& deferredIntfAddSm() const { return deferredIntfAddSm_(); }
    Zin::Ptr<DeferredIntfAddSm> const& deferredIntfAddSmIs(
        DeferredIntfAddSmConfig const& config, DeferredParent const& parent,
        Zin::Ptr<DeferredIntfAddBacklog> const& backlog, L3::VrfName const& vrfName,
        Scheduler const& scheduler);
    Zin::Ptr<DeferredIntfAddSm> deferredIntfAddSmDel() { return deferredIntfAddSm_.del(); }

    // Handlers of the status inputs: they start an interface's machine and stop it.
    void handleVrfIpIntfStatus();
    void handleIpIntfStatusAll();
    void handleIpIntfStatus(Nimb::IntfId const& intfId);
    void handleVrfIp6IntfStatus();
    void handleIp6IntfStatusAll();
    void handleIp6IntfStatus(Nimb::IntfId const& intfId);

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

protected:
    void handleInitialized() override;
    void handleDestruction() override;

private:
    class VirtualIpReactor final
        : public Zin::Reactor<IntfAddrVrfTableSm, VirtualIp::VirtualIpStatus> {
    public:
        using Reactor::Reactor;

    private:
        void handleVirtualIp(VirtualIp::VrfIpWithMaskPair const& key) override {
            forward<&IntfAddrVrfTableSm::handleVirtualIp>(key);
        }
    };

    class VirtualIp6Reactor final
        : public Zin::Reactor<IntfAddrVrfTableSm, VirtualIp::VirtualIp6Status> {
    public:
        using Reactor::Reactor;

    private:
        void handleVirtualIp6(VirtualIp::VrfIpPair const& key) override {
            forward<&IntfAddrVrfTableSm::handleVirtualIp6>(key);
        }
    };

    class KernelReactor final
        : public Zin::Reactor<IntfAddrVrfTableSm, Interface::DeviceIntfStatusDir> {
    public:
        using Reactor::Reactor;

    private:
        void handleDeviceIntfStatus(Nimb::IntfId const& intfId) override {
            forward<&IntfAddrVrfTableSm::handleKernelIntf>(intfId);
        }
    };

    class IpReactor final : public Zin::Reactor<IntfAddrVrfTableSm, Ip::VrfIpIntfStatus> {
    public:
        using Reactor::Reactor;

    private:
        void handleIpIntfStatus(Nimb::IntfId const& intfId) override {
            forward<&IntfAddrVrfTableSm::handleIpIntfStatus>(intfId);
        }
    };

    class Ip6Reactor final : public Zin::Reactor<IntfAddrVrfTableSm, Ip6::VrfIp6IntfStatus> {
    public:
        using Reactor::Reactor;

    private:
        void handleIntfStatus(Nimb::IntfId const& intfId) override {
            forward<&IntfAddrVrfTableSm::handleIp6IntfStatus>(intfId);
        }
    };

    // The rows that go while the machine is torn down are its own doing, and so are the working
    // rows: these two are heard until the teardown is over.
    class TableReactor final : public Zin::Reactor<IntfAddrVrfTableSm, IntfAddrVrfTable> {
    public:
        using Reactor::Reactor;

    private:
        void handleVrfIpIntfStatus() override {
            forward<&IntfAddrVrfTableSm::bindVrfIpIntfStatus>();
        }
        void handleVrfIp6IntfStatus() override {
            forward<&IntfAddrVrfTableSm::bindVrfIp6IntfStatus>();
        }
        void handleIntfAddrEntry(IntfAddrEntryContent const& content) override {
            forwardDuringTeardown<&IntfAddrVrfTableSm::handleIntfAddrEntry>(content);
        }
    };

    class AddrReactor final : public Zin::Reactor<IntfAddrVrfTableSm, AllIntfAddrWithMask> {
    public:
        using Reactor::Reactor;

    private:
        void handleAll(IntfAddrWithMaskKey const& key) override {
            forwardDuringTeardown<&IntfAddrVrfTableSm::handleIntfAddrWithMask>(key);
        }
    };

    // What an address comes to in the table; see AddressAdmission.cpp and AddressWithdrawal.cpp.
    struct Place;

    void bindVrfIpIntfStatus() { vrfIpIntfStatusIs(intfAddrVrfTable_->vrfIpIntfStatus()); }
    void bindVrfIp6IntfStatus() { vrfIp6IntfStatusIs(intfAddrVrfTable_->vrfIp6IntfStatus()); }

    // One piece of work on the table at a time: what comes up while observers of the table are told
    // of another waits until that is done, in the order of its coming. A machine that its observers
    // bring down meanwhile drops what waits: the table is left to whoever comes after it.
    template <class Work>
    void write(Work work);
    // Does `step`; work on the table that comes up meanwhile waits for its end.
    template <class Step>
    void holdingTable(Step step);
    template <class Sms>
    auto smDel(Sms& sms, Nimb::IntfId const& intfId);

    // Decisions.
    void decide(IntfAddrWithMaskKey const& key);
    bool cleanupPending(Nimb::IntfId const& intfId, Nimb::AddressFamily af) const;
    bool kernelIntfPresent(Nimb::IntfId const& intfId) const;

    // Actions: the only writers of the table, of the view by interface and of the deferred backlog.
    void updateByIntfId(IntfAddrWithMaskKey const& key, bool isPresent);
    void readmit(Nimb::IntfId const& intfId);
    void addRecord(IntfAddrWithMask const& record);
    void addIntfAddr(IntfAddrWithMask const& record);
    void addIp6LinkLocal(IntfAddrWithMask const& record);
    void putIntoSet(IntfAddrWithMask const& record, Place const& place,
                    Zin::Ptr<IntfAddrEntry> const& entry);
    void defer(IntfAddrWithMaskKey const& key);
    void removeIntfAddrWithMask(IntfAddrWithMaskKey const& key);
    void removeIntfAddr(IntfAddrWithMaskKey const& key);
    void removeFromSet(Place const& place);
    void removeIp6LinkLocal(IntfAddrWithMaskKey const& key);
    void addVirtualIntfAddr(Nimb::IpGenAddr const& addr);
    void removeVirtualIntfAddr(Nimb::IpGenAddr const& addr);
    void cleanUp(IntfFamily const& whose);
    void cleanUpRows(IntfFamily const& whose);
    void cleanUpSets(IntfFamily const& whose);
    void cleanUpDeferred(IntfFamily const& whose);

    L3::VrfName const vrfName_;
    Nimb::NamespaceName const networkNamespace_;
    IntfAddrVrfTableSmConfig const smConfig_;
    Scheduler const scheduler_;
    Zin::Ptr<VirtualIp::VirtualIpStatus const> const virtualIpStatus_;
    Zin::Ptr<VirtualIp::VirtualIp6Status const> const virtualIp6Status_;
    Zin::Ptr<Interface::DeviceIntfStatusDir const> const kernelIntfDir_;
    Zin::Ptr<IntfAddrVrfTable> const intfAddrVrfTable_;

    KniKernelHistory kniKernelHistory_;
    Zin::Ptr<AllIntfAddrWithMask> allIntfAddrWithMask_;
    Zin::Ptr<IntfCleanupBacklog> intfCleanupBacklog_;
    Zin::Ptr<DeferredIntfAddBacklog> deferredIntfAddBacklog_;
    bool writing_ = false;
    std::vector<std::function<void()>> waitingWork_;
    Zin::Child<IntfCleanupSm> intfCleanupSm_;
    Zin::Child<DeferredIntfAddSm> deferredIntfAddSm_;
    Zin::Children<Nimb::IntfId, IpIntfStatusSm> ipIntfStatusSm_{0x7a2e91c4};
    Zin::Children<Nimb::IntfId, Ip6IntfStatusSm> ip6IntfStatusSm_{0xb35d0f68};

    // Undone first: nobody is heard once the members above begin to go.
    VirtualIpReactor virtualIpReactor_;
    VirtualIp6Reactor virtualIp6Reactor_;
    KernelReactor kernelReactor_;
    TableReactor tableReactor_;
    AddrReactor addrReactor_{*this, nullptr};
    IpReactor ipReactor_{*this, nullptr};
    Ip6Reactor ip6Reactor_{*this, nullptr};
};

template <class Work>
void IntfAddrVrfTableSm::write(Work work) {
    if (writing_) {
        waitingWork_.emplace_back(std::move(work));
    } else {
        holdingTable(std::move(work));
    }
}

template <class Step>
void IntfAddrVrfTableSm::holdingTable(Step step) {
    if (writing_) {
        step();
        return;
    }
    bool const tearingDown = retired();
    Zin::Turn turn;
    writing_ = true;
    turn.run(step);
    for (std::size_t i = 0; i < waitingWork_.size() && retired() == tearingDown; ++i) {
        turn.run(std::exchange(waitingWork_[i], nullptr));
    }
    waitingWork_.clear();
    writing_ = false;
}

Zin::Ptr<IntfAddrVrfTableSm> intfAddrVrfTableSmFactory(
    L3::VrfName const& vrfName, Nimb::NamespaceName const& networkNamespace,
    IntfAddrVrfTableSmConfig const& smConfig, Zin::Ptr<Velk::TaskScheduler> const& scheduler,
    Zin::Ptr<VirtualIp::VirtualIpStatus const> const& virtualIpStatus,
    Zin::Ptr<VirtualIp::VirtualIp6Status const> const& virtualIp6Status,
    Zin::Ptr<Interface::DeviceIntfStatusDir const> const& kernelIntfDir,
    Zin::Ptr<IntfAddrVrfTable> const& intfAddrVrfTable);

}  // namespace IpLib
