// The address tables of all VRFs, by VRF name. The embedding agent adds and removes tables; the
// library fills the tables that are here, and other agents find them here.
#pragma once

#include "IpLib/IntfAddrVrfTableTypes/IntfAddrVrfTable.h"
#include "L3/VrfName.h"
#include "Zin/Collection.h"

namespace IpLib {

class AllIntfAddrVrfTable final : public Zin::Entity {
public:
    class Notifiee : public Zin::NotifieeOf<AllIntfAddrVrfTable> {
    public:
        virtual void handleIntfAddrVrfTable(L3::VrfName const&) {}
    };

    // The tables by VRF, in no order that may be relied on.
    auto const& intfAddrVrfTable() const { return intfAddrVrfTable_.map(); }
    // Null if there is none.
    Zin::Ptr<IntfAddrVrfTable> intfAddrVrfTable(L3::VrfName const& vrf) const {
        return intfAddrVrfTable_(vrf);
    }
    bool intfAddrVrfTableHas(L3::VrfName const& vrf) const { return intfAddrVrfTable_.has(vrf); }
    // The table that is there already changes nothing, another one replaces it, null removes it.
    void intfAddrVrfTableIs(L3::VrfName const& vrf, Zin::Ptr<IntfAddrVrfTable> const& table) {
        intfAddrVrfTable_.setOrRemove(vrf, table);
    }
    // Returns the table that was removed, or null.
    Zin::Ptr<IntfAddrVrfTable> intfAddrVrfTableDel(L3::VrfName const& vrf) {
        return intfAddrVrfTable_.del(vrf);
    }
    void intfAddrVrfTableDelAll() { intfAddrVrfTable_.delAll(); }

    // Every table, in order of the VRFs' names.
    void dumpState(Zin::Ptr<Velk::DumpContext const> const& context, std::uint32_t indent) const;

    Zin::NotifieeList<Notifiee>& notifieeList() const { return notifieeList_; }

private:
    mutable Zin::NotifieeList<Notifiee> notifieeList_;
    Zin::HashCollection<&Notifiee::handleIntfAddrVrfTable, L3::VrfName, Zin::Ptr<IntfAddrVrfTable>>
        intfAddrVrfTable_{*this, 0x81d4c35e};
};

Zin::Ptr<AllIntfAddrVrfTable> allIntfAddrVrfTableFactory();

}  // namespace IpLib
