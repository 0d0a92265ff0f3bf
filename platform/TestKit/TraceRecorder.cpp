#include "TestKit/TraceRecorder.h"

#include <utility>

#include "Zin/Format.h"

namespace TestKit {

TraceRecorder::TraceRecorder(std::string className, int level)
    : className_(std::move(className)),
      levelsBefore_(Pell::traceLevels()),
      sinkBefore_(Pell::sinkIs(this)) {
    Pell::traceLevelIs(className_, level);
}

TraceRecorder::~TraceRecorder() {
    Pell::traceLevelsIs(std::move(levelsBefore_));
    Pell::sinkIs(sinkBefore_);
}

void TraceRecorder::trace(Pell::Trace const& trace) {
    std::string line = fmt::format("{} {}::{}", trace.level, trace.className, trace.function);
    if (!trace.message.empty()) {
        line += fmt::format(" {}", trace.message);
    }
    messages_.push_back(std::move(line));
}

}  // namespace TestKit
