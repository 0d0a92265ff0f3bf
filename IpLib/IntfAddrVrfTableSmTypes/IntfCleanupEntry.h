// A clean-up that was requested: whose, and when. `processed` once it has been carried out ahead of
// its time; it then waits in the queue only to be passed over.
#pragma once

#include <string>

#include "IpLib/IntfAddrVrfTableSmTypes/IntfCleanupKey.h"
#include "Zin/Ptr.h"
#include "Zin/Seconds.h"

namespace IpLib::IntfAddrVrfTableImpl {

class IntfCleanupEntry final : public Zin::Entity {
public:
    IntfCleanupEntry(IntfCleanupKey key, Zin::Seconds emplacementTime);

    IntfCleanupKey const& key() const { return key_; }
    Nimb::IntfId const& intfId() const { return key_.intfId; }
    Nimb::AddressFamily af() const { return key_.af; }
    // On the framework clock.
    Zin::Seconds emplacementTime() const { return emplacementTime_; }
    bool processed() const { return processed_; }
    void processedIs(bool processed) { processed_ = processed; }

    // "intfId=NAME;af=FAMILY;emplacementTime=SECONDS;processed=BOOL"
    std::string toStrep() const;

private:
    IntfCleanupKey const key_;
    Zin::Seconds const emplacementTime_;
    bool processed_ = false;
};

Zin::Ptr<IntfCleanupEntry> intfCleanupEntryFactory(IntfCleanupKey const& key,
                                                   Zin::Seconds emplacementTime);

}  // namespace IpLib::IntfAddrVrfTableImpl
