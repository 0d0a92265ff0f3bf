// What one address comes to in the address table: the values that admission and withdrawal derive
// from a key.
#pragma once

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"

namespace IpLib {

struct IntfAddrVrfTableSm::Place {
    explicit Place(IntfAddrWithMaskKey const& key)
        : intfId(key.intfId),
          addr(key.addrWithMask.address()),
          subnet(key.addrWithMask.prefix()),
          rowKey(key.isV6LinkLocal() ? IntfAddrEntryKey::makeLlKey(addr, intfId)
                                     : IntfAddrEntryKey::makeIpKey(addr)),
          content{rowKey, intfId, subnet} {}

    Nimb::IntfId const intfId;
    Nimb::IpGenAddr const addr;
    Nimb::IpGenPrefix const subnet;
    IntfAddrEntryKey const rowKey;
    IntfAddrEntryContent const content;
};

}  // namespace IpLib
