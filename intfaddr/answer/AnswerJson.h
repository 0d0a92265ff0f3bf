// How addresses are written in answers (docs/json.md).
#pragma once

#include "intfaddr/answer/AddressList.h"
#include "intfaddr/answer/ObjectText.h"

namespace IntfAddr {

// The members of an address.
void writeAddress(ObjectText& object, ListedAddress const& address);
// Of a row alone.
void writeRow(ObjectText& object, L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& row);

// The same as values, for who looks into them.
Json jsonOf(ListedAddress const& address);
Json jsonOf(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& row);

}  // namespace IntfAddr
