// How addresses are written in answers (docs/json.md).
#pragma once

#include "intfaddr/answer/AddressList.h"
#include "intfaddr/answer/Document.h"

namespace IntfAddr {

Json jsonOf(ListedAddress const& address);
// A row, and the state of its address.
Json jsonOf(L3::VrfName const& vrf, Routing::Row const& row, AddressState state);
// A row alone.
Json jsonOf(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& row);

}  // namespace IntfAddr
