// The addresses of one VRF: the library's output.
//
//   rows      intfAddrEntry, by content
//   indexes   intfAddrEntryFromAddr: row by address (by interface too, for link-local ones)
//             intfAddrEntrySetFromSubnet: the rows of a subnet
//             llIntfAddrEntryFromIntfId: the IPv6 link-local row of an interface
//   inputs    the VRF's IPv4 and IPv6 interface status, for those who fill and ask the table
//
// Passive: every mutator changes the one collection that it names and tells that collection's
// observers; the VRF's state machine keeps the four consistent. Removing what is absent returns
// null and tells nobody.
//
// An observer may do whatever it likes to the inputs, and may ask the table anything: what it
// changes comes after the change that it is told of (see changes()). It leaves the collections to
// the machine: an admission, a withdrawal or a clean-up that finds what it writes changed fails an
// invariant, and whatever else an observer changes stays as it made it.
//
// Created and destroyed by the embedding agent; rows are co-owned by whoever holds them.
#pragma once

#include <cstdint>
#include <vector>

#include "Ip/VrfIpIntfStatus.h"
#include "Ip6/VrfIp6IntfStatus.h"
#include "IpLib/IntfAddrVrfTableTypes/IntfAddrEntry.h"
#include "IpLib/IntfAddrVrfTableTypes/IntfAddrEntrySet.h"
#include "IpLib/IntfAddrVrfTableTypes/IntfFamily.h"
#include "IpLib/IntfAddrVrfTableTypes/SubnetIndex.h"
#include "IpLib/IntfAddrVrfTableTypes/TableChanges.h"
#include "Velk/DumpContext.h"
#include "Zin/Attribute.h"
#include "Zin/Collection.h"
#include "Zin/GroupIndex.h"

namespace IpLib {

class IntfAddrVrfTable final : public Zin::Entity {
public:
    // The table co-owns its rows and sets; whoever asks for one may keep it.
    using RowPtr = Zin::Ptr<IntfAddrEntry const>;
    using SetPtr = Zin::Ptr<IntfAddrEntrySet>;

    class Notifiee : public Zin::NotifieeOf<IntfAddrVrfTable> {
    public:
        virtual void handleVrfIpIntfStatus() {}
        virtual void handleVrfIp6IntfStatus() {}
        virtual void handleIntfAddrEntry(IntfAddrEntryContent const&) {}
        virtual void handleIntfAddrEntryFromAddr(IntfAddrEntryKey const&) {}
        virtual void handleIntfAddrEntrySetFromSubnet(Nimb::IpGenPrefix const&) {}
        virtual void handleLlIntfAddrEntryFromIntfId(Nimb::IntfId const&) {}
    };

    // The inputs; null until set.
    Zin::Ptr<Ip::VrfIpIntfStatus const> const& vrfIpIntfStatus() const {
        return vrfIpIntfStatus_();
    }
    void vrfIpIntfStatusIs(Zin::Ptr<Ip::VrfIpIntfStatus const> status) {
        vrfIpIntfStatus_.is(std::move(status));
    }
    Zin::Ptr<Ip6::VrfIp6IntfStatus const> const& vrfIp6IntfStatus() const {
        return vrfIp6IntfStatus_();
    }
    void vrfIp6IntfStatusIs(Zin::Ptr<Ip6::VrfIp6IntfStatus const> status) {
        vrfIp6IntfStatus_.is(std::move(status));
    }

    // The rows. Is returns the row of that content, made if it is new.
    auto const& intfAddrEntry() const { return intfAddrEntry_.map(); }
    Zin::Ptr<IntfAddrEntry> intfAddrEntry(IntfAddrEntryContent const& content) const {
        return intfAddrEntry_(content);
    }
    bool intfAddrEntryHas(IntfAddrEntryContent const& content) const {
        return intfAddrEntry_.has(content);
    }
    Zin::Ptr<IntfAddrEntry> intfAddrEntryIs(IntfAddrEntryContent const& content);
    Zin::Ptr<IntfAddrEntry> intfAddrEntryDel(IntfAddrEntryContent const& content) {
        return intfAddrEntry_.del(content);
    }
    void intfAddrEntryDelAll() { intfAddrEntry_.delAll(); }

    // The rows by their key. A null row raises Zin::NullArgumentError.
    auto const& intfAddrEntryFromAddr() const { return intfAddrEntryFromAddr_.map(); }
    RowPtr intfAddrEntryFromAddr(IntfAddrEntryKey const& key) const {
        return intfAddrEntryFromAddr_(key);
    }
    bool intfAddrEntryFromAddrHas(IntfAddrEntryKey const& key) const {
        return intfAddrEntryFromAddr_.has(key);
    }
    void intfAddrEntryFromAddrIs(RowPtr const& entry);
    RowPtr intfAddrEntryFromAddrDel(IntfAddrEntryKey const& key) {
        return intfAddrEntryFromAddr_.del(key);
    }
    void intfAddrEntryFromAddrDelAll() { intfAddrEntryFromAddr_.delAll(); }
    // The keys of the rows that one interface has in one family; costs what it returns.
    std::vector<IntfAddrEntryKey> intfAddrEntryKeysOf(IntfFamily const& intfFamily) const {
        return intfAddrEntryFromAddr_.index().keys(intfFamily);
    }

    // The sets by their subnet. A null set raises Zin::NullArgumentError.
    auto const& intfAddrEntrySetFromSubnet() const { return intfAddrEntrySetFromSubnet_.map(); }
    SetPtr intfAddrEntrySetFromSubnet(Nimb::IpGenPrefix const& subnet) const {
        return intfAddrEntrySetFromSubnet_(subnet);
    }
    bool intfAddrEntrySetFromSubnetHas(Nimb::IpGenPrefix const& subnet) const {
        return intfAddrEntrySetFromSubnet_.has(subnet);
    }
    void intfAddrEntrySetFromSubnetIs(SetPtr const& set);
    SetPtr intfAddrEntrySetFromSubnetDel(Nimb::IpGenPrefix const& subnet) {
        return intfAddrEntrySetFromSubnet_.del(subnet);
    }
    void intfAddrEntrySetFromSubnetDelAll() { intfAddrEntrySetFromSubnet_.delAll(); }
    // The subnets whose sets are one interface's, in one family; costs what it returns.
    std::vector<Nimb::IpGenPrefix> subnetsOf(IntfFamily const& intfFamily) const {
        return intfAddrEntrySetFromSubnet_.index().keys(intfFamily);
    }

    // Whether any subnet has that length; at most that of the family's addresses.
    bool hasSubnetOfLength(Nimb::AddressFamily family, std::uint8_t length) const {
        return intfAddrEntrySetFromSubnet_.index().lengths().has(family, length);
    }

    // The link-local rows by their interface. A null row raises Zin::NullArgumentError.
    auto const& llIntfAddrEntryFromIntfId() const { return llIntfAddrEntryFromIntfId_.map(); }
    RowPtr llIntfAddrEntryFromIntfId(Nimb::IntfId const& intfId) const {
        return llIntfAddrEntryFromIntfId_(intfId);
    }
    bool llIntfAddrEntryFromIntfIdHas(Nimb::IntfId const& intfId) const {
        return llIntfAddrEntryFromIntfId_.has(intfId);
    }
    void llIntfAddrEntryFromIntfIdIs(RowPtr const& entry);
    RowPtr llIntfAddrEntryFromIntfIdDel(Nimb::IntfId const& intfId) {
        return llIntfAddrEntryFromIntfId_.del(intfId);
    }
    void llIntfAddrEntryFromIntfIdDelAll() { llIntfAddrEntryFromIntfId_.delAll(); }

    // The row of the numerically lowest IPv6 address that the IPv6 status lists for the interface,
    // link-local ones left out. Null if there is none, or if that address has no row (yet): there
    // is no falling back to the next lowest.
    RowPtr lowestV6IntfAddrEntry(Nimb::IntfId const& srcIntfId) const;

    // How often rows, entries by address or sets have come, gone or been replaced; link-local
    // entries are not counted. Who has counted his own writes knows by this whether somebody else
    // wrote.
    std::uint32_t writes() const {
        return intfAddrEntry_.writes() + intfAddrEntryFromAddr_.writes() +
               intfAddrEntrySetFromSubnet_.writes();
    }

    // Through which the machines that fill the table write it.
    TableChanges& changes() { return changes_; }
    // The machine that began to fill it last; null when that has gone.
    Zin::Entity const* filler() const { return filler_; }
    void fillerIs(Zin::Entity const* machine) { filler_ = machine; }

    // The four collections, each member on a line, in the collection's own order; never cut.
    void dumpState(Zin::Ptr<Velk::DumpContext const> const& context, std::uint32_t indent) const;

    Zin::NotifieeList<Notifiee>& notifieeList() const { return notifieeList_; }

protected:
    void handleDestruction() override { intfAddrEntryDelAll(); }

private:
    struct RowOwner {
        IntfFamily operator()(IntfAddrEntryKey const& key, RowPtr const& row) const {
            return {row->intfId(), key.addr.family()};
        }
    };
    struct SetOwner {
        IntfFamily operator()(Nimb::IpGenPrefix const& subnet, SetPtr const& set) const {
            return {set->intfId(), subnet.family()};
        }
    };

    struct SubnetOfSet {
        Nimb::IpGenPrefix const& operator()(SetPtr const& set) const { return set->subnet(); }
    };

    mutable Zin::NotifieeList<Notifiee> notifieeList_;
    Zin::Attribute<&Notifiee::handleVrfIpIntfStatus, Zin::Ptr<Ip::VrfIpIntfStatus const>>
        vrfIpIntfStatus_{*this};
    Zin::Attribute<&Notifiee::handleVrfIp6IntfStatus, Zin::Ptr<Ip6::VrfIp6IntfStatus const>>
        vrfIp6IntfStatus_{*this};
    Zin::HashCollection<&Notifiee::handleIntfAddrEntry, IntfAddrEntryContent,
                        Zin::Ptr<IntfAddrEntry>, Zin::NoIndex, ContentOfRow>
        intfAddrEntry_{*this, 0x3b1f8d05};
    Zin::HashCollection<&Notifiee::handleIntfAddrEntryFromAddr, IntfAddrEntryKey, RowPtr,
                        Zin::GroupIndex<RowOwner, IntfFamily, IntfAddrEntryKey>, KeyOfRow>
        intfAddrEntryFromAddr_{*this, 0x90c2e67d};
    Zin::HashCollection<&Notifiee::handleIntfAddrEntrySetFromSubnet, Nimb::IpGenPrefix, SetPtr,
                        SubnetIndex<SetOwner>, SubnetOfSet>
        intfAddrEntrySetFromSubnet_{*this, 0x4e7a13b9};
    Zin::HashCollection<&Notifiee::handleLlIntfAddrEntryFromIntfId, Nimb::IntfId, RowPtr,
                        Zin::NoIndex, IntfIdOfRow>
        llIntfAddrEntryFromIntfId_{*this, 0xd5086fc2};
    TableChanges changes_{SharesInTable(this)};
    Zin::Entity const* filler_ = nullptr;
};

Zin::Ptr<IntfAddrVrfTable> intfAddrVrfTableFactory();

}  // namespace IpLib
