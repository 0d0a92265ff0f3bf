// The traces of a class, or of all, written down while the recorder lives: it takes the place of
// the present sink and switches the traces on, and puts back sink and levels at its end. Recorders
// nest.
#pragma once

#include <string>
#include <vector>

#include "Pell/Trace.h"

namespace TestKit {

class TraceRecorder final : public Pell::Sink {
public:
    // Records the traces of `className` up to `level`; "*" those of every class.
    explicit TraceRecorder(std::string className = "*", int level = 9);
    ~TraceRecorder();
    TraceRecorder(TraceRecorder const&) = delete;
    TraceRecorder& operator=(TraceRecorder const&) = delete;

    // One line a trace: "8 CarrierSm::handleIpIntfStatus on Ethernet1".
    std::vector<std::string> const& messages() const { return messages_; }
    void clear() { messages_.clear(); }

private:
    void trace(Pell::Trace const& trace) override;

    std::string const className_;
    Pell::TraceLevels levelsBefore_;
    Pell::Sink* const sinkBefore_;
    std::vector<std::string> messages_;
};

}  // namespace TestKit
