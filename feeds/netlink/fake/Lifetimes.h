// The lifetimes of an address: what Linux makes of those that somebody asks for, and when they are
// over.
#pragma once

#include <algorithm>
#include <cerrno>

#include "feeds/netlink/fake/Link.h"

namespace Netlink::Fake {

// 0, or the errno with which Linux refuses them.
inline int checkLifetimes(Address const& address) {
    return address.valid <= 0 || address.preferred > address.valid ? EINVAL : 0;
}

// They begin now.
inline void startLifetimes(Address& address, double now) {
    address.since = now;
    address.clear(IFA_F_PERMANENT | IFA_F_DEPRECATED);
    address.flags |= address.valid == forever ? IFA_F_PERMANENT : 0;
    address.flags |= address.preferred <= 0 ? IFA_F_DEPRECATED : 0;
}

inline double endOfValid(Address const& address) { return address.since + address.valid; }

inline double endOfPreferred(Address const& address) {
    return address.has(IFA_F_DEPRECATED) ? never : address.since + address.preferred;
}

inline double nextExpiry(Address const& address) {
    return std::min(endOfValid(address), endOfPreferred(address));
}

}  // namespace Netlink::Fake
