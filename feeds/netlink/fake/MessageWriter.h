// Writes what the kernel says of a link or an address, in the form in which it says it.
#pragma once

#include "feeds/netlink/TestMessages.h"
#include "feeds/netlink/fake/Link.h"

namespace Netlink::Fake {

using Messages::Bytes;
using Messages::Envelope;

// `extra` is put behind the attributes that are known.
Bytes linkMessage(unsigned type, Link const& link, Envelope const& envelope,
                  Bytes const& extra = {});
// What a bridge tells of a port that joins or leaves it: of the same type as that of a link, and of
// another family.
Bytes bridgePortMessage(unsigned type, Link const& port, std::uint32_t bridge,
                        Envelope const& envelope);
Bytes addressMessage(unsigned type, std::uint32_t ifIndex, Address const& address, double now,
                     Envelope const& envelope, Bytes const& extra = {});
// Of a type beyond all that the kernel has had yet, for `extra`.
Bytes unknownAttribute();
Bytes doneMessage(int error, Envelope const& envelope);
// An answer to a request, of error 0 where that was granted.
Bytes errorMessage(int error, nlmsghdr const& request, Envelope const& envelope);

}  // namespace Netlink::Fake
