// Prints the traces of the library while it lives, and leaves sink and levels as it found them.
#pragma once

#include <string>
#include <vector>

#include "Pell/Trace.h"
#include "feeds/scenario/Output.h"

namespace Scenario {

class TracePrinter final : public Pell::Sink {
public:
    // The traces up to `level` of the classes that are named, of all where none is.
    TracePrinter(Output& output, int level, std::vector<std::string> const& classes);
    ~TracePrinter();
    TracePrinter(TracePrinter const&) = delete;
    TracePrinter& operator=(TracePrinter const&) = delete;

private:
    void trace(Pell::Trace const& trace) override;

    Output& output_;
    Pell::TraceLevels levelsBefore_;
    Pell::Sink* const sinkBefore_;
};

}  // namespace Scenario
