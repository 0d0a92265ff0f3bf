// All that is published of addresses and all that is kept from it, each with its place: the rows of
// the tables, what waits behind them, what has no device, and what is left out.
//
//     AddressList list(router, feed, filter);
//     while (list.step(each)) {
//     }
//
// A step costs little, whatever the size of the tables, and between steps they may change: each
// address stands in the list as it was at some moment between the first step and the last, and no
// row that stood throughout is missing, nor any there twice. An address that changes its place
// meanwhile may be listed in both places or in neither. Rows come in the order of their table, VRF
// by VRF; after those of the VRF come its other addresses, and after all VRFs those that are left
// out.
//
// Borrows the router and the feed.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "feeds/netlink/Feed.h"
#include "intfaddr/answer/AddressState.h"
#include "intfaddr/answer/Filter.h"
#include "router/Router.h"
#include "router/Steps.h"

namespace IntfAddr {

// Where an address is that is published or that the kernel has.
enum class Place {
    table,
    waiting,   // behind another one
    noDevice,  // the kernel does not have its interface
    leftOut,   // it is not published, or the table refuses it
};

std::string_view toStrep(Place place);

// Why a table does not have what is published and waits for nobody.
enum class Lack {
    refused,   // a link-local address that is deprecated
    repeated,  // its interface has it with another prefix length
    missing,   // an audit will find that
};

struct ListedAddress {
    L3::VrfName vrf;
    Nimb::IntfId intf;  // empty for a virtual address
    Nimb::IpGenAddrWithMask addr;
    bool virtualIp = false;
    Place place = Place::table;
    AddressState state = AddressState::preferred;
    // Whom it waits for; nothing where the way is free, and the next try is all that it waits for.
    std::optional<Routing::Holder> holder{};
    std::optional<Lack> lack{};
    // Why it is left out; and as what the feed leaves it out, nothing where it is published.
    std::string why{};
    std::optional<Netlink::Place> left{};
};

class AddressList {
public:
    // Of the tables' rows alone, or of all.
    enum class What { rows, all };

    AddressList(Routing::Router const& router, Netlink::Feed const& feed, Filter filter,
                What what = What::all);
    AddressList(AddressList const&) = delete;
    AddressList& operator=(AddressList const&) = delete;

    using Each = std::function<void(ListedAddress const&)>;
    // Returns whether there is more to do.
    bool step(Each const& each);

private:
    // A VRF, and what each of its addresses is looked for in.
    struct Vrf {
        L3::VrfName name;
        Zin::Ptr<IpLib::IntfAddrVrfTable> table;
        Routing::Published published;
        Zin::Ptr<Interface::DeviceIntfStatusDir const> devices;
    };

    void begin(L3::VrfName const& vrf);
    void walkRows();
    void walkWaiting();
    void walkPublished();
    void listRow(IpLib::IntfAddrEntry const& row) const;
    void listPublished(IpLib::IntfAddrWithMaskKey const& key) const;
    void listLeftOut(Netlink::LinkRef const& link) const;
    void tell(ListedAddress const& address) const;

    Routing::Router const& router_;
    Netlink::Feed const& feed_;
    Filter const filter_;
    What const what_;
    std::vector<L3::VrfName> vrfs_;  // the next is the last
    std::optional<Vrf> vrf_;         // whose addresses are walked
    Routing::Steps steps_;
    std::optional<Netlink::LinkRef> link_;
    Each const* each_ = nullptr;
};

// The place of an address that is published, or waits, and all that goes with it.
ListedAddress listed(Routing::Router const& router, L3::VrfName const& vrf,
                     IpLib::IntfAddrVrfTable const& table, IpLib::IntfAddrWithMaskKey const& key);

// The state of an address that is published, or of which the row stands still.
AddressState stateOf(Routing::Router const& router, L3::VrfName const& vrf,
                     IpLib::IntfAddrWithMaskKey const& key);

}  // namespace IntfAddr
