// What one address comes to in the address table: the values that admission and withdrawal derive
// from a key.
#pragma once

#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrWithMaskKey.h"
#include "IpLib/IntfAddrVrfTableTypes/IntfAddrEntryContent.h"

namespace IpLib::IntfAddrVrfTableImpl {

struct Place {
    explicit Place(IntfAddrWithMaskKey const& itsKey)
        : key(itsKey),
          content{itsKey.isV6LinkLocal()
                      ? IntfAddrEntryKey::makeLlKey(itsKey.addrWithMask.address(), itsKey.intfId)
                      : IntfAddrEntryKey::makeIpKey(itsKey.addrWithMask.address()),
                  itsKey.intfId, itsKey.addrWithMask.prefix()} {}

    Nimb::IntfId const& intfId() const { return key.intfId; }
    Nimb::IpGenAddr const& addr() const { return content.key.addr; }
    Nimb::IpGenPrefix const& subnet() const { return content.subnet; }
    IntfAddrEntryKey const& rowKey() const { return content.key; }
    bool isV6LinkLocal() const { return key.isV6LinkLocal(); }

    IntfAddrWithMaskKey key;
    IntfAddrEntryContent content;
};

}  // namespace IpLib::IntfAddrVrfTableImpl
