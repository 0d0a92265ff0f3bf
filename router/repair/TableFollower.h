// Follows the tables of a directory over their replacement, and tells each change of what they
// hold.
//
//   in     the directory and each table in it
//   out    for each member of a table's four collections: there it is, or it has gone
//
// A table that joins tells all that it holds when the turn is over in which it joined, by when its
// machine has filled it; one that is removed tells that all of it has gone. One that is replaced,
// by whomever, tells the differences alone: a row is the same if its content is, its interface
// included; an index entry if its row is, a set if its interface is. What has changed is told as
// gone, then as there again.
//
// What is told adds up for each observer: what has gone was there before, and what comes was not,
// unless its table was given it once more. Observers may change whatever they like meanwhile: that
// is told after what they are told of.
//
// Made before there are tables, and before the manager that fills them: what an old table's machine
// says on its way out is then nobody's news.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>

#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTable.h"
#include "Zin/Entity.h"
#include "Zin/Notifiee.h"
#include "router/repair/TableImage.h"

namespace Routing {

class TableFollower final : public Zin::Entity, private IpLib::AllIntfAddrVrfTable::Notifiee {
public:
    class Notifiee : public Zin::NotifieeOf<TableFollower> {
    public:
        // Another table, or none, is in the place of the one that was followed: all that this
        // changes, each of which is told by itself afterwards.
        virtual void handleReplacement(L3::VrfName const&, TableDifference const&) {}
        virtual void handleRow(L3::VrfName const&, IpLib::IntfAddrEntryContent const&,
                               bool /*present*/) {}
        virtual void handleRowFromAddr(L3::VrfName const&, IpLib::IntfAddrEntryKey const&,
                                       bool /*present*/) {}
        virtual void handleSetFromSubnet(L3::VrfName const&, Nimb::IpGenPrefix const&,
                                         bool /*present*/) {}
        virtual void handleLinkLocalFromIntf(L3::VrfName const&, Nimb::IntfId const&,
                                             bool /*present*/) {}
    };

    // The directory is empty yet.
    explicit TableFollower(Zin::Ptr<IpLib::AllIntfAddrVrfTable const> tables);
    ~TableFollower() override;

    Zin::NotifieeList<Notifiee>& notifieeList() const { return notifieeList_; }

private:
    class Followed;

    void handleIntfAddrVrfTable(L3::VrfName const& vrf) override;
    void catchUp(L3::VrfName const& vrf);

    // Tells all that is to be told, unless somebody does already.
    void tell();

    mutable Zin::NotifieeList<Notifiee> notifieeList_;
    std::map<L3::VrfName, std::unique_ptr<Followed>> followed_;
    std::deque<std::function<void()>> toTell_;
    bool telling_ = false;
};

Zin::Ptr<TableFollower> tableFollowerFactory(
    Zin::Ptr<IpLib::AllIntfAddrVrfTable const> const& tables);

}  // namespace Routing
