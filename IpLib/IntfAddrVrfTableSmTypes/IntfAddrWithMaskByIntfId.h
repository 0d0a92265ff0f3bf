// The addresses-with-mask of one interface: the keys of AllIntfAddrWithMask::all that are its.
// Tells nobody of its changes.
#pragma once

#include <cstdint>

#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrWithMaskKey.h"
#include "Velk/DumpContext.h"
#include "Zin/HashKey.h"
#include "Zin/HashMap2018.h"
#include "Zin/Ptr.h"

namespace IpLib {

class IntfAddrWithMaskByIntfId final : public Zin::Entity {
public:
    // The keys of the interface's addresses, of both families.
    using Keys = Zin::HashSet2018<IntfAddrWithMaskKey>;

    explicit IntfAddrWithMaskByIntfId(Nimb::IntfId const& intfId) : intfId_(intfId) {}

    Nimb::IntfId const& intfId() const { return intfId_; }

    Keys const& byIntfId() const { return byIntfId_; }
    bool byIntfIdHas(IntfAddrWithMaskKey const& key) const { return byIntfId_.contains(key); }
    void byIntfIdIs(IntfAddrWithMaskKey const& key) { byIntfId_.insert(key); }
    // Returns the key that was removed, or the default one.
    IntfAddrWithMaskKey byIntfIdDel(IntfAddrWithMaskKey const& key) {
        IntfAddrWithMaskKey const removed = key;
        return byIntfId_.erase(removed) ? removed : IntfAddrWithMaskKey();
    }
    void byIntfIdDelAll() { byIntfId_.clear(); }

    void dumpState(Zin::Ptr<Velk::DumpContext const> const& context, std::uint32_t indent) const;

private:
    Nimb::IntfId const intfId_;
    Keys byIntfId_{Zin::hashSeed() ^ 0xe5c92114};
};

Zin::Ptr<IntfAddrWithMaskByIntfId> intfAddrWithMaskByIntfIdFactory(Nimb::IntfId const& intfId);

}  // namespace IpLib
