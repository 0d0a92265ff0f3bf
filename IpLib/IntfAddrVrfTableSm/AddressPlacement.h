// The only writer of one VRF's table: admits addresses, withdraws them, and cleans up after whole
// interfaces.
//
//   in     one change after the other, of those that share anything (see
//              IpLib/IntfAddrVrfTableTypes/TableChanges.h)
//   out    the table; the addresses that have to wait
//
// The order of writes, which observers of the table see:
//
//     admission     row, by-address index, then its place in the subnet's set, or its interface's
//                       link-local entry
//     withdrawal    row, index, then the set or the link-local entry
//     clean-up      for each row: index, row; for each subnet: set, what is left of its rows; the
//                       link-local entry; at last what waits
//     virtual       row, index; and the other way round
//
// Invariant. The row of an address is in the rows, in the by-address index, and in one collection
// of its subnet's set; that of a link-local address is in no set, but it is its interface's
// link-local row. A subnet's set is of one interface. A virtual address has a row and its index
// entry, and nothing else. An address that has been admitted waits no longer. This does not hold of
// a deprecated address that outlives its subnet's set, nor of one address that comes with two
// prefix lengths or from two places of one interface; scenarios/known shows what comes of that.
//
// Observers hear of each write as it is made. They leave the collections alone: an admission, a
// withdrawal or a clean-up that finds its row, index entry or set changed meanwhile fails an
// invariant, and whatever else such an observer changes stays as it made it.
//
// Owned by the VRF's machine, in whose name it traces.
#pragma once

#include "IpLib/IntfAddrVrfTableSm/DeferredAdds.h"
#include "IpLib/IntfAddrVrfTableSm/Standing.h"
#include "Pell/Traced.h"

namespace IpLib::IntfAddrVrfTableImpl {

class AddressPlacement : private Pell::Traced<"IntfAddrVrfTableSm"> {
public:
    // Where there is no table (null), nothing may be asked here.
    AddressPlacement(IntfAddrVrfTable* table, DeferredAdds& deferred)
        : table_(table), deferred_(deferred) {}

    // Puts the address into the table, or into the backlog where something is in its way.
    void admit(Place const& place, bool deprecated);
    // Takes the address out of wherever it is.
    void withdraw(Place const& place);
    // Takes out everything that an interface has in one family, what waits included.
    void cleanUp(IntfFamily const& whose);

    void addVirtual(Nimb::IpGenAddr const& addr);
    void removeVirtual(Nimb::IpGenAddr const& addr);
    // The row of a virtual address.
    static IntfAddrEntryContent virtualRow(Nimb::IpGenAddr const& addr);

private:
    void admitIntfAddr(Place const& place, bool deprecated);
    void admitLinkLocal(Place const& place);
    // Returns the set, made where there was none.
    IntfAddrVrfTable::SetPtr putIntoSet(Place const& place, bool deprecated,
                                        IntfAddrVrfTable::SetPtr set,
                                        Zin::Ptr<IntfAddrEntry> const& entry);

    void withdrawIntfAddr(Place const& place);
    void withdrawFromSet(Place const& place);
    void withdrawLinkLocal(Place const& place);

    void cleanUpRow(IntfFamily const& whose, IntfAddrEntryKey const& key);
    void cleanUpSet(IntfFamily const& whose, Nimb::IpGenPrefix const& subnet);

    // Fails unless an observer has left alone what is being written.
    static void expectUntouched(bool isUntouched, IntfAddrEntryContent const& row);

    IntfAddrVrfTable* const table_;
    DeferredAdds& deferred_;
};

}  // namespace IpLib::IntfAddrVrfTableImpl
