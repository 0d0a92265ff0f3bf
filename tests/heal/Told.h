// What an observer of all tables holds to be in them, by what it was told alone: that something is
// there now, or there no more.
#pragma once

#include <set>
#include <utility>

#include "Faults.h"
#include "router/Router.h"

namespace Healing {

class Told {
public:
    // Being told of what was known already is a fault, but of an address whose row a table was
    // given once more.
    void rowIs(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& row, bool present) {
        note(rows_, "row", vrf, row, present);
    }
    void rowFromAddrIs(L3::VrfName const& vrf, IpLib::IntfAddrEntryKey const& key, bool present) {
        if (!present || !byAddr_.contains({vrf, key})) {
            note(byAddr_, "address", vrf, key, present);
        }
    }
    void setFromSubnetIs(L3::VrfName const& vrf, Nimb::IpGenPrefix const& subnet, bool present) {
        note(subnets_, "subnet", vrf, subnet, present);
    }
    void linkLocalFromIntfIs(L3::VrfName const& vrf, Nimb::IntfId const& intfId, bool present) {
        note(linkLocals_, "link-local address", vrf, intfId, present);
    }

    // Of what was told, and of how that differs from what the tables have.
    void find(IpLib::AllIntfAddrVrfTable const& tables, Faults& faults) const;

private:
    template <class Key>
    using Keys = std::set<std::pair<L3::VrfName, Key>>;

    template <class Key>
    void note(Keys<Key>& keys, std::string_view what, L3::VrfName const& vrf, Key const& key,
              bool present) {
        bool const isNew =
            present ? keys.emplace(vrf, key).second : keys.erase(std::pair(vrf, key)) > 0;
        if (!isNew) {
            faults_.add(present ? "told there twice" : "told gone twice", "{}: {} {}", vrf, what,
                        key);
        }
    }

    Keys<IpLib::IntfAddrEntryContent> rows_;
    Keys<IpLib::IntfAddrEntryKey> byAddr_;
    Keys<Nimb::IpGenPrefix> subnets_;
    Keys<Nimb::IntfId> linkLocals_;
    Faults faults_;
};

}  // namespace Healing
