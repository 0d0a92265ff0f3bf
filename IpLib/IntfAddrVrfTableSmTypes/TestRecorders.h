// The recorder of the working records, for tests of whoever publishes them.
#pragma once

#include "IpLib/IntfAddrVrfTableSmTypes/AllIntfAddrWithMask.h"
#include "TestKit/Recorder.h"
#include "Zin/Format.h"

namespace TestKit {

template <>
class Recorder<IpLib::AllIntfAddrWithMask> final : public RecorderOf<IpLib::AllIntfAddrWithMask> {
public:
    using RecorderOf::RecorderOf;

private:
    void handleAll(IpLib::IntfAddrWithMaskKey const& key) override {
        if (notifier()->all(key).deprecated()) {
            record("all", fmt::format("{} deprecated", key));
        } else {
            record("all", key, notifier()->allHas(key));
        }
    }
};

}  // namespace TestKit
