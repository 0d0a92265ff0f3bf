// Base of the machines that write an output entity from their inputs: an entity that can be asked
// for a dump of its state.
#pragma once

#include "Velk/DumpContext.h"
#include "Zin/Ptr.h"

namespace Velk {

class BaseOutputSm : public Zin::Entity {
public:
    // Writes the machine's state, each line indented by at least `indent` columns; nothing where a
    // machine has none to show.
    virtual void dumpState(Zin::Ptr<DumpContext const> const&, std::uint32_t /*indent*/) const {}
};

}  // namespace Velk
