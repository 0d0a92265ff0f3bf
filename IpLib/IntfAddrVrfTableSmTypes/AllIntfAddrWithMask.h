// Every address that is effectively on an interface of one VRF, as the per-interface machines
// publish them, and a view of them by interface.
//
// `all` is observable. `byIntfId` is not, and the mutators of `all` leave it alone: the VRF's state
// machine keeps it in step as it reacts to `all`; it holds no empty record.
//
// Owned by the VRF's state machine; its per-interface machines hold pointers to it. Nobody but the
// VRF's machine should answer to it by changing the inputs: a change that comes between the parts
// of another, as when a status is replaced, is undone by the rest of that.
#pragma once

#include <cstdint>
#include <vector>

#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrWithMask.h"
#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrWithMaskByIntfId.h"
#include "IpLib/IntfAddrVrfTableTypes/IntfFamily.h"
#include "Velk/DumpContext.h"
#include "Zin/Collection.h"

namespace IpLib {

class AllIntfAddrWithMask final : public Zin::Entity {
public:
    // The interfaces that have addresses, each with the keys of its own.
    using ByIntfId = Zin::HashMap2018<Nimb::IntfId, Zin::Ptr<IntfAddrWithMaskByIntfId>>;

    class Notifiee : public Zin::NotifieeOf<AllIntfAddrWithMask> {
    public:
        virtual void handleAll(IntfAddrWithMaskKey const&) {}
    };

    // The addresses, each a record by its key.
    auto const& all() const { return all_.map(); }
    // The default record if there is none.
    IntfAddrWithMask all(IntfAddrWithMaskKey const& key) const { return all_(key); }
    bool allHas(IntfAddrWithMaskKey const& key) const { return all_.has(key); }
    // Publishing an address again as it is tells nobody.
    void allIs(IntfAddrWithMask const& record) { all_.set(record.key(), record); }
    // Returns the record that was removed, or the default one.
    IntfAddrWithMask allDel(IntfAddrWithMaskKey const& key) { return all_.del(key); }
    void allDelAll() { all_.delAll(); }

    ByIntfId const& byIntfId() const { return byIntfId_; }
    // Null if there is none.
    Zin::Ptr<IntfAddrWithMaskByIntfId> byIntfId(Nimb::IntfId const& intfId) const;
    bool byIntfIdHas(Nimb::IntfId const& intfId) const { return byIntfId_.contains(intfId); }
    // The interface's record, a new and empty one if there was none.
    Zin::Ptr<IntfAddrWithMaskByIntfId> byIntfIdIs(Nimb::IntfId const& intfId);
    Zin::Ptr<IntfAddrWithMaskByIntfId> byIntfIdDel(Nimb::IntfId const& intfId) {
        return byIntfId_.take(intfId);
    }
    void byIntfIdDelAll() { byIntfId_.clear(); }
    // The keys of one interface in one family, as the view has them.
    std::vector<IntfAddrWithMaskKey> keysOf(IntfFamily const& whose) const;

    void dumpState(Zin::Ptr<Velk::DumpContext const> const& context, std::uint32_t indent) const;

    Zin::NotifieeList<Notifiee>& notifieeList() const { return notifieeList_; }

private:
    struct KeyOfRecord {
        IntfAddrWithMaskKey const& operator()(IntfAddrWithMask const& record) const {
            return record.key();
        }
    };

    mutable Zin::NotifieeList<Notifiee> notifieeList_;
    Zin::HashCollection<&Notifiee::handleAll, IntfAddrWithMaskKey, IntfAddrWithMask, Zin::NoIndex,
                        KeyOfRecord>
        all_{*this, 0x5aff5bf6};
    ByIntfId byIntfId_{Zin::hashSeed() ^ 0xd7f83c59};
};

Zin::Ptr<AllIntfAddrWithMask> allIntfAddrWithMaskFactory();

}  // namespace IpLib
