#include "Told.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace Healing {
namespace {

// `keysOf` takes a table's collection out of it.
template <class Keys, class CollectionOf>
void compare(std::string_view what, Keys const& told, IpLib::AllIntfAddrVrfTable const& tables,
             CollectionOf const& collectionOf, Faults& faults) {
    Keys there;
    for (auto const& table : tables.intfAddrVrfTable()) {
        for (auto const& member : collectionOf(*table.value)) {
            there.emplace(table.key, member.key);
        }
    }
    std::vector<typename Keys::value_type> differing;
    std::ranges::set_symmetric_difference(told, there, std::back_inserter(differing));
    for (auto const& [vrf, key] : differing) {
        faults.add(there.contains({vrf, key}) ? "not told" : "told wrongly", "{}: {} {}", vrf, what,
                   key);
    }
}

}  // namespace

void Told::find(IpLib::AllIntfAddrVrfTable const& tables, Faults& faults) const {
    for (auto const& [kind, what] : faults_.all()) {
        faults.add(kind, "{}", what);
    }
    using Table = IpLib::IntfAddrVrfTable;
    compare(
        "row", rows_, tables,
        [](Table const& table) -> auto const& { return table.intfAddrEntry(); }, faults);
    compare(
        "address", byAddr_, tables,
        [](Table const& table) -> auto const& { return table.intfAddrEntryFromAddr(); }, faults);
    compare(
        "subnet", subnets_, tables,
        [](Table const& table) -> auto const& { return table.intfAddrEntrySetFromSubnet(); },
        faults);
    compare(
        "link-local address", linkLocals_, tables,
        [](Table const& table) -> auto const& { return table.llIntfAddrEntryFromIntfId(); },
        faults);
}

}  // namespace Healing
