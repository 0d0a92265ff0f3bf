#include "intfaddr/answer/AddressList.h"

#include <algorithm>
#include <array>
#include <utility>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "IpLib/IntfAddrVrfTableSm/Place.h"

namespace IntfAddr {

namespace {

using IpLib::IntfAddrVrfTable;
using IpLib::IntfAddrWithMaskKey;

bool isDown(Interface::DeviceIntfStatus const& device) {
    return !device.active() || device.operStatus() == Interface::OperStatus::down ||
           device.operStatus() == Interface::OperStatus::lowerLayerDown ||
           device.operStatus() == Interface::OperStatus::notPresent;
}

Lack lackOf(IntfAddrVrfTable const& table, IntfAddrWithMaskKey const& key, bool deprecated) {
    if (Routing::Published::isRefused(key, deprecated)) {
        return Lack::refused;
    }
    auto const linkLocal =
        key.isV6LinkLocal() ? table.llIntfAddrEntryFromIntfId(key.intfId) : nullptr;
    return linkLocal && linkLocal->key().addr == key.addrWithMask.address() ? Lack::repeated
                                                                            : Lack::missing;
}

std::string_view toStrep(Lack lack) {
    static constexpr std::array<std::string_view, 3> texts{
        "a link-local address that is deprecated",
        "its interface has it with another prefix length",
        "missing in the table, until an audit finds that"};
    return texts.at(static_cast<std::size_t>(lack));
}

IntfAddrWithMaskKey keyOf(IpLib::IntfAddrEntry const& row) {
    return {row.intfId(), {row.key().addr, row.subnet().prefixLength()}};
}

bool isInTable(IntfAddrVrfTable const& table, IntfAddrWithMaskKey const& key) {
    return table.intfAddrEntryHas(IpLib::IntfAddrVrfTableImpl::Place(key).content);
}

Zin::Ptr<Interface::DeviceIntfStatusDir const> devicesOf(Routing::Router const& router,
                                                         L3::VrfName const& vrf) {
    return router.inputs().kniIntfStatusHelper()->deviceIntfStatusDir(vrf);
}

AddressState stateIn(Routing::Published const& published,
                     Interface::DeviceIntfStatusDir const& devices,
                     IntfAddrWithMaskKey const& key) {
    auto const deprecated = published.deprecated(key);
    if (!deprecated) {
        return AddressState::invalid;
    }
    if (auto const device = devices.deviceIntfStatus(key.intfId); device && isDown(*device)) {
        return AddressState::inaccessible;
    }
    return *deprecated ? AddressState::deprecated : AddressState::preferred;
}

}  // namespace

std::string_view toStrep(Place place) {
    static constexpr std::array<std::string_view, 4> names{"table", "waiting", "no-device",
                                                           "left-out"};
    return names.at(static_cast<std::size_t>(place));
}

AddressState stateOf(Routing::Router const& router, L3::VrfName const& vrf,
                     IntfAddrWithMaskKey const& key) {
    return stateIn(router.published(vrf), *devicesOf(router, vrf), key);
}

ListedAddress listed(Routing::Router const& router, L3::VrfName const& vrf,
                     IntfAddrVrfTable const& table, IntfAddrWithMaskKey const& key) {
    ListedAddress address{.vrf = vrf,
                          .intf = key.intfId,
                          .addr = key.addrWithMask,
                          .state = stateOf(router, vrf, key)};
    auto const machine = router.tableSm(vrf);
    auto const backlog = machine ? machine->deferredIntfAddBacklog() : nullptr;
    auto const published = router.published(vrf);
    if (backlog && backlog->backlogHas(key)) {
        address.place = Place::waiting;
        address.holder = Routing::holderOf(table, key);
    } else if (isInTable(table, key)) {
        address.place = Place::table;
    } else if (published.hasDevice(key.intfId)) {
        address.place = Place::leftOut;
        address.lack = lackOf(table, key, published.deprecated(key).value_or(false));
        address.why = toStrep(*address.lack);
    } else {
        address.place = Place::noDevice;
    }
    return address;
}

AddressList::AddressList(Routing::Router const& router, Netlink::Feed const& feed, Filter filter,
                         What what)
    : router_(router), feed_(feed), filter_(std::move(filter)), what_(what), vrfs_(router.vrfs()) {
    if (filter_.vrf) {
        std::erase_if(vrfs_, [this](L3::VrfName const& vrf) { return vrf != *filter_.vrf; });
    }
    std::ranges::reverse(vrfs_);
    if (what_ == What::all) {
        link_ = feed_.linkAfter(std::nullopt);
    }
}

bool AddressList::step(Each const& each) {
    each_ = &each;
    if (steps_.step()) {
        return true;
    }
    if (!vrfs_.empty()) {
        begin(std::exchange(vrfs_.back(), {}));
        vrfs_.pop_back();
        return true;
    }
    if (link_) {
        listLeftOut(*link_);
        link_ = feed_.linkAfter(link_);
    }
    return link_.has_value();
}

// What is to be walked first is left to do last.
void AddressList::begin(L3::VrfName const& vrf) {
    auto const table = router_.tables()->intfAddrVrfTable(vrf);
    if (!table) {
        return;
    }
    vrf_.emplace(Vrf{.name = vrf,
                     .table = table,
                     .published = router_.published(vrf),
                     .devices = devicesOf(router_, vrf)});
    if (what_ == What::all) {
        walkPublished();
        walkWaiting();
    }
    walkRows();
}

void AddressList::walkRows() {
    auto const& table = vrf_->table;
    if (filter_.addr) {
        using IpLib::IntfAddrEntryKey;
        for (auto const& key : {IntfAddrEntryKey::makeIpKey(*filter_.addr),
                                IntfAddrEntryKey::makeVirtualIpKey(*filter_.addr)}) {
            if (auto const row = table->intfAddrEntryFromAddr(key)) {
                listRow(*row);
            }
        }
        if (filter_.addr->isV6LinkLocal()) {
            steps_.walkPresent(table, table->llIntfAddrEntryFromIntfId(),
                               [this](auto const& member) { listRow(*member.value); });
        }
    } else {
        steps_.walkPresent(table, table->intfAddrEntry(),
                           [this](auto const& member) { listRow(*member.value); });
    }
}

void AddressList::walkWaiting() {
    auto const machine = router_.tableSm(vrf_->name);
    auto const backlog = machine ? machine->deferredIntfAddBacklog() : nullptr;
    if (backlog) {
        steps_.walkPresent(backlog, backlog->backlog(), [this](auto const& member) {
            if (filter_.admits(member.key.intfId, member.key.addrWithMask.address())) {
                tell(listed(router_, vrf_->name, *vrf_->table, member.key));
            }
        });
    }
}

void AddressList::walkPublished() {
    if (auto const status = vrf_->published.ipStatus()) {
        steps_.walkPresent(status, status->ipIntfStatus(), [this](auto const& member) {
            Zin::Ptr<Ip::IpIntfStatus> const intf = member.value;
            if (Routing::Published::hasPrimary(*intf)) {
                listPublished({intf->intfId(), intf->activeAddrWithMask()});
            }
            steps_.walkPresent(intf, intf->secondaryActiveAddrWithMask(),
                               [this, name = intf->intfId()](auto const& addr) {
                                   listPublished({name, addr.key});
                               });
        });
    }
    if (auto const status = vrf_->published.ip6Status()) {
        steps_.walkPresent(status, status->intfStatus(), [this](auto const& member) {
            Zin::Ptr<Ip6::IntfStatus> const intf = member.value;
            steps_.walkPresent(intf, intf->addr(), [this, name = intf->intfId()](auto const& addr) {
                listPublished({name, addr.key});
            });
        });
    }
}

void AddressList::listRow(IpLib::IntfAddrEntry const& row) const {
    if (row.key().virtualIp) {
        tell({.vrf = vrf_->name,
              .intf = {},
              .addr = {row.key().addr, Nimb::maxPrefixLength(row.key().addr.family())},
              .virtualIp = true});
    } else if (filter_.admits(row.intfId(), row.key().addr)) {
        auto const key = keyOf(row);
        tell({.vrf = vrf_->name,
              .intf = row.intfId(),
              .addr = key.addrWithMask,
              .state = stateIn(vrf_->published, *vrf_->devices, key)});
    }
}

// Nearly all are in the table, whose rows are listed as such; so that is asked first.
void AddressList::listPublished(IntfAddrWithMaskKey const& key) const {
    if (!filter_.admits(key.intfId, key.addrWithMask.address()) || isInTable(*vrf_->table, key)) {
        return;
    }
    auto const address = listed(router_, vrf_->name, *vrf_->table, key);
    if (address.place == Place::noDevice || address.place == Place::leftOut) {
        tell(address);
    }
}

void AddressList::listLeftOut(Netlink::LinkRef const& link) const {
    feed_.forEachAddressOf(link, [this](auto const& vrf, auto const& intf, auto const& address) {
        if (address.place == Netlink::Place::published || (filter_.vrf && *filter_.vrf != vrf) ||
            !filter_.admits(intf, address.addr.address())) {
            return;
        }
        AddressState const settled =
            address.deviceDown ? AddressState::inaccessible : AddressState::preferred;
        tell({.vrf = vrf,
              .intf = intf,
              .addr = address.addr,
              .place = Place::leftOut,
              .state = address.place == Netlink::Place::tentative   ? AddressState::tentative
                       : address.place == Netlink::Place::duplicate ? AddressState::duplicate
                                                                    : settled,
              .why = std::string(toStrep(address.place)),
              .left = address.place});
    });
}

void AddressList::tell(ListedAddress const& address) const {
    if (filter_.admits(address.intf, address.addr.address()) &&
        (!filter_.state || *filter_.state == address.state)) {
        (*each_)(address);
    }
}

}  // namespace IntfAddr
