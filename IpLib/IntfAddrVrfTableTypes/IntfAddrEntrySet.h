// The rows of one table whose addresses lie in one subnet, the deprecated ones apart. Passive: the
// state machine says which of the two collections a row belongs to, and moves it between them.
//
// The interface is the one whose address made the set. Both collections are walked in ascending
// order of their keys.
#pragma once

#include <cstdint>

#include "IpLib/IntfAddrVrfTableTypes/IntfAddrEntry.h"
#include "Nimb/IntfId.h"
#include "Nimb/IpGenPrefix.h"
#include "Velk/DumpContext.h"
#include "Zin/Collection.h"
#include "Zin/RbTreeMap.h"

namespace IpLib {

class IntfAddrEntrySet final : public Zin::Entity {
public:
    // Rows are co-owned, and sorted by the keys that they have themselves.
    using RowPtr = Zin::Ptr<IntfAddrEntry const>;
    using Rows = Zin::RbTreeMap<IntfAddrEntryKey, RowPtr, KeyOfRow>;

    class Notifiee : public Zin::NotifieeOf<IntfAddrEntrySet> {
    public:
        virtual void handleIntfAddrEntry(IntfAddrEntryKey const&) {}
        virtual void handleDeprecatedIntfAddrEntry(IntfAddrEntryKey const&) {}
    };

    IntfAddrEntrySet(Nimb::IntfId const& intfId, Nimb::IpGenPrefix const& subnet)
        : intfId_(intfId), subnet_(subnet) {}

    Nimb::IntfId const& intfId() const { return intfId_; }
    Nimb::IpGenPrefix const& subnet() const { return subnet_; }

    // The usable rows. A null row raises Zin::NullArgumentError.
    Rows const& intfAddrEntry() const { return intfAddrEntry_.map(); }
    RowPtr intfAddrEntry(IntfAddrEntryKey const& key) const { return intfAddrEntry_(key); }
    bool intfAddrEntryHas(IntfAddrEntryKey const& key) const { return intfAddrEntry_.has(key); }
    void intfAddrEntryIs(RowPtr const& entry);
    RowPtr intfAddrEntryDel(IntfAddrEntryKey const& key) { return intfAddrEntry_.del(key); }
    void intfAddrEntryDelAll() { intfAddrEntry_.delAll(); }

    // The rows whose IPv6 address is deprecated. A null row raises Zin::NullArgumentError.
    Rows const& deprecatedIntfAddrEntry() const { return deprecatedIntfAddrEntry_.map(); }
    RowPtr deprecatedIntfAddrEntry(IntfAddrEntryKey const& key) const {
        return deprecatedIntfAddrEntry_(key);
    }
    bool deprecatedIntfAddrEntryHas(IntfAddrEntryKey const& key) const {
        return deprecatedIntfAddrEntry_.has(key);
    }
    void deprecatedIntfAddrEntryIs(RowPtr const& entry);
    RowPtr deprecatedIntfAddrEntryDel(IntfAddrEntryKey const& key) {
        return deprecatedIntfAddrEntry_.del(key);
    }
    void deprecatedIntfAddrEntryDelAll() { deprecatedIntfAddrEntry_.delAll(); }

    // The usable rows, then the deprecated ones, which have a blank before the closing parenthesis.
    void dumpState(Zin::Ptr<Velk::DumpContext const> const& context, std::uint32_t indent) const;

    Zin::NotifieeList<Notifiee>& notifieeList() const { return notifieeList_; }

private:
    mutable Zin::NotifieeList<Notifiee> notifieeList_;
    Nimb::IntfId const intfId_;
    Nimb::IpGenPrefix const subnet_;
    Zin::OrderedCollection<&Notifiee::handleIntfAddrEntry, IntfAddrEntryKey, RowPtr, KeyOfRow>
        intfAddrEntry_{*this};
    Zin::OrderedCollection<&Notifiee::handleDeprecatedIntfAddrEntry, IntfAddrEntryKey, RowPtr,
                           KeyOfRow>
        deprecatedIntfAddrEntry_{*this};
};

Zin::Ptr<IntfAddrEntrySet> intfAddrEntrySetFactory(Nimb::IntfId const& intfId,
                                                   Nimb::IpGenPrefix const& subnet);

}  // namespace IpLib
