// Makes the machine of one VRF's table. The machine manager asks it, so that an agent or a test can
// have machines of its own making.
#pragma once

#include "L3/VrfName.h"
#include "Zin/Ptr.h"

namespace IpLib {

class IntfAddrVrfTable;
class IntfAddrVrfTableSm;

class IntfAddrVrfTableSmAbstractFactory : public Zin::Entity {
public:
    // A machine that fills the table; another one at each call. Whoever asks owns it.
    virtual Zin::Ptr<IntfAddrVrfTableSm> make(L3::VrfName const& vrf,
                                              Zin::Ptr<IntfAddrVrfTable> const& table) = 0;
    // Gives back what make acquired for the VRF. The machine itself is released by its owner.
    virtual void unmake(L3::VrfName const& vrf) = 0;
};

}  // namespace IpLib
