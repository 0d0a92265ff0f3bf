// The addresses of one VRF that wait because another interface holds the address or its subnet, or
// because their interface has another link-local address. A set of keys, walked in the order in
// which they came to wait; the records stay in AllIntfAddrWithMask.
#pragma once

#include <cstdint>
#include <vector>

#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrWithMaskKey.h"
#include "IpLib/IntfAddrVrfTableTypes/IntfFamily.h"
#include "Velk/DumpContext.h"
#include "Zin/Collection.h"
#include "Zin/GroupIndex.h"

namespace IpLib::IntfAddrVrfTableImpl {

class DeferredIntfAddBacklog final : public Zin::Entity {
    struct KeyOwner {
        IntfFamily operator()(IntfAddrWithMaskKey const& key) const {
            return {key.intfId, key.addrWithMask.family()};
        }
    };
    using Keys = Zin::Collection<Zin::Untold, Zin::HashSet2018<IntfAddrWithMaskKey>,
                                 Zin::GroupIndex<KeyOwner, IntfFamily, IntfAddrWithMaskKey>>;

public:
    using Backlog = Keys::Map;

    Backlog const& backlog() const { return backlog_.map(); }
    bool backlogHas(IntfAddrWithMaskKey const& key) const { return backlog_.has(key); }
    void backlogIs(IntfAddrWithMaskKey const& key) { backlog_.insert(key); }
    // Returns the key that was removed, or the default one.
    IntfAddrWithMaskKey backlogDel(IntfAddrWithMaskKey const& key) { return backlog_.del(key); }
    void backlogDelAll() { backlog_.delAll(); }
    // The keys of one interface in one family; costs what it returns.
    std::vector<IntfAddrWithMaskKey> backlogKeysOf(IntfFamily const& intfFamily) const {
        return backlog_.index().keys(intfFamily);
    }

    void dumpState(Zin::Ptr<Velk::DumpContext const> const& context, std::uint32_t indent) const;

private:
    Keys backlog_{Zin::Untold(), Zin::hashSeed() ^ 0x2f90b8e4};
};

Zin::Ptr<DeferredIntfAddBacklog> deferredIntfAddBacklogFactory();

}  // namespace IpLib::IntfAddrVrfTableImpl
