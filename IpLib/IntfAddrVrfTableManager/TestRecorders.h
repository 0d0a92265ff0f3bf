// The recorder of the directory of tables, for tests of whoever writes it.
#pragma once

#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTable.h"
#include "TestKit/Recorder.h"

namespace TestKit {

template <>
class Recorder<IpLib::AllIntfAddrVrfTable> final : public RecorderOf<IpLib::AllIntfAddrVrfTable> {
public:
    using RecorderOf::RecorderOf;

private:
    void handleIntfAddrVrfTable(L3::VrfName const& vrf) override {
        record("intfAddrVrfTable", vrf, notifier()->intfAddrVrfTableHas(vrf));
    }
};

}  // namespace TestKit
