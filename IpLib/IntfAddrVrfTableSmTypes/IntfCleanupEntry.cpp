#include "IpLib/IntfAddrVrfTableSmTypes/IntfCleanupEntry.h"

#include <utility>

#include "Zin/Format.h"

namespace IpLib::IntfAddrVrfTableImpl {
IntfCleanupEntry::IntfCleanupEntry(IntfCleanupKey key, Zin::Seconds emplacementTime)
    : key_(std::move(key)), emplacementTime_(emplacementTime) {}

std::string IntfCleanupEntry::toStrep() const {
    return fmt::format("intfId={};af={};emplacementTime={};processed={}", intfId(), af(),
                       emplacementTime_, processed_);
}

Zin::Ptr<IntfCleanupEntry> intfCleanupEntryFactory(IntfCleanupKey const& key,
                                                   Zin::Seconds emplacementTime) {
    return Zin::make<IntfCleanupEntry>(key, emplacementTime);
}

}  // namespace IpLib::IntfAddrVrfTableImpl
