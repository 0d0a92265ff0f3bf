#include "Interface/DeviceIntfStatusDir.h"

namespace Interface {

Zin::Ptr<DeviceIntfStatusDir> deviceIntfStatusDirFactory() {
    return Zin::make<DeviceIntfStatusDir>();
}

}  // namespace Interface
