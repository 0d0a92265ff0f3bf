#include "router/repair/TableFollower.h"

#include <utility>

#include "Zin/Turn.h"

namespace Routing {

using IpLib::AllIntfAddrVrfTable;
using IpLib::IntfAddrVrfTable;

// One VRF. While it follows, it tells what its table tells. When another table comes it falls
// behind, until the turn is over, and then tells what has changed against what it told last.
class TableFollower::Followed final : public IntfAddrVrfTable::Notifiee {
public:
    Followed(TableFollower& follower, L3::VrfName vrf)
        : follower_(follower), vrf_(std::move(vrf)) {}

    // Whether this is the first step of falling behind.
    bool fallBehind() {
        if (told_) {
            return false;
        }
        told_ = std::make_unique<TableImage>(notifier().get());
        notifierIs(nullptr);
        return true;
    }

    void catchUp(Zin::Ptr<IntfAddrVrfTable const> table) {
        auto const told = std::exchange(told_, nullptr);
        notifierIs(std::move(table));
        leaveToTell(told->differenceTo(notifier().get()));
    }

    bool hasTable() const { return bool(notifier()); }

private:
    void handleIntfAddrEntry(IpLib::IntfAddrEntryContent const& row) override {
        relay<&TableFollower::Notifiee::handleRow>(row, notifier()->intfAddrEntryHas(row));
    }
    void handleIntfAddrEntryFromAddr(IpLib::IntfAddrEntryKey const& key) override {
        relay<&TableFollower::Notifiee::handleRowFromAddr>(
            key, notifier()->intfAddrEntryFromAddrHas(key));
    }
    void handleIntfAddrEntrySetFromSubnet(Nimb::IpGenPrefix const& subnet) override {
        relay<&TableFollower::Notifiee::handleSetFromSubnet>(
            subnet, notifier()->intfAddrEntrySetFromSubnetHas(subnet));
    }
    void handleLlIntfAddrEntryFromIntfId(Nimb::IntfId const& intfId) override {
        relay<&TableFollower::Notifiee::handleLinkLocalFromIntf>(
            intfId, notifier()->llIntfAddrEntryFromIntfIdHas(intfId));
    }

    template <auto handler, class Key>
    void relay(Key const& key, bool present) {
        leaveToTell<handler>(key, present);
        follower_.tell();
    }

    // In the order in which a machine takes things away, and in which it puts them there.
    void leaveToTell(TableDifference const& difference) {
        using Observer = TableFollower::Notifiee;
        follower_.toTell_.emplace_back([&follower = follower_, vrf = vrf_, difference] {
            follower.notifieeList_.notify(follower, &Observer::handleReplacement, vrf, difference);
        });
        leaveAllToTell<&Observer::handleRowFromAddr>(difference.rowsFromAddr.gone, false);
        leaveAllToTell<&Observer::handleRow>(difference.rows.gone, false);
        leaveAllToTell<&Observer::handleSetFromSubnet>(difference.setsFromSubnet.gone, false);
        leaveAllToTell<&Observer::handleLinkLocalFromIntf>(difference.linkLocalFromIntf.gone,
                                                           false);
        leaveAllToTell<&Observer::handleRow>(difference.rows.come, true);
        leaveAllToTell<&Observer::handleRowFromAddr>(difference.rowsFromAddr.come, true);
        leaveAllToTell<&Observer::handleSetFromSubnet>(difference.setsFromSubnet.come, true);
        leaveAllToTell<&Observer::handleLinkLocalFromIntf>(difference.linkLocalFromIntf.come, true);
    }

    template <auto handler, class Key>
    void leaveAllToTell(std::vector<Key> const& keys, bool present) {
        for (Key const& key : keys) {
            leaveToTell<handler>(key, present);
        }
    }

    template <auto handler, class Key>
    void leaveToTell(Key const& key, bool present) {
        follower_.toTell_.emplace_back([&follower = follower_, vrf = vrf_, key, present] {
            follower.notifieeList_.notify(follower, handler, vrf, key, present);
        });
    }

    TableFollower& follower_;
    L3::VrfName const vrf_;
    std::unique_ptr<TableImage> told_;
};

TableFollower::TableFollower(Zin::Ptr<AllIntfAddrVrfTable const> tables) {
    notifierIs(std::move(tables));
}

TableFollower::~TableFollower() = default;

void TableFollower::handleIntfAddrVrfTable(L3::VrfName const& vrf) {
    auto& followed = followed_[vrf];
    if (!followed) {
        followed = std::make_unique<Followed>(*this, vrf);
    }
    if (followed->fallBehind()) {
        Zin::Turn::atEnd([alive = Zin::Ptr<TableFollower>(this), vrf] { alive->catchUp(vrf); });
    }
}

void TableFollower::catchUp(L3::VrfName const& vrf) {
    auto const found = followed_.find(vrf);
    found->second->catchUp(notifier()->intfAddrVrfTable(vrf));
    if (!found->second->hasTable()) {
        followed_.erase(found);
    }
    tell();
}

void TableFollower::tell() {
    if (std::exchange(telling_, true)) {
        return;
    }
    // Whoever fails in being told, it is not the machine that is at work.
    Zin::FaultDomain const outside("");
    Zin::Turn turn;
    while (!toTell_.empty()) {
        auto const next = std::move(toTell_.front());
        toTell_.pop_front();
        turn.run(next);
    }
    telling_ = false;
}

Zin::Ptr<TableFollower> tableFollowerFactory(Zin::Ptr<AllIntfAddrVrfTable const> const& tables) {
    return Zin::make<TableFollower>(tables);
}

}  // namespace Routing
